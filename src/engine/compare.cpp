// Comparison of two records; see compare.h.
#include "engine/compare.h"

#include "engine/engine_access.h"
#include "engine/key_view.h"

namespace fsort {

namespace {

// Compares up to `left` key bytes from `a` and `b` on; both keys end inside their records.
int compare_bytes(const std::uint8_t* a, const std::uint8_t* b, std::int32_t left,
                  const std::uint16_t* value_of) {
  for (std::int32_t i = 0; i < left; ++i) {
    const std::uint16_t va = value_of[a[i]];
    const std::uint16_t vb = value_of[b[i]];
    if (va != vb) return va < vb ? -1 : 1;
    if (va == 0) return 0;
  }
  return 0;
}

// Compares the rest of one key, ascending. Result: -1, 0 (equal to its end in both) or 1.
int compare_key(const SortState& s, const std::uint8_t* a, const std::uint8_t* b, std::uint32_t key,
                std::int32_t position) {
  const KeyView& view = s.keys[key];
  const std::uint32_t header_bytes = s.header_bytes;
  const std::int32_t magnitude = position < 0 ? -position : position;
  std::int32_t left = static_cast<std::int32_t>(view.length) - magnitude;
  if (view.step > 0 && view.bounded == 0) {
    return compare_bytes(a + (static_cast<std::int32_t>(rec_key_offset(a, key)) + position),
                         b + (static_cast<std::int32_t>(rec_key_offset(b, key)) + position), left,
                         view.value);
  }
  for (; left > 0; --left) {
    const std::uint16_t va = getvalue(a, view, key, position, header_bytes);
    const std::uint16_t vb = getvalue(b, view, key, position, header_bytes);
    if (va != vb) return va < vb ? -1 : 1;
    if (va == 0) return 0;
    position += view.step;
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

}  // namespace fsort
