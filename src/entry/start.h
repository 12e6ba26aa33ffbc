// One sort from start to end: what FsortStart and start_arguments share.
#pragma once

#include <cstdint>

#include "entry/start_arguments.h"
#include "fsort.h"
#include "support/record_functions.h"

namespace fsort {

// What a sort is started with: a command string, or an argument vector when `argv` is not null.
struct StartArguments {
  ReadFunction input;
  WriteFunction output;
  const char* command;
  std::int32_t argc;
  const char* const* argv;
  SortExtras extras;
};

// Runs one sort. Result: 0, 1, or the code given to FsortExit. 1 at once, with nothing changed, for a null
// handle and for one that is busy: a sort runs on it, it is being destroyed, or another call on it is in
// progress whose traps a start would forget.
[[nodiscard]] std::int32_t sort_start(fsort_handle handle, const StartArguments& arguments);

// The first half of it, for who only looks: the command line is read, files are opened for input, memory is
// planned and nothing is sorted or written. It takes the place of the handle's one sort (exit.h). Result: 0,
// or 1 as above or after an error, which has been displayed.
[[nodiscard]] std::int32_t sort_prepare(fsort_handle handle, const StartArguments& arguments);

}  // namespace fsort
