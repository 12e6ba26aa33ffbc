// The driver: options, memory plan, messages and the lines it shows.
#include "engine/driver.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "engine/report.h"
#include "engine_fixture.h"
#include "platform/os.h"
#include "support/temp_folder.h"

namespace fsort::test {
namespace {

constexpr const char* kInitTitle = "Error detected in fsort initialization\n";
constexpr const char* kCallTitle = "Error detected in fsort call\n";

class Driver : public EngineFixture {
 protected:
  // Initialisation must fail with this text.
  void expect_init_error(const Texts& options, const std::string& text) {
    clear_displayed();
    EXPECT_EQ(init(options), 1);
    EXPECT_EQ(displayed(), (Texts{text, kInitTitle}));
    run_windups();
  }
  [[nodiscard]] const DriverState& plan_state() { return instance().driver; }
};

TEST_F(Driver, SegmentLengthOf4194304KbFailsAnd4194303PassesThatTest) {
  expect_init_error({"-l", "4194304"}, "Segment length too large\n");
  clear_displayed();
  // It passes the length test; whether so large a segment can be had is the machine's answer.
  const int status = init({"-l", "4194303", "-m", "1"});
  if (status == 0) {
    EXPECT_EQ(plan_state().segment_kb, 4194303u);
  } else {
    EXPECT_EQ(displayed().front(), "Failed to allocate any memory\n");
  }
}

TEST_F(Driver, SegmentLengthOfZeroIsRefused) { expect_init_error({"-l", "0"}, "Segment length too small\n"); }

TEST_F(Driver, SegmentThatCannotHoldTheFirstLevelIsRefusedWhenTheSortStarts) {
  // 6 KB hold 91 bins; the default sequence needs 97.
  ASSERT_EQ(init({"-l", "6"}), 0);
  EXPECT_EQ(fsort_call(), 1);
  EXPECT_EQ(displayed(), (Texts{"Segment length too small\n", kCallTitle}));
}

TEST_F(Driver, LargeSegmentsKeepTheBinLimitInsteadOfWrappingIt) {
  ASSERT_EQ(init({"-l", "4097"}), 0);
  EXPECT_EQ(plan_state().bins_per_segment, 65535u);
}

TEST_F(Driver, QuietSuppressesTheTimingLines) {
  RecordsInOut::in = {"b\n", "a\n"};
  ASSERT_EQ(init({}), 0);
  EXPECT_EQ(fsort_call(), 0);
  EXPECT_EQ(displayed(), Texts{});
}

TEST_F(Driver, DefaultShowsTheTwoTimingLines) {
  RecordsInOut::in = {"b\n", "a\n"};
  ASSERT_EQ(init_exactly({}), 0);
  EXPECT_EQ(fsort_call(), 0);
  ASSERT_EQ(displayed().size(), 2u);
  EXPECT_TRUE(matches(displayed()[0], "system time = [0-9]+:[0-9][0-9]\n")) << displayed()[0];
  EXPECT_TRUE(matches(displayed()[1], "elapsed time = [0-9]+:[0-9][0-9]\n")) << displayed()[1];
}

TEST_F(Driver, VerboseShowsSegmentLengthAndOneLineForEachLevel) {
  RecordsInOut::in = {"b\n", "a\n"};
  ASSERT_EQ(init_exactly({"-v"}), 0);
  EXPECT_EQ(displayed(), Texts{"Segment length = 91\r\n"});
  EXPECT_EQ(fsort_call(), 0);
  ASSERT_GE(displayed().size(), 2u);
  EXPECT_EQ(displayed()[1].substr(0, 15), "k=0, d=0 si=0 d");
  EXPECT_TRUE(matches(displayed()[1],
                      "k=0, d=0 si=0 data=[0-9]+K sub=[0-9]+K unused=[0-9]+K #records=[0-9]+ bins=97\n"))
      << displayed()[1];
}

TEST_F(Driver, VerboseTakesALevelLimit) {
  ASSERT_EQ(init_exactly({"-v", "7"}), 0);
  EXPECT_EQ(plan_state().verbosity, 7);
}

TEST_F(Driver, UsageIsShownInTwoTextsAndStopsTheStart) {
  EXPECT_EQ(init({"-h", "-zz"}), 1);
  ASSERT_EQ(displayed().size(), 2u);
  EXPECT_EQ(displayed()[0].size(), 478u);
  EXPECT_EQ(displayed()[1].size(), 305u);
  EXPECT_EQ(displayed()[0], kUsageText1);
  EXPECT_EQ(displayed()[1], kUsageText2);
  expected_traps_left_ = 1;  // the trap of a start that showed the usage text stays set
}

TEST_F(Driver, OneLeftArgumentIsNamedAsInvalid) {
  expect_init_error({"-zz"}, "-zz is an invalid argument\n");
}

TEST_F(Driver, TwoLeftArgumentsAreJoinedByAnd) {
  expect_init_error({"a", "b"}, "a and b are invalid arguments\n");
}

TEST_F(Driver, ThreeLeftArgumentsAreJoinedByCommaAndAnd) {
  expect_init_error({"a", "b", "c"}, "a,b and c are invalid arguments\n");
}

TEST_F(Driver, ALongListOfLeftArgumentsIsShownWhole) {
  Texts many;
  std::string expected;
  for (int i = 0; i < 40; ++i) {
    many.push_back("argument" + std::to_string(10 + i));
    expected += (i == 0 ? "" : i == 39 ? " and " : ",") + many.back();
  }
  expect_init_error(many, expected + " are invalid arguments\n");
}

// Counts how often the engine asks for the machine's memory.
int memory_questions = 0;
const OsTable* real_os = nullptr;
void counted_memory_status(MemoryStatus* status) {
  ++memory_questions;
  real_os->global_memory_status(status);
}

class WithOsTable : public Driver {
 protected:
  void SetUp() override {
    real_os = os;
    table_ = *os;
    Driver::SetUp();
  }
  void TearDown() override {
    Driver::TearDown();
    os = real_os;
  }
  OsTable table_;
};

TEST_F(WithOsTable, MemoryOptionBypassesTheMachinesMemorySize) {
  table_.global_memory_status = counted_memory_status;
  os = &table_;
  memory_questions = 0;
  ASSERT_EQ(init({"-m", "1000"}), 0);
  EXPECT_EQ(memory_questions, 0);
  run_windups();
  ASSERT_EQ(init({}), 0);
  EXPECT_EQ(memory_questions, 1);
}

void tiny_memory_status(MemoryStatus* status) { status->total_phys = 8 * 1024 * 1024; }
void large_memory_status(MemoryStatus* status) { status->total_phys = std::uint64_t{64} << 30; }
std::uint32_t old_version() { return 3; }

TEST_F(WithOsTable, MachineMemoryIsHalvedBelow32MbAndLess32MbAbove) {
  table_.global_memory_status = tiny_memory_status;
  os = &table_;
  EXPECT_EQ(os_memsize(), 4096u);
  table_.global_memory_status = large_memory_status;
  EXPECT_EQ(os_memsize(), (std::uint64_t{64} << 20) - 32768);
}

TEST_F(WithOsTable, SystemsOlderThanVersionFourCountAs4Mb) {
  table_.get_version = old_version;
  os = &table_;
  EXPECT_EQ(os_memsize(), 4096u);
}

TEST_F(WithOsTable, WithoutMemoryOptionThePlanTakesNoMoreThanTheMachineHas) {
  table_.global_memory_status = tiny_memory_status;
  os = &table_;
  ASSERT_EQ(init({"-fs", "1g"}), 0);
  EXPECT_EQ(plan_state().memory_kb, (4096u / 91u + 3u) * 91u);
}

// Fails every heap allocation from a chosen one on.
int allocations_left = 0;
void* failing_alloc(std::size_t size) {
  if (allocations_left == 0) return nullptr;
  --allocations_left;
  return real_os->heap_alloc(size);
}

TEST_F(WithOsTable, EveryAllocationThatFailsInInitialisationEndsItWithAMessage) {
  table_.heap_alloc = failing_alloc;
  os = &table_;
  bool insufficient = false;
  int allowed = 0;
  for (;; ++allowed) {
    ASSERT_LT(allowed, 1000) << "initialisation never succeeded";
    clear_displayed();
    allocations_left = allowed;
    const int status = init({"-k", "-f", "1"});
    allocations_left = 1 << 30;
    if (status == 0) break;
    ASSERT_EQ(displayed().size(), 2u);
    EXPECT_EQ(displayed()[1], kInitTitle);
    insufficient = insufficient || displayed()[0] == "Insufficient memory available\n";
    run_windups();
  }
  EXPECT_GT(allowed, 5);
  EXPECT_TRUE(insufficient);
}

TEST_F(Driver, EightWindupsAreRegisteredSoASecondSortOnTheInstanceFails) {
  for (int i = 0; i < 12; ++i) ASSERT_EQ(ExitRegister([](Instance*) {}), 0);
  clear_displayed();
  EXPECT_EQ(init({}), 1);
  EXPECT_EQ(displayed(), (Texts{"Couldn't register fsort_windup\n", kInitTitle}));
}

TEST_F(Driver, ASortThatNeedsMoreThanItsMemoryUsesWorkFilesAndLeavesNone) {
  const TempFolder folder;
  Texts records;
  for (int i = 0; i < 6000; ++i)
    records.push_back("record number " + std::to_string(i) + std::string(200, 'x') + "\n");
  const Texts out = sort({"-m", "512", "-w", folder.path("")}, records);
  EXPECT_GT(instance().sublist.file_counter, 0u);
  EXPECT_TRUE(std::filesystem::is_empty(folder.path("")));
  std::sort(records.begin(), records.end());
  EXPECT_EQ(out, records);
}

TEST_F(Driver, WithoutMemoryOptionASortTakesMoreThanItsEstimateWhenTheMachineHasIt) {
  Texts records;
  for (int i = 0; i < 5000; ++i) records.push_back(std::to_string(99999 - i) + std::string(400, 'x') + "\n");
  const Texts out = sort({"-fs", "64"}, records);
  std::sort(records.begin(), records.end());
  EXPECT_EQ(out, records);
}

TEST_F(Driver, ARecordLargerThanASegmentEndsTheSort) {
  RecordsInOut::in = {std::string(8000, 'b') + "\n"};
  ASSERT_EQ(init({"-l", "7"}), 0);
  EXPECT_EQ(fsort_call(), 1);
  EXPECT_EQ(displayed(), (Texts{"Unable to allocate memory for data\n", kCallTitle}));
}

}  // namespace
}  // namespace fsort::test
