// Bytes, lines, items and text.
#include <cstring>
#include <vector>

#include "support/open_to_others.h"
#include "unit/stream/stream_fixture.h"

namespace fsort::test {
namespace {

class FstdioBytes : public StreamFixture {
 protected:
  Stream* reading(const std::string& content, std::uint32_t size = 512, int n = 2) {
    return open_with(folder_.make("f", content), "r", size, n);
  }
  Stream* writing(std::uint32_t size = 512, int n = 2) { return open_with(folder_.path("f"), "w", size, n); }
};

using FstdioGetc = FstdioBytes;

TEST_F(FstdioGetc, GivesSignedBytesSoThat0xFFLooksLikeTheEnd) {
  Stream* s = reading("a\x80\xFF");
  EXPECT_EQ(fstdio_fgetc(s), 'a');
  EXPECT_EQ(fstdio_fgetc(s), -128);
  EXPECT_EQ(s->flags & kStreamEof, 0u);
  EXPECT_EQ(fstdio_fgetc(s), -1);
  EXPECT_EQ(s->flags & kStreamEof, 0u);
  EXPECT_EQ(s->pos, 3u);
  EXPECT_EQ(fstdio_fgetc(s), -1);
  EXPECT_EQ(s->flags & kStreamEof, kStreamEof);
  EXPECT_EQ(s->pos, 3u);
  finish(s);
}

TEST_F(FstdioGetc, MakesItsOwnBuffersOnFirstUse) {
  Stream* s = fstdio_fopen(folder_.make("f", "ab").c_str(), "r");
  EXPECT_EQ(fstdio_fgetc(s), 'a');
  EXPECT_EQ(s->flags & 0x21u, 0x21u);
  EXPECT_EQ(s->bufsize, 4096u);
  EXPECT_EQ(fstdio_fclose(s), 0);
}

TEST_F(FstdioGetc, GivesNothingWithoutMemoryForBuffers) {
  Stream* s = fstdio_fopen(folder_.make("f", "ab").c_str(), "r");
  faults().fail(OsCall::kHeapAlloc, 2, kErrorNotEnoughMemory);
  EXPECT_EQ(fstdio_fgetc(s), -1);
  EXPECT_EQ(s->flags, kStreamRead);
  EXPECT_EQ(fstdio_fclose(s), 0);
}

using FstdioGets = FstdioBytes;

TEST_F(FstdioGets, CopiesUpToTheLineBreakAndDoesNotAdvanceThePosition) {
  Stream* s = reading("one\ntwo\n");
  char line[10];
  EXPECT_EQ(fstdio_fgets(line, 10, s), line);
  EXPECT_STREQ(line, "one\n");
  EXPECT_EQ(s->pos, 0u);
  EXPECT_EQ(s->cnt, 4u);
  EXPECT_EQ(fstdio_fgets(line, 10, s), line);
  EXPECT_STREQ(line, "two\n");
  EXPECT_EQ(fstdio_fgets(line, 10, s), nullptr);
  finish(s);
}

TEST_F(FstdioGets, GivesALongLineInPieces) {
  Stream* s = reading(std::string(600, 'x') + "\nrest\n");
  std::vector<char> piece(79);
  for (int i = 0; i < 7; ++i) {
    EXPECT_NE(fstdio_fgets(piece.data(), 79, s), nullptr);
    EXPECT_EQ(std::string(piece.data()), std::string(78, 'x'));
  }
  EXPECT_NE(fstdio_fgets(piece.data(), 79, s), nullptr);
  EXPECT_EQ(std::string(piece.data()), std::string(600 - 7 * 78, 'x') + "\n");
  EXPECT_NE(fstdio_fgets(piece.data(), 79, s), nullptr);
  EXPECT_STREQ(piece.data(), "rest\n");
  finish(s);
}

TEST_F(FstdioGets, GivesNoneForALastLineWithoutALineBreak) {
  Stream* s = reading("abc");
  char line[10];
  std::memset(line, '#', sizeof line);
  EXPECT_EQ(fstdio_fgets(line, 10, s), nullptr);
  EXPECT_EQ(std::string(line, 5), "abc##");  // copied, not ended
  EXPECT_EQ(s->flags & kStreamEof, kStreamEof);
  finish(s);
}

TEST_F(FstdioGets, EndsATextOfNoBytesAndRefusesNoRoom) {
  Stream* s = reading("abc\n");
  char line[2] = {'#', '#'};
  EXPECT_EQ(fstdio_fgets(line, 1, s), line);
  EXPECT_EQ(line[0], 0);
  EXPECT_EQ(fstdio_fgets(line, 0, s), nullptr);
  EXPECT_EQ(s->cnt, 0u);
  finish(s);
}

TEST_F(FstdioGets, GivesNoneAndNoEndOfFileWhenTheReadFails) {
  Stream* s = reading("abc\n");
  faults().fail(OsCall::kRead, 1, kErrorIoDevice, Lasting::kForGood);
  char line[10];
  EXPECT_EQ(fstdio_fgets(line, 10, s), nullptr);
  EXPECT_EQ(s->flags & kStreamEof, 0u);
  EXPECT_EQ(fs_errno, kErrorIoDevice);
  finish(s);
}

using FstdioRead = FstdioBytes;

TEST_F(FstdioRead, CopiesAcrossBuffersAndAdvancesThePosition) {
  const std::string data = pattern_bytes(3000);
  Stream* s = reading(data);
  std::string got(2000, '\0');
  EXPECT_EQ(fstdio_fread(got.data(), 100, 20, s), 20u);
  EXPECT_TRUE(got == data.substr(0, 2000));
  EXPECT_EQ(s->pos, 2000u);
  finish(s);
}

TEST_F(FstdioRead, GivesTheWholeItemsOfAStreamThatRunsDryAndThenNone) {
  Stream* s = reading(std::string(250, 'x'));
  char got[300];
  EXPECT_EQ(fstdio_fread(got, 100, 3, s), 2u);
  EXPECT_EQ(s->pos, 250u);
  EXPECT_EQ(fstdio_fread(got, 100, 1, s), 0u);
  EXPECT_EQ(fstdio_fread(got, 100, 0, s), 0u);
  finish(s);
}

TEST_F(FstdioRead, GivesNoneWhenTheBufferRunsEmptyOnAStreamThatIsAlreadyAtItsEnd) {
  Stream* s = reading(std::string(250, 'x'));
  EXPECT_EQ(fcnt(s), 250u);
  s->flags |= kStreamEof;
  char got[300];
  EXPECT_EQ(fstdio_fread(got, 100, 3, s), 0u);
  finish(s);
}

using Fcnt = FstdioBytes;

TEST_F(Fcnt, RefillsWhenTheBufferIsEmptyAndIsZeroAtTheEnd) {
  Stream* s = reading(std::string(600, 'x'));
  EXPECT_EQ(fcnt(s), 512u);
  EXPECT_EQ(fcnt(s), 512u);
  char got[600];
  fstdio_fread(got, 512, 1, s);
  EXPECT_EQ(fcnt(s), 88u);
  fstdio_fread(got, 88, 1, s);
  EXPECT_EQ(fcnt(s), 0u);
  EXPECT_EQ(s->flags & kStreamEof, kStreamEof);
  EXPECT_EQ(fcnt(s), 0u);
  finish(s);
}

TEST_F(Fcnt, IsZeroOnAStreamInError) {
  Stream* s = reading("abc");
  s->flags |= kStreamError;
  EXPECT_EQ(fcnt(s), 0u);
  EXPECT_EQ(fstdio_fgetc(s), -1);
  finish(s);
}

using FstdioWrite = FstdioBytes;

TEST_F(FstdioWrite, SendsABufferOffTheMomentItIsFull) {
  Stream* s = writing();
  const std::string data = pattern_bytes(512);
  EXPECT_EQ(fstdio_fwrite(data.data(), 511, 1, s), 1u);
  EXPECT_EQ(s->cnt, 1u);
  EXPECT_EQ(faults().calls(OsCall::kWrite), 0u);
  EXPECT_EQ(fstdio_fwrite(data.data() + 511, 1, 1, s), 1u);
  EXPECT_EQ(faults().calls(OsCall::kWrite), 1u);
  EXPECT_EQ(s->cnt, 512u);
  EXPECT_EQ(s->pos, 512u);
  finish(s);
  EXPECT_TRUE(folder_.content("f") == data);
}

TEST_F(FstdioWrite, PlacesAnyAmountWithAnyBuffers) {
  const std::string data = pattern_bytes(50000);
  for (const std::uint32_t size : {512u, 4096u, 65536u}) {
    for (const int n : {1, 2, 5}) {
      for (const std::uint64_t piece : {1u, 100u, 512u, 7777u, 50000u}) {
        Stream* s = writing(size, n);
        for (std::uint64_t at = 0; at < data.size(); at += piece) {
          const std::uint64_t take = std::min<std::uint64_t>(piece, data.size() - at);
          ASSERT_EQ(fstdio_fwrite(data.data() + at, 1, take, s), take);
        }
        EXPECT_EQ(finish(s), 0);
        ASSERT_TRUE(folder_.content("f") == data) << size << " " << n << " " << piece;
      }
    }
  }
}

TEST_F(FstdioWrite, GivesTheItemsPlacedBeforeAFlushFailed) {
  Stream* s = writing(512, 1);
  faults().fail(OsCall::kWrite, 2, kErrorDiskFull, Lasting::kForGood);
  const std::string data(3000, 'x');
  EXPECT_EQ(fstdio_fwrite(data.data(), 100, 30, s), 10u);
  EXPECT_EQ(s->pos, 3000u);
  EXPECT_EQ(s->flags & kStreamError, kStreamError);
  EXPECT_EQ(fs_errno, kErrorDiskFull);
  finish(s);
}

TEST_F(FstdioWrite, NeverLooksLikeSuccessWhenTheLastFlushFailed) {
  Stream* s = writing(512, 1);
  faults().fail(OsCall::kWrite, 1, kErrorDiskFull);
  const std::string data(512, 'x');
  EXPECT_EQ(fstdio_fwrite(data.data(), 512, 1, s), 0u);
  finish(s);
}

TEST_F(FstdioWrite, MakesItsOwnBuffersOrGivesNone) {
  Stream* s = fstdio_fopen(folder_.path("f").c_str(), "w");
  faults().fail(OsCall::kHeapAlloc, 1, kErrorNotEnoughMemory);
  EXPECT_EQ(fstdio_fwrite("abc", 1, 3, s), 0u);
  EXPECT_EQ(s->flags, kStreamWrite);
  EXPECT_EQ(fstdio_fwrite("abc", 1, 3, s), 3u);
  EXPECT_EQ(s->flags, kStreamWrite | 0x21u);
  EXPECT_EQ(fstdio_fclose(s), 0);
  EXPECT_EQ(folder_.content("f"), "abc");
}

using FstdioPutc = FstdioBytes;

TEST_F(FstdioPutc, FlushesWhenTheBufferIsFull) {
  Stream* s = writing();
  for (int i = 0; i < 511; ++i) EXPECT_EQ(fstdio_fputc('a', s), 'a');
  EXPECT_EQ(fstdio_fputc('\n', s), '\n');
  EXPECT_EQ(faults().calls(OsCall::kWrite), 1u);
  EXPECT_EQ(fstdio_fputc('\n', s), '\n');
  EXPECT_EQ(faults().calls(OsCall::kWrite), 1u);
  EXPECT_EQ(s->pos, 513u);
  finish(s);
  EXPECT_EQ(folder_.content("f"), std::string(511, 'a') + "\n\n");
}

TEST_F(FstdioPutc, FlushesEveryLineOfAStreamThatAsksForIt) {
  const OpenToOthers looking;
  Stream* s = writing();
  s->flags |= kStreamFlushLines;
  fstdio_fputc('a', s);
  EXPECT_EQ(folder_.content("f"), "");
  fstdio_fputc('\n', s);
  EXPECT_EQ(folder_.content("f"), "a\n");
  finish(s);
}

TEST_F(FstdioPutc, FailsWithTheFlushAndWithoutMemory) {
  Stream* s = writing(512, 1);
  s->flags |= kStreamFlushLines;
  faults().fail(OsCall::kWrite, 1, kErrorDiskFull);
  EXPECT_EQ(fstdio_fputc('\n', s), -1);
  finish(s);
  Stream* bare = fstdio_fopen(folder_.path("g").c_str(), "w");
  faults().fail(OsCall::kHeapAlloc, 1, kErrorNotEnoughMemory);
  EXPECT_EQ(fstdio_fputc('a', bare), -1);
  fstdio_fclose(bare);
}

using FstdioPuts = FstdioBytes;

TEST_F(FstdioPuts, WritesTheTextWithoutItsEndAndFlushesWhereAsked) {
  const OpenToOthers looking;
  Stream* s = writing();
  EXPECT_EQ(fstdio_fputs("abc", s), 0);
  EXPECT_EQ(fstdio_fputs("", s), 0);
  EXPECT_EQ(folder_.content("f"), "");
  s->flags |= kStreamFlushLines;
  EXPECT_EQ(fstdio_fputs("def", s), 0);
  EXPECT_EQ(folder_.content("f"), "abcdef");
  finish(s);
}

TEST_F(FstdioPuts, FailsWhenTheTextCannotBePlacedOrFlushed) {
  Stream* s = writing(512, 1);
  faults().fail(OsCall::kWrite, 1, kErrorDiskFull, Lasting::kForGood);
  EXPECT_EQ(fstdio_fputs(std::string(600, 'x').c_str(), s), -1);
  s->flags |= kStreamFlushLines;
  EXPECT_EQ(fstdio_fputs("x", s), -1);
  finish(s);
}

using FstdioPrintf = FstdioBytes;

TEST_F(FstdioPrintf, FormatsUpTo255Bytes) {
  Stream* s = writing(4096);
  EXPECT_EQ(fstdio_fprintf(s, "%d-%s\n", 42, "abc"), 0);
  const std::string longer(300, 'x');
  EXPECT_EQ(fstdio_fprintf(s, "%s", longer.c_str()), 0);
  finish(s);
  EXPECT_EQ(folder_.content("f"), "42-abc\n" + std::string(255, 'x'));
}

}  // namespace
}  // namespace fsort::test
