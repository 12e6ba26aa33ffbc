// Array sort: finishes a bin whose records are all in memory without building levels for it.
//
// The bin's list is walked once into an array of (class values of the next key bytes, record address); all
// further passes work on the array, which stays in the cache, and touch a record again only when its cached
// bytes are used up and when it is written. The result is exactly what levels, passes and list sorts give,
// byte for byte, the order of equal records included:
//
//   - the same decisions: key steps, list-sort thresholds by record count, and plans of several bytes
//     (plan_depth);
//   - every pass of the level method turns the order of each bin around. Here a pass keeps the order and
//     `flipped` tells whether it reads backwards; a plan of several bytes is one pass, so it turns once a
//     plan;
//   - the parts of a range are laid out in output order at once, descending keys backwards, and the half of
//     a governing key that leaves first runs with its dependents' directions flipped (key_view.h).
//
// Because parts end up in their final place, they may be finished in any order: the largest is continued in
// the loop, the others by recursion, so that the depth is at most the logarithm of the record count. A byte
// shared by all records of a range costs one look at the range, not a pass; a few records tell beforehand
// whether what comes behind the words may be shared, and then it is stepped over while the next words are
// gathered.
//
// The scratch has two halves. A pass moves a range's entries from one to the other, each part at its final
// index; what is finished goes home to the first half. Records that their words hold in full (array_entry.h)
// are written from there.
#pragma once

#include <cstdint>

#include "sublist/sublist.h"

namespace fsort {

// True when the bin can be finished here: no child, nothing on file, and the scratch holds it.
[[nodiscard]] bool array_sort_takes(const Sublist& bin);

// Sorts the bin, sends its records to the output and leaves it empty. Requires: array_sort_takes(*bin),
// scratch made. Raises: "Segment length too small" and those of rec_output
void array_sort(Sublist* bin, bool unique);

// Makes scratch for `records` records; false when there is no memory for it.
[[nodiscard]] bool array_sort_reserve(std::uint64_t records);
// Gives the scratch back. May run twice.
void array_sort_free();

}  // namespace fsort
