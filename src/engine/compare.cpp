// Comparison of two records; see compare.h.
#include "engine/compare.h"

#include "engine/engine_access.h"
#include "engine/key_view.h"
#include "engine/key_word.h"

namespace fsort {

namespace {

// Compares the rest of one key, ascending, a word of class values at a time. Result: -1, 0 (equal to its end
// in both) or 1.
int compare_key(const SortState& s, const std::uint8_t* a, const std::uint8_t* b, std::uint32_t key,
                std::int32_t position) {
  const KeyView& view = s.keys[key];
  const WordShape shape = word_shape(view);
  while (!key_at_end(view, position)) {
    const std::uint64_t word_a = key_word(s, a, key, position);
    const std::uint64_t word_b = key_word(s, b, key, position);
    if (word_a != word_b) return word_a < word_b ? -1 : 1;
    if (word_value(word_a, shape, shape.values - 1) == 0) return 0;
    position += view.step * static_cast<std::int32_t>(shape.values);
  }
  return 0;
}

}  // namespace

int compare_from(const SortState& s, const std::uint8_t* a, const std::uint8_t* b, std::uint32_t key,
                 std::int32_t position, std::uint32_t directions) {
  for (; key < s.key_count; ++key, position = 0) {
    const bool descending = (directions >> key & 1u) != 0;
    const int ascending = compare_key(s, a, b, key, position);
    if (ascending != 0) return descending ? -ascending : ascending;
    // Records past a governing key's byte are in one half by now, and its dependents already run in its
    // direction.
    const KeyView& view = s.keys[key];
    if (view.governed != 0 && position == 0 &&
        leaves_first(view, getvalue(a, view, key, 0, s.header_bytes), descending)) {
      directions ^= s.invert_mask[key];
    }
  }
  return 0;
}

int compare(const std::uint8_t* a, const std::uint8_t* b, std::uint16_t key, std::int32_t position) {
  const SortState& s = sort_st();
  return compare_from(s, a, b, key, position, s.descending);
}

int compare_whole(const std::uint8_t* a, const std::uint8_t* b) {
  const SortState& s = sort_st();
  return compare_from(s, a, b, 0, 0, s.written_descending);
}

std::uint32_t compare_deciding_entry(const std::uint8_t* a, const std::uint8_t* b) {
  const SortState& all = sort_st();
  SortState front = all;
  for (std::uint32_t key = 0; key < all.key_count; ++key) {
    front.key_count = static_cast<std::uint16_t>(key + 1);
    if (compare_from(front, a, b, 0, 0, all.written_descending) != 0) return key;
  }
  return all.key_count;
}

}  // namespace fsort
