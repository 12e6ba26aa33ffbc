// Skipping a key prefix that all records of a bin share, without a pass for every byte.
//
// A pass over a bin whose records agree on the byte it looks at moves them all into one bin and turns their
// order around; two such passes leave everything as it was. So when the records of a bin agree on c bytes, an
// even number of those passes is skipped by moving the bin's position, and records, order and output are
// exactly those of the passes. Without this a long common prefix would cost a level of recursion and a walk
// over all records for each of its bytes.
#pragma once

#include <cstdint>

#include "sublist/sublist.h"

namespace fsort {

struct ArrayEntry;

// Moves the bin's position over the common prefix of its records (all in memory) within its key.
// Result: true when it moved.
bool skip_common_prefix(Sublist* bin);

// Bytes of `key` from `position` on in whose classes all records of the array agree and in which the key has
// not ended; found in one look at each record.
[[nodiscard]] std::uint32_t common_prefix(std::uint32_t key, std::int32_t position, const ArrayEntry* entries,
                                          std::uint64_t count);

}  // namespace fsort
