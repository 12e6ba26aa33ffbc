// Levels: layout of the bins, shrinking, copying and compacting.
#include "engine/environment.h"

#include <gtest/gtest.h>

#include "engine/plan.h"
#include "engine_fixture.h"

namespace fsort::test {
namespace {

class EnvironmentTest : public EngineFixture {
 protected:
  // A level over the plan that key 0 gets for `records` records.
  Environment* make(Environment* parent, std::uint64_t records = 1000000) {
    Plan p{};
    plan(&p, 0, 0, records, 0, false);
    return environment_make(parent, p.step_count, p.steps, static_cast<std::uint16_t>(p.bins));
  }
  [[nodiscard]] Stack* levels() { return instance().driver.sublist_stack; }
  [[nodiscard]] Stack* data() { return instance().driver.data_stack; }
  [[nodiscard]] SortState& sort_state() { return instance().sort; }
};

using EnvironmentMake = EnvironmentTest;

TEST_F(EnvironmentMake, OneStepOver256ClassesHas257BinsWithTheEndedKeysInSlot0) {
  ASSERT_EQ(init({"-k", "0-255", "-c", "0-1", "-k"}), 0);
  Environment* e = make(nullptr);
  ASSERT_NE(e, nullptr);
  ASSERT_EQ(e->array.count, 257u);
  const Sublist* bins = e->array.bins();
  EXPECT_EQ(bins[0].key, 1u);
  EXPECT_EQ(bins[0].position, 0u);
  for (int v = 1; v <= 256; ++v) {
    EXPECT_EQ(bins[v].key, 0u);
    EXPECT_EQ(bins[v].position, 1u);
    EXPECT_EQ(bins[v].order, v);
    EXPECT_EQ(bins[v].run_pos, kNoRun);
  }
}

TEST_F(EnvironmentMake, TwoStepsOverTwoAndThreeClassesHaveStrides4And1AndNineBins) {
  ASSERT_EQ(init({"-k", "'a'-'b'", "-c", "0-0", "-k", "'a'-'c'", "-c", "0-0", "-k"}), 0);
  Environment* e = make(nullptr, 10);  // the third step would need more records
  ASSERT_EQ(e->step_count, 2u);
  EXPECT_EQ(e->steps[0].stride, 4u);
  EXPECT_EQ(e->steps[1].stride, 1u);
  ASSERT_EQ(e->array.count, 9u);
  const Sublist* bins = e->array.bins();
  // Slot 0: ended in key 0; slots 1 and 5: ended in key 1; the others are past both keys' one byte.
  for (int slot = 0; slot < 9; ++slot) {
    const int expected = slot == 0 ? 1 : 2;
    EXPECT_EQ(bins[slot].key, expected) << slot;
    EXPECT_EQ(bins[slot].position, 0u) << slot;
  }
}

TEST_F(EnvironmentMake, AKeyWalkedBackwardsKeepsItsNegativePositionAtItsEnd) {
  ASSERT_EQ(init({"-k", "-c", "1-0"}), 0);
  Environment* e = make(nullptr);
  EXPECT_EQ(static_cast<std::int16_t>(e->array.bins()[3].position), -1);
  EXPECT_EQ(e->array.bins()[3].key, 0u);
}

TEST_F(EnvironmentMake, AnswersNullWhenThereIsNoRoomAndChangesNothing) {
  ASSERT_EQ(init({"-m", "1"}), 0);
  int made = 0;
  while (make(nullptr) != nullptr) ++made;
  EXPECT_GT(made, 20);  // three segments of 91 KB, 6.5 KB a level
  const StackSave before = levels()->top;
  EXPECT_EQ(make(nullptr), nullptr);
  EXPECT_EQ(levels()->top.free, before.free);
  EXPECT_EQ(levels()->top.segments, before.segments);
}

using EnvironmentShrink = EnvironmentTest;

TEST_F(EnvironmentShrink, StaysInPlaceAndGivesTheDroppedBinsBack) {
  ASSERT_EQ(init({}), 0);
  ASSERT_TRUE(stk_push(levels()));
  Environment* e = make(nullptr);
  const std::uint64_t free_before = levels()->top.free;
  e->array.bins()[2].mem_count = 77;
  e->array.count = 10;
  EXPECT_EQ(environment_shrink(e), e);
  EXPECT_EQ(levels()->top.free, free_before + 87 * sizeof(Sublist));
  EXPECT_EQ(e->array.bins()[2].mem_count, 77u);
}

TEST_F(EnvironmentShrink, MovesToTheOlderSegmentWhenItFitsThereNowAndIsFollowedByItsLinks) {
  ASSERT_EQ(init({"-l", "7"}), 0);
  ASSERT_TRUE(stk_push(levels()));
  Environment* root = make(nullptr);
  ASSERT_TRUE(stk_push(levels()));
  Environment* e = make(root);  // 6.5 KB: a second segment of 7 KB
  ASSERT_EQ(levels()->top.segments, 2u);
  root->array.bins()[4].child = e;
  e->array.bins()[1].mem_count = 55;
  e->array.count = 2;
  Environment* moved = environment_shrink(e);
  EXPECT_NE(moved, e);
  EXPECT_EQ(levels()->top.segments, 1u);
  EXPECT_EQ(root->array.bins()[4].child, moved);
  EXPECT_EQ(moved->parent, root);
  EXPECT_EQ(moved->array.bins()[1].mem_count, 55u);
}

TEST_F(EnvironmentShrink, AFirstLevelThatMovesIsFollowedByTheSortAndByItsChildren) {
  ASSERT_EQ(init({"-l", "7"}), 0);
  ASSERT_NE(stk_space(levels(), 2048), nullptr);
  ASSERT_TRUE(stk_push(levels()));
  Environment* root = make(nullptr);  // 6.5 KB: a second segment of 7 KB
  ASSERT_EQ(levels()->top.segments, 2u);
  instance().driver.environment = root;
  Environment child{};
  child.parent = root;
  root->array.bins()[1].child = &child;
  root->array.count = 2;
  Environment* moved = environment_shrink(root);
  EXPECT_NE(moved, root);
  EXPECT_EQ(levels()->top.segments, 1u);
  EXPECT_EQ(instance().driver.environment, moved);
  EXPECT_EQ(moved->parent, nullptr);
  EXPECT_EQ(moved->array.bins()[1].child, &child);
  EXPECT_EQ(child.parent, moved);
  moved->array.bins()[1].child = nullptr;
}

using EnvironmentCopy = EnvironmentTest;

TEST_F(EnvironmentCopy, CopyOfATreeThreeLevelsDeepMovesTheRelocationSlotToTheCopyOfItsLevel) {
  ASSERT_EQ(init({}), 0);
  Environment* root = make(nullptr);
  Environment* middle = make(root);
  Environment* leaf = make(middle);
  root->array.bins()[3].child = middle;
  middle->array.bins()[8].child = leaf;
  leaf->array.bins()[1].mem_count = 99;
  sort_state().relocation = leaf;
  Environment* copy = environment_copy(levels(), root);
  ASSERT_NE(copy, nullptr);
  Environment* middle_copy = copy->array.bins()[3].child;
  ASSERT_NE(middle_copy, middle);
  EXPECT_EQ(middle_copy->parent, copy);
  Environment* leaf_copy = middle_copy->array.bins()[8].child;
  ASSERT_NE(leaf_copy, leaf);
  EXPECT_EQ(leaf_copy->parent, middle_copy);
  EXPECT_EQ(leaf_copy->array.bins()[1].mem_count, 99u);
  EXPECT_EQ(sort_state().relocation, leaf_copy);
}

TEST_F(EnvironmentCopy, AnswersNullWhenTheStackHasNoRoom) {
  ASSERT_EQ(init({"-m", "1"}), 0);
  Environment* root = make(nullptr);
  while (make(nullptr) != nullptr) {
  }
  EXPECT_EQ(environment_copy(levels(), root), nullptr);
}

using EnvironmentCompress = EnvironmentTest;

TEST_F(EnvironmentCompress, ClosesTheGapsOfASubtreeAndFollowsTheCurrentLevel) {
  ASSERT_EQ(init({}), 0);
  ASSERT_TRUE(stk_push(levels()));
  Environment* root = make(nullptr);
  ASSERT_TRUE(stk_push(levels()));
  Environment* newest = make(root);
  Environment* child = make(newest);
  root->array.bins()[2].child = newest;
  newest->array.bins()[7].child = child;
  newest->array.count = 8;  // dropped bins leave a gap before the child
  child->array.bins()[0].mem_count = 123;
  // Records of any size precede the scratch copy.
  ASSERT_TRUE(stk_push(data()));
  ASSERT_NE(stk_space(data(), 13), nullptr);
  Environment* current = child;
  const std::uint32_t data_frames = stk_frames(data());
  Environment* back = environment_compress(data(), newest, &current);
  ASSERT_NE(back, nullptr);
  EXPECT_EQ(back, newest);  // same frame, same place
  EXPECT_EQ(back->parent, root);
  EXPECT_EQ(current, back->array.bins()[7].child);
  EXPECT_EQ(reinterpret_cast<std::uint8_t*>(current),
            reinterpret_cast<std::uint8_t*>(back) + environment_bytes(8));
  EXPECT_EQ(current->parent, back);
  EXPECT_EQ(current->array.bins()[0].mem_count, 123u);
  EXPECT_EQ(stk_frames(data()), data_frames);
}

TEST_F(EnvironmentCompress, AnswersNullWhenTheScratchStackHasNoRoom) {
  ASSERT_EQ(init({"-m", "1"}), 0);
  ASSERT_TRUE(stk_push(levels()));
  Environment* root = make(nullptr);
  while (stk_space(data(), 1024) != nullptr) {
  }
  Environment* current = root;
  EXPECT_EQ(environment_compress(data(), root, &current), nullptr);
  EXPECT_EQ(current, root);
}

TEST_F(EnvironmentTest, CleaningUpANullEnvironmentDoesNothing) {
  environment_cleanup(nullptr);
  EXPECT_EQ(displayed(), Texts{});
}

TEST_F(EnvironmentTest, CleaningUpClearsTheChildrenOfAllLevels) {
  ASSERT_EQ(init({}), 0);
  Environment* root = make(nullptr);
  Environment* child = make(root);
  root->array.bins()[3].child = child;
  environment_cleanup(root);
  EXPECT_EQ(root->array.bins()[3].child, nullptr);
}

}  // namespace
}  // namespace fsort::test
