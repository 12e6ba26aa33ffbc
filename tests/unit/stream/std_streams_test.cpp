// Standard input, output and error.
#include <array>
#include <optional>

#include "support/std_handles.h"
#include "unit/stream/stream_fixture.h"

namespace fsort::test {
namespace {

class StdStreams : public StreamFixture {
 protected:
  void TearDown() override {
    StreamFixture::TearDown();
    give_back();
  }
  void give_back() {
    for (auto& redirect : redirects_) redirect.reset();
  }
  void redirect(Standard which, const OpenFile& target) {
    redirects_[static_cast<std::size_t>(which)].emplace(which, target);
  }
  // Puts the null device in the place of input and output.
  void redirect_to_nothing() {
    redirect(Standard::kInput, OpenFile::to_read(kNullDevice));
    redirect(Standard::kOutput, OpenFile::to_write(kNullDevice));
  }

 private:
  std::array<std::optional<StdRedirect>, 3> redirects_;
};

TEST_F(StdStreams, StartAsTheirDirectionsSay) {
  redirect_to_nothing();
  finit();
  EXPECT_EQ(std_input()->flags, 0x4u);
  EXPECT_EQ(std_output()->flags, 0x2u);
  EXPECT_EQ(std_error()->flags, 0x223u);
  EXPECT_TRUE(instance().stream.overlapped_available != 0);
  for (const Stream* s : {std_input(), std_output()}) {
    EXPECT_EQ(s->left, kUnknownLength);
    EXPECT_EQ(s->cnt, 0u);
    EXPECT_EQ(s->pos, 0u);
    EXPECT_EQ(s->next, 0u);
    EXPECT_EQ(s->idle, nullptr);
    EXPECT_EQ(s->busy_head, nullptr);
  }
  EXPECT_EQ(std_error()->bufsize, 152u);
  EXPECT_EQ(std_error()->cnt, 152u);
  EXPECT_EQ(std_error()->ptr, instance().stream.std_err_data);
}

TEST_F(StdStreams, InputReadsAPipeToItsEndWithUnknownLengthAndEveryTransferAtOffsetZero) {
  const std::string data = pattern_bytes(20000);
  redirect(Standard::kInput, pipe_with(data));
  finit();
  Stream* s = std_input();
  EXPECT_EQ(s->left, kUnknownLength);
  fattachbuf(s, fmakebuf(512, 2));
  EXPECT_GT(fcnt(s), 0u);
  EXPECT_EQ(s->idle->offset, 0u);
  EXPECT_EQ(s->busy_head->offset, 0u);
  EXPECT_TRUE(read_all(s) == data);
  EXPECT_EQ(s->flags & (kStreamEof | kStreamError), kStreamEof);
  ffreebuf(fdetachbuf(s));
}

TEST_F(StdStreams, InputReadsARedirectedFileFromItsStart) {
  const std::string data = pattern_bytes(20000);
  redirect(Standard::kInput, OpenFile::to_read(folder_.make("f", data)).move_to(500));
  finit();
  EXPECT_EQ(std_input()->left, 20000u);
  EXPECT_TRUE(read_all(std_input()) == data);
}

TEST_F(StdStreams, InputOfADeviceThatIsEmptyIsAtItsEnd) {
  redirect(Standard::kInput, OpenFile::to_read(kNullDevice));
  finit();
  EXPECT_EQ(fcnt(std_input()), 0u);
  EXPECT_EQ(std_input()->flags & (kStreamEof | kStreamError), kStreamEof);
}

TEST_F(StdStreams, InputThatIsClosedGivesNothingAndNoEnd) {
  redirect(Standard::kInput, OpenFile());
  finit();
  EXPECT_EQ(instance().stream.std_handles[0], nullptr);
  EXPECT_EQ(std_input()->left, kUnknownLength);
  EXPECT_EQ(fcnt(std_input()), 0u);
  EXPECT_EQ(std_input()->flags & (kStreamEof | kStreamError), 0u);
  EXPECT_EQ(fs_errno, kErrorInvalidHandle);
}

TEST_F(StdStreams, OutputOfARedirectedFileStartsAtItsStart) {
  redirect(Standard::kOutput, OpenFile::to_write(folder_.make("f", "0123456789")).move_to(5));
  finit();
  EXPECT_EQ(fstdio_fputs("abc", std_output()), 0);
  EXPECT_EQ(fstdio_fflush(std_output()), 0);
  give_back();
  EXPECT_EQ(folder_.content("f"), "abc3456789");
}

TEST_F(StdStreams, OutputIsFlushedAtTheEndAndOnlyMarkedClosed) {
  redirect(Standard::kOutput, OpenFile::to_write(folder_.path("f")));
  finit();
  fstdio_fputs("abc", std_output());
  fwindup();
  EXPECT_EQ(std_output()->flags, 0u);
  EXPECT_EQ(std_input()->flags, 0u);
  write_std(Standard::kOutput, "def");  // it is still open
  fwindup();
  give_back();
  EXPECT_EQ(folder_.content("f"), "abcdef");
}

TEST_F(StdStreams, AStreamOnAStandardHandleIsNotClosed) {
  Stream s{};
  s.flags = kStreamWrite;
  s.handle = instance().stream.std_handles[1];
  EXPECT_EQ(fstdio_fclose(&s), 0);
  EXPECT_EQ(s.flags, 0u);
  EXPECT_TRUE(is_std_open(Standard::kOutput));
}

TEST_F(StdStreams, ErrorWritesEveryTextAtOnceAndNeedsNoMemory) {
  redirect(Standard::kError, OpenFile::to_write(folder_.path("f")));
  finit();
  faults().fail(OsCall::kHeapAlloc, 1, kErrorNotEnoughMemory, Lasting::kForGood);
  const std::string longer(400, 'x');
  const int first = fstdio_fputs("abc", std_error());
  const int second = fstdio_fputs(longer.c_str(), std_error());
  fwindup();
  const std::uint32_t flags = std_error()->flags;
  give_back();
  EXPECT_EQ(first, 0);
  EXPECT_EQ(second, 0);
  EXPECT_EQ(flags, 0x223u);  // never closed
  EXPECT_EQ(folder_.content("f"), "abc" + longer);
}

}  // namespace
}  // namespace fsort::test
