// Whole buffers: read-ahead, refill, write-behind, take-back, sectors.
#include <filesystem>
#include <utility>

#include "support/open_to_others.h"
#include "unit/stream/stream_fixture.h"

namespace fsort::test {
namespace {

class Transfer : public StreamFixture {
 protected:
  Stream* reading(const std::string& content, const char* mode = "r", std::uint32_t size = 512, int n = 2) {
    return open_with(folder_.make("f", content), mode, size, n);
  }
};

constexpr std::uint64_t kMinusOne = ~static_cast<std::uint64_t>(0);

TEST_F(Transfer, AdjustingRoundsARequestToSectorsAndGivesTheAdvance) {
  struct Row {
    std::uint64_t offset;
    std::uint32_t count;
    std::uint64_t new_offset, skip;
    std::uint32_t new_count, advance;
  };
  const Row rows[] = {{0, 512, 0, 0, 512, 512},           {0, 1, 0, 0, 512, 512},
                      {1, 511, 0, 1, 512, 511},           {1, 512, 0, 1, 1024, 1023},
                      {1000, 4096, 512, 488, 4608, 4120}, {0x100000200, 513, 0x100000200, 0, 1024, 1024}};
  for (const Row& row : rows) {
    IoBuffer b{};
    b.offset = row.offset;
    b.count = row.count;
    EXPECT_EQ(aio_adjust(&b), row.advance) << row.offset;
    EXPECT_EQ(b.offset, row.new_offset);
    EXPECT_EQ(b.skip, row.skip);
    EXPECT_EQ(b.count, row.new_count);
  }
}

TEST_F(Transfer, LaunchSendsEveryIdleBufferOffForTheFollowingStretch) {
  Stream* s = reading(pattern_bytes(1200), "r", 512, 4);
  launch(s);
  EXPECT_EQ(chain_length(s->busy_head), 3u);
  EXPECT_EQ(chain_length(s->idle), 1u);
  EXPECT_EQ(s->busy_head->offset, 0u);
  EXPECT_EQ(buffer_link(s->busy_head)->offset, 512u);
  EXPECT_EQ(s->busy_tail->offset, 1024u);
  EXPECT_EQ(s->busy_tail->count, 176u);
  EXPECT_EQ(s->next, 1200u);
  EXPECT_EQ(s->left, 0u);
  finish(s);
}

TEST_F(Transfer, UnlaunchTakesEveryBufferBackAndCancelsNothing) {
  Stream* s = reading(pattern_bytes(1200), "rbrua", 512, 2);
  faults().defer_overlapped(true);
  launch(s);
  EXPECT_EQ(faults().deferred(), 2u);
  unlaunch(s);
  EXPECT_EQ(chain_length(s->idle), 2u);
  EXPECT_EQ(s->busy_head, nullptr);
  EXPECT_EQ(faults().deferred(), 0u);  // waited for: the buffers are free to be used again
  finish(s);
}

TEST_F(Transfer, ReadsFilesOfEveryLengthAroundTheBufferSize) {
  for (const char* mode : {"r", "rbrua"}) {
    for (const std::size_t length : {0u, 1u, 511u, 512u, 513u, 700u, 1023u, 1024u, 1025u, 2048u, 5000u}) {
      const std::string data = pattern_bytes(length);
      for (const int n : {1, 2, 3}) {
        Stream* s = reading(data, mode, 512, n);
        EXPECT_TRUE(read_all(s, 100) == data) << mode << " " << length << " " << n;
        EXPECT_EQ(s->pos, length);
        EXPECT_EQ(s->flags & (kStreamEof | kStreamError), kStreamEof);
        EXPECT_EQ(finish(s), 0);
      }
    }
  }
}

TEST_F(Transfer, ARefillAtTheEndIsZeroWithoutAnErrorCode) {
  Stream* s = reading("");
  fs_errno = 5;
  EXPECT_EQ(fillbuf(s), 0u);
  EXPECT_EQ(fs_errno, 0u);
  EXPECT_EQ(s->flags & kStreamEof, kStreamEof);
  finish(s);
}

TEST_F(Transfer, ARefillOfNoBytesIsMinusOneAndTheEnd) {
  const std::string name = folder_.make("f", "");
  Stream* s = open_with(name, "r");
  s->left = 100;  // the file was longer a moment ago
  EXPECT_EQ(fillbuf(s), kMinusOne);
  EXPECT_EQ(s->flags & kStreamEof, kStreamEof);
  EXPECT_EQ(fcnt(s), 0u);
  finish(s);
}

TEST_F(Transfer, ARefillThatFailedIsTakenAsDataAndLeavesTheErrorFlagClear) {
  for (const char* mode : {"r", "rbrua"}) {
    Stream* s = reading(pattern_bytes(20000), mode);
    faults().fail(OsCall::kRead, 1, kErrorIoDevice, Lasting::kForGood);
    EXPECT_EQ(fillbuf(s), kMinusOne);
    EXPECT_EQ(s->cnt, kMinusOne);
    EXPECT_EQ(s->flags & (kStreamError | kStreamEof), 0u);
    EXPECT_EQ(fs_errno, kErrorIoDevice);
    // Behind that no byte is to be had.
    EXPECT_EQ(fcnt(s), 0u);
    EXPECT_EQ(fstdio_fgetc(s), -1);
    char got[3000];
    EXPECT_EQ(fstdio_fread(got, 1, sizeof got, s), 0u);
    EXPECT_EQ(fstdio_fgets(got, sizeof got, s), nullptr);
    EXPECT_EQ(s->flags & (kStreamError | kStreamEof), 0u);
    EXPECT_EQ(s->pos, 0u);
    faults().clear();
    EXPECT_EQ(finish(s), 0);
  }
}

TEST_F(Transfer, ARefillThatFailedInSectorsCountsFromTheBytesSkipped) {
  Stream* s = reading(pattern_bytes(2000), "rbrua");
  faults().fail(OsCall::kRead, 1, kErrorIoDevice, Lasting::kForGood);
  fstdio_fseek(s, 100, 0);
  EXPECT_EQ(fillbuf(s), kMinusOne - 100);
  EXPECT_EQ(fcnt(s), 0u);
  fstdio_fseek(s, 50, 0);  // no window is left in which this could lie
  EXPECT_EQ(s->cnt, 0u);
  faults().clear();
  finish(s);
}

TEST_F(Transfer, DataReadBeforeAFailureIsDeliveredFirst) {
  const std::string data = pattern_bytes(1500);
  Stream* s = reading(data);
  faults().fail(OsCall::kRead, 2, kErrorIoDevice, Lasting::kForGood);
  EXPECT_TRUE(read_all(s) == data.substr(0, 512));
  EXPECT_EQ(s->flags & kStreamEof, 0u);
  finish(s);
}

TEST_F(Transfer, ReadingFromAMissingHandleFailsAndReadsNothing) {
  Stream s{};
  s.flags = kStreamRead;
  s.left = kUnknownLength;
  EXPECT_EQ(fillbuf(&s), kMinusOne);
  EXPECT_EQ(fs_errno, kErrorInvalidHandle);
  EXPECT_EQ(fstdio_fgetc(&s), -1);
  ffreebuf(fdetachbuf(&s));
}

// A terminal at which lines are typed while this lives; an empty one ends the input, for that time.
class Typed {
 public:
  explicit Typed(std::vector<std::string> lines) : table_(*os) {
    lines_ = std::move(lines);
    asked_ = 0;
    below_ = os;
    table_.get_file_type = [](Handle /*file*/) { return kFileTypeChar; };
    table_.read_file = [](Handle /*file*/, void* data, std::uint32_t /*count*/, std::uint32_t* done,
                          Overlapped* /*overlapped*/) {
      const std::string& line = lines_.at(asked_++);
      line.copy(static_cast<char*>(data), line.size());
      *done = static_cast<std::uint32_t>(line.size());
      return true;
    };
    os = &table_;
  }
  ~Typed() { os = below_; }
  Typed(const Typed&) = delete;
  Typed& operator=(const Typed&) = delete;

