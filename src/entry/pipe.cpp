// The record pipe. See pipe.h and docs/internals/pipe.md.
//
// The flag is tested, and the data stored, under the entry lock, so the order of the stores does not matter
// to the peer. Between two tests the waiting side gives the lock back entirely. At first it yields the
// processor, once, then more often: a peer that is on a processor hands over within microseconds. A peer that
// is not would only be kept from one by a waiting thread that runs, so then it sleeps until the pipe changes.
// Whatever a wait looks at is changed under the lock, and pipe_wake follows: the flag, the end of the sort,
// an abort, the end of another thread's call.
#include "entry/pipe.h"

#include <cstring>

#include "entry/entry_access.h"
#include "entry/entry_switch.h"
#include "entry/init_command.h"
#include "entry/library.h"
#include "entry/sort_abort.h"
#include "platform/heap.h"
#include "platform/os.h"

namespace fsort {

namespace {

// Most yields between two tests of the flag; a wait that needs more sleeps.
constexpr std::uint32_t kMaxYields = 16;
// Whoever changes what a wait looks at wakes the sleepers; the limit is for what nobody thought of.
constexpr std::uint32_t kSleepMilliseconds = 50;
// With more threads than this in waits there is no processor left to wait on.
constexpr std::uint32_t kMostYielding = 2;

// Threads in step_aside, in the whole process. Guarded by the entry lock.
constinit std::uint32_t waiting_threads = 0;

// Yields the processor so often, or sleeps until the pipe of `own` changes when that is too often or too many
// wait, with the lock given back.
void step_aside(Instance* own, std::uint32_t yields) {
  if ((yields > kMaxYields || waiting_threads >= kMostYielding) && entry_lock_depth() != 0) {
    ++waiting_threads;
    ++own->entry.pipe_sleepers;
    entry_lock_sleep(&own->entry.pipe_changed, kSleepMilliseconds);
    --own->entry.pipe_sleepers;
    --waiting_threads;
    return;
  }
  ++waiting_threads;
  const std::uint32_t depth = entry_lock_give_back();
  for (std::uint32_t i = 0; i < yields; ++i) os->yield_thread();
  entry_lock_take_again(depth);
  --waiting_threads;
}

// Lets other threads in for a moment. The caller's own instance is in force meanwhile, as in a callback.
void pipe_pause(std::uint32_t yields) {
  Instance* own = current_instance;
  Instance* previous = own->entry.prev_instance;
  current_instance = previous;
  step_aside(own, yields);
  own->entry.prev_instance = previous;
  current_instance = own;
}

bool can_send(const RecordPipe* pipe) { return pipe->flag != 1 && entry_st().pipe_kept == 0; }
bool can_take(const RecordPipe* pipe) { return pipe->flag != 0; }

// A sort with the pipe on both sides: what was sent to it is not for the one who waits for its output.
bool can_retrieve(const RecordPipe* pipe) {
  const EntryState& e = entry_st();
  const bool for_the_sort = e.pipe_inward != 0 && e.running != 0 && e.start_input == pipe_input();
  return can_take(pipe) && !for_the_sort;
}

// Waits until `ready`. Result: false when it never will be: the sort is over or is to be aborted.
bool pipe_wait(const RecordPipe* pipe, bool (*ready)(const RecordPipe*)) {
  for (std::uint32_t yields = 1;; yields = yields > kMaxYields ? yields : yields * 2) {
    if (!entry_frames_overlaid()) {
      if (sort_abort_waits()) return false;
      if (ready(pipe)) return true;
      if (entry_st().pipe_ended != 0) return false;
    }
    pipe_pause(yields);
  }
}

// Copies an output record into the next of the two buffers. Result: the copy, or null when memory is short.
const std::uint8_t* pipe_copy(std::uint64_t length, const std::uint8_t* record) {
  EntryState& e = entry_st();
  const std::uint32_t i = e.pipe_copy_next;
  if (e.pipe_copy_bytes[i] < length) {
    auto* grown = static_cast<std::uint8_t*>(heap_alloc(length));
    if (grown == nullptr) return nullptr;
    heap_free(e.pipe_copy[i]);
    e.pipe_copy[i] = grown;
    e.pipe_copy_bytes[i] = length;
  }
  std::memcpy(e.pipe_copy[i], record, length);
  e.pipe_copy_next = (i + 1) % kPipeCopies;
  return e.pipe_copy[i];
}

int pipe_take(RecordPipe* pipe, bool (*ready)(const RecordPipe*), std::uint64_t* length,
              const std::uint8_t** record) {
  *length = 0;
  *record = nullptr;
  if (!pipe_wait(pipe, ready)) return 0;
  pipe->flag = 0;
  *record = pipe->record;
  *length = pipe->length;
  pipe_wake();
  return 0;
}

}  // namespace

int pipe_send(RecordPipe* pipe, std::uint64_t length, const std::uint8_t* record) {
  if (entry_st().pipe_ended != 0) return 0;
  if (!pipe_wait(pipe, can_send)) return 0;
  pipe->flag = 1;
  pipe->length = length;
  pipe->record = record;
  entry_st().pipe_inward = 1;
  pipe_wake();
  return 0;
}

int pipe_retrieve(RecordPipe* pipe, std::uint64_t* length, const std::uint8_t** record) {
  return pipe_take(pipe, can_retrieve, length, record);
}

std::int32_t fsort_send(std::uint64_t length, const std::uint8_t* record) {
  EntryState& e = entry_st();
  RecordPipe* pipe = e.pipe_ptr;
  if (e.running != 0 && length != 0) {
    pipe_wait(pipe, can_send);
    sort_abort_check();
    record = pipe_copy(length, record);
    if (record == nullptr) return 1;
  }
  pipe_send(pipe, length, record);
  e.pipe_inward = 0;  // under the lock still: whoever was woken sees it so
  sort_abort_check();
  return 0;
}

std::int32_t fsort_retrieve(std::uint64_t* length, const std::uint8_t** record) {
  EntryState& e = entry_st();
  if (e.pipe_kept != 0) {
    e.pipe_kept = 0;
    *length = e.kept_length;
    *record = e.kept_record;
    pipe_wake();
    return 0;
  }
  pipe_take(e.pipe_ptr, can_take, length, record);
  sort_abort_check();
  return 0;
}

void pipe_start(bool served) {
  EntryState& e = entry_st();
  e.pipe_kept = 0;
  if (served) {
    e.pipe_ended = 0;
    if (e.start_input == pipe_input() && e.pipe.flag == 1) {
      e.pipe_kept = 1;
      e.kept_length = e.pipe.length;
      e.kept_record = e.pipe.record;
    }
  }
  e.pipe.flag = 0;
  e.pipe_ptr = &e.pipe;
}

void pipe_end() {
  EntryState& e = entry_st();
  e.pipe_kept = 0;
  e.pipe_ended = 1;
  pipe_wake();
}

void pipe_dismiss(const EntryFrame& frame) {
  entry_st().pipe_ended = 1;
  pipe_wake();
  while (entry_frame_accompanied(frame)) pipe_pause(kMaxYields);
}

void pipe_free() {
  EntryState& e = entry_st();
  for (std::uint32_t i = 0; i < kPipeCopies; ++i) {
    heap_free(e.pipe_copy[i]);
    e.pipe_copy[i] = nullptr;
    e.pipe_copy_bytes[i] = 0;
  }
}

}  // namespace fsort
