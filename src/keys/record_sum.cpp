// Checksums of records; see record_sum.h.
//
// Both ways walk over the record in two chains side by side, 16 or 32 bytes a step. The end is read once more
// from behind, in whole words, so that nothing has to be padded and nothing behind the record is read. The
// length is mixed in.
//
// By products: a word of the record times the other word, that one mixed with the chain; a product's halves
// are folded into one word. A record of 100 bytes takes some 20 cycles.
//
// By rounds: a round of AES spreads each byte over four, and a second one over all sixteen. The chains take
// a block in each round, are then joined, and three rounds follow, so that the last block, too, is spread
// over the whole number. A round can be undone, so a change in one block never goes away. Some 8 cycles.
//
// The instruction is asked for by the functions' attribute alone: all else is built for any processor.
#include "keys/record_sum.h"

#include <cstddef>

#if defined(__x86_64__)
#include <wmmintrin.h>
#endif

#include "support/bytes.h"

namespace fsort {

namespace {

__extension__ using Wide = unsigned __int128;

// Odd numbers without a pattern: digits of the fractions of pi and e.
constexpr std::uint64_t kSumKeys[] = {0x243F6A8885A308D3, 0x13198A2E03707345, 0xA4093822299F31D1,
                                      0x082EFA98EC4E6C89, 0xB7E151628AED2A6B, 0xBF7158809CF4F3C7,
                                      0x62E7160F38B4DA57, 0xA784D9045190CFEF};

// A record of at most this many bytes has no steps, only an end.
constexpr std::uint32_t kEndBytes = 16;

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

std::uint64_t fold(std::uint64_t a, std::uint64_t b) {
  const Wide product = static_cast<Wide>(a) * b;
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

// A step of a chain over 16 bytes.
std::uint64_t fold_block(const std::uint8_t* data, std::uint64_t key, std::uint64_t chain) {
  return fold(load_le<std::uint64_t>(data) ^ key, load_le<std::uint64_t>(data + 8) ^ chain);
}

void add_by_products(RecordSum& sum, const std::uint8_t* data, std::uint32_t n) {
  std::uint64_t a = kSumKeys[0] ^ n;
  std::uint64_t b = kSumKeys[1];
  std::uint32_t at = 0;
  for (; at + 32 < n; at += 32) {
    a = fold_block(data + at, kSumKeys[2], a);
    b = fold_block(data + at + 16, kSumKeys[3], b);
  }
  if (at + 16 < n) a = fold_block(data + at, kSumKeys[2], a);
  const EndWords end = end_words(data, n);
  a = fold(end.first ^ kSumKeys[4], end.last ^ a);
  b = fold(end.last ^ kSumKeys[5], end.first ^ b);
  const Wide number = static_cast<Wide>(a ^ kSumKeys[3]) * (b ^ kSumKeys[2]) + a;
  sum.low += static_cast<std::uint64_t>(number);
  sum.high += static_cast<std::uint64_t>(number >> 64);
  ++sum.count;
}

void add_row_by_products(RecordSum& sum, const std::uint8_t* data, const std::uint16_t* lengths,
                         std::uint32_t count) {
  for (std::uint32_t i = 0; i < count; ++i) {
    add_by_products(sum, data, lengths[i]);
    data += lengths[i];
  }
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
  Block a = key_block(kSumKeys[0], kSumKeys[1]);
  Block b = key_block(kSumKeys[2], kSumKeys[3]);
  Block end;
  if (n < kEndBytes) {
    const EndWords words = end_words(data, n);
    end = key_block(words.last, words.first);
  } else {
    std::uint32_t at = 0;
    for (; at + 32 < n; at += 32) {
      a = _mm_aesenc_si128(a, load_block(data + at));
      b = _mm_aesenc_si128(b, load_block(data + at + 16));
    }
    if (at + 16 < n) a = _mm_aesenc_si128(a, load_block(data + at));
    end = load_block(data + n - 16);
  }
  a = _mm_aesenc_si128(a, _mm_aesenc_si128(b, end));
  a = _mm_aesenc_si128(a, key_block(kSumKeys[4], kSumKeys[5] ^ n));
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

[[gnu::target("aes")]] void add_by_rounds(RecordSum& sum, const std::uint8_t* data, std::uint32_t n) {
  add_number(sum, number_by_rounds(data, n));
  ++sum.count;
}

[[gnu::target("aes")]] void add_row_by_rounds(RecordSum& sum, const std::uint8_t* data,
                                              const std::uint16_t* lengths, std::uint32_t count) {
  Block total = _mm_setzero_si128();
  for (std::uint32_t i = 0; i < count; ++i) {
    total = add_halves(total, number_by_rounds(data, lengths[i]));
    data += lengths[i];
  }
  add_number(sum, total);
  sum.count += count;
}

#endif

}  // namespace

const RecordSumming kSumByProducts{add_by_products, add_row_by_products};

#if defined(__x86_64__)
static_assert(offsetof(RecordSum, high) == offsetof(RecordSum, low) + 8);
const RecordSumming kSumByRounds{add_by_rounds, add_row_by_rounds};

const RecordSumming& record_summing() {
  __builtin_cpu_init();  // a library may be asked before the constructors of its run-time have run
  return __builtin_cpu_supports("aes") != 0 ? kSumByRounds : kSumByProducts;
}
#else
const RecordSumming kSumByRounds = kSumByProducts;

const RecordSumming& record_summing() { return kSumByProducts; }
#endif

}  // namespace fsort
