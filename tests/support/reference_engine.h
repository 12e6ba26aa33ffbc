// Second half of the reference engine: distribution, bins in output order, list sort, all by the letter.
//
// Slow and plain, on vectors: every level is a tree of bins filled record by record, each record pushed on
// the front of its bin, small bins finished by insertion. It gives the exact order of a sort that stays in
// memory, the order of equal records and the survivors of -u included, so the tool's output must equal it
// byte for byte. The order of equal records depends on how many passes a group goes through, and that on the
// estimated number of records, the segment length and the classes of the keys; all of it is computed here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "support/reference_keys.h"

namespace fsort_test {

// How the records come in, which decides the estimates when the command line does not give them.
struct ReferenceInput {
  bool from_file = false;     // a named file: its size and the record type give -fs and -rs
  bool by_arguments = false;  // started from an argument vector, which rounds the size up
  std::uint64_t file_bytes = 0;
  std::uint64_t record_length = 0;  // 10 for text, 12 for variable, the size for fixed records
};

struct ReferenceResult {
  std::string fault;               // message of the failure, "" when the sort succeeds
  bool fault_in_call = false;      // raised while sorting, not while reading the command line
  std::vector<std::size_t> order;  // indices of the records as they leave
};

[[nodiscard]] ReferenceResult reference_sort(const std::vector<std::string>& arguments,
                                             const std::vector<std::string>& records,
                                             const ReferenceInput& input);

// The records in the order of `result`.
[[nodiscard]] std::vector<std::string> pick(const std::vector<std::string>& records,
                                            const std::vector<std::size_t>& order);

}  // namespace fsort_test
