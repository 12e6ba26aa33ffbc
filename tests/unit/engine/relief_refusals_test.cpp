// Memory relief that is refused something: the end of the stack, a level that no segment holds, memory,
// files. What cannot be subdivided is written as it stands; what cannot be written ends the sort with a
// message.
#include "engine/relief.h"

#include "engine/report.h"
#include "engine/sort_bin.h"
#include "levels_fixture.h"
#include "support/fault_os.h"

namespace fsort::test {
namespace {

constexpr std::uint64_t kEverything = std::uint64_t{1} << 40;
constexpr std::uint32_t kRecords = 60;

// Records of some 200 bytes that begin with `letter`, enough of them for a level.
Texts records_of(char letter) {
  Texts records;
  for (std::uint32_t i = 0; i < kRecords; ++i) {
    const std::string digits = std::to_string(1000 + i * 7919 % 1009);
    records.push_back(letter + digits + std::string(200, '.'));
  }
  return records;
}

class ReliefRefusals : public Levels {
 protected:
  // The records of a level and of all below it, which must all have been written.
  static std::uint64_t on_files(Environment& from) {
    std::uint64_t records = 0;
    for (std::uint32_t i = 0; i < from.array.count; ++i) {
      const Sublist& bin = from.array.bins()[i];
      EXPECT_EQ(bin.mem_count, 0u);
      records += bin.file_count + (bin.child != nullptr ? on_files(*bin.child) : 0);
    }
    return records;
  }
  // A level whose bin of 'a' is worth a level.
  void start_with_a_large_bin(const Texts& options) {
    start(options);
    driver().subdivide_kb = 5;
    feed(records_of('a'));
  }
  void use_up(Stack* stack) {
    while (stk_space(stack, 8) != nullptr) {
    }
  }
  void expect_left_and_written() {
    EXPECT_EQ(bin_of("a").child, nullptr);
    EXPECT_EQ(bin_of("a").file_count, kRecords);
    EXPECT_EQ(bin_of("a").mem_count, 0u);
  }
};

TEST_F(ReliefRefusals, AtTheEndOfTheCallersStackABinIsLeftAndWritten) {
  start_with_a_large_bin({});
  instance().stack.stack_limit = 0;
  empty_frames(0);
  expect_left_and_written();
}

TEST_F(ReliefRefusals, AtTheEndOfTheCallersStackALevelCannotBeSorted) {
  start({"-m", "1"});
  driver().plain_levels = 1;
  feed(records_of('a'));
  instance().stack.stack_limit = 0;
  const std::uint16_t bin = index_of("a");
  const Raised r = raised([&] { fsort(bin); });
  EXPECT_TRUE(r.caught);
  EXPECT_EQ(r.text(), "Stack Overflow\n");
  EXPECT_EQ(RecordsInOut::out, Texts{});
}

TEST_F(ReliefRefusals, ALevelThatNoSegmentHoldsIsNotMadeAndTheBinIsWritten) {
  start_with_a_large_bin({"-l", "7", "-m", "1000", "-k", "'a'-'b'", "-c", "0-0", "-k", "0-255", "-c", "1-"});
  ASSERT_LT(driver().bins_per_segment, 257u);
  empty_frames(0);
  expect_left_and_written();
  EXPECT_EQ(displayed(), Texts{});
}

TEST_F(ReliefRefusals, ASystemWithoutMemoryForALevelGetsTheBinWritten) {
  start_with_a_large_bin({"-m", "1"});
  use_up(levels());
  FaultOs faults;
  // What the regions hold that there are already is taken first.
  while (stk_segments(levels()) < 2000) {
    faults.fail(OsCall::kRegionAlloc, 1, kErrorNotEnoughMemory, Lasting::kForGood);
    stk_newseg();
    if (faults.struck()) break;
    use_up(levels());
  }
  ASSERT_TRUE(faults.struck());
  use_up(levels());
  driver().memory_kb = std::uint64_t{1} << 30;  // levels may grow: it is the system that refuses
  empty_frames(0);
  expect_left_and_written();
}

TEST_F(ReliefRefusals, ARequestLargerThanASegmentIsMetByWritingNotByGrowing) {
  start({"-fs", "1"});
  feed({"a"});
  while (stk_extend(data())) {
  }
  ASSERT_NE(stk_space(data(), stk_free_bytes(data())), nullptr);
  const std::uint32_t segments = stk_segments(data());
  free_memory(std::uint64_t{stk_segment_size()} + 1);
  EXPECT_EQ(bin_of("a").file_count, 1u);
  EXPECT_LE(stk_segments(data()), segments);
}

TEST_F(ReliefRefusals, ABinUsedUpUnderItsProcessorKeepsItsRecordsUnderUnique) {
  start({"-u", "-k", "-c", "0-0"});
  feed({"a1", "a2", "a3"});
  sort_state().protected_level = level();
  sort_state().protected_bin = index_of("a");
  empty_frames(1);  // frame 0 stays: nothing is written
  EXPECT_EQ(bin_of("a").mem_count, 3u);
}

TEST_F(ReliefRefusals, RecordsGoDownALevelOfSeveralStepsInOnePass) {
  start({"-fs", "1", "-rs", "1000", "-k", "'a'-'c'", "-c", "0-5"});
  ASSERT_EQ(level()->step_count, 1u);
  Texts records;
  for (int i = 0; i < 27; ++i) {
    records.push_back(std::string("a") + "abc"[i % 3] + "abc"[i / 3 % 3] + "abc"[i / 9]);
  }
  feed(records);
  Sublist& bin = bin_of("a");
  Plan p{};
  ASSERT_EQ(plan(&p, 0, 1, 1000000, 0, false), p.bins);
  ASSERT_GE(p.step_count, 3u);
  bin.child = environment_make(level(), p.step_count, p.steps, static_cast<std::uint16_t>(p.bins));
  ASSERT_NE(bin.child, nullptr);
  const Environment* child = bin.child;
  empty_frames(0);
  ASSERT_EQ(bin.child, child);
  EXPECT_EQ(bin.mem_count + bin.file_count, 0u);
  std::uint32_t filled = 0;
  for (std::uint32_t i = 0; i < child->array.count; ++i) {
    filled += child->array.bins()[i].file_count;
    EXPECT_LE(child->array.bins()[i].file_count, 1u) << "all of them are different in three bytes";
  }
  EXPECT_EQ(filled, 27u);
}

TEST_F(ReliefRefusals, ABinWithoutRecordsGivesNothing) {
  start({});
  feed({"b"});
  fsort(index_of("a"));
  EXPECT_EQ(RecordsInOut::out, Texts{});
  EXPECT_EQ(bin_of("b").mem_count, 1u);
}

// A level is to be made while every segment is taken and relief is over, so that nothing comes back.
class LevelsWithoutRoom : public ReliefRefusals {
 protected:
  void start_without_room() {
    start({"-m", "1"});
    driver().plain_levels = 1;
    feed(records_of('a'));
    use_up(data());
    use_up(levels());
    instance().sublist.preload_done = 1;
  }
};

TEST_F(LevelsWithoutRoom, ALevelAndItsFrameGetASegmentBeyondThePlan) {
  start_without_room();
  const std::uint32_t segments = stk_segments(levels());
  const std::uint16_t bin = index_of("a");
  const Raised r = raised([&] { fsort(bin); });
  EXPECT_FALSE(r.caught) << r.text();
  Texts sorted = records_of('a');
  std::sort(sorted.begin(), sorted.end());
  EXPECT_EQ(RecordsInOut::out, sorted);
  EXPECT_EQ(stk_segments(levels()), segments) << "given back behind the level";
}

TEST_F(LevelsWithoutRoom, WithoutASegmentTheSortEndsWithAMessage) {
  start_without_room();
  FaultOs faults;
  faults.fail(OsCall::kRegionAlloc, 1, kErrorNotEnoughMemory, Lasting::kForGood);
  const std::uint16_t bin = index_of("a");
  Raised r{};
  // What the regions hold that there are already is taken first.
  for (int i = 0; i < 2000 && !faults.struck(); ++i) {
    stk_newseg();
    use_up(levels());
  }
  ASSERT_TRUE(faults.struck());
  r = raised([&] { fsort(bin); });
  EXPECT_TRUE(r.caught);
  EXPECT_EQ(r.text(), std::string(kPathologicalText) + "\n");
  EXPECT_EQ(RecordsInOut::out, Texts{});
}

// Every call that relief makes of the system, refused in turn.
class RefusedRelief : public ReliefRefusals, public testing::WithParamInterface<OsCall> {};

TEST_P(RefusedRelief, EndsWithAMessageOrIsDoneAllTheSameAndLeavesNothing) {
  bool struck = true;
  int reported = 0;
  for (std::uint64_t n = 1; struck; ++n) {
    ASSERT_LT(n, 500u);
    FaultOs faults;
    start_with_a_large_bin({"-m", "300"});
    feed(records_of('b'));
    faults.fail(GetParam(), n, kErrorAccessDenied);
    const Raised r = raised([&] { free_memory(kEverything); });
    struck = faults.struck();
    faults.clear();
    if (r.caught) {
      EXPECT_FALSE(r.texts.empty()) << "call " << n;
      EXPECT_TRUE(struck);
      ++reported;
    } else {
      EXPECT_EQ(on_files(*level()), 2 * kRecords) << "call " << n;
    }
    run_windups();
    clear_displayed();
    EXPECT_EQ(files_in_folder(), 0u) << "call " << n;
    EXPECT_TRUE(faults.clean()) << "call " << n << "\n" << faults.alive();
  }
  const bool must = GetParam() == OsCall::kOpen || GetParam() == OsCall::kWrite;
  EXPECT_TRUE(!must || reported > 0);
}

std::string name_of(const testing::TestParamInfo<OsCall>& info) {
  static const char* const kNames[] = {"Opens",    "Reads",      "Writes",  "Results", "Events",
                                       "Closes",   "Seeks",      "Ends",    "Flushes", "Deletions",
                                       "Messages", "HeapBlocks", "Regions", "Versions"};
  return kNames[static_cast<std::size_t>(info.param)];
}

INSTANTIATE_TEST_SUITE_P(Of, RefusedRelief,
                         testing::Values(OsCall::kOpen, OsCall::kWrite, OsCall::kResult, OsCall::kEvent,
                                         OsCall::kClose, OsCall::kSeek, OsCall::kSetEnd, OsCall::kFlush,
                                         OsCall::kHeapAlloc, OsCall::kRegionAlloc),
                         name_of);

}  // namespace
}  // namespace fsort::test
