// Planning of levels: how many bytes a pass takes and how its bins are numbered.
#include "engine/plan.h"

#include <gtest/gtest.h>

#include "engine_fixture.h"

namespace fsort::test {
namespace {

class Planning : public EngineFixture {
 protected:
  Plan planned(std::uint64_t records, bool single = false) {
    Plan p{};
    const Raised r = raised([&] { plan(&p, 0, 0, records, 0, single); });
    EXPECT_FALSE(r.caught) << r.text();
    return p;
  }
};

TEST_F(Planning, DefaultSequenceTakesOneByteAPassUpToTheDefaultSegmentLength) {
  ASSERT_EQ(init({}), 0);
  const Plan p = planned(1000000);
  EXPECT_EQ(p.step_count, 1u);
  EXPECT_EQ(p.bins, 97u);
  EXPECT_EQ(p.steps[0].maxval, 95u);
  EXPECT_EQ(p.steps[0].stride, 1u);
}

TEST_F(Planning, SmallTablesTakeSeveralBytesWhileBinsStayFewAgainstTheRecords) {
  ASSERT_EQ(init({"-k", "'0'-'9'"}), 0);
  EXPECT_EQ(planned(21).step_count, 1u);  // 11 bins x 2 > 21
  EXPECT_EQ(planned(22).step_count, 2u);  // 111 bins x 2 > 22
  EXPECT_EQ(planned(221).step_count, 2u);
  const Plan p = planned(222);
  EXPECT_EQ(p.step_count, 3u);
  EXPECT_EQ(p.bins, 1111u);
  EXPECT_EQ(p.steps[0].stride, 111u);
  EXPECT_EQ(p.steps[1].stride, 11u);
  EXPECT_EQ(p.steps[2].stride, 1u);
  EXPECT_EQ(planned(1000000).step_count, 3u);  // 11111 bins exceed a segment
}

TEST_F(Planning, SingleLimitsAPlanToOneStep) {
  ASSERT_EQ(init({"-k", "'0'-'9'"}), 0);
  EXPECT_EQ(planned(1000000, true).step_count, 1u);
}

TEST_F(Planning, APlanGoesOnIntoTheNextKeyButNotIntoOneThatGovernsOthers) {
  ASSERT_EQ(init({"-k", "'a'-'c'", "-c", "0-0", "-k", "'a'-'b'", "-c", "1-1", "-n", "-c", "2-3"}), 0);
  const Plan p = planned(1000000);
  ASSERT_EQ(p.step_count, 2u);
  EXPECT_EQ(p.steps[1].key, 1u);
  EXPECT_EQ(p.steps[1].position, 0);
  EXPECT_EQ(p.steps[1].offset_word, 2u);
  EXPECT_EQ(p.bins, 1u + 3u + 6u);
}

TEST_F(Planning, APlanNeverHasMoreThanTenSteps) {
  ASSERT_EQ(init({"-k", "'a'-'b'", "-l", "300"}), 0);
  const Plan p = planned(100000000);
  EXPECT_EQ(p.step_count, 10u);
  EXPECT_EQ(p.bins, 2047u);
}

TEST_F(Planning, BytesOfAKeyWalkedBackwardsHaveNegativePositions) {
  ASSERT_EQ(init({"-k", "'a'-'b'", "-c", "3-0"}), 0);
  const Plan p = planned(1000000);
  ASSERT_EQ(p.step_count, 4u);
  EXPECT_EQ(p.steps[1].position, -1);
  EXPECT_EQ(p.steps[3].position, -3);
}

TEST_F(Planning, MoreClassesThanOneLevelHoldsFailsWithSegmentLengthTooSmall) {
  ASSERT_EQ(init({"-l", "7", "-k", "0-255"}), 0);
  Plan p{};
  const Raised r = raised([&] { plan(&p, 0, 0, 1000, 0, false); });
  EXPECT_EQ(r.text(), "Segment length too small\n");
}

TEST_F(Planning, DepthOfAPlanInMemoryIsItsStepCount) {
  ASSERT_EQ(init({"-k", "'0'-'9'", "-c", "0-5"}), 0);
  for (const std::uint64_t records : {6u, 21u, 22u, 100u, 221u, 222u, 5000u, 1000000u}) {
    EXPECT_EQ(plan_depth(0, 0, records), planned(records).step_count) << records;
  }
}

TEST_F(Planning, FitsCountsUnusedAndDataSegmentsLessOneForTheLevel) {
  ASSERT_EQ(init({"-m", "1"}), 0);  // three segments of 91 KB
  EXPECT_TRUE(fits(2 * 91 - 1, 97));
  EXPECT_FALSE(fits(2 * 91, 97));  // an exact fit does not fit
}

TEST_F(Planning, TotalSizeSumsTheBinsOfAChild) {
  ASSERT_EQ(init({}), 0);
  const Plan p = planned(1000);
  Environment* parent = environment_make(nullptr, p.step_count, p.steps, static_cast<std::uint16_t>(p.bins));
  Environment* child = environment_make(parent, p.step_count, p.steps, static_cast<std::uint16_t>(p.bins));
  ASSERT_NE(child, nullptr);
  parent->array.bins()[5].file_bytes = 1000;
  EXPECT_EQ(total_size(&parent->array.bins()[5]), 1000u);
  parent->array.bins()[5].child = child;
  child->array.bins()[0].file_bytes = 7;
  child->array.bins()[96].file_bytes = 30;
  EXPECT_EQ(total_size(&parent->array.bins()[5]), 37u);
}

}  // namespace
}  // namespace fsort::test
