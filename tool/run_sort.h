// Running the sort of a command line, with all that the tool does around it.
#pragma once

#include "request.h"

namespace fsort_tool {

// Shows what the engine says on standard error.
// Result: the exit status: 0 sorted; 1 an error, or the grammar shown by -h; any other is the code of an
// aborted sort.
[[nodiscard]] int run_sort(const Request& request);

}  // namespace fsort_tool
