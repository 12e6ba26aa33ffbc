// Record memory: what the record builder and the sublists need of the driver.
//
// Named exception to the layers: keys/ and sublist/ include this header, because records are built straight
// in the data stack, which the driver owns.
#pragma once

#include <cstdint>

#include "entry/instance.h"
#include "support/record_functions.h"
#include "support/record_links.h"
#include "support/stack.h"

namespace fsort {

namespace detail {
[[nodiscard]] std::uint8_t* fsort_alloc_making_room(std::uint64_t size);
}

// `size` usable bytes of record memory, with the link word in front. Never null.
// Raises: "Unable to allocate memory for data"   Valid until: the data-stack frame it lies in is popped
//
// Inline because it is called for every record: what the top segment has room for costs a few instructions.
// Room is made, frames are pushed and messages are raised elsewhere.
[[nodiscard]] inline std::uint8_t* fsort_alloc(std::uint64_t size) {
  DriverState& d = current_instance->driver;
  Stack* const stack = d.data_stack;
  const std::uint64_t needed = size + kRecordLinkBytes;
  const bool fits = needed <= stk_free_bytes(stack) && needed + sizeof(StackSave) <= stack->segment_size;
  if (!fits || stk_frame_size(stack) > d.frame_limit) return detail::fsort_alloc_making_room(size);
  d.data_left = d.data_left > needed ? d.data_left - needed : 0;
  return stk_space(stack, needed) + kRecordLinkBytes;
}

// Number of the data stack's current frame as records note it: frames - 1, 0 when there is none, at most 255.
[[nodiscard]] inline std::uint8_t data_frame_number() {
  const std::uint32_t frames = stk_frames(current_instance->driver.data_stack);
  if (frames == 0) return 0;
  return static_cast<std::uint8_t>(frames - 1 < 255 ? frames - 1 : 255);
}

// The input and output functions of the running sort.
[[nodiscard]] inline ReadFunction driver_input() { return current_instance->driver.input; }
[[nodiscard]] inline WriteFunction driver_output() { return current_instance->driver.output; }

}  // namespace fsort
