// Memory relief: making room for records by moving others to work files.
//
// When the data stack is full, the bins of the current level that hold records in memory are either
// distributed one level deeper first (large ones: their parts are then written as runs of their own, so that
// they need no second pass over the file) or written to the level's work file as they stand. Then the
// data-stack frames those records lay in are popped.
//
// Only the current level is relieved. Records of its ancestors' waiting bins lie in older frames, which
// frame_floor protects; records in frames that are kept stay on their bins' lists.
//
// Directions. A level made here is ordered here (order.h), maybe long before its bin is processed. Bins of a
// governing key's first half are processed with the governed keys flipped, so they are subdivided with them
// flipped too, whatever the state is at the moment.
#pragma once

#include <cstdint>

namespace fsort {

// Makes room for `size` bytes on the data stack: grows the sort where that is allowed, else writes records
// out. Does nothing while records must stay where they are (read-ahead, a list sort, a bin being emitted).
// Raises: those of writing work files
void free_memory(std::uint64_t size);

// Moves the records of frame `frame` and later out of the current level's bins.
void empty_frames(std::uint32_t frame);

}  // namespace fsort
