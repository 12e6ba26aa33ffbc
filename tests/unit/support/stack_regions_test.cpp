// Where segments come from: regions of growing size, their alignment, their budget, their return.
#include <algorithm>
#include <random>

#include "stack_fixture.h"

namespace fsort::test {
namespace {

class StkRegions : public StackTest {};

TEST_F(StkRegions, SegmentsStartOnACacheLine) {
  init(2000);
  for (int i = 0; i < 1500; ++i) {
    ASSERT_TRUE(stk_extend(stack_));
    ASSERT_EQ(reinterpret_cast<std::uintptr_t>(stk_top(stack_)) % 64, 0u) << i;
  }
}

TEST_F(StkRegions, SegmentsDoNotOverlapOneAnotherOrTheirLinks) {
  init(1200);
  std::vector<std::uint8_t*> segments;
  for (int i = 0; i < 1200; ++i) {
    segments.push_back(stk_space(stack_, kSize));
    ASSERT_NE(segments.back(), nullptr);
    std::memset(segments.back(), i & 0xFF, kSize);
  }
  for (std::size_t i = 0; i < segments.size(); ++i) {
    const auto value = static_cast<std::uint8_t>(i & 0xFF);
    ASSERT_TRUE(std::all_of(segments[i], segments[i] + kSize, [&](std::uint8_t b) { return b == value; }))
        << i;
    ASSERT_EQ(link_get(segments[i], 0), i > 0 ? segments[i - 1] : nullptr);
  }
}

TEST_F(StkRegions, GrowWithTheStackAndStayWithinTheBudget) {
  constexpr std::uint32_t kSegment = 91 * 1024;
  constexpr std::int64_t kBudget = 1000;
  ASSERT_EQ(stk_init(kSegment, kBudget), kBudget);
  EXPECT_LE(MemoryFaults::region_bytes(), 512u << 10) << "the first region is small";
  while (stk_extend(stack_)) {
  }
  EXPECT_EQ(stk_segments(stack_), kBudget);
  const auto& sizes = MemoryFaults::region_sizes();
  EXPECT_TRUE(std::is_sorted(sizes.begin(), sizes.end() - 1));
  EXPECT_LE(*std::max_element(sizes.begin(), sizes.end()), 64u << 20);
  EXPECT_LE(sizes.size(), 10u);
  const std::uint64_t stride = kSegment + 64;
  // Less than one segment is lost at the end of each region.
  EXPECT_LE(MemoryFaults::region_bytes(), (kBudget + 1 + sizes.size()) * stride);
  EXPECT_EQ(sizes[3] % (2u << 20), 0u) << "large regions are whole huge pages";
}

TEST_F(StkRegions, PlanOfThreeSegmentsMapsFour) {
  constexpr std::uint32_t kSegment = 7 * 1024;
  ASSERT_EQ(stk_init(kSegment, 3), 3);
  while (stk_extend(stack_)) {
  }
  EXPECT_LE(MemoryFaults::region_bytes(), 4u * (kSegment + 64) + 64);
}

TEST_F(StkRegions, SmallerOnesAreTriedWhenTheSystemRefusesALargeOne) {
  constexpr std::uint32_t kSegment = 91 * 1024;
  MemoryFaults::refuse_regions_above(200 << 10);
  ASSERT_EQ(stk_init(kSegment, 20), 20);
  for (int i = 0; i < 20; ++i) EXPECT_TRUE(stk_extend(stack_)) << i;
  EXPECT_LE(*std::max_element(MemoryFaults::region_sizes().begin(), MemoryFaults::region_sizes().end()),
            std::size_t{200} << 10);
}

TEST_F(StkRegions, SegmentLargerThanAnyRegionSizeGetsARegionOfItsOwn) {
  constexpr std::uint32_t kSegment = 80u << 20;
  ASSERT_EQ(stk_init(kSegment, 2), 2);
  std::uint8_t* p = stk_space(stack_, kSegment);
  ASSERT_NE(p, nullptr);
  p[0] = 1;
  p[kSegment - 1] = 2;
}

TEST_F(StkRegions, StackHoldsMoreThan65535Segments) {
  constexpr std::uint32_t kSegment = 48;
  constexpr std::uint32_t kCount = 70000;
  ASSERT_EQ(stk_init(kSegment, kCount), kCount);
  ASSERT_TRUE(stk_push(stack_));
  while (stk_space(stack_, kSegment) != nullptr) {
  }
  EXPECT_EQ(stk_segments(stack_), kCount);
  EXPECT_EQ(stk_frame_size(stack_), std::uint64_t{kCount} * kSegment);
  stk_pop_release(stack_);
  EXPECT_EQ(pool_count(), kCount);
  EXPECT_EQ(stk_max(stack_), std::uint64_t{kCount} * kSegment);
}

// A plain model of one stack: what was handed out, by frame, and what it must still contain.
struct Piece {
  std::uint8_t* at;
  std::size_t size;
  std::uint8_t value;
};

bool intact(const std::vector<Piece>& pieces) {
  return std::all_of(pieces.begin(), pieces.end(), [](const Piece& p) {
    return std::all_of(p.at, p.at + p.size, [&](std::uint8_t b) { return b == p.value; });
  });
}

TEST_F(StkRegions, RandomUseOfTwoStacksKeepsEveryByteAndEveryCount) {
  constexpr std::int64_t kBudget = 60;
  init(kBudget);
  Stack* stacks[2] = {stack_, stk_alloc()};
  std::vector<std::vector<Piece>> frames[2];
  for (auto& f : frames) f.emplace_back();
  std::mt19937 random(20240229);
  std::uint32_t refused = 0;
  for (int step = 0; step < 20000; ++step) {
    const std::size_t which = random() % 2;
    Stack* stack = stacks[which];
    auto& mine = frames[which];
    const auto action = random() % 100;
    if (action < 10) {
      if (stk_push(stack)) mine.emplace_back();
    } else if (action < 18 && mine.size() > 1) {
      ASSERT_TRUE(intact(mine.back()));
      stk_pop_release(stack);
      mine.pop_back();
    } else {
      const std::size_t size = random() % 4 == 0 ? random() % (kSize + 1) : random() % 60;
      std::uint8_t* at = stk_space(stack, size);
      if (at == nullptr) {
        ++refused;
        ASSERT_EQ(stk_unused(), 0u);
        continue;
      }
      mine.back().push_back({at, size, static_cast<std::uint8_t>(random())});
      std::memset(at, mine.back().back().value, size);
    }
    ASSERT_EQ(stk_frames(stack), mine.size() - 1);
    const std::uint64_t held = stk_segments(stacks[0]) + stk_segments(stacks[1]) + pool_count() + 1;
    ASSERT_EQ(state().live_segments, held);
    ASSERT_EQ(held - 1 + static_cast<std::uint64_t>(state().allowed), static_cast<std::uint64_t>(kBudget));
  }
  EXPECT_GT(refused, 100u) << "the budget was never reached";
  for (int i = 0; i < 2; ++i) {
    while (stk_frames(stacks[i]) != 0) {
      ASSERT_TRUE(intact(frames[i].back()));
      stk_pop_release(stacks[i]);
      frames[i].pop_back();
    }
    ASSERT_TRUE(intact(frames[i].back()));
  }
  stk_free(stacks[1]);
}

}  // namespace
}  // namespace fsort::test