  [[nodiscard]] static std::size_t asked() { return asked_; }

 private:
  static inline std::vector<std::string> lines_;
  static inline std::size_t asked_ = 0;
  static inline const OsTable* below_ = nullptr;
  OsTable table_;
};

TEST_F(Transfer, ATerminalIsAskedForTheEndOfItsInputOnlyOnce) {
  Stream* s = reading("", "r", 512, 3);
  {
    const Typed typed({"pear\n", "fig\n", "", "unseen\n"});
    s->left = kUnknownLength;
    char text[16];
    EXPECT_STREQ(fstdio_fgets(text, sizeof text, s), "pear\n");
    EXPECT_STREQ(fstdio_fgets(text, sizeof text, s), "fig\n");
    EXPECT_EQ(fstdio_fgetc(s), -1);
    EXPECT_TRUE((s->flags & kStreamEof) != 0);
    EXPECT_EQ(Typed::asked(), 3u);
  }
  finish(s);
}

TEST_F(Transfer, AFileThatIsCutWhileItIsReadEndsThere) {
  const OpenToOthers looking;
  for (const char* mode : {"r", "rbrua"}) {
    for (const std::size_t rest : {0u, 100u, 512u, 600u, 1024u, 1300u}) {
      const std::string data = pattern_bytes(5000);
      Stream* s = reading(data, mode, 512, 2);
      char first[100];
      EXPECT_EQ(fstdio_fread(first, 100, 1, s), 1u);
      std::filesystem::resize_file(folder_.path("f"), rest);
      const std::string got = read_all(s);
      // The first buffers were full before the cut.
      const std::size_t end = std::max<std::size_t>(rest, 1024);
      EXPECT_TRUE(got == data.substr(100, end - 100)) << mode << " " << rest << " " << got.size();
      EXPECT_EQ(s->flags & (kStreamEof | kStreamError), kStreamEof);
      EXPECT_EQ(finish(s), 0);
    }
  }
}

TEST_F(Transfer, AReadThatMovesLessThanAskedSkipsNothing) {
  const std::string data = pattern_bytes(5000);
  for (const char* mode : {"r", "rbrua"}) {
    Stream* s = reading(data, mode, 1024, 3);
    faults().limit_read(700);
    EXPECT_TRUE(read_all(s) == data) << mode;
    faults().clear();
    EXPECT_EQ(finish(s), 0);
  }
}

TEST_F(Transfer, OverlappedReadsInFlightAreWaitedForInOrder) {
  const std::string data = pattern_bytes(50000);
  Stream* s = reading(data, "rbrua", 4096, 3);
  faults().defer_overlapped(true);
  EXPECT_TRUE(read_all(s, 777) == data);
  EXPECT_EQ(finish(s), 0);
}

TEST_F(Transfer, APlainRefillCostsOneTransferForEachBuffer) {
  Stream* s = reading(pattern_bytes(512 * 20));
  read_all(s);
  EXPECT_EQ(faults().calls(OsCall::kRead), 20u);
  finish(s);
}

TEST_F(Transfer, WritesGoOffOneBehindTheOtherAndAreWaitedForWhenNoBufferIsIdle) {
  Stream* s = open_with(folder_.path("f"), "abua");
  EXPECT_EQ(s, nullptr);
  folder_.make("f", "");
  s = open_with(folder_.path("f"), "abua", 512, 2);
  faults().defer_overlapped(true);
  const std::string data = pattern_bytes(1536);
  EXPECT_EQ(fstdio_fwrite(data.data(), 512, 1, s), 1u);
  EXPECT_EQ(faults().deferred(), 1u);  // one under way while the other is filled
  EXPECT_EQ(fstdio_fwrite(data.data() + 512, 512, 1, s), 1u);
  EXPECT_EQ(faults().deferred(), 1u);  // the older one was waited for
  EXPECT_EQ(fstdio_fwrite(data.data() + 1024, 512, 1, s), 1u);
  EXPECT_EQ(finish(s), 0);
  EXPECT_TRUE(folder_.content("f") == data);
}

TEST_F(Transfer, AFlushThatFailsStartsAnEmptyBufferSoThatNothingIsWrittenTwice) {
  Stream* s = open_with(folder_.path("f"), "w", 512, 2);
  const std::string data = pattern_bytes(2048);
  faults().fail(OsCall::kWrite, 1, kErrorIoDevice);
  EXPECT_EQ(fstdio_fwrite(data.data(), 512, 1, s), 1u);
  EXPECT_EQ(fstdio_fwrite(data.data() + 512, 512, 1, s), 0u);  // the first one's failure is seen here
  EXPECT_EQ(s->cnt, 512u);
  EXPECT_EQ(s->ptr, s->idle->data);
  EXPECT_EQ(fstdio_fflush(s), 0);
  EXPECT_EQ(fstdio_fwrite(data.data() + 1024, 512, 1, s), 1u);
  EXPECT_EQ(s->flags & kStreamError, kStreamError);
  EXPECT_EQ(finish(s), 0);
  EXPECT_TRUE(folder_.content("f") == std::string(512, '\0') + data.substr(512, 1024));
}

TEST_F(Transfer, AWriteThatMovesLessThanAskedIsAFullDisk) {
  Stream* s = open_with(folder_.path("f"), "w", 512, 1);
  faults().limit_write(100);
  const std::string data(512, 'x');
  EXPECT_EQ(fstdio_fwrite(data.data(), 512, 1, s), 0u);
  EXPECT_EQ(s->flags & kStreamError, kStreamError);
  EXPECT_EQ(fs_errno, kErrorDiskFull);
  faults().clear();
  finish(s);
}

TEST_F(Transfer, AWriteToABrokenPipeThatCountsAsNothingSetsTheEndFlag) {
  Stream* s = open_with(folder_.path("f"), "w", 512, 1);
  fstdio_fputs("abc", s);
  faults().fail(OsCall::kWrite, 1, kErrorBrokenPipe);
  EXPECT_EQ(fstdio_fflush(s), 0);
  EXPECT_EQ(s->flags & (kStreamEof | kStreamError), kStreamEof);
  finish(s);
}

TEST_F(Transfer, FlushingNothingOrWithoutBuffersIsNoTransfer) {
  Stream* s = fstdio_fopen(folder_.path("f").c_str(), "w");
  EXPECT_EQ(fstdio_fflush(s), 0);
  fattachbuf(s, fmakebuf(512, 2));
  EXPECT_EQ(fstdio_fflush(s), 0);
  EXPECT_EQ(faults().calls(OsCall::kWrite), 0u);
  finish(s);
}

TEST_F(Transfer, AStreamOpenedForBothKeepsTheLengthOfAnExistingFile) {
  const OpenToOthers looking;
  Stream* s = open_with(folder_.make("f", pattern_bytes(3000)), "r+", 512, 2);
  fstdio_fputs("hello", s);
  EXPECT_EQ(fstdio_fflush(s), 0);
  EXPECT_EQ(folder_.content("f").substr(0, 5), "hello");
  EXPECT_EQ(finish(s), 0);
  EXPECT_EQ(folder_.content("f").size(), 3000u);
}

TEST_F(Transfer, AStreamOpenedForBothStaysInsideItsBuffersWhateverFails) {
  Stream* s = open_with(folder_.make("f", pattern_bytes(3000)), "r+", 512, 2);
  faults().fail(OsCall::kRead, 1, kErrorIoDevice, Lasting::kForGood);
  fillbuf(s);
  const std::string more = pattern_bytes(4000);
  static_cast<void>(fstdio_fwrite(more.data(), 1, more.size(), s));
  static_cast<void>(fstdio_fputc('x', s));
  char got[4000];
  static_cast<void>(fstdio_fread(got, 1, sizeof got, s));
  EXPECT_LE(static_cast<std::uint64_t>(s->lim - s->base), 1024u);
  faults().clear();
  EXPECT_EQ(finish(s), 0);
}

}  // namespace
}  // namespace fsort::test
