// Emission of a bin whose records need no further sorting.
#pragma once

#include <cstdint>

#include "sublist/sublist.h"

namespace fsort {

// Sends the bin's records to the output in the order it yields them; with `unique` only the first, and the
// bin is then empty. Raises: those of rec_output
void output_sublist(SublistArray* array, std::uint16_t bin, bool unique);

}  // namespace fsort
