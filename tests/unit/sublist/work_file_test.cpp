// Which work file is open, under which name, and that nobody else's file is ever touched.
#include "sublist/work_file.h"

#include "unit/sublist/work_file_fixture.h"

namespace fsort::test {
namespace {

class WorkFile : public WorkFiles {
 protected:
  // How many streams on work files are open; more than one each way would need more than one buffer pair.
  [[nodiscard]] std::size_t open_files() { return faults().open_files(); }
};

TEST_F(WorkFile, NumbersCountFromOneAndAreWrittenInThreePlaces) {
  SublistArray* first = make_array(1);
  write_one(first, 0, "a");
  EXPECT_EQ(first->file_number, 1u);
  EXPECT_TRUE(std::filesystem::exists(path_of(1)));
  EXPECT_TRUE(path_of(1).ends_with(".001")) << path_of(1);
  for (const std::uint32_t number : {7u, 42u, 123u, 1000u}) {
    SublistArray* array = make_array(1);
    state().file_counter = number - 1;
    write_one(array, 0, "a");
    EXPECT_EQ(array->file_number, number);
    EXPECT_TRUE(std::filesystem::exists(path_of(number)));
    const std::string expected = number == 7 ? ".007" : number == 42 ? ".042" : "." + std::to_string(number);
    EXPECT_TRUE(path_of(number).ends_with(expected)) << path_of(number);
    sublist_array_delete(array);
    EXPECT_FALSE(std::filesystem::exists(path_of(number)));
  }
  sublist_array_delete(first);
  EXPECT_EQ(files_in_folder(), 0u);
}

TEST_F(WorkFile, AnExistingFileIsSteppedOverAndItsContentLeftAlone) {
  folder_.make(name_of(1), "somebody's");
  folder_.make(name_of(2), "");
  std::filesystem::create_directory(folder_.path(name_of(3)));
  SublistArray* array = make_array(1);
  write_one(array, 0, "mine");
  EXPECT_EQ(array->file_number, 4u);
  sublist_array_delete(array);
  EXPECT_EQ(folder_.content(name_of(1)), "somebody's");
  EXPECT_EQ(folder_.content(name_of(2)), "");
  EXPECT_EQ(files_in_folder(), 3u);
}

TEST_F(WorkFile, OneIsOpenForOutputAtMostAndTheBuffersMoveOver) {
  SublistArray* one = make_array(1);
  SublistArray* two = make_array(1);
  write_one(one, 0, "1a");
  EXPECT_EQ(state().open_output, one);
  EXPECT_EQ(state().output_buffer, nullptr);
  EXPECT_EQ(open_files(), 1u);
  write_one(two, 0, "2a");
  EXPECT_EQ(state().open_output, two);
  EXPECT_EQ(one->file_state, kFileClosed);
  EXPECT_EQ(open_files(), 1u);
  write_one(one, 0, "1b");
  EXPECT_EQ(one->file_state, kFileOutput);
  EXPECT_EQ(two->file_state, kFileClosed);
  EXPECT_EQ(open_files(), 1u);
  work_file_close(one);
  EXPECT_NE(state().output_buffer, nullptr);
  EXPECT_EQ(open_files(), 0u);
  EXPECT_EQ(read_bin(one, 0), (Texts{"1b", "1a"}));
  EXPECT_EQ(read_bin(two, 0), Texts{"2a"});
}

TEST_F(WorkFile, OneIsOpenForInputAtMostNextToOneForOutput) {
  SublistArray* one = make_array(1);
  SublistArray* two = make_array(1);
  SublistArray* three = make_array(1);
  write_one(one, 0, "1");
  write_one(two, 0, "2");
  write_one(three, 0, "3");
  sublist_input_init(one, 0);
  EXPECT_EQ(state().open_input, one);
  EXPECT_EQ(state().open_output, three);
  EXPECT_EQ(open_files(), 2u);
  sublist_input_init(two, 0);
  EXPECT_EQ(state().open_input, two);
  EXPECT_EQ(one->file_state, kFileClosed);
  EXPECT_EQ(open_files(), 2u);
  sublist_input_init(three, 0);
  EXPECT_EQ(state().open_output, nullptr) << "a file that is read is no longer open for output";
  EXPECT_EQ(three->file_state, kFileInput);
  EXPECT_EQ(open_files(), 1u);
  EXPECT_NE(state().output_buffer, nullptr);
}

TEST_F(WorkFile, WritingToTheFileThatIsReadClosesItForInputFirst) {
  SublistArray* array = make_array(2);
  write_one(array, 0, "0");
  write_one(array, 1, "1");
  sublist_input_init(array, 1);
  EXPECT_EQ(state().input_buffer, nullptr);
  write_one(array, 0, "more");
  EXPECT_EQ(state().open_input, nullptr);
  EXPECT_NE(state().input_buffer, nullptr);
  EXPECT_EQ(array->file_state, kFileOutput);
  EXPECT_EQ(open_files(), 1u);
  EXPECT_EQ(read_bin(array, 0), (Texts{"more", "0"}));
}

TEST_F(WorkFile, DeletingAnArrayClosesAndRemovesItsFileWhicheverWayItIsOpen) {
  SublistArray* read = make_array(1);
  SublistArray* written = make_array(1);
  write_one(read, 0, "r");
  write_one(written, 0, "w");
  sublist_input_init(read, 0);
  sublist_array_delete(read);
  EXPECT_EQ(state().open_input, nullptr);
  EXPECT_NE(state().input_buffer, nullptr);
  sublist_array_delete(written);
  EXPECT_EQ(state().open_output, nullptr);
  EXPECT_NE(state().output_buffer, nullptr);
  EXPECT_EQ(open_files(), 0u);
  EXPECT_EQ(files_in_folder(), 0u);
}

TEST_F(WorkFile, MissingFolderStopsTheSort) {
  run_windups();
  start_in(folder_.path("missing"), {});
  SublistArray* array = make_array(1);
  push(array, 0, "a");
  clear_displayed();
  EXPECT_EQ(raised([&] { sublist_write(0, array, 0); }).texts,
            Texts{with_system_text("Couldn't open working file for writing", kErrorPathNotFound)});
  EXPECT_EQ(array->file_exists, 0);
}

TEST_F(WorkFile, FolderThatMayNotBeWrittenToStopsTheSort) {
  SublistArray* array = make_array(1);
  push(array, 0, "a");
  faults().fail(OsCall::kOpen, 1, kErrorAccessDenied);
  EXPECT_EQ(raised([&] { sublist_write(0, array, 0); }).texts,
            Texts{with_system_text("Couldn't open working file for writing", kErrorAccessDenied)});
}

TEST_F(WorkFile, RemovedUnderTheRunningSortItCannotBeAppendedTo) {
  SublistArray* array = make_array(1);
  write_one(array, 0, "a");
  work_file_close(array);
  std::filesystem::remove(path_of(1));
  push(array, 0, "b");
  EXPECT_EQ(raised([&] { sublist_write(0, array, 0); }).texts,
            Texts{with_system_text("Couldn't open working file for appending", kErrorFileNotFound)});
  EXPECT_EQ(files_in_folder(), 0u);
}

TEST_F(WorkFile, RemovedUnderTheRunningSortItCannotBeRead) {
  SublistArray* array = make_array(1);
  write_one(array, 0, "a");
  work_file_close(array);
  std::filesystem::remove(path_of(1));
  EXPECT_EQ(raised([&] { sublist_input_init(array, 0); }).texts,
            Texts{with_system_text("Couldn't open working file for reading", kErrorFileNotFound)});
}

TEST_F(WorkFile, CloseThatTheSystemRefusesStopsTheSort) {
  SublistArray* array = make_array(1);
  write_one(array, 0, "a");
  faults().fail(OsCall::kClose, 1, kErrorIoDevice);
  EXPECT_EQ(raised([&] { work_file_close(array); }).texts,
            Texts{with_system_text("Error attempting to close file:Check disk space", kErrorIoDevice)});
  EXPECT_EQ(array->file_state, kFileClosed);
}

TEST_F(WorkFile, DroppingIgnoresWhatClosingReports) {
  SublistArray* array = make_array(1);
  write_one(array, 0, "a");
  faults().limit_disk(0);
  faults().fail(OsCall::kClose, 1, kErrorIoDevice);
  sublist_array_delete(array);
  EXPECT_EQ(array->file_exists, 0);
  EXPECT_EQ(files_in_folder(), 0u);
}

TEST_F(WorkFile, WindupClosesBothAndTheLevelsDeleteThemAfterwards) {
  SublistArray* read = make_array(1);
  SublistArray* written = make_array(1);
  write_one(read, 0, "r");
  write_one(written, 0, "w");
  sublist_input_init(read, 0);
  EXPECT_EQ(open_files(), 2u);
  sublist_windup(&instance());
  EXPECT_EQ(open_files(), 0u);
  EXPECT_EQ(files_in_folder(), 2u);
  sublist_array_delete(read);
  sublist_array_delete(written);
  EXPECT_EQ(files_in_folder(), 0u);
}

}  // namespace
}  // namespace fsort::test
