// Blank flags: collected byte by byte from the ranges of a local -b (arg_invoke calls flags_blank), then
// copied into the sequence table of the key being emitted. They live only from bflags_init to bflags_fill of
// one key, which no raise or callback interrupts, so one process-wide array serves all instances.
#include "keys/byte_flags.h"

#include <cstring>

namespace fsort {

namespace {

constinit std::uint8_t blank_flags[kByteValues];

}  // namespace

void bflags_init() { std::memset(blank_flags, 0, sizeof blank_flags); }

void flags_blank(std::uint8_t byte) { blank_flags[byte] = 1; }

void bflags_fill(Sequence* table) {
  for (unsigned b = 0; b < kByteValues; ++b) {
    if (blank_flags[b] != 0) table->mark(static_cast<std::uint8_t>(b), kBlankInSequence);
  }
}

}  // namespace fsort
