// Recursion guard of the bin sort.
//
// Kept on purpose: the comparison is "above the limit", as for a stack that grows upward, so on systems whose
// stack grows downward the guard never trips. Depth is bounded by memory instead: every level takes its
// environment from the sublist stack, and levels with a single bin are skipped without recursion.
#pragma once

#include <cstdint>

namespace fsort {

// Records the limit: an address of this call + size - 1016.
void stack_init(std::uint64_t size);
// True when an address of this call lies above the limit.
[[nodiscard]] bool stack_overflow();

}  // namespace fsort
