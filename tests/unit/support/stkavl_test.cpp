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

TEST_F(RecursionGuard, LimitIsTheSizeLessItsReserveAboveTheCall) {
  const auto here = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
  stack_init(512000);
  const std::uintptr_t limit = instance().stack.stack_limit;
  // stack_init's own frame lies within a page of this one, on either side.
  EXPECT_GT(limit, here + 512000 - 1016 - 4096);
  EXPECT_LT(limit, here + 512000 - 1016 + 4096);
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
