// Checking the output while it is written: each record against the one in front of it, and all of them
// against what was read.
//
// The order is that of compare_from over all keys, with the directions that the command line gave, on the
// offsets that the records carry: what the passes, bins and words of the sort were built to bring about, by
// another way. Most neighbours differ in the first word of their first key; that word of the latest record is
// kept, so the record itself is looked at again only when the words are equal.
//
// Whole records (array_entry.h) leave without their memory being visited. Two in a row are compared by their
// words, from which the bytes put out are made one to one, behind key bytes that they share.
//
// The sum is taken from the output buffer, many records at a time: while records leave the processor waits
// for their memory, and must not be kept from asking for that of the next ones. A record that fills the
// buffer, or goes another way, is summed in record memory.
//
//     sink_begin                   `previous` is the copy of the last record of the sink before, or null
//     a record, a record, ...      `previous` lies in record memory, which stands still while a sink is open
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

// A record is going out: compares it with the one before.
void output_check_order(OutputCheck& check, const SortState& s, const std::uint8_t* record);
// The same for a whole record of this word. `same_front`: the one before was one, too, from the same bin.
void output_check_whole(OutputCheck& check, const SortState& s, const std::uint8_t* record,
                        std::uint64_t word, bool same_front);
// Sums the records that wait in front of the cursor of the output buffer.
void output_check_sum(OutputCheck& check, const std::uint8_t* cursor);

// Notes a record of `n` bytes that was put in front of the cursor.
inline void output_check_later(OutputCheck& check, const std::uint8_t* cursor, std::uint32_t n) {
  check.lengths[check.unsummed++] = static_cast<std::uint16_t>(n);
  check.unsummed_bytes += n;
  if (check.unsummed == kUnsummedRecords) output_check_sum(check, cursor);
}

// Copies the latest record to where it can stay.
void output_check_keep(OutputCheck& check);

}  // namespace fsort
