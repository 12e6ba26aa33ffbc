// What the hot loops need of the keys: class tables, lengths, steps and directions, gathered once a sort.
//
// Directions. Bit k of SortState::descending says whether key k runs downward now. It starts as the -i flags
// of the key table. A governing key (the sign byte of a number, a -s key) splits its classes into a lower and
// an upper half; the half that leaves first in output order is processed with the directions of the governed
// keys flipped, which is ikey(k) on both sides of it. So -3 leaves before -2 although their digits ascend,
// and in a descending number it is the positive half that is flipped. A governed key that governs others
// itself is flipped alone: its own dependents take their direction from it when it is processed.
//
// Key ends. A key has ended in a record when its byte's class value is 0, and, for `bounded` keys, when the
// byte lies outside the record's data: in tables that rank byte 0 the closing zero does not end a scan, and a
// key walked backwards could run into the header.
//
// A key that governs others counts as exactly one byte, whatever its columns say: its dependents' direction
// hangs on one class.
#pragma once

#include <cstdint>

#include "engine/engine_state.h"
#include "keys/record.h"

namespace fsort {

// Fills SortState's keys, directions and masks from the key table. Requires: rec_init ran.
void key_view_init();

// Keys and directions of the sort, to look at.
[[nodiscard]] const SortState& sort_state();

// Flips the directions of the keys that `key` governs.
void ikey(std::uint16_t key);

// True when `position` has reached the end of a key of `view`.
[[nodiscard]] inline bool key_at_end(const KeyView& view, std::int32_t position) {
  return (position < 0 ? -position : position) == static_cast<std::int32_t>(view.length);
}

// A bin's stored 16-bit position as a signed number.
[[nodiscard]] inline std::int32_t key_position(const KeyView& view, std::uint16_t stored) {
  return view.step < 0 ? static_cast<std::int32_t>(static_cast<std::int16_t>(stored))
                       : static_cast<std::int32_t>(stored);
}

// Class value plus 1 of the byte at `position` of `key`, 0 when the key has ended there.
[[nodiscard]] inline std::uint16_t getvalue(const std::uint8_t* record, const KeyView& view,
                                            std::uint32_t key, std::int32_t position,
                                            std::uint32_t header_bytes) {
  const std::int32_t offset = static_cast<std::int32_t>(rec_key_offset(record, key)) + position;
  if (view.bounded != 0) {
    const std::uint32_t in_data = static_cast<std::uint32_t>(offset) - header_bytes;
    if (in_data >= rec_total_length(record) - header_bytes) return 0;
  }
  return view.value[record[offset]];
}

// True when a governing key's class value lies in the half whose dependents run flipped: the half that leaves
// first.
[[nodiscard]] inline bool leaves_first(const KeyView& view, std::uint16_t value, bool descending) {
  const bool upper = value != 0 && value - 1 > (view.max_class - 1) / 2;
  return upper == descending;
}

// The directions in force behind a governing key whose class value is `value`; `directions` are those before.
[[nodiscard]] inline std::uint32_t directions_behind(const SortState& s, std::uint32_t key,
                                                     std::uint32_t directions, std::uint16_t value) {
  const bool turned = leaves_first(s.keys[key], value, (directions >> key & 1u) != 0);
  return s.keys[key].governed != 0 && turned ? directions ^ s.invert_mask[key] : directions;
}

}  // namespace fsort
