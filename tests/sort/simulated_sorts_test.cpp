// Whole sorts on a simulated system: transfers late and in any order, and in half of the sorts calls
// and transfers that fail or are cut short.
//
// Undisturbed, the output must be right. Disturbed, the sort must either give right output or say that it
// failed: status 1 and a message. Never may a buffer be touched, used again or given back while the system
// still works on it, and at the end nothing is left: no memory, no handle, no work file.
//
// Every sort follows from its seed: FSORT_SIM_SEED=<seed> with the test of that type repeats one,
// FSORT_SIM_RUNS=<n> sets the number of each test.
#include <gtest/gtest.h>

#include <algorithm>

#include "entry/instance.h"
#include "entry/start_arguments.h"
#include "fsort.h"
#include "support/campaign.h"
#include "support/key_gen.h"
#include "support/osdll.h"
#include "support/record_gen.h"
#include "support/sim_os.h"
#include "support/spill_plan.h"

namespace fsort_test {
namespace {

using fsort::test::SimCounts;
using fsort::test::SimOs;
using fsort::test::SimTrouble;
using Lines = std::vector<std::string>;

constexpr std::int32_t kExitCode = 7;
constexpr std::size_t kNever = SIZE_MAX;

enum class Way { kFile, kStandard, kCallback };

struct Plan {
  SortSpec spec;
  RecordSet set;
  Lines arguments;  // without those that name files
  Way input = Way::kFile;
  Way output = Way::kFile;
  std::size_t files = 1;  // that the input is spread over
  std::uint32_t in_type = fsort::kFileTypePipe;
  std::uint32_t out_type = fsort::kFileTypePipe;
  std::size_t exit_read_at = kNever;   // the read function calls FsortExit there
  std::size_t exit_write_at = kNever;  // the write function
  bool plain_levels = false;
};

// What came of a sort. The callbacks have no argument of their own, so the running one stands here.
struct Run {
  const Plan* plan = nullptr;
  fsort_handle handle = nullptr;
  std::size_t next = 0;
  std::int32_t status = -1;
  Lines texts;
  Lines records;
  std::string bytes;
  std::uint32_t work_files = 0;
};
Run run;

void take_text(const char* text) { run.texts.emplace_back(text); }

std::int32_t give_record(std::uint64_t* length, const void** record) {
  *length = 0;
  *record = nullptr;
  if (run.next == run.plan->exit_read_at) FsortExit(run.handle, kExitCode);
  if (run.next == run.plan->set.records.size()) return 0;
  const std::string& data = run.plan->set.records[run.next++];
  *length = data.size();
  *record = data.data();
  return 0;
}

std::int32_t take_record(std::uint64_t length, const void* record) {
  if (run.records.size() == run.plan->exit_write_at) FsortExit(run.handle, kExitCode);
  run.records.emplace_back(static_cast<const char*>(record), length);
  return 0;
}

// Text records only: their files may be joined anywhere, the others' end between two records as well.
void spread(Plan* plan, Random* random) {
  plan->files = random->chance(30) ? static_cast<std::size_t>(random->between(2, 5)) : 1;
}

void choose_ways(Plan* plan, RecordType type, Random* random) {
  if (type == RecordType::free) {
    plan->input = Way::kCallback;
    plan->output = Way::kCallback;
    if (random->chance(15)) plan->exit_read_at = static_cast<std::size_t>(random->between(0, 2500));
    if (random->chance(15)) plan->exit_write_at = static_cast<std::size_t>(random->between(0, 2500));
    return;
  }
  const std::vector<std::uint32_t> types = {fsort::kFileTypeDisk, fsort::kFileTypePipe, fsort::kFileTypeChar};
  if (random->chance(20)) plan->input = Way::kStandard;
  if (random->chance(20)) plan->output = Way::kStandard;
  plan->in_type = random->pick(types);
  plan->out_type = random->pick(types);
  spread(plan, random);
}

Plan make_plan(Random* random, RecordType type) {
  Plan plan;
  const Shape shape = random_shape(random);
  plan.spec = random_spec(random, shape);
  const auto count = static_cast<std::size_t>(random->between(600, random->chance(80) ? 1800 : 4000));
  plan.set = random_records(random, shape, type, count, 15);
  plan.plain_levels = random->chance(30);
  plan.arguments = spilling_regime(random, plan.spec);
  plan.arguments.insert(plan.arguments.begin(), {"-q", "-w", "work"});
  choose_ways(&plan, type, random);
  if (plan.input != Way::kCallback) {
    plan.arguments.insert(plan.arguments.end(), plan.set.options.begin(), plan.set.options.end());
  }
  const Lines keys = render(plan.spec, random);
  plan.arguments.insert(plan.arguments.end(), keys.begin(), keys.end());
  return plan;
}

// Two in five sorts are left in peace; the others meet one to three kinds of trouble, rare or frequent.
void choose_trouble(SimOs* sim, Random* random) {
  sim->set_lateness(random->pick(std::vector<int>{100, 100, 80, 50, 10}),
                    random->pick(std::vector<int>{0, 0, 5, 20, 60}));
  sim->set_memory(std::uint64_t{1} << random->between(21, 30));
  if (random->chance(5)) sim->set_overlapped(false);
  if (random->chance(40)) return;
  const std::vector<SimTrouble> kinds = {SimTrouble::kOpen,      SimTrouble::kRead,   SimTrouble::kRead,
                                         SimTrouble::kWrite,     SimTrouble::kWrite,  SimTrouble::kEvent,
                                         SimTrouble::kClose,     SimTrouble::kSetEnd, SimTrouble::kShortWrite,
                                         SimTrouble::kFlush,     SimTrouble::kHeap,   SimTrouble::kShortRead,
                                         SimTrouble::kShortRead, SimTrouble::kDelete, SimTrouble::kRegion};
  for (int n = random->between(1, 3); n > 0; --n) {
    sim->trouble(random->pick(kinds), random->pick(std::vector<int>{30, 100, 300, 1000, 3000}));
  }
}

// Puts the input where the plan wants it; result: the arguments that name the files.
Lines place_files(const Plan& plan, SimOs* sim) {
  Lines names;
  sim->make_folder("work");
  const std::string bytes = concatenate(plan.set.records);
  sim->set_standard(fsort::kStdInput, plan.in_type, plan.input == Way::kStandard ? bytes : "");
  sim->set_standard(fsort::kStdOutput, plan.out_type, "");
  sim->set_standard(fsort::kStdError, fsort::kFileTypeChar, "");
  if (plan.input == Way::kFile) {
    const std::size_t share = plan.set.records.size() / plan.files + 1;
    for (std::size_t from = 0; from < plan.set.records.size(); from += share) {
      const auto first = plan.set.records.begin() + static_cast<std::ptrdiff_t>(from);
      const std::size_t count = std::min(share, plan.set.records.size() - from);
      const std::string name = "in" + std::to_string(from);
      sim->make_file(name, concatenate(Lines(first, first + static_cast<std::ptrdiff_t>(count))));
      names.push_back("<" + name);
    }
  }
  if (plan.output == Way::kFile) names.emplace_back(">out");
  return names;
}

std::int32_t start(const Plan& plan, const Lines& arguments) {
  if (plan.input == Way::kCallback) {
    return FsortStart(run.handle, give_record, take_record, join(arguments).c_str());
  }
  std::vector<const char*> pointers = {"fsort"};
  for (const std::string& argument : arguments) pointers.push_back(argument.c_str());
  return fsort::start_arguments(run.handle, static_cast<std::int32_t>(pointers.size()), pointers.data());
}

void run_plan(const Plan& plan, SimOs* sim) {
  run = {};
  run.plan = &plan;
  Lines arguments = place_files(plan, sim);
  arguments.insert(arguments.end(), plan.arguments.begin(), plan.arguments.end());
  run.handle = FsortCreate(take_text, nullptr);
  if (run.handle == nullptr) return;
  auto* instance = reinterpret_cast<fsort::Instance*>(run.handle);
  instance->driver.plain_levels = plan.plain_levels ? 1 : 0;
  run.status = start(plan, arguments);
  run.work_files = instance->sublist.file_counter;
  FsortDestroy(run.handle);
  if (plan.output == Way::kFile) run.bytes = sim->content("out");
  if (plan.output == Way::kStandard) run.bytes = sim->written_to(fsort::kStdOutput);
}

Lines output_records(const Plan& plan) {
  return plan.output == Way::kCallback ? run.records : split_records(run.bytes, plan.set);
}

std::string stray_files(const SimOs& sim) {
  std::string all;
  for (const std::string& name : sim.names()) {
    if (name.rfind("in", 0) != 0 && name != "out") all += " " + name;
  }
  return all;
}

// What the status and the output have against them, or "".
std::string wrong_result(const Plan& plan, bool disturbed) {
  const std::string texts = testing::PrintToString(run.texts);
  const std::string refused = refusal(plan.spec, plan.set.records);
  switch (run.status) {
    case -1:
      return disturbed ? "" : "no handle";
    case 0:
      if (!refused.empty()) return "nothing was said about " + refused;
      if (!disturbed && !run.texts.empty()) return "displayed " + texts;
      return judge(plan.spec, plan.set.records, output_records(plan));
    case 1:
      if (run.texts.empty()) return "status 1 without a message";
      if (disturbed || (!refused.empty() && run.texts[0].ends_with(refused + "\n"))) return "";
      return "status 1 and " + texts + (refused.empty() ? "" : " instead of " + refused);
    case kExitCode:
      return plan.exit_read_at != kNever || plan.exit_write_at != kNever ? "" : "nobody called FsortExit";
    default:
      return "status " + std::to_string(run.status);
  }
}

// A handle that cannot be made keeps its record, by design.
bool may_leave_traces() { return run.handle == nullptr; }

std::string fault_of(const Plan& plan, const SimOs& sim) {
  if (!sim.violations().empty()) return testing::PrintToString(sim.violations());
  if (!sim.clean() && !may_leave_traces()) return "left behind: " + sim.alive();
  const std::string stray = may_leave_traces() ? "" : stray_files(sim);
  if (!stray.empty()) return "left behind:" + stray;
  return wrong_result(plan, sim.counts().troubles != 0);
}

void add(SimCounts* sum, const SimCounts& one) {
  sum->transfers += one.transfers;
  sum->late += one.late;
  sum->early += one.early;
  sum->out_of_order += one.out_of_order;
  sum->most_in_flight = std::max(sum->most_in_flight, one.most_in_flight);
  sum->troubles += std::min<std::uint64_t>(one.troubles, 1);  // sorts, not calls
}

struct Tally {
  SimCounts counts;
  std::uint64_t sorts = 0;
  std::uint64_t spilled = 0;
  std::uint64_t disturbed_right = 0;
  std::uint64_t failed = 0;
};

// One sort; what is wrong with it, or "".
std::string run_seed(std::uint64_t seed, RecordType type, Tally* tally) {
  Random random(seed);
  const Plan plan = make_plan(&random, type);
  if (plan.input == Way::kCallback && join(plan.arguments).size() > FSORT_MAX_COMMAND) return "";
  SimOs sim(seed);
  choose_trouble(&sim, &random);
  run_plan(plan, &sim);
  ++tally->sorts;
  tally->spilled += std::min(run.work_files, 1u);
  if (run.status == 0 && sim.counts().troubles != 0) ++tally->disturbed_right;
  if (run.status == 1) ++tally->failed;
  add(&tally->counts, sim.counts());
  const std::string fault = fault_of(plan, sim);
  fsort::osdll_drop_error_text();
  sim.give_back_memory();
  if (fault.empty()) return "";
  return std::to_string(plan.set.records.size()) + " records, " + std::to_string(sim.counts().troubles) +
         " troubles, status " + std::to_string(run.status) + ", " + testing::PrintToString(run.texts) +
         "\n  " + join(plan.arguments) + "\n  " + fault;
}

void run_sorts(RecordType type, std::uint64_t first_seed, std::uint64_t sorts) {
  const std::uint64_t replay = from_environment("FSORT_SIM_SEED", 0);
  if (replay != 0)
    first_seed = replay, sorts = 1;
  else if (kSanitized)
    sorts = sorts / kSlowShare + 1;
  sorts = from_environment("FSORT_SIM_RUNS", sorts);
  int failures = 0;
  Tally tally;
  for (std::uint64_t seed = first_seed; seed < first_seed + sorts && failures < 5; ++seed) {
    const std::string fault = run_seed(seed, type, &tally);
    if (fault.empty()) continue;
    ++failures;
    ADD_FAILURE() << "FSORT_SIM_SEED=" << seed << "  " << fault;
  }
  run = {};
  if (replay != 0 || failures != 0) return;
  // A campaign in which nothing happened proves nothing.
  EXPECT_GT(tally.spilled * 3, tally.sorts) << "too few of them used work files";
  EXPECT_GT(tally.counts.troubles * 6, tally.sorts) << "too few of them were disturbed";
  EXPECT_GT(tally.disturbed_right * 60, tally.sorts);
  EXPECT_GT(tally.failed * 20, tally.sorts);
  EXPECT_GT(tally.counts.late, tally.sorts);
  EXPECT_GT(tally.counts.early, tally.sorts / 2);
  EXPECT_GT(tally.counts.out_of_order, 0u);
  EXPECT_GE(tally.counts.most_in_flight, 2u);
}

TEST(SimulatedSorts, OfTextRecordsAreRightOrSayThatTheyFailed) {
  run_sorts(RecordType::text, 51000000, 1500);
}
TEST(SimulatedSorts, OfFixedRecordsAreRightOrSayThatTheyFailed) {
  run_sorts(RecordType::fixed, 52000000, 900);
}
TEST(SimulatedSorts, OfVariableRecordsAreRightOrSayThatTheyFailed) {
  run_sorts(RecordType::variable, 53000000, 900);
}
TEST(SimulatedSorts, OfCallbackRecordsAreRightOrSayThatTheyFailed) {
  run_sorts(RecordType::free, 54000000, 1000);
}

}  // namespace
}  // namespace fsort_test
