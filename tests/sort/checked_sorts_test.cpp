// What a sort gives out is in order by the check of its own keys, and a pair of unequal neighbours that
// changed places is found at its place.
#include <gtest/gtest.h>

#include <filesystem>

#include "entry/sort_view.h"
#include "entry/start_arguments.h"
#include "support/campaign.h"
#include "support/fault_os.h"
#include "support/inspector.h"
#include "support/key_gen.h"
#include "support/record_gen.h"
#include "support/run_fsort.h"
#include "support/spill_plan.h"
#include "support/temp_folder.h"

namespace fsort_test {
namespace {

using fsort::CheckReport;
using fsort::CheckVerdict;
using fsort::test::Inspector;
using fsort::test::TempFolder;

constexpr int kSortsEach = 150;
constexpr std::uint64_t kSortsThatCheck = kSlow ? kSortsEach / kSlowShare : kSortsEach;
constexpr std::size_t kMostRecords = 60;
constexpr std::size_t kManyRecords = 1500;

// The records in order, and the arguments that say so.
struct Sorted {
  std::vector<std::string> arguments;
  std::vector<std::string> records;
};

Sorted random_sorted(std::uint64_t seed, RecordType type) {
  Random random(seed);
  const Shape shape = random_shape(&random);
  const SortSpec spec = random_spec(&random, shape);
  const auto count = static_cast<std::size_t>(random.below(kMostRecords));
  const RecordSet set = random_records(&random, shape, type, count, 20);
  SortRequest request;
  request.input = Route::file;
  request.output = Route::file;
  request.by_arguments = true;
  request.records = set.records;
  request.arguments = set.options;
  const std::vector<std::string> keys = render(spec, &random);
  request.arguments.insert(request.arguments.end(), keys.begin(), keys.end());
  const SortRun run = run_fsort(request);
  if (run.status != 0) return {request.arguments, {}};
  return {request.arguments, split_records(run.bytes, set)};
}

CheckVerdict check(const TempFolder& folder, const std::vector<std::string>& arguments,
                   const std::vector<std::string>& records, CheckReport* report) {
  std::vector<std::string> all = {"-in", folder.make("in", concatenate(records))};
  all.insert(all.end(), arguments.begin(), arguments.end());
  Inspector inspector(all);
  EXPECT_EQ(inspector.status(), 0) << Inspector::texts();
  return inspector.check(report);
}

// The first pair of neighbours that are not equal; `records.size()` when there is none.
std::size_t unequal_pair(const TempFolder& folder, const Sorted& sorted) {
  std::vector<std::string> all = {"-in", folder.make("in", concatenate(sorted.records))};
  all.insert(all.end(), sorted.arguments.begin(), sorted.arguments.end());
  Inspector inspector(all);
  if (inspector.read() != fsort::RecordFate::filled) return sorted.records.size();
  for (std::size_t i = 1; inspector.read() == fsort::RecordFate::filled; ++i) {
    std::uint32_t entry = 0;
    if (fsort::inspect_compare(inspector.handle(), inspector.before(), inspector.record(), &entry) != 0) {
      return i - 1;
    }
  }
  return sorted.records.size();
}

void check_sorts(RecordType type, std::uint64_t first_seed) {
  const TempFolder folder;
  int swapped = 0;
  for (std::uint64_t seed = first_seed; seed < first_seed + kSortsEach; ++seed) {
    Sorted sorted = random_sorted(seed, type);
    const std::string what = "sort " + std::to_string(seed) + ": " + join(sorted.arguments);
    CheckReport report{};
    ASSERT_EQ(check(folder, sorted.arguments, sorted.records, &report), CheckVerdict::in_order) << what;
    ASSERT_EQ(report.records, sorted.records.size()) << what;
    const std::size_t pair = unequal_pair(folder, sorted);
    if (pair >= sorted.records.size()) continue;
    std::swap(sorted.records[pair], sorted.records[pair + 1]);
    ASSERT_EQ(check(folder, sorted.arguments, sorted.records, &report), CheckVerdict::out_of_order) << what;
    ASSERT_EQ(report.records, pair + 2) << what;
    ++swapped;
  }
  EXPECT_GT(swapped, kSortsEach / 2);
}

TEST(CheckOfSorts, PassesEverySortOfTextAndFindsAPairThatChangedPlaces) {
  check_sorts(RecordType::text, 71000);
}

TEST(CheckOfSorts, PassesEverySortOfFixedRecordsAndFindsAPairThatChangedPlaces) {
  check_sorts(RecordType::fixed, 72000);
}

TEST(CheckOfSorts, PassesEverySortOfVariableRecordsAndFindsAPairThatChangedPlaces) {
  check_sorts(RecordType::variable, 73000);
}

// A sort that checks its output while it writes it.
struct CheckedSort {
  std::int32_t status = -1;
  fsort::SortFacts facts{};
  std::string texts;
  bool struck = false;  // an allocation was refused
};

std::string g_texts;

// `refused`: the allocation of the start that fails, 0 for none.
CheckedSort sort_checking(const std::vector<std::string>& arguments, std::uint64_t refused = 0) {
  std::vector<const char*> pointers = {"fsort", "-q"};
  for (const std::string& argument : arguments) pointers.push_back(argument.c_str());
  pointers.push_back(nullptr);
  CheckedSort sort;
  g_texts.clear();
  fsort_handle handle = FsortCreate([](const char* text) { g_texts += text; }, nullptr);
  const auto count = static_cast<std::int32_t>(pointers.size() - 1);
  fsort::test::FaultOs faults;
  if (refused != 0) faults.fail(fsort::test::OsCall::kHeapAlloc, refused, fsort::kErrorNotEnoughMemory);
  sort.status = fsort::start_arguments(handle, count, pointers.data(), {nullptr, 1});
  sort.struck = faults.struck();
  faults.clear();
  sort.facts = fsort::sort_facts(handle);
  sort.facts.output_name = nullptr;  // goes with the handle
  FsortDestroy(handle);
  sort.texts = g_texts;
  return sort;
}

// Random sorts of every kind of key that check themselves; some spill.
void sort_checking_all(RecordType type, std::uint64_t first_seed, std::size_t most_records) {
  const TempFolder folder;
  std::size_t good = 0;
  for (std::uint64_t seed = first_seed; seed < first_seed + kSortsThatCheck; ++seed) {
    Random random(seed);
    const Shape shape = random_shape(&random);
    const SortSpec spec = random_spec(&random, shape);
    const auto count = static_cast<std::size_t>(random.below(static_cast<int>(most_records)));
    const RecordSet set = random_records(&random, shape, type, count, 20);
    std::vector<std::string> arguments = {"-in",  folder.make("in", concatenate(set.records)),
                                          "-out", folder.path("out"),
                                          "-w",   folder.path("")};
    arguments.insert(arguments.end(), set.options.begin(), set.options.end());
    const std::vector<std::string> memory = spilling_regime(&random, spec);
    arguments.insert(arguments.end(), memory.begin(), memory.end());
    const std::vector<std::string> keys = render(spec, &random);
    arguments.insert(arguments.end(), keys.begin(), keys.end());
    const CheckedSort sort = sort_checking(arguments);
    const std::string what = "sort " + std::to_string(seed) + ": " + join(arguments) + " " + sort.texts;
    if (!refusal(spec, set.records).empty()) {
      ASSERT_EQ(sort.status, 1) << what;
      continue;
    }
    ASSERT_EQ(sort.status, 0) << what;
    ASSERT_EQ(sort.facts.misplaced, 0U) << what;
    ASSERT_EQ(sort.facts.records_read, count) << what;
    const bool all = sort.facts.records_written == count;
    ASSERT_TRUE(all || spec.unique) << what;
    ASSERT_EQ(sort.facts.same_records != 0, all) << what;
    ++good;
  }
  EXPECT_GT(good, kSortsThatCheck / 2);
}

TEST(CheckOfSorts, WhileTheyWriteFindsNothingWrongWithText) {
  sort_checking_all(RecordType::text, 82000000, kMostRecords);
  sort_checking_all(RecordType::text, 82100000, kManyRecords);
}
TEST(CheckOfSorts, WhileTheyWriteFindsNothingWrongWithFixedRecords) {
  sort_checking_all(RecordType::fixed, 82200000, kMostRecords);
  sort_checking_all(RecordType::fixed, 82300000, kManyRecords);
}
TEST(CheckOfSorts, WhileTheyWriteFindsNothingWrongWithVariableRecords) {
  sort_checking_all(RecordType::variable, 82400000, kMostRecords);
  sort_checking_all(RecordType::variable, 82500000, kManyRecords);
}

// Equal lines leave without another visit to each of them, short ones without any.
TEST(CheckOfSorts, WhileTheyWriteFindsNothingWrongWithLinesThatAreNotVisitedAgain) {
  const TempFolder folder;
  std::string equal;
  std::string letters;
  for (int i = 0; i < 3000; ++i) {
    equal += std::string(90, 'x') + (i % 1000 == 0 ? "a\n" : "b\n");
    letters += std::string(1, static_cast<char>('a' + i % 7)) + "\n";
  }
  for (const std::vector<std::string>& keys : {std::vector<std::string>{}, {"-i"}, {"-k", "-c", "0-0"}}) {
    for (const std::string& lines : {equal, letters}) {
      std::vector<std::string> arguments = {"-in", folder.make("in", lines), "-out", folder.path("out")};
      arguments.insert(arguments.end(), keys.begin(), keys.end());
      const CheckedSort sort = sort_checking(arguments);
      ASSERT_EQ(sort.status, 0) << sort.texts;
      EXPECT_EQ(sort.facts.records_written, 3000U) << join(keys);
      EXPECT_TRUE(sort.facts.same_records != 0 && sort.facts.misplaced == 0) << join(keys);
      EXPECT_EQ(folder.content("out").size(), lines.size());
    }
  }
}

TEST(CheckOfSorts, WithoutMemoryEndsWithAMessageAndNeverWithoutACheck) {
  const TempFolder folder;
  const std::vector<std::string> arguments = {"-in", folder.make("in", "b\na\nc\n"), "-out",
                                              folder.path("out")};
  bool struck = true;
  int refused = 0;
  for (std::uint64_t n = 1; struck; ++n) {
    ASSERT_LT(n, 500U);
    const CheckedSort sort = sort_checking(arguments, n);
    struck = sort.struck;
    EXPECT_EQ(sort.status != 0, !sort.texts.empty()) << "allocation " << n << ": " << sort.texts;
    refused += sort.status;
    if (sort.status != 0) continue;
    EXPECT_EQ(folder.content("out"), "a\nb\nc\n");
    EXPECT_EQ(sort.facts.records_written, 3U);
    EXPECT_TRUE(sort.facts.same_records != 0 && sort.facts.misplaced == 0);
  }
  EXPECT_GT(refused, 3);
}

}  // namespace
}  // namespace fsort_test
