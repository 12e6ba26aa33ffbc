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

#include "keys/record_sum_steps.h"

namespace fsort {

namespace {

using sum_steps::end_words;
using sum_steps::EndWords;
using sum_steps::kSumKeys;

__extension__ using Wide = unsigned __int128;

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

[[gnu::target("aes")]] void add_by_rounds(RecordSum& sum, const std::uint8_t* data, std::uint32_t n) {
  sum_add_by_rounds(sum, data, n);
}

[[gnu::target("aes")]] void add_row_by_rounds(RecordSum& sum, const std::uint8_t* data,
                                              const std::uint16_t* lengths, std::uint32_t count) {
  sum_steps::Block total = _mm_setzero_si128();
  for (std::uint32_t i = 0; i < count; ++i) {
    total = sum_steps::add_halves(total, sum_steps::number_by_rounds(data, lengths[i]));
    data += lengths[i];
  }
  sum_steps::add_number(sum, total);
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
