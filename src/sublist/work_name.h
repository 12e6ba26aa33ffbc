// Names of work files: <directory>\wk<digits of the instance, lowest first>.<file number>.
//
//   -w /tmp/spool/ in an instance at address 94123456789, file 7:   /tmp/spool\wk98765.007
//
//   file 7 -> .007     file 42 -> .042     file 123 -> .123     file 1234 -> .1234
//
// The directory is the operand of -w, else the value of TEMP, TMPDIR or TMP, whichever is set first; none, or
// an empty one, is the current directory. The separator in front of "wk" is always a backslash, which every
// platform layer takes for a separator.
#pragma once

#include <cstdint>

#include "sublist/sublist.h"

namespace fsort {

// Digits of the instance number that go into a name.
inline constexpr int kInstanceDigits = 5;

// A number that tells the instances of a process apart: the current one's address, made positive.
[[nodiscard]] std::uint64_t sublist_instance_number();

// Finds the directory (the operand `option_directory`, or null for the environment's) and builds the path
// prefix. Raises: the two directory messages of sublist_init
void work_name_prefix(SublistState& state, const char* option_directory, std::uint64_t instance_number);
// Writes the file number into the path; result: the whole name, valid until the next call.
const char* mk_name(SublistState& state, std::uint32_t number);
// Writes the digits of `value` in `base` (2 to 16), nothing for 0 and no terminator; result: the number of
// digits.
std::uint32_t pitoa(std::uint32_t value, char* buffer, std::uint32_t base);

}  // namespace fsort
