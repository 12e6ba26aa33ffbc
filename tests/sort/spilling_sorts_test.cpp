// Sorts larger than their memory, through the library: known ones with their exact outcome, and random ones
// that the oracle judges. None may leave a work file.
//
// What order equal records leave in, and which of a class survives under -u, depends on memory and buffers
// once records go through work files. So the judge here is the oracle alone: the same records in order, and
// under -u one of each class.
//
// Every random sort follows from its seed; FSORT_TEST_SEED and FSORT_TEST_SORTS work as in
// random_sorts_test.cpp.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <set>

#include "support/campaign.h"
#include "support/key_gen.h"
#include "support/record_gen.h"
#include "support/run_fsort.h"
#include "support/spill_plan.h"

namespace fsort_test {
namespace {

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

// The work directory of these sorts; empty between any two of them.
const std::string& work_folder() {
  static const std::string folder = [] {
    std::string name = test_folder() + "/work";
    fs::create_directories(name);
    return name;
  }();
  return folder;
}

Lines left_in_work_folder() {
  Lines names;
  for (const auto& entry : fs::directory_iterator(work_folder())) names.push_back(entry.path().string());
  for (const std::string& name : names) fs::remove(name);
  return names;
}

Lines with_work_folder(Lines arguments) {
  arguments.insert(arguments.begin(), {"-q", "-w", work_folder()});
  return arguments;
}

// A number with leading zeros.
std::string padded(int number, std::size_t width) {
  const std::string digits = std::to_string(number);
  return std::string(width - std::min(width, digits.size()), '0') + digits;
}

Lines sorted(Lines lines) {
  std::sort(lines.begin(), lines.end());
  return lines;
}

// --- known sorts -----------------------------------------------------------------------------------------

class SpillingSorts : public testing::TestWithParam<Route> {
 protected:
  // The records in output order. The sort must succeed, use work files and leave none.
  static Lines sort(const Lines& options, const Lines& records) {
    SortRequest request;
    request.arguments = with_work_folder(options);
    request.records = records;
    request.input = GetParam();
    request.output = GetParam();
    const SortRun run = run_fsort(request);
    EXPECT_EQ(run.status, 0) << testing::PrintToString(run.texts);
    EXPECT_GT(run.work_files, 0u) << "the sort was meant to be too large for its memory";
    EXPECT_EQ(left_in_work_folder(), Lines{});
    return GetParam() == Route::file ? split_records(run.bytes, RecordSet{}) : run.records;
  }
  // Lines of letters 'a', 'b', ... that are the digits of (i * 7919) % modulus, the low one first.
  static Lines digit_lines(int count, int base, int digits, int modulus) {
    Lines lines;
    for (int i = 0; i < count; ++i) {
      std::string line;
      int value = i * 7919 % modulus;
      for (int d = 0; d < digits; ++d, value /= base) line += static_cast<char>('a' + value % base);
      lines.push_back(line + "\n");
    }
    return lines;
  }
};

INSTANTIATE_TEST_SUITE_P(By, SpillingSorts, testing::Values(Route::callback, Route::file),
                         [](const auto& route) { return route.param == Route::file ? "File" : "Callback"; });

TEST_P(SpillingSorts, ABinThatReliefSubdividesUnderItsProcessorLosesNothing) {
  Lines lines;
  for (int i = 0; i < 1100; ++i) {
    lines.push_back(static_cast<char>('a' + i % 3) + padded(i * 37 % 1000, 3) + "-0123456789abcde\n");
  }
  const Lines out = sort({"-l", "20", "-m", "1", "-k", "-c", "0-3"}, lines);
  ASSERT_EQ(out.size(), 1100u);
  EXPECT_EQ(out.front().substr(0, 5), "a000-");
  EXPECT_EQ(out.back().substr(0, 5), "c962-");
  EXPECT_EQ(sorted(out), sorted(lines));
  for (std::size_t i = 1; i < out.size(); ++i) EXPECT_LE(out[i - 1].substr(0, 4), out[i].substr(0, 4));
}

TEST_P(SpillingSorts, RecordsOfTheAncestorsWaitingBinsAreNotReleased) {
  const Lines lines = digit_lines(1400, 3, 8, 6560);
  EXPECT_EQ(sort({"-l", "7", "-m", "1"}, lines), sorted(lines));
}

TEST_P(SpillingSorts, RecordsNoteTheFrameTheyLieIn) {
  const Lines lines = digit_lines(600, 2, 8, 20011);
  EXPECT_EQ(sort({"-l", "7", "-m", "1"}, lines), sorted(lines));
}

TEST_P(SpillingSorts, NegativeNumbersKeepTheirDirectionThroughWorkFiles) {
  Lines lines;
  for (int i = 0; i < 1000; ++i) lines.push_back("-" + std::to_string(i * 7919 % 10007) + "\n");
  const Lines out = sort({"-l", "10", "-m", "1", "-n"}, lines);
  std::sort(lines.begin(), lines.end(), [](const std::string& a, const std::string& b) {
    return std::atoi(a.c_str()) < std::atoi(b.c_str());
  });
  EXPECT_EQ(out, lines);
  EXPECT_EQ((Lines{out[0], out[1], out[2], out.back()}), (Lines{"-9997\n", "-9987\n", "-9978\n", "-0\n"}));
}

TEST_P(SpillingSorts, AnExhaustedKeyReadBackwardsIsRelievedWithoutEndlessWork) {
  Lines lines;
  for (int i = 0; i < 15000; ++i) {
    lines.push_back(static_cast<char>('a' + i * 7 % 10) + ("a" + padded(i, 60) + "\n"));
  }
  const Lines out = sort({"-u", "-l", "20", "-m", "120", "-fs", "100000", "-k", "-c", "1-0"}, lines);
  ASSERT_EQ(out.size(), 10u);
  for (std::size_t i = 0; i < 10; ++i)
    EXPECT_EQ(out[i].substr(0, 2), std::string(1, static_cast<char>('a' + i)) + "a");
}

TEST_P(SpillingSorts, AWorkFileWhoseLastBinIsEmittedIsDeletedToo) {
  Lines lines;
  for (int i = 0; i < 3000; ++i) lines.push_back(padded(i * 7919 % 100003, 5) + "\n");
  lines.push_back("~\n");
  EXPECT_EQ(sort({"-l", "20", "-m", "1"}, lines), sorted(lines));
}

TEST_P(SpillingSorts, ALongCommonPrefixIsWorkedThroughByteByByte) {
  Lines lines;
  for (int i = 0; i < 2000; ++i) lines.push_back(std::string(300, 'a') + padded(i * 7 % 2000, 4) + "\n");
  EXPECT_EQ(sort({"-l", "20", "-m", "1"}, lines), sorted(lines));
}

// Lines that share up to `shared` letters with most others and leave them at any of these, or end there.
Lines leaving_lines(int count, int shared) {
  Lines lines;
  for (int i = 0; i < count; ++i) {
    std::string line(static_cast<std::size_t>(shared), 'm');
    const auto at = static_cast<std::size_t>(i * 7919 % shared);
    if (i % 3 == 0) line[at] = i % 2 == 0 ? 'a' : 'z';
    if (i % 7 == 0) line.resize(at + 1);
    lines.push_back(line + padded(i * 31 % count, 6) + "\n");
  }
  return lines;
}

TEST_P(SpillingSorts, LinesThatLeaveALongCommonPrefixAtAnyByteAreInOrder) {
  const Lines lines = leaving_lines(20000, 70);
  for (const char* memory : {"1", "300", "1200"}) {
    EXPECT_EQ(sort({"-m", memory}, lines), sorted(lines)) << memory;
  }
}

TEST_P(SpillingSorts, LinesThatLeaveALongCommonPrefixAreInDescendingOrder) {
  const Lines lines = leaving_lines(20000, 70);
  Lines expected = sorted(lines);
  std::reverse(expected.begin(), expected.end());
  EXPECT_EQ(sort({"-m", "400", "-i"}, lines), expected);
}

TEST_P(SpillingSorts, LinesThatLeaveALongCommonPrefixKeepOneOfEachUnderUnique) {
  Lines lines = leaving_lines(9000, 70);
  const Lines once = sorted(lines);
  lines.insert(lines.end(), once.begin(), once.end());
  EXPECT_EQ(sort({"-m", "400", "-u"}, lines), once);
}

TEST_P(SpillingSorts, UniqueLeavesOneOfEachClassThatWentThroughWorkFiles) {
  Lines lines;
  for (int i = 0; i < 9000; ++i) lines.push_back(padded(i % 37, 2) + padded(i, 6) + "\n");
  const Lines out = sort({"-u", "-l", "20", "-m", "1", "-k", "-c", "0-1"}, lines);
  ASSERT_EQ(out.size(), 37u);
  const std::set<std::string> all(lines.begin(), lines.end());
  for (int i = 0; i < 37; ++i) {
    EXPECT_EQ(out[static_cast<std::size_t>(i)].substr(0, 2), padded(i, 2));
    EXPECT_EQ(all.count(out[static_cast<std::size_t>(i)]), 1u);
  }
}

// --- random sorts ----------------------------------------------------------------------------------------

struct Plan {
  SortSpec spec;
  RecordSet set;
  SortRequest request;
};

Plan make_plan(std::uint64_t seed, RecordType type) {
  Random random(seed);
  Plan plan;
  const Shape shape = random_shape(&random);
  plan.spec = random_spec(&random, shape);
  const auto count = static_cast<std::size_t>(random.between(800, random.chance(80) ? 2500 : 6000));
  plan.set = random_records(&random, shape, type, count, 15);
  plan.request.records = plan.set.records;
  plan.request.input = type == RecordType::free || random.chance(50) ? Route::callback : Route::file;
  plan.request.output = type == RecordType::free || random.chance(50) ? Route::callback : Route::file;
  plan.request.plain_levels = random.chance(30);
  Lines& arguments = plan.request.arguments;
  arguments = with_work_folder(spilling_regime(&random, plan.spec));
  if (plan.request.input == Route::file || needs_argument_vector(plan.request)) {
    arguments.insert(arguments.end(), plan.set.options.begin(), plan.set.options.end());
  }
  const Lines keys = render(plan.spec, &random);
  arguments.insert(arguments.end(), keys.begin(), keys.end());
  return plan;
}

// What is wrong with the run, or "".
std::string fault_of(const Plan& plan, const SortRun& run) {
  const std::string texts = testing::PrintToString(run.texts);
  const Lines left = left_in_work_folder();
  if (!left.empty()) return "left behind: " + testing::PrintToString(left);
  const std::string refused = refusal(plan.spec, plan.set.records);
  if (!refused.empty()) {
    const bool right = run.status == 1 && run.texts.size() == 2 && run.texts[0].ends_with(refused + "\n");
    return right ? "" : "status " + std::to_string(run.status) + " and " + texts + " instead of " + refused;
  }
  if (run.status != 0 || !run.texts.empty()) return "status " + std::to_string(run.status) + ": " + texts;
  const bool by_callback = plan.request.output == Route::callback && !run.by_arguments;
  return judge(plan.spec, plan.set.records, by_callback ? run.records : split_records(run.bytes, plan.set));
}

void run_sorts(RecordType type, std::uint64_t first_seed, std::uint64_t sorts) {
  const std::uint64_t replay = from_environment("FSORT_TEST_SEED", 0);
  if (replay != 0)
    first_seed = replay, sorts = 1;
  else if (kSlow)
    sorts = sorts / kSlowShare + 1;
  sorts = from_environment("FSORT_TEST_SORTS", sorts);
  int failures = 0;
  std::uint64_t spilled = 0;
  for (std::uint64_t seed = first_seed; seed < first_seed + sorts && failures < 5; ++seed) {
    const Plan plan = make_plan(seed, type);
    if (type == RecordType::free && needs_argument_vector(plan.request)) continue;
    const SortRun run = run_fsort(plan.request);
    spilled += run.work_files != 0 ? 1 : 0;
    const std::string fault = fault_of(plan, run);
    if (fault.empty()) continue;
    ++failures;
    ADD_FAILURE() << "FSORT_TEST_SEED=" << seed << "  " << plan.set.records.size() << " records\n  "
                  << join(plan.request.arguments) << "\n  " << fault;
  }
  if (replay != 0 || failures != 0) return;
  EXPECT_GT(spilled * 2, sorts) << "too few of them used work files";
}

TEST(RandomSpillingSorts, OfTextRecordsAreRight) { run_sorts(RecordType::text, 31000000, 1000); }
TEST(RandomSpillingSorts, OfFixedRecordsAreRight) { run_sorts(RecordType::fixed, 32000000, 700); }
TEST(RandomSpillingSorts, OfVariableRecordsAreRight) { run_sorts(RecordType::variable, 33000000, 700); }
TEST(RandomSpillingSorts, OfCallbackRecordsAreRight) { run_sorts(RecordType::free, 34000000, 1000); }

}  // namespace
}  // namespace fsort_test
