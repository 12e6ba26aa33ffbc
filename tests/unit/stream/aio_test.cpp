// The lowest layer: open, position, one request, waiting.
#include <cstring>

#include "support/std_handles.h"
#include "unit/stream/stream_fixture.h"

namespace fsort::test {
namespace {

class Aio : public StreamFixture {
 protected:
  Handle open(const char* name, std::uint32_t flags, std::uint32_t disposition = kOpenExisting) {
    return nt_open(folder_.path(name).c_str(), flags, disposition);
  }
  IoBuffer request(Handle handle, std::uint64_t offset, std::uint32_t count, std::uint32_t mode) {
    IoBuffer b{};
    b.handle = handle;
    b.offset = offset;
    b.count = count;
    b.mode = mode;
    b.data = area_;
    return b;
  }
  std::string moved(const IoBuffer& b) const {
    return {reinterpret_cast<const char*>(area_), static_cast<std::size_t>(b.count)};
  }
  std::uint8_t area_[64] = {};
};

TEST_F(Aio, NtInitIsTrueOnTheNtFamilyOnly) {
  EXPECT_TRUE(nt_init());
  faults().fail(OsCall::kVersion, 1, kErrorInvalidParameter);
  EXPECT_FALSE(nt_init());
}

// The arguments that nt_open hands to the system.
struct OpenArguments {
  std::uint32_t access, share, disposition, attributes;
};
OpenArguments seen;

TEST_F(Aio, NtOpenTranslatesEveryOpenFlag) {
  const OsTable* before = os;
  OsTable recorder = *before;
  recorder.create_file = [](const char*, std::uint32_t access, std::uint32_t share, void*,
                            std::uint32_t disposition, std::uint32_t attributes, Handle) -> Handle {
    seen = {access, share, disposition, attributes};
    return kInvalidHandle;
  };
  struct Row {
    std::uint32_t flags;
    std::uint32_t access, share, attributes;
  };
  const Row rows[] = {
      {0, 0x80000000, 1, 0x08000000},      {1, 0x40000000, 0, 0x08000000},
      {2, 0xC0000000, 0, 0x08000000},      {3, 0x40000000, 0, 0x08000000},
      {0x1000, 0x80000000, 1, 0x10000000}, {0x2000, 0x80000000, 1, 0x08000100},
      {0x4000, 0x80000000, 1, 0x48000000}, {0x8000, 0x80000000, 1, 0x28000000},
      {0x10, 0x80000000, 1, 0x08000000},   {9, 0x40000000, 0, 0x08000000},
      {0xE001, 0x40000000, 0, 0x68000100},
  };
  os = &recorder;
  for (const Row& row : rows) {
    EXPECT_EQ(nt_open("name", row.flags, 2), kInvalidHandle);
    EXPECT_EQ(seen.access, row.access) << std::hex << row.flags;
    EXPECT_EQ(seen.share, row.share) << std::hex << row.flags;
    EXPECT_EQ(seen.attributes, row.attributes) << std::hex << row.flags;
    EXPECT_EQ(seen.disposition, 2u);
  }
  os = before;
}

TEST_F(Aio, ReadOnlyOpensShareAndWriteOpensAreExclusive) {
  folder_.make("f", "abc");
  Handle first = open("f", kOpenRead);
  Handle second = open("f", kOpenRead);
  EXPECT_NE(second, kInvalidHandle);
  EXPECT_EQ(open("f", kOpenWrite, kCreateAlways), kInvalidHandle);
  EXPECT_EQ(fs_errno, kErrorSharingViolation);
  EXPECT_EQ(folder_.content("f"), "abc");
  EXPECT_EQ(nt_close(first), 0);
  EXPECT_EQ(nt_close(second), 0);
  Handle writer = open("f", kOpenWrite, kCreateAlways);
  EXPECT_EQ(open("f", kOpenRead), kInvalidHandle);
  EXPECT_EQ(fs_errno, kErrorSharingViolation);
  EXPECT_EQ(nt_close(writer), 0);
}

TEST_F(Aio, NtCloseFailsWithTheCloseAloneNotWithTheFlush) {
  folder_.make("f", "abc");
  Handle file = open("f", kOpenRead);
  faults().fail(OsCall::kFlush, 1, kErrorAccessDenied);
  EXPECT_EQ(nt_close(file), 0);
  file = open("f", kOpenRead);
  faults().fail(OsCall::kClose, 1, kErrorIoDevice);
  EXPECT_EQ(nt_close(file), -1);
  EXPECT_EQ(fs_errno, kErrorIoDevice);
}

TEST_F(Aio, LseekReachesFourGigabytesLessOneWithCodeZero) {
  folder_.make("f", "abc");
  Handle file = open("f", kOpenRead);
  fs_errno = 99;
  EXPECT_EQ(lseek(file, 0xFFFFFFFF, 0), 4294967295);
  EXPECT_EQ(fs_errno, 0u);
  fs_errno = 99;
  EXPECT_EQ(lseek(file, 0x123456789A, 0), 0x123456789A);
  EXPECT_EQ(lseek(file, -0x100000000, 1), 0x113456789A);
  EXPECT_EQ(lseek(file, 0, 2), 3);
  EXPECT_EQ(fs_errno, 99u);  // set only when the low half is all ones
  nt_close(file);
}

TEST_F(Aio, LseekYieldsTheHighHalfWithAllOnesOnFailure) {
  folder_.make("f", "abc");
  Handle file = open("f", kOpenRead);
  faults().fail(OsCall::kSeek, 1, kErrorInvalidParameter, Lasting::kForGood);
  EXPECT_EQ(lseek(file, 5, 0), 0xFFFFFFFF);
  EXPECT_EQ(fs_errno, kErrorInvalidParameter);
  EXPECT_EQ(lseek(file, 0x300000000, 0), 0x3FFFFFFFF);
  nt_close(file);
}

TEST_F(Aio, ReadsAtTheOffsetOfTheRequestInBothModes) {
  folder_.make("f", "abcdefgh");
  Handle file = open("f", kOpenRead);
  for (const std::uint32_t mode : {0u, kModeOverlapped}) {
    IoBuffer b = request(file, 2, 4, mode);
    EXPECT_EQ(aio_read(&b), 0);
    EXPECT_EQ(b.error, 0u);
    EXPECT_EQ(wait(&b), 4);
    EXPECT_EQ(moved(b), "cdef");
  }
  nt_close(file);
}

TEST_F(Aio, WritesAtTheOffsetOfTheRequestInBothModes) {
  Handle file = open("f", kOpenWrite, kCreateAlways);
  std::memcpy(area_, "XY", 2);
  IoBuffer plain = request(file, 1, 2, 0);
  EXPECT_EQ(aio_write(&plain), 0);
  EXPECT_EQ(wait(&plain), 2);
  IoBuffer overlapped = request(file, 4, 2, kModeOverlapped);
  EXPECT_EQ(aio_write(&overlapped), 0);
  EXPECT_EQ(wait(&overlapped), 2);
  nt_close(file);
  EXPECT_EQ(folder_.content("f"), std::string("\0XY\0XY", 6));
}

TEST_F(Aio, ReadingPastTheEndYieldsNothingAndIsNoError) {
  folder_.make("f", "abc");
  Handle file = open("f", kOpenRead);
  IoBuffer overlapped = request(file, 3, 4, kModeOverlapped);
  aio_read(&overlapped);
  EXPECT_EQ(overlapped.error, kErrorHandleEof);
  EXPECT_EQ(wait(&overlapped), 0);
  EXPECT_EQ(overlapped.error, 0u);
  IoBuffer plain = request(file, 3, 4, 0);
  aio_read(&plain);
  EXPECT_EQ(wait(&plain), 0);
  nt_close(file);
}

TEST_F(Aio, APipeWhoseWriterHasClosedEndsTheDataWithoutAnError) {
  const StdRedirect input(Standard::kInput, pipe_with("abcdef"));
  Handle handle = os->get_std_handle(kStdInput);
  // The offset cannot be reached: the transfer goes on in order.
  IoBuffer b = request(handle, 1000, 4, 0);
  aio_read(&b);
  EXPECT_EQ(wait(&b), 4);
  EXPECT_EQ(moved(b), "abcd");
  b.count = 4;
  aio_read(&b);
  EXPECT_EQ(wait(&b), 2);
  EXPECT_EQ(moved(b), "ef");
  b.count = 4;
  aio_read(&b);
  EXPECT_EQ(b.error, kErrorBrokenPipe);
  EXPECT_EQ(wait(&b), 0);
}

TEST_F(Aio, SuspendTakesEndOfFileBrokenPipeAndMoreDataForSuccess) {
  for (const std::uint32_t code : {kErrorHandleEof, kErrorBrokenPipe, kErrorMoreData}) {
    IoBuffer b = request(nullptr, 0, 7, 0);
    b.error = code;
    IoBuffer* list = &b;
    EXPECT_EQ(aio_suspend(&list, 1, nullptr), 0);
    EXPECT_EQ(b.error, 0u);
    b.error = code;
    EXPECT_EQ(wait(&b), 7);
  }
}

TEST_F(Aio, SuspendLeavesAnyOtherFailureInTheRequestAndInTheCode) {
  IoBuffer b = request(nullptr, 0, 7, 0);
  b.error = kErrorAccessDenied;
  IoBuffer* list = &b;
  EXPECT_EQ(aio_suspend(&list, 1, nullptr), 0);
  EXPECT_EQ(b.error, kErrorAccessDenied);
  EXPECT_EQ(fs_errno, kErrorAccessDenied);
  fs_errno = 0;
  EXPECT_EQ(wait(&b), -1);
  EXPECT_EQ(fs_errno, kErrorAccessDenied);
}

TEST_F(Aio, SuspendWaitsForARequestInProgress) {
  folder_.make("f", "abcdef");
  Handle file = open("f", kOpenRead | kOpenOverlapped);
  faults().defer_overlapped(true);
  IoBuffer b = request(file, 1, 3, kModeOverlapped);
  aio_read(&b);
  EXPECT_EQ(b.error, kErrorIoPending);
  EXPECT_EQ(wait(&b), 3);
  EXPECT_EQ(moved(b), "bcd");
  IoBuffer failing = request(file, 1, 3, kModeOverlapped);
  aio_read(&failing);
  faults().fail(OsCall::kResult, 1, kErrorIoDevice);
  EXPECT_EQ(wait(&failing), -1);
  EXPECT_EQ(fs_errno, kErrorIoDevice);
  IoBuffer at_end = request(file, 100, 3, kModeOverlapped);
  aio_read(&at_end);
  EXPECT_EQ(wait(&at_end), 0);
  faults().complete_deferred();
  nt_close(file);
}

TEST_F(Aio, CancelDoesNothingAndTheRequestGoesOnToCompletion) {
  folder_.make("f", "abcdef");
  Handle file = open("f", kOpenRead | kOpenOverlapped);
  faults().defer_overlapped(true);
  IoBuffer b = request(file, 0, 6, kModeOverlapped);
  aio_read(&b);
  EXPECT_EQ(aio_cancel(file, &b), 1);
  EXPECT_EQ(b.error, kErrorIoPending);
  EXPECT_EQ(faults().complete_deferred(), 1u);
  EXPECT_EQ(wait(&b), 6);
  EXPECT_EQ(moved(b), "abcdef");
  nt_close(file);
}

TEST_F(Aio, SettleWaitsForARequestInProgressAndTouchesNoOther) {
  folder_.make("f", "abcdef");
  Handle file = open("f", kOpenRead | kOpenOverlapped);
  faults().defer_overlapped(true);
  IoBuffer b = request(file, 0, 6, kModeOverlapped);
  aio_read(&b);
  aio_settle(&b);
  EXPECT_EQ(b.error, 0u);
  EXPECT_EQ(faults().deferred(), 0u);
  b.error = kErrorAccessDenied;
  aio_settle(&b);
  EXPECT_EQ(b.error, kErrorAccessDenied);
  nt_close(file);
}

TEST_F(Aio, WaitKnowsRequestsThatWereNotIssued) {
  IoBuffer b = request(nullptr, 0, 7, 0);
  b.launch_error = kErrorHandleEof;
  fs_errno = 5;
  EXPECT_EQ(wait(&b), 0);
  EXPECT_EQ(fs_errno, 0u);
  b.launch_error = kErrorInvalidHandle;
  EXPECT_EQ(wait(&b), -1);
  EXPECT_EQ(fs_errno, kErrorInvalidHandle);
}

}  // namespace
}  // namespace fsort::test
