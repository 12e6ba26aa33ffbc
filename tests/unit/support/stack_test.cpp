// Stacks of segments: handing out, frames, pool and spare, budget, measures, giving back.
#include <algorithm>

#include "stack_fixture.h"
#include "support/exit.h"

namespace fsort::test {
namespace {

class StkInit : public StackTest {};
class StkAlloc : public StackTest {};
class StkSpace : public StackTest {};
class StkExtend : public StackTest {};
class StkPush : public StackTest {};
class StkPop : public StackTest {};
class StkNewseg : public StackTest {};
class StkMeasures : public StackTest {};
class StkMinframe : public StackTest {};
class StkFree : public StackTest {};

TEST_F(StkInit, TakesOneSpareAndAnswersTheBudget) {
  EXPECT_EQ(stk_init(kSize, 7), 7);
  EXPECT_EQ(stk_segment_size(), kSize);
  EXPECT_NE(state().spare, nullptr);
  EXPECT_EQ(state().allowed, 7);
  EXPECT_EQ(pool_count(), 0u);
  EXPECT_EQ(stk_unused(), 7u);
  EXPECT_EQ(instance().exit.windup_count, 1);
}

TEST_F(StkInit, AnswersZeroWhenNoPoolHeaderCanBeMade) {
  MemoryFaults::allow_heap(0);
  EXPECT_EQ(stk_init(kSize, 7), 0);
  EXPECT_EQ(instance().exit.windup_count, 0);
  stk_windup(&instance());
}

TEST_F(StkInit, RaisesWhenTheFirstSegmentCannotBeHad) {
  MemoryFaults::allow_regions(0);
  const Raised r = raised([] { (void)stk_init(kSize, 7); });
  EXPECT_EQ(r.texts, Texts{"Failed to allocate any memory\n"});
  stk_windup(&instance());
}

void no_windup(Instance*) {}

TEST_F(StkInit, RaisesWhenTheWindupListIsFull) {
  for (int i = 0; i < 12; ++i) ASSERT_EQ(ExitRegister(no_windup), 0);
  const Raised r = raised([] { (void)stk_init(kSize, 7); });
  EXPECT_EQ(r.texts, Texts{"Couldn't register stack windup\n"});
  stk_windup(&instance());
}

TEST_F(StkInit, GivesBackWhatAnEarlierStartLeftInPoolAndSpare) {
  init(7);
  ASSERT_TRUE(stk_push(stack_));
  ASSERT_NE(stk_space(stack_, 900), nullptr);
  ASSERT_NE(stk_space(stack_, 900), nullptr);
  stk_pop_release(stack_);
  EXPECT_EQ(state().live_segments, 3u);
  EXPECT_EQ(stk_init(2 * kSize, 5), 5);
  EXPECT_EQ(state().live_segments, 1u) << "the new spare";
  EXPECT_EQ(MemoryFaults::regions(), 1u);
}

TEST_F(StkInit, OfAnotherSizeNeverCarvesFromRegionsOfTheEarlierSize) {
  init(7);
  std::uint8_t* old = stk_space(stack_, 1000);
  ASSERT_NE(old, nullptr);
  std::memset(old, 0x11, 1000);
  ASSERT_EQ(stk_init(50 * kSize, 5), 5);
  Stack* larger = stk_alloc();
  std::uint8_t* p = stk_space(larger, 50 * kSize);
  ASSERT_NE(p, nullptr);
  std::memset(p, 0x22, 50 * kSize);
  EXPECT_TRUE(std::all_of(old, old + 1000, [](std::uint8_t b) { return b == 0x11; }));
  stk_free(larger);
}

TEST_F(StkInit, BudgetOfZeroStillHasItsSpare) {
  EXPECT_EQ(stk_init(kSize, 0), 0);
  EXPECT_NE(state().spare, nullptr);
  EXPECT_EQ(stk_space(stack_, 1), nullptr);
}

TEST_F(StkAlloc, MakesAnEmptyStack) {
  init(7);
  Stack* made = stk_alloc();
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(made->frames, 0u);
  EXPECT_EQ(made->top.segments, 0u);
  EXPECT_EQ(made->top.free, kSize);
  EXPECT_EQ(made->top.frame, nullptr);
  EXPECT_EQ(stk_top(made), nullptr);
  EXPECT_EQ(stk_free_bytes(made), 0u);
  stk_free(made);
}

TEST_F(StkAlloc, AnswersNullWithoutMemory) {
  MemoryFaults::allow_heap(0);
  EXPECT_EQ(stk_alloc(), nullptr);
}

TEST_F(StkSpace, HandsMemoryOutUpwardFromTheStartOfTheSegment) {
  init(7);
  std::uint8_t* a = stk_space(stack_, 100);
  std::uint8_t* b = stk_space(stack_, 1);
  std::uint8_t* c = stk_space(stack_, 50);
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(a, stk_top(stack_));
  EXPECT_EQ(b, a + 100);
  EXPECT_EQ(c, b + 1);
  EXPECT_EQ(stk_end(stack_), c + 50);
  EXPECT_EQ(stack_->top.free, kSize - 151);
  EXPECT_EQ(stk_segments(stack_), 1u);
}

TEST_F(StkSpace, TakesTheLastByteOfASegmentBeforeTheNextOne) {
  init(7);
  std::uint8_t* a = stk_space(stack_, 999);
  EXPECT_EQ(stk_space(stack_, 1), a + 999);
  EXPECT_EQ(stk_segments(stack_), 1u);
  EXPECT_EQ(stk_free_bytes(stack_), 0u);
  ASSERT_NE(stk_space(stack_, 1), nullptr);
  EXPECT_EQ(stk_segments(stack_), 2u);
  EXPECT_EQ(stk_free_bytes(stack_), kSize - 1);
}

TEST_F(StkSpace, LeavesTheRestOfASegmentThatIsTooSmall) {
  init(7);
  ASSERT_NE(stk_space(stack_, 600), nullptr);
  std::uint8_t* b = stk_space(stack_, 600);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(b, stk_top(stack_));
  EXPECT_EQ(stk_segments(stack_), 2u);
  EXPECT_EQ(stk_free_bytes(stack_), 400u);
}

TEST_F(StkSpace, WithNothingAllowedAndAnEmptyPoolAnswersNullAndChangesNothing) {
  init(1);
  ASSERT_NE(stk_space(stack_, 600), nullptr);
  ASSERT_EQ(state().allowed, 0);
  const Stack before = *stack_;
  EXPECT_EQ(stk_space(stack_, 401), nullptr);
  EXPECT_EQ(std::memcmp(&before, stack_, sizeof before), 0);
  EXPECT_EQ(state().allowed, 0);
  EXPECT_NE(state().spare, nullptr) << "the spare is not for extending";
  EXPECT_NE(stk_space(stack_, 400), nullptr);
}

TEST_F(StkSpace, RefusesMoreThanASegmentAndChangesNothing) {
  init(7);
  ASSERT_NE(stk_space(stack_, 10), nullptr);
  EXPECT_EQ(stk_space(stack_, kSize + 1), nullptr);
  EXPECT_EQ(stk_space(stack_, ~std::uint64_t{0}), nullptr);
  EXPECT_EQ(stk_segments(stack_), 1u);
  EXPECT_EQ(state().allowed, 6);
  EXPECT_NE(stk_space(stack_, kSize), nullptr);
}

TEST_F(StkSpace, OfNothingOnAnEmptyStackStillMakesASegment) {
  init(7);
  EXPECT_NE(stk_space(stack_, 0), nullptr);
  EXPECT_EQ(stk_segments(stack_), 1u);
}

TEST_F(StkExtend, TakesFromThePoolBeforeTheSystem) {
  init(7);
  stk_newseg();
  const std::uint8_t* pooled = link_get(reinterpret_cast<Element>(state().pool), 0);
  ASSERT_EQ(state().allowed, 8);
  ASSERT_TRUE(stk_extend(stack_));
  EXPECT_EQ(stk_top(stack_), pooled);
  EXPECT_EQ(pool_count(), 0u);
  EXPECT_EQ(state().allowed, 8);
  ASSERT_TRUE(stk_extend(stack_));
  EXPECT_EQ(state().allowed, 7);
  EXPECT_EQ(stk_segments(stack_), 2u);
  EXPECT_EQ(stack_->top.free, kSize);
}

TEST_F(StkExtend, FailsWhenTheBudgetIsUsedUp) {
  init(2);
  EXPECT_TRUE(stk_extend(stack_));
  EXPECT_TRUE(stk_extend(stack_));
  EXPECT_FALSE(stk_extend(stack_));
  EXPECT_EQ(stk_segments(stack_), 2u);
}

TEST_F(StkExtend, SetsTheBudgetToZeroWhenTheSystemHasNoMemory) {
  init(100000);
  MemoryFaults::allow_regions(0);
  std::uint32_t segments = 0;
  while (stk_extend(stack_)) ++segments;
  EXPECT_EQ(state().allowed, 0);
  EXPECT_EQ(stk_segments(stack_), segments);
  MemoryFaults::allow_regions(-1);
  EXPECT_FALSE(stk_extend(stack_)) << "the budget stays used up";
}

TEST_F(StkPush, SavesTheStateBeforeItsOwnBytesInTheStack) {
  init(7);
  ASSERT_NE(stk_space(stack_, 101), nullptr);
  const StackSave before = stack_->top;
  std::uint8_t* place = stk_end(stack_);
  ASSERT_TRUE(stk_push(stack_));
  EXPECT_EQ(stack_->top.frame, place);
  EXPECT_EQ(stk_frames(stack_), 1u);
  EXPECT_EQ(stack_->top.free, before.free - 24);
  const auto saved = load_le<StackSave>(place);
  EXPECT_EQ(std::memcmp(&saved, &before, sizeof saved), 0);
}

TEST_F(StkPush, FailsAndChangesNothingWhenItsBytesCannotBeHad) {
  init(1);
  ASSERT_NE(stk_space(stack_, kSize - 23), nullptr);
  const Stack before = *stack_;
  EXPECT_FALSE(stk_push(stack_));
  EXPECT_EQ(std::memcmp(&before, stack_, sizeof before), 0);
}

TEST_F(StkPush, CountsMoreThan255Frames) {
  init(7);
  for (int i = 0; i < 260; ++i) ASSERT_TRUE(stk_push(stack_));
  EXPECT_EQ(stk_frames(stack_), 260u);
  for (int i = 0; i < 260; ++i) stk_pop_release(stack_);
  EXPECT_EQ(stk_frames(stack_), 0u);
  EXPECT_EQ(stk_segments(stack_), 0u);
}

TEST_F(StkPop, AfterPushLeavesSegmentsFreeAndFrameAsBeforeAndReleasesIntoSpareAndPool) {
  init(9);
  ASSERT_NE(stk_space(stack_, 10), nullptr);
  ASSERT_TRUE(stk_push(stack_));
  ASSERT_NE(stk_space(stack_, 500), nullptr);
  const StackSave before = stack_->top;
  ASSERT_TRUE(stk_push(stack_));
  std::uint8_t* released[3];
  for (auto& segment : released) segment = stk_space(stack_, 900);
  state().spare = nullptr;
  state().live_segments -= 1;
  stk_pop_release(stack_);
  EXPECT_EQ(std::memcmp(&before, &stack_->top, sizeof before), 0);
  EXPECT_EQ(stk_frames(stack_), 1u);
  EXPECT_EQ(stk_segments(stack_), 1u);
  // The top one first: it becomes the spare, the others go to the pool.
  EXPECT_EQ(state().spare, released[2]);
  EXPECT_EQ(pool_count(), 2u);
  Element pool = reinterpret_cast<Element>(state().pool);
  EXPECT_EQ(link_get(pool, 0), released[0]);
  EXPECT_EQ(link_get(released[0], 0), released[1]);
  EXPECT_EQ(state().allowed, 5) << "releasing gives nothing back to the budget";
}

TEST_F(StkPop, ReleasesIntoThePoolWhileASpareIsKept) {
  init(9);
  const std::uint8_t* spare = state().spare;
  ASSERT_TRUE(stk_push(stack_));
  ASSERT_NE(stk_space(stack_, 900), nullptr);
  ASSERT_NE(stk_space(stack_, 900), nullptr);
  stk_pop_release(stack_);
  EXPECT_EQ(state().spare, spare);
  EXPECT_EQ(pool_count(), 2u);
  EXPECT_EQ(stk_segments(stack_), 0u);
  EXPECT_EQ(stk_unused(), 9u);
}

TEST_F(StkPop, WithoutANewSegmentReleasesNone) {
  init(9);
  ASSERT_NE(stk_space(stack_, 10), nullptr);
  ASSERT_TRUE(stk_push(stack_));
  ASSERT_NE(stk_space(stack_, 10), nullptr);
  stk_pop_release(stack_);
  EXPECT_EQ(stk_free_bytes(stack_), kSize - 10);
  EXPECT_EQ(pool_count(), 0u);
}

TEST_F(StkPop, ReusesWhatWasReleasedBeforeAskingTheSystem) {
  init(9);
  for (int round = 0; round < 50; ++round) {
    ASSERT_TRUE(stk_push(stack_));
    for (int i = 0; i < 5; ++i) ASSERT_NE(stk_space(stack_, 900), nullptr);
    stk_pop_release(stack_);
  }
  EXPECT_EQ(state().live_segments, 6u) << "five used at once and the spare";
}

// Kept on purpose: sets the pool's count to 1, whatever it was.
TEST_F(StkNewseg, SetsThePoolCountToOneWhateverItWas) {
  init(7);
  stk_newseg();
  EXPECT_EQ(pool_count(), 1u);
  EXPECT_EQ(state().allowed, 8);
  EXPECT_EQ(state().pool->top.free, kSize);
  stk_newseg();
  EXPECT_EQ(pool_count(), 1u);
  EXPECT_EQ(state().allowed, 9);
  ASSERT_TRUE(stk_push(stack_));
  for (int i = 0; i < 3; ++i) ASSERT_NE(stk_space(stack_, 900), nullptr);
  stk_pop_release(stack_);
  ASSERT_GT(pool_count(), 1u);
  stk_newseg();
  EXPECT_EQ(pool_count(), 1u);
}

TEST_F(StkNewseg, UsesTheSpareWhenTheSystemHasNoMemory) {
  MemoryFaults::refuse_regions_above(2000);  // one segment a region
  init(1);
  ASSERT_NE(stk_space(stack_, 900), nullptr);
  MemoryFaults::allow_regions(0);
  std::uint8_t* spare = state().spare;
  stk_newseg();
  EXPECT_EQ(state().spare, nullptr);
  EXPECT_EQ(pool_count(), 1u);
  EXPECT_EQ(state().allowed, 1);
  EXPECT_EQ(stk_space(stack_, 900), spare);
}

TEST_F(StkNewseg, DoesNothingWithoutMemoryAndWithoutASpare) {
  MemoryFaults::refuse_regions_above(2000);
  init(1);
  ASSERT_NE(stk_space(stack_, 900), nullptr);
  MemoryFaults::allow_regions(0);
  stk_newseg();
  ASSERT_NE(stk_space(stack_, 900), nullptr);
  stk_newseg();
  EXPECT_EQ(pool_count(), 0u);
  EXPECT_EQ(state().allowed, 1);
}

TEST_F(StkNewseg, GivesASortBeyondItsBudgetOneMoreChance) {
  init(1);
  ASSERT_NE(stk_space(stack_, 900), nullptr);
  ASSERT_EQ(stk_space(stack_, 900), nullptr);
  stk_newseg();
  EXPECT_NE(stk_space(stack_, 900), nullptr);
  EXPECT_NE(stk_space(stack_, 900), nullptr) << "the budget has grown as well";
  EXPECT_EQ(stk_space(stack_, 900), nullptr);
}

TEST_F(StkMeasures, MaxIsTheFreeRestPlusPoolAndBudget) {
  init(3);
  EXPECT_EQ(stk_max(stack_), 3u * kSize);
  ASSERT_NE(stk_space(stack_, 100), nullptr);
  EXPECT_EQ(stk_max(stack_), 900 + 2u * kSize);
  stk_newseg();
  EXPECT_EQ(stk_max(stack_), 900 + 4u * kSize);
  EXPECT_EQ(stk_unused(), 4u);
}

TEST_F(StkMeasures, FrameSizeCountsBytesSinceTheLatestFrameAndItsOwn24) {
  init(9);
  EXPECT_EQ(stk_frame_size(stack_), 0u) << "no frame, nothing used";
  ASSERT_NE(stk_space(stack_, 100), nullptr);
  EXPECT_EQ(stk_frame_size(stack_), 100u) << "no frame: all that is used";
  ASSERT_TRUE(stk_push(stack_));
  EXPECT_EQ(stk_frame_size(stack_), 24u);
  ASSERT_NE(stk_space(stack_, 76), nullptr);
  EXPECT_EQ(stk_frame_size(stack_), 100u);
  ASSERT_NE(stk_space(stack_, 900), nullptr);
  EXPECT_EQ(stk_frame_size(stack_), 2u * kSize - 100 - 100) << "the rest left in the first segment counts";
}

TEST_F(StkMeasures, FrameOnTheEmptyStackCountsItsBytes) {
  init(9);
  ASSERT_TRUE(stk_push(stack_));
  ASSERT_NE(stk_space(stack_, 76), nullptr);
  EXPECT_EQ(stk_frame_size(stack_), 100u);
}

// Kept on purpose: computed from `free` even where the stack had no segment.
TEST_F(StkMeasures, FrameOnAnEmptyStackMadeAfterTheSizeWasSetCountsOneSegmentMore) {
  init(9);
  Stack* late = stk_alloc();
  ASSERT_TRUE(stk_push(late));
  ASSERT_NE(stk_space(late, 76), nullptr);
  EXPECT_EQ(stk_frame_size(late), kSize + 100);
  stk_free(late);
}

TEST_F(StkMinframe, IsZeroWithFewerThanTwoFrames) {
  init(9);
  EXPECT_EQ(stk_minframe(stack_, 1), 0u);
  ASSERT_TRUE(stk_push(stack_));
  ASSERT_NE(stk_space(stack_, 900), nullptr);
  EXPECT_EQ(stk_minframe(stack_, 1), 0u);
}

TEST_F(StkMinframe, KeepsAsManyFramesAsReleaseTheSizeAboveThem) {
  init(20);
  // Four frames, each with 100 bytes of its own (24 + 76).
  for (int i = 0; i < 4; ++i) {
    ASSERT_TRUE(stk_push(stack_));
    ASSERT_NE(stk_space(stack_, 76), nullptr);
  }
  EXPECT_EQ(stk_minframe(stack_, 0), 3u);
  EXPECT_EQ(stk_minframe(stack_, 1), 3u) << "the latest frame alone releases 100";
  EXPECT_EQ(stk_minframe(stack_, 100), 3u);
  EXPECT_EQ(stk_minframe(stack_, 101), 2u);
  EXPECT_EQ(stk_minframe(stack_, 200), 2u);
  EXPECT_EQ(stk_minframe(stack_, 300), 1u);
  EXPECT_EQ(stk_minframe(stack_, 301), 0u) << "the lowest frame is never the answer, 0 stands for it";
  EXPECT_EQ(stk_minframe(stack_, 1000000), 0u);
}

TEST_F(StkMinframe, CountsBeyondFourGigabytes) {
  // Headers laid out by hand: 6 GB in segments of 1 GB, a frame at every second gigabyte.
  constexpr std::uint32_t kGiga = 1u << 30;
  std::uint8_t copies[3 * 24];
  for (std::uint32_t i = 0; i < 3; ++i) {
    store_le(copies + 24 * i, StackSave{2 * i, 0, 0u, i == 0 ? nullptr : copies + 24 * (i - 1)});
  }
  const Stack tall{StackSave{6, 0, 0, copies + 48}, 3, kGiga};
  EXPECT_EQ(stk_minframe(&tall, 2ull << 30), 2u);
  EXPECT_EQ(stk_minframe(&tall, 4ull << 30), 1u);
  EXPECT_EQ(stk_minframe(&tall, (4ull << 30) + 1), 0u);
  EXPECT_EQ(stk_frame_size(&tall), 2ull << 30);
}

TEST_F(StkFree, GivesEverySegmentAndTheHeaderBack) {
  init(9);
  Stack* other = stk_alloc();
  const std::uint64_t live = state().live_segments;
  for (int i = 0; i < 4; ++i) ASSERT_NE(stk_space(other, 900), nullptr);
  EXPECT_EQ(state().live_segments, live + 4);
  const std::size_t blocks = MemoryFaults::heap_blocks();
  stk_free(other);
  EXPECT_EQ(state().live_segments, live);
  EXPECT_EQ(MemoryFaults::heap_blocks(), blocks - 1);
}

TEST_F(StkFree, RegionsGoWithTheLastSegmentWhenTheStacksAreFreedFirst) {
  init(9);
  ASSERT_NE(stk_space(stack_, 900), nullptr);
  stk_free(stack_);
  stack_ = nullptr;
  EXPECT_EQ(MemoryFaults::regions(), 1u) << "the spare is still in use";
  run_windups();
  EXPECT_EQ(MemoryFaults::regions(), 0u);
}

TEST_F(StkFree, RegionsGoWithTheLastSegmentWhenThePoolIsFreedFirst) {
  init(9);
  ASSERT_NE(stk_space(stack_, 900), nullptr);
  run_windups();
  EXPECT_EQ(MemoryFaults::regions(), 1u);
  stk_free(stack_);
  stack_ = nullptr;
  EXPECT_EQ(MemoryFaults::regions(), 0u);
}

TEST_F(StkFree, WindupMayRunTwice) {
  init(9);
  stk_windup(&instance());
  stk_windup(&instance());
  EXPECT_EQ(state().pool, nullptr);
  EXPECT_EQ(state().spare, nullptr);
}

TEST_F(StkFree, SegmentsThatThePoolLostCountOfDoNotHoldTheRegions) {
  init(9);
  stk_newseg();
  stk_newseg();
  stk_newseg();
  run_windups();
  EXPECT_EQ(MemoryFaults::regions(), 0u);
}

}  // namespace
}  // namespace fsort::test
