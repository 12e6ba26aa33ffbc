// What the tool sees of a sort: how far it has come, and what its command line has said. Not exported.
#pragma once

#include <cstdint>

#include "fsort.h"
#include "platform/os.h"

namespace fsort {

// A sort, as it stands.
struct SortView {
  Handle input;               // file being read; null when none is
  std::uint64_t input_bytes;  // of all input files; valid when input_known
  std::uint8_t input_known;   // every input is a file
  std::uint64_t records_read;
  std::uint64_t records_written;  // some of the latest may be missing
};

// The sort that runs on the calling thread: for calls of the system that it makes. False when none does.
[[nodiscard]] bool sort_view(SortView* view);

// What is known of a sort that is over, before its handle is destroyed.
struct SortFacts {
  std::uint64_t records_read;
  std::uint64_t records_written;
  std::uint64_t record_bytes;  // largest record; of fixed ones, each
  const char* output_name;     // with backslashes; "": standard output. Valid until the handle is destroyed
  std::uint8_t quiet;          // -q
  std::uint8_t unique;         // -u
  std::uint8_t same_records;   // of an output that was checked: its records are those that were read
  std::uint64_t misplaced;     // and the number, from 1, of the first one out of order; 0: none
};
[[nodiscard]] SortFacts sort_facts(fsort_handle handle);

}  // namespace fsort
