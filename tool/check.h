// --check: is the input in order under the keys of the command line?
#pragma once

#include "request.h"

namespace fsort_tool {

// Reads the input through once and compares neighbours as a sort does; with -u, equal ones are out of order,
// too. Says on standard error what is wrong: the first record out of order and the one in front of it, with
// their places and keys. In order, it is silent; with -v it tells the number of records.
// Result: the exit status: 0 in order; 1 out of order, or an error.
[[nodiscard]] int check(const Request& request);

}  // namespace fsort_tool
