// The work file of an array: which one is open, and with which buffer.
//
// At most one work file is open for output and one for input at any moment, each with the one buffer pair of
// its direction. Opening another file first closes the previous one and moves the buffers over.
//
//   not existing --for_output--> output <--> closed <--> input --delete--> not existing
#pragma once

#include <cstdint>

#include "sublist/sublist.h"

namespace fsort {

inline constexpr std::uint32_t kFileClosed = 0;
inline constexpr std::uint32_t kFileInput = 1;
inline constexpr std::uint32_t kFileOutput = 2;

// Makes the array's file the one open for output, creating it if it does not exist. An existing file of any
// other sort or program is never opened: the file number steps on until a name is free. Raises: those of
// sio_open and of closing
void work_file_for_output(SublistArray* array);
// Makes the array's file the one open for input. Requires: it exists. Raises: those of sio_open and of
// closing
void work_file_for_input(SublistArray* array);
// Closes the array's file if it is open and takes its buffers back.
// Raises: "Space exhausted while writing work file:\n...", "Error attempting to close file:Check disk
// space:\n..."
void work_file_close(SublistArray* array);
// The same without raising, for clean-up.
void work_file_drop(SublistState& s, SublistArray* array);

}  // namespace fsort
