// Random sorts larger than their memory. See the header.
#include "support/spill_plan.h"

#include <cstdlib>

namespace fsort_test {
namespace {

using Lines = std::vector<std::string>;

// True when a level over any of the keys has at most about a hundred bins.
bool small_tables(const std::vector<KeySpec>& keys) {
  for (const KeySpec& key : keys) {
    if (key.kind == KeyKind::numeric || !small_tables(key.inner)) return false;
    int values = 0;
    for (const SequencePart& part : key.sequence) values += std::abs(part.bytes.last - part.bytes.first) + 1;
    if (values > 96) return false;
  }
  return true;
}

}  // namespace

std::vector<std::string> spilling_regime(Random* random, const SortSpec& spec) {
  Lines arguments;
  const auto add = [&](const char* option, const Lines& values) {
    arguments.insert(arguments.end(), {option, random->pick(values)});
  };
  const bool small = small_tables(spec.keys);
  add("-l", small && random->chance(60) ? Lines{"7", "7", "8", "9", "12"}
                                        : Lines{"17", "17", "18", "20", "25", "33"});
  add("-m", {"1", "1", "1", "1", "30", "70", "150"});
  add("-wb", {"0", "2", "3", "7", "60"});
  add("-rb", {"0", "2", "3", "7", "60"});
  if (random->chance(40)) add("-ibs", {"1", "2", "7", "100"});
  if (random->chance(40)) add("-obs", {"1", "2", "7", "100"});
  if (random->chance(50)) add("-fs", {"1", "10", "50", "200", "1000", "100000", "4000000"});
  if (random->chance(15)) add("-rs", {"1", "8", "100", "3000"});
  return arguments;
}

std::string refusal(const SortSpec& spec, const std::vector<std::string>& records) {
  const Oracle oracle(spec);
  try {
    for (const std::string& record : records) static_cast<void>(oracle.extract(record));
  } catch (const RecordFault& fault) {
    return fault.what();
  }
  return "";
}

}  // namespace fsort_test
