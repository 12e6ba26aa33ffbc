// What --verify says of a sort that was checked while it was written.
#pragma once

#include <string>

#include "entry/sort_view.h"

namespace fsort_tool {

// What is wrong with the output; "" when nothing is.
[[nodiscard]] std::string verify_fault(const fsort::SortFacts& facts);
// What was found to be right.
[[nodiscard]] std::string verify_statement(const fsort::SortFacts& facts);

}  // namespace fsort_tool
