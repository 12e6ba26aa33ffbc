// Reading a bin back: the order of runs, read-ahead, seeks inside the buffer, and what damage is noticed.
#include <fstream>

#include "stream/stream.h"
#include "unit/sublist/work_file_fixture.h"

namespace fsort::test {
namespace {

class RunRead : public WorkFiles {
 protected:
  static void write(SublistArray* array, std::uint16_t bin, const Texts& texts) {
    push_list(array, bin, texts);
    sublist_write(0, array, bin);
  }
  // The next record of the bin being read.
  static std::string next() {
    const std::uint8_t* record = sublist_input();
    return record == nullptr ? "<none>" : text_of(record);
  }
  // Overwrites bytes of a closed work file, past the engine.
  void patch(std::uint32_t number, std::streamoff at, const std::string& bytes) {
    std::fstream file(path_of(number), std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(at);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  }
  static Texts numbered(const std::string& name, int count, std::size_t width = 0) {
    Texts texts;
    for (int i = 0; i < count; ++i) {
      texts.push_back(name + std::to_string(1000 + i));
      if (texts.back().size() < width) texts.back().resize(width, '.');
    }
    return texts;
  }
};

TEST_F(RunRead, ABinWrittenThreeTimesYieldsTheNewestRunFirstAndEachInTheOrderWritten) {
  SublistArray* array = make_array(1);
  write(array, 0, {"a1", "a2", "a3"});
  write(array, 0, {"b1"});
  write(array, 0, {"c1", "c2"});
  EXPECT_EQ(array->bins()[0].file_count, 6u);
  EXPECT_EQ(read_bin(array, 0), (Texts{"c1", "c2", "b1", "a1", "a2", "a3"}));
  const Sublist& bin = array->bins()[0];
  EXPECT_EQ(bin.file_count, 0u);
  EXPECT_EQ(bin.file_bytes, 0u);
  EXPECT_EQ(bin.run_pos, kNoRun);
  EXPECT_EQ(bin.run_len, 0u);
}

TEST_F(RunRead, RecordsInMemoryComeBeforeThoseOnFile) {
  SublistArray* array = make_array(1);
  write(array, 0, {"filed"});
  push_list(array, 0, {"kept 1", "kept 2"});
  EXPECT_EQ(read_bin(array, 0), (Texts{"kept 1", "kept 2", "filed"}));
}

TEST_F(RunRead, RunsReadEndToEndAcrossAppendSessionsAndOtherArraysFiles) {
  SublistArray* array = make_array(2);
  SublistArray* other = make_array(1);
  Texts expected;
  for (int session = 0; session < 12; ++session) {
    const Texts run = numbered(std::string(1, static_cast<char>('a' + session)), 40, 50);
    write(array, 1, run);
    write(array, 0, {"x"});
    write(other, 0, {"y"});  // closes the array's file
    expected.insert(expected.begin(), run.begin(), run.end());
  }
  EXPECT_EQ(read_bin(array, 1), expected);
  EXPECT_EQ(read_bin(array, 0).size(), 12u);
}

TEST_F(RunRead, RecordsAreInRecordMemoryOfTheFrameTheyAreReadInto) {
  SublistArray* array = make_array(1);
  write(array, 0, {"one", "two"});
  while (stk_frames(data()) < 4) ASSERT_TRUE(stk_push(data()));
  sublist_input_init(array, 0);
  const std::uint8_t* record = sublist_input();
  EXPECT_EQ(record[4], 3) << "the number of the current frame replaces the mark";
  EXPECT_EQ(record[rec_total_length(record)], 0) << "a zero byte follows";
  record = sublist_input();
  EXPECT_EQ(record[4], 3);
}

TEST_F(RunRead, SeveralRunsInOneBufferAreReadBySeeksBackInsideIt) {
  SublistArray* array = make_array(1);
  // Many small runs within one 2 KB block, then one whose records cross its end.
  Texts expected;
  for (int run = 0; run < 30; ++run) {
    const Texts texts = {"r" + std::to_string(run) + "a", "r" + std::to_string(run) + "b"};
    write(array, 0, texts);
    expected.insert(expected.begin(), texts.begin(), texts.end());
  }
  const Texts crossing = numbered("x", 60, 70);
  write(array, 0, crossing);
  expected.insert(expected.begin(), crossing.begin(), crossing.end());
  const std::uint64_t reads = faults().calls(OsCall::kRead);
  EXPECT_EQ(read_bin(array, 0), expected);
  EXPECT_LE(faults().calls(OsCall::kRead) - reads, 16u) << "runs inside the buffer cost no transfer";
}

TEST_F(RunRead, ASeekBackInsideTheBufferDoesNotHideTheEndOfTheBuffer) {
  // Two runs side by side in the first block; the older one reaches beyond the block.
  SublistArray* array = make_array(1);
  const Texts older = numbered("old", 100, 60);
  write(array, 0, older);
  write(array, 0, {"new 1", "new 2"});
  sublist_input_init(array, 0);
  EXPECT_EQ(next(), "new 1");
  EXPECT_EQ(next(), "new 2");
  for (const std::string& text : older) ASSERT_EQ(next(), text);
  EXPECT_EQ(next(), "<none>");
}

TEST_F(RunRead, ReadAheadTakesTheAdjoiningRunsUpToButNotIncludingTheBoundary) {
  SublistArray* array = make_array(5);
  write(array, 4, {"4a", "4b"});
  write(array, 3, {"3a", "3b"});
  write(array, 2, {"2a"});
  write(array, 1, {"1a"});
  write(array, 0, {"0a"});
  sublist_array_preload(1);
  sublist_input_init(array, 4);
  EXPECT_EQ(next(), "4a");
  EXPECT_FALSE(sublist_preload_done());
  EXPECT_EQ(array->bins()[3].mem_count, 0u);
  EXPECT_EQ(next(), "4b");
  EXPECT_TRUE(sublist_preload_done());
  EXPECT_EQ(list_of(array->bins()[3]), (Texts{"3b", "3a"})) << "pushed on the front one by one";
  EXPECT_EQ(array->bins()[3].mem_bytes, 2u * (kHeader + 2 + 9));
  EXPECT_EQ(array->bins()[3].file_count, 0u);
  EXPECT_EQ(array->bins()[3].run_pos, kNoRun);
  EXPECT_EQ(list_of(array->bins()[2]), Texts{"2a"});
  EXPECT_EQ(array->bins()[1].mem_count, 0u) << "the boundary bin itself is not read ahead";
  EXPECT_EQ(array->bins()[0].mem_count, 0u);
  EXPECT_EQ(next(), "<none>");
  EXPECT_EQ(read_bin(array, 3), (Texts{"3b", "3a"}));
  EXPECT_EQ(read_bin(array, 1), Texts{"1a"});
}

TEST_F(RunRead, ReadAheadLeavesOutABinWhoseNewestRunLiesElsewhere) {
  SublistArray* array = make_array(4);
  write(array, 2, {"2 elsewhere"});
  write(array, 3, {"3a"});
  write(array, 1, {"1a"});
  sublist_array_preload(0);
  sublist_input_init(array, 3);
  EXPECT_EQ(next(), "3a");
  EXPECT_EQ(array->bins()[2].mem_count, 0u);
  EXPECT_EQ(list_of(array->bins()[1]), Texts{"1a"}) << "it follows directly on the file";
  EXPECT_EQ(read_bin(array, 2), Texts{"2 elsewhere"});
}

TEST_F(RunRead, ReadAheadTakesTheNewestRunOfABinAndLeavesItsOlderOnesOnFile) {
  SublistArray* array = make_array(3);
  write(array, 1, {"1 old"});
  write(array, 2, {"2a"});
  write(array, 1, {"1 new a", "1 new b"});
  sublist_array_preload(0);
  EXPECT_EQ(read_bin(array, 2), Texts{"2a"});
  EXPECT_EQ(array->bins()[1].mem_count, 2u);
  EXPECT_EQ(array->bins()[1].file_count, 1u);
  EXPECT_EQ(read_bin(array, 1), (Texts{"1 new b", "1 new a", "1 old"}));
}

TEST_F(RunRead, WithoutABoundaryBelowNothingIsReadAhead) {
  SublistArray* array = make_array(2);
  write(array, 1, {"1a"});
  write(array, 0, {"0a"});
  sublist_array_preload(1);
  EXPECT_EQ(read_bin(array, 1), Texts{"1a"});
  EXPECT_FALSE(sublist_preload_done());
  EXPECT_EQ(array->bins()[0].mem_count, 0u);
}

TEST_F(RunRead, TheStreamIsToldHowFarTheAdjoiningRunsReach) {
  SublistArray* array = make_array(3);
  write(array, 2, {std::string(3000, 'c')});
  write(array, 1, {std::string(3000, 'b')});
  write(array, 0, {std::string(30000, 'a')});
  sublist_array_preload(1);
  work_file_close(array);
  const std::uint64_t reads = faults().calls(OsCall::kRead);
  EXPECT_EQ(read_bin(array, 2), Texts{std::string(3000, 'c')});
  EXPECT_LE(faults().calls(OsCall::kRead) - reads, 4u) << "6 KB in blocks of 2 KB, not the 30 KB behind them";
}

TEST_F(RunRead, ARunThatWasCutShortIsAnUnexpectedEnd) {
  SublistArray* array = make_array(1);
  write(array, 0, numbered("r", 100, 60));
  work_file_close(array);
  std::filesystem::resize_file(path_of(1), 3000);
  sublist_input_init(array, 0);
  int records = 0;
  const Raised r = raised([&] {
    while (sublist_input() != nullptr) ++records;
  });
  EXPECT_EQ(r.texts, Texts{"Unexpected end of file on sio_read\n"});
  EXPECT_EQ(records, (3000 - 12) / static_cast<int>(60 + kHeader));
}

TEST_F(RunRead, AFileCutShortInTheMiddleOfARunHeaderIsAnUnexpectedEnd) {
  SublistArray* array = make_array(1);
  write(array, 0, {"a"});
  work_file_close(array);
  std::filesystem::resize_file(path_of(1), 7);
  sublist_input_init(array, 0);
  EXPECT_EQ(raised([&] { (void)sublist_input(); }).texts, Texts{"Unexpected end of file on sio_read\n"});
}

TEST_F(RunRead, ARecordShorterThanItsHeaderIsDamage) {
  for (const std::uint64_t length : {0u, 1u, 4u}) {
    SublistArray* array = make_array(1);
    write(array, 0, {"abc"});
    work_file_close(array);
    patch(array->file_number, 12, le(length, 2));
    sublist_input_init(array, 0);
    EXPECT_EQ(raised([&] { (void)sublist_input(); }).texts, Texts{"Error in file read\n"}) << length;
  }
}

TEST_F(RunRead, AKeyThatLiesBeyondItsRecordIsDamage) {
  SublistArray* array = make_array(1);
  write(array, 0, {"abc"});
  work_file_close(array);
  patch(1, 14, le(9, 2));
  sublist_input_init(array, 0);
  EXPECT_EQ(raised([&] { (void)sublist_input(); }).texts, Texts{"Error in file read\n"});
}

TEST_F(RunRead, AFileOverwrittenWithNoiseEndsInAMessageNotInAWildAccess) {
  for (int seed = 0; seed < 40; ++seed) {
    SublistArray* array = make_array(2);
    write(array, 0, numbered("a", 30, 40));
    write(array, 1, numbered("b", 30, 40));
    work_file_close(array);
    std::string noise = pattern_bytes(2000);
    std::rotate(noise.begin(), noise.begin() + seed * 31, noise.end());
    patch(array->file_number, seed * 40, noise);
    sublist_array_preload(0);
    sublist_input_init(array, 1);
    const Raised r = raised([&] {
      while (sublist_input() != nullptr) {
      }
    });
    static const Texts kKnown = {"Error in file read\n", "Unexpected end of file on sio_read\n",
                                 "Unable to allocate memory for data\n"};
    ASSERT_LE(r.texts.size(), 1u);
    ASSERT_EQ(r.caught, r.texts.size() == 1);
    if (r.caught) {
      EXPECT_EQ(std::count(kKnown.begin(), kKnown.end(), r.texts[0]), 1) << r.texts[0];
    }
    sublist_array_delete(array);
  }
}

TEST_F(RunRead, ReadThatTheDeviceRefusesStopsTheSort) {
  SublistArray* array = make_array(1);
  write(array, 0, {"abc"});
  work_file_close(array);
  faults().fail(OsCall::kRead, 1, kErrorIoDevice, Lasting::kForGood);
  EXPECT_EQ(raised([&] {
              sublist_input_init(array, 0);
              (void)sublist_input();
            }).texts,
            Texts{"Programming error in sio_read\n"});
}

TEST_F(RunRead, TransfersThatEndLateOrShortChangeNothing) {
  faults().defer_overlapped(true);
  faults().limit_read(700);
  SublistArray* array = make_array(2);
  Texts expected;
  for (int run = 0; run < 5; ++run) {
    const Texts texts = numbered(std::string(1, static_cast<char>('a' + run)), 50, 80);
    write(array, 1, texts);
    write(array, 0, {"x"});
    expected.insert(expected.begin(), texts.begin(), texts.end());
  }
  EXPECT_EQ(read_bin(array, 1), expected);
}

TEST_F(RunRead, TheLongestRecordSurvivesTheWayToTheFileAndBack) {
  run_windups();
  start({"-l", "200", "-wb", "2", "-rb", "3"});
  SublistArray* array = make_array(1);
  const std::string longest = pattern_bytes(65535 - kHeader);
  write(array, 0, {"short", longest, "", "short again"});
  EXPECT_EQ(sublist_longest_written(), 65535);
  EXPECT_EQ(array->bins()[0].file_bytes, 65544u + 19 + 14 + 25);
  EXPECT_EQ(read_bin(array, 0), (Texts{"short", longest, "", "short again"}));
}

}  // namespace
}  // namespace fsort::test
