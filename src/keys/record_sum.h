// Number and checksum of a set of records, whatever their order.
//
// The checksum is the sum of a number of 128 bits for each record, its halves added by themselves, modulo
// 2^64. Adding does not care for the order, so the records that came in and those that went out must give the
// same sum. A lost, doubled or changed record gives another one, but for a chance of about 2^-64 a set. It is
// no protection against somebody who looks for records with the same sum.
//
// There are two ways to a record's number, and a process takes one of them: by rounds of AES where the
// processor has an instruction for them, by products of 64 by 64 bits elsewhere. Their numbers differ, so
// sums may only be compared within a process.
#pragma once

#include <cstdint>

namespace fsort {

struct RecordSum {
  std::uint64_t count;
  std::uint64_t low;
  std::uint64_t high;
};

struct RecordSumming {
  // Adds one record of n bytes.
  void (*add)(RecordSum& sum, const std::uint8_t* data, std::uint32_t n);
  // Adds `count` records that lie one behind the other. They do not depend on each other, so the processor
  // works on several at a time.
  void (*add_row)(RecordSum& sum, const std::uint8_t* data, const std::uint16_t* lengths,
                  std::uint32_t count);
};

extern const RecordSumming kSumByProducts;
extern const RecordSumming kSumByRounds;  // kSumByProducts in a build for processors without such rounds

// The fastest one that the processor has.
[[nodiscard]] const RecordSumming& record_summing();

}  // namespace fsort
