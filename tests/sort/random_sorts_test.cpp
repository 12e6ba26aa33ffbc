// Random sorts through the library: byte for byte what the reference engine gives, and right by the oracle.
//
// Every sort has a number, its seed, from which the shape, the keys, the records and the routes follow. A
// failure prints it; FSORT_TEST_SEED=<seed> with --gtest_filter=<the failing test> runs that sort alone and
// leaves its input in the file that is printed. FSORT_TEST_SORTS=<n> changes the number of sorts of each
// test, from that seed on when both are given.
//
// Some sorts run with the engine's shortcuts off, some under -v, which forbids them too, and some in memory
// so small for the input that large bins are too large for the array sort: all ways must give the same bytes.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "support/campaign.h"
#include "support/key_gen.h"
#include "support/record_gen.h"
#include "support/reference_engine.h"
#include "support/run_fsort.h"

namespace fsort_test {
namespace {

struct Plan {
  SortSpec spec;
  RecordSet set;
  SortRequest request;
};

// What a test asks of its sorts.
struct Regime {
  RecordType type = RecordType::text;
  bool tight = false;    // memory that holds the records, but bins beyond the scratch of the array sort
  bool checked = false;  // the sort checks its own output, which goes by files
};

// Memory that holds the records, their headers and some levels, and little more.
std::size_t tight_memory_kb(const Plan& plan) {
  constexpr std::size_t kLevelsKb = 500;
  constexpr std::size_t kRowBytes = 3, kRecordBytes = 12;
  const std::size_t rows = static_cast<std::size_t>(Oracle(plan.spec).table_rows());
  std::size_t bytes = 0;
  for (const std::string& record : plan.set.records) bytes += record.size() + rows * kRowBytes + kRecordBytes;
  return bytes / 1024 * 11 / 10 + kLevelsKb;
}

// Options that change plans, estimates and buffers. The records always fit in the memory given.
void add_resources(Random* random, std::size_t count, std::size_t tight_kb,
                   std::vector<std::string>* arguments) {
  const bool tight = tight_kb > 0;
  const auto add = [&](const char* option, const std::vector<std::string>& values) {
    arguments->insert(arguments->end(), {option, random->pick(values)});
  };
  const bool roomy = random->chance(75) || count >= 12;
  if (!tight && random->chance(20)) add("-l", {"7", "8", "10", "20", "129", "256", "600", "1500"});
  if (roomy && random->chance(25)) add("-fs", {"1", "2", "5", "100", "1000", "20000"});
  if (roomy && random->chance(15)) add("-rs", {"1", "8", "10", "100"});
  if (roomy && !tight) add("-m", {count > 1000 ? "400000" : "20000"});
  if (tight_kb > 0) add("-m", {std::to_string(tight_kb)});
  if (random->chance(60))
    arguments->push_back("-q");
  else if (count <= 1000 && random->chance(20))
    arguments->push_back("-v");
}

void add_buffers(Random* random, std::vector<std::string>* arguments) {
  if (random->chance(15))
    arguments->insert(arguments->end(), {"-ibs", random->pick<std::string>({"1", "2", "1000"})});
  if (random->chance(15))
    arguments->insert(arguments->end(), {"-obs", random->pick<std::string>({"1", "2", "1000"})});
}

Plan make_plan(std::uint64_t seed, const Regime& regime, std::size_t count) {
  Random random(seed);
  Plan plan;
  const RecordType type = regime.type;
  const Shape shape = random_shape(&random);
  plan.spec = random_spec(&random, shape);
  plan.set = random_records(&random, shape, type, count, regime.tight ? 50 : 4);
  plan.request.records = plan.set.records;
  plan.request.input = type == RecordType::free || random.chance(30) ? Route::callback : Route::file;
  plan.request.output = type == RecordType::free || random.chance(40) ? Route::callback : Route::file;
  if (regime.checked) plan.request.input = plan.request.output = Route::file;
  std::vector<std::string>& arguments = plan.request.arguments;
  plan.request.by_arguments = plan.request.input == Route::file && random.chance(10);
  plan.request.checked = regime.checked;
  if (regime.checked) plan.request.by_arguments = true;
  plan.request.plain_levels = !regime.tight && random.chance(15);
  add_resources(&random, count, regime.tight ? tight_memory_kb(plan) : 0, &arguments);
  if (plan.request.input == Route::file) add_buffers(&random, &arguments);
  const std::vector<std::string> keys = render(plan.spec, &random);
  arguments.insert(arguments.end(), keys.begin(), keys.end());
  if (needs_argument_vector(plan.request)) plan.request.input = Route::file;
  if (type == RecordType::free && plan.request.input == Route::file) {
    // Such records go through no file, so the command must be short.
    plan.request.input = Route::callback;
    plan.request.arguments = {"-q"};
    plan.spec = {};
  }
  if (plan.request.input == Route::file) {
    arguments.insert(arguments.begin(), plan.set.options.begin(), plan.set.options.end());
  }
  return plan;
}

ReferenceInput input_of(const Plan& plan, const SortRun& run) {
  ReferenceInput input;
  input.from_file = run.input_was_file;
  input.by_arguments = run.by_arguments;
  input.file_bytes = concatenate(plan.set.records).size();
  input.record_length = plan.set.type == RecordType::text    ? 10
                        : plan.set.type == RecordType::fixed ? plan.set.size
                                                             : 12;
  return input;
}

std::string first_difference(const std::vector<std::string>& right, const std::string& bytes) {
  std::size_t at = 0;
  for (std::size_t i = 0; i < right.size(); ++i) {
    const std::string found = bytes.substr(std::min(at, bytes.size()), right[i].size());
    if (found != right[i]) {
      return "record " + std::to_string(i) + " is " + testing::PrintToString(found) + " instead of " +
             testing::PrintToString(right[i]);
    }
    at += right[i].size();
  }
  return std::to_string(bytes.size() - at) + " bytes too many";
}

// What is wrong with the run, or "".
std::string fault_of(const Plan& plan, const SortRun& run) {
  const std::string command = join(plan.request.arguments);
  const ReferenceResult right = reference_sort(split_command(command), plan.set.records, input_of(plan, run));
  const std::string texts = testing::PrintToString(run.texts);
  if (!right.fault.empty()) {
    const std::string title =
        right.fault_in_call ? "Error detected in fsort call\n" : "Error detected in fsort initialization\n";
    const std::vector<std::string> expected = {right.fault + "\n", title};
    const std::vector<std::string> last(run.texts.end() - std::min<std::ptrdiff_t>(std::ssize(run.texts), 2),
                                        run.texts.end());
    if (run.status == 1 && last == expected) return "";
    return "status " + std::to_string(run.status) + " and " + texts + " instead of " +
           testing::PrintToString(expected);
  }
  if (run.status != 0) return "status " + std::to_string(run.status) + ": " + texts;
  const std::vector<std::string> records = pick(plan.set.records, right.order);
  const std::string judged =
      judge(plan.spec, plan.set.records,
            run.records.empty() && plan.set.type != RecordType::free ? split_records(run.bytes, plan.set)
                                                                     : run.records);
  if (!judged.empty()) return "judged: " + judged;
  if (plan.request.checked && run.misplaced != 0) {
    return "checked: record " + std::to_string(run.misplaced) + " out of order";
  }
  if (plan.request.checked && run.same_records != (records.size() == plan.set.records.size())) {
    return "checked: other records";
  }
  if (run.bytes != concatenate(records)) return "ties: " + first_difference(records, run.bytes);
  return "";
}

void keep_input(const Plan& plan) {
  const std::string name = (std::filesystem::temp_directory_path() / "fsort-replay-input").string();
  std::ofstream file(name, std::ios::binary);
  file << concatenate(plan.set.records);
  std::fprintf(stderr, "command: %s\ninput (%zu records): %s\n", join(plan.request.arguments).c_str(),
               plan.set.records.size(), name.c_str());
}

using CountOf = std::size_t (*)(std::uint64_t seed);

void run_sorts(const Regime& regime, std::uint64_t first_seed, std::uint64_t sorts, CountOf count_of) {
  const std::uint64_t replay = from_environment("FSORT_TEST_SEED", 0);
  if (replay != 0)
    first_seed = replay, sorts = 1;
  else if (kSlow)
    sorts = sorts / kSlowShare + 1;
  sorts = from_environment("FSORT_TEST_SORTS", sorts);
  int failures = 0;
  for (std::uint64_t seed = first_seed; seed < first_seed + sorts && failures < 5; ++seed) {
    const Plan plan = make_plan(seed, regime, count_of(seed));
    if (replay != 0 && sorts == 1) keep_input(plan);
    const std::string fault = fault_of(plan, run_fsort(plan.request));
    if (fault.empty()) continue;
    ++failures;
    ADD_FAILURE() << "FSORT_TEST_SEED=" << seed << "  " << plan.set.records.size() << " records, input by "
                  << (plan.request.input == Route::file ? "file" : "callback") << "\n  "
                  << join(plan.request.arguments) << "\n  " << fault;
  }
}

// Counts around the thresholds of the list sort; one sort in forty has a thousand records.
std::size_t few(std::uint64_t seed) {
  static const std::vector<std::size_t> kCounts = {0, 1, 2, 5, 6, 11, 12, 31, 32, 33};
  return seed % 40 == 0 ? 1000 : kCounts[seed % 10 == 0 ? seed / 10 % 10 : seed % 10];
}
std::size_t thousand(std::uint64_t) { return 1000; }
std::size_t three_thousand(std::uint64_t) { return 3000; }
std::size_t hundred_thousand(std::uint64_t) { return kSlow ? 20000 : 100000; }

TEST(RandomSorts, OfTextRecordsGiveTheReferenceOrder) { run_sorts({RecordType::text}, 1000000, 7000, few); }
TEST(RandomSorts, OfFixedRecordsGiveTheReferenceOrder) { run_sorts({RecordType::fixed}, 2000000, 4000, few); }
TEST(RandomSorts, OfVariableRecordsGiveTheReferenceOrder) {
  run_sorts({RecordType::variable}, 3000000, 4000, few);
}
TEST(RandomSorts, OfCallbackRecordsGiveTheReferenceOrder) {
  run_sorts({RecordType::free}, 4000000, 7000, few);
}
TEST(RandomSorts, OfAThousandTextRecordsGiveTheReferenceOrder) {
  run_sorts({RecordType::text}, 5000000, 400, thousand);
}
TEST(RandomSorts, OfAThousandFixedRecordsGiveTheReferenceOrder) {
  run_sorts({RecordType::fixed}, 6000000, 200, thousand);
}
TEST(RandomSorts, OfAThousandCallbackRecordsGiveTheReferenceOrder) {
  run_sorts({RecordType::free}, 7000000, 400, thousand);
}
TEST(RandomSorts, OfAHundredThousandTextRecordsGiveTheReferenceOrder) {
  run_sorts({RecordType::text}, 8000000, 8, hundred_thousand);
}
TEST(RandomSorts, OfAHundredThousandCallbackRecordsGiveTheReferenceOrder) {
  run_sorts({RecordType::free}, 9000000, 8, hundred_thousand);
}
TEST(RandomSorts, WithBinsTooLargeForTheArraySortGiveTheReferenceOrder) {
  run_sorts({RecordType::text, true}, 11000000, 200, three_thousand);
  run_sorts({RecordType::text, true}, 12000000, 4, hundred_thousand);
}

TEST(RandomSorts, OfTextRecordsAreFoundRightByTheirOwnCheck) {
  run_sorts({.type = RecordType::text, .checked = true}, 14000000, 2000, few);
}
TEST(RandomSorts, OfFixedRecordsAreFoundRightByTheirOwnCheck) {
  run_sorts({.type = RecordType::fixed, .checked = true}, 15000000, 1000, few);
}
TEST(RandomSorts, OfAThousandVariableRecordsAreFoundRightByTheirOwnCheck) {
  run_sorts({.type = RecordType::variable, .checked = true}, 16000000, 100, thousand);
}

// Lines so short that the sort writes them without looking at them again, between others, by files: what
// leaves is what came, in the order that plain levels give.
TEST(RandomSorts, OfShortLinesByFilesLeaveAsTheyCame) {
  Random random(13000000);
  for (int round = 0; round < (kSlow ? 40 : 400); ++round) {
    SortRequest request;
    request.arguments =
        split_command(random.pick<std::string>({"-q", "-q -u", "-q -i", "-q -k -b ' '", "-q -k 'a'-'z'",
                                                "-q -u -k 'a'-'c' ' '", "-q -k -c 1-", "-q -k -c 0-3"}));
    request.arguments.insert(request.arguments.begin(), {"-obs", random.pick<std::string>({"1", "2", "60"})});
    request.input = request.output = Route::file;
    const std::string alphabet =
        random.pick<std::string>({"ab", "abc \t", "abcdefgh", std::string("ab\x01\xff"), " ~a"});
    const std::vector<char> letters(alphabet.begin(), alphabet.end());
    const std::size_t longest = random.pick<std::size_t>({3, 7, 8, 9, 12});
    const std::size_t prefix = random.chance(30) ? random.pick<std::size_t>({1, 7, 8, 9}) : 0;
    for (std::size_t n = random.pick<std::size_t>({40, 300, 3000}); n > 0; --n) {
      std::string line(prefix, alphabet[0]);
      for (int left = random.below(static_cast<int>(longest) + 1); left > 0; --left)
        line += random.pick(letters);
      request.records.push_back(line + "\n");
    }
    const SortRun run = run_fsort(request);
    request.plain_levels = true;
    const SortRun plain = run_fsort(request);
    ASSERT_EQ(run.status, plain.status) << round;
    ASSERT_EQ(run.bytes, plain.bytes) << round << " " << join(request.arguments);
  }
}

// The oracle and the reference engine were written apart; where both are asked they must agree.
TEST(ReferenceEngine, AgreesWithTheOracleOnRandomSorts) {
  const std::uint64_t replay = from_environment("FSORT_TEST_SEED", 0);
  const std::uint64_t first = replay != 0 ? replay : 10000000, sorts = replay != 0 ? 1 : kSlow ? 300 : 5000;
  for (std::uint64_t seed = first; seed < first + sorts; ++seed) {
    Random choice(seed);
    const Plan plan =
        make_plan(seed, {choice.pick<RecordType>({RecordType::text, RecordType::free})}, few(seed));
    const ReferenceResult result =
        reference_sort(split_command(join(plan.request.arguments)), plan.set.records, ReferenceInput{});
    if (!result.fault.empty()) continue;
    EXPECT_EQ(judge(plan.spec, plan.set.records, pick(plan.set.records, result.order)), "")
        << "FSORT_TEST_SEED=" << seed << "\n  " << join(plan.request.arguments);
  }
}

}  // namespace
}  // namespace fsort_test
