// --explain: what a sort command line means, in words and on the first records of its input.
#pragma once

#include "request.h"

namespace fsort_tool {

// Writes the explanation to standard output; nothing is sorted, no file is changed, and of the input no more
// is read than is shown. What is wrong with the command line goes to standard error as in a sort.
// Result: the exit status: 0, or 1 when the command line is wrong or its input cannot be opened.
[[nodiscard]] int explain(const Request& request);

}  // namespace fsort_tool
