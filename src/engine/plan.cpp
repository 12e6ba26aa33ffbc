// Planning; see plan.h. A plan grows while bins stay few against the records and fit a segment; a key that
// governs others always begins a plan, so that its halves are whole subtrees.
#include "engine/plan.h"

#include "engine/engine_access.h"
#include "engine/key_view.h"

namespace fsort {

namespace {

// Where the next step of a plan stands.
struct Cursor {
  std::uint16_t key;
  std::int32_t position;
};

// Moves on by one byte; false when there is no next key.
bool advance(const SortState& s, Cursor& at) {
  const KeyView& view = s.keys[at.key];
  at.position += view.step;
  if (!key_at_end(view, at.position)) return true;
  at.position = 0;
  return ++at.key < s.key_count;
}

// The rules that end a plan before its second or later step, in order.
bool ends_before(const KeyView& view, bool single, std::uint64_t bins, std::uint64_t total,
                 std::uint64_t records, std::uint64_t max_bins) {
  return single || view.governed != 0 || bins * 2 > records || total > max_bins;
}

void fill_strides(Plan* p) {
  std::uint16_t stride = 1;
  for (std::uint32_t i = p->step_count; i-- > 0;) {
    p->steps[i].stride = stride;
    stride = static_cast<std::uint16_t>(stride * (p->steps[i].maxval + 1u) + 1u);
  }
}

}  // namespace

std::uint32_t plan(Plan* p, std::uint16_t key, std::int32_t position, std::uint64_t records,
                   std::uint64_t memory_kb, bool single) {
  const SortState& s = sort_st();
  const std::uint64_t max_bins = driver_st().bins_per_segment;
  Cursor at{key, position};
  std::uint64_t bins = 1;
  std::uint64_t product = 1;
  bool fitting = true;
  p->step_count = 0;
  while (p->step_count < kMaxPlanSteps) {
    const KeyView& view = s.keys[at.key];
    product *= view.max_class + std::uint64_t{1};
    const std::uint64_t total = bins + product;
    if (p->step_count == 0) {
      if (total > max_bins) ErrorReturn(kErrorCode, "Segment length too small");
      fitting = fits(memory_kb, static_cast<std::uint32_t>(total));
    } else if (ends_before(view, single, bins, total, records, max_bins)) {
      break;
    }
    PlanStep& step = p->steps[p->step_count++];
    step = PlanStep{
        view.value, view.max_class, 1, at.key, static_cast<std::uint16_t>(at.key + 1), at.position, 0};
    bins = total;
    if (!fitting && fits(memory_kb / total, static_cast<std::uint32_t>(total))) break;
    if (!advance(s, at)) break;
  }
  fill_strides(p);
  p->bins = static_cast<std::uint32_t>(bins);
  return p->bins;
}

std::uint32_t plan_depth(std::uint16_t key, std::int32_t position, std::uint64_t records) {
  const SortState& s = sort_st();
  const std::uint64_t max_bins = driver_st().bins_per_segment;
  Cursor at{key, position};
  std::uint64_t bins = 1;
  std::uint64_t product = 1;
  std::uint32_t depth = 0;
  while (depth < kMaxPlanSteps) {
    const KeyView& view = s.keys[at.key];
    product *= view.max_class + std::uint64_t{1};
    const std::uint64_t total = bins + product;
    if (depth == 0) {
      if (total > max_bins) ErrorReturn(kErrorCode, "Segment length too small");
    } else if (ends_before(view, false, bins, total, records, max_bins)) {
      break;
    }
    ++depth;
    bins = total;
    if (!advance(s, at)) break;
  }
  return depth;
}

bool fits(std::uint64_t memory_kb, std::uint32_t bins) {
  const DriverState& d = driver_st();
  std::uint64_t available = stk_unused() + stk_segments(d.data_stack);
  if (environment_bytes(bins) > stk_free_bytes(d.sublist_stack)) {
    if (available < 2) return false;
    --available;
  }
  return available * d.segment_kb + stk_free_bytes(d.data_stack) / 1024 > memory_kb;
}

std::uint64_t total_size(const Sublist* bin) {
  if (bin->child == nullptr) return bin->file_bytes;
  std::uint64_t sum = 0;
  const SublistArray& array = bin->child->array;
  for (std::uint32_t i = array.count; i-- > 0;) sum += total_size(&array.bins()[i]);
  return sum;
}

}  // namespace fsort
