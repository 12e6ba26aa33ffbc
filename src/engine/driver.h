// The driver of one sort: options, memory plan, phases.
#pragma once

#include <cstdint>

#include "support/record_functions.h"

namespace fsort {

struct DriverState;
struct Instance;

// Takes -q -h -u -v -l -fs -rs -m, initialises sublists, records and keys, makes the two stacks, draws up the
// memory plan and rejects what nobody took. Result: 0, or 1 after an error (displayed under "Error detected
// in fsort initialization") or the usage text.
[[nodiscard]] int fsort_init(ReadFunction input, WriteFunction output, std::int32_t argc, const char** argv);

// Runs the sort. Result: 0, or 1 after an error (displayed under "Error detected in fsort call").
[[nodiscard]] int fsort_call();

void fsort_windup(Instance* instance);

// Deletes the work files of all levels of a sort that ended early and forgets the levels. May run twice.
void levels_drop();

// Raises when any argument is left: "<a>,<b> and <c> are invalid arguments".
void chkcmd(std::int32_t argc, const char* const* argv);

// Options and memory plan, to look at. Valid from fsort_init on
[[nodiscard]] const DriverState& driver_state();

// Memory available to a sort in KB.
[[nodiscard]] std::uint64_t os_memsize();

}  // namespace fsort
