// The jump of the error traps, in the form that suits each system.
//
// The traps (support/error.cpp) and the abort of a start (entry/start.cpp) say `if (FSORT_SETJMP(buf) == 0)`
// and `std::longjmp(buf, 1)`. A jump here only takes the stack back: nothing on the way wants to be cleaned
// up, because no object with a destructor lives across a call that may raise.
//
// On 64-bit Windows the plain setjmp of the headers notes its stack frame, and longjmp then unwinds every
// frame in between through the system's exception tables. That would run clean-up code of the caller's
// callbacks, in languages that do not expect it, and ends the process when one of the frames has no table.
// A null frame makes longjmp restore the registers and nothing else, as it does everywhere else.
#pragma once

#include <csetjmp>

#if defined(_WIN32)
#define FSORT_SETJMP(buffer) _setjmp((buffer), nullptr)
#else
#define FSORT_SETJMP(buffer) setjmp(buffer)
#endif
