// Long texts on a terminal, for programs of the project (program.h says what such files are).
#pragma once

namespace fsort {

// Shows a text page by page when standard output is a terminal: through the program that the environment's
// PAGER names, otherwise `less`. On Windows there is no usual one: the console scrolls.
// Result: whether it was shown; where there is no terminal or no such program, nothing was written.
bool program_page(const char* text);

}  // namespace fsort
