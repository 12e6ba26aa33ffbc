// List sort: finishes a bin that holds too few records for another pass by insertion.
//
// A record equal to records already taken goes after them, so equal records leave in the order in which the
// bin yields them; with `unique` only the first of them leaves.
#pragma once

#include <cstdint>

#include "sublist/sublist.h"

namespace fsort {

// Sorts one bin of fewer than kLargestThreshold records and sends it to the output. Raises: those of
// rec_output
void lisort(SublistArray* array, std::uint16_t bin, bool unique);

}  // namespace fsort
