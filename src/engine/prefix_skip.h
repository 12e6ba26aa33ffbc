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

struct SortState;

// Moves the bin's position over the common prefix of its records (all in memory) within its key.
// Result: true when it moved.
bool skip_common_prefix(Sublist* bin);

// True when the key bytes of `first` and `record` from `position` on are the same for `length` positions: a
// look at bytes, not at classes, so false says nothing. Requires: the key of `first` does not end within them
[[nodiscard]] bool same_bytes(const SortState& s, std::uint32_t key, std::int32_t position,
                              const std::uint8_t* first, const std::uint8_t* record, std::uint32_t length);

// How many positions of `key` from `position` on `first` and `record` share, their keys not ended, at most
// `most`.
[[nodiscard]] std::uint32_t shared_length(const SortState& s, std::uint32_t key, std::int32_t position,
                                          const std::uint8_t* first, const std::uint8_t* record,
                                          std::uint32_t most);

}  // namespace fsort
