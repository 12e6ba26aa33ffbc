// The sorts under torture: a product of record types, kinds of keys, memory regimes and routes.
//
// Every scenario follows from its five co-ordinates; its records from their number. Regimes:
//   in memory  everything fits; default buffers
//   spilling   records go through work files with buffers of the default size
//   starved    three segments, the smallest buffers everywhere: many small transfers, work files written and
//              read in turn
// Half of the scenarios put their overlapped transfers off until somebody waits for them.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "support/oracle_sort.h"
#include "support/record_gen.h"

namespace fsort_test {

enum class Memory { roomy, spilling, starved };

// How records get in and out.
enum class Passage {
  files,      // one input file, one output file
  included,   // two input files, and the keys in an include file
  standard,   // standard input and output, the command as an argument vector
  callbacks,  // functions on both sides, or on one side and a file on the other
  pipe,       // the record pipe on both sides, or on one side and a function on the other
};

enum class Side { file, standard, function, pipe };

struct Scenario {
  std::string name;  // "text records, key of numbers, starved, by files"
  Memory memory = Memory::roomy;
  Passage passage = Passage::files;
  Side input = Side::file;
  Side output = Side::file;
  bool deferred = false;  // overlapped transfers are put off
  std::string options;    // record type, memory, buffers
  std::string keys;       // global key options and keys
  SortSpec spec;          // the same for the judge
  RecordSet set;
  std::size_t first_file = 0;  // records in the first of two input files
  std::string title;           // of the reader that reads the files
};

// All scenarios of a regime and a passage; record types times kinds of keys.
[[nodiscard]] std::vector<Scenario> scenarios(Memory memory, Passage passage);

}  // namespace fsort_test
