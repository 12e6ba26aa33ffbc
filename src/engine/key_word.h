// Key words: the class values of the next bytes of a key, packed so that comparing words compares keys.
//
//   8 bits a value:  | v0 | v1 | v2 | ... | v7 |   v = class + 1, 0 = the key has ended
//   9 bits (7 values) when the key's table has 256 classes. Behind an ended value the rest is 0.
//   4 bits (16 values) in words of entries alone (array_sort.h), for keys of at most 15 classes: a number
//   with its fraction is in one word.
//
// A sort looks at key bytes more often than at anything else, so the common keys (walked forward, ended by a
// byte without a class) take no loop with an end that the processor would have to guess: eight bytes of the
// record come in one load, and a table that is one run of bytes but for a few, as the default one is but for
// the tab, is applied to all eight at once.
//
//   bytes of the record   a   B   c  \n   x ...      run ' '..'~', whose first value is 2
//   less the run's start  65  34  67  234  ..        beyond the run: the key has ended, or it takes the table
//   word                  67  36  69   0   0 ...
//
// The table of all bytes as they are, the one of binary keys, is no run in this sense: its values need nine
// bits, and its keys end with their column or with the record. Seven bytes of one load are moved apart
// instead.
//
// Safety: nothing outside the record is read. A load that would reach over the record's end is one that ends
// there instead, shifted; a record is longer than a word together with its link.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>

#include "engine/engine_state.h"
#include "engine/key_view.h"
#include "keys/record.h"
#include "support/bytes.h"

