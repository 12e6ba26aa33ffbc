// Every fallible call of a sort fails in turn.
//
// For each scenario (scenarios.h) and each kind of fault (injection.h) the 1st, 2nd, 3rd, ... call fails
// until the sort makes no call that could; rig.h says what is looked at after each. FSORT_TORTURE=full takes
// every call, FSORT_TORTURE=<n> at most about n of each loop, spread evenly. The short form, which is part of
// every test run, takes one of each loop, a third of the scenarios that spill and a fifth of those with the
// pipe. Which calls are left out changes from loop to loop and from scenario to scenario.
//
// A fault is printed with the scenario and the injection; FSORT_TORTURE_ONLY=<words> runs the scenarios whose
// name contains the words.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>

#include "support/campaign.h"
#include "torture/rig.h"
#include "torture/tally.h"

namespace fsort_test {
namespace {

constexpr std::size_t kShortShare = 3;        // one of so many spilling scenarios is in the short form,
constexpr std::size_t kShortPipeShare = 5;    // of those through the pipe: a busy machine slows them down
constexpr std::uint64_t kThoroughEvery = 16;  // injections between two whole sorts after a fault
constexpr std::uint64_t kTextlessEvery = 7;   // injections of which one finds no text for its code
constexpr std::uint64_t kSaltStep = 7919;     // moves the places from loop to loop
constexpr int kMostFaultsShown = 12;

std::string from_environment_text(const char* name) {
  const char* text = std::getenv(name);
  return text != nullptr ? text : "";
}

// The form of the campaign: calls that fail in each loop, or 0 for the short form.
std::uint64_t places_wanted() {
  if (from_environment_text("FSORT_TORTURE") == "full") return UINT64_MAX;
  return from_environment("FSORT_TORTURE", 0);
}

// Which of `count` calls fail: every so-and-so-manyth, from a place on that `salt` moves.
class Places {
 public:
  Places(std::uint64_t count, std::uint64_t salt) {
    const std::uint64_t wanted = std::max<std::uint64_t>(places_wanted(), 1);
    step_ = std::max<std::uint64_t>(count / wanted + (count % wanted != 0 ? 1 : 0), 1);
    offset_ = salt % step_;
  }
  [[nodiscard]] bool holds(std::uint64_t n) const { return n % step_ == offset_; }

 private:
  std::uint64_t step_ = 1;
  std::uint64_t offset_ = 0;
};

class ScenarioRun {
 public:
  ScenarioRun(const Scenario& scenario, std::uint64_t salt)
      : scenario_(scenario), rig_(scenario), salt_(salt) {}

  // Result: injections made; faults go to GoogleTest.
  std::uint64_t run() {
    const std::string wrong = rig_.prepare();
    if (!wrong.empty()) {
      ADD_FAILURE() << scenario_.name << ", undisturbed: " << wrong;
      return 0;
    }
    for (const FaultKind& kind : fault_kinds()) {
      if (!loop(kind)) break;
    }
    tally().add_scenario(scenario_.name, made_);
    return made_;
  }

 private:
  // Fails the calls of one kind in turn. Result: false when faults were found, which ends the scenario.
  bool loop(const FaultKind& kind) {
    const std::uint64_t count = rig_.calls(kind.call);
    const Places places(count, salt_);
    salt_ += kSaltStep;
    // Behind the last call of the undisturbed sort the fault strikes no more.
    const std::uint64_t end = places_wanted() == 0 ? count : count + 1;
    for (std::uint64_t n = 1; n <= end; ++n) {
      if (n <= count && !places.holds(n)) continue;
      const bool textless = strikes_ % kTextlessEvery == 0;
      Injection fault{kind.call, kind.lasting, kind.half, n, kind.codes[n % kind.codes.size()], textless};
      if (!strike(fault, n > count)) return false;
    }
    return true;
  }

