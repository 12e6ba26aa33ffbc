// Putting a record on the front of a bin's list; the one place where a bin's counts in memory go up.
#pragma once

#include <cstdint>

#include "keys/record.h"
#include "sublist/sublist.h"
#include "support/record_links.h"

namespace fsort {

// How far a reader looks that goes on with this key of a record like this one: the link, and a word of the
// key behind the first bytes of it.
[[nodiscard]] inline std::uint32_t reach_of_key(const std::uint8_t* record, std::uint32_t key) {
  constexpr std::uint32_t kKeyBytes = 16;
  return kRecordLinkBytes + rec_key_offset(record, key) + kKeyBytes;
}

// `ring`: the last kHintAhead heads of the bin, or null for a link without a hint.
inline void list_push(Sublist& bin, std::uint8_t** ring, std::uint8_t* record,
                      std::uint32_t reach = kHintReach) {
  if (ring != nullptr) {
    std::uint8_t** const slot = ring + bin.mem_count % kHintAhead;
    record_set_next_hinted(record, bin.head, *slot, reach);
    *slot = record;
  } else {
    record_set_next(record, bin.head);
  }
  bin.head = record;
  bin.mem_bytes += rec_charge(record);
  ++bin.mem_count;
}

}  // namespace fsort
