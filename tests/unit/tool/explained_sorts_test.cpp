// Random sorts explained: every record of every type comes with all of its keys, whatever bytes it has.
#include <gtest/gtest.h>

#include <memory>

#include "explain.h"
#include "support/key_gen.h"
#include "support/record_gen.h"
#include "support/temp_folder.h"

namespace fsort_tool {
namespace {

using fsort_test::Random;
using fsort_test::RecordSet;
using fsort_test::RecordType;

constexpr int kSortsEach = 120;
constexpr std::size_t kMostRecords = 12;

std::size_t count_of(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

void explain_sorts(RecordType type, std::uint64_t first_seed) {
  const fsort::test::TempFolder folder;
  const auto record = std::make_unique<fsort::InspectedRecord>();
  std::uint64_t explained = 0;
  for (std::uint64_t seed = first_seed; seed < first_seed + kSortsEach; ++seed) {
    Random random(seed);
    const fsort_test::Shape shape = fsort_test::random_shape(&random);
    const fsort_test::SortSpec spec = fsort_test::random_spec(&random, shape);
    const auto count = static_cast<std::size_t>(random.below(kMostRecords));
    const RecordSet set = fsort_test::random_records(&random, shape, type, count, 20);
    std::vector<std::string> arguments = {"fsort", "-in",
                                          folder.make("in", fsort_test::concatenate(set.records))};
    arguments.insert(arguments.end(), set.options.begin(), set.options.end());
    const std::vector<std::string> keys = fsort_test::render(spec, &random);
    arguments.insert(arguments.end(), keys.begin(), keys.end());
    const std::string what = "sort " + std::to_string(seed) + ": " + fsort_test::join(arguments);
    const Inspection inspection(arguments);
    ASSERT_EQ(inspection.status(), 0) << what;
    const std::size_t key_count = inspection.sort().key_count;
    ASSERT_GE(count_of(explain_sort(inspection), "\n  key "), key_count) << what;
    std::uint64_t records = 0;
    for (bool more = true; more;) {
      const std::string text = explain_next(inspection, record.get(), &records, &more);
      if (!more) {
        ASSERT_TRUE(text.starts_with("\nEnd ")) << what << text;
      } else if (text.find("\n  fault ") == std::string::npos) {
        ASSERT_GE(count_of(text, "\n  key "), key_count) << what << text;
      }
    }
    ASSERT_EQ(records, set.records.size()) << what;
    explained += records;
  }
  EXPECT_GT(explained, std::uint64_t{kSortsEach});
}

TEST(ExplainedSorts, ShowEveryKeyOfEveryTextRecord) { explain_sorts(RecordType::text, 81000); }

TEST(ExplainedSorts, ShowEveryKeyOfEveryFixedRecord) { explain_sorts(RecordType::fixed, 82000); }

TEST(ExplainedSorts, ShowEveryKeyOfEveryVariableRecord) { explain_sorts(RecordType::variable, 83000); }

}  // namespace
}  // namespace fsort_tool
