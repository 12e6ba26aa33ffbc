// The start of a program on a POSIX system: arguments and streams are right as they come.
#include "platform/program.h"

namespace fsort {

ProgramArguments program_begin(int argc, char** argv) { return {argc, argv}; }

}  // namespace fsort
