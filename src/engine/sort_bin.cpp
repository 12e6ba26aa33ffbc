// Processing of a level; see sort_bin.h.
#include "engine/sort_bin.h"

#include <utility>

#include "engine/array_sort.h"
#include "engine/distribute.h"
#include "engine/emit.h"
#include "engine/engine_access.h"
#include "engine/key_view.h"
#include "engine/list_sort.h"
#include "engine/order.h"
#include "engine/plan.h"
#include "engine/prefix_skip.h"
#include "engine/relief.h"
#include "engine/report.h"
#include "keys/record.h"
#include "support/stkavl.h"

namespace fsort {

namespace {

[[nodiscard]] Sublist* current_bin(std::uint16_t bin) { return &sort_st().current->array.bins()[bin]; }

// The bin was the last of its array to be processed: its work file is no longer needed.
void delete_file_after_last(std::uint16_t bin) {
  if (bin == 0) sublist_array_delete(&sort_st().current->array);
}

// Makes a child level current. From now on the frames that stand belong to the ancestors' waiting records;
// what is read for the child goes to a frame of its own. Result: the floor to put back.
std::uint32_t enter_child(Environment* child) {
  DriverState& d = driver_st();
  const std::uint32_t floor = d.frame_floor;
  d.frame_floor = stk_frames(d.data_stack);
  static_cast<void>(stk_push(d.data_stack));
  sort_st().current = child;
  return floor;
}

// Back to the parent, which may have moved meanwhile. The child's frames stay: records of the parent's next
// bins may have been read ahead into them. The parent pops them.
void leave_child(std::uint16_t bin, std::uint32_t floor) {
  driver_st().frame_floor = floor;
  sort_st().current = sort_st().current->parent;
  current_bin(bin)->child = nullptr;
}

// A bin without records of its own: only a child, if memory relief gave it one.
void process_empty(std::uint16_t bin) {
  Environment* child = current_bin(bin)->child;
  if (child == nullptr) return;
  delete_file_after_last(bin);
  const std::uint32_t floor = enter_child(child);
  tsort();
  leave_child(bin, floor);
}

void finish_by_list_sort(std::uint16_t bin) {
  DriverState& d = driver_st();
  const std::uint64_t file_bytes = current_bin(bin)->file_bytes;
  if (file_bytes != 0) {
    SortState& s = sort_st();
    s.protected_level = s.current;
    s.protected_bin = bin;
    free_memory(file_bytes + sizeof(StackSave));
    s.protected_level = nullptr;
  }
  d.in_list_sort = 1;
  lisort(&sort_st().current->array, bin, d.unique != 0);
  d.in_list_sort = 0;
  delete_file_after_last(bin);
}

// Finishes a bin that needs no level of its own. Result: false when it needs one.
bool finish(std::uint16_t bin) {
  SortState& s = sort_st();
  Sublist* b = current_bin(bin);
  if (b->child != nullptr) return false;
  const std::uint64_t n = std::uint64_t{b->mem_count} + b->file_count;
  if (n != 1 && b->key < s.key_count &&
      key_at_end(s.keys[b->key], key_position(s.keys[b->key], b->position))) {
    ++b->key;
    b->position = 0;
  }
  if (n == 1 || b->key >= s.key_count) {
    output_sublist(&s.current->array, bin, driver_st().unique != 0);
    delete_file_after_last(bin);
    return true;
  }
  if (n < list_sort_threshold(s.keys[b->key].max_class)) {
    finish_by_list_sort(bin);
    return true;
  }
  if (array_sort_takes(*b) && array_sort_reserve(n)) {
    array_sort(b, driver_st().unique != 0);
    delete_file_after_last(bin);
    return true;
  }
  return false;
}

// A frame on the sublist stack for one more level, from a new segment if need be.
void push_level_frame() {
  Stack* stack = driver_st().sublist_stack;
  if (stk_push(stack)) return;
  stk_newseg();
  if (!stk_push(stack)) ErrorReturn(kErrorCode, kPathologicalText);
}

Environment* make_level(const Plan& p) {
  Environment* parent = sort_st().current;
  Environment* made = environment_make(parent, p.step_count, p.steps, static_cast<std::uint16_t>(p.bins));
  if (made != nullptr) return made;
  stk_newseg();
  made = environment_make(parent, p.step_count, p.steps, static_cast<std::uint16_t>(p.bins));
  if (made == nullptr) ErrorReturn(kErrorCode, kPathologicalText);
  return made;
}

// Compacts the newest environment's subtree when levels have been left larger than they need.
void compact_levels() {
  DriverState& d = driver_st();
  SortState& s = sort_st();
  if (d.compress == 0) return;
  Environment* const before = s.newest;
  const Environment* const current = s.current;
  Environment* const after = environment_compress(d.data_stack, before, &s.current);
  if (after == nullptr) return;
  if (s.current != current) ++s.levels_moved;
  d.compress = 0;
  if (d.environment == before) d.environment = after;
  if (after->parent != nullptr) {
    SublistArray& siblings = after->parent->array;
    for (std::uint32_t i = 0; i < siblings.count; ++i) {
      if (siblings.bins()[i].child == before) siblings.bins()[i].child = after;
    }
  }
  s.newest = after;
}

// Makes room for reading the bin back and, without a child, for a level over it. Result: true when the bin
// has no child and `p` is its plan.
bool prepare(std::uint16_t bin, Plan* p) {
  const Sublist* b = current_bin(bin);
  if (b->child != nullptr) {
    free_memory(b->file_bytes);
    return false;
  }
  const std::uint64_t file_bytes = b->file_bytes;
  const std::int32_t position = key_position(sort_st().keys[b->key], b->position);
  plan(p, b->key, position, std::uint64_t{b->mem_count} + b->file_count, file_bytes / 1024, false);
  std::uint64_t needed = file_bytes + environment_bytes(p->bins);
  if (!fits(file_bytes / 1024, p->bins)) needed += stk_segment_size();
  free_memory(needed);
  // Making room may have given the bin a child.
  return current_bin(bin)->child == nullptr;
}

// Distributes the bin into `level` and processes that.
void distribute_and_process(std::uint16_t bin, Environment* level, std::uint64_t records) {
  DriverState& d = driver_st();
  Environment* parent = sort_st().current;
  const std::uint32_t floor = enter_child(level);
  sublist_input_init(&parent->array, bin);
  const std::uint64_t data_left = d.data_left;
  d.data_left = parent->array.bins()[bin].file_bytes;
  distribute(sublist_input, records);
  d.data_left = data_left;
  if (bin == 0) sublist_array_delete(&parent->array);
  tsort();
  leave_child(bin, floor);
}

// Makes the bin a level of its own (or takes the one it has) and processes it.
void sort_level(std::uint16_t bin) {
  DriverState& d = driver_st();
  SortState& s = sort_st();
  if (stack_overflow()) ErrorReturn(kErrorCode, "Stack Overflow");
  Plan p;
  const bool make = prepare(bin, &p);
  Environment* newest = s.newest;
  std::uint32_t compress = d.compress;
  if (make) {
    compact_levels();
    newest = s.newest;
    compress = d.compress;
    push_level_frame();
    s.newest = make_level(p);
    current_bin(bin)->child = s.newest;
    d.compress = 0;
  }
  const Sublist* b = current_bin(bin);
  const std::uint64_t records = std::uint64_t{b->mem_count} + b->file_count;
  ++d.depth;
  const bool shown = d.depth < d.verbosity;
  std::int64_t start = 0;
  if (shown) {
    start = display_in(b->key, key_position(s.keys[b->key], b->position), bin, records, b->child, false);
  }
  distribute_and_process(bin, b->child, records);
  if (make) {
    stk_pop_release(d.sublist_stack);
    s.newest = newest;
    d.compress = compress;
  }
  --d.depth;
  if (shown) display_out(start);
}

// --- one level
// ---------------------------------------------------------------------------------------------------

// Bins of the half that leaves first, when the level's first key governs others.
std::uint32_t lower_half(const Environment* environment) {
  const PlanStep& first = environment->steps[0];
  const SortState& s = sort_st();
  if (s.keys[first.key].governed == 0) return 0;
  const bool descending = (s.descending >> first.key & 1u) != 0;
  const std::uint32_t bins = environment->array.count;
  return descending ? bins / 2 : (bins + 1) / 2;
}

// Drops the empty bins, keeping order, and gives their memory back where that is possible.
void compact(std::uint32_t lower_bins) {
  DriverState& d = driver_st();
  SortState& s = sort_st();
  SublistArray& array = s.current->array;
  Sublist* bins = array.bins();
  std::uint32_t kept = 0;
  std::uint32_t lower = 0;
  bool children = false;
  for (std::uint32_t i = 0; i < array.count; ++i) {
    if (bins[i].mem_count == 0 && bins[i].file_count == 0 && bins[i].child == nullptr) continue;
    children = children || bins[i].child != nullptr;
    if (i < lower_bins) ++lower;
    bins[kept++] = bins[i];
  }
  array.lower_count = static_cast<std::uint16_t>(lower);
  array.kept_count = static_cast<std::uint16_t>(kept);
  if (kept == array.count) return;
  array.count = static_cast<std::uint16_t>(kept);
  if (s.current == s.newest && !children) {
    s.newest = environment_shrink(s.current);
    s.current = s.newest;
  } else {
    ++d.compress;
  }
}

void pop_data_frames(std::uint32_t level) {
  Stack* stack = driver_st().data_stack;
  while (stk_frames(stack) > level) stk_pop_release(stack);
}

// Hands the bins to fsort, from the last entry down.
void process_bins() {
  DriverState& d = driver_st();
  SortState& s = sort_st();
  const std::uint32_t level = stk_frames(d.data_stack);
  const std::uint8_t outer_preload = s.preload_in_force;
  const std::uint64_t memory = s.free_data_kb;
  const std::uint32_t count = s.current->array.count;
  const std::uint32_t lower_from = count - s.current->array.lower_count;
  const std::uint16_t first_key = s.current->steps[0].key;
  std::uint32_t boundary = outer_preload != 0 ? 0 : count;
  (void)stk_push(d.data_stack);
  for (std::uint32_t i = count; i-- > 0;) {
    const auto bin = static_cast<std::uint16_t>(i);
    if (i < boundary) {
      pop_data_frames(level);
      (void)stk_push(d.data_stack);
      boundary = preload(&s.current->array, memory);
    }
    s.preload_in_force = outer_preload != 0 || boundary < i ? 1 : 0;
    sublist_array_preload(static_cast<std::uint16_t>(boundary));
    const bool flipped = i >= lower_from;
    s.current->array.half_flipped = flipped ? 1 : 0;
    if (flipped) ikey(first_key);
    fsort(bin);
    if (flipped) ikey(first_key);
    s.current->array.half_flipped = 0;
    s.current->array.count = bin;
  }
  s.preload_in_force = outer_preload;
  pop_data_frames(level);
}

}  // namespace

void fsort(std::uint16_t bin) {
  Sublist* b = current_bin(bin);
  if (b->mem_count == 0 && b->file_count == 0) {
    process_empty(bin);
    return;
  }
  while (!finish(bin)) {
    b = current_bin(bin);
    const bool skippable = b->child == nullptr && b->file_count == 0 && driver_st().verbosity <= 0 &&
                           driver_st().plain_levels == 0;
    if (!skippable || !skip_common_prefix(b)) {
      sort_level(bin);
      return;
    }
  }
}

void tsort() {
  SortState& s = sort_st();
  invert(s.current);
  SublistArray& array = s.current->array;
  if (array.order_state == kOrderPermuted) rearrange(&array);
  array.order_state = kOrderRearranged;
  compact(lower_half(s.current));
  SublistArray& kept = s.current->array;
  for (std::uint32_t i = 0, j = kept.count; i + 1 < j; ++i) std::swap(kept.bins()[i], kept.bins()[--j]);
  process_bins();
  sublist_array_delete(&s.current->array);
}

}  // namespace fsort
