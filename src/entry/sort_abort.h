// Ending a sort on the caller's demand.
//
// Asked for on the thread that runs the sort, from inside one of its callbacks, the abort is a raise: it
// jumps over the caller's frames to the innermost trap. Asked for by another thread, which can only come in
// while the sort waits on its pipe, a jump would land on a foreign stack; the demand is noted instead and the
// sort raises it itself, at the end of its wait or when the callback that it was in returns. On a handle with
// no sort running there is no trap to jump to, and nothing happens.
#pragma once

#include <cstdint>

namespace fsort {

// Aborts the current instance's sort with `code`. Returns when nothing is to be jumped over here: no sort
// runs, or it runs on another thread.
// Raises: "Fsort aborted by caller"
void sort_abort(std::int32_t code);

// True when another thread's demand waits for this, the sorting thread.
[[nodiscard]] bool sort_abort_waits();

// Raises a waiting demand of another thread.
// Raises: "Fsort aborted by caller"
void sort_abort_check();

}  // namespace fsort
