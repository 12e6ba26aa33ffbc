// Memory relief; see relief.h.
#include "engine/relief.h"

#include "engine/descent.h"
#include "engine/distribute.h"
#include "engine/driver.h"
#include "engine/engine_access.h"
#include "engine/key_view.h"
#include "engine/order.h"
#include "engine/relief_levels.h"
#include "engine/report.h"
#include "engine/tuning.h"
#include "support/record_links.h"
#include "support/stkavl.h"

namespace fsort {

namespace {

// What became of a bin that was to be subdivided.
enum class Subdivided : std::uint8_t {
  kDone,       // its records are in a child, or on the child's work file
  kLeft,       // nothing could be done: it is written as it stands
  kExhausted,  // its records have no key byte left
};

// True when relief may take several levels at once: nobody is shown them one by one.
bool may_descend() { return driver_st().plain_levels == 0 && driver_st().verbosity <= 0; }

// Hands the in-memory records of the bin down its child.
void hand_down(std::uint32_t frame, Environment* parent, std::uint16_t bin_index) {
  Sublist* bin = &parent->array.bins()[bin_index];
  if (may_descend() && bin->child->step_count == 1) {
    descend(bin, bin->child);
    return;
  }
  sublist_delink_init(&parent->array, bin_index, frame);
  distribute(sublist_delink, bin->mem_count);
}

// Distributes the in-memory records of one bin of the current level one level deeper and relieves that level.
// Never raises for want of memory: the bin is then left as it was.
Subdivided subdivide(std::uint32_t frame, std::uint16_t bin_index) {
  DriverState& d = driver_st();
  SortState& s = sort_st();
  if (stack_overflow()) return Subdivided::kLeft;
  Environment* parent = s.current;
  Sublist* bin = &parent->array.bins()[bin_index];
  const Place place = place_of(s, *bin);
  if (place.key >= s.key_count) return Subdivided::kExhausted;
  if (bin->child == nullptr) {
    bin->child = make_child(parent, *bin, place);
    if (bin->child == nullptr) return Subdivided::kLeft;
    if (may_descend()) grow_levels(bin->child, *bin);
  }
  const std::uint32_t records = bin->mem_count;
  s.current = bin->child;
  ++d.depth;
  if (d.depth < d.verbosity) {
    static_cast<void>(display_in(place.key, place.position, bin_index, records, s.current, true));
  }
  hand_down(frame, parent, bin_index);
  empty_frames(frame);
  --d.depth;
  s.current = parent;
  return Subdivided::kDone;
}

// Under -u, of records that are equal in all keys one is kept.
// Kept on purpose: mem_bytes stays as it was; it only steers estimates.
void keep_one(Sublist& bin) {
  if (bin.file_count != 0) {
    bin.head = nullptr;
    bin.mem_count = 0;
  } else if (bin.mem_count != 0) {
    record_set_next(bin.head, nullptr);
    bin.mem_count = 1;
  }
}

// True when the bin is processed with the keys that the level's first key governs flipped.
bool in_first_half(const SortState& s, const Environment* environment, std::uint32_t bin) {
  const PlanStep& first = environment->steps[0];
  if (s.keys[first.key].governed == 0) return false;
  const SublistArray& array = environment->array;
  if (array.order_state == kOrderRearranged)
    return bin >= std::uint32_t{array.kept_count} - array.lower_count;
  const bool lower = bin <= (first.maxval + 1u) / 2 * first.stride;
  const bool descending = (s.descending >> first.key & 1u) != 0;
  return lower != descending;
}

// Subdivides a bin that is large enough, or cuts it to one record when it is used up under -u.
void relieve_bin(std::uint32_t frame, Environment* environment, std::uint16_t bin_index) {
  SortState& s = sort_st();
  const DriverState& d = driver_st();
  Sublist& bin = environment->array.bins()[bin_index];
  bool exhausted = bin.key >= s.key_count;
  const bool large = bin.child != nullptr || worth_a_level(bin.mem_bytes);
  const bool processed_now = s.current == s.protected_level && bin_index == s.protected_bin;
  if (!exhausted && large && !processed_now) {
    const bool turn = in_first_half(s, environment, bin_index) != (environment->array.half_flipped != 0);
    const std::uint16_t first_key = environment->steps[0].key;
    if (turn) ikey(first_key);
    exhausted = subdivide(frame, bin_index) == Subdivided::kExhausted;
    if (turn) ikey(first_key);
  }
  if (exhausted && d.unique != 0 && !processed_now) keep_one(bin);
}

// The data still expected: never 0 while input goes on, so that a wrong estimate does not lead to many small
// reliefs.
std::uint64_t data_expected(DriverState& d) {
  if (d.data_left == 0 && d.reading_input != 0) d.data_left = d.memory_kb * 1024;
  return d.data_left;
}

// True when one more segment keeps a sort without -m within its share of the machine.
bool may_grow(const DriverState& d, std::uint64_t size) {
  if (d.memory_given != 0 || size > stk_segment_size()) return false;
  const std::uint64_t held = std::uint64_t{stk_segments(d.data_stack)} + stk_segments(d.sublist_stack);
  return (held + 2) * d.segment_kb <= d.machine_kb / kGrowthShare;
}

}  // namespace

void empty_frames(std::uint32_t frame) {
  Environment* environment = sort_st().current;
  invert(environment);
  SublistArray* array = &environment->array;
  const std::uint32_t count = array->count;
  for (std::uint32_t i = 0; i < count; ++i) relieve_bin(frame, environment, static_cast<std::uint16_t>(i));
  const Sublist* bins = array->bins();
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::uint32_t next = array->order_state == kOrderRearranged ? count - 1 - i : bins[i].order;
    if (bins[next].mem_count != 0) sublist_write(frame, array, static_cast<std::uint16_t>(next));
  }
}

void free_memory(std::uint64_t size) {
  DriverState& d = driver_st();
  if (size <= stk_max(d.data_stack)) return;
  if (sublist_preload_done() || d.in_list_sort != 0 || sort_st().emitting != 0) return;
  if (may_grow(d, size)) {
    stk_newseg();
    return;
  }
  std::uint64_t want = data_expected(d);
  if (want < size) want = size;
  if (want < stk_segment_size()) want = stk_segment_size();
  std::uint32_t floor = stk_minframe(d.data_stack, want);
  if (floor < d.frame_floor) floor = d.frame_floor;
  empty_frames(floor);
  if (stk_frames(d.data_stack) <= floor) return;
  while (stk_frames(d.data_stack) > floor) stk_pop_release(d.data_stack);
  // What comes next is to be releasable by itself.
  static_cast<void>(stk_push(d.data_stack));
}

}  // namespace fsort
