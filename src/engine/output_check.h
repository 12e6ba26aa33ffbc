// Checking the output while it is written: each record against the one in front of it, and all of them
// against what was read.
//
// The order is that of compare_from over all keys, with the directions that the command line gave, on the
// offsets that the records carry: what the passes, bins and words of the sort were built to bring about, by
// another way. Most neighbours differ in the first word of their first key; that word of the latest record is
// kept, so the record itself is looked at again only when the words are equal.
//
// Whole records (array_entry.h) leave without their memory being visited. They are summed from the bytes put
// out; two in a row are compared by their words, from which those bytes are made one to one, behind key bytes
// that they share.
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

// A record is going out. Requires: the check is wanted
void output_check(OutputCheck& check, const SortState& s, const std::uint8_t* record);
// A whole record went out as these bytes. `same_front`: so did the one before, from the same bin.
void output_check_whole(OutputCheck& check, const SortState& s, const std::uint8_t* record,
                        std::uint64_t word, const std::uint8_t* data, std::uint32_t n, bool same_front);
// Copies the latest record to where it can stay.
void output_check_keep(OutputCheck& check);

}  // namespace fsort
