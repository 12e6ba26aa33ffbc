// Gathers the key views; see key_view.h.
#include "engine/key_view.h"

#include "engine/engine_access.h"
#include "keys/key_table.h"

namespace fsort {

namespace {

// The keys that key `k` flips: its dependents, less the dependents of a dependent that governs others itself.
std::uint32_t inversion_mask(std::uint16_t k, std::uint16_t keys) {
  std::uint32_t mask = 0;
  std::uint32_t j = k + 1u;
  const std::uint32_t end = j + key_entry(k).count;
  while (j < end && j < keys) {
    mask |= std::uint32_t{1} << j;
    j += 1u + key_entry(static_cast<std::uint16_t>(j)).count;
  }
  return mask;
}

KeyView view_of(const KeyEntry& entry) {
  KeyView view{};
  view.value = entry.sequence->value;
  view.max_class = entry.sequence->max_rank;
  view.length = entry.type == kKeyGoverning ? std::uint16_t{1} : entry.length;
  view.step = entry.direction == kBackward ? std::int16_t{-1} : std::int16_t{1};
  view.governed = entry.count;
  const bool in_header = entry.type == kKeySign;
  const bool unmarked_end =
      entry.sequence->bounded != 0 || entry.direction == kBackward || entry.start == kOpenStart;
  view.bounded = !in_header && unmarked_end ? 1 : 0;
  return view;
}

}  // namespace

void key_view_init() {
  SortState& s = sort_st();
  s.key_count = key_count();
  s.header_bytes = key_record_header_bytes();
  s.descending = 0;
  for (std::uint16_t k = 0; k < s.key_count; ++k) {
    const KeyEntry& entry = key_entry(k);
    s.keys[k] = view_of(entry);
    s.invert_mask[k] = inversion_mask(k, s.key_count);
    if (entry.descending != 0) s.descending |= std::uint32_t{1} << k;
  }
}

void ikey(std::uint16_t key) {
  SortState& s = sort_st();
  s.descending ^= s.invert_mask[key];
}

}  // namespace fsort
