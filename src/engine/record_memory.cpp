// Record memory: the data stack, handed out record by record; see record_memory.h.
//
// While the plan's budget lasts a record costs one bump of the top segment. When it is used up, free_memory
// (relief.h) makes room. The data stack is cut into frames of a limited size, so that a part of the records
// can be released.
#include "engine/record_memory.h"

#include "engine/engine_access.h"
#include "engine/relief.h"
#include "support/record_links.h"

namespace fsort {

namespace {

constexpr std::uint64_t kFrameBytes = sizeof(StackSave);
constexpr char kNoMemory[] = "Unable to allocate memory for data";

}  // namespace

std::uint8_t* detail::fsort_alloc_making_room(std::uint64_t size) {
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

}  // namespace fsort
