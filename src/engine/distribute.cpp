// Distribution passes; see distribute.h. The key byte is looked up in one table, the bin and its ring are
// touched once, and the record's own cache line is the only other memory written.
#include "engine/distribute.h"

#include <cstring>

#include "engine/engine_access.h"
#include "engine/environment.h"
#include "engine/key_view.h"
#include "engine/list_push.h"
#include "platform/heap.h"

namespace fsort {

namespace {

// The rings for a level of `bins` bins, cleared; null when hints do not pay, memory is short, or a pass
// further out has them: memory relief subdivides bins in the middle of a pass.
std::uint8_t** take_rings(std::uint32_t bins, std::uint64_t expected) {
  SortState& s = sort_st();
  if (expected < kHintMinRecords || s.hint_rings_taken != 0) return nullptr;
  if (bins > s.hint_bins) {
    heap_free(s.hint_rings);
    s.hint_bins = 0;
    s.hint_rings = static_cast<std::uint8_t**>(heap_alloc(std::size_t{bins} * kHintAhead * sizeof(void*)));
    if (s.hint_rings == nullptr) return nullptr;
    s.hint_bins = bins;
  }
  std::memset(s.hint_rings, 0, std::size_t{bins} * kHintAhead * sizeof(void*));
  s.hint_rings_taken = 1;
  return s.hint_rings;
}

void give_rings_back(std::uint8_t** rings) {
  if (rings != nullptr) sort_st().hint_rings_taken = 0;
}

// Puts a record on the front of a bin's list.
inline void push(Sublist* bins, std::uint8_t** rings, std::uint32_t bin, std::uint8_t* record,
                 std::uint32_t reach) {
  list_push(bins[bin], rings != nullptr ? rings + std::size_t{bin} * kHintAhead : nullptr, record, reach);
}

}  // namespace

void dist1(RecordSource next, std::uint64_t expected) {
  const SortState& s = sort_st();
  Environment* environment = s.current;
  const PlanStep step = environment->steps[0];
  const KeyView view = s.keys[step.key];
  const std::uint32_t header_bytes = s.header_bytes;
  Sublist* bins = environment->array.bins();
  std::uint8_t** rings = take_rings(environment->array.count, expected);
  while (std::uint8_t* record = next()) {
    push(bins, rings, getvalue(record, view, step.key, step.position, header_bytes), record,
         reach_of_key(record, step.key));
  }
  give_rings_back(rings);
}

void distn(RecordSource next, std::uint64_t expected) {
  const SortState& s = sort_st();
  Environment* environment = s.current;
  const std::uint32_t header_bytes = s.header_bytes;
  const std::uint32_t step_count = environment->step_count;
  const PlanStep* steps = environment->steps;
  Sublist* bins = environment->array.bins();
  std::uint8_t** rings = take_rings(environment->array.count, expected);
  const std::uint32_t last_key = steps[step_count - 1].key;
  while (std::uint8_t* record = next()) {
    std::uint32_t bin = 0;
    for (std::uint32_t i = 0; i < step_count; ++i) {
      const PlanStep& step = steps[i];
      const std::uint16_t value = getvalue(record, s.keys[step.key], step.key, step.position, header_bytes);
      if (value == 0) break;
      bin += (value - 1u) * step.stride + 1u;
    }
    push(bins, rings, bin, record, reach_of_key(record, last_key));
  }
  give_rings_back(rings);
}

void distribute(RecordSource next, std::uint64_t expected) {
  if (sort_st().current->step_count == 1) {
    dist1(next, expected);
  } else {
    distn(next, expected);
  }
}

void hint_rings_free() {
  SortState& s = sort_st();
  heap_free(s.hint_rings);
  s.hint_rings = nullptr;
  s.hint_bins = 0;
  s.hint_rings_taken = 0;
}

}  // namespace fsort
