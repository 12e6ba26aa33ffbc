// What names lead to, and files that take the place of others, where the system has its limits.
#include <gtest/gtest.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "platform/os.h"
#include "platform/program.h"
#include "support/temp_folder.h"

namespace fsort::test {
namespace {

namespace fs = std::filesystem;

class ProgramFiles : public ::testing::Test {
 protected:
  static std::uint32_t error() { return os->get_last_error(); }

  TempFolder folder_;
  const std::string too_long_ = std::string(PATH_MAX, 'x');
};

TEST_F(ProgramFiles, ANameLongerThanTheSystemTakesIsRefusedByEveryCall) {
  const std::string file = folder_.make("file", "text");
  char real[PATH_MAX];
  EXPECT_EQ(program_file(too_long_.c_str()).kind, NamedKind::none);
  EXPECT_FALSE(program_real_name(too_long_.c_str(), real, sizeof real));
  EXPECT_EQ(error(), kErrorFilenameTooLong);
  EXPECT_FALSE(program_make_new(too_long_.c_str(), false));
  EXPECT_EQ(error(), kErrorFilenameTooLong);
  EXPECT_FALSE(program_make_ready(too_long_.c_str(), file.c_str()));
  EXPECT_EQ(error(), kErrorFilenameTooLong);
  EXPECT_FALSE(program_make_ready(file.c_str(), too_long_.c_str()));
  EXPECT_EQ(error(), kErrorFilenameTooLong);
  EXPECT_FALSE(program_replace(too_long_.c_str(), file.c_str()));
  EXPECT_EQ(error(), kErrorFilenameTooLong);
  EXPECT_FALSE(program_replace(file.c_str(), too_long_.c_str()));
  EXPECT_EQ(error(), kErrorFilenameTooLong);
  EXPECT_EQ(folder_.content("file"), "text");
}

TEST_F(ProgramFiles, ARealNameFollowsLinksAndLeavesOtherNamesAsTheyAre) {
  const std::string file = folder_.make("file", "");
  fs::create_symlink(file, folder_.path("link"));
  char real[PATH_MAX];
  ASSERT_TRUE(program_real_name(folder_.path("link").c_str(), real, sizeof real));
  EXPECT_EQ(std::string(real), fs::canonical(file));
  ASSERT_TRUE(program_real_name("no\\such/file", real, sizeof real));
  EXPECT_STREQ(real, "no/such/file");
}

TEST_F(ProgramFiles, ARealNameThatCannotBeToldIsRefused) {
  const std::string file = folder_.make("file", "");
  char real[PATH_MAX];
  EXPECT_FALSE(program_real_name(file.c_str(), real, file.size())) << "no room for its end";
  EXPECT_EQ(error(), kErrorFilenameTooLong);
  fs::create_symlink(folder_.path("missing"), folder_.path("dangling"));
  EXPECT_FALSE(program_real_name(folder_.path("dangling").c_str(), real, sizeof real));
  EXPECT_EQ(error(), kErrorFileNotFound);
  // A backslash in a name of the system's stands for itself; in ours it separates folders.
  folder_.make("back\\slash", "");
  fs::create_symlink("back\\slash", folder_.path("link"));
  EXPECT_FALSE(program_real_name(folder_.path("link").c_str(), real, sizeof real));
  EXPECT_EQ(error(), kErrorFilenameTooLong);
}

TEST_F(ProgramFiles, ANewFileIsNeverOneThatIsThereAndMayBePrivate) {
  const std::string name = folder_.path("new");
  ASSERT_TRUE(program_make_new(name.c_str(), true));
  struct stat info {};
  ASSERT_EQ(stat(name.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0600U);
  EXPECT_FALSE(program_make_new(name.c_str(), true));
  EXPECT_EQ(error(), kErrorFileExists);
}

TEST_F(ProgramFiles, AFileMadeReadyHasModeAndOwnerOfTheOneItIsToReplace) {
  const std::string made = folder_.make("made", "new");
  const std::string target = folder_.make("target", "old");
  const bool privileged = geteuid() == 0;
  constexpr uid_t kOther = 12345;
  ASSERT_TRUE(!privileged || chown(target.c_str(), kOther, kOther) == 0);
  ASSERT_EQ(chmod(target.c_str(), 0640), 0);
  ASSERT_TRUE(program_make_ready(made.c_str(), target.c_str()));
  struct stat info {};
  ASSERT_EQ(stat(made.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0640U);
  EXPECT_EQ(info.st_uid, privileged ? kOther : geteuid());
  EXPECT_EQ(folder_.content("target"), "old") << "not yet";
  ASSERT_TRUE(program_replace(made.c_str(), target.c_str()));
  EXPECT_EQ(folder_.content("target"), "new");
}

TEST_F(ProgramFiles, WhatIsNotThereCannotBeMadeReadyNorTakeAPlace) {
  const std::string target = folder_.make("target", "old");
  const std::string missing = folder_.path("missing");
  EXPECT_FALSE(program_make_ready(missing.c_str(), target.c_str()));
  EXPECT_EQ(error(), kErrorFileNotFound);
  EXPECT_FALSE(program_replace(missing.c_str(), target.c_str()));
  EXPECT_EQ(error(), kErrorFileNotFound);
  EXPECT_EQ(folder_.content("target"), "old");
}

TEST_F(ProgramFiles, EachStandardFileIsTheOneOfItsDescriptor) {
  constexpr std::int32_t kWhich[] = {kStdInput, kStdOutput, kStdError};
  for (int fd = 0; fd < 3; ++fd) {
    struct stat info {};
    ASSERT_EQ(fstat(fd, &info), 0);
    const NamedFile file = program_standard_file(kWhich[fd]);
    EXPECT_EQ(file.kind, S_ISREG(info.st_mode) ? NamedKind::regular : NamedKind::other);
    EXPECT_EQ(file.number, info.st_ino);
  }
}

}  // namespace
}  // namespace fsort::test
