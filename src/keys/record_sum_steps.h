// The number of one record for its sum (record_sum.h): what the two ways share, and the way by rounds, to be
// compiled into the loop that reads the records. A call a record, through a pointer, costs as much as a short
// record's number.
//
// All by rounds is for functions with the attribute target("aes") alone.
#pragma once

#include <cstdint>

#if defined(__x86_64__)
#include <wmmintrin.h>
#endif

#include "keys/record_sum.h"
#include "support/bytes.h"

namespace fsort {

namespace sum_steps {

// Odd numbers without a pattern: digits of the fractions of pi and e.
inline constexpr std::uint64_t kSumKeys[] = {0x243F6A8885A308D3, 0x13198A2E03707345, 0xA4093822299F31D1,
                                             0x082EFA98EC4E6C89, 0xB7E151628AED2A6B, 0xBF7158809CF4F3C7,
                                             0x62E7160F38B4DA57, 0xA784D9045190CFEF};

// A record of at most this many bytes has no steps, only an end.
inline constexpr std::uint32_t kEndBytes = 16;

struct EndWords {
  std::uint64_t first;
  std::uint64_t last;
};

// The last 16 bytes; of a shorter record all bytes, every one in at least one of the two words.
[[gnu::always_inline]] inline EndWords end_words(const std::uint8_t* data, std::uint32_t n) {
  if (n >= kEndBytes) return {load_le<std::uint64_t>(data + n - 16), load_le<std::uint64_t>(data + n - 8)};
  if (n >= 8) return {load_le<std::uint64_t>(data), load_le<std::uint64_t>(data + n - 8)};
  if (n >= 4) return {load_le<std::uint32_t>(data), load_le<std::uint32_t>(data + n - 4)};
  if (n == 0) return {0, 0};
  return {std::uint64_t{data[0]} << 16 | std::uint64_t{data[n / 2]} << 8 | data[n - 1], 0};
}

#if defined(__x86_64__)

using Block = __m128i;
using Halves [[gnu::vector_size(16)]] = std::uint64_t;  // a block to be added: unsigned, it may wrap

[[gnu::target("aes"), gnu::always_inline]] inline Block load_block(const std::uint8_t* data) {
  return _mm_loadu_si128(reinterpret_cast<const Block*>(data));
}

[[gnu::target("aes"), gnu::always_inline]] inline Block key_block(std::uint64_t high, std::uint64_t low) {
  return _mm_set_epi64x(static_cast<std::int64_t>(high), static_cast<std::int64_t>(low));
}

[[gnu::target("aes"), gnu::always_inline]] inline Block number_by_rounds(const std::uint8_t* data,
                                                                         std::uint32_t n) {
  Block a = _mm_xor_si128(key_block(kSumKeys[0], kSumKeys[1]), _mm_cvtsi32_si128(static_cast<int>(n)));
  Block b = key_block(kSumKeys[2], kSumKeys[3]);
  Block end;
  if (n < kEndBytes) {
    const EndWords words = end_words(data, n);
    end = key_block(words.last, words.first);
  } else {
    const std::uint8_t* const last = data + n - kEndBytes;
    for (; data + kEndBytes < last; data += 2 * kEndBytes) {
      a = _mm_aesenc_si128(a, load_block(data));
      b = _mm_aesenc_si128(b, load_block(data + kEndBytes));
    }
    if (data < last) a = _mm_aesenc_si128(a, load_block(data));
    end = load_block(last);
  }
  a = _mm_aesenc_si128(a, _mm_aesenc_si128(b, end));
  a = _mm_aesenc_si128(a, key_block(kSumKeys[4], kSumKeys[5]));
  a = _mm_aesenc_si128(a, key_block(kSumKeys[6], kSumKeys[7]));
  return _mm_aesenc_si128(a, key_block(kSumKeys[1], kSumKeys[6]));
}

[[gnu::target("aes"), gnu::always_inline]] inline Block add_halves(Block a, Block b) {
  return reinterpret_cast<Block>(reinterpret_cast<Halves>(a) + reinterpret_cast<Halves>(b));
}

[[gnu::target("aes"), gnu::always_inline]] inline void add_number(RecordSum& sum, Block number) {
  auto* halves = reinterpret_cast<Block*>(&sum.low);
  _mm_storeu_si128(halves, add_halves(_mm_loadu_si128(halves), number));
}

#endif

}  // namespace sum_steps

#if defined(__x86_64__)

// RecordSumming::add of kSumByRounds.
[[gnu::target("aes"), gnu::always_inline]] inline void sum_add_by_rounds(RecordSum& sum,
                                                                         const std::uint8_t* data,
                                                                         std::uint32_t n) {
  sum_steps::add_number(sum, sum_steps::number_by_rounds(data, n));
  ++sum.count;
}

#endif

}  // namespace fsort
