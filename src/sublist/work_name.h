// Names of work files: <directory>\wk<digits of the instance, lowest first>.<file number>.
//
//   file 7 -> .007     file 42 -> .042     file 123 -> .123     file 1234 -> .1234
#pragma once

#include <cstdint>

#include "sublist/sublist.h"

namespace fsort {

// Finds the directory (the operand `option_directory`, or null for the environment's) and builds the path
// prefix. Raises: the two directory messages of sublist_init
void work_name_prefix(SublistState& state, const char* option_directory, std::uint64_t instance_number);
// Writes the file number into the path; result: the whole name, valid until the next call.
const char* mk_name(SublistState& state, std::uint32_t number);
// Writes the digits of `value`, nothing for 0 and no terminator; result: the number of digits.
std::uint32_t pitoa(std::uint32_t value, char* buffer, std::uint32_t base);

}  // namespace fsort
