// Layout of a run on a work file; see docs/FORMATS.md for a worked example.
#pragma once

#include <cstdint>

namespace fsort {

// 0: position of the bin's previous run, all ones when there is none; 8: its length, header included.
inline constexpr std::uint32_t kRunHeaderBytes = 12;
inline constexpr std::uint32_t kRunLengthAt = 8;

}  // namespace fsort
