// How many of the following bins are read back together.
#include "engine/sort_bin.h"
#include "levels_fixture.h"

namespace fsort::test {
namespace {

class Preload : public Levels {
 protected:
  // A level of bins with so many KB on their work file, the last one to be processed first.
  SublistArray* bins_of(const std::vector<std::uint64_t>& file_kb) {
    Environment* root = start({"-m", "10000"});
    SublistArray& array = root->array;
    array.count = static_cast<std::uint16_t>(file_kb.size());
    array.order_state = kOrderRearranged;
    for (std::size_t i = 0; i < file_kb.size(); ++i) array.bins()[i].file_bytes = file_kb[i] * 1024;
    sort_state().memory_reserve = 12345;
    instance().sublist.preload_done = 1;
    return &array;
  }
};

TEST_F(Preload, TakesBinsAsLongAsTheyFitWithOneSegmentToSpare) {
  // 1000 KB less 2 x 1000 / 91 = 21 kept back: 979. Eight bins are 800, and a ninth would need 900 + 91.
  SublistArray* array = bins_of(std::vector<std::uint64_t>(20, 100));
  EXPECT_EQ(preload(array, 1000), 12);
  EXPECT_EQ(sort_state().memory_reserve, (800u + 91u) * 1024u);
  EXPECT_FALSE(sublist_preload_done());
}

TEST_F(Preload, AnExactFitIsTaken) {
  SublistArray* array = bins_of({100, 788, 100});
  EXPECT_EQ(preload(array, 1000), 1) << "100 + 788 + 91 = 979";
  array->bins()[1].file_bytes += 1024;
  EXPECT_EQ(preload(array, 1000), 2);
}

TEST_F(Preload, TakesTheFirstBinEvenWhenItAloneIsTooLarge) {
  SublistArray* array = bins_of({1, 1, 50000});
  EXPECT_EQ(preload(array, 1000), 2);
}

TEST_F(Preload, ReachesTheLowestBinWhenAllFit) {
  SublistArray* array = bins_of({10, 10, 10});
  EXPECT_EQ(preload(array, 1000), 0);
}

TEST_F(Preload, CountsWhatIsInMemoryOnFileAndBelowAChild) {
  SublistArray* array = bins_of({10, 10, 100, 10});
  array->bins()[1].mem_bytes = 500 * 1024;
  Plan p{};
  plan(&p, 0, 1, 1000, 0, true);
  Environment* child = environment_make(level(), 1, p.steps, static_cast<std::uint16_t>(p.bins));
  ASSERT_NE(child, nullptr);
  child->array.bins()[5].file_bytes = 300 * 1024;
  array->bins()[2].child = child;
  EXPECT_EQ(preload(array, 700), 2) << "10 + 100 + 300; the next one has 510 more";
  EXPECT_EQ(preload(array, 1000), 2) << "1011 are more than 979: runs from before the child came count too";
  EXPECT_EQ(preload(array, 1200), 0) << "10 + 400 + 510 + 10";
  array->bins()[2].child = nullptr;
}

TEST_F(Preload, NumbersTheBinsInTheOrderOfProcessing) {
  SublistArray* array = bins_of({10, 10, 10, 10});
  EXPECT_EQ(preload(array, 1000), 0);
  for (std::uint16_t i = 0; i < 4; ++i) EXPECT_EQ(array->bins()[i].order, 3 - i);
}

TEST_F(Preload, ABinWithoutRecordsOnFileIsTakenAloneAndNothingElseHappens) {
  SublistArray* array = bins_of({10, 10, 0});
  sort_state().free_data_kb = 77;
  EXPECT_EQ(preload(array, 1000), 2);
  EXPECT_EQ(sort_state().memory_reserve, 12345u);
  EXPECT_EQ(sort_state().free_data_kb, 77u);
  EXPECT_EQ(array->bins()[2].order, 2) << "not numbered";
  EXPECT_FALSE(sublist_preload_done());
}

TEST_F(Preload, TellsDeeperLevelsWhatIsLeftOfTheDataMemory) {
  SublistArray* array = bins_of({10, 10});
  driver().data_memory_kb = 5000;
  static_cast<void>(preload(array, 1000));
  EXPECT_EQ(sort_state().free_data_kb, 5000u - 91u * (stk_segments(data()) + stk_segments(levels())));
  driver().data_memory_kb = 91;
  static_cast<void>(preload(array, 1000));
  EXPECT_EQ(sort_state().free_data_kb, 0u) << "never below nothing";
}

TEST_F(Preload, MakesRoomForWhatWillBeRead) {
  start({"-m", "300"});
  feed({"a", "b"});
  SublistArray& array = level()->array;
  const Sublist a = bin_of("a");
  const Sublist b = bin_of("b");
  array.count = 2;
  array.bins()[0] = b;
  array.bins()[1] = a;
  array.order_state = kOrderRearranged;
  array.bins()[1].file_bytes = 100 << 20;
  array.bins()[1].file_count = 1;
  driver().reading_input = 0;
  driver().data_left = 0;
  EXPECT_EQ(preload(&array, 300), 1);
  EXPECT_EQ(array.bins()[0].mem_count, 0u) << "the waiting bin was written out";
  EXPECT_EQ(array.bins()[0].file_count, 1u);
}

TEST_F(Preload, MakesNoRoomForWhatIsInMemoryAlready) {
  start({"-m", "300"});
  const std::uint64_t segment = instance().driver.segment_kb * std::uint64_t{1024};
  // Records fill the data stack until two segments are left: enough for 10 KB from the file and the segment
  // to spare, but not for that and the waiting bin's own bytes together.
  Texts many;
  while (many.size() * 1000 < stk_max(data()) - 2 * segment) many.push_back("b" + std::string(970, 'x'));
  feed({"a"});
  feed(many);
  SublistArray& array = level()->array;
  const Sublist a = bin_of("a");
  const Sublist b = bin_of("b");
  array.count = 2;
  array.bins()[0] = b;
  array.bins()[1] = a;
  array.order_state = kOrderRearranged;
  array.bins()[1].file_bytes = 10 * 1024;
  array.bins()[1].file_count = 1;
  driver().data_left = 0;
  ASSERT_GT(stk_max(data()), 10 * 1024 + segment);
  EXPECT_EQ(preload(&array, 100000), 0);
  ASSERT_GT(sort_state().memory_reserve, stk_max(data()));
  EXPECT_EQ(array.bins()[0].mem_count, many.size()) << "the waiting bin stays in memory";
  EXPECT_EQ(array.bins()[0].file_count, 0u);
}

TEST_F(Preload, MemoryOfAtMostWhatIsKeptBackIsUsedWhole) {
  // Segments of 1 KB would be kept back twice over: then nothing is kept back.
  SublistArray* array = bins_of({10, 10, 10});
  driver().segment_kb = 1;
  EXPECT_EQ(preload(array, 31), 0) << "10 + 10 + 10 + 1";
  EXPECT_EQ(preload(array, 30), 1);
}

}  // namespace
}  // namespace fsort::test
