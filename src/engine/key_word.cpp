// Key words of the keys that need a look at every byte; see key_word.h.
#include "engine/key_word.h"

namespace fsort {

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

}  // namespace fsort
