// Planning one level: how many key bytes the next pass consumes and how many bins it needs.
#pragma once

#include <cstdint>

#include "engine/environment.h"

namespace fsort {

struct Plan {
  PlanStep steps[kMaxPlanSteps];
  std::uint32_t step_count;
  std::uint32_t bins;
};

// Plans the pass that starts at byte `position` of `key` for `records` records of `memory_kb` KB; `single`
// limits it to one step. Result: the number of bins, also in plan->bins. Raises: "Segment length too small"
// when one step alone needs more bins than a segment holds
std::uint32_t plan(Plan* plan, std::uint16_t key, std::int32_t position, std::uint64_t records,
                   std::uint64_t memory_kb, bool single);

// The same decisions without filling steps, for a pass over records in memory: how many bytes it consumes.
[[nodiscard]] std::uint32_t plan_depth(std::uint16_t key, std::int32_t position, std::uint64_t records);

// True when `memory_kb` of data fit in the memory left once an environment of `bins` bins is allocated.
[[nodiscard]] bool fits(std::uint64_t memory_kb, std::uint32_t bins);

// Bytes of a bin on work files: its own, or its child's bins' when it has one.
[[nodiscard]] std::uint64_t total_size(const Sublist* bin);

}  // namespace fsort
