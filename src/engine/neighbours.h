// The order of two records by the bytes of their keys, for the check of the output.
//
// The sort packs the classes of key bytes into words (key_word.h), and its fast ways and its plain one,
// compare_from, all look at those. The check does not: here the bytes of one record are held against those of
// the other, and only the pair in which they differ is looked up in the key's table. So a fault in how words
// are made is found, too.
//
// It is fast besides. Neighbours in order have much in common; what they share is passed over 16 bytes a
// step. A key may have ended within it, in both records: so a step also stops at a byte that may end the key.
// Those are found by two stretches of bytes that all go on, the longest ones of the key's table:
//
//     key -k -f 0 -t ';'    stretches  ' ' to ':',  '<' to '~'
//     a     h e i g h t ; 1 2
//     b     h e i g h t ; 2 1
//                       ^ stops here: in neither stretch. In the table: ended, in both
//
// A byte with a class that lies in neither stretch costs a look into the table and is passed over, like bytes
// that differ and have the same class. Fewer bytes than a step, and keys walked backwards, are looked at byte
// by byte.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "engine/engine_state.h"
#include "engine/key_view.h"
#include "keys/record.h"

namespace fsort {

inline constexpr std::int32_t kStepBytes = 16;

// Two stretches of bytes that go on, once for each byte of a step: less `first`, a byte of the stretch is at
// most `last`, both as signed numbers (the processor has no other comparison of 16 bytes at once).
struct GoingOn {
  std::int8_t first[2][kStepBytes];
  std::int8_t last[2][kStepBytes];
};

// How neighbours are compared by one key.
struct NeighbourKey {
  GoingOn going_on;
  const std::uint16_t* value;  // KeyView::value
  std::int32_t length;
  std::int32_t first_step;  // bytes of the first step: those of a whole one, or all of the key
  std::uint8_t in_steps;    // walked in steps, else byte by byte
};

// Bytes of a key in a record, up to the record's end.
struct KeyText {
  const std::uint8_t* at;
  std::int32_t left;
};

// Works the keys out. `keys` has room for kMaxKeys. Requires: key_view_init ran
void neighbour_keys_init(const SortState& s, NeighbourKey* keys);

// The first `bytes` bytes of a step at which to stop, one bit each, the first byte's lowest: the two differ
// there, or the key may end.
[[nodiscard]] std::uint32_t step_stops_by_bytes(const GoingOn& keys, const std::uint8_t* a,
                                                const std::uint8_t* b, std::int32_t bytes);

// The same, all bytes at once. Of half a step, eight bytes, the lower eight bits count.
template <std::int32_t kBytes = kStepBytes>
[[gnu::always_inline]] inline std::uint32_t step_stops(const GoingOn& keys, const std::uint8_t* a,
                                                       const std::uint8_t* b) {
#if defined(__SSE2__)
  using Bytes [[gnu::vector_size(kStepBytes)]] = std::uint8_t;
  using Distances [[gnu::vector_size(kStepBytes)]] = std::int8_t;
  const auto load = [](const void* from) {
    Bytes bytes{};
    std::memcpy(&bytes, from, kBytes);
    return bytes;
  };
  const Bytes bytes = load(a);
  const auto outside = [&](std::uint32_t stretch) {
    const auto distances = reinterpret_cast<Distances>(bytes - load(keys.first[stretch]));
    return distances > reinterpret_cast<Distances>(load(keys.last[stretch]));
  };
  const auto stops = (outside(0) & outside(1)) | (bytes != load(b));
  return static_cast<std::uint32_t>(_mm_movemask_epi8(reinterpret_cast<__m128i>(stops)));
#else
  return step_stops_by_bytes(keys, a, b, kBytes);
#endif
}

[[nodiscard]] inline KeyText key_text(const std::uint8_t* record, std::uint32_t key) {
  const std::uint32_t offset = rec_key_offset(record, key);
  const std::uint32_t total = rec_total_length(record);
  return {record + offset, static_cast<std::int32_t>(total) - static_cast<std::int32_t>(offset)};
}

// Compares the rest of a key, ascending, from `at` bytes behind its start on. Result: -1, 0 (equal to its
// end) or 1.
[[nodiscard]] int compare_key_rest(const NeighbourKey& key, KeyText a, KeyText b, std::int32_t at);

// Compares a whole key that is walked in steps. Most keys differ in the first one.
[[gnu::always_inline]] inline int compare_key_in_steps(const NeighbourKey& key, KeyText a, KeyText b) {
  if (a.left < kStepBytes || b.left < kStepBytes) return compare_key_rest(key, a, b, 0);
  const std::int32_t at = std::countr_zero(step_stops(key.going_on, a.at, b.at) | 1u << kStepBytes);
  if (at >= key.first_step) return compare_key_rest(key, a, b, at);
  const std::uint16_t value_a = key.value[a.at[at]];
  const std::uint16_t value_b = key.value[b.at[at]];
  if (value_a != value_b) return value_a < value_b ? -1 : 1;
  return compare_key_rest(key, a, b, at);
}

// Two records by the keys from `key` on; those before are equal in both. `directions`: in force behind them.
// Result: -1 when `a` leaves before `b`, 1 when after, 0 when they are equal.
[[nodiscard]] int compare_neighbours(const SortState& s, const NeighbourKey* keys, const std::uint8_t* a,
                                     const std::uint8_t* b, std::uint32_t key, std::uint32_t directions);

}  // namespace fsort
