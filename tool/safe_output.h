// An output file that takes the place of an old one only when it is complete.
//
// An output is written in safety when it is asked for (--atomic), or when it is one of the sort's own inputs,
// by whatever name: the sort then writes a new file beside it, in the same folder, which takes over the
// access rights of the old one and is put in its place when the sort was good. Until then the old file is
// whole; any failure removes the new one and leaves the old one as it was.
//
//     name            is a                       the sort writes      at a good end
//     out.txt         file, not an input         out.txt itself       nothing is left to do
//     out.txt         input or --atomic          .fsort-123-1.tmp     which becomes out.txt
//     link -> out.txt input or --atomic          the same, beside out.txt; the link stays
//     a pipe, a device                           itself, always
//
// Like an ordinary output, one in safety is refused at once when the old file may not be written to. Other
// hard links to the old file keep the old content.
#pragma once

#include <string>

#include "platform/program.h"

namespace fsort_tool {

void safe_output_begin(bool every_output);

// A file that the sort reads.
void safe_output_note_input(const fsort::NamedFile& file);

// True for the file that standard output leads to, by whatever name: others write to it, too, and it is never
// replaced or removed.
[[nodiscard]] bool is_standard_output(const fsort::NamedFile& file);

[[nodiscard]] bool safe_output_wanted(const fsort::NamedFile& target);

// Makes the new file beside `target` and lists it as unfinished. Result: its name; empty, with the system's
// code, when there can be none. Requires: FilesLock
[[nodiscard]] std::string safe_output_make(const char* target);

// Puts the new file in its place after a good sort, or removes it. Does nothing when there is none.
// Result: "", or why the old file has not been replaced.
[[nodiscard]] std::string safe_output_end(bool good);

}  // namespace fsort_tool
