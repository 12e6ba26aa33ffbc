// The text buffer of an expansion: where the argument texts go, and how full it counts as being.
//
// Two measures are kept. `left` is what the caller's size is counted down by; `used` is where the next text
// goes. A token read from an include file is charged twice, once while it is scanned and once when it is
// stored, so that an include file costs about double its text.
//
// Kept on purpose: the two measures disagree for include files. Scanning takes a token's length from `left`
// but moves `used` one byte further, so `used` runs ahead by one byte a token. Nothing is written by the
// scan (nobody would read it), and whatever `left` says, nothing is ever stored or reserved beyond the end.
#pragma once

#include <cstdint>

namespace fsort {

struct TextArea {
  char* base;
  std::uint32_t size;
  std::uint32_t used;
  std::uint32_t left;
};

// Charges the scan of an include-file token of `length` bytes.
// Raises: "Too many characters in command line" when `left` reaches zero or the end of the area is passed
void text_charge_scan(TextArea& area, std::uint32_t length);

// Copies `token` with its zero and returns the copy. An exact fit is accepted.
// Raises: "Command line buffer overflow"; "Too many characters in command line" when only the scans of
// include files used the room up
[[nodiscard]] char* text_store(TextArea& area, const char* token);

}  // namespace fsort
