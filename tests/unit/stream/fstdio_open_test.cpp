// Opening, closing, lengths.
#include <filesystem>

#include "support/open_to_others.h"
#include "support/std_handles.h"
#include "unit/stream/stream_fixture.h"

namespace fsort::test {
namespace {

// What the system was asked for, and the flags of the stream that came of it.
struct Asked {
  std::uint32_t access, disposition, attributes, flags;
};

class FstdioOpen : public StreamFixture {
 protected:
  std::uint32_t open_code(const char* name, const char* mode) {
    fs_errno = 0;
    Stream* s = fstdio_fopen(folder_.path(name).c_str(), mode);
    if (s == nullptr) return fs_errno;
    fstdio_fclose(s);
    return 0;
  }
  // Opens an existing file with this mode.
  Asked asked(const char* mode);
};

Asked recorded;
const OsTable* below;

Asked FstdioOpen::asked(const char* mode) {
  const std::string name = folder_.make("f", "abc");
  below = os;
  OsTable recorder = *os;
  recorder.create_file = [](const char* file, std::uint32_t access, std::uint32_t share, void* security,
                            std::uint32_t disposition, std::uint32_t attributes, Handle t) -> Handle {
    recorded = {access, disposition, attributes, 0};
    return below->create_file(file, access, share, security, disposition, attributes, t);
  };
  os = &recorder;
  Stream* s = fstdio_fopen(name.c_str(), mode);
  os = below;
  if (s == nullptr) return {};
  recorded.flags = s->flags;
  fstdio_fclose(s);
  return recorded;
}

constexpr std::uint32_t kSeq = kFlagSequentialScan;

TEST_F(FstdioOpen, TurnsModeLettersIntoAccessDispositionAttributesAndFlags) {
  constexpr std::uint32_t kBoth = kGenericRead | kGenericWrite;
  constexpr std::uint32_t kUa = kFlagNoBuffering | kFlagOverlapped;
  struct Row {
    const char* mode;
    Asked want;
  };
  const Row rows[] = {
      {"r", {kGenericRead, kOpenExisting, kSeq, 0x4}},
      {"rb", {kGenericRead, kOpenExisting, kSeq, 0x4}},
      {"rr", {kGenericRead, kOpenExisting, kSeq, 0x4}},
      {"rbrua", {kGenericRead, kOpenExisting, kSeq | kUa, 0xC4}},
      {"rt", {kGenericRead, kOpenExisting, kSeq | kAttributeTemporary, 0x4}},
      {"w", {kGenericWrite, kCreateAlways, kSeq, 0x2}},
      {"wbtua", {kGenericWrite, kCreateAlways, kSeq, 0xC2}},
      {"a", {kGenericWrite, kOpenExisting, kSeq, 0x2}},
      {"abua", {kGenericWrite, kOpenExisting, kSeq | kUa, 0xC2}},
      {"r+", {kBoth, kOpenExisting, kSeq, 0x6}},
      {"w+", {kBoth, kOpenExisting, kSeq, 0x6}},
      {"rbtua+", {kBoth, kOpenExisting, kSeq, 0xC6}},
  };
  for (const Row& row : rows) {
    const Asked got = asked(row.mode);
    EXPECT_EQ(got.access, row.want.access) << row.mode;
    EXPECT_EQ(got.disposition, row.want.disposition) << row.mode;
    EXPECT_EQ(got.attributes, row.want.attributes) << row.mode;
    EXPECT_EQ(got.flags, row.want.flags) << row.mode;
  }
}

TEST_F(FstdioOpen, IgnoresUnbufferedAndOverlappedWhereTheSystemHasNeither) {
  instance().stream.overlapped_available = 0;
  const Asked got = asked("rbrua");
  EXPECT_EQ(got.attributes, kSeq);
  EXPECT_EQ(got.flags, 0x4u);
}

TEST_F(FstdioOpen, RefusesAnyOtherFirstLetter) {
  folder_.make("f", "abc");
  EXPECT_EQ(open_code("f", "x"), kErrorInvalidParameter);
  EXPECT_EQ(open_code("f", ""), kErrorInvalidParameter);
  EXPECT_EQ(open_code("f", "br"), kErrorInvalidParameter);
  EXPECT_EQ(folder_.content("f"), "abc");
}

TEST_F(FstdioOpen, RefusesToCreateAnExistingFileThatMustBeNew) {
  folder_.make("f", "abc");
  EXPECT_EQ(open_code("f", "wx"), kErrorFileExists);
  EXPECT_EQ(folder_.content("f"), "abc");
  EXPECT_EQ(open_code("g", "wbxtua"), 0u);
  EXPECT_EQ(folder_.content("g"), "");
}

TEST_F(FstdioOpen, AppendingToAMissingFileFails) {
  EXPECT_EQ(open_code("f", "abua"), kErrorFileNotFound);
  EXPECT_EQ(open_code("f", "a"), kErrorFileNotFound);
  EXPECT_EQ(folder_.content("f"), "<missing>");
}

TEST_F(FstdioOpen, AppendingGoesOnAtTheEndOfAnExistingFile) {
  Stream* s = open_with(folder_.make("f", "abc"), "a");
  EXPECT_EQ(s->pos, 3u);
  EXPECT_EQ(s->next, 3u);
  EXPECT_EQ(fstdio_fwrite("def", 3, 1, s), 1u);
  EXPECT_EQ(finish(s), 0);
  EXPECT_EQ(folder_.content("f"), "abcdef");
}

// The same for an unbuffered handle on a file that does not end on a sector, where Windows refuses to go.
TEST_F(FstdioOpen, AppendingToAFileThatDoesNotTellItsEndFailsAndKeepsTheContent) {
  const std::string name = folder_.make("f", "abc");
  faults().fail(OsCall::kSeek, 1, kErrorInvalidParameter, Lasting::kForGood);
  EXPECT_EQ(open_code("f", "a"), kErrorInvalidParameter);
  EXPECT_EQ(open_code("f", "abua"), kErrorInvalidParameter);
  faults().clear();
  EXPECT_EQ(folder_.content("f"), "abc");
}

TEST_F(FstdioOpen, AppendingInSectorsGoesOnExactlyAtAnEndInsideASector) {
  const std::string old = pattern_bytes(700);
  Stream* s = open_with(folder_.make("f", old), "abua", 512);
  const std::string more = pattern_bytes(1500);
  EXPECT_EQ(fstdio_fwrite(more.data(), 1, more.size(), s), more.size());
  EXPECT_EQ(finish(s), 0);
  const std::string got = folder_.content("f");
  EXPECT_EQ(got.size(), 2560u);
  EXPECT_TRUE(got.substr(0, 2200) == old + more);
}

TEST_F(FstdioOpen, StartsWithoutBuffersAndKnowsWhatIsLeft) {
  Stream* s = fstdio_fopen(folder_.make("f", "abcde").c_str(), "r");
  EXPECT_EQ(s->left, 5u);
  EXPECT_EQ(s->pos, 0u);
  EXPECT_EQ(s->next, 0u);
  EXPECT_EQ(s->cnt, 0u);
  EXPECT_EQ(s->bufsize, 0u);
  EXPECT_EQ(s->ptr, nullptr);
  EXPECT_EQ(s->idle, nullptr);
  EXPECT_EQ(s->busy_head, nullptr);
  EXPECT_EQ(fstdio_fclose(s), 0);
}

TEST_F(FstdioOpen, NeverCutsAFileForWhichThereIsNoMemory) {
  folder_.make("f", "abc");
  faults().fail(OsCall::kHeapAlloc, 1, kErrorNotEnoughMemory);
  EXPECT_EQ(open_code("f", "w"), kErrorNotEnoughMemory);
  EXPECT_EQ(folder_.content("f"), "abc");
}

TEST_F(FstdioOpen, RefusesAFolder) { EXPECT_EQ(open_code(".", "r"), kErrorAccessDenied); }

TEST_F(FstdioOpen, TwoReadersShareAFileAndAWriterHasItAlone) {
  folder_.make("f", "abc");
  Stream* first = fstdio_fopen(folder_.path("f").c_str(), "r");
  Stream* second = fstdio_fopen(folder_.path("f").c_str(), "r");
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(open_code("f", "w"), kErrorSharingViolation);
  EXPECT_EQ(folder_.content("f"), "abc");
  fstdio_fclose(first);
  fstdio_fclose(second);
  Stream* writer = fstdio_fopen(folder_.path("f").c_str(), "w");
  EXPECT_EQ(open_code("f", "r"), kErrorSharingViolation);
  fstdio_fclose(writer);
}

using FstdioClose = FstdioOpen;

TEST_F(FstdioClose, RefusesNoStreamAndOneWithoutDirection) {
  EXPECT_EQ(fstdio_fclose(nullptr), -1);
  Stream none{};
  EXPECT_EQ(fstdio_fclose(&none), -1);
}

TEST_F(FstdioClose, EndsAnUnbufferedFileOnASectorBorderPaddedWithZeros) {
  Stream* s = open_with(folder_.path("f"), "wbtua");
  const std::string data = pattern_bytes(700);
  EXPECT_EQ(fstdio_fwrite(data.data(), 700, 1, s), 1u);
  EXPECT_EQ(finish(s), 0);
  EXPECT_TRUE(folder_.content("f") == data + std::string(324, '\0'));
  Stream* again = open_with(folder_.path("f"), "abua");
  EXPECT_EQ(again->pos, 1024u);
  EXPECT_EQ(fstdio_fwrite(data.data(), 700, 1, again), 1u);
  EXPECT_EQ(finish(again), 0);
  EXPECT_TRUE(folder_.content("f") == data + std::string(324, '\0') + data + std::string(324, '\0'));
}

TEST_F(FstdioClose, ZeroesThePaddingAlsoWhereTheBufferHeldOlderData) {
  Stream* s = open_with(folder_.path("f"), "wbtua", 1024, 2);
  const std::string data(1024 * 2 + 100, 'x');
  fstdio_fwrite(data.data(), data.size(), 1, s);
  EXPECT_EQ(finish(s), 0);
  EXPECT_TRUE(folder_.content("f") == data + std::string(412, '\0'));
}

TEST_F(FstdioClose, GivesBackTheBuffersThatTheStreamMadeItself) {
  Stream* s = fstdio_fopen(folder_.path("f").c_str(), "w");
  const std::size_t blocks = faults().heap_blocks();
  EXPECT_EQ(fstdio_fputs("abc", s), 0);
  EXPECT_EQ(faults().heap_blocks(), blocks + 2);
  EXPECT_EQ(fstdio_fclose(s), 0);
  EXPECT_EQ(faults().heap_blocks(), blocks - 1);
  EXPECT_EQ(folder_.content("f"), "abc");
}

TEST_F(FstdioClose, ReportsALateFailureOfAWriteThroughOwnBuffers) {
  Stream* s = fstdio_fopen(folder_.path("f").c_str(), "w");
  EXPECT_EQ(fstdio_fputs("abc", s), 0);
  faults().fail(OsCall::kWrite, 1, kErrorDiskFull);
  EXPECT_EQ(fstdio_fclose(s), -1);
  EXPECT_EQ(fs_errno, kErrorDiskFull);
}

TEST_F(FstdioClose, KeepsTheStreamWhenTheFlushFails) {
  Stream* s = open_with(folder_.path("f"), "w", 512, 1);
  fstdio_fputs("abc", s);
  faults().fail(OsCall::kWrite, 1, kErrorDiskFull);
  EXPECT_EQ(fstdio_fclose(s), -1);
  EXPECT_EQ(fs_errno, kErrorDiskFull);
  EXPECT_EQ(s->flags & kStreamError, kStreamError);
  EXPECT_EQ(finish(s), 0);
}

TEST_F(FstdioClose, ReturnsTheResultOfTheClose) {
  Stream* s = fstdio_fopen(folder_.make("f", "abc").c_str(), "r");
  faults().fail(OsCall::kClose, 1, kErrorIoDevice);
  EXPECT_EQ(fstdio_fclose(s), -1);
  EXPECT_EQ(fs_errno, kErrorIoDevice);
}

TEST_F(FstdioClose, WaitsForReadsInFlightBeforeTheHandleGoes) {
  Stream* s = open_with(folder_.make("f", pattern_bytes(10000)), "rbrua", 512, 4);
  faults().defer_overlapped(true);
  EXPECT_EQ(fcnt(s), 512u);
  EXPECT_EQ(faults().deferred(), 3u);
  BufferChain chain = s->busy_head;  // of the four, the three in flight
  IoBuffer* current = s->idle;
  EXPECT_EQ(fstdio_fclose(s), 0);
  EXPECT_EQ(faults().deferred(), 0u);
  ffreebuf(chain);
  set_buffer_link(current, nullptr);
  ffreebuf(current);
}

// The buffers are the caller's: whoever closes without taking them back must still hear of what was lost.
TEST_F(FstdioClose, WaitsForWritesInFlightAndReportsThoseThatFailed) {
  for (const bool full : {false, true}) {
    Stream* s = open_with(folder_.make("f", ""), "aba", 512, 4);
    faults().defer_overlapped(true);
    const std::string text = pattern_bytes(1024);
    EXPECT_EQ(fstdio_fwrite(text.data(), text.size(), 1, s), 1u);
    EXPECT_EQ(faults().deferred(), 2u);
    if (full) faults().limit_disk(600);
    std::vector<IoBuffer*> buffers;
    for (IoBuffer* b = s->idle; b != nullptr; b = buffer_link(b)) buffers.push_back(b);
    for (IoBuffer* b = s->busy_head; b != nullptr; b = buffer_link(b)) buffers.push_back(b);
    EXPECT_EQ(fstdio_fclose(s), full ? -1 : 0);
    EXPECT_TRUE(!full || fs_errno == kErrorDiskFull);
    EXPECT_EQ(faults().deferred(), 0u);
    EXPECT_EQ(folder_.content("f"), text.substr(0, full ? 512 : 1024));
    for (IoBuffer* b : buffers) {
      set_buffer_link(b, nullptr);
      ffreebuf(b);
    }
    faults().clear();
  }
}

using FileLength = FstdioOpen;

TEST_F(FileLength, IsTheEndOfADiskFileAndKeepsThePointer) {
  Handle file = nt_open(folder_.make("f", "abcdef").c_str(), kOpenRead, kOpenExisting);
  lseek(file, 4, 0);
  EXPECT_EQ(filelength(file), 6u);
  EXPECT_EQ(lseek(file, 0, 1), 4);
  nt_close(file);
}

TEST_F(FileLength, IsTheLargestValueForDevicesPipesAndNothing) {
  Handle device = nt_open(kNullDevice, kOpenRead, kOpenExisting);
  EXPECT_EQ(filelength(device), kUnknownLength);
  nt_close(device);
  const StdRedirect input(Standard::kInput, pipe_with("abc"));
  EXPECT_EQ(filelength(os->get_std_handle(kStdInput)), kUnknownLength);
  EXPECT_EQ(filelength(nullptr), kUnknownLength);
}

TEST_F(FileLength, GoesByTheCodeNotByTheValue) {
  const std::string name = folder_.make("f", "");
  std::filesystem::resize_file(name, 0xFFFFFFFF);
  Handle file = nt_open(name.c_str(), kOpenRead, kOpenExisting);
  EXPECT_EQ(filelength(file), 0xFFFFFFFFu);
  faults().fail(OsCall::kSeek, 2, kErrorInvalidParameter);
  EXPECT_EQ(filelength(file), kUnknownLength);
  nt_close(file);
}

using FsetEof = FstdioOpen;

TEST_F(FsetEof, RoundsUpToSectorsForAnUnbufferedStreamAndKeepsTheFilePointer) {
  const OpenToOthers looking;
  Stream* s = fstdio_fopen(folder_.path("f").c_str(), "wbtua");
  lseek(s->handle, 77, 0);
  EXPECT_EQ(fseteof(s, 513), 1024);
  EXPECT_EQ(lseek(s->handle, 0, 1), 77);
  EXPECT_EQ(folder_.content("f").size(), 1024u);
  EXPECT_EQ(fseteof(s, 512), 512);
  EXPECT_EQ(folder_.content("f").size(), 512u);
  EXPECT_EQ(fstdio_fclose(s), 0);
}

TEST_F(FsetEof, IsExactForABufferedStreamAndReportsAFailure) {
  const OpenToOthers looking;
  Stream* s = fstdio_fopen(folder_.path("f").c_str(), "w");
  EXPECT_EQ(fseteof(s, 513), 513);
  EXPECT_EQ(folder_.content("f").size(), 513u);
  faults().fail(OsCall::kSetEnd, 1, kErrorDiskFull);
  EXPECT_EQ(fseteof(s, 100), -1);
  EXPECT_EQ(fs_errno, kErrorDiskFull);
  EXPECT_EQ(fstdio_fclose(s), 0);
}

}  // namespace
}  // namespace fsort::test
