// The recursion guard.
#include "support/stkavl.h"

#include "memory_faults.h"

namespace fsort::test {
namespace {

class RecursionGuard : public SupportTest {};

bool overflow_after(int levels) {
  volatile char deep[4096] = {};
  if (levels > 0) return overflow_after(levels - 1) || deep[0] != 0;
  return stack_overflow();
}

// Called from the same place as stack_init, its frame lies where that of stack_init does.
__attribute__((noinline)) std::uintptr_t frame_of_a_call() {
  return reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
}

TEST_F(RecursionGuard, LimitIsTheSizeLessItsReserveAboveTheCall) {
  const std::uintptr_t frame = frame_of_a_call();
  stack_init(512000);
  const std::uintptr_t expected = frame + 512000 - 1016;
  const std::uintptr_t limit = instance().stack.stack_limit;
  EXPECT_LE(limit, expected + 256);
  EXPECT_GE(limit, expected - 256);
}

TEST_F(RecursionGuard, DoesNotTripAtTheDepthItWasSetAt) {
  stack_init(512000);
  EXPECT_FALSE(stack_overflow());
}

// Kept on purpose: the comparison is "above the limit", as for a stack that grows upward.
TEST_F(RecursionGuard, ComparesAboveTheLimitAsForAStackThatGrowsUpward) {
  stack_init(512000);
  instance().stack.stack_limit = 0;
  EXPECT_TRUE(stack_overflow());
  instance().stack.stack_limit = UINTPTR_MAX;
  EXPECT_FALSE(stack_overflow());
}

TEST_F(RecursionGuard, NeverTripsWhereTheStackGrowsDownward) {
  stack_init(4096);
  EXPECT_FALSE(overflow_after(50));
}

}  // namespace
}  // namespace fsort::test
