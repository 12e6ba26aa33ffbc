// Work files among other users and links of a POSIX system.
#include <sys/stat.h>

#include "unit/sublist/work_file_fixture.h"

namespace fsort::test {
namespace {

using WorkFileOnPosix = WorkFiles;

TEST_F(WorkFileOnPosix, AnExistingLinkIsSteppedOverAndNothingIsCreatedBehindIt) {
  std::filesystem::create_symlink("nowhere", folder_.path(name_of(1)));
  SublistArray* array = make_array(1);
  write_one(array, 0, "mine");
  EXPECT_EQ(array->file_number, 2u);
  EXPECT_TRUE(std::filesystem::is_symlink(folder_.path(name_of(1))));
  EXPECT_FALSE(std::filesystem::exists(folder_.path("nowhere")));
}

TEST_F(WorkFileOnPosix, IsReadableByItsOwnerOnly) {
  const mode_t mask = umask(0);
  SublistArray* array = make_array(1);
  write_one(array, 0, "secret");
  umask(mask);
  struct stat info {};
  ASSERT_EQ(stat(path_of(1).c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777u, 0600u);
  work_file_close(array);
  write_one(array, 0, "more");
  ASSERT_EQ(stat(path_of(1).c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777u, 0600u) << "appending changes nothing";
}

}  // namespace
}  // namespace fsort::test
