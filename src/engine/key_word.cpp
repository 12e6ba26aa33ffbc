// Key words of the keys that need a look at every byte; see key_word.h.
#include "engine/key_word.h"

namespace fsort {

namespace {

// Eight values below 16, a byte each, in the lower half of a word.
std::uint64_t four_bits_each(std::uint64_t bytes) {
  bytes = (bytes | bytes >> 4) & 0x00FF00FF00FF00FF;
  bytes = (bytes | bytes >> 8) & 0x0000FFFF0000FFFF;
  return (bytes | bytes >> 16) & 0x00000000FFFFFFFF;
}

// Classes of eight bytes by the table of the ten digits: 1 to 10.
std::uint64_t map_digits(std::uint64_t bytes) {
  const std::uint64_t digit = bytes ^ kEveryByte * '0';
  const std::uint64_t others = ((digit & ~kTopBits) + kEveryByte * (127 - 9)) | digit;
  const std::uint64_t ended = others & kTopBits;
  if (ended == 0) return digit + kEveryByte;
  const std::uint64_t live = ~(~std::uint64_t{0} >> (std::countl_zero(ended) & ~7));
  return (digit & live) + (kEveryByte & live);
}

// key_word where the key's `digits` is set.
inline std::uint64_t digits_word(const SortState& s, const std::uint8_t* record, std::uint32_t key,
                                 std::int32_t position) {
  const auto at = static_cast<std::uint32_t>(rec_key_offset(record, key) + position);
  const std::uint32_t left = s.keys[key].length - static_cast<std::uint32_t>(position);
  return word_front(map_digits(record_word(record, at)), left);
}

// The narrow word from the wide ones that `half` gives of each key.
template <std::uint64_t (*half)(const SortState&, const std::uint8_t*, std::uint32_t, std::int32_t)>
std::uint64_t narrow_word_by(const SortState& s, const std::uint8_t* record, std::uint32_t key,
                             std::int32_t position) {
  std::uint64_t word = 0;
  std::uint32_t taken = 0;  // values of the keys before
  for (;;) {
    const KeyView& view = s.keys[key];
    const std::uint32_t left = view.length - static_cast<std::uint32_t>(position);
    const std::uint64_t front = half(s, record, key, position);
    std::uint64_t values = four_bits_each(front) << kWordBits / 2;
    if ((front & 0xFF) != 0 && left > kWordBytes) {
      values |= four_bits_each(half(s, record, key, position + static_cast<std::int32_t>(kWordBytes)));
    }
    word |= values >> kNarrowShape.width * taken;
    const std::uint32_t live = word_live(values, kNarrowShape);
    taken += live < left ? live + 1 : live;  // the ended value, where a byte ends the key
    if (taken >= kNarrowShape.values || view.spans == 0) return word;
    ++key;
    position = 0;
  }
}

}  // namespace

std::uint64_t key_word_by_bytes(const SortState& s, const std::uint8_t* record, std::uint32_t key,
                                std::int32_t position) {
  const KeyView& view = s.keys[key];
  const WordShape shape = word_shape(view);
  const auto magnitude = static_cast<std::uint32_t>(position < 0 ? -position : position);
  const std::uint32_t left = view.length - magnitude;
  const std::uint32_t most = left < shape.values ? left : shape.values;
  std::uint64_t word = 0;
  std::uint32_t shift = kWordBits;
  for (std::uint32_t i = 0; i < most; ++i, position += view.step) {
    const std::uint16_t value = getvalue(record, view, key, position, s.header_bytes);
    if (value == 0) break;
    shift -= shape.width;
    word |= std::uint64_t{value} << shift;
  }
  return word;
}

std::uint64_t span_word(const SortState& s, const std::uint8_t* record, std::uint32_t key,
                        std::int32_t position, std::uint64_t word) {
  constexpr WordShape kShape{8, kWordBytes};
  std::uint64_t values = word;  // of the key looked at
  std::uint32_t taken = 0;      // values of the keys before
  for (;;) {
    const std::uint32_t left = s.keys[key].length - static_cast<std::uint32_t>(position);
    const std::uint32_t live = word_live(values, kShape);
    taken += live < left ? live + 1 : live;  // the ended value, where a byte ends the key
    if (taken >= kWordBytes || s.keys[key].spans == 0) return word;
    ++key;
    position = 0;
    values = key_word(s, record, key, 0);
    word |= values >> 8 * taken;
  }
}

std::uint64_t narrow_word(const SortState& s, const std::uint8_t* record, std::uint32_t key,
                          std::int32_t position) {
  return s.keys[key].digits != 0 ? narrow_word_by<digits_word>(s, record, key, position)
                                 : narrow_word_by<key_word>(s, record, key, position);
}

}  // namespace fsort
