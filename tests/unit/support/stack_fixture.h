// An allocator of small segments with one stack, for the tests of the stacks and of their regions.
#pragma once

#include "memory_faults.h"
#include "support/stack.h"

namespace fsort::test {

inline constexpr std::uint32_t kSize = 1000;

// An allocator of kSize-byte segments and one stack made, like the driver's, before the size is known.
class StackTest : public SupportTest {
 protected:
  void SetUp() override {
    SupportTest::SetUp();
    stack_ = stk_alloc();
    ASSERT_NE(stack_, nullptr);
  }
  void TearDown() override {
    if (stack_ != nullptr) stk_free(stack_);
    SupportTest::TearDown();
  }
  void init(std::int64_t budget) { ASSERT_EQ(stk_init(kSize, budget), budget); }
  StackState& state() { return instance().stack; }
  [[nodiscard]] std::uint32_t pool_count() { return state().pool->top.segments; }

  Stack* stack_ = nullptr;
};

}  // namespace fsort::test
