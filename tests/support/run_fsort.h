// Runs one sort through the library in this process and collects all that comes out of it.
//
// Records go in and out through callbacks or through files in a folder of the test process. A command line
// that is too long for FsortStart is handed over as an argument vector, with files on both sides.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace fsort_test {

enum class Route { callback, file };

struct SortRequest {
  std::vector<std::string> arguments;  // without the names of files
  std::vector<std::string> records;
  Route input = Route::callback;
  Route output = Route::callback;
  bool by_arguments = false;  // hand an argument vector over, which means files on both sides
  bool plain_levels = false;  // the engine's shortcuts are off: every level is laid out in full
  bool checked = false;       // the output is checked while it is written, with an argument vector
};

struct SortRun {
  std::int32_t status = -1;
  std::vector<std::string> texts;    // displayed, in order
  std::vector<std::string> records;  // handed to the write callback
  std::string bytes;                 // all of the output
  bool by_arguments = false;         // the argument vector was used
  bool input_was_file = false;
  std::uint32_t work_files = 0;  // that the sort made
  bool same_records = false;     // of a checked one: the check found the records read in the output
  std::uint64_t misplaced = 0;   // and the number of the first one out of order; 0: none
};

[[nodiscard]] SortRun run_fsort(const SortRequest& request);

// True when run_fsort uses an argument vector and files: asked for, or the command is too long for one
// string.
[[nodiscard]] bool needs_argument_vector(const SortRequest& request);

// The folder of this process for input and output files.
[[nodiscard]] const std::string& test_folder();

}  // namespace fsort_test
