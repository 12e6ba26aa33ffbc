// How a sort with work files can end: well, by a bad record, by its callbacks, by a system that refuses.
// After every end the work directory is empty, nothing is left in memory, and the next sort works.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "entry/instance.h"
#include "fsort.h"
#include "platform/os.h"
#include "support/fault_os.h"
#include "support/temp_folder.h"

namespace fsort_test {
namespace {

using fsort::test::FaultOs;
using fsort::test::Lasting;
using fsort::test::OsCall;
using fsort::test::TempFolder;
using Lines = std::vector<std::string>;

// What the callbacks of the running sort do; they have no argument of their own.
struct Script {
  Lines input;
  std::size_t next = 0;
  Lines output;
  Lines texts;
  fsort_handle handle = nullptr;
  std::size_t fail_read_at = SIZE_MAX;  // the read function answers with status 1 there
  std::size_t fail_write_at = SIZE_MAX;
  std::size_t exit_read_at = SIZE_MAX;  // calls FsortExit there
  std::size_t exit_write_at = SIZE_MAX;
};
Script script;

void show(const char* text) { script.texts.emplace_back(text); }

std::int32_t give(std::uint64_t* length, const void** record) {
  *length = 0;
  *record = nullptr;
  if (script.next == script.exit_read_at) FsortExit(script.handle, 7);
  if (script.next == script.fail_read_at) return 1;
  if (script.next == script.input.size()) return 0;
  const std::string& line = script.input[script.next++];
  *length = line.size();
  *record = line.data();
  return 0;
}

std::int32_t take(std::uint64_t length, const void* record) {
  if (script.output.size() == script.exit_write_at) FsortExit(script.handle, 7);
  if (script.output.size() == script.fail_write_at) return 1;
  script.output.emplace_back(static_cast<const char*>(record), length);
  return 0;
}

class SpillingEnds : public testing::Test {
 protected:
  void SetUp() override {
    script = {};
    for (int i = 0; i < kLines; ++i) {
      std::string line = std::to_string(10000 + i * 7919 % 9973) + std::string(40, 'x');
      script.input.push_back(line + "\n");
    }
  }
  void create() {
    script.next = 0;
    script.output.clear();
    script.texts.clear();
    script.handle = FsortCreate(show, nullptr);
  }
  // Runs the script's sort on a new handle, which stays.
  std::int32_t start() {
    create();
    return start_created();
  }
  std::int32_t start_created() {
    return FsortStart(script.handle, give, take, ("-q -w " + folder_.path("") + " " + options_).c_str());
  }
  void destroy() {
    FsortDestroy(script.handle);
    script.handle = nullptr;
  }
  [[nodiscard]] bool folder_is_empty() const { return std::filesystem::is_empty(folder_.path("")); }
  // The sort of this fixture, undisturbed.
  void expect_next_sort_works() {
    script.fail_read_at = script.fail_write_at = script.exit_read_at = script.exit_write_at = SIZE_MAX;
    EXPECT_EQ(start(), 0) << testing::PrintToString(script.texts);
    Lines sorted = script.input;
    std::sort(sorted.begin(), sorted.end());
    EXPECT_TRUE(script.output == sorted);
    destroy();
    EXPECT_TRUE(folder_is_empty());
  }
  // Runs the sort with the n-th call of a kind refused, for n = 1 on until no call is left that could be. The
  // texts of each failure go to `seen`. Result: how many calls were refused.
  int refuse_each(OsCall kind, std::uint32_t code, Lasting lasting, std::vector<Lines>* seen) {
    for (int n = 1;; ++n) {
      FaultOs faults;
      create();
      reinterpret_cast<fsort::Instance*>(script.handle)->driver.plain_levels = plain_levels_;
      faults.fail(kind, static_cast<std::uint64_t>(n), code, lasting);
      const std::int32_t status = start_created();
      const bool struck = faults.struck();
      if (status != 0) {
        EXPECT_FALSE(script.texts.empty()) << "no message, call " << n;
        seen->push_back(script.texts);
      } else {
        EXPECT_EQ(script.output.size(), script.input.size()) << "call " << n;
        EXPECT_TRUE(std::is_sorted(script.output.begin(), script.output.end())) << "call " << n;
      }
      EXPECT_TRUE(folder_is_empty()) << "call " << n;
      destroy();
      EXPECT_TRUE(folder_is_empty()) << "call " << n;
      EXPECT_TRUE(faults.clean()) << "call " << n << "\n" << faults.alive();
      if (HasFailure() || !struck) return n - 1;
    }
  }
  // Every text that was the first of a failure, once.
  static Lines first_texts(const std::vector<Lines>& seen) {
    Lines all;
    for (const Lines& texts : seen) all.push_back(texts.front());
    std::sort(all.begin(), all.end());
    all.erase(std::unique(all.begin(), all.end()), all.end());
    return all;
  }
  // The system's text as messages end in it.
  static std::string with_reason(const std::string& message, std::uint32_t code) {
    char text[200];
    const std::uint32_t length =
        fsort::os->format_message(0x1200, nullptr, code, 0x400, text, sizeof text, nullptr);
    EXPECT_GT(length, 0u) << code;
    if (length == 0) return message;
    return message + ":\n" + std::string(text, length - 1) + "\n";
  }

