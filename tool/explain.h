// --explain: what a sort command line means, in words and on the first records of its input.
#pragma once

#include <string>

#include "inspection.h"

namespace fsort_tool {

// Writes the explanation to standard output; nothing is sorted, no file is changed, and of the input no more
// is read than is shown. What is wrong with the command line goes to standard error as in a sort.
// Result: the exit status: 0, or 1 when the command line is wrong or its input cannot be opened.
[[nodiscard]] int explain(const Request& request);

// Its first part: the sort in words.
[[nodiscard]] std::string explain_sort(const Inspection& inspection);

// Then, call by call, a record, until *more is false: the text then tells how the input ended. *records
// counts them and begins at 0.
[[nodiscard]] std::string explain_next(const Inspection& inspection, fsort::InspectedRecord* record,
                                       std::uint64_t* records, bool* more);

}  // namespace fsort_tool
