// Gathers the key views; see key_view.h.
#include "engine/key_view.h"

#include <algorithm>

#include "engine/engine_access.h"
#include "keys/key_table.h"

namespace fsort {

namespace {

constexpr unsigned kBytes = 256;
constexpr unsigned kNarrowClasses = 15;  // and "ended"
constexpr unsigned kRunMinBytes = 8;     // a shorter run hardly ever holds all bytes of a word

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

// The longest stretch of consecutive bytes whose values are consecutive, too.
void find_run(KeyView& view) {
  unsigned longest = 0;
  for (unsigned start = 0; start < kBytes;) {
    unsigned end = start + 1;
    while (end < kBytes && view.value[start] != 0 && view.value[end] == view.value[end - 1] + 1) ++end;
    if (view.value[start] != 0 && end - start > longest) {
      longest = end - start;
      view.run_start = static_cast<std::uint8_t>(start);
      view.run_last = static_cast<std::uint8_t>(longest - 1);
      view.run_value = static_cast<std::uint8_t>(view.value[start]);
    }
    start = end;
  }
  if (longest >= kRunMinBytes) view.mapping = kMapByRun;
  const auto classes =
      std::count_if(view.value, view.value + kBytes, [](unsigned value) { return value != 0; });
  view.run_is_all = static_cast<unsigned>(classes) == longest ? 1 : 0;
}

bool is_one_to_one(const KeyView& view) {
  std::uint8_t seen[kBytes + 1] = {};
  for (unsigned b = 0; b < kBytes; ++b) {
    if (view.value[b] != 0 && seen[view.value[b]]++ != 0) return false;
  }
  return true;
}

bool is_all_bytes(const KeyView& view) {
  for (unsigned b = 0; b < kBytes; ++b) {
    if (view.value[b] != b + 1) return false;
  }
  return true;
}

// `open_start`: the key begins at its field's last byte, in front of the record's data where there is none.
void choose_mapping(KeyView& view, bool open_start) {
  view.one_to_one = is_one_to_one(view) ? 1 : 0;
  view.mapping = kMapByBytes;
  if (view.step > 0 && !open_start && is_all_bytes(view)) view.mapping = kMapBySpread;
  if (view.step < 0 || view.bounded != 0 || view.max_class > 254) return;
  view.mapping = kMapByTable;
  find_run(view);
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
  choose_mapping(view, entry.start == kOpenStart);
  return view;
}

// True when eight values of the key make a word.
bool maps_to_bytes(const KeyView& view) { return view.mapping == kMapByTable || view.mapping == kMapByRun; }

// True when the words of key `k` may go on with key k + 1: the two run in the same direction whatever the
// keys do that govern them, and their values are equally wide.
bool spans_next(const SortState& s, std::uint32_t k) {
  if (k + 1u >= s.key_count) return false;
  const KeyView& view = s.keys[k];
  const KeyView& next = s.keys[k + 1];
  if (!maps_to_bytes(view) || !maps_to_bytes(next)) return false;
  if (view.governed != 0 || next.governed != 0) return false;
  const auto differ = [k](std::uint32_t mask) { return ((mask >> k ^ mask >> (k + 1)) & 1u) != 0; };
  for (std::uint32_t i = 0; i < s.key_count; ++i) {
    if (differ(s.invert_mask[i])) return false;
  }
  return !differ(s.descending);
}

bool fits_four_bits(const KeyView& view) {
  return maps_to_bytes(view) && view.governed == 0 && view.max_class < kNarrowClasses;
}

bool has_plain_digits(const KeyView& view) {
  return view.run_is_all != 0 && view.run_start == '0' && view.run_last == 9;
}

// Keys that span one another have words of one shape. A sort by a single key keeps wide words: lines are
// written from them (array_entry.h).
void choose_shapes(SortState& s) {
  for (std::uint32_t first = 0; first < s.key_count && s.key_count > 1;) {
    bool narrow = fits_four_bits(s.keys[first]);
    bool digits = has_plain_digits(s.keys[first]);
    std::uint32_t last = first;
    while (s.keys[last].spans != 0) {
      narrow = fits_four_bits(s.keys[++last]) && narrow;
      digits = has_plain_digits(s.keys[last]) && digits;
    }
    for (; first <= last; ++first) {
      s.keys[first].narrow = narrow ? 1 : 0;
      s.keys[first].digits = narrow && digits ? 1 : 0;
    }
  }
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
  s.written_descending = s.descending;
  for (std::uint32_t k = 0; k < s.key_count; ++k) s.keys[k].spans = spans_next(s, k) ? 1 : 0;
  choose_shapes(s);
}

const SortState& sort_state() { return sort_st(); }

void ikey(std::uint16_t key) {
  SortState& s = sort_st();
  s.descending ^= s.invert_mask[key];
}

}  // namespace fsort
