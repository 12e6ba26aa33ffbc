// What a program of the project asks of the system at its start: its arguments as UTF-8 and standard streams
// that pass bytes as they are. Compiled into programs, not into the library.
//
// On a POSIX system nothing is to be done. On Windows the arguments are fetched in their wide form, which can
// name every file, file names and messages of the platform become UTF-8, and the C runtime's standard streams
// no longer turn line feeds into two characters.
#pragma once

namespace fsort {

// The arguments of the program, UTF-8, a null pointer behind the last one; kept until the program ends.
struct ProgramArguments {
  int count;
  char** values;
};

// Prepares the process and gives its arguments. Called first in main, once, with main's own arguments.
ProgramArguments program_begin(int argc, char** argv);

}  // namespace fsort
