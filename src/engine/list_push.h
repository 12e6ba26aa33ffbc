// Putting a record on the front of a bin's list; the one place where a bin's counts in memory go up.
#pragma once

#include <cstdint>

#include "keys/record.h"
#include "sublist/sublist.h"
#include "support/record_links.h"

namespace fsort {

// `ring`: the last kHintAhead heads of the bin, or null for a link without a hint.
inline void list_push(Sublist& bin, std::uint8_t** ring, std::uint8_t* record) {
  if (ring != nullptr) {
    std::uint8_t** const slot = ring + bin.mem_count % kHintAhead;
    record_set_next_hinted(record, bin.head, *slot);
    *slot = record;
  } else {
    record_set_next(record, bin.head);
  }
  bin.head = record;
  bin.mem_bytes += rec_charge(record);
  ++bin.mem_count;
}

}  // namespace fsort
