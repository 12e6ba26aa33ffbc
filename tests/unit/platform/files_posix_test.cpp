// Files behind the Windows-shaped calls: opening, sharing, positions, transfers, pipes.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <string>
#include <thread>

#include "platform/os.h"
#include "support/temp_folder.h"

namespace fsort {
namespace {

using test::TempFolder;

constexpr std::uint32_t kReadWrite = kGenericRead | kGenericWrite;

Handle open_file(const std::string& name, std::uint32_t access, std::uint32_t disposition = kOpenExisting) {
  const std::uint32_t share = access == kGenericRead ? kShareRead : 0;
  return os->create_file(name.c_str(), access, share, nullptr, disposition, kFlagSequentialScan, nullptr);
}

// The code with which an open fails; 0 when it succeeds.
std::uint32_t open_code(const std::string& name, std::uint32_t access,
                        std::uint32_t disposition = kOpenExisting) {
  Handle file = open_file(name, access, disposition);
  if (file == kInvalidHandle) return os->get_last_error();
  os->close_handle(file);
  return 0;
}

std::uint64_t seek(Handle file, std::int64_t distance, std::uint32_t origin) {
  auto high = static_cast<std::int32_t>(distance >> 32);
  const std::uint32_t low =
      os->set_file_pointer(file, static_cast<std::int32_t>(distance & 0xFFFFFFFF), &high, origin);
  return static_cast<std::uint64_t>(static_cast<std::uint32_t>(high)) << 32 | low;
}

std::string read_some(Handle file, std::uint32_t count) {
  std::string text(count, '\0');
  std::uint32_t done = 99;
  if (!os->read_file(file, text.data(), count, &done, nullptr)) return "<failed>";
  text.resize(done);
  return text;
}

bool write_some(Handle file, const std::string& text, std::uint32_t* done) {
  return os->write_file(file, text.data(), static_cast<std::uint32_t>(text.size()), done, nullptr);
}

Overlapped overlapped_at(std::uint64_t offset) {
  Overlapped o{};
  o.offset_low = static_cast<std::uint32_t>(offset);
  o.offset_high = static_cast<std::uint32_t>(offset >> 32);
  return o;
}

// Puts another descriptor in the place of a standard one and gives the old one back at the end.
class Redirect {
 public:
  Redirect(int standard, int replacement) : standard_(standard), saved_(dup(standard)) {
    if (replacement < 0) {
      close(standard);
    } else {
      dup2(replacement, standard);
    }
  }
  ~Redirect() {
    dup2(saved_, standard_);
    close(saved_);
  }
  Redirect(const Redirect&) = delete;
  Redirect& operator=(const Redirect&) = delete;

