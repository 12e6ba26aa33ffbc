// Every number of the engine that was chosen rather than given by a format, with its reason.
#pragma once

#include <cstdint>

namespace fsort {

// A bin is finished by the list sort when it has fewer records than this, by the highest class of its key:
// the more bins a pass would have to lay out, the more records it takes to pay. Part of the promised order of
// equal records: changing a row changes how many passes a group of equal records goes through.
struct ListSortThreshold {
  std::uint16_t above_class;
  std::uint16_t records;
};
inline constexpr ListSortThreshold kListSortThresholds[] = {{128, 32}, {90, 20}, {72, 18}, {30, 12}};
inline constexpr std::uint16_t kSmallestThreshold = 6;
inline constexpr std::uint16_t kLargestThreshold = 32;

[[nodiscard]] constexpr std::uint16_t list_sort_threshold(std::uint16_t max_class) {
  for (const auto& row : kListSortThresholds) {
    if (max_class > row.above_class) return row.records;
  }
  return kSmallestThreshold;
}

// A plan has room for this many steps in an environment.
inline constexpr std::uint32_t kMaxPlanSteps = 10;

// Bin indices are 16 bits wide.
inline constexpr std::uint32_t kMaxBins = 65535;

// Fewer records than this are distributed without prefetch hints: clearing the hint rings would cost more.
inline constexpr std::uint64_t kHintMinRecords = 2048;

// Most records that the array sort takes at once, 2 x 16 bytes each: a pass over records on lists misses the
// cache once a record, a pass over the array reads and writes in sequence, however large it is. And its share
// of the memory plan, so that a small -m stays small.
inline constexpr std::uint64_t kArraySortMaxRecords = std::uint64_t{8} << 20;
inline constexpr std::uint64_t kArraySortMemoryShare = 16;
inline constexpr std::uint64_t kArraySortPlanShare = 2;  // of a plan that no -m limits
// From this size on scratch is a region of its own: it gets huge pages and goes back to the system at once.
inline constexpr std::size_t kArraySortRegionBytes = std::size_t{1} << 20;
// Smallest scratch made, in entries.
inline constexpr std::uint64_t kArraySortMinRecords = 1024;

// Memory relief may take segments beyond the plan for its levels, up to this part of it, or this many.
inline constexpr std::uint64_t kLevelShare = 8;
inline constexpr std::uint64_t kLevelSegments = 8;

// Records that relief looks at to see which levels a bin needs, and how few of them say nothing about a part.
inline constexpr std::uint32_t kReliefSample = 512;
inline constexpr std::uint32_t kReliefSampleLeast = 2;
// Levels that a descent remembers of the last record's way.
inline constexpr std::uint32_t kPathLevels = 256;
// Rings that the bins below a subdivided bin share, and the smallest plan in which they are no weight.
inline constexpr std::uint32_t kDescentRings = 2048;
inline constexpr std::uint64_t kDescentRingsLeastKb = 16384;

// How many records ahead of the one being written the emission asks for memory.
inline constexpr std::uint64_t kEmitAhead = 12;

// A sort without -m may outgrow its plan up to this part of the machine before it uses work files.
inline constexpr std::uint64_t kGrowthShare = 2;

// Default sizes and limits of the driver.
inline constexpr std::uint32_t kDefaultSegmentKb = 91;
inline constexpr std::uint32_t kMaxSegmentKb = 4194303;
inline constexpr std::uint64_t kDefaultFileKb = 10240;
inline constexpr std::uint16_t kDefaultRecordSize = 8;
inline constexpr std::int64_t kMinSubdivideKb = 5;
inline constexpr std::uint64_t kFramesPerPlan = 128;  // a data-stack frame is this part of the memory
inline constexpr std::uint32_t kMinSegments = 3;

}  // namespace fsort
