// Blank flags of the key being emitted: parser scratch, process-wide under the entry lock.
#pragma once

#include <cstdint>

#include "keys/sequence.h"

namespace fsort {

void bflags_init();                   // clears all 256 flags
void flags_blank(std::uint8_t byte);  // sets one; used with arg_invoke
void bflags_fill(Sequence* table);    // marks every flagged byte as blank in the table

}  // namespace fsort
