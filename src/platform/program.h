// What a program of the project asks of the system beyond what the engine needs (os.h): its arguments, what
// files its names lead to, putting a new file in the place of an old one, being told that it is to end.
// Compiled into programs, not into the library.
//
// On a POSIX system the start is nothing to be done. On Windows the arguments are fetched in their wide form,
// which can name every file, file names and messages of the platform become UTF-8, and the C runtime's
// standard streams no longer turn line feeds into two characters.
//
// Names are as in os.h: backslashes and slashes both separate folders. A failing call leaves a Windows error
// code for get_last_error of the system's table.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/os.h"

namespace fsort {

// The arguments of the program, UTF-8, a null pointer behind the last one; kept until the program ends.
struct ProgramArguments {
  int count;
  char** values;
};

// Prepares the process and gives its arguments. Called first in main, once, with main's own arguments.
ProgramArguments program_begin(int argc, char** argv);

// --- files -----------------------------------------------------------------------------------------------

// The character that separates folders in names that are shown.
extern const char kFolderSeparator;

enum class NamedKind : std::uint8_t { none, regular, other };

// What a name leads to, links followed. Two names lead to the same regular file when device and number agree.
struct NamedFile {
  NamedKind kind;
  std::uint64_t device;
  std::uint64_t number;
  std::uint64_t bytes;
};
[[nodiscard]] NamedFile program_file(const char* name);
// What one of the standard handles (kStdInput ...) leads to.
[[nodiscard]] NamedFile program_standard_file(std::int32_t which);

// Writes the name of the file itself into `real`: the name as it is, or if it is a link, where that leads.
// False when it leads nowhere or the name does not fit.
[[nodiscard]] bool program_real_name(const char* name, char* real, std::size_t size);

// Creates an empty file; false, with code 80, when the name is taken. A private one is for its owner alone;
// any other has the access rights that new files have.
[[nodiscard]] bool program_make_new(const char* name, bool is_private);

// Makes the file `made`, which no one has open, ready for the place of `target`: what was written is on the
// disk, and the access rights are those of the old file, if there is one, as is the owner where this process
// may give files away. May take its time.
[[nodiscard]] bool program_make_ready(const char* made, const char* target);

// Puts a file that is ready in the place of `target`: there is no instant at which that is missing or
// incomplete. False: `target` is as it was, `made` is still there.
[[nodiscard]] bool program_replace(const char* made, const char* target);

// Ends what the system is doing for an open file and closes it, where that must come before the file can be
// deleted. For a process that ends: whoever used the handle must not go on.
void program_abandon(Handle handle);

// --- the process, its terminal and its end ---------------------------------------------------------------

[[nodiscard]] bool program_is_terminal(std::int32_t which);  // of the standard handles
[[nodiscard]] std::uint32_t program_columns();               // of the terminal on standard error; 0: unknown
[[nodiscard]] std::int64_t program_milliseconds();           // since some instant, never set back

enum class ProgramEvent : std::uint8_t {
  tick,  // some time has passed
  show,  // somebody wants to see how far it is (SIGUSR1; never on Windows)
};

struct ProgramWatch {
  // The process is to end: SIGINT, SIGTERM, SIGHUP; Ctrl-C, Ctrl-Break, closing of the console. When this
  // returns the process ends as it would have without it: by the signal, or with the status that the system
  // gives. A signal that is ignored stays ignored.
  void (*on_end)();
  void (*on_progress)(ProgramEvent event);
  std::uint32_t tick;  // milliseconds between ticks; 0: none
};

// From now on the functions are called, on threads of their own: an end waits for no display. False when a
// thread cannot be had: nothing is called then, or no ticks are. Called once, on the only thread.
[[nodiscard]] bool program_watch(const ProgramWatch& watch);

}  // namespace fsort
