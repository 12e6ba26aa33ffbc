// What a good sort left out or left alone, said on standard error: a last line without a line break, a short
// record at the end of a file, an output file that was not written because no record came.
#pragma once

#include <string>
#include <vector>

#include "recio/input_watch.h"

namespace fsort_tool {

// What is said of the end of an input file; "" when nothing is.
[[nodiscard]] std::string note_of_tail(const fsort::InputTail& tail);

// What is said of the output file of a good sort that wrote no record; "" when there is no such file.
[[nodiscard]] std::string note_of_untouched(const char* output_name);

}  // namespace fsort_tool
