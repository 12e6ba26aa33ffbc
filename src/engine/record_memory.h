// Record memory: what the record builder and the sublists need of the driver.
//
// Named exception to the layers: keys/ and sublist/ include this header, because records are built straight
// in the data stack, which the driver owns.
#pragma once

#include <cstdint>

#include "support/record_functions.h"

namespace fsort {

// `size` usable bytes of record memory, with the link word in front. Never null.
// Raises: "Unable to allocate memory for data"   Valid until: the data-stack frame it lies in is popped
[[nodiscard]] std::uint8_t* fsort_alloc(std::uint64_t size);

// Number of the data stack's current frame as records note it: frames - 1, 0 when there is none, at most 255.
[[nodiscard]] std::uint8_t data_frame_number();

// The input and output functions of the running sort.
[[nodiscard]] ReadFunction driver_input();
[[nodiscard]] WriteFunction driver_output();

}  // namespace fsort
