// Heap memory of the engine. Every allocation outside the segment stacks goes through these two calls, so
// that tests can count allocations and fail the n-th one by a table of their own (see os.h).
#pragma once

#include <cstddef>

#include "platform/os.h"

namespace fsort {

// `size` bytes, 16-aligned, not cleared; null when the heap has no room. Owns: the caller, until heap_free.
[[nodiscard]] inline void* heap_alloc(std::size_t size) { return os->heap_alloc(size); }

// Gives a block of heap_alloc back; null is accepted.
inline void heap_free(void* block) { os->heap_free(block); }

}  // namespace fsort
