// Levels made by memory relief: below a bin that is too large to be written as it stands.
//
// Such a level takes one key byte. Records that share many bytes need as many levels one below the other
// before they part, and a pass over all of them for each level would cost more than the whole sort. So once a
// level is made for a bin, a sample of the bin's records tells which bins further down will be too large as
// well, and their levels are made at once; one pass then takes every record where it belongs (descent.h). The
// sample only decides which levels there are: a record that it does not speak for lands in another bin of one
// of them, and a bin that grows too large all the same is subdivided like any other.
#pragma once

#include <cstdint>

#include "engine/engine_state.h"
#include "engine/environment.h"

namespace fsort {

// Where a bin's records must next be told apart.
struct Place {
  std::uint16_t key;
  std::int32_t position;
};

// The bin's place; its key is the number of keys when no key byte is left.
[[nodiscard]] Place place_of(const SortState& s, const Sublist& bin);

// True when a bin of so many bytes in memory is worth a level of its own.
[[nodiscard]] bool worth_a_level(std::uint64_t bytes);

// A level of one byte below the bin; null when there is no room for it.
[[nodiscard]] Environment* make_child(Environment* parent, const Sublist& bin, const Place& place);

// Makes the levels that the records of `bin`, which are about to go to `level`, will need below it.
void grow_levels(Environment* level, const Sublist& bin);

}  // namespace fsort
