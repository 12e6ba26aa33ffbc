// Record memory: the data stack, handed out record by record; see record_memory.h.
//
// While the plan's budget lasts a record costs one bump of the top segment. When it is used up, a sort
// without -m goes on segment by segment as long as the machine has memory: the budget was only an estimate
// from the input's size. A sort with -m has said what it may take, and ends.
#include "engine/record_memory.h"

#include "engine/driver.h"
#include "engine/engine_access.h"
#include "engine/free_memory.h"
#include "support/record_links.h"

namespace fsort {

namespace {

constexpr std::uint64_t kFrameBytes = sizeof(StackSave);
constexpr char kNoMemory[] = "Unable to allocate memory for data";

// True when one more segment keeps the sort within what the machine has.
bool may_grow(const DriverState& d) {
  if (d.memory_given != 0) return false;
  const std::uint64_t held = std::uint64_t{stk_segments(d.data_stack)} + stk_segments(d.sublist_stack);
  return (held + 1) * d.segment_kb <= d.machine_kb;
}

}  // namespace

void free_memory(std::uint64_t size) {
  const DriverState& d = driver_st();
  if (size <= stk_max(d.data_stack)) return;
  if (size > stk_segment_size() || !may_grow(d)) ErrorReturn(kErrorCode, kNoMemory);
  stk_newseg();
}

std::uint8_t* fsort_alloc(std::uint64_t size) {
  DriverState& d = driver_st();
  Stack* stack = d.data_stack;
  const std::uint64_t needed = size + kRecordLinkBytes;
  if (needed + kFrameBytes > stk_segment_size()) ErrorReturn(kErrorCode, kNoMemory);
  if (needed > stk_free_bytes(stack)) free_memory(needed);
  // Without memory for a frame the records simply join the one below.
  if (stk_frame_size(stack) > d.frame_limit) (void)stk_push(stack);
  d.data_left = d.data_left > needed ? d.data_left - needed : 0;
  std::uint8_t* block = stk_space(stack, needed);
  if (block == nullptr) {
    stk_newseg();
    block = stk_space(stack, needed);
    if (block == nullptr) ErrorReturn(kErrorCode, kNoMemory);
  }
  return block + kRecordLinkBytes;
}

std::uint8_t data_frame_number() {
  const std::uint32_t frames = stk_frames(driver_st().data_stack);
  if (frames == 0) return 0;
  return static_cast<std::uint8_t>(frames - 1 < 255 ? frames - 1 : 255);
}

ReadFunction driver_input() { return driver_st().input; }
WriteFunction driver_output() { return driver_st().output; }

}  // namespace fsort
