// What POSIX adds to files behind the Windows-shaped calls: permissions, descriptors, signals, /dev/full.
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
#include "support/std_handles.h"
#include "support/temp_folder.h"
#include "unit/platform/file_calls.h"

namespace fsort::test {
namespace {

// The permission bits of a file.
mode_t permissions(const std::string& name) {
  struct stat info {};
  EXPECT_EQ(stat(name.c_str(), &info), 0);
  return info.st_mode & 0777;
}

TEST(CreateFileOnPosix, MakesAFileThatMustBeNewReadableByItsOwnerOnly) {
  const TempFolder folder;
  const mode_t mask = umask(0);
  EXPECT_EQ(open_code(folder.path("private"), kGenericWrite, kCreateNew), 0u);
  EXPECT_EQ(open_code(folder.path("ordinary"), kGenericWrite, kCreateAlways), 0u);
  umask(mask);
  EXPECT_EQ(permissions(folder.path("private")), 0600u);
  EXPECT_EQ(permissions(folder.path("ordinary")), 0666u);
}

TEST(CreateFileOnPosix, RefusesFoldersEmptyNamesAndNamesThatAreTooLong) {
  const TempFolder folder;
  EXPECT_EQ(open_code(folder.path(""), kGenericRead), kErrorAccessDenied);
  EXPECT_EQ(open_code(folder.path("."), kGenericWrite, kCreateAlways), kErrorAccessDenied);
  EXPECT_EQ(open_code("", kGenericRead), kErrorPathNotFound);
  EXPECT_EQ(open_code(std::string(300, 'a'), kGenericRead), kErrorFilenameTooLong);
  EXPECT_EQ(open_code(std::string(5000, 'a'), kGenericRead), kErrorFilenameTooLong);
}

TEST(CreateFileOnPosix, NeverHandsOutAStandardDescriptor) {
  const TempFolder folder;
  const std::string name = folder.make("f", "abc");
  const StdRedirect no_input(Standard::kInput, OpenFile());
  Handle file = open_file(name, kGenericRead);
  EXPECT_EQ(os->get_std_handle(kStdInput), nullptr);
  EXPECT_EQ(fcntl(0, F_GETFD), -1);
  EXPECT_EQ(read_some(file, 10), "abc");
  os->close_handle(file);
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

TEST(ReadFileOnPosix, GivesNothingAtTheEndWithoutAndEndOfFileWithAnOverlappedRecord) {
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

TEST(WriteFileOnPosix, FollowsThePointerOrTheOverlappedOffset) {
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

TEST(WriteFileOnPosix, FailsWithDiskFullWhereThereIsNoRoom) {
  Handle file = open_file("/dev/full", kGenericWrite, kCreateAlways);
  ASSERT_NE(file, kInvalidHandle);
  std::uint32_t done = 99;
  EXPECT_FALSE(write_some(file, "abc", &done));
  EXPECT_EQ(os->get_last_error(), kErrorDiskFull);
  EXPECT_EQ(done, 0u);
  os->close_handle(file);
}

class PipesOnPosix : public ::testing::Test {
 protected:
  [[nodiscard]] int reader_fd() const { return static_cast<int>(ends_.reader.native()); }
  [[nodiscard]] int writer_fd() const { return static_cast<int>(ends_.writer.native()); }
  Pipe ends_;
};

TEST_F(PipesOnPosix, WaitsForDataOnADescriptorThatDoesNotBlock) {
  ASSERT_EQ(fcntl(reader_fd(), F_SETFL, O_NONBLOCK), 0);
  const StdRedirect input(Standard::kInput, ends_.reader);
  std::thread writer([this] {
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    ASSERT_EQ(write(writer_fd(), "late", 4), 4);
  });
  EXPECT_EQ(read_some(os->get_std_handle(kStdInput), 10), "late");
  writer.join();
}

TEST_F(PipesOnPosix, WritesAllToASlowReaderOnADescriptorThatDoesNotBlock) {
  ASSERT_EQ(fcntl(writer_fd(), F_SETFL, O_NONBLOCK), 0);
  const std::string text = pattern_bytes(300000);
  std::string got;
  std::thread reader([&] {
    char part[5000];
    while (got.size() < text.size()) {
      const ssize_t n = read(reader_fd(), part, sizeof part);
      ASSERT_GT(n, 0);
      got.append(part, static_cast<std::size_t>(n));
    }
  });
  bool ok = false;
  std::uint32_t done = 0;
  {
    const StdRedirect output(Standard::kOutput, ends_.writer);
    ok = write_some(os->get_std_handle(kStdOutput), text, &done);
  }
  reader.join();
  EXPECT_TRUE(ok);
  EXPECT_EQ(done, text.size());
  EXPECT_TRUE(got == text);
}

TEST_F(PipesOnPosix, WritingWithoutAReaderIsACodeAndNoSignal) {
  ends_.reader.close();
  bool ok = true;
  std::uint32_t done = 99;
  std::uint32_t code = 0;
  {
    const StdRedirect output(Standard::kOutput, ends_.writer);
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

TEST_F(PipesOnPosix, ASignalThatTheProgramHadPendingStaysPending) {
  ends_.reader.close();
  sigset_t pipe_only;
  sigset_t before;
  sigemptyset(&pipe_only);
  sigaddset(&pipe_only, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &pipe_only, &before);
  raise(SIGPIPE);
  std::uint32_t done = 0;
  {
    const StdRedirect output(Standard::kOutput, ends_.writer);
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
}  // namespace fsort::test