  bool strike(const Injection& fault, bool behind) {
    const Rig::Result result = rig_.strike(fault, ++strikes_ % kThoroughEvery == 0);
    std::string wrong = result.fault;
    if (wrong.empty() && behind && result.struck) wrong = "more calls than in the undisturbed sort";
    if (!wrong.empty()) {
      ADD_FAILURE() << scenario_.name << "\n  " << fault.name() << "\n  " << wrong;
      return false;
    }
    if (!result.struck) return true;
    ++made_;
    tally().add_injection(fault, result.outcome);
    if (!result.message.empty()) tally().add_message(result.message);
    return true;
  }

  const Scenario& scenario_;
  Rig rig_;
  std::uint64_t made_ = 0;
  std::uint64_t strikes_ = 0;
  std::uint64_t salt_;
};

struct Group {
  Memory memory;
  Passage passage;
  const char* name;
};

// For the name of a test in lists.
void PrintTo(const Group& group, std::ostream* out) { *out << group.name; }

class EveryCallFailsInTurn : public testing::TestWithParam<Group> {};

TEST_P(EveryCallFailsInTurn, AndIsReportedOrDoesNoHarm) {
  const std::string only = from_environment_text("FSORT_TORTURE_ONLY");
  int bad = 0;
  std::uint64_t injections = 0;
  const bool cheap = GetParam().memory == Memory::roomy && GetParam().passage != Passage::pipe;
  const bool all = places_wanted() != 0 || !only.empty() || cheap;
  const std::size_t share = GetParam().passage == Passage::pipe ? kShortPipeShare : kShortShare;
  // Each passage begins elsewhere, so that together they have every record type and every kind of key.
  std::size_t ordinal = static_cast<std::size_t>(GetParam().passage);
  for (const Scenario& scenario : scenarios(GetParam().memory, GetParam().passage)) {
    ++ordinal;
    if (scenario.name.find(only) == std::string::npos) continue;
    if (!all && ordinal % share != 0) continue;
    const std::uint64_t made = ScenarioRun(scenario, ordinal * 31).run();
    injections += made;
    if (made == 0 || HasFailure()) ++bad;
    if (bad >= kMostFaultsShown) break;
  }
  EXPECT_TRUE(injections > 0 || !only.empty());
  RecordProperty("injections", static_cast<int>(injections));
}

INSTANTIATE_TEST_SUITE_P(Of, EveryCallFailsInTurn,
                         testing::Values(Group{Memory::roomy, Passage::files, "FileSortsInMemory"},
                                         Group{Memory::roomy, Passage::included, "IncludedSortsInMemory"},
                                         Group{Memory::roomy, Passage::standard, "StandardSortsInMemory"},
                                         Group{Memory::roomy, Passage::callbacks, "CallbackSortsInMemory"},
                                         Group{Memory::roomy, Passage::pipe, "PipeSortsInMemory"},
                                         Group{Memory::spilling, Passage::files, "SpillingFileSorts"},
                                         Group{Memory::spilling, Passage::included, "SpillingIncludedSorts"},
                                         Group{Memory::spilling, Passage::standard, "SpillingStandardSorts"},
                                         Group{Memory::spilling, Passage::callbacks, "SpillingCallbackSorts"},
                                         Group{Memory::spilling, Passage::pipe, "SpillingPipeSorts"},
                                         Group{Memory::starved, Passage::files, "StarvedFileSorts"},
                                         Group{Memory::starved, Passage::included, "StarvedIncludedSorts"},
                                         Group{Memory::starved, Passage::standard, "StarvedStandardSorts"},
                                         Group{Memory::starved, Passage::callbacks, "StarvedCallbackSorts"},
                                         Group{Memory::starved, Passage::pipe, "StarvedPipeSorts"}),
                         [](const auto& group) { return std::string(group.param.name); });

// The counts of this process go to the campaign's file when the last test is over.
class SaveTally : public testing::Environment {
 public:
  void TearDown() override { tally().save(); }
};
const auto* const kSaveTally = testing::AddGlobalTestEnvironment(new SaveTally);

}  // namespace
}  // namespace fsort_test
