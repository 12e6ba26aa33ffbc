// What a sort gives out is in order by the check of its own keys, and a pair of unequal neighbours that
// changed places is found at its place.
#include <gtest/gtest.h>

#include <filesystem>

#include "support/campaign.h"
#include "support/inspector.h"
#include "support/key_gen.h"
#include "support/record_gen.h"
#include "support/run_fsort.h"
#include "support/temp_folder.h"

namespace fsort_test {
namespace {

using fsort::CheckReport;
using fsort::CheckVerdict;
using fsort::test::Inspector;
using fsort::test::TempFolder;

constexpr int kSortsEach = 150;
constexpr std::size_t kMostRecords = 60;

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

}  // namespace
}  // namespace fsort_test