  static constexpr int kLines = 1500;
  static constexpr std::size_t kPlaces[] = {0, 1, 700, kLines - 1};  // in the output
  std::string options_ = "-l 7 -m 1 -wb 2 -rb 2";
  // Without shortcuts, and with relief inside its memory, there are more files, and more calls to refuse.
  std::uint8_t plain_levels_ = 1;
  TempFolder folder_;
};

TEST_F(SpillingEnds, SuccessLeavesNothing) {
  FaultOs faults;
  EXPECT_EQ(start(), 0);
  EXPECT_GT(faults.calls(OsCall::kDelete), 0u) << "the sort was meant to use work files";
  EXPECT_TRUE(folder_is_empty()) << "when the start returns, not only at the end of the handle";
  destroy();
  EXPECT_TRUE(faults.clean()) << faults.alive();
}

TEST_F(SpillingEnds, ABadRecordAfterWorkFilesWereWrittenLeavesNothing) {
  FaultOs faults;
  script.input.push_back("short\n");
  options_ = "-l 7 -m 1 -k -c 20-";
  EXPECT_EQ(start(), 1);
  EXPECT_EQ(script.texts, (Lines{"short\n\nField too short\n", "Error detected in fsort call\n"}));
  EXPECT_GT(faults.calls(OsCall::kDelete), 0u);
  EXPECT_TRUE(folder_is_empty());
  destroy();
  EXPECT_TRUE(faults.clean()) << faults.alive();
}

TEST_F(SpillingEnds, AReadFunctionThatFailsLeavesNothing) {
  script.fail_read_at = kLines - 1;
  EXPECT_EQ(start(), 1);
  EXPECT_EQ(script.texts, (Lines{"Error encountered on reading record\n", "Error detected in fsort call\n"}));
  EXPECT_TRUE(folder_is_empty());
  destroy();
  expect_next_sort_works();
}

TEST_F(SpillingEnds, AWriteFunctionThatFailsLeavesNothing) {
  for (const std::size_t at : kPlaces) {
    script.fail_write_at = at;
    EXPECT_EQ(start(), 1);
    EXPECT_EQ(script.texts,
              (Lines{"Error trying to write record from fsort\n", "Error detected in fsort call\n"}));
    EXPECT_TRUE(folder_is_empty());
    destroy();
  }
  expect_next_sort_works();
}

TEST_F(SpillingEnds, AnAbortInTheReadFunctionLeavesNoWorkFile) {
  FaultOs faults;
  script.exit_read_at = kLines;
  EXPECT_EQ(start(), 7);
  EXPECT_GT(faults.calls(OsCall::kOpen), 0u);
  EXPECT_TRUE(folder_is_empty());
  destroy();
  EXPECT_TRUE(faults.clean()) << faults.alive();
  faults.clear();
  expect_next_sort_works();
}

TEST_F(SpillingEnds, AnAbortInTheWriteFunctionLeavesNoWorkFile) {
  for (const std::size_t at : kPlaces) {
    FaultOs faults;
    script.exit_write_at = at;
    EXPECT_EQ(start(), 7);
    EXPECT_TRUE(folder_is_empty());
    destroy();
    EXPECT_TRUE(faults.clean()) << faults.alive();
  }
  expect_next_sort_works();
}

TEST_F(SpillingEnds, AnyWriteThatAFullDiskRefusesIsReported) {
  std::vector<Lines> seen;
  const int refused = refuse_each(OsCall::kWrite, fsort::kErrorDiskFull, Lasting::kForGood, &seen);
  EXPECT_GT(refused, 10);
  EXPECT_EQ(seen.size(), static_cast<std::size_t>(refused)) << "none goes unnoticed";
  EXPECT_EQ(first_texts(seen),
            Lines{with_reason("Space exhausted while writing work file", fsort::kErrorDiskFull)});
  EXPECT_EQ(seen.front().back(), "Error detected in fsort call\n");
  expect_next_sort_works();
}

TEST_F(SpillingEnds, ASingleWriteThatFailsIsReportedToo) {
  std::vector<Lines> seen;
  const int refused = refuse_each(OsCall::kWrite, fsort::kErrorIoDevice, Lasting::kOnce, &seen);
  EXPECT_EQ(seen.size(), static_cast<std::size_t>(refused));
  EXPECT_EQ(first_texts(seen),
            Lines{with_reason("Space exhausted while writing work file", fsort::kErrorIoDevice)});
}

TEST_F(SpillingEnds, ADiskThatFillsUpAtAnyByteIsReported) {
  for (std::uint64_t bytes = 0;; bytes += 5000) {
    FaultOs faults;
    faults.limit_disk(bytes);
    const std::int32_t status = start();
    EXPECT_TRUE(folder_is_empty());
    destroy();
    EXPECT_TRUE(faults.clean()) << faults.alive();
    if (status == 0) {
      EXPECT_GT(bytes, 50000u);
      break;
    }
    ASSERT_EQ(script.texts.front(),
              with_reason("Space exhausted while writing work file", fsort::kErrorDiskFull));
  }
}

TEST_F(SpillingEnds, AnyOpenThatIsRefusedIsReported) {
  // Levels with files of their own, written in turn, so that files are appended to as well.
  options_ = "-l 20 -m 1 -wb 2 -rb 2";
  for (std::string& line : script.input) line.insert(0, 1, "abcdefgh"[line[4] % 4]);
  const Lines once = script.input;
  for (int i = 0; i < 3; ++i) script.input.insert(script.input.end(), once.begin(), once.end());
  std::vector<Lines> seen;
  const int refused = refuse_each(OsCall::kOpen, fsort::kErrorAccessDenied, Lasting::kOnce, &seen);
  EXPECT_GT(refused, 20);
  EXPECT_EQ(seen.size(), static_cast<std::size_t>(refused));
  const std::uint32_t code = fsort::kErrorAccessDenied;
  EXPECT_EQ(first_texts(seen), (Lines{with_reason("Couldn't open working file for appending", code),
                                      with_reason("Couldn't open working file for reading", code),
                                      with_reason("Couldn't open working file for writing", code)}));
}

// Kept on purpose: a refill whose transfer failed sets neither flag of its stream.
TEST_F(SpillingEnds, AnyReadThatFailsIsReported) {
  std::vector<Lines> seen;
  const int refused = refuse_each(OsCall::kRead, fsort::kErrorIoDevice, Lasting::kForGood, &seen);
  EXPECT_GT(refused, 10);
  EXPECT_EQ(first_texts(seen), Lines{"Programming error in sio_read\n"});
}

TEST_F(SpillingEnds, AnyCloseThatFailsIsReportedOrConcernsAFileThatNobodyNeeds) {
  std::vector<Lines> seen;
  const int refused = refuse_each(OsCall::kClose, fsort::kErrorIoDevice, Lasting::kOnce, &seen);
  EXPECT_GT(refused, 5);
  EXPECT_GT(seen.size(), 3u);
  EXPECT_EQ(first_texts(seen),
            Lines{with_reason("Error attempting to close file:Check disk space", fsort::kErrorIoDevice)});
}

TEST_F(SpillingEnds, SpaceThatCannotBeClaimedIsNoError) {
  std::vector<Lines> seen;
  EXPECT_GT(refuse_each(OsCall::kSetEnd, fsort::kErrorDiskFull, Lasting::kOnce, &seen), 5);
  EXPECT_EQ(seen, std::vector<Lines>{});
}

TEST_F(SpillingEnds, AnyAllocationThatFailsEndsInAMessageOrInTheRightOutput) {
  std::vector<Lines> seen;
  EXPECT_GT(refuse_each(OsCall::kHeapAlloc, fsort::kErrorNotEnoughMemory, Lasting::kOnce, &seen), 20);
  EXPECT_GT(seen.size(), 5u);
}

TEST_F(SpillingEnds, MemoryThatRunsOutForGoodEndsInAMessageOrInTheRightOutput) {
  std::vector<Lines> seen;
  EXPECT_GT(refuse_each(OsCall::kHeapAlloc, fsort::kErrorNotEnoughMemory, Lasting::kForGood, &seen), 20);
  seen.clear();
  EXPECT_GE(refuse_each(OsCall::kRegionAlloc, fsort::kErrorNotEnoughMemory, Lasting::kForGood, &seen), 1);
}

TEST_F(SpillingEnds, WithItsShortcutsASortReportsEveryRefusalToo) {
  plain_levels_ = 0;
  // A common prefix, so that relief takes several levels at once.
  for (std::string& line : script.input) line.insert(0, "a common prefix ");
  struct Refusal {
    OsCall kind;
    std::uint32_t code;
    int least;
  };
  for (const Refusal& r : {Refusal{OsCall::kWrite, fsort::kErrorDiskFull, 10},
                           Refusal{OsCall::kOpen, fsort::kErrorAccessDenied, 2},
                           Refusal{OsCall::kRead, fsort::kErrorIoDevice, 10}}) {
    std::vector<Lines> seen;
    const int refused = refuse_each(r.kind, r.code, Lasting::kForGood, &seen);
    EXPECT_GE(refused, r.least);
    EXPECT_EQ(seen.size(), static_cast<std::size_t>(refused)) << "none goes unnoticed";
  }
  std::vector<Lines> seen;
  EXPECT_GT(refuse_each(OsCall::kHeapAlloc, fsort::kErrorNotEnoughMemory, Lasting::kOnce, &seen), 20);
  EXPECT_GE(refuse_each(OsCall::kRegionAlloc, fsort::kErrorNotEnoughMemory, Lasting::kForGood, &seen), 1);
  expect_next_sort_works();
}

TEST_F(SpillingEnds, AFailedStartMayBeFollowedByAnotherOnTheSameHandle) {
  script.fail_write_at = 700;
  EXPECT_EQ(start(), 1);
  EXPECT_TRUE(folder_is_empty());
  script.fail_write_at = SIZE_MAX;
  script.next = 0;
  script.output.clear();
  script.texts.clear();
  const std::int32_t status = start_created();
  if (status == 0) {
    EXPECT_EQ(script.output.size(), script.input.size());
    EXPECT_TRUE(std::is_sorted(script.output.begin(), script.output.end()));
  } else {
    EXPECT_TRUE(script.texts.front().starts_with("Couldn't register")) << script.texts.front();
  }
  EXPECT_TRUE(folder_is_empty());
  destroy();
  EXPECT_TRUE(folder_is_empty());
}

// Sixty-four sorts inside one another, each begun in the middle of the one before, in one work directory.
struct Nested {
  int depth = 0;
  int good = 0;
  std::string command;
  std::vector<Lines> outputs;
  std::vector<std::size_t> next;
};
Nested nested;
constexpr int kNested = 64;
constexpr std::size_t kNestedLines = 700;

Lines nested_line(int depth, std::size_t i) {
  return {std::to_string(1000 + i * 7919 % 997) + "/" + std::to_string(depth) + std::string(30, '.') + "\n"};
}

void run_nested();

std::int32_t give_nested(std::uint64_t* length, const void** record) {
  static std::vector<std::string> line(kNested + 1);
  const auto depth = static_cast<std::size_t>(nested.depth);
  *length = 0;
  *record = nullptr;
  if (nested.next[depth] == kNestedLines / 2 && nested.depth < kNested) run_nested();
  if (nested.next[depth] == kNestedLines) return 0;
  line[depth] = nested_line(nested.depth, nested.next[depth]++).front();
  *length = line[depth].size();
  *record = line[depth].data();
  return 0;
}

std::int32_t take_nested(std::uint64_t length, const void* record) {
  nested.outputs[static_cast<std::size_t>(nested.depth)].emplace_back(static_cast<const char*>(record),
                                                                      length);
  return 0;
}

void run_nested() {
  ++nested.depth;
  const fsort_handle handle = FsortCreate(nullptr, nullptr);
  nested.good += FsortStart(handle, give_nested, take_nested, nested.command.c_str()) == 0 ? 1 : 0;
  FsortDestroy(handle);
  --nested.depth;
}

TEST_F(SpillingEnds, SixtyFourSortsAtOnceInOneDirectoryAreAllRight) {
  nested = {};
  nested.command = "-q -l 7 -m 1 -wb 2 -rb 2 -w " + folder_.path("");
  nested.outputs.resize(kNested + 1);
  nested.next.resize(kNested + 1);
  run_nested();
  EXPECT_EQ(nested.good, kNested);
  for (int depth = 1; depth <= kNested; ++depth) {
    Lines expected;
    for (std::size_t i = 0; i < kNestedLines; ++i) expected.push_back(nested_line(depth, i).front());
    std::sort(expected.begin(), expected.end());
    EXPECT_TRUE(nested.outputs[static_cast<std::size_t>(depth)] == expected) << "sort " << depth;
  }
  EXPECT_TRUE(folder_is_empty());
}

}  // namespace
}  // namespace fsort_test
