// What may stand under the name of a work file when it is opened again or deleted.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "platform/os.h"
#include "platform/posix/own_files.h"
#include "support/temp_folder.h"
#include "unit/platform/file_calls.h"

namespace fsort::test {
namespace {

constexpr std::uint32_t kDirect = kFlagNoBuffering | kFlagOverlapped;

// The code with which the name is opened again as a work file; 0 when it is.
std::uint32_t reopen_code(const std::string& name, std::uint32_t access, std::uint32_t flags = kDirect) {
  Handle file = os->create_file(name.c_str(), access, access == kGenericRead ? kShareRead : 0, nullptr,
                                kOpenExisting, flags, nullptr);
  if (file == kInvalidHandle) return os->get_last_error();
  os->close_handle(file);
  return 0;
}

bool is_link(const std::string& name) { return std::filesystem::is_symlink(name); }

class OwnFiles : public ::testing::Test {
 protected:
  void SetUp() override {
    work_ = folder_.path("work");
    victim_ = folder_.make("victim", "precious");
    ASSERT_EQ(open_code(work_, kGenericWrite, kCreateNew), 0u);
  }
  // Asks for the name in every way that a sort does: nothing but refusals may come.
  void expect_refused() {
    for (const std::uint32_t access : {kGenericRead, kGenericWrite}) {
      for (const std::uint32_t flags : {kDirect, kFlagNoBuffering, kFlagOverlapped}) {
        EXPECT_EQ(reopen_code(work_, access, flags), kErrorAccessDenied) << access << ' ' << flags;
      }
    }
    EXPECT_FALSE(os->delete_file(work_.c_str()));
    EXPECT_EQ(os->get_last_error(), kErrorAccessDenied);
    EXPECT_EQ(folder_.content("victim"), "precious");
  }
  TempFolder folder_;
  std::string work_;
  std::string victim_;
};

TEST_F(OwnFiles, AreOpenedAgainAndDeletedAsLongAsNobodyTouchesThem) {
  EXPECT_EQ(reopen_code(work_, kGenericWrite), 0u);
  EXPECT_EQ(reopen_code(work_, kGenericRead), 0u);
  EXPECT_TRUE(os->delete_file(work_.c_str()));
  EXPECT_FALSE(std::filesystem::exists(work_));
}

TEST_F(OwnFiles, AreNotFoundThroughALinkToAnotherFile) {
  std::filesystem::remove(work_);
  std::filesystem::create_symlink(victim_, work_);
  expect_refused();
  EXPECT_TRUE(is_link(work_));
}

TEST_F(OwnFiles, AreNotFoundThroughALinkToThemselves) {
  std::filesystem::rename(work_, folder_.path("moved"));
  std::filesystem::create_symlink("moved", work_);
  expect_refused();
  EXPECT_TRUE(is_link(work_));
  EXPECT_TRUE(std::filesystem::exists(folder_.path("moved")));
}

TEST_F(OwnFiles, AreNotTakenForAPipeAndNobodyWaitsForItsOtherEnd) {
  std::filesystem::remove(work_);
  ASSERT_EQ(mkfifo(work_.c_str(), 0600), 0);
  expect_refused();
  EXPECT_TRUE(std::filesystem::is_fifo(work_));
}

TEST_F(OwnFiles, AreNotTakenForAnotherFileOfTheSameUser) {
  std::filesystem::rename(victim_, work_);
  folder_.make("victim", "precious");
  expect_refused();
  EXPECT_EQ(folder_.content("work"), "precious");
}

TEST_F(OwnFiles, AreNotTakenForASecondNameOfAnotherFile) {
  std::filesystem::remove(work_);
  std::filesystem::create_hard_link(victim_, work_);
  expect_refused();
  EXPECT_TRUE(std::filesystem::exists(work_));
}

TEST_F(OwnFiles, AreNotTakenForAFolder) {
  std::filesystem::remove(work_);
  std::filesystem::create_directory(work_);
  expect_refused();
  EXPECT_TRUE(std::filesystem::is_directory(work_));
}

TEST_F(OwnFiles, ThatAreGoneAreMissingAndForgottenByTheirDeletion) {
  std::filesystem::remove(work_);
  EXPECT_EQ(reopen_code(work_, kGenericRead), kErrorFileNotFound);
  EXPECT_FALSE(os->delete_file(work_.c_str()));
  EXPECT_EQ(os->get_last_error(), kErrorFileNotFound);
  folder_.make("work", "somebody's");
  EXPECT_TRUE(os->delete_file(work_.c_str())) << "the name is like any other again";
}

TEST_F(OwnFiles, AreTheLatestThatWereCreatedUnderTheirName) {
  std::filesystem::rename(work_, folder_.path("earlier"));
  ASSERT_EQ(open_code(work_, kGenericWrite, kCreateNew), 0u);
  EXPECT_EQ(reopen_code(work_, kGenericWrite), 0u);
  EXPECT_TRUE(os->delete_file(work_.c_str()));
  EXPECT_TRUE(std::filesystem::exists(folder_.path("earlier")));
}

TEST_F(OwnFiles, AreKeptApartByTheirNames) {
  const std::string second = folder_.path("second");
  ASSERT_EQ(open_code(second, kGenericWrite, kCreateNew), 0u);
  std::filesystem::rename(second, work_);
  EXPECT_EQ(reopen_code(work_, kGenericRead), kErrorAccessDenied) << "a file of ours, but not this one";
  EXPECT_FALSE(os->delete_file(work_.c_str()));
  EXPECT_FALSE(os->delete_file(second.c_str()));
  EXPECT_TRUE(os->delete_file(work_.c_str()));
}

TEST_F(OwnFiles, OfAnotherProcessAreTakenWhenTheyAreTheUsersOwn) {
  EXPECT_EQ(reopen_code(victim_, kGenericRead), 0u);
  EXPECT_EQ(reopen_code(victim_, kGenericWrite), 0u);
  EXPECT_EQ(folder_.content("victim"), "precious");
  // Only root can give a file away.
  if (chown(victim_.c_str(), 12345, 12345) == 0) {
    EXPECT_EQ(reopen_code(victim_, kGenericRead), kErrorAccessDenied);
  }
}

TEST(FilesNamedByTheUser, MayBeLinks) {
  const TempFolder folder;
  folder.make("target", "abc");
  std::filesystem::create_symlink("target", folder.path("link"));
  Handle file = open_file(folder.path("link"), kGenericRead);
  ASSERT_NE(file, kInvalidHandle);
  EXPECT_EQ(read_some(file, 8), "abc");
  os->close_handle(file);
  EXPECT_EQ(open_code(folder.path("link"), kGenericWrite, kCreateAlways), 0u);
  EXPECT_TRUE(is_link(folder.path("link")));
  EXPECT_EQ(folder.content("target"), "");
}

TEST(FileNumbers, AreNotRememberedOnFileSystemsThatMakeThemUp) {
  constexpr long kExt4 = 0xEF53;
  constexpr long kNfs = 0x6969;
  EXPECT_TRUE(posix::keeps_file_numbers(kExt4));
  EXPECT_TRUE(posix::keeps_file_numbers(kNfs));
  for (const long made_up : {0x4d44L, 0x2011BAB0L, 0x65735546L}) {
    EXPECT_FALSE(posix::keeps_file_numbers(made_up)) << made_up;
  }
}

}  // namespace
}  // namespace fsort::test
