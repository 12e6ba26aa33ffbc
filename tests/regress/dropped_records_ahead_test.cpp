// The array sort asks for the memory of records that will leave soon. Where -u had dropped one of them it
// worked out addresses from a null pointer, which is undefined; a compiler may take it that no record is null
// there.
#include "unit/engine/engine_fixture.h"

namespace fsort::test {
namespace {

using DroppedRecordsAhead = EngineFixture;

TEST_F(DroppedRecordsAhead, LeaveTheOthersInOrderAndComplete) {
  Texts records;
  for (int i = 0; i < 400; ++i) records.push_back(i % 4 == 0 ? "b" + std::to_string(1000 + i) : "a");
  const Texts sorted = sort({"-u", "-m", "4000", "-k", "'a'-'b'", "'0'-'9'"}, records);
  ASSERT_EQ(sorted.size(), 101u);
  EXPECT_EQ(sorted[0], "a");
  for (std::size_t i = 1; i < sorted.size(); ++i) EXPECT_EQ(sorted[i], "b" + std::to_string(996 + 4 * i));
}

}  // namespace
}  // namespace fsort::test
