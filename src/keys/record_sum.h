// Number and checksum of a set of records, whatever their order.
//
// The checksum is the sum, modulo 2^128, of a number of 128 bits for each record. Adding does not care for
// the order, so the records that came in and those that went out must give the same sum. A lost, doubled or
// changed record gives another one, but for a chance of about 2^-64 a set. It is no protection against
// somebody who looks for records with the same sum.
//
// A record's number comes from multiplications of 64 by 64 bits, whose product of 128 bits is folded in half:
// two chains side by side, 16 bytes each a step, so that a record of 100 bytes takes some 20 cycles. The end
// is read once more from behind, in whole words; the length is in the start, so nothing has to be padded.
#pragma once

#include <cstdint>

#include "support/bytes.h"

namespace fsort {

__extension__ using Wide = unsigned __int128;

struct RecordSum {
  std::uint64_t count;
  std::uint64_t low;
  std::uint64_t high;
};

// Odd numbers without a pattern: digits of the fractions of pi and e.
inline constexpr std::uint64_t kSumKeys[] = {0x243F6A8885A308D3, 0x13198A2E03707345, 0xA4093822299F31D1,
                                             0x082EFA98EC4E6C89, 0xB7E151628AED2A6B, 0xBF7158809CF4F3C7};

[[nodiscard]] inline std::uint64_t sum_fold(std::uint64_t a, std::uint64_t b) {
  const Wide product = static_cast<Wide>(a) * b;
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

// The first and the last bytes of a text of at most 16 bytes, every byte in one of the two words.
inline void sum_short_words(const std::uint8_t* data, std::uint32_t n, std::uint64_t* first,
                            std::uint64_t* last) {
  if (n >= 8) {
    *first = load_le<std::uint64_t>(data);
    *last = load_le<std::uint64_t>(data + n - 8);
  } else if (n >= 4) {
    *first = load_le<std::uint32_t>(data);
    *last = load_le<std::uint32_t>(data + n - 4);
  } else if (n != 0) {
    *first = std::uint64_t{data[0]} << 16 | std::uint64_t{data[n / 2]} << 8 | data[n - 1];
    *last = 0;
  } else {
    *first = 0;
    *last = 0;
  }
}

inline void record_sum_add(RecordSum& sum, const std::uint8_t* data, std::uint32_t n) {
  std::uint64_t a = kSumKeys[0] ^ n;
  std::uint64_t b = kSumKeys[1];
  std::uint64_t first = 0;
  std::uint64_t last = 0;
  if (n <= 16) {
    sum_short_words(data, n, &first, &last);
  } else {
    std::uint32_t at = 0;
    for (; at + 32 < n; at += 32) {
      a = sum_fold(load_le<std::uint64_t>(data + at) ^ kSumKeys[2],
                   load_le<std::uint64_t>(data + at + 8) ^ a);
      b = sum_fold(load_le<std::uint64_t>(data + at + 16) ^ kSumKeys[3],
                   load_le<std::uint64_t>(data + at + 24) ^ b);
    }
    if (at + 16 < n) {
      a = sum_fold(load_le<std::uint64_t>(data + at) ^ kSumKeys[2],
                   load_le<std::uint64_t>(data + at + 8) ^ a);
    }
    first = load_le<std::uint64_t>(data + n - 16);
    last = load_le<std::uint64_t>(data + n - 8);
  }
  a = sum_fold(first ^ kSumKeys[4], last ^ a);
  b = sum_fold(last ^ kSumKeys[5], first ^ b);
  const Wide number = static_cast<Wide>(a ^ kSumKeys[3]) * (b ^ kSumKeys[2]) + a;
  const Wide before = static_cast<Wide>(sum.high) << 64 | sum.low;
  const Wide after = before + number;
  sum.low = static_cast<std::uint64_t>(after);
  sum.high = static_cast<std::uint64_t>(after >> 64);
  ++sum.count;
}

}  // namespace fsort
