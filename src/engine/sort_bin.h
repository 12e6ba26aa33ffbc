// Processing of a level: its bins in output order, each emitted, list-sorted or distributed again.
//
// tsort puts the bins of the current environment into output order, drops the empty ones and hands them to
// fsort, one by one. fsort finishes a bin (emission, list sort, array sort) or makes a child level of it and
// runs tsort on that.
//
// The array is consumed from its end: bins stand reversed, so the bin that leaves first is the last entry,
// and the array's count sinks with each bin done.
//
// A child level lives in a frame of its own on the sublist stack. While it is current, frame_floor protects
// the data-stack frames of its ancestors' waiting records.
#pragma once

#include <cstdint>

#include "sublist/sublist.h"

namespace fsort {

// Processes the current environment after a pass.
void tsort();

// Sorts one bin of the current environment.
// Raises: "Stack Overflow", the pathological-case text, "Segment length too small" and those of rec_output
void fsort(std::uint16_t bin);

// Decides how many of the next bins to be processed can be read back together, from the last entry down;
// `memory` is in KB. Result: the lowest bin of that run.
[[nodiscard]] std::uint16_t preload(SublistArray* array, std::uint64_t memory);

}  // namespace fsort
