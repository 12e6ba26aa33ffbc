// Locates fields and keys of a record and fills its header.
#pragma once

#include <cstdint>

namespace fsort {

// Works out the plan of this sort from the key table, the byte classes and the sequence tables. Called at the
// end of rec_init, after the last mark was set.
void rec_fill_prepare();

// Fills offset words, sign bytes and byte H-1 (0). Requires: length word and data are in place, a zero
// follows the data. Raises: see rec_input.
void rec_fill(std::uint8_t* record);

}  // namespace fsort
