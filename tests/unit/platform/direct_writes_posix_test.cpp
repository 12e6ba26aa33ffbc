// Long sequences of writes leave the page cache out; what a caller sees must stay the same.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "platform/os.h"
#include "platform/posix/direct_writer.h"
#include "support/temp_folder.h"

namespace fsort {
namespace {

using test::TempFolder;

constexpr std::size_t kLong = 13u << 20;  // far beyond what goes through the cache first
constexpr std::uint32_t kPiece = 60 * 1024;

std::string pattern(std::size_t bytes) {
  std::string text(bytes, '\0');
  std::uint32_t state = 12345;
  for (char& c : text) {
    state = state * 1664525 + 1013904223;
    c = static_cast<char>(state >> 24);
  }
  return text;
}

Handle create(const std::string& name) {
  return os->create_file(name.c_str(), kGenericWrite, 0, nullptr, kCreateAlways, kFlagSequentialScan,
                         nullptr);
}

// Writes `text` in pieces of `piece` bytes; the bytes that were taken before the first failure.
std::size_t write_pieces(Handle file, const std::string& text, std::uint32_t piece) {
  std::size_t at = 0;
  while (at < text.size()) {
    const auto count = static_cast<std::uint32_t>(std::min<std::size_t>(piece, text.size() - at));
    std::uint32_t done = 0;
    if (!os->write_file(file, text.data() + at, count, &done, nullptr)) return at;
    EXPECT_EQ(done, count);
    at += count;
  }
  return at;
}

std::uint64_t seek(Handle file, std::int64_t distance, std::uint32_t origin) {
  auto high = static_cast<std::int32_t>(distance >> 32);
  const std::uint32_t low =
      os->set_file_pointer(file, static_cast<std::int32_t>(distance & 0xFFFFFFFF), &high, origin);
  return static_cast<std::uint64_t>(static_cast<std::uint32_t>(high)) << 32 | low;
}

TEST(DirectWritesTest, LongSequencesArriveWhateverTheirPieces) {
  const TempFolder folder;
  for (const std::uint32_t piece : {kPiece, 1000u, 1u << 20, 3u << 20, (1u << 20) + 1}) {
    const std::string text = pattern(kLong + piece / 3);
    const std::string name = folder.path("out");
    Handle file = create(name);
    ASSERT_NE(file, kInvalidHandle);
    EXPECT_EQ(write_pieces(file, text, piece), text.size());
    EXPECT_TRUE(os->close_handle(file));
    EXPECT_TRUE(folder.content("out") == text) << piece;
  }
}

// Descriptors of this process that leave the page cache out at the moment.
int direct_descriptors() {
  int count = 0;
  for (int fd = 0; fd < 1024; ++fd) {
    const int flags = fcntl(fd, F_GETFL);
    if (flags >= 0 && (flags & O_DIRECT) != 0) ++count;
  }
  return count;
}

// True when the file system of the folder has another way than its cache.
bool writes_past_the_cache(const TempFolder& folder) {
  const int fd = open(folder.path("probe").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  EXPECT_GE(fd, 0);
  posix::DirectWriter* writer = posix::direct_open(fd, 0);
  if (writer != nullptr) {
    EXPECT_TRUE(posix::direct_finish(writer));
  }
  close(fd);
  return writer != nullptr;
}

TEST(DirectWritesTest, FilesThatAreReadBackSoonStayInTheCache) {
  const TempFolder folder;
  const std::string text = pattern(kLong);
  Handle output = create(folder.path("out"));
  EXPECT_EQ(write_pieces(output, text, kPiece), text.size());
  EXPECT_EQ(direct_descriptors() != 0, writes_past_the_cache(folder)) << "an output, for comparison";
  EXPECT_TRUE(os->close_handle(output));
  const std::string name = folder.path("work");
  Handle made =
      os->create_file(name.c_str(), kGenericWrite, 0, nullptr, kCreateNew, kFlagSequentialScan, nullptr);
  EXPECT_EQ(write_pieces(made, text, kPiece), text.size());
  EXPECT_EQ(direct_descriptors(), 0) << "a new private file";
  EXPECT_TRUE(os->close_handle(made));
  Handle appended =
      os->create_file(name.c_str(), kGenericWrite, 0, nullptr, kOpenExisting, kFlagNoBuffering, nullptr);
  seek(appended, 0, kSeekEnd);
  EXPECT_EQ(write_pieces(appended, text, kPiece), text.size());
  EXPECT_EQ(direct_descriptors(), 0) << "a file transferred in sectors";
  EXPECT_TRUE(os->close_handle(appended));
  EXPECT_TRUE(folder.content("work") == text + text);
}

TEST(DirectWritesTest, EverythingIsInTheFileWhenFinishWritesReturns) {
  const TempFolder folder;
  const std::string text = pattern(kLong + 77);
  const std::string name = folder.path("out");
  Handle file = create(name);
  EXPECT_EQ(write_pieces(file, text, kPiece), text.size());
  EXPECT_TRUE(os->finish_writes(file));
  EXPECT_TRUE(folder.content("out") == text);
  EXPECT_TRUE(os->close_handle(file));
}

TEST(DirectWritesTest, TheLengthCountsWhatWasWrittenJustNow) {
  const TempFolder folder;
  const std::string text = pattern(kLong + 5);
  Handle file = create(folder.path("out"));
  EXPECT_EQ(write_pieces(file, text, kPiece), text.size());
  EXPECT_EQ(seek(file, 0, kSeekEnd), text.size());
  EXPECT_TRUE(os->close_handle(file));
}

TEST(DirectWritesTest, AWriteElsewhereComesAfterThoseBefore) {
  const TempFolder folder;
  std::string text = pattern(kLong);
  const std::string name = folder.path("out");
  Handle file = create(name);
  EXPECT_EQ(write_pieces(file, text, kPiece), text.size());
  const std::string patch(5000, 'p');
  const std::size_t at = kLong - 12345;
  seek(file, static_cast<std::int64_t>(at), kSeekBegin);
  EXPECT_EQ(write_pieces(file, patch, kPiece), patch.size());
  text.replace(at, patch.size(), patch);
  EXPECT_TRUE(os->close_handle(file));
  EXPECT_TRUE(folder.content("out") == text);
}

TEST(DirectWritesTest, ACutFileKeepsWhatLiesBeforeTheCut) {
  const TempFolder folder;
  const std::string text = pattern(kLong);
  const std::string name = folder.path("out");
  Handle file = create(name);
  EXPECT_EQ(write_pieces(file, text, kPiece), text.size());
  seek(file, static_cast<std::int64_t>(kLong - 1000), kSeekBegin);
  EXPECT_TRUE(os->set_end_of_file(file));
  EXPECT_TRUE(os->close_handle(file));
  EXPECT_TRUE(folder.content("out") == text.substr(0, kLong - 1000));
}

// A disk that fills up, by way of the limit on the size of files.
class FullDisk {
 public:
  explicit FullDisk(rlim_t bytes) {
    getrlimit(RLIMIT_FSIZE, &before_);
    action_ = signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{bytes, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  FullDisk(const FullDisk&) = delete;
  FullDisk& operator=(const FullDisk&) = delete;
  ~FullDisk() {
    setrlimit(RLIMIT_FSIZE, &before_);
    signal(SIGXFSZ, action_);
  }

 private:
  rlimit before_{};
  sighandler_t action_;
};

TEST(DirectWritesTest, AFullDiskIsToldWithItsCodeAtAWriteOrAtTheEnd) {
  const TempFolder folder;
  const std::string text = pattern(kLong);
  for (const rlim_t limit : {rlim_t{8u << 20}, rlim_t{kLong - 100}, rlim_t{(6u << 20) + 100}}) {
    const FullDisk disk(limit);
    Handle file = create(folder.path("out"));
    const bool all_taken = write_pieces(file, text, kPiece) == text.size();
    const std::uint32_t at_write = all_taken ? 0 : os->get_last_error();
    const bool finished = os->finish_writes(file);
    const std::uint32_t at_end = finished ? 0 : os->get_last_error();
    EXPECT_TRUE(at_write == kErrorDiskFull || at_end == kErrorDiskFull)
        << limit << " " << at_write << " " << at_end;
    EXPECT_TRUE(os->close_handle(file)) << "told once";
  }
}

TEST(DirectWritesTest, AFailureThatNobodyAskedForShowsAtTheClose) {
  const TempFolder folder;
  const std::string text = pattern((8u << 20) + 3000);
  const FullDisk disk((8u << 20) + 100);
  Handle file = create(folder.path("out"));
  EXPECT_EQ(write_pieces(file, text, kPiece), text.size());
  EXPECT_FALSE(os->close_handle(file));
  EXPECT_EQ(os->get_last_error(), kErrorDiskFull);
}

TEST(DirectWritesTest, AWriterStartsOnBlockBordersOnly) {
  const TempFolder folder;
  const int fd = open(folder.path("out").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_GE(fd, 0);
  EXPECT_EQ(posix::direct_open(fd, 4095), nullptr);
  posix::DirectWriter* writer = posix::direct_open(fd, 4096);
  if (writer != nullptr) {
    EXPECT_EQ(posix::direct_end(writer), 4096u);
    EXPECT_TRUE(posix::direct_put(writer, "abc", 3));
    EXPECT_EQ(posix::direct_end(writer), 4099u);
    EXPECT_TRUE(posix::direct_finish(writer));
  }
  EXPECT_EQ(fcntl(fd, F_GETFL) & O_DIRECT, 0) << "the file is as it was";
  close(fd);
}

}  // namespace
}  // namespace fsort