 private:
  int standard_;
  int saved_;
};

TEST(CreateFile, LetsSeveralReadersShareAFile) {
  const TempFolder folder;
  const std::string name = folder.make("f", "abc");
  Handle first = open_file(name, kGenericRead);
  Handle second = open_file(name, kGenericRead);
  EXPECT_EQ(read_some(first, 10), "abc");
  EXPECT_EQ(read_some(second, 10), "abc");
  EXPECT_TRUE(os->close_handle(first));
  EXPECT_TRUE(os->close_handle(second));
}

TEST(CreateFile, RefusesAWriterWhileAReaderHasTheFileAndKeepsItsContent) {
  const TempFolder folder;
  const std::string name = folder.make("f", "abc");
  Handle reader = open_file(name, kGenericRead);
  EXPECT_EQ(open_code(name, kGenericWrite, kCreateAlways), kErrorSharingViolation);
  EXPECT_EQ(open_code(name, kReadWrite), kErrorSharingViolation);
  EXPECT_EQ(folder.content("f"), "abc");
  os->close_handle(reader);
  EXPECT_EQ(open_code(name, kGenericWrite, kCreateAlways), 0u);
  EXPECT_EQ(folder.content("f"), "");
}

TEST(CreateFile, RefusesEveryOtherOpenWhileAWriterHasTheFile) {
  const TempFolder folder;
  const std::string name = folder.path("f");
  Handle writer = open_file(name, kGenericWrite, kCreateAlways);
  std::uint32_t done = 0;
  ASSERT_TRUE(write_some(writer, "abc", &done));
  EXPECT_EQ(open_code(name, kGenericRead), kErrorSharingViolation);
  EXPECT_EQ(open_code(name, kGenericWrite, kCreateAlways), kErrorSharingViolation);
  EXPECT_EQ(folder.content("f"), "abc");
  os->close_handle(writer);
  EXPECT_EQ(open_code(name, kGenericRead), 0u);
}

TEST(CreateFile, RefusesToCreateAFileThatExistsWhenItMustBeNew) {
  const TempFolder folder;
  const std::string name = folder.make("f", "abc");
  EXPECT_EQ(open_code(name, kGenericWrite, kCreateNew), kErrorFileExists);
  EXPECT_EQ(folder.content("f"), "abc");
  EXPECT_EQ(open_code(folder.path("new"), kGenericWrite, kCreateNew), 0u);
  EXPECT_EQ(folder.content("new"), "");
}

// The permission bits of a file.
mode_t permissions(const std::string& name) {
  struct stat info {};
  EXPECT_EQ(stat(name.c_str(), &info), 0);
  return info.st_mode & 0777;
}

TEST(CreateFile, MakesAFileThatMustBeNewReadableByItsOwnerOnly) {
  const TempFolder folder;
  const mode_t mask = umask(0);
  EXPECT_EQ(open_code(folder.path("private"), kGenericWrite, kCreateNew), 0u);
  EXPECT_EQ(open_code(folder.path("ordinary"), kGenericWrite, kCreateAlways), 0u);
  umask(mask);
  EXPECT_EQ(permissions(folder.path("private")), 0600u);
  EXPECT_EQ(permissions(folder.path("ordinary")), 0666u);
}

TEST(CreateFile, TellsMissingFileFromMissingFolder) {
  const TempFolder folder;
  folder.make("plain", "");
  EXPECT_EQ(open_code(folder.path("none"), kGenericRead), kErrorFileNotFound);
  EXPECT_EQ(open_code(folder.path("none/none"), kGenericRead), kErrorPathNotFound);
  EXPECT_EQ(open_code(folder.path("none/new"), kGenericWrite, kCreateAlways), kErrorPathNotFound);
  EXPECT_EQ(open_code(folder.path("plain/none"), kGenericRead), kErrorPathNotFound);
  EXPECT_EQ(open_code("fsort-no-such-file", kGenericRead), kErrorFileNotFound);
  EXPECT_EQ(open_code("/fsort-no-such-file", kGenericRead), kErrorFileNotFound);
}

TEST(CreateFile, RefusesFoldersEmptyNamesAndNamesThatAreTooLong) {
  const TempFolder folder;
  EXPECT_EQ(open_code(folder.path(""), kGenericRead), kErrorAccessDenied);
  EXPECT_EQ(open_code(folder.path("."), kGenericWrite, kCreateAlways), kErrorAccessDenied);
  EXPECT_EQ(open_code("", kGenericRead), kErrorPathNotFound);
  EXPECT_EQ(open_code(std::string(300, 'a'), kGenericRead), kErrorFilenameTooLong);
  EXPECT_EQ(open_code(std::string(5000, 'a'), kGenericRead), kErrorFilenameTooLong);
}

TEST(CreateFile, RefusesADispositionThatNobodyDefined) {
  const TempFolder folder;
  EXPECT_EQ(open_code(folder.path("f"), kGenericWrite, 99), kErrorInvalidParameter);
  EXPECT_EQ(folder.content("f"), "<missing>");
}

TEST(CreateFile, TakesBackslashesForFolderSeparators) {
  const TempFolder folder;
  mkdir(folder.path("sub").c_str(), 0777);
  folder.make("sub/f", "abc");
  EXPECT_EQ(open_code(folder.path("sub\\f"), kGenericRead), 0u);
  EXPECT_TRUE(os->delete_file(folder.path("sub\\f").c_str()));
  EXPECT_EQ(folder.content("sub/f"), "<missing>");
}

TEST(CreateFile, NeverHandsOutAStandardDescriptor) {
  const TempFolder folder;
  const std::string name = folder.make("f", "abc");
  const Redirect no_input(0, -1);
  Handle file = open_file(name, kGenericRead);
  EXPECT_EQ(os->get_std_handle(kStdInput), nullptr);
  EXPECT_EQ(fcntl(0, F_GETFD), -1);
  EXPECT_EQ(read_some(file, 10), "abc");
  os->close_handle(file);
}

TEST(GetFileType, TellsDiskDeviceAndPipe) {
  const TempFolder folder;
  Handle disk = open_file(folder.make("f", ""), kGenericRead);
  Handle device = open_file("/dev/null", kGenericWrite, kCreateAlways);
  EXPECT_EQ(os->get_file_type(disk), kFileTypeDisk);
  EXPECT_EQ(os->get_file_type(device), kFileTypeChar);
  os->close_handle(disk);
  os->close_handle(device);
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  {
    const Redirect input(0, ends[0]);
    EXPECT_EQ(os->get_file_type(os->get_std_handle(kStdInput)), kFileTypePipe);
  }
  close(ends[0]);
  close(ends[1]);
  EXPECT_EQ(os->get_file_type(nullptr), kFileTypeUnknown);
  EXPECT_EQ(os->get_last_error(), kErrorInvalidHandle);
}

TEST(Handles, ThatAreNoneFailEveryCallWithTheirCode) {
  Handle event = os->create_event(nullptr, false, false, nullptr);
  ASSERT_NE(event, nullptr);
  for (Handle none : {static_cast<Handle>(nullptr), kInvalidHandle, event}) {
    std::uint32_t done = 99;
    char byte = 0;
    std::int32_t high = 5;
    EXPECT_FALSE(os->read_file(none, &byte, 1, &done, nullptr));
    EXPECT_EQ(done, 0u);
    EXPECT_FALSE(os->write_file(none, &byte, 1, &done, nullptr));
    EXPECT_EQ(os->set_file_pointer(none, 0, &high, kSeekBegin), 0xFFFFFFFFu);
    EXPECT_EQ(high, 5);
    EXPECT_FALSE(os->set_end_of_file(none));
    EXPECT_FALSE(os->flush_file_buffers(none));
    EXPECT_EQ(os->get_last_error(), kErrorInvalidHandle);
  }
  EXPECT_FALSE(os->close_handle(nullptr));
  EXPECT_TRUE(os->close_handle(event));
}

TEST(ReadFile, GivesNothingAtTheEndWithoutAndEndOfFileWithAnOverlappedRecord) {
  const TempFolder folder;
  Handle file = open_file(folder.make("f", "abcdef"), kGenericRead);
  char text[8];
  std::uint32_t done = 99;
  Overlapped at = overlapped_at(4);
  EXPECT_TRUE(os->read_file(file, text, 8, &done, &at));
  EXPECT_EQ(std::string(text, done), "ef");
  for (const std::uint64_t past : {6ull, 7ull, 1ull << 40}) {
    Overlapped there = overlapped_at(past);
    EXPECT_FALSE(os->read_file(file, text, 8, &done, &there));
    EXPECT_EQ(os->get_last_error(), kErrorHandleEof);
    EXPECT_EQ(done, 0u);
  }
  EXPECT_EQ(read_some(file, 4), "abcd");  // the overlapped reads have not moved the pointer
  EXPECT_EQ(read_some(file, 4), "ef");
  EXPECT_EQ(read_some(file, 4), "");
  os->close_handle(file);
}

TEST(WriteFile, FollowsThePointerOrTheOverlappedOffset) {
  const TempFolder folder;
  Handle file = open_file(folder.path("f"), kReadWrite, kCreateAlways);
  std::uint32_t done = 0;
  EXPECT_TRUE(write_some(file, "abcdef", &done));
  EXPECT_EQ(done, 6u);
  Overlapped at = overlapped_at(1);
  EXPECT_TRUE(os->write_file(file, "XY", 2, &done, &at));
  EXPECT_TRUE(write_some(file, "g", &done));
  EXPECT_EQ(folder.content("f"), "aXYdefg");
  os->close_handle(file);
}

TEST(WriteFile, FailsWithDiskFullWhereThereIsNoRoom) {
  Handle file = open_file("/dev/full", kGenericWrite, kCreateAlways);
  ASSERT_NE(file, kInvalidHandle);
  std::uint32_t done = 99;
  EXPECT_FALSE(write_some(file, "abc", &done));
  EXPECT_EQ(os->get_last_error(), kErrorDiskFull);
  EXPECT_EQ(done, 0u);
  os->close_handle(file);
}

TEST(WriteFile, FailsOnAFileOpenedForReading) {
  const TempFolder folder;
  Handle file = open_file(folder.make("f", "abc"), kGenericRead);
  std::uint32_t done = 99;
  EXPECT_FALSE(write_some(file, "x", &done));
  EXPECT_EQ(done, 0u);
  EXPECT_FALSE(os->set_end_of_file(file));
  EXPECT_EQ(os->get_last_error(), kErrorAccessDenied);
  EXPECT_EQ(folder.content("f"), "abc");
  os->close_handle(file);
}

TEST(SetFilePointer, MovesFromTheThreeOriginsAndBeyondFourGigabytes) {
  const TempFolder folder;
  Handle file = open_file(folder.make("f", "abcdef"), kReadWrite);
  EXPECT_EQ(seek(file, 4, kSeekBegin), 4u);
  EXPECT_EQ(seek(file, -1, kSeekCurrent), 3u);
  EXPECT_EQ(read_some(file, 9), "def");
  EXPECT_EQ(seek(file, 0, kSeekCurrent), 6u);
  EXPECT_EQ(seek(file, -2, kSeekEnd), 4u);
  EXPECT_EQ(seek(file, 0x1234567890, kSeekBegin), 0x1234567890u);
  EXPECT_EQ(seek(file, 0, kSeekCurrent), 0x1234567890u);
  EXPECT_EQ(os->get_last_error(), 0u);
  os->close_handle(file);
}

TEST(SetFilePointer, ReachesAllOnesWithoutAnError) {
  const TempFolder folder;
  Handle file = open_file(folder.make("f", ""), kGenericRead);
  std::int32_t high = 0;
  EXPECT_EQ(os->set_file_pointer(file, -1, &high, kSeekBegin), 0xFFFFFFFFu);
  EXPECT_EQ(os->get_last_error(), 0u);
  EXPECT_EQ(high, 0);
  os->close_handle(file);
}

TEST(SetFilePointer, RefusesAPositionBeforeTheStartAndStays) {
  const TempFolder folder;
  Handle file = open_file(folder.make("f", "abc"), kGenericRead);
  seek(file, 2, kSeekBegin);
  std::int32_t high = -1;
  EXPECT_EQ(os->set_file_pointer(file, -3, &high, kSeekCurrent), 0xFFFFFFFFu);
  EXPECT_EQ(os->get_last_error(), kErrorNegativeSeek);
  EXPECT_EQ(high, -1);
  high = 0;
  EXPECT_EQ(os->set_file_pointer(file, 0, &high, 7), 0xFFFFFFFFu);
  EXPECT_EQ(os->get_last_error(), kErrorInvalidParameter);
  EXPECT_EQ(seek(file, 0, kSeekCurrent), 2u);
  os->close_handle(file);
}

TEST(SetEndOfFile, CutsAndExtendsAtThePointer) {
  const TempFolder folder;
  Handle file = open_file(folder.make("f", "abcdef"), kReadWrite);
  seek(file, 2, kSeekBegin);
  EXPECT_TRUE(os->set_end_of_file(file));
  EXPECT_EQ(folder.content("f"), "ab");
  seek(file, 4, kSeekBegin);
  EXPECT_TRUE(os->set_end_of_file(file));
  EXPECT_EQ(folder.content("f"), std::string("ab\0\0", 4));
  os->close_handle(file);
}

TEST(DeleteFile, TellsMissingFileFromMissingFolder) {
  const TempFolder folder;
  EXPECT_TRUE(os->delete_file(folder.make("f", "").c_str()));
  EXPECT_FALSE(os->delete_file(folder.path("f").c_str()));
  EXPECT_EQ(os->get_last_error(), kErrorFileNotFound);
  EXPECT_FALSE(os->delete_file(folder.path("x/f").c_str()));
  EXPECT_EQ(os->get_last_error(), kErrorPathNotFound);
  EXPECT_FALSE(os->delete_file(folder.path(".").c_str()));
  EXPECT_FALSE(os->delete_file(""));
  EXPECT_EQ(os->get_last_error(), kErrorPathNotFound);
}

TEST(StandardHandles, ShareTheSystemsPointerWithOtherPrograms) {
  const TempFolder folder;
  const std::string name = folder.make("f", "abcdef");
  const int fd = open(name.c_str(), O_RDONLY);
  {
    const Redirect input(0, fd);
    Handle handle = os->get_std_handle(kStdInput);
    EXPECT_EQ(os->get_file_type(handle), kFileTypeDisk);
    EXPECT_EQ(read_some(handle, 2), "ab");
    EXPECT_EQ(seek(handle, 1, kSeekCurrent), 3u);
    EXPECT_EQ(lseek(fd, 0, SEEK_CUR), 3);
    EXPECT_EQ(read_some(handle, 9), "def");
    EXPECT_EQ(seek(handle, 0xFFFFFFFF, kSeekBegin), 0xFFFFFFFFu);
    EXPECT_EQ(os->get_last_error(), 0u);
  }
  close(fd);
  EXPECT_EQ(os->get_std_handle(5), kInvalidHandle);
}

class PipeEnds : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(pipe(ends_), 0); }
  void TearDown() override {
    for (const int end : ends_) {
      if (end >= 0) close(end);
    }
  }
  void close_end(int which) {
    close(ends_[which]);
    ends_[which] = -1;
  }
  int ends_[2] = {-1, -1};
};

