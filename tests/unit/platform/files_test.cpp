// What files, pipes and standard handles do behind the table on every system.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "platform/os.h"
#include "support/std_handles.h"
#include "support/temp_folder.h"
#include "unit/platform/file_calls.h"

namespace fsort::test {
namespace {

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
  os->close_handle(writer);
  EXPECT_EQ(open_code(name, kGenericRead), 0u);
  EXPECT_EQ(folder.content("f"), "abc");
}

TEST(CreateFile, RefusesToCreateAFileThatExistsWhenItMustBeNew) {
  const TempFolder folder;
  const std::string name = folder.make("f", "abc");
  EXPECT_EQ(open_code(name, kGenericWrite, kCreateNew), kErrorFileExists);
  EXPECT_EQ(folder.content("f"), "abc");
  EXPECT_EQ(open_code(folder.path("new"), kGenericWrite, kCreateNew), 0u);
  EXPECT_EQ(folder.content("new"), "");
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

TEST(CreateFile, RefusesADispositionThatNobodyDefined) {
  const TempFolder folder;
  EXPECT_EQ(open_code(folder.path("f"), kGenericWrite, 99), kErrorInvalidParameter);
  EXPECT_EQ(folder.content("f"), "<missing>");
}

TEST(CreateFile, TakesBackslashesForFolderSeparators) {
  const TempFolder folder;
  std::filesystem::create_directory(folder.path("sub"));
  folder.make("sub/f", "abc");
  EXPECT_EQ(open_code(folder.path("sub\\f"), kGenericRead), 0u);
  EXPECT_TRUE(os->delete_file(folder.path("sub\\f").c_str()));
  EXPECT_EQ(folder.content("sub/f"), "<missing>");
}

TEST(GetFileType, TellsDiskDeviceAndPipe) {
  const TempFolder folder;
  Handle disk = open_file(folder.make("f", ""), kGenericRead);
  Handle device = open_file(kNullDevice, kGenericWrite, kCreateAlways);
  EXPECT_EQ(os->get_file_type(disk), kFileTypeDisk);
  EXPECT_EQ(os->get_file_type(device), kFileTypeChar);
  os->close_handle(disk);
  os->close_handle(device);
  {
    const StdRedirect input(Standard::kInput, pipe_with("abc"));
    EXPECT_EQ(os->get_file_type(os->get_std_handle(kStdInput)), kFileTypePipe);
  }
  EXPECT_EQ(os->get_file_type(nullptr), kFileTypeUnknown);
  EXPECT_EQ(os->get_last_error(), kErrorInvalidHandle);
}

TEST(WriteFile, FailsOnAFileOpenedForReading) {
  const TempFolder folder;
  Handle file = open_file(folder.make("f", "abc"), kGenericRead);
  std::uint32_t done = 99;
  EXPECT_FALSE(write_some(file, "x", &done));
  EXPECT_EQ(done, 0u);
  EXPECT_FALSE(os->set_end_of_file(file));
  EXPECT_NE(os->get_last_error(), 0u);
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
  EXPECT_EQ(seek(file, 0, kSeekEnd), 2u);
  seek(file, 4, kSeekBegin);
  EXPECT_TRUE(os->set_end_of_file(file));
  os->close_handle(file);
  EXPECT_EQ(folder.content("f"), std::string("ab\0\0", 4));
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
  const OpenFile other = OpenFile::to_read(name);
  {
    const StdRedirect input(Standard::kInput, other);
    Handle handle = os->get_std_handle(kStdInput);
    EXPECT_EQ(os->get_file_type(handle), kFileTypeDisk);
    EXPECT_EQ(read_some(handle, 2), "ab");
    EXPECT_EQ(seek(handle, 1, kSeekCurrent), 3u);
    EXPECT_EQ(other.position(), 3);
    EXPECT_EQ(read_some(handle, 9), "def");
    EXPECT_EQ(seek(handle, 0xFFFFFFFF, kSeekBegin), 0xFFFFFFFFu);
    EXPECT_EQ(os->get_last_error(), 0u);
  }
  EXPECT_EQ(os->get_std_handle(5), kInvalidHandle);
}

TEST(PipeEnds, PositioningFailsAndReadingGoesOnInOrder) {
  const StdRedirect input(Standard::kInput, pipe_with("abcdef"));
  Handle handle = os->get_std_handle(kStdInput);
  // From the current place or the end; what a move from the start says counts for nothing.
  for (const std::uint32_t origin : {kSeekCurrent, kSeekEnd}) {
    std::int32_t high = 3;
    EXPECT_EQ(os->set_file_pointer(handle, 0, &high, origin), 0xFFFFFFFFu);
    EXPECT_NE(os->get_last_error(), 0u);
    EXPECT_EQ(high, 3);
  }
  EXPECT_EQ(read_some(handle, 2), "ab");
  EXPECT_EQ(read_some(handle, 100), "cdef");  // what is there, without waiting for more
}

TEST(PipeEnds, ReadingEndsWithBrokenPipeWhenTheWriterHasClosed) {
  const StdRedirect input(Standard::kInput, pipe_with(""));
  std::uint32_t done = 99;
  char byte = 0;
  EXPECT_FALSE(os->read_file(os->get_std_handle(kStdInput), &byte, 1, &done, nullptr));
  EXPECT_EQ(os->get_last_error(), kErrorBrokenPipe);
  EXPECT_EQ(done, 0u);
}

TEST(PipeEnds, WritingWithoutAReaderIsItsOwnCode) {
  Pipe pipe;
  const StdRedirect output(Standard::kOutput, pipe.writer);
  pipe.reader.close();
  std::uint32_t done = 99;
  EXPECT_FALSE(write_some(os->get_std_handle(kStdOutput), "abc", &done));
  EXPECT_EQ(os->get_last_error(), kErrorNoData);  // never 109, which is the end of data where one reads
  EXPECT_EQ(done, 0u);
}

}  // namespace
}  // namespace fsort::test
