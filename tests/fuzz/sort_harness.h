// One whole sort of a fuzzing target: files and standard streams of the simulation, or callbacks, through the
// entries that programs use.
#pragma once

#include <cstdint>
#include <string>

#include "fsort.h"
#include "fuzz/fuzz_world.h"

namespace fsort::fuzz {

struct SortResult {
  std::int32_t status = -1;
  Texts texts;                   // displayed
  Texts records;                 // handed to the write callback
  std::uint32_t work_files = 0;  // that the sort made
};

// A sort from files to files.
[[nodiscard]] SortResult sort_by_arguments(const Texts& arguments, bool plain_levels);
// A sort of `records` from a read callback to a write callback; a command that names files may use these
// instead. `exit_at`: the read callback calls FsortExit instead of giving this record.
[[nodiscard]] SortResult sort_by_callbacks(const std::string& command, const Texts& records,
                                           bool plain_levels, std::size_t exit_at);

// What FsortExit is called with.
inline constexpr std::int32_t kExitCode = 7;

}  // namespace fsort::fuzz
