// Chains of buffers.
#include <cstring>

#include "unit/stream/stream_fixture.h"

namespace fsort::test {
namespace {

using IoBuffers = StreamFixture;

TEST_F(IoBuffers, AreMadeWithDataOnSectorBordersAndRoomForRounding) {
  for (const std::uint32_t size : {1u, 512u, 513u, 4096u, 61440u}) {
    const std::size_t before = faults().heap_bytes();
    BufferChain chain = fmakebuf(size, 3);
    const std::uint32_t rounded = (size + 511) / 512 * 512;
    EXPECT_EQ(chain_length(chain), 3u);
    EXPECT_EQ(faults().heap_bytes() - before, 3 * (rounded + 1630));
    for (IoBuffer* b = chain; b != nullptr; b = buffer_link(b)) {
      EXPECT_EQ(reinterpret_cast<std::uintptr_t>(b->data) % 512, 0u);
      const auto head = b->data - reinterpret_cast<std::uint8_t*>(b);
      EXPECT_GE(head, 88);
      EXPECT_LT(head, 88 + 512);
      EXPECT_EQ(b->count, rounded);
      EXPECT_EQ(b->skip, 0u);
      EXPECT_NE(b->overlapped.event, nullptr);
      std::memset(b->data, 1, rounded + 1022);  // the whole of it belongs to the buffer
    }
    ffreebuf(chain);
  }
}

TEST_F(IoBuffers, AreOneOnlyWithoutOverlappedTransfers) {
  instance().stream.overlapped_available = 0;
  BufferChain chain = fmakebuf(512, 3);
  EXPECT_EQ(chain_length(chain), 1u);
  ffreebuf(chain);
}

TEST_F(IoBuffers, AreAllGivenBackWhenOneCannotBeMade) {
  for (const OsCall kind : {OsCall::kHeapAlloc, OsCall::kEvent}) {
    for (std::uint64_t n = 1; n <= 3; ++n) {
      const std::size_t before = faults().heap_blocks();
      faults().fail(kind, n, kErrorNotEnoughMemory);
      EXPECT_EQ(fmakebuf(512, 3), nullptr);
      EXPECT_EQ(fs_errno, kErrorNotEnoughMemory);
      EXPECT_EQ(faults().heap_blocks(), before);
      EXPECT_EQ(faults().events(), 0u);
    }
  }
}

TEST_F(IoBuffers, OfImpossibleSizesAreRefused) {
  EXPECT_EQ(fmakebuf(0xFFFFFFFF, 1), nullptr);
  EXPECT_EQ(fs_errno, kErrorNotEnoughMemory);
  EXPECT_EQ(fmakebuf(512, 0), nullptr);
}

TEST_F(IoBuffers, AttachedToAWriterStandReadyToBeFilled) {
  Stream* s = fstdio_fopen(folder_.path("f").c_str(), "w");
  BufferChain chain = fmakebuf(1000, 2);
  fattachbuf(s, chain);
  EXPECT_EQ(s->idle, chain);
  EXPECT_EQ(s->bufsize, 1024u);
  EXPECT_EQ(s->cnt, 1024u);
  EXPECT_EQ(s->ptr, chain->data);
  EXPECT_EQ(s->flags & kStreamAttached, kStreamAttached);
  EXPECT_EQ(chain->handle, s->handle);
  EXPECT_EQ(buffer_link(chain)->handle, s->handle);
  EXPECT_EQ(finish(s), 0);
}

TEST_F(IoBuffers, AttachedToAReaderHoldNothing) {
  Stream* s = open_with(folder_.make("f", "abc"), "r");
  EXPECT_EQ(s->cnt, 0u);
  EXPECT_EQ(finish(s), 0);
}

TEST_F(IoBuffers, NoneToAttachLeavesTheStreamWithout) {
  Stream* s = fstdio_fopen(folder_.path("f").c_str(), "w");
  fattachbuf(s, nullptr);
  EXPECT_EQ(s->flags, kStreamWrite);
  EXPECT_EQ(fdetachbuf(s), nullptr);
  EXPECT_EQ(fstdio_fclose(s), 0);
}

TEST_F(IoBuffers, MoveFromOneFileToTheNext) {
  const std::string first = pattern_bytes(3000);
  const std::string second = "second" + pattern_bytes(2000);
  folder_.make("a", first);
  folder_.make("b", second);
  BufferChain chain = fmakebuf(512, 2);
  for (const auto& [name, content] : {std::pair{"a", first}, {"b", second}, {"a", first}}) {
    Stream* s = fstdio_fopen(folder_.path(name).c_str(), "r");
    fattachbuf(s, chain);
    EXPECT_TRUE(read_all(s) == content);
    chain = fdetachbuf(s);
    EXPECT_EQ(chain_length(chain), 2u);
    EXPECT_EQ(chain->count, 512u);
    EXPECT_EQ(s->idle, nullptr);
    EXPECT_EQ(s->flags & kStreamAttached, 0u);
    EXPECT_EQ(fstdio_fclose(s), 0);
  }
  ffreebuf(chain);
}

TEST_F(IoBuffers, DetachedInTheMiddleOfAReadWithReadsInFlightAreLeftAloneAfterwards) {
  folder_.make("a", std::string(50000, 'a'));
  folder_.make("b", std::string(50000, 'b'));
  faults().defer_overlapped(true);
  Stream* a = open_with(folder_.path("a"), "rbrua", 512, 4);
  EXPECT_EQ(fcnt(a), 512u);
  EXPECT_EQ(faults().deferred(), 3u);
  BufferChain chain = fdetachbuf(a);
  EXPECT_EQ(faults().deferred(), 0u);
  EXPECT_EQ(fstdio_fclose(a), 0);
  Stream* b = fstdio_fopen(folder_.path("b").c_str(), "rbrua");
  fattachbuf(b, chain);
  EXPECT_TRUE(read_all(b) == std::string(50000, 'b'));
  fstdio_fseek(b, 0, 0);
  EXPECT_EQ(finish(b), 0);
  EXPECT_EQ(faults().complete_deferred(), 0u);
}

TEST_F(IoBuffers, DetachedFromAWriterHaveWrittenAll) {
  folder_.make("f", "");
  Stream* s = open_with(folder_.path("f"), "abua", 512, 3);
  faults().defer_overlapped(true);
  const std::string data = pattern_bytes(1100);
  fstdio_fwrite(data.data(), 1, data.size(), s);
  EXPECT_EQ(faults().deferred(), 2u);
  BufferChain chain = fdetachbuf(s);
  EXPECT_EQ(chain_length(chain), 3u);
  EXPECT_EQ(faults().deferred(), 0u);
  EXPECT_EQ(s->flags & (kStreamError | kStreamEof), 0u);
  ffreebuf(chain);
  EXPECT_EQ(fstdio_fclose(s), 0);
  EXPECT_TRUE(folder_.content("f") == data + std::string(436, '\0'));
}

TEST_F(IoBuffers, DetachedFromAWriterWhoseWritesFailedShowItInTheFlagsAndInTheCode) {
  Stream* s = open_with(folder_.path("f"), "w", 512, 3);
  const std::string data = pattern_bytes(1100);
  faults().fail(OsCall::kWrite, 1, kErrorDiskFull);
  EXPECT_EQ(fstdio_fwrite(data.data(), 1, data.size(), s), 1100u);
  fs_errno = 0;
  BufferChain chain = fdetachbuf(s);
  EXPECT_EQ(chain_length(chain), 3u);
  EXPECT_EQ(s->flags & kStreamError, kStreamError);
  EXPECT_EQ(fs_errno, kErrorDiskFull);  // not that of the write after it, which succeeded
  ffreebuf(chain);
  EXPECT_EQ(fstdio_fclose(s), 0);
}

TEST_F(IoBuffers, DetachedAfterAFailedFlushKeepItsCode) {
  Stream* s = open_with(folder_.path("f"), "w", 512, 1);
  fstdio_fputs("abc", s);
  faults().fail(OsCall::kWrite, 1, kErrorDiskFull);
  EXPECT_EQ(fstdio_fflush(s), -1);
  BufferChain chain = fdetachbuf(s);
  EXPECT_EQ(fs_errno, kErrorDiskFull);
  ffreebuf(chain);
  fstdio_fclose(s);
}

TEST_F(IoBuffers, DetachedFromAWriterWhosePipeBrokeShowTheEnd) {
  Stream* s = open_with(folder_.path("f"), "w", 512, 2);
  fstdio_fputs("abc", s);
  faults().fail(OsCall::kWrite, 1, kErrorBrokenPipe);
  BufferChain chain = fdetachbuf(s);
  EXPECT_EQ(s->flags & (kStreamError | kStreamEof), kStreamEof);
  ffreebuf(chain);
  EXPECT_EQ(fstdio_fclose(s), 0);
}

TEST_F(IoBuffers, FreedWhileARequestIsInFlightAreWaitedFor) {
  folder_.make("f", pattern_bytes(512));
  Handle file = nt_open(folder_.path("f").c_str(), kOpenRead | kOpenOverlapped, kOpenExisting);
  BufferChain chain = fmakebuf(512, 1);
  faults().defer_overlapped(true);
  chain->handle = file;
  chain->mode = kModeOverlapped;
  aio_read(chain);
  ffreebuf(chain);
  EXPECT_EQ(faults().complete_deferred(), 0u);
  nt_close(file);
}

}  // namespace
}  // namespace fsort::test