TEST_F(PipeEnds, PositioningFailsAndReadingGoesOnInOrder) {
  ASSERT_EQ(write(ends_[1], "abcdef", 6), 6);
  const Redirect input(0, ends_[0]);
  Handle handle = os->get_std_handle(kStdInput);
  std::int32_t high = 3;
  EXPECT_EQ(os->set_file_pointer(handle, 0, &high, kSeekBegin), 0xFFFFFFFFu);
  EXPECT_NE(os->get_last_error(), 0u);
  EXPECT_EQ(high, 3);
  EXPECT_EQ(read_some(handle, 2), "ab");
  EXPECT_EQ(read_some(handle, 100), "cdef");  // what is there, without waiting for more
}

TEST_F(PipeEnds, ReadingEndsWithBrokenPipeWhenTheWriterHasClosed) {
  close_end(1);
  const Redirect input(0, ends_[0]);
  std::uint32_t done = 99;
  char byte = 0;
  EXPECT_FALSE(os->read_file(os->get_std_handle(kStdInput), &byte, 1, &done, nullptr));
  EXPECT_EQ(os->get_last_error(), kErrorBrokenPipe);
  EXPECT_EQ(done, 0u);
}

TEST_F(PipeEnds, WaitsForDataOnADescriptorThatDoesNotBlock) {
  ASSERT_EQ(fcntl(ends_[0], F_SETFL, O_NONBLOCK), 0);
  const Redirect input(0, ends_[0]);
  std::thread writer([this] {
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    ASSERT_EQ(write(ends_[1], "late", 4), 4);
  });
  EXPECT_EQ(read_some(os->get_std_handle(kStdInput), 10), "late");
  writer.join();
}

