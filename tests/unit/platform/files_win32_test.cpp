// What Windows adds to files: overlapped and unbuffered handles, long names, names in UTF-8, names the system
// spells in more than one way.
#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <string>
#include <thread>

#include "platform/os.h"
#include "platform/win32/win32_internal.h"
#include "support/std_handles.h"
#include "support/temp_folder.h"
#include "unit/platform/file_calls.h"

namespace fsort::test {
namespace {

constexpr std::uint32_t kDirect = kFlagSequentialScan | kFlagOverlapped | kFlagNoBuffering;
constexpr std::size_t kSector = 512;
constexpr std::uint32_t kBlock = 64 * kSector;

// A file opened as work files are, with requests that are aligned to sectors.
class DirectFile : public ::testing::Test {
 protected:
  void open(const std::string& name, std::uint32_t access, std::uint32_t disposition) {
    const std::uint32_t share = access == kGenericRead ? kShareRead : 0;
    file_ = os->create_file(name.c_str(), access, share, nullptr, disposition, kDirect, nullptr);
    ASSERT_NE(file_, kInvalidHandle) << os->get_last_error();
    for (Overlapped& o : requests_) o.event = os->create_event(nullptr, false, false, nullptr);
  }
  void close() {
    if (file_ == kInvalidHandle) return;
    for (const Overlapped& o : requests_) os->close_handle(o.event);
    EXPECT_TRUE(os->flush_file_buffers(file_) || os->get_last_error() == kErrorAccessDenied);
    EXPECT_TRUE(os->close_handle(file_));
    file_ = kInvalidHandle;
  }
  void TearDown() override { close(); }
  Overlapped* at(std::size_t request, std::uint64_t offset) {
    requests_[request].offset_low = static_cast<std::uint32_t>(offset);
    requests_[request].offset_high = static_cast<std::uint32_t>(offset >> 32);
    return &requests_[request];
  }
  std::uint8_t* block(std::size_t i) { return blocks_[i].data(); }
  // The bytes that a started request transfers; all ones when it fails.
  std::uint32_t finished(bool at_once, std::size_t request, std::uint32_t done) {
    if (at_once) return done;
    if (os->get_last_error() != kErrorIoPending) return kFailed;
    return os->get_overlapped_result(file_, &requests_[request], &done, true) ? done : kFailed;
  }
  static constexpr std::uint32_t kFailed = 0xFFFFFFFF;

  TempFolder folder_;
  Handle file_ = kInvalidHandle;

