// The library as a whole: attaching to a process, and the lock that serialises all exports.
//
// One recursive lock covers every export of every instance. An export takes it on entry and gives it back on
// leaving, FsortStart holds it for the whole sort. The lock counts its own depth and knows its owner, for two
// reasons: a wait on the record pipe must give it back entirely, however often the waiting thread has entered
// (the peer on another thread could never come in otherwise), and a thread that already holds it need not ask
// the system for its id again.
//
// The depth can stay above zero for good: FsortExit jumps out of a sort and never gives its own entry back.
// Such a lock is not deleted at detach, since deleting a held lock is undefined.
//
// Nothing here raises.
#pragma once

#include <cstdint>

#include "platform/os.h"

namespace fsort {

// Reasons of DllEntryPoint, as Windows numbers them; others do nothing.
inline constexpr std::uint32_t kProcessDetach = 0;
inline constexpr std::uint32_t kProcessAttach = 1;

// Library entry: initialises the lock on attach, deletes it on detach. Result: always 1 (success).
std::int32_t DllEntryPoint(std::uint32_t reason);

// Takes the lock, waiting while another thread holds it.
void entry_lock_enter();
// Gives it back once. Requires: held by this thread.
void entry_lock_leave();
// How often it is entered. Meaningful to the thread that holds it; 0 when no thread does.
[[nodiscard]] std::uint32_t entry_lock_depth();
// The thread that holds it. Requires: held.
[[nodiscard]] std::uint32_t entry_lock_owner();

// Gives the lock back entirely and sleeps until `condition` is woken or the time is over; then takes it again
// as deep as it was. Requires: held by this thread.
void entry_lock_sleep(ConditionVariable* condition, std::uint32_t milliseconds);

// Gives the lock back entirely; result: the depth to take again (0 when it was not held).
[[nodiscard]] std::uint32_t entry_lock_give_back();
void entry_lock_take_again(std::uint32_t depth);

}  // namespace fsort
