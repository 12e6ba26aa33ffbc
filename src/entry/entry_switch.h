// Instance switching: what every export does first and last.
//
//   EntryFrame frame;
//   if (!instance_enter(handle, frame, EntryKind::marked)) return;   // null handle: nothing was taken
//   ... the handle's instance is current ...
//   instance_leave(frame);
//
// instance_enter takes the entry lock, remembers the current instance in `prev_instance` and makes the
// handle's own current; instance_leave puts the remembered one back and gives the lock back. The current
// instance is read after the lock was taken: read before, it could be the instance of a sort on another
// thread, gone by the time it is put back.
//
// Exports in progress. Each export keeps a frame on its own stack, linked into one process-wide list, the
// latest first, guarded by the lock. The frames of one thread nest; those of several threads mix only when a
// thread waits on a record pipe with the lock given back. Example: thread 1 sorts A, whose write callback
// sorts B with pipe input and waits; thread 2 has just entered FsortSend(B):
//
//   list ->  [send B, thread 2] -> [start B, thread 1] -> [start A, thread 1]
//
// The list answers what a flag in the instance could not: whether anything of an instance is live that a new
// start or a destroy would pull the ground from under, and which frames an abort jumps over.
//
// Nothing here raises.
#pragma once

#include <cstdint>

#include "fsort.h"

namespace fsort {

struct Instance;

enum class EntryKind : std::uint8_t {
  plain,
  marked,  // also notes the frame's address in entry_mark
  pipe,    // marked, and a use of the pipe: runs no callback and sets no trap
  start,   // marked, and a sort runs in it
};

struct EntryFrame {
  Instance* instance;
  EntryFrame* next;  // entered before this one
  std::uint32_t thread;
  std::uint32_t trap_depth;  // traps of the instance that are not this export's
  EntryKind kind;
};

[[nodiscard]] inline fsort_handle handle_of(Instance* instance) {
  return reinterpret_cast<fsort_handle>(instance);
}
[[nodiscard]] inline Instance* instance_of(fsort_handle handle) {
  return reinterpret_cast<Instance*>(handle);
}

// Result: false for a null handle; then nothing was taken and instance_leave must not follow.
[[nodiscard]] bool instance_enter(fsort_handle handle, EntryFrame& frame, EntryKind kind);
void instance_leave(EntryFrame& frame);

// Wakes whoever sleeps in a wait on the pipe of the current instance (pipe.h), to look again.
void pipe_wake();

// Takes a frame off the list without leaving: lock and current instance stay as they are.
void entry_frame_drop(EntryFrame& frame);

// The innermost frame of the thread that holds the lock; null outside every export.
[[nodiscard]] EntryFrame* entry_frame_top();

// True when another export on the frame's instance is in progress, on any thread, other than a use of its
// pipe.
[[nodiscard]] bool entry_frame_shared(const EntryFrame& frame);

// True when any other frame of the instance is listed.
[[nodiscard]] bool entry_frame_accompanied(const EntryFrame& frame);

// True when another thread is inside an instance that this thread is also inside of, entered after this one:
// its traps lie above this thread's, which must not go on before they are gone. Uses of the pipe do not count
// on either side.
[[nodiscard]] bool entry_frames_overlaid();

// Before a jump out of the holding thread's frames to a trap of the current instance: drops those that the
// jump passes over, which are the top one and all above the next one of the same instance. What a dropped
// export left is put in order: its traps are gone, a sort that ran in it is over, an instance that it was
// destroying can be destroyed again.
void entry_frames_cut();

}  // namespace fsort
