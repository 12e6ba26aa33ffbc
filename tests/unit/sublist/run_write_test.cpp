// Runs as they lie on a work file, byte for byte, and what stays in memory.
#include "unit/sublist/work_file_fixture.h"

namespace fsort::test {
namespace {

class RunWrite : public WorkFiles {
 protected:
  // The work file as it is on disk; its end is padded to whole sectors with zeros.
  std::string closed_content(SublistArray* array) {
    work_file_close(array);
    return content_of(array->file_number);
  }
  static std::string padded(std::string bytes, std::size_t size = 512) {
    bytes.resize(size, '\0');
    return bytes;
  }
};

TEST_F(RunWrite, ARunIsItsHeaderAndTheRecordsInListOrderTheLastOneMarked) {
  SublistArray* array = make_array(2);
  push_list(array, 1, {"b\n", "a longer line\n", "c\n"});
  sublist_write(0, array, 1);
  const std::string run =
      header(kNoRun, 0) + image("b\n", false) + image("a longer line\n", false) + image("c\n", true);
  EXPECT_EQ(closed_content(array), padded(run));
  EXPECT_EQ(array->bins()[1].run_pos, 0u);
  EXPECT_EQ(array->bins()[1].run_len, run.size());
}

TEST_F(RunWrite, EachRunNamesThePositionAndLengthOfTheSameBinsPreviousOne) {
  SublistArray* array = make_array(3);
  push(array, 2, "first");
  sublist_write(0, array, 2);
  push(array, 0, "other");
  sublist_write(0, array, 0);
  push(array, 2, "second");
  sublist_write(0, array, 2);
  const std::string one = header(kNoRun, 0) + image("first", true);
  const std::string two = header(kNoRun, 0) + image("other", true);
  const std::string three = header(0, static_cast<std::uint32_t>(one.size())) + image("second", true);
  EXPECT_EQ(array->bins()[2].run_pos, one.size() + two.size());
  EXPECT_EQ(closed_content(array), padded(one + two + three));
}

TEST_F(RunWrite, AFileThatIsAppendedToGoesOnBehindItsPaddedEnd) {
  SublistArray* array = make_array(1);
  push(array, 0, "first");
  sublist_write(0, array, 0);
  const std::string one = header(kNoRun, 0) + image("first", true);
  EXPECT_EQ(closed_content(array), padded(one));
  push(array, 0, "second");
  sublist_write(0, array, 0);
  EXPECT_EQ(array->bins()[0].run_pos, 512u);
  const std::string two = header(0, static_cast<std::uint32_t>(one.size())) + image("second", true);
  EXPECT_EQ(closed_content(array), padded(padded(one) + two, 1024));
}

TEST_F(RunWrite, CountsMoveFromMemoryToTheFileRecordByRecord) {
  SublistArray* array = make_array(1);
  push_list(array, 0, {"12345", "1234567890"});
  Sublist& bin = array->bins()[0];
  EXPECT_EQ(bin.mem_bytes, 19u + 24u);
  sublist_write(0, array, 0);
  EXPECT_EQ(bin.head, nullptr);
  EXPECT_EQ(bin.mem_count, 0u);
  EXPECT_EQ(bin.mem_bytes, 0u);
  EXPECT_EQ(bin.file_count, 2u);
  EXPECT_EQ(bin.file_bytes, 43u);
  EXPECT_EQ(sublist_longest_written(), 15);
  push(array, 0, "1");
  sublist_write(0, array, 0);
  EXPECT_EQ(sublist_longest_written(), 15) << "a shorter record does not lower the mark";
}

TEST_F(RunWrite, RecordsOfOlderFramesStayInMemoryWithTheirOrderTurnedAround) {
  SublistArray* array = make_array(1);
  push(array, 0, "old 1");
  push(array, 0, "old 2");
  ASSERT_TRUE(stk_push(data()));
  push(array, 0, "new 1");
  push(array, 0, "new 2");
  sublist_write(1, array, 0);
  const Sublist& bin = array->bins()[0];
  EXPECT_EQ(list_of(bin), (Texts{"old 1", "old 2"})) << "the list was old 2, old 1";
  EXPECT_EQ(bin.mem_count, 2u);
  EXPECT_EQ(bin.mem_bytes, 2u * (kHeader + 5 + 9));
  EXPECT_EQ(bin.file_count, 2u);
  EXPECT_EQ(closed_content(array), padded(header(kNoRun, 0) + image("new 2", false) + image("new 1", true)));
}

TEST_F(RunWrite, WhenAllRecordsAreOlderNoFileIsTouched) {
  SublistArray* array = make_array(1);
  push(array, 0, "old 1");
  push(array, 0, "old 2");
  const std::uint64_t opened = faults().calls(OsCall::kOpen);
  sublist_write(1, array, 0);
  EXPECT_EQ(list_of(array->bins()[0]), (Texts{"old 1", "old 2"}));
  EXPECT_EQ(array->file_exists, 0);
  EXPECT_EQ(faults().calls(OsCall::kOpen), opened);
  EXPECT_EQ(array->bins()[0].run_pos, kNoRun);
  EXPECT_EQ(files_in_folder(), 0u);
}

TEST_F(RunWrite, FramesBeyond255AreOneForTheRecordsThatNoteThem) {
  while (stk_frames(data()) < 300) ASSERT_TRUE(stk_push(data()));
  SublistArray* array = make_array(1);
  const std::uint8_t* record = push(array, 0, "deep");
  EXPECT_EQ(record[4], 255);
  sublist_write(290, array, 0);
  EXPECT_EQ(array->bins()[0].file_count, 1u);
  EXPECT_EQ(array->bins()[0].head, nullptr);
}

TEST_F(RunWrite, OpeningTheFileClaimsTheSpaceForAllThatIsInMemory) {
  SublistArray* array = make_array(2);
  push(array, 0, std::string(3000, 'a'));
  push(array, 1, std::string(7000, 'b'));
  sublist_write(0, array, 0);
  const std::uint64_t claimed = (3000 + kHeader + 9 + 7000 + kHeader + 9 + 511) / 512 * 512;
  EXPECT_EQ(std::filesystem::file_size(path_of(1)), claimed);
  EXPECT_EQ(closed_content(array).size(), 3072u) << "the rest is given back at the close";
}

TEST_F(RunWrite, AClaimThatFailsIsNoError) {
  SublistArray* array = make_array(1);
  push(array, 0, "text");
  faults().fail(OsCall::kSetEnd, 1, kErrorDiskFull);
  EXPECT_FALSE(raised([&] { sublist_write(0, array, 0); }).caught);
  EXPECT_TRUE(faults().struck());
  EXPECT_EQ(closed_content(array), padded(header(kNoRun, 0) + image("text", true)));
}

TEST_F(RunWrite, AFullDiskStopsTheSortWhileARunIsWritten) {
  SublistArray* array = make_array(1);
  for (int i = 0; i < 40; ++i) push(array, 0, std::string(500, 'x'));
  faults().limit_disk(6000);
  EXPECT_EQ(raised([&] { sublist_write(0, array, 0); }).texts,
            Texts{with_system_text("Space exhausted while writing work file", kErrorDiskFull)});
  faults().clear();
  sublist_array_delete(array);
  EXPECT_EQ(files_in_folder(), 0u);
}

TEST_F(RunWrite, AFullDiskThatShowsOnlyWhenTheFileIsClosedStopsTheSortToo) {
  SublistArray* array = make_array(1);
  push(array, 0, "small enough for the buffer");
  faults().limit_disk(0);
  EXPECT_FALSE(raised([&] { sublist_write(0, array, 0); }).caught);
  EXPECT_EQ(raised([&] { sublist_input_init(array, 0); }).texts,
            Texts{with_system_text("Space exhausted while writing work file", kErrorDiskFull)});
  EXPECT_EQ(faults().open_files(), 0u);
  EXPECT_EQ(array->file_state, kFileClosed);
  EXPECT_NE(state().output_buffer, nullptr) << "the module has its buffers back";
  faults().clear();
  sublist_array_delete(array);
  EXPECT_EQ(files_in_folder(), 0u);
}

}  // namespace
}  // namespace fsort::test
