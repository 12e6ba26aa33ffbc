// The line of progress and the summary, from numbers.
#include <gtest/gtest.h>

#include "progress.h"

namespace fsort_tool {
namespace {

using Phase = ProgressState::Phase;
constexpr std::uint64_t kMiB = 1024 * 1024;

TEST(ProgressText, CountsHaveACommaBetweenGroupsOfThreeDigits) {
  EXPECT_EQ(shown_count(0), "0");
  EXPECT_EQ(shown_count(999), "999");
  EXPECT_EQ(shown_count(1000), "1,000");
  EXPECT_EQ(shown_count(10000000), "10,000,000");
  EXPECT_EQ(shown_count(123456), "123,456");
}

TEST(ProgressText, BytesAreShownInTheUnitThatLeavesOneToFourDigits) {
  EXPECT_EQ(shown_bytes(0), "0 bytes");
  EXPECT_EQ(shown_bytes(1023), "1023 bytes");
  EXPECT_EQ(shown_bytes(1024), "1.0 KiB");
  EXPECT_EQ(shown_bytes(10 * 1024), "10 KiB");
  EXPECT_EQ(shown_bytes(1024 * 1024 - 1), "1.0 MiB");
  EXPECT_EQ(shown_bytes(954 * kMiB), "954 MiB");
  EXPECT_EQ(shown_bytes(~std::uint64_t{0}), "16777216 TiB");
}

TEST(ProgressText, HalfOfTheWholeIsReadingAndHalfIsWriting) {
  ProgressState p{Phase::reading, true, 1000 * kMiB, 500 * kMiB, 0, 5000000, 2000, 0};
  EXPECT_EQ(progress_line(p), "reading  25 %   5,000,000 records   500 MiB   250 MiB/s   0:06 left");
  p.phase = Phase::sorting;
  p.bytes_read = 1000 * kMiB;
  EXPECT_EQ(progress_line(p), "sorting  50 %   5,000,000 records   1000 MiB");
  p.phase = Phase::writing;
  p.bytes_written = 250 * kMiB;
  p.milliseconds = 6000;
  p.writing_milliseconds = 1000;
  EXPECT_EQ(progress_line(p), "writing  62 %   5,000,000 records   250 MiB   250 MiB/s   0:03 left");
}

TEST(ProgressText, WithoutASizeReadingHasNoPercentAndNoTimeLeft) {
  ProgressState p{Phase::reading, false, 10 * kMiB, 5 * kMiB, 0, 100, 1000, 0};
  EXPECT_EQ(progress_line(p), "reading   100 records   5.0 MiB   5.0 MiB/s");
  p.phase = Phase::writing;
  p.bytes_written = 5 * kMiB / 2;
  p.writing_milliseconds = 500;
  EXPECT_EQ(progress_line(p), "writing  75 %   100 records   2.5 MiB   5.0 MiB/s   0:01 left");
}

TEST(ProgressText, ASortThatHasJustBegunHasNoTimeLeft) {
  const ProgressState p{Phase::reading, true, 10 * kMiB, 0, 0, 0, 0, 0};
  EXPECT_EQ(progress_line(p), "reading   0 %   0 records   0 bytes   0 bytes/s");
}

TEST(ProgressText, LongTimesHaveHours) {
  const ProgressState p{Phase::reading, true, 1000 * kMiB, kMiB, 0, 1, 10000, 0};
  EXPECT_EQ(progress_line(p), "reading   0 %   1 records   1.0 MiB   102 KiB/s   5:33:10 left");
}

TEST(ProgressText, TheSummaryNamesTheRecordsWrittenWhenTheyAreFewer) {
  EXPECT_EQ(progress_summary(10000000, 10000000, 954 * kMiB, 3200),
            "fsort: 10,000,000 records, 954 MiB in 3.2 s (298 MiB/s)\n");
  EXPECT_EQ(progress_summary(3, 2, 6, 0), "fsort: 3 records, 6 bytes in 0.0 s, 2 written\n");
}

}  // namespace
}  // namespace fsort_tool
