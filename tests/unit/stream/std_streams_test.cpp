// Standard input, output and error.
#include <fcntl.h>
#include <unistd.h>

#include "unit/stream/stream_fixture.h"

namespace fsort::test {
namespace {

class StdStreams : public StreamFixture {
 protected:
  void SetUp() override {
    for (int fd = 0; fd < 3; ++fd) saved_[fd] = dup(fd);
    StreamFixture::SetUp();
  }
  void TearDown() override {
    StreamFixture::TearDown();
    give_back();
  }
  void give_back() {
    for (int fd = 0; fd < 3; ++fd) {
      if (saved_[fd] < 0) continue;
      dup2(saved_[fd], fd);
      close(saved_[fd]);
      saved_[fd] = -1;
    }
  }
  // Puts a file in the place of a standard descriptor.
  static void redirect(int fd, const std::string& name, int flags) {
    const int file = open(name.c_str(), flags, 0666);
    ASSERT_GE(file, 0);
    dup2(file, fd);
    close(file);
  }
  static void redirect_to_pipe(const std::string& content) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(write(ends[1], content.data(), content.size()), static_cast<ssize_t>(content.size()));
    dup2(ends[0], 0);
    close(ends[0]);
    close(ends[1]);
  }
  int saved_[3] = {-1, -1, -1};
};

TEST_F(StdStreams, StartAsTheirDirectionsSay) {
  redirect(0, "/dev/null", O_RDONLY);
  redirect(1, "/dev/null", O_WRONLY);
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
  redirect_to_pipe(data);
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
  redirect(0, folder_.make("f", data), O_RDONLY);
  ::lseek(0, 500, SEEK_SET);
  finit();
  EXPECT_EQ(std_input()->left, 20000u);
  EXPECT_TRUE(read_all(std_input()) == data);
}

TEST_F(StdStreams, InputOfADeviceThatIsEmptyIsAtItsEnd) {
  redirect(0, "/dev/null", O_RDONLY);
  finit();
  EXPECT_EQ(fcnt(std_input()), 0u);
  EXPECT_EQ(std_input()->flags & (kStreamEof | kStreamError), kStreamEof);
}

TEST_F(StdStreams, InputThatIsClosedGivesNothingAndNoEnd) {
  close(0);
  finit();
  EXPECT_EQ(instance().stream.std_handles[0], nullptr);
  EXPECT_EQ(std_input()->left, kUnknownLength);
  EXPECT_EQ(fcnt(std_input()), 0u);
  EXPECT_EQ(std_input()->flags & (kStreamEof | kStreamError), 0u);
  EXPECT_EQ(fs_errno, kErrorInvalidHandle);
}

TEST_F(StdStreams, OutputOfARedirectedFileStartsAtItsStart) {
  redirect(1, folder_.make("f", "0123456789"), O_WRONLY);
  ::lseek(1, 5, SEEK_SET);
  finit();
  EXPECT_EQ(fstdio_fputs("abc", std_output()), 0);
  EXPECT_EQ(fstdio_fflush(std_output()), 0);
  give_back();
  EXPECT_EQ(folder_.content("f"), "abc3456789");
}

TEST_F(StdStreams, OutputIsFlushedAtTheEndAndOnlyMarkedClosed) {
  redirect(1, folder_.path("f"), O_WRONLY | O_CREAT);
  finit();
  fstdio_fputs("abc", std_output());
  fwindup();
  EXPECT_EQ(std_output()->flags, 0u);
  EXPECT_EQ(std_input()->flags, 0u);
  EXPECT_EQ(write(1, "def", 3), 3);  // the descriptor is still open
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
  EXPECT_EQ(fcntl(1, F_GETFD) == -1, false);
}

TEST_F(StdStreams, ErrorWritesEveryTextAtOnceAndNeedsNoMemory) {
  redirect(2, folder_.path("f"), O_WRONLY | O_CREAT);
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
