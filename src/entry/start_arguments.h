// The tool's entry: a sort described by an argument vector instead of one string. Not exported.
#pragma once

#include <cstdint>

#include "fsort.h"
#include "recio/input_watch.h"

namespace fsort {

// What a sort may be asked for beyond its command line.
struct SortExtras {
  const InputWatch* watch;  // null: none
  std::uint8_t check;       // the output is checked while it is written; sort_facts says with what result
};

// As FsortStart with null input and output, but from `argc`/`argv` (initcmd): no length limit of the command,
// no splitting, standard streams where no file is named. What `extras` points to must last as long as the
// sort.
[[nodiscard]] std::int32_t start_arguments(fsort_handle handle, std::int32_t argc, const char* const* argv,
                                           const SortExtras& extras = {});

}  // namespace fsort
