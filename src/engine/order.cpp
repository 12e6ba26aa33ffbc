// Output order of a level's bins; see order.h.
#include "engine/order.h"

#include <utility>

#include "engine/engine_access.h"
#include "engine/key_view.h"

namespace fsort {

namespace {

[[nodiscard]] bool is_descending(std::uint16_t key) { return (sort_st().descending >> key & 1u) != 0; }

// Turns the order fields of slots first..last around.
void turn(Sublist* bins, std::uint32_t first, std::uint32_t last) {
  for (; first < last; ++first, --last) std::swap(bins[first].order, bins[last].order);
}

}  // namespace

std::uint32_t reverse(Environment* environment, std::uint32_t first, std::uint32_t step_index,
                      bool at_key_start, bool enclosing, std::uint32_t* last) {
  const PlanStep& step = environment->steps[step_index];
  const bool key_start = at_key_start || step.position == 0;
  const bool want = key_start ? is_descending(step.key) : enclosing;
  const bool governing = key_start && sort_st().keys[step.key].governed != 0;
  const std::uint32_t classes = step.maxval + 1u;
  std::uint32_t state = kOrderInPlace;
  *last = first + classes;
  if (step_index + 1 < environment->step_count) {
    std::uint32_t slot = first + 1;
    for (std::uint32_t v = 0; v < classes; ++v, slot += step.stride) {
      const bool flipped = governing && (v < classes / 2) != want;
      if (flipped) ikey(step.key);
      if (reverse(environment, slot, step_index + 1, false, want, last) == kOrderPermuted)
        state = kOrderPermuted;
      if (flipped) ikey(step.key);
    }
  }
  if (want != enclosing) {
    turn(environment->array.bins(), first, *last);
    state = kOrderPermuted;
  }
  return state;
}

void invert(Environment* environment) {
  if (environment->array.order_state != kOrderUnknown) return;
  std::uint32_t last = 0;
  environment->array.order_state = reverse(environment, 0, 0, true, false, &last);
}

void rearrange(SublistArray* array) {
  Sublist* bins = array->bins();
  for (std::uint32_t start = 0; start < array->count; ++start) {
    if (bins[start].order == start) continue;
    // The bin at `start` waits in the spare entry while the others of its cycle move up.
    const Sublist spare = bins[start];
    std::uint32_t slot = start;
    std::uint32_t from = bins[slot].order;
    while (from != start) {
      const std::uint32_t next = bins[from].order;
      bins[slot] = bins[from];
      bins[slot].order = static_cast<std::uint16_t>(slot);
      slot = from;
      from = next;
    }
    bins[slot] = spare;
    bins[slot].order = static_cast<std::uint16_t>(slot);
  }
}

}  // namespace fsort
