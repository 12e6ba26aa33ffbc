// Environments: the levels of the distribution sort.
//
// An environment is one level: the plan that one pass uses, and the bins the pass fills. Environments form a
// tree that mirrors the recursion: the root takes the input, each bin that is distributed again gets a child.
// They live on the sublist stack, so that a whole level is released by popping a frame.
//
//   288 bytes: parent 8 | 10 plan steps x 24 | step count 4 (+4) | array header 32      then 64 bytes a bin
//
// Bin numbering. The bins of a plan of d steps form a tree laid out in preorder: slot 0 is the end-of-key bin
// of step 1; value v of step 1 opens a subtree of stride(1) slots at v * stride(1) + 1, whose first slot is
// the end-of-key bin of step 2, and so on. A record's bin is the sum of value * stride + 1 over the steps it
// passes, stopping at the first step in which its key has ended. Strides come from the last step backwards:
// 1, then stride(i) = stride(i+1) * (classes(i+1)) + 1.
//
//   two steps with 2 and 3 classes: strides 4 and 1, 9 bins
//   slot  0        1        2  3  4    5        6  7  8
//         ended    0,ended  00 01 02   1,ended  10 11 12
#pragma once

#include <cstdint>

#include "engine/tuning.h"
#include "sublist/sublist.h"
#include "support/stack.h"

namespace fsort {

// One key byte consumed by a pass; 24 bytes.
struct PlanStep {
  const std::uint16_t* table;  // class value + 1 of a byte, 0 = ended
  std::uint16_t maxval;        // highest class: maxval + 1 value bins and one end-of-key bin
  std::uint16_t stride;        // slots that one value bin spans with its subtree
  std::uint16_t key;
  std::uint16_t offset_word;  // key + 1: the record word with the key's offset
  std::int32_t position;      // byte position within the key, signed
  std::uint32_t padding;
};
static_assert(sizeof(PlanStep) == 24);

struct Environment {
  Environment* parent;  // null for the root
  PlanStep steps[kMaxPlanSteps];
  std::uint32_t step_count;
  std::uint32_t padding;
  SublistArray array;  // its bins follow
};
inline constexpr std::uint32_t kEnvironmentHeadBytes = 288;
static_assert(sizeof(Environment) == kEnvironmentHeadBytes);

[[nodiscard]] inline std::uint64_t environment_bytes(std::uint32_t bins) {
  return kEnvironmentHeadBytes + std::uint64_t{bins} * sizeof(Sublist);
}

// A new environment on the sublist stack with its bins laid out and empty; null (nothing changed) when there
// is no room.
[[nodiscard]] Environment* environment_make(Environment* parent, std::uint32_t step_count,
                                            const PlanStep* steps, std::uint16_t bins);

// Fills the bins of an array from `slot` on for the plan from step `step` on.
void init_sublists(Environment* environment, std::uint32_t slot, std::uint32_t step);

// Gives back what dropped bins took: releases the sublist stack's top frame, pushes a new one and takes the
// environment again at its current count. Result: its place, maybe a new one; the root field and the parent's
// child pointer follow. Requires: the environment is the only thing in that frame.
[[nodiscard]] Environment* environment_shrink(Environment* environment);

// A deep copy on `stack`; null when there is no room (parts may have been taken). The instance's relocation
// slot is kept pointing at the copy of what it names. Environments on the data stack lie unaligned: copies
// there are bytes to be copied back, never worked on.
[[nodiscard]] Environment* environment_copy(Stack* stack, const Environment* environment);

// Compacts the subtree of `newest` on the sublist stack by way of `scratch`. Result: its copy, with *current
// moved along; null (nothing changed) when the scratch stack has no room. The caller links the copy in its
// parent. Raises: the pathological-case text when the copy back finds no memory even beyond the budget; the
// work files of the levels are deleted then
[[nodiscard]] Environment* environment_compress(Stack* scratch, Environment* newest, Environment** current);

// Re-points the open-file array pointers at a moved tree.
void environment_ufptr(Environment* environment);

// Deletes the work files of an environment and all its children; null is accepted.
void environment_cleanup(Environment* environment);

}  // namespace fsort
