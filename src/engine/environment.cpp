// Making, shrinking, copying, compacting and cleaning up levels; see environment.h.
//
// Copies go through memcpy and load_le/store_le: an environment on the scratch stack lies behind records of
// any size.
#include "engine/environment.h"

#include <cstddef>
#include <cstring>

#include "engine/engine_access.h"
#include "engine/key_view.h"
#include "engine/report.h"

namespace fsort {

namespace {

// The bin after one that the last step of a plan put a record into: the next byte of its key, or the next
// key. Kept on purpose: the end is tested on the signed position, so a key walked backwards keeps its
// negative position and is recognised as ended when the bin is processed.
void next_place(const PlanStep& step, Sublist& bin) {
  const KeyView& view = sort_st().keys[step.key];
  const std::int32_t advanced = step.position + view.step;
  if (advanced == static_cast<std::int32_t>(view.length)) {
    bin.key = static_cast<std::uint16_t>(step.key + 1);
    bin.position = 0;
  } else {
    bin.key = step.key;
    bin.position = static_cast<std::uint16_t>(advanced);
  }
}

// Field access in an environment that may lie unaligned.
std::uint16_t raw_count(const Environment* environment) {
  const auto* at = reinterpret_cast<const std::uint8_t*>(environment);
  return load_le<std::uint16_t>(at + offsetof(Environment, array) + offsetof(SublistArray, count));
}
std::uint8_t* raw_child_slot(Environment* environment, std::uint32_t bin) {
  auto* at = reinterpret_cast<std::uint8_t*>(environment);
  return at + kEnvironmentHeadBytes + std::size_t{bin} * sizeof(Sublist) + offsetof(Sublist, child);
}
// Unlinks a level whose memory is gone, so that no clean-up follows the link.
void forget_level(Environment* parent, const Environment* level) {
  if (parent == nullptr) {
    driver_st().environment = nullptr;
    return;
  }
  for (std::uint32_t i = 0; i < parent->array.count; ++i) {
    if (parent->array.bins()[i].child == level) parent->array.bins()[i].child = nullptr;
  }
}

// Deletes the work files of a copied tree whose levels are about to be forgotten.
void delete_files(const Environment* environment) {
  auto* at = const_cast<Environment*>(environment);
  const std::uint16_t count = raw_count(environment);
  for (std::uint32_t i = 0; i < count; ++i) {
    if (auto* child = load_le<Environment*>(raw_child_slot(at, i)); child != nullptr) delete_files(child);
  }
  auto array = load_le<SublistArray>(reinterpret_cast<const std::uint8_t*>(environment) +
                                     offsetof(Environment, array));
  sublist_array_ufptr(&array);
  sublist_array_delete(&array);
}

void raw_set_parent(Environment* environment, Environment* parent) {
  store_le(reinterpret_cast<std::uint8_t*>(environment) + offsetof(Environment, parent), parent);
}

}  // namespace

void init_sublists(Environment* environment, std::uint32_t slot, std::uint32_t step_index) {
  const PlanStep& step = environment->steps[step_index];
  Sublist* bins = environment->array.bins();
  const Sublist& empty = sublist_empty();
  bins[slot] = empty;
  bins[slot].key = static_cast<std::uint16_t>(step.key + 1);
  bins[slot].position = 0;
  ++slot;
  if (step_index + 1 < environment->step_count) {
    for (std::uint32_t v = 0; v <= step.maxval; ++v, slot += step.stride) {
      init_sublists(environment, slot, step_index + 1);
    }
    return;
  }
  Sublist filled = empty;
  next_place(step, filled);
  for (std::uint32_t v = 0; v <= step.maxval; ++v) bins[slot + v] = filled;
}

Environment* environment_make(Environment* parent, std::uint32_t step_count, const PlanStep* steps,
                              std::uint16_t bins) {
  auto* environment =
      reinterpret_cast<Environment*>(stk_space(driver_st().sublist_stack, environment_bytes(bins)));
  if (environment == nullptr) return nullptr;
  environment->parent = parent;
  environment->step_count = step_count;
  environment->padding = 0;
  for (std::uint32_t i = step_count; i-- > 0;) environment->steps[i] = steps[i];
  init_sublists(environment, 0, 0);
  sublist_array_init(bins, &environment->array);
  return environment;
}

Environment* environment_shrink(Environment* environment) {
  Stack* stack = driver_st().sublist_stack;
  const std::uint64_t bytes = environment_bytes(environment->array.count);
  // The old memory stays readable: a popped segment waits in the spare slot or the pool, and what is taken
  // next is either the same place or memory that the environment does not lie in.
  stk_pop_release(stack);
  if (!stk_push(stack)) ErrorReturn(kErrorCode, kPathologicalText);
  std::uint8_t* place = stk_space(stack, bytes);
  if (place == nullptr) ErrorReturn(kErrorCode, kPathologicalText);
  auto* moved = reinterpret_cast<Environment*>(place);
  if (moved == environment) return environment;
  std::memmove(place, environment, bytes);
  environment_ufptr(moved);
  for (std::uint32_t i = 0; i < moved->array.count; ++i) {
    if (Environment* child = moved->array.bins()[i].child; child != nullptr) child->parent = moved;
  }
  DriverState& d = driver_st();
  if (d.environment == environment) d.environment = moved;
  if (moved->parent != nullptr) {
    SublistArray& siblings = moved->parent->array;
    for (std::uint32_t i = 0; i < siblings.count; ++i) {
      if (siblings.bins()[i].child == environment) siblings.bins()[i].child = moved;
    }
  }
  return moved;
}

namespace {

// environment_copy; `growing`: each segment that the stack lacks is taken beyond the budget.
Environment* copy_tree(Stack* stack, const Environment* environment, bool growing) {
  const std::uint16_t count = raw_count(environment);
  std::uint8_t* place = stk_space(stack, environment_bytes(count));
  if (place == nullptr && growing) {
    stk_newseg();
    place = stk_space(stack, environment_bytes(count));
  }
  if (place == nullptr) return nullptr;
  std::memcpy(place, reinterpret_cast<const std::uint8_t*>(environment), environment_bytes(count));
  auto* copy = reinterpret_cast<Environment*>(place);
  for (std::uint32_t i = 0; i < count; ++i) {
    std::uint8_t* slot = raw_child_slot(copy, i);
    auto* child = load_le<Environment*>(slot);
    if (child == nullptr) continue;
    Environment* child_copy = copy_tree(stack, child, growing);
    if (child_copy == nullptr) return nullptr;
    store_le(slot, child_copy);
    raw_set_parent(child_copy, copy);
  }
  SortState& s = sort_st();
  if (s.relocation == environment) s.relocation = copy;
  return copy;
}

bool push_growing(Stack* stack) {
  if (stk_push(stack)) return true;
  stk_newseg();
  return stk_push(stack);
}

}  // namespace

Environment* environment_copy(Stack* stack, const Environment* environment) {
  return copy_tree(stack, environment, false);
}

Environment* environment_compress(Stack* scratch, Environment* newest, Environment** current) {
  SortState& s = sort_st();
  Stack* stack = driver_st().sublist_stack;
  const std::uint32_t level = stk_frames(scratch);
  if (!stk_push(scratch)) return nullptr;
  s.relocation = *current;
  Environment* away = environment_copy(scratch, newest);
  if (away == nullptr) {
    stk_pop_release(scratch);
    return nullptr;
  }
  Environment* parent = newest->parent;
  stk_pop_release(stack);
  // Nothing can be undone from here on: the old place is released. Its segments may be the ones that hold the
  // scratch copy now, and a differently packed copy may need more of them than before.
  Environment* back = push_growing(stack) ? copy_tree(stack, away, true) : nullptr;
  if (back == nullptr) {
    delete_files(away);
    forget_level(parent, newest);
    ErrorReturn(kErrorCode, kPathologicalText);
  }
  back->parent = parent;
  environment_ufptr(back);
  while (stk_frames(scratch) > level) stk_pop_release(scratch);
  *current = s.relocation;
  return back;
}

void environment_ufptr(Environment* environment) {
  sublist_array_ufptr(&environment->array);
  for (std::uint32_t i = 0; i < environment->array.count; ++i) {
    if (Environment* child = environment->array.bins()[i].child; child != nullptr) environment_ufptr(child);
  }
}

void environment_cleanup(Environment* environment) {
  if (environment == nullptr) return;
  for (std::uint32_t i = 0; i < environment->array.count; ++i) {
    environment_cleanup(environment->array.bins()[i].child);
    environment->array.bins()[i].child = nullptr;
  }
  sublist_array_delete(&environment->array);
}

}  // namespace fsort