TEST_F(PipeEnds, WritesAllToASlowReaderOnADescriptorThatDoesNotBlock) {
  ASSERT_EQ(fcntl(ends_[1], F_SETFL, O_NONBLOCK), 0);
  const std::string text = test::pattern_bytes(300000);
  std::string got;
  std::thread reader([&] {
    char part[5000];
    while (got.size() < text.size()) {
      const ssize_t n = read(ends_[0], part, sizeof part);
      ASSERT_GT(n, 0);
      got.append(part, static_cast<std::size_t>(n));
    }
  });
  bool ok = false;
  std::uint32_t done = 0;
  {
    const Redirect output(1, ends_[1]);
    ok = write_some(os->get_std_handle(kStdOutput), text, &done);
  }
  reader.join();
  EXPECT_TRUE(ok);
  EXPECT_EQ(done, text.size());
  EXPECT_TRUE(got == text);
}

TEST_F(PipeEnds, WritingWithoutAReaderIsACodeAndNoSignal) {
  close_end(0);
  bool ok = true;
  std::uint32_t done = 99;
  std::uint32_t code = 0;
  {
    const Redirect output(1, ends_[1]);
    ok = write_some(os->get_std_handle(kStdOutput), "abc", &done);
    code = os->get_last_error();
  }
  EXPECT_FALSE(ok);
  EXPECT_EQ(done, 0u);
  EXPECT_EQ(code, kErrorNoData);
  sigset_t set;
  sigpending(&set);
  EXPECT_EQ(sigismember(&set, SIGPIPE), 0);
  pthread_sigmask(SIG_SETMASK, nullptr, &set);
  EXPECT_EQ(sigismember(&set, SIGPIPE), 0);
  struct sigaction action;
  sigaction(SIGPIPE, nullptr, &action);
  EXPECT_EQ(action.sa_handler, SIG_DFL);
}

TEST_F(PipeEnds, ASignalThatTheProgramHadPendingStaysPending) {
  close_end(0);
  sigset_t pipe_only;
  sigset_t before;
  sigemptyset(&pipe_only);
  sigaddset(&pipe_only, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &pipe_only, &before);
  raise(SIGPIPE);
  std::uint32_t done = 0;
  {
    const Redirect output(1, ends_[1]);
    write_some(os->get_std_handle(kStdOutput), "abc", &done);
  }
  sigset_t pending;
  sigpending(&pending);
  EXPECT_EQ(sigismember(&pending, SIGPIPE), 1);
  int signal_number = 0;
  sigwait(&pipe_only, &signal_number);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

}  // namespace
}  // namespace fsort
