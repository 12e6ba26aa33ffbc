// Recursion guard of the bin sort; see stkavl.h.
//
// The address compared is that of the call's frame, not of a local variable: a sanitizer may keep locals
// elsewhere, which would make the guard trip at random.
#include "support/stkavl.h"

#include "support/support_access.h"

namespace fsort {

namespace {

// The last stretch below the limit, left to what runs after the guard was asked.
constexpr std::uintptr_t kReserveBytes = 1016;

}  // namespace

__attribute__((noinline)) void stack_init(std::uint64_t size) {
  const auto here = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
  stack_st().stack_limit = here + static_cast<std::uintptr_t>(size) - kReserveBytes;
}

// Kept on purpose: "above", as for a stack that grows upward.
__attribute__((noinline)) bool stack_overflow() {
  const auto here = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
  return here > stack_st().stack_limit;
}

}  // namespace fsort
