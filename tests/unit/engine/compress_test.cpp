// Compaction of levels that fill many segments, with the budget used up.
#include <gtest/gtest.h>

#include "levels_fixture.h"
#include "sublist/sublist.h"
#include "support/fault_os.h"

namespace fsort::test {
namespace {

// A segment holds a level over the default table with one over 26 letters beside it, or four of the latter: a
// copy, which takes the levels in the order of their bins, needs more segments than the levels do as they
// were made.
class CompressManyLevels : public Levels {
 protected:
  static constexpr std::uint32_t kPairs = 16;
  static constexpr std::uint32_t kSegmentsOfACopy = 1 + kPairs + kPairs / 4;

  Environment* add(Environment* parent, std::uint16_t key, std::uint32_t bin) {
    Plan p{};
    plan(&p, key, 0, 1000000, 0, true);
    Environment* made = environment_make(parent, p.step_count, p.steps, static_cast<std::uint16_t>(p.bins));
    EXPECT_NE(made, nullptr);
    if (parent != nullptr) parent->array.bins()[bin].child = made;
    return made;
  }
  // The level below the root that will be compacted, with all of its children.
  Environment* grow() {
    Environment* root = start({"-l", "9", "-m", "900", "-k", "-c", "0-0", "-k", "'a'-'z'"});
    EXPECT_TRUE(stk_push(levels()));
    Environment* newest = add(root, 0, 1);
    for (std::uint32_t i = 0; i < kPairs; ++i) {
      add(newest, 0, 1 + i)->array.bins()[0].mem_bytes = i;
      add(newest, 1, 1 + kPairs + i)->array.bins()[0].mem_bytes = kPairs + i;
    }
    sort_state().newest = newest;
    return newest;
  }
  static void refuse_memory(FaultOs* faults) {
    for (const OsCall kind : {OsCall::kRegionAlloc, OsCall::kHeapAlloc}) {
      faults->fail(kind, 1, kErrorNotEnoughMemory, Lasting::kForGood);
    }
  }
  // Takes all memory, also what lies beyond the budget when `beyond`, and gives `segments` of it back.
  void leave_only(std::uint32_t segments, bool beyond) {
    const std::uint32_t frames = stk_frames(data());
    while (stk_push(data())) {
      if (stk_space(data(), 9000) != nullptr) continue;
      if (beyond) stk_newseg();
      if (!beyond || stk_space(data(), 9000) == nullptr) break;
    }
    while (stk_unused() < segments && stk_frames(data()) > frames) stk_pop_release(data());
  }
};

TEST_F(CompressManyLevels, TakesAsManySegmentsBeyondTheBudgetAsTheCopyNeeds) {
  Environment* newest = grow();
  leave_only(kSegmentsOfACopy, false);
  Environment* current = newest->array.bins()[kPairs].child;
  Environment* back = environment_compress(data(), newest, &current);
  ASSERT_NE(back, nullptr) << "the scratch copy was meant to fit";
  for (std::uint32_t i = 0; i < 2 * kPairs; ++i) {
    Environment* child = back->array.bins()[1 + i].child;
    ASSERT_NE(child, nullptr) << i;
    EXPECT_EQ(child->parent, back);
    EXPECT_EQ(child->array.bins()[0].mem_bytes, i);
  }
  EXPECT_EQ(current, back->array.bins()[kPairs].child);
}

TEST_F(CompressManyLevels, WithoutMemoryForTheCopyTheirWorkFilesAreDeletedAndTheSortEnds) {
  Environment* newest = grow();
  Environment* child = newest->array.bins()[3].child;
  sort_state().current = child;
  feed({"ab\n"});
  sublist_write(0, &child->array, index_of("ab\n"));
  sort_state().current = newest;
  ASSERT_EQ(files_in_folder(), 1u);
  FaultOs faults;
  refuse_memory(&faults);
  leave_only(kSegmentsOfACopy, true);
  Environment* current = newest;
  const Raised r = raised([&] { static_cast<void>(environment_compress(data(), newest, &current)); });
  EXPECT_TRUE(r.caught);
  EXPECT_EQ(files_in_folder(), 0u);
}

TEST_F(CompressManyLevels, WithoutMemoryForTheFirstLevelNoneIsLeft) {
  grow();
  Environment* root = driver().environment;
  ASSERT_NE(root, nullptr);
  FaultOs faults;
  refuse_memory(&faults);
  leave_only(1 + kSegmentsOfACopy, true);
  Environment* current = root;
  const Raised r = raised([&] { static_cast<void>(environment_compress(data(), root, &current)); });
  EXPECT_TRUE(r.caught);
  EXPECT_EQ(driver().environment, nullptr) << "no clean-up may follow it";
}

}  // namespace
}  // namespace fsort::test
