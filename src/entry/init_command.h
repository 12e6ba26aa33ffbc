// From the caller's arguments to an initialised sort.
#pragma once

#include <cstdint>

#include "support/record_functions.h"

namespace fsort {

// -1 as an input or output argument: the record pipe.
inline ReadFunction pipe_input() { return reinterpret_cast<ReadFunction>(~std::uintptr_t{0}); }
inline WriteFunction pipe_output() { return reinterpret_cast<WriteFunction>(~std::uintptr_t{0}); }

// The file reader and writer of the latest command line in the process that named a file; null before.
extern constinit ReadFunction file_read;
extern constinit WriteFunction file_write;

// Splits and expands the command string, opens the input, chooses input and output functions and initialises
// the driver, under the trap "Fsort Initialization", which stays set when it gets past the command line.
// Result: 0, or 1 after an error, which has been displayed.
[[nodiscard]] int InitCommand(ReadFunction input, WriteFunction output, const char* command);

// The same from an argument vector; argv[0] is the command name. Input and output default to the standard
// streams.
[[nodiscard]] int initcmd(std::int32_t argc, const char* const* argv);

// ReadFunction and WriteFunction of the files with a yield point in front.
std::int32_t yielding_read(std::uint64_t* length, const std::uint8_t** record);
std::int32_t yielding_write(std::uint64_t length, const std::uint8_t* record);

}  // namespace fsort
