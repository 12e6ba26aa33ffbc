// Runs the sort of one scenario with a fault in it, and looks at everything that the fault may have touched.
//
// A disturbed sort runs in the middle of another one: a neighbour instance is inside FsortStart, and its read
// function creates the tortured instance, runs its sort with the fault, destroys it and goes on. So the other
// instance lives through the whole life of the failing one. Afterwards a fresh instance sorts, now and then
// the whole scenario.
//
//   neighbour   create  start ... record 12 ... record 24 ... end  destroy
//   tortured                          create  start  destroy
//   fault                            |<------ in force ----->|
//   next                                                                    create  start  destroy
//
// (The peers of a pipe are joined when the sort is over, which cannot be done inside a callback: it would
// hold the entry lock that they need. A pipe's neighbour is created before and sorts afterwards.)
//
// After each: the start's status and texts are those of the fault (injection.h) or the output is right; the
// input files are as they were; no file is left but the output, save a work file whose deletion the system
// refused; nothing is left on the heap, no file, no event; neighbour and next sort are right.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "support/temp_folder.h"
#include "torture/injection.h"

namespace fsort_test {

class Rig {
 public:
  struct Result {
    std::string fault;    // what is wrong, "" when nothing is
    std::string outcome;  // "reported", "no harm", ...
    std::string message;  // of a failure, as in the table of messages
    bool struck = false;  // the sort made the call that was to fail
  };

  explicit Rig(const Scenario& scenario);

  // Runs the sort undisturbed, which must be right and tells how often it makes each call. Result: what is
  // wrong, or "".
  [[nodiscard]] std::string prepare();
  [[nodiscard]] std::uint64_t calls(fsort::test::OsCall call) const {
    return calls_[static_cast<std::size_t>(call)];
  }

  // Runs it with the fault. `thorough`: the sort after it is the whole scenario.
  [[nodiscard]] Result strike(const Injection& fault, bool thorough);

 private:
  struct Run {
    bool created = false;
    bool struck = false;
    std::int32_t status = 0;
    std::size_t work_files = 0;  // there when the start returned
    Texts texts;                 // of creation and start
    Texts destruction_texts;     // of the destruction
    std::vector<std::string> records;
  };

  // The tortured instance's life; called inside the neighbour's read function.
  void disturb(fsort::test::FaultOs* faults, const Injection* fault);
  void set_rule(fsort::test::FaultOs* faults, const Injection& fault) const;
  std::int32_t start(void* handle) const;
  // The neighbour's sort, with the tortured one inside it. Result: what is wrong, or "".
  std::string run_beside_neighbour(fsort::test::FaultOs* faults, const Injection* fault);
  void read_output();
  std::string judge_run(const Injection& fault, Result* result) const;
  [[nodiscard]] bool output_is_right() const;
  [[nodiscard]] std::string files_are_in_order(const Injection& fault) const;
  std::string next_sort(bool thorough);
  [[nodiscard]] std::string command() const;
  [[nodiscard]] std::vector<std::string> words() const;
  [[nodiscard]] Texts input_names() const;
  [[nodiscard]] bool writes_file() const {
    return scenario_.output == Side::file || scenario_.output == Side::standard;
  }
  [[nodiscard]] bool reads_file() const {
    return scenario_.input == Side::file || scenario_.input == Side::standard;
  }

  const Scenario& scenario_;
  fsort::test::TempFolder in_, out_, work_;
  std::vector<std::string> input_contents_;
  std::array<std::uint64_t, static_cast<std::size_t>(fsort::test::OsCall::kKinds)> calls_{};
  std::vector<std::string> right_;  // the undisturbed output
  Run run_;
};

}  // namespace fsort_test
