// Looks at sixteen bytes at a time: which of them pass a test, one bit each.
//
//   T 1 2 ; a b ; 7 5 . 3 ; ...        delimiters   0001001000010...   bit 0 = the first byte
//
// The place of the third delimiter, or the length of a number's digits, is then bit arithmetic instead of a
// loop a byte, whose end the processor would guess wrong for most records.
//
// Sixteen bytes are compared by one instruction where the processor is known to have it, else in plain 64-bit
// arithmetic; both are compiled everywhere, so that tests compare them.
//
// Safety: nothing outside the record is read. Where fewer than sixteen bytes are left, those that end at the
// record's end are looked at and the bits of the ones in front are shifted out; so a record must have sixteen
// bytes, its header counted.
#pragma once

#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "support/bytes.h"

namespace fsort {

inline constexpr std::uint32_t kScanBytes = 16;

// Eight bits out of the top bits of eight bytes, the first one lowest.
[[nodiscard]] inline std::uint32_t gather_top_bits(std::uint64_t top_bits) {
  return static_cast<std::uint32_t>((top_bits >> 7) * 0x0102040810204080 >> 56);
}

// Which of sixteen bytes equal `wanted`, in plain arithmetic.
[[nodiscard]] inline std::uint32_t find_byte_plain(const std::uint8_t* bytes, std::uint8_t wanted) {
  constexpr std::uint64_t kLow = 0x7F7F7F7F7F7F7F7F;
  const std::uint64_t pattern = wanted * std::uint64_t{0x0101010101010101};
  const auto eight = [pattern](const std::uint8_t* p) {
    const std::uint64_t difference = load_le<std::uint64_t>(p) ^ pattern;
    return gather_top_bits(~(((difference & kLow) + kLow) | difference | kLow));
  };
  return eight(bytes) | eight(bytes + 8) << 8;
}

// Which of sixteen bytes are '0' to '9', in plain arithmetic.
[[nodiscard]] inline std::uint32_t find_digits_plain(const std::uint8_t* bytes) {
  constexpr std::uint64_t kZeros = 0x3030303030303030;
  constexpr std::uint64_t kLow = 0x7F7F7F7F7F7F7F7F;
  constexpr std::uint64_t kToTop = 0x7676767676767676;  // takes 10 and more to the top bit
  const auto eight = [](const std::uint8_t* p) {
    const std::uint64_t digit = load_le<std::uint64_t>(p) ^ kZeros;
    return gather_top_bits(~(((digit & kLow) + kToTop) | digit) & ~kLow);
  };
  return eight(bytes) | eight(bytes + 8) << 8;
}

#if defined(__SSE2__)

using SixteenBytes [[gnu::vector_size(kScanBytes)]] = std::uint8_t;

[[nodiscard]] inline std::uint32_t find_byte(const std::uint8_t* bytes, std::uint8_t wanted) {
  const auto hits = load_le<SixteenBytes>(bytes) == wanted;
  return static_cast<std::uint32_t>(_mm_movemask_epi8(reinterpret_cast<__m128i>(hits)));
}

[[nodiscard]] inline std::uint32_t find_digits(const std::uint8_t* bytes) {
  const auto hits = (load_le<SixteenBytes>(bytes) ^ '0') <= 9;
  return static_cast<std::uint32_t>(_mm_movemask_epi8(reinterpret_cast<__m128i>(hits)));
}

#else

[[nodiscard]] inline std::uint32_t find_byte(const std::uint8_t* bytes, std::uint8_t wanted) {
  return find_byte_plain(bytes, wanted);
}

[[nodiscard]] inline std::uint32_t find_digits(const std::uint8_t* bytes) { return find_digits_plain(bytes); }

#endif

// What `find` says of the sixteen bytes from `at` on, those behind `end` as not found. Requires: at <= end,
// end >= 16
template <class Find>
[[nodiscard]] inline std::uint32_t scan_bytes(const std::uint8_t* record, std::uint32_t at, std::uint32_t end,
                                              Find find) {
  const std::uint32_t left = end - at;
  if (left >= kScanBytes) return find(record + at);
  return find(record + end - kScanBytes) >> (kScanBytes - left);
}

}  // namespace fsort
