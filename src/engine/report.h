// Lines shown about a running sort, and fixed texts of the driver.
#pragma once

#include <cstdint>

#include "engine/environment.h"

namespace fsort {

extern const char* const kUsageText1;
extern const char* const kUsageText2;

// Raised when no level can be made even after a new segment.
extern const char kPathologicalText[];

// Shows one level: key, byte position and bin it is made for, memory in use, records and bins; "Subdivide" in
// front when memory relief makes it. Result: the clock at its end.
std::int64_t display_in(std::uint32_t key, std::int32_t digit, std::uint32_t bin, std::uint64_t records,
                        const Environment* environment, bool subdivide);
// Shows the system time since `start`.
void display_out(std::int64_t start);
// Shows elapsed seconds.
void display_etime(std::int64_t seconds);

}  // namespace fsort
