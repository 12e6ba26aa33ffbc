// Memory relief: what is subdivided, what is written, what stays, and when nothing may happen.
#include "engine/relief.h"

#include "engine/record_memory.h"
#include "engine/tuning.h"
#include "levels_fixture.h"
#include "support/fault_os.h"

namespace fsort::test {
namespace {

constexpr std::uint64_t kEverything = std::uint64_t{1} << 40;

// Takes all that the stack can give without a segment beyond the plan.
void use_up(Stack* stack) {
  while (stk_space(stack, 64) != nullptr) {
  }
}

class Relief : public Levels {
 protected:
  // Records that begin with `letter` and are charged `bytes` in all.
  static Texts charged(char letter, std::uint64_t bytes) {
    constexpr std::uint64_t kOverhead = 5 + 9;
    Texts records;
    while (bytes != 0) {
      const std::uint64_t share = bytes >= 2048 ? 1024 : bytes;
      std::string text(share - kOverhead, '.');
      text[0] = letter;
      text[1] = static_cast<char>('a' + records.size());
      records.push_back(text);
      bytes -= share;
    }
    return records;
  }
  void feed_charged(char letter, std::uint64_t bytes) { feed(charged(letter, bytes)); }
};

TEST_F(Relief, ABinOfAtMostTheThresholdIsWrittenAndOneAboveItIsSubdivided) {
  start({});
  driver().subdivide_kb = 5;
  feed_charged('a', 6143);
  feed_charged('b', 6144);
  Sublist& at_most = bin_of("a.");
  Sublist& above = bin_of("b.");
  ASSERT_EQ(at_most.mem_bytes, 6143u);
  ASSERT_EQ(above.mem_bytes, 6144u);
  const std::uint32_t records = above.mem_count;
  empty_frames(0);
  EXPECT_EQ(at_most.child, nullptr);
  EXPECT_GT(at_most.file_count, 0u);
  EXPECT_EQ(at_most.mem_count, 0u);
  ASSERT_NE(above.child, nullptr);
  EXPECT_EQ(above.file_count, 0u);
  EXPECT_EQ(above.mem_count, 0u);
  EXPECT_EQ(above.mem_bytes, 0u);
  std::uint32_t below = 0;
  for (std::uint32_t i = 0; i < above.child->array.count; ++i) {
    const Sublist& bin = above.child->array.bins()[i];
    EXPECT_EQ(bin.mem_count, 0u);
    below += bin.file_count;
  }
  EXPECT_EQ(below, records);
  EXPECT_EQ(files_in_folder(), 2u) << "one work file a level";
}

TEST_F(Relief, ABinThatHasAChildIsSubdividedHoweverSmallItIs) {
  start({});
  feed_charged('a', 10000);
  driver().subdivide_kb = 5;
  empty_frames(0);
  Environment* child = bin_of("a.").child;
  ASSERT_NE(child, nullptr);
  feed({"ab only one more"});
  empty_frames(0);
  EXPECT_EQ(bin_of("a.").child, child);
  EXPECT_EQ(bin_of("a.").file_count, 0u);
  Sublist& below = child->array.bins()[child->steps[0].table[static_cast<unsigned char>('b')]];
  EXPECT_EQ(below.file_count, 2u);
}

TEST_F(Relief, SubdivisionTakesExactlyOneByte) {
  start({"-k", "'a'-'b'"});
  feed(Texts(200, std::string("ab") + std::string(100, 'a')));
  driver().subdivide_kb = 5;
  bin_of("ab").child = nullptr;
  empty_frames(0);
  Sublist* bin = &holding(level());
  ASSERT_NE(bin->child, nullptr);
  EXPECT_EQ(bin->child->step_count, 1u);
  EXPECT_EQ(bin->child->array.count, 3u);
}

TEST_F(Relief, UniqueDropsTheWholeListOfAUsedUpBinThatHasRecordsOnItsWorkFile) {
  start({"-u", "-k", "-c", "0-0"});
  feed({"a1", "a2"});
  empty_frames(0);
  Sublist& bin = bin_of("a");
  ASSERT_EQ(bin.file_count, 1u);
  feed({"a3", "a4", "a5"});
  const std::uint64_t mem_bytes = bin.mem_bytes;
  empty_frames(1);  // frame 0 stays: nothing is written, what happens to the list shows
  EXPECT_EQ(bin.mem_count, 0u);
  EXPECT_EQ(bin.head, nullptr);
  EXPECT_EQ(bin.file_count, 1u);
  EXPECT_EQ(bin.mem_bytes, mem_bytes) << "left as it was";
}

TEST_F(Relief, UniqueKeepsOnlyTheHeadOfAUsedUpBinWithoutRecordsOnItsWorkFile) {
  start({"-u", "-k", "-c", "0-0"});
  feed({"a1", "a2", "a3"});
  Sublist& bin = bin_of("a");
  const std::uint64_t mem_bytes = bin.mem_bytes;
  empty_frames(1);
  EXPECT_EQ(texts_of(bin), Texts{"a3"});
  EXPECT_EQ(bin.mem_count, 1u);
  EXPECT_EQ(bin.file_count, 0u);
  EXPECT_EQ(bin.mem_bytes, mem_bytes) << "left as it was";
}

TEST_F(Relief, WithoutUniqueAUsedUpBinIsWrittenWhole) {
  start({"-k", "-c", "0-0"});
  feed({"a1", "a2", "a3"});
  empty_frames(0);
  EXPECT_EQ(bin_of("a").file_count, 3u);
  EXPECT_EQ(bin_of("a").mem_bytes, 0u);
}

TEST_F(Relief, AnExhaustedKeyMovesOnToTheNextOneAndTheBinKeepsItsPlace) {
  start({"-k", "-c", "1-0", "-k", "'a'-'c'", "-c", "2-2"});
  driver().subdivide_kb = 0;
  Texts records;
  for (int i = 0; i < 30; ++i) records.push_back(std::string("xy") + "abc"[i % 3] + std::string(200, '.'));
  feed(records);
  empty_frames(0);
  Sublist& first = bin_of("xy");  // by byte 1
  ASSERT_NE(first.child, nullptr);
  Sublist& second = holding(first.child);  // by byte 0: the key walked backwards has ended
  EXPECT_EQ(second.key, 0u);
  EXPECT_EQ(static_cast<std::int16_t>(second.position), -2);
  ASSERT_NE(second.child, nullptr);
  EXPECT_EQ(second.child->steps[0].key, 1u);
  EXPECT_EQ(second.child->steps[0].position, 0);
  EXPECT_EQ(second.child->array.count, 4u);
}

TEST_F(Relief, AnExhaustedLastKeyGetsNoChildAndTheBinIsWrittenAsItStands) {
  start({"-k", "-c", "1-0"});
  driver().subdivide_kb = 0;
  feed(Texts(30, "xy" + std::string(200, '.')));
  empty_frames(0);
  Sublist& first = bin_of("xy");
  ASSERT_NE(first.child, nullptr);
  Sublist& second = holding(first.child);
  EXPECT_EQ(second.child, nullptr);
  EXPECT_EQ(second.key, 0u);
  EXPECT_EQ(static_cast<std::int16_t>(second.position), -2);
  EXPECT_EQ(second.file_count, 30u);
}

TEST_F(Relief, AnExhaustedLastKeyUnderUniqueKeepsOne) {
  start({"-u", "-k", "-c", "1-0"});
  driver().subdivide_kb = 0;
  feed(Texts(30, "xy" + std::string(200, '.')));
  empty_frames(0);
  EXPECT_EQ(holding(bin_of("xy").child).file_count, 1u);
}

TEST_F(Relief, TheBinUnderItsProcessorIsWrittenButGetsNoChild) {
  start({});
  driver().subdivide_kb = 5;
  feed_charged('a', 20000);
  feed_charged('b', 20000);
  sort_state().protected_level = level();
  sort_state().protected_bin = index_of("a");
  empty_frames(0);
  EXPECT_EQ(bin_of("a.").child, nullptr);
  EXPECT_GT(bin_of("a.").file_count, 0u);
  EXPECT_NE(bin_of("b.").child, nullptr);
}

TEST_F(Relief, WithoutMemoryForALevelTheBinIsLeftAndWritten) {
  start({"-m", "1"});
  driver().subdivide_kb = 5;
  feed_charged('a', 20000);
  while (stk_segments(levels()) < kLevelSegments) {
    if (stk_space(levels(), stk_segment_size()) == nullptr) stk_newseg();
  }
  use_up(levels());
  const std::uint32_t records = bin_of("a.").mem_count;
  empty_frames(0);
  EXPECT_EQ(bin_of("a.").child, nullptr);
  EXPECT_EQ(bin_of("a.").file_count, records);
}

TEST_F(Relief, ALevelGetsASegmentBeyondThePlan) {
  start({"-m", "1"});
  driver().subdivide_kb = 5;
  feed_charged('a', 20000);
  use_up(levels());
  ASSERT_LT(stk_segments(levels()), kLevelSegments);
  empty_frames(0);
  EXPECT_NE(bin_of("a.").child, nullptr);
}

TEST_F(Relief, FramesBelowTheFloorKeepTheirRecords) {
  start({"-m", "300"});
  feed({"a old"});
  ASSERT_TRUE(stk_push(data()));
  feed({"a mine", "b mine"});
  driver().frame_floor = 1;
  free_memory(kEverything);
  EXPECT_EQ(texts_of(bin_of("a")), Texts{"a old"});
  EXPECT_EQ(bin_of("a").file_count, 1u);
  EXPECT_EQ(bin_of("b").file_count, 1u);
  EXPECT_EQ(stk_frames(data()), 2u) << "the floor, and a frame for what comes next";
  feed({"a next"});
  driver().frame_floor = 1;
  free_memory(kEverything);
  EXPECT_EQ(texts_of(bin_of("a")), Texts{"a old"});
  EXPECT_EQ(bin_of("a").file_count, 2u);
}

TEST_F(Relief, NothingHappensWhileThereIsRoom) {
  start({"-m", "300"});
  feed({"a"});
  free_memory(stk_max(data()));
  EXPECT_EQ(bin_of("a").mem_count, 1u);
  free_memory(stk_max(data()) + 1);
  EXPECT_EQ(bin_of("a").mem_count, 0u);
}

TEST_F(Relief, NothingHappensAfterReadAhead) {
  start({"-m", "300"});
  feed({"a"});
  instance().sublist.preload_done = 1;
  free_memory(kEverything);
  EXPECT_EQ(bin_of("a").mem_count, 1u);
  EXPECT_EQ(files_in_folder(), 0u);
}

TEST_F(Relief, NothingHappensDuringAListSort) {
  start({"-m", "300"});
  feed({"a"});
  driver().in_list_sort = 1;
  free_memory(kEverything);
  EXPECT_EQ(bin_of("a").mem_count, 1u);
}

TEST_F(Relief, NothingHappensWhileABinIsEmitted) {
  start({"-m", "300"});
  feed({"a"});
  sort_state().emitting = 1;
  free_memory(kEverything);
  EXPECT_EQ(bin_of("a").mem_count, 1u);
}

// Frames of one record each on top of the first one.
TEST_F(Relief, AtTheEndOfTheEstimateWhileInputGoesOnEverythingIsReleased) {
  start({"-m", "300"});
  feed({"a first"});
  for (const char* text : {"a1", "a2", "a3", "a4"}) {
    ASSERT_TRUE(stk_push(data()));
    ASSERT_NE(stk_space(data(), 60 * 1024), nullptr);
    feed({text});
  }
  driver().data_left = 0;
  driver().reading_input = 1;
  free_memory(stk_max(data()) + 1);
  EXPECT_EQ(bin_of("a").mem_count, 0u);
  EXPECT_EQ(bin_of("a").file_count, 5u);
  EXPECT_EQ(driver().data_left, driver().memory_kb * 1024);
}

TEST_F(Relief, WithLittleDataLeftOnlyTheNewestFrameIsReleased) {
  start({"-m", "600"});
  feed({"a first"});
  for (const char* text : {"a1", "a2", "a3", "a4"}) {
    ASSERT_TRUE(stk_push(data()));
    ASSERT_NE(stk_space(data(), 60 * 1024), nullptr);
    feed({text});
  }
  while (stk_extend(levels())) {
  }
  driver().data_left = 0;
  free_memory(stk_max(data()) + 1);
  EXPECT_EQ(texts_of(bin_of("a")), (Texts{"a first", "a1", "a2", "a3"})) << "what stays turns around";
  EXPECT_EQ(bin_of("a").file_count, 1u);
}

TEST_F(Relief, WithMemoryGivenASortNeverGrows) {
  start({"-m", "300"});
  feed({"a"});
  const std::uint64_t room = stk_max(data());
  free_memory(room + 1);
  EXPECT_EQ(bin_of("a").file_count, 1u);
  EXPECT_EQ(stk_segments(data()) + stk_segments(levels()) + stk_unused(), 300u / 91 + 3);
}

TEST_F(Relief, WithoutMemoryGivenASortGrowsBeforeItWritesAnything) {
  start({"-fs", "1"});
  feed({"a"});
  while (stk_extend(data())) {
  }
  ASSERT_NE(stk_space(data(), stk_free_bytes(data())), nullptr);
  const std::uint32_t before = stk_segments(data());
  free_memory(1);
  EXPECT_EQ(bin_of("a").mem_count, 1u);
  EXPECT_EQ(files_in_folder(), 0u);
  EXPECT_TRUE(stk_extend(data()));
  EXPECT_EQ(stk_segments(data()), before + 1);
}

TEST_F(Relief, WithoutMemoryGivenASortWritesOnceItHasItsShareOfTheMachine) {
  start({"-fs", "1"});
  feed({"a"});
  driver().machine_kb = 1000;  // half of it is five segments
  std::uint32_t grown = 0;
  for (; bin_of("a").file_count == 0; ++grown) {
    ASSERT_LT(grown, 20u);
    while (stk_extend(data())) {
    }
    ASSERT_NE(stk_space(data(), stk_free_bytes(data())), nullptr);
    free_memory(1);
  }
  EXPECT_GT(grown, 0u);
  EXPECT_EQ(files_in_folder(), 1u);
  EXPECT_LE((stk_segments(data()) + stk_segments(levels())) * 91u, 500u);
}

TEST_F(Relief, SubdividingIsShownAboveTheLinesOfTheLevel) {
  start({"-v"});
  driver().verbosity = 100;
  driver().subdivide_kb = 5;
  feed_charged('a', 20000);
  clear_displayed();
  empty_frames(0);
  ASSERT_GE(displayed().size(), 1u);
  EXPECT_TRUE(displayed()[0].starts_with("Subdivide\n") || displayed()[0].starts_with(" Subdivide\n"))
      << displayed()[0];
  EXPECT_EQ(driver().depth, 0) << "back where it was";
}

// Directions. Key 0 of -n is the sign; its lower half is processed with the digits running downward.
class ReliefOfNumbers : public Relief {
 protected:
  void start_with_numbers(const Texts& options) {
    start(options);
    driver().subdivide_kb = 0;
    Texts records;
    for (int i = 0; i < 60; ++i) {
      records.push_back(std::to_string(10 + i) + std::string(100, ' '));
      records.push_back(std::to_string(-10 - i) + std::string(100, ' '));
    }
    feed(records);
    const Sublist* bins = level()->array.bins();
    for (std::uint32_t i = 0; i < level()->array.count; ++i) {
      if (bins[i].mem_count == 0) continue;
      (negative_ == 0 ? negative_ : positive_) = i;
    }
    ASSERT_LT(negative_, positive_);
  }
  // True when the child over this bin runs its digits downward.
  bool runs_downward(std::uint32_t bin) {
    const Environment* child = level()->array.bins()[bin].child;
    EXPECT_NE(child, nullptr);
    return child != nullptr && child->array.order_state == kOrderPermuted;
  }
  // The bins as they stand while the level is processed: the last one leaves first.
  void turn_around() {
    SublistArray& array = level()->array;
    array.lower_count = static_cast<std::uint16_t>((array.count + 1) / 2);
    array.kept_count = array.count;
    std::reverse(array.bins(), array.bins() + array.count);
    array.order_state = kOrderRearranged;
    negative_ = array.count - 1 - negative_;
    positive_ = array.count - 1 - positive_;
  }
  std::uint32_t negative_ = 0;
  std::uint32_t positive_ = 0;
};

TEST_F(ReliefOfNumbers, BeforeTheLevelIsProcessedTheLowerHalfIsSubdividedWithTheDigitsTurned) {
  start_with_numbers({"-n"});
  empty_frames(0);
  EXPECT_TRUE(runs_downward(negative_));
  EXPECT_FALSE(runs_downward(positive_));
  EXPECT_EQ(sort_state().descending, 0u) << "directions are put back";
}

TEST_F(ReliefOfNumbers, UnderADescendingSignTheUpperHalfLeavesFirstAndIsTheOneTurned) {
  start_with_numbers({"-n", "-i"});
  empty_frames(0);
  EXPECT_FALSE(runs_downward(negative_));
  EXPECT_TRUE(runs_downward(positive_));
}

TEST_F(ReliefOfNumbers, WhileTheLevelIsProcessedTheHalvesAreFoundByIndex) {
  start_with_numbers({"-n"});
  turn_around();
  empty_frames(0);
  EXPECT_TRUE(runs_downward(negative_));
  EXPECT_FALSE(runs_downward(positive_));
}

TEST_F(ReliefOfNumbers, WhileABinOfTheFirstHalfIsProcessedTheOtherHalfIsSubdividedTheOtherWay) {
  start_with_numbers({"-n"});
  turn_around();
  level()->array.half_flipped = 1;
  ikey(0);
  empty_frames(0);
  EXPECT_TRUE(runs_downward(negative_));
  EXPECT_FALSE(runs_downward(positive_));
  ikey(0);
  EXPECT_EQ(sort_state().descending, 0u);
}

}  // namespace
}  // namespace fsort::test
