// The tool's entry: a sort described by an argument vector instead of one string. Not exported.
#pragma once

#include <cstdint>

#include "fsort.h"
#include "recio/input_watch.h"

namespace fsort {

// As FsortStart with null input and output, but from `argc`/`argv` (initcmd): no length limit of the command,
// no splitting, standard streams where no file is named. `watch` may be null.
[[nodiscard]] std::int32_t start_arguments(fsort_handle handle, std::int32_t argc, const char* const* argv,
                                           const InputWatch* watch = nullptr);

}  // namespace fsort