namespace fsort {

inline constexpr std::uint32_t kWordBits = 64;
inline constexpr std::uint32_t kWordBytes = 8;
inline constexpr std::uint32_t kSpreadValues = 7;  // of nine bits
inline constexpr std::uint64_t kEveryByte = 0x0101010101010101;
inline constexpr std::uint64_t kTopBits = kEveryByte << 7;

// How a key's values lie in a word.
struct WordShape {
  std::uint32_t width;   // bits a value
  std::uint32_t values;  // values a word holds
};

inline constexpr WordShape kNarrowShape{4, 16};

[[nodiscard]] inline WordShape word_shape(const KeyView& view) {
  return view.max_class < 255 ? WordShape{8, 8} : WordShape{9, 7};
}

// The shape of the words of entries.
[[nodiscard]] inline WordShape entry_shape(const KeyView& view) {
  return view.narrow != 0 ? kNarrowShape : word_shape(view);
}

[[nodiscard]] inline std::uint32_t word_value(std::uint64_t word, WordShape shape, std::uint32_t index) {
  return static_cast<std::uint32_t>(word << (shape.width * index) >> (kWordBits - shape.width));
}

// Values in front of the first ended one.
[[nodiscard]] inline std::uint32_t word_live(std::uint64_t word, WordShape shape) {
  const auto ended = static_cast<std::uint32_t>(std::countr_zero(word));
  const std::uint32_t spare = kWordBits - shape.width * shape.values;
  return word == 0 ? 0 : shape.values - (ended - spare) / shape.width;
}

// Values at the front in which two words agree.
[[nodiscard]] inline std::uint32_t words_agree(std::uint64_t a, std::uint64_t b, WordShape shape) {
  const auto same = static_cast<std::uint32_t>(std::countl_zero(a ^ b)) / shape.width;
  return same < shape.values ? same : shape.values;
}

// The first `bytes` bytes of a word; the others are 0.
[[nodiscard]] inline std::uint64_t word_front(std::uint64_t word, std::uint32_t bytes) {
  return bytes >= kWordBytes ? word : word & ~(~std::uint64_t{0} >> (8 * bytes));
}

// Eight bytes of a record from `offset` on, the first one on top; 0 for those behind its end.
[[nodiscard]] inline std::uint64_t record_word(const std::uint8_t* record, std::uint32_t offset) {
  const std::uint32_t end = rec_total_length(record);
  if (offset + kWordBytes <= end) return __builtin_bswap64(load_le<std::uint64_t>(record + offset));
  if (offset >= end) return 0;
  const std::uint64_t last = load_le<std::uint64_t>(record + end - kWordBytes);
  return __builtin_bswap64(last >> 8 * (kWordBytes - (end - offset)));
}

// `word` up to its first value that is 0.
[[nodiscard]] inline std::uint64_t until_ended(std::uint64_t word) {
  const std::uint64_t ended = ~(((word & ~kTopBits) + ~kTopBits) | word) & kTopBits;
  return ended == 0 ? word : word & ~(~std::uint64_t{0} >> (std::countl_zero(ended) & ~7));
}

// Classes of eight bytes by any table.
[[nodiscard]] inline std::uint64_t map_by_table(std::uint64_t bytes, const std::uint16_t* value_of) {
  std::uint64_t word = 0;
  for (std::uint32_t shift = 0; shift != kWordBits; shift += 8) {
    word |= std::uint64_t{value_of[bytes >> shift & 0xFF]} << shift;
  }
  return until_ended(word);
}

// Classes of eight bytes by a table that is mostly one run of bytes: the distance from the run's start.
[[nodiscard]] inline std::uint64_t map_by_run(std::uint64_t bytes, const KeyView& view) {
  // Byte by byte: distance = byte - start, modulo 256.
  const std::uint64_t start = view.run_start * kEveryByte;
  const std::uint64_t distance = ((bytes | kTopBits) - (start & ~kTopBits)) ^ ((bytes ^ ~start) & kTopBits);
  // The top bit of every byte that lies beyond the run.
  const std::uint64_t low = distance & ~kTopBits;
  const std::uint64_t outside = view.run_last < 128
                                    ? ((low + kEveryByte * (127u - view.run_last)) | distance) & kTopBits
                                    : (low + kEveryByte * (255u - view.run_last)) & distance & kTopBits;
  const std::uint64_t values = kEveryByte * view.run_value;
  if (outside == 0) return distance + values;
  const auto before = static_cast<unsigned>(std::countl_zero(outside)) & ~7u;
  if (view.run_is_all == 0 && view.value[bytes << before >> (kWordBits - 8)] != 0) {
    return map_by_table(bytes, view.value);
  }
  const std::uint64_t live = ~(~std::uint64_t{0} >> before);
  return (distance & live) + (values & live);
}

// Values of the first `live` bytes, at most seven, by the table of all bytes as they are. Each byte
// moves right by its place and one more, in steps of 4, 2 and 1, so that one bit is free in front of it:
//
//   | 0 | 1 | 2 | 3 | 4 | 5 | 6 | - |    ->    |_0 |_1 |_2 |_3 |_4 |_5 |_6 |-|
[[nodiscard]] inline std::uint64_t map_by_spread(std::uint64_t bytes, std::uint32_t live) {
  constexpr std::uint64_t kLastHalf = 0x00000000FFFFFF00;  // bytes 4, 5, 6
  constexpr std::uint64_t kOddPairs = 0x0000FFFF00000FF0;  // then bytes 2, 3 and 6
  constexpr std::uint64_t kOddBytes = 0x00FF003FC00FF000;  // then bytes 1, 3 and 5
  constexpr std::uint64_t kOneEach = 0x0080402010080402;   // a value is its byte and one
  std::uint64_t word = (bytes & ~(kLastHalf | 0xFF)) | (bytes & kLastHalf) >> 4;
  word = (word & ~kOddPairs) | (word & kOddPairs) >> 2;
  word = (word & ~kOddBytes) | (word & kOddBytes) >> 1;
  return ((word >> 1) + kOneEach) & ~(~std::uint64_t{0} >> 9 * live);
}

// The word of a key that is mapped by its run, from `position` on. The view is given by value, so that a loop
// over many records keeps what it needs of it at hand.
[[nodiscard, gnu::always_inline]] inline std::uint64_t run_word(const KeyView view,
                                                                const std::uint8_t* record, std::uint32_t key,
                                                                std::int32_t position) {
  const auto at = static_cast<std::uint32_t>(rec_key_offset(record, key) + position);
  const std::uint64_t word = map_by_run(record_word(record, at), view);
  return word_front(word, view.length - static_cast<std::uint32_t>(position));
}

// By looking at one byte after the other: keys walked backwards, and those whose end no byte marks.
[[nodiscard]] std::uint64_t key_word_by_bytes(const SortState& s, const std::uint8_t* record,
                                              std::uint32_t key, std::int32_t position);

// The word of a record's key from `position` on. Requires: the key does not end before `position`.
[[nodiscard, gnu::always_inline]] inline std::uint64_t key_word(const SortState& s,
                                                                const std::uint8_t* record, std::uint32_t key,
                                                                std::int32_t position) {
  const KeyView& view = s.keys[key];
  if (view.mapping == kMapByBytes) return key_word_by_bytes(s, record, key, position);
  const auto at = static_cast<std::uint32_t>(rec_key_offset(record, key) + position);
  const std::uint64_t bytes = record_word(record, at);
  if (view.mapping == kMapBySpread) {
    const std::uint32_t end = rec_total_length(record);
    const std::uint32_t in_record = at < end ? end - at : 0;
    const std::uint32_t in_key = view.length - static_cast<std::uint32_t>(position);
    return map_by_spread(bytes, std::min({in_record, in_key, kSpreadValues}));
  }
  if (view.length == 1) return std::uint64_t{view.value[record[at]]} << (kWordBits - 8);
  const std::uint64_t word =
      view.mapping == kMapByRun ? map_by_run(bytes, view) : map_by_table(bytes, view.value);
  return word_front(word, view.length - static_cast<std::uint32_t>(position));
}

// The rest of a spanning word: values of the keys behind `key`, whose own are in `word` already.
[[nodiscard]] std::uint64_t span_word(const SortState& s, const std::uint8_t* record, std::uint32_t key,
                                      std::int32_t position, std::uint64_t word);

// The word of an entry of a narrow key, spanning the keys behind.
[[nodiscard]] std::uint64_t narrow_word(const SortState& s, const std::uint8_t* record, std::uint32_t key,
                                        std::int32_t position);

// The word of an entry. Where the keys that follow run in the same direction it goes on with their values, so
// that a number's fraction, say, is in the word of its digits:
//
//   | 4 | 2 | 0 | 5 | 0 | ...      digits "31" ended, fraction "4" ended: values are digit + 1
//
// A key that its column ends, not a byte, is followed by the next one without an ended value between.
[[nodiscard]] inline std::uint64_t entry_word(const SortState& s, const std::uint8_t* record,
                                              std::uint32_t key, std::int32_t position) {
  if (s.keys[key].narrow != 0) return narrow_word(s, record, key, position);
  const std::uint64_t word = key_word(s, record, key, position);
  return s.keys[key].spans == 0 || (word & 0xFF) != 0 ? word : span_word(s, record, key, position, word);
}

}  // namespace fsort
