// Positioning.
#include "support/open_to_others.h"
#include "unit/stream/stream_fixture.h"

namespace fsort::test {
namespace {

class FstdioSeek : public StreamFixture {
 protected:
  void SetUp() override {
    StreamFixture::SetUp();
    data_ = pattern_bytes(20000);
    name_ = folder_.make("f", data_);
  }
  std::string take(Stream* s, std::uint64_t n) {
    std::string got(n, '\0');
    got.resize(fstdio_fread(got.data(), 1, n, s));
    return got;
  }
  std::string data_;
  std::string name_;
};

TEST_F(FstdioSeek, InsideTheBufferMovesNoDataAndReadsNothing) {
  Stream* s = open_with(name_, "r");
  take(s, 100);
  const std::uint64_t reads = faults().calls(OsCall::kRead);
  fstdio_fseek(s, 3000, 0);
  EXPECT_EQ(s->pos, 3000u);
  EXPECT_EQ(s->cnt, 1096u);
  EXPECT_TRUE(take(s, 1000) == data_.substr(3000, 1000));
  fstdio_fseek(s, 10, 1);
  EXPECT_EQ(s->pos, 4010u);
  EXPECT_TRUE(take(s, 50) == data_.substr(4010, 50));
  EXPECT_EQ(faults().calls(OsCall::kRead), reads);
  finish(s);
}

TEST_F(FstdioSeek, BackwardInsideTheBufferLeavesTheCountWrappedAroundUntilTheNextOperation) {
  Stream* s = open_with(name_, "r");
  take(s, 100);
  fstdio_fseek(s, 90, 0);
  EXPECT_EQ(s->cnt, 0xFFFFFFFF00000FA6u);
  EXPECT_EQ(s->pos, 90u);
  EXPECT_EQ(fcnt(s), 4006u);
  EXPECT_EQ(s->cnt, 4006u);
  finish(s);
}

TEST_F(FstdioSeek, BackwardInsideTheBufferReadsEveryByteOnceFromThere) {
  Stream* s = open_with(name_, "r");
  take(s, 100);
  fstdio_fseek(s, 90, 0);
  EXPECT_TRUE(read_all(s) == data_.substr(90));
  finish(s);
}

TEST_F(FstdioSeek, TwiceBackwardInARowReadsEveryByteOnceFromThere) {
  Stream* s = open_with(name_, "r");
  take(s, 5000);  // in the second buffer
  fstdio_fseek(s, -100, 1);
  fstdio_fseek(s, -200, 1);
  EXPECT_EQ(s->pos, 4700u);
  EXPECT_TRUE(read_all(s) == data_.substr(4700));
  finish(s);
}

TEST_F(FstdioSeek, AfterABackwardOneStillKnowsTheEndOfTheBuffer) {
  Stream* s = open_with(name_, "r");
  take(s, 100);
  fstdio_fseek(s, 90, 0);
  fstdio_fseek(s, 15000, 0);  // far outside, though the wrapped count would cover it
  EXPECT_EQ(s->cnt, 0u);
  EXPECT_TRUE(take(s, 500) == data_.substr(15000, 500));
  finish(s);
}

TEST_F(FstdioSeek, OutsideTheBufferReadsAheadFromTheTarget) {
  Stream* s = open_with(name_, "r");
  take(s, 100);
  fstdio_fseek(s, 10000, 0);
  EXPECT_EQ(s->pos, 10000u);
  EXPECT_EQ(s->cnt, 0u);
  EXPECT_EQ(s->next, 10000u + 2 * 4096u);
  EXPECT_EQ(s->idle, nullptr);
  EXPECT_TRUE(take(s, 300) == data_.substr(10000, 300));
  finish(s);
}

TEST_F(FstdioSeek, WithEveryBufferInFlightGoesWhereItIsTold) {
  Stream* s = open_with(name_, "r");
  take(s, 100);
  fstdio_fseek(s, 10000, 0);
  s->left = 20000;
  fstdio_fseek(s, 200, 0);
  EXPECT_TRUE(take(s, 100) == data_.substr(200, 100));
  finish(s);
}

TEST_F(FstdioSeek, BeforeTheFirstReadGoesWhereItIsTold) {
  Stream* s = open_with(name_, "r");
  fstdio_fseek(s, 0, 0);
  EXPECT_TRUE(take(s, 10) == data_.substr(0, 10));
  finish(s);
  Stream* bare = fstdio_fopen(name_.c_str(), "r");
  fstdio_fseek(bare, 7000, 0);
  EXPECT_TRUE(take(bare, 10) == data_.substr(7000, 10));
  EXPECT_EQ(fstdio_fclose(bare), 0);
}

TEST_F(FstdioSeek, ClearsTheEndAndLeavesWhatIsLeftToTheCaller) {
  Stream* s = open_with(name_, "r");
  EXPECT_TRUE(read_all(s) == data_);
  EXPECT_EQ(s->flags & kStreamEof, kStreamEof);
  EXPECT_EQ(s->left, 0u);
  fstdio_fseek(s, 100, 0);
  EXPECT_EQ(s->flags & kStreamEof, 0u);
  EXPECT_EQ(s->left, 0u);
  EXPECT_EQ(fcnt(s), 0u);
  s->left = 50;
  fstdio_fseek(s, 100, 0);
  EXPECT_TRUE(read_all(s) == data_.substr(100, 50));
  finish(s);
}

TEST_F(FstdioSeek, InSectorsHandsOutTheBytesFromTheTargetOn) {
  Stream* s = open_with(name_, "rbrua");
  fstdio_fseek(s, 1000, 0);
  EXPECT_EQ(fcnt(s), 4608u - 488u);
  EXPECT_EQ(s->ptr - s->base, 488);
  fstdio_fseek(s, 600, 0);  // the sector's beginning is in the buffer too
  EXPECT_TRUE(take(s, 1000) == data_.substr(600, 1000));
  finish(s);
}

TEST_F(FstdioSeek, WhileReadsAreInFlightWaitsForThemBeforeTheirBuffersAreUsedAgain) {
  Stream* s = open_with(name_, "rbrua", 512, 4);
  faults().defer_overlapped(true);
  take(s, 100);
  fstdio_fseek(s, 10000, 0);
  EXPECT_TRUE(take(s, 700) == data_.substr(10000, 700));
  finish(s);
}

TEST_F(FstdioSeek, OnAWritingStreamOnlyFlushes) {
  const OpenToOthers looking;
  Stream* s = open_with(folder_.path("g"), "w");
  fstdio_fputs("abc", s);
  fstdio_fseek(s, 100000, 0);
  EXPECT_EQ(s->pos, 3u);
  EXPECT_EQ(folder_.content("g"), "abc");
  fstdio_fputs("def", s);
  EXPECT_EQ(finish(s), 0);
  EXPECT_EQ(folder_.content("g"), "abcdef");
}

TEST_F(FstdioSeek, BackwardInAWritingStreamNeverLetsDataRunBeyondTheBuffer) {
  Stream* s = open_with(folder_.path("g"), "w", 512, 2);
  fstdio_fputs("abcdef", s);
  fstdio_fseek(s, 3, 0);
  const std::string more = pattern_bytes(2000);
  EXPECT_EQ(fstdio_fwrite(more.data(), 1, more.size(), s), more.size());
  EXPECT_EQ(finish(s), 0);
  EXPECT_TRUE(folder_.content("g") == "abc" + more);
}

}  // namespace
}  // namespace fsort::test
