// A disk file that could not be positioned was read and written all the same, at whatever place its pointer
// stood: a work file opened for appending was written from its beginning, the claim for its space cut it, and
// input was read from the wrong place. Each is a failure now.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "support/fault_os.h"
#include "support/open_to_others.h"
#include "support/temp_folder.h"
#include "unit/stream/stream_fixture.h"

namespace fsort::test {
namespace {

using Positioning = StreamFixture;

TEST_F(Positioning, ThatFailsMakesAReadFailInsteadOfGivingOtherBytes) {
  Stream* s = fstdio_fopen(folder_.make("f", "abcdef").c_str(), "r");
  ASSERT_NE(s, nullptr);
  faults().fail(OsCall::kSeek, 1, kErrorIoDevice, Lasting::kForGood);
  char byte = 0;
  EXPECT_EQ(fstdio_fread(&byte, 1, 1, s), 0u);
  EXPECT_EQ(s->flags & kStreamEof, 0u) << "a failure must not look like the end";
  faults().clear();
  fstdio_fclose(s);
}

TEST_F(Positioning, ThatFailsMakesAWriteFailInsteadOfOverwritingOtherBytes) {
  Stream* s = fstdio_fopen(folder_.path("f").c_str(), "w");
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(fstdio_fwrite("abc", 3, 1, s), 1u);
  faults().fail(OsCall::kSeek, 1, kErrorIoDevice, Lasting::kForGood);
  EXPECT_EQ(fstdio_fclose(s), -1);
  faults().clear();
  EXPECT_EQ(folder_.content("f"), "");
}

TEST_F(Positioning, ThatFailsForGoodRefusesToOpenForAppending) {
  folder_.make("f", "abc");
  faults().fail(OsCall::kSeek, 1, kErrorIoDevice, Lasting::kForGood);
  EXPECT_EQ(fstdio_fopen(folder_.path("f").c_str(), "a"), nullptr);
  EXPECT_EQ(fs_errno, kErrorIoDevice);
  EXPECT_EQ(folder_.content("f"), "abc");
}

TEST_F(Positioning, ThatFailsOnceStillAppendsAtTheEnd) {
  folder_.make("f", "abc");
  faults().fail(OsCall::kSeek, 2, kErrorIoDevice);
  Stream* s = fstdio_fopen(folder_.path("f").c_str(), "a");
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(fstdio_fwrite("de", 2, 1, s), 1u);
  EXPECT_EQ(fstdio_fclose(s), 0);
  EXPECT_EQ(folder_.content("f"), "abcde");
}

TEST_F(Positioning, ThatFailsLeavesTheLengthOfTheFileAlone) {
  const OpenToOthers looking;
  folder_.make("f", "abc");
  Stream* s = fstdio_fopen(folder_.path("f").c_str(), "a");
  ASSERT_NE(s, nullptr);
  for (const std::uint64_t n : {1u, 2u}) {
    faults().fail(OsCall::kSeek, n, kErrorIoDevice);
    EXPECT_EQ(fseteof(s, 512), -1);
    EXPECT_EQ(fs_errno, kErrorIoDevice);
    EXPECT_EQ(folder_.content("f"), "abc");
  }
  EXPECT_EQ(fstdio_fclose(s), 0);
}

}  // namespace
}  // namespace fsort::test
