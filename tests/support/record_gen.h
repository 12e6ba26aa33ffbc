// Random records that fit a shape: words of few letters, numbers in every spelling, sign letters, blanks, and
// now and then any byte. Most inputs draw from a small pool of distinct records, so that duplicates, ties and
// common prefixes are the rule.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "support/key_gen.h"

namespace fsort_test {

enum class RecordType { text, fixed, variable, free };  // free: any bytes, handed over by a callback

struct RecordSet {
  RecordType type = RecordType::text;
  std::size_t size = 0;                             // of fixed records
  std::vector<std::string> options;                 // the record-type arguments
  int length_low = 0, length_high = 1, header = 2;  // where variable records keep their length
  std::vector<std::string> records;
};

[[nodiscard]] std::string random_number(Random* random);
// `alike`: percent of the sets whose records share a long prefix.
[[nodiscard]] RecordSet random_records(Random* random, const Shape& shape, RecordType type, std::size_t count,
                                       int alike);

// A file's bytes as the records in it.
[[nodiscard]] std::vector<std::string> split_records(const std::string& bytes, const RecordSet& set);
[[nodiscard]] std::string concatenate(const std::vector<std::string>& records);

}  // namespace fsort_test
