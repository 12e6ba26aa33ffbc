// Attaches the engine to a program that has it linked in: before the program's static initialisers, and back
// after them. `os`, which every user of the engine refers to, stands here so that the linker brings this file
// along.
#include "platform/os.h"

namespace fsort {

namespace {

// The lowest priority that is free for libraries: before every static initialiser of a program.
constexpr int kAttachPriority = 101;

__attribute__((constructor(kAttachPriority))) void attach() { library_attach(); }
__attribute__((destructor(kAttachPriority))) void detach() { library_detach(); }

}  // namespace

constinit const OsTable* os = &kSystemOs;

}  // namespace fsort
