// Counts of a campaign. See the header.
#include "torture/tally.h"

#include <cstdlib>
#include <fstream>

namespace fsort_test {

void Tally::add_injection(const Injection& fault, const std::string& outcome) {
  ++injections_;
  ++counts_["injection\t" + fault.call_name() + "\t" + fault.mode_name() + "\t" + outcome];
}

void Tally::add_message(const std::string& text) { ++counts_["message\t" + text.substr(0, text.find('\n'))]; }

void Tally::add_scenario(const std::string& name, std::uint64_t injections) {
  counts_["scenario\t" + name] += injections;
}

void Tally::save() const {
  const char* name = std::getenv("FSORT_TORTURE_TALLY");
  if (name == nullptr) return;
  std::ofstream file(name, std::ios::app | std::ios::binary);
  for (const auto& [key, count] : counts_) file << key << '\t' << count << '\n';
}

Tally& tally() {
  static Tally all;
  return all;
}

}  // namespace fsort_test
