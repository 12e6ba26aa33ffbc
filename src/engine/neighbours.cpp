// The order of neighbours; see neighbours.h.
#include "engine/neighbours.h"

#include <cstring>

namespace fsort {

namespace {

constexpr std::uint32_t kBytes = 256;
constexpr std::uint32_t kToSigned = 128;  // less it, a byte's number is a signed one, in the same order

// Bytes from `first` to `last`, which all have classes.
struct Stretch {
  std::uint32_t first;
  std::uint32_t last;
};

constexpr Stretch kEmpty{kBytes, kBytes - 1};

std::uint32_t length_of(Stretch s) { return s.last + 1 - s.first; }

// The longest stretch but for `other`; an empty one when there is none.
Stretch longest_stretch(const std::uint16_t* value, Stretch other) {
  Stretch longest = kEmpty;
  for (std::uint32_t first = 0; first < kBytes; ++first) {
    if (value[first] == 0) continue;
    std::uint32_t last = first;
    while (last + 1 < kBytes && value[last + 1] != 0) ++last;
    const Stretch found{first, last};
    if (first != other.first && length_of(found) > length_of(longest)) longest = found;
    first = last;
  }
  return longest;
}

GoingOn going_on(Stretch one, Stretch two) {
  const auto spread = [](std::int8_t* to, std::uint32_t byte) {
    std::memset(to, static_cast<int>(byte & 0xFF), kStepBytes);
  };
  GoingOn keys{};
  spread(keys.first[0], one.first + kToSigned);
  spread(keys.last[0], one.last - one.first - kToSigned);
  spread(keys.first[1], two.first + kToSigned);
  spread(keys.last[1], two.last - two.first - kToSigned);
  return keys;
}

// The place of the next byte to look up: where a step stops, or where less than half of one is left.
[[gnu::always_inline]] inline std::int32_t next_stop(const GoingOn& keys, const std::uint8_t* a,
                                                     const std::uint8_t* b, std::int32_t at,
                                                     std::int32_t most) {
  constexpr std::int32_t kHalf = kStepBytes / 2;
  for (; at + kStepBytes <= most; at += kStepBytes) {
    const std::uint32_t stops = step_stops(keys, a + at, b + at);
    if (stops != 0) return at + std::countr_zero(stops);
  }
  if (at + kHalf > most) return at;
  return at + std::countr_zero(step_stops<kHalf>(keys, a + at, b + at) | 1u << kHalf);
}

// Compares a whole key, ascending, byte by byte.
int compare_key_by_bytes(const SortState& s, const std::uint8_t* a, const std::uint8_t* b,
                         std::uint32_t key) {
  const KeyView& view = s.keys[key];
  for (std::int32_t position = 0; !key_at_end(view, position); position += view.step) {
    const std::uint16_t value_a = getvalue(a, view, key, position, s.header_bytes);
    const std::uint16_t value_b = getvalue(b, view, key, position, s.header_bytes);
    if (value_a != value_b) return value_a < value_b ? -1 : 1;
    if (value_a == 0) return 0;
  }
  return 0;
}

}  // namespace

void neighbour_keys_init(const SortState& s, NeighbourKey* keys) {
  for (std::uint32_t k = 0; k < s.key_count; ++k) {
    const KeyView& view = s.keys[k];
    const Stretch one = longest_stretch(view.value, kEmpty);
    const Stretch two = longest_stretch(view.value, one);
    const bool in_steps = view.step > 0 && view.length > 1 && view.governed == 0 && length_of(one) != 0;
    const std::int32_t first_step = view.length < kStepBytes ? view.length : kStepBytes;
    keys[k] = NeighbourKey{.going_on = going_on(one, length_of(two) == 0 ? one : two),
                           .value = view.value,
                           .length = view.length,
                           .first_step = first_step,
                           .in_steps = static_cast<std::uint8_t>(in_steps ? 1 : 0)};
  }
}

std::uint32_t step_stops_by_bytes(const GoingOn& keys, const std::uint8_t* a, const std::uint8_t* b,
                                  std::int32_t bytes) {
  const auto beyond = [&](int stretch, std::int32_t i) {
    return static_cast<std::int8_t>(a[i] - keys.first[stretch][i]) > keys.last[stretch][i];
  };
  std::uint32_t stops = 0;
  for (std::int32_t i = 0; i < bytes; ++i) {
    if (a[i] != b[i] || (beyond(0, i) && beyond(1, i))) stops |= std::uint32_t{1} << i;
  }
  return stops;
}

int compare_key_rest(const NeighbourKey& key, KeyText a, KeyText b, std::int32_t at) {
  const std::int32_t left = a.left < b.left ? a.left : b.left;
  const std::int32_t most = left < key.length ? left : key.length;
  for (; at < key.length; ++at) {
    at = next_stop(key.going_on, a.at, b.at, at, most);
    if (at == key.length) return 0;
    // Behind a record's end there is no byte to look up.
    const std::uint32_t value_a = at < a.left ? key.value[a.at[at]] : 0u;
    const std::uint32_t value_b = at < b.left ? key.value[b.at[at]] : 0u;
    if (value_a != value_b) return value_a < value_b ? -1 : 1;
    if (value_a == 0) return 0;
  }
  return 0;
}

int compare_neighbours(const SortState& s, const NeighbourKey* keys, const std::uint8_t* a,
                       const std::uint8_t* b, std::uint32_t key, std::uint32_t directions) {
  for (; key < s.key_count; ++key) {
    const KeyView& view = s.keys[key];
    int ascending = 0;
    if (keys[key].in_steps != 0) {
      ascending = compare_key_in_steps(keys[key], key_text(a, key), key_text(b, key));
    } else if (view.length == 1) {
      const std::uint16_t value = getvalue(a, view, key, 0, s.header_bytes);
      ascending = value - getvalue(b, view, key, 0, s.header_bytes);
      if (ascending == 0) directions = directions_behind(s, key, directions, value);
    } else {
      ascending = compare_key_by_bytes(s, a, b, key);
    }
    if (ascending != 0) return (ascending > 0) == ((directions >> key & 1u) != 0) ? -1 : 1;
  }
  return 0;
}

}  // namespace fsort
