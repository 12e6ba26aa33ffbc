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

// A closed work file with a record in it, and a file of somebody else.
class PlantedWorkFile : public WorkFiles {
 protected:
  void SetUp() override {
    WorkFiles::SetUp();
    victim_ = folder_.make("victim", "precious");
    // Made while the work file is there: a file made after its end may get its number.
    other_ = folder_.make("other", "precious");
    array_ = make_array(1);
    write_one(array_, 0, "mine");
    work_file_close(array_);
    std::filesystem::remove(path_of(1));
  }
  // Writing to the file and reading it must fail with their message; deleting it must leave what is there.
  void expect_refused() {
    push(array_, 0, "more");
    EXPECT_EQ(raised([this] { sublist_write(0, array_, 0); }).text(),
              with_system_text("Couldn't open working file for appending", kErrorAccessDenied));
    EXPECT_EQ(raised([this] { sublist_input_init(array_, 0); }).text(),
              with_system_text("Couldn't open working file for reading", kErrorAccessDenied));
    sublist_array_delete(array_);
    EXPECT_EQ(folder_.content("victim"), "precious");
    EXPECT_NE(std::filesystem::symlink_status(path_of(1)).type(), std::filesystem::file_type::not_found);
  }
  std::string victim_;
  std::string other_;
  SublistArray* array_ = nullptr;
};

TEST_F(PlantedWorkFile, ALinkToAnotherFileStopsTheSort) {
  std::filesystem::create_symlink(victim_, path_of(1));
  expect_refused();
}

TEST_F(PlantedWorkFile, APipeStopsTheSort) {
  ASSERT_EQ(mkfifo(path_of(1).c_str(), 0600), 0);
  expect_refused();
}

TEST_F(PlantedWorkFile, AnotherFileStopsTheSortAndKeepsItsContent) {
  std::filesystem::rename(other_, path_of(1));
  expect_refused();
  EXPECT_EQ(content_of(1), "precious");
}

}  // namespace
}  // namespace fsort::test
