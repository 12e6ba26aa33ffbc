// Making room for record memory.
#pragma once

#include <cstdint>

namespace fsort {

// Makes room for `size` bytes on the data stack. Raises: "Unable to allocate memory for data" when the sort's
// memory is used up (records in memory cannot be moved to work files yet)
void free_memory(std::uint64_t size);

}  // namespace fsort
