// Distribution of a bin's records through all the levels that exist below it, in one pass.
//
// A pass for each level takes every record off one list and puts it on the next; where records share their
// first bytes, those lists are as long at every level, and each pass misses the cache once a record. A
// descent follows a record's key bytes from level to level and puts it on the list of the deepest bin they
// lead to. The bins in between end as passes would leave them: with nothing in memory.
//
// Neighbours on a list are often alike. The levels that the last record passed are remembered, and the bytes
// in which the next record's key agrees with it need no look at them:
//
//     level     0 - 1 - 2 - 3 - 4 - 5 - 6 - 7 -> bin      last record   "2026-03-14T01:09"
//     record    agrees in 14 bytes: goes on at level 14                 "2026-03-14T19:28"
#pragma once

#include <cstdint>

#include "engine/environment.h"

namespace fsort {

// Takes every record in memory off `bin` and hands it down the levels from `top` on. Requires: `top` is the
// bin's child and has one step.
void descend(Sublist* bin, Environment* top);

// Frees what descents keep between them. May run twice.
void descent_free();

}  // namespace fsort
