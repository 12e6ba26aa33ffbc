// Links of records and their hints.
#include "support/record_links.h"

#include <gtest/gtest.h>

#include <array>

namespace fsort::test {
namespace {

// Two records in lines of their own.
class RecordLinks : public testing::Test {
 protected:
  [[nodiscard]] std::uint8_t* record_at(std::size_t line, std::size_t in_line) {
    return memory_.data() + line * kHintLineBytes + in_line + kRecordLinkBytes;
  }
  // The straddling bit of a hint at a record whose link begins at `in_line`.
  std::uint64_t straddles(std::size_t in_line, std::uint32_t reach) {
    std::uint8_t* const record = record_at(4, 8);
    record_set_next_hinted(record, record_at(2, 0), record_at(1, in_line), reach);
    EXPECT_EQ(record_next(record), record_at(2, 0));
    return record_link_word(record) >> kHintShift & 1;
  }
  alignas(kHintLineBytes) std::array<std::uint8_t, 8 * kHintLineBytes> memory_{};
};

TEST_F(RecordLinks, HintTellsOfTheSecondLineWhereTheReachGoesThere) {
  EXPECT_EQ(straddles(0, 64), 0U);
  EXPECT_EQ(straddles(0, 65), 1U);
  EXPECT_EQ(straddles(28, kHintReach), 0U);
  EXPECT_EQ(straddles(29, kHintReach), 1U);
  EXPECT_EQ(straddles(29, 20), 0U);
}

TEST_F(RecordLinks, HintCountsLinesToTheRecordAhead) {
  std::uint8_t* const record = record_at(6, 8);
  record_set_next_hinted(record, nullptr, record_at(1, 40));
  EXPECT_EQ(static_cast<std::int64_t>(record_link_word(record)) >> kHintDistanceShift, 5);
  EXPECT_EQ(record_next(record), nullptr);
  record_set_next_hinted(record, nullptr, nullptr);
  EXPECT_EQ(record_link_word(record), 0U);
}

}  // namespace
}  // namespace fsort::test
