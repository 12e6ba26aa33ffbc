// Checking the output while it is written: each record against the one in front of it, and all of them
// against what was read.
//
// The order is that of all keys, with the directions that the command line gave, on the offsets that the
// records carry, by the bytes of the keys (neighbours.h): what the passes, bins and words of the sort were
// built to bring about, by another way. Mostly the first key tells two neighbours apart, or the digits behind
// a sign that is the same in both; that key has a loop of its own, and all else is asked one key after the
// other.
//
// Whole records (array_entry.h) leave without their memory being visited. Two in a row are compared by their
// words, from which the bytes put out are made one to one, behind key bytes that they share.
//
// What has left is only noted, and looked at some tens of records at a time, while it is still near the
// processor: the records as they lie in record memory for their order, the bytes in the output buffer for the
// sum. While records leave the processor waits for their memory, and must not be kept from asking for that of
// the next ones; and the loops over many are tight. A record that fills the buffer, or goes another way, is
// checked in record memory by itself.
//
//     sink_begin                   waiting[0] is the copy of the last record of the sink before, or null
//     a record, a record, ...      waiting[0] lies in record memory, which stands still while a sink is open
//     sink_end                     the last one is copied: its memory may go
//
// Nothing here raises but output_check_begin. What was found is looked at when the sort is over.
#pragma once

#include <cstdint>

#include "engine/engine_state.h"

namespace fsort {

// Makes the check ready for a sort, if it is wanted. Requires: key_view_init ran. Raises: "Insufficient
// memory available"
void output_check_begin();
void output_check_free();

// Checks the records that wait. `cursor`: the end of their bytes, which lie one record behind the other.
void output_check_waiting(OutputCheck& check, const std::uint8_t* cursor);
// Checks one record where it is. Requires: none wait
void output_check_record(OutputCheck& check, const std::uint8_t* record);

// Notes a record that was put in front of the cursor of the output buffer. `whole_bytes`: of a whole record,
// with its word, else 0. Whole records of one sink come from the same bin.
[[gnu::always_inline]] inline void output_check_later(OutputCheck& check, const std::uint8_t* cursor,
                                                      const std::uint8_t* record, std::uint64_t word,
                                                      std::uint32_t whole_bytes) {
  check.waiting[++check.waiting_count] = WaitingRecord{record, word, whole_bytes};
  if (check.waiting_count == kWaitingRecords) output_check_waiting(check, cursor);
}

// Copies the latest record to where it can stay.
void output_check_keep(OutputCheck& check);

}  // namespace fsort