 private:
  struct alignas(4096) Block : std::array<std::uint8_t, kBlock> {};
  std::array<Overlapped, 3> requests_{};
  std::array<Block, 3> blocks_{};
};

TEST_F(DirectFile, TakesSeveralWritesAtOnceAndGivesThemBack) {
  const std::string name = folder_.path("work");
  open(name, kGenericWrite, kCreateNew);
  bool at_once[3];
  std::uint32_t done[3] = {};
  std::uint32_t code[3] = {};
  for (std::size_t i = 0; i < 3; ++i) {
    std::fill_n(block(i), kBlock, static_cast<std::uint8_t>('a' + i));
    at_once[i] = os->write_file(file_, block(i), kBlock, &done[i], at(i, i * kBlock));
    code[i] = os->get_last_error();
  }
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_TRUE(at_once[i] || code[i] == kErrorIoPending) << code[i];
    EXPECT_TRUE(at_once[i] || os->get_overlapped_result(file_, at(i, i * kBlock), &done[i], true));
    EXPECT_EQ(done[i], kBlock);
  }
  close();
  const std::string expected = std::string(kBlock, 'a') + std::string(kBlock, 'b') + std::string(kBlock, 'c');
  EXPECT_TRUE(folder_.content("work") == expected);
}

TEST_F(DirectFile, ReadsUpToItsEndAndEndsWithEndOfFileThere) {
  const std::string content = pattern_bytes(2 * kBlock + kSector);
  open(folder_.make("work", content), kGenericRead, kOpenExisting);
  std::uint32_t done = 0;
  for (std::size_t i = 0; i < 3; ++i) {
    const bool at_once = os->read_file(file_, block(i), kBlock, &done, at(i, i * kBlock));
    const std::uint32_t wanted = i < 2 ? kBlock : static_cast<std::uint32_t>(kSector);
    ASSERT_EQ(finished(at_once, i, done), wanted) << i;
    EXPECT_TRUE(std::string(block(i), block(i) + wanted) == content.substr(i * kBlock, wanted)) << i;
  }
  bool ok = os->read_file(file_, block(0), kBlock, &done, at(0, 3 * kBlock));
  if (!ok && os->get_last_error() == kErrorIoPending) {
    ok = os->get_overlapped_result(file_, at(0, 3 * kBlock), &done, true);
  }
  EXPECT_FALSE(ok);
  EXPECT_EQ(os->get_last_error(), kErrorHandleEof);
  EXPECT_EQ(done, 0u);
}

TEST_F(DirectFile, RefusesEveryOtherOpenWhileItIsWritten) {
  const std::string name = folder_.path("work");
  open(name, kGenericWrite, kCreateNew);
  EXPECT_EQ(open_code(name, kGenericRead), kErrorSharingViolation);
  EXPECT_FALSE(os->delete_file(name.c_str()));
  EXPECT_EQ(os->get_last_error(), kErrorSharingViolation);
  close();
  EXPECT_EQ(open_code(name, kGenericRead), 0u);
  EXPECT_TRUE(os->delete_file(name.c_str()));
}

TEST(WholeWrites, GoThroughAPipeToASlowReader) {
  Pipe pipe;
  const std::string text = pattern_bytes(3u << 20);
  std::string got;
  std::thread reader([&] {
    while (got.size() < text.size()) {
      const std::string part = pipe.reader.read(5000);
      if (part.empty()) break;
      got += part;
    }
  });
  std::uint32_t done = 0;
  bool ok = false;
  {
    const StdRedirect output(Standard::kOutput, pipe.writer);
    ok = write_some(os->get_std_handle(kStdOutput), text, &done);
  }
  pipe.writer.close();
  reader.join();
  EXPECT_TRUE(ok);
  EXPECT_EQ(done, text.size());
  EXPECT_TRUE(got == text);
}

// Folders whose names together are longer than the system takes without a prefix, made by the short way.
class LongNames : public ::testing::Test {
 protected:
  void SetUp() override {
    before_ = std::filesystem::current_path();
    std::filesystem::current_path(folder_.path(""));
    for (int i = 0; i < 4; ++i) relative_ += std::string(60, static_cast<char>('a' + i)) + "\\";
    std::filesystem::path deep = L"\\\\?\\" + std::filesystem::path(folder_.path("")).wstring();
    for (int i = 0; i < 4; ++i) {
      deep /= std::string(60, static_cast<char>('a' + i));
      std::filesystem::create_directory(deep);
    }
  }
  void TearDown() override {
    std::filesystem::current_path(before_);
    std::error_code ignored;
    std::filesystem::remove_all(L"\\\\?\\" + std::filesystem::path(folder_.path("")).wstring(), ignored);
  }
  void expect_usable(const std::string& name) {
    ASSERT_GT(name.size(), 248u);
    Handle file = open_file(name, kGenericWrite, kCreateNew);
    ASSERT_NE(file, kInvalidHandle) << name << ": " << os->get_last_error();
    std::uint32_t done = 0;
    EXPECT_TRUE(write_some(file, "abc", &done));
    os->close_handle(file);
    file = open_file(name, kGenericRead);
    EXPECT_EQ(read_some(file, 9), "abc");
    os->close_handle(file);
    EXPECT_TRUE(os->delete_file(name.c_str()));
    EXPECT_EQ(open_code(name, kGenericRead), kErrorFileNotFound);
  }
  TempFolder folder_;
  std::string relative_;
  std::filesystem::path before_;
};

TEST_F(LongNames, AreTakenFromTheCurrentFolder) { expect_usable(relative_ + "a file.txt"); }

TEST_F(LongNames, AreTakenFromTheRootAndWithSlashes) {
  std::string name = folder_.path("") + relative_ + "a file.txt";
  for (char& c : name) {
    if (c == '\\') c = '/';
  }
  expect_usable(name);
}

// Switches the platform to UTF-8 for one test: the switch has no way back, so these tests run last.
TEST(ZUtf8Names, NameEveryFileOnceTheProgramSaysSo) {
  const TempFolder folder;
  win32::use_utf8_texts();
  ASSERT_TRUE(win32::utf8_texts());
  const std::string name = folder.path("") +
                           "gr\xC3\xB6\xC3\x9F"
                           "e \xE6\x96\x87.txt";
  EXPECT_EQ(open_code(name, kGenericWrite, kCreateNew), 0u) << name;
  EXPECT_TRUE(
      std::filesystem::exists(std::filesystem::path(folder.path("")) / L"gr\u00F6\u00DFe \u6587.txt"));
  EXPECT_EQ(open_code(name, kGenericRead), 0u);
  EXPECT_TRUE(os->delete_file(name.c_str()));
  EXPECT_EQ(open_code(folder.path("") + "\xFF.txt", kGenericRead), 123u);  // no text at all
}

}  // namespace
}  // namespace fsort::test
