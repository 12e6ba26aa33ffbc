// What a campaign counts: injections by call and outcome, and the messages that came.
//
// Every process adds its counts, one a line, to the file that FSORT_TORTURE_TALLY names; the campaign script
// sums them up:
//   injection <tab> call <tab> mode <tab> outcome <tab> number
//   message <tab> first line <tab> number
//   scenario <tab> name <tab> injections
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "torture/injection.h"

namespace fsort_test {

class Tally {
 public:
  void add_injection(const Injection& fault, const std::string& outcome);
  void add_message(const std::string& text);
  void add_scenario(const std::string& name, std::uint64_t injections);
  [[nodiscard]] std::uint64_t injections() const { return injections_; }
  // Appends everything to the file, when the variable names one.
  void save() const;

 private:
  std::map<std::string, std::uint64_t> counts_;
  std::uint64_t injections_ = 0;
};

// The process's own.
Tally& tally();

}  // namespace fsort_test
