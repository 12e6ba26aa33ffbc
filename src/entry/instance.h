// The instance record and the current instance.
//
// One zero-filled record holds all state of one sort: a block per module, declared in the module's own
// header. The process-wide `current_instance` names the record in use; every export makes its own record
// current on entry and puts the previous one back on leaving (instance_enter and instance_leave in
// entry_switch.h), under the entry lock. A folder reaches its own blocks through its <folder>_access.h and
// nothing else of the record.
//
// Process-wide state by design, all constinit: current_instance, the entry lock with its depth and owner, the
// list of exports in progress (entry_switch.h), file_read and file_write, the error text buffer, fs_errno,
// and the parser's blank flags. An expansion keeps its state in its own frame.
#pragma once

#include <csetjmp>
#include <cstdint>

#include "engine/engine_state.h"
#include "keys/key_table.h"
#include "keys/record.h"
#include "keys/sequence.h"
#include "recio/readers.h"
#include "recio/rin.h"
#include "recio/rout.h"
#include "stream/stream.h"
#include "sublist/sublist.h"
#include "support/checks.h"
#include "support/error.h"
#include "support/exit.h"
#include "support/osdll.h"
#include "support/stack.h"

namespace fsort {

using UserDisplayFunction = void (*)(const char* text);
using UserYieldFunction = std::uint32_t (*)();

inline constexpr std::uint32_t kMessageBytes = 256;
inline constexpr std::uint64_t kStackReserveBytes = 512000;
// One copy is the consumer's, the other is being filled for it.
inline constexpr std::uint32_t kPipeCopies = 2;

// One-record mailbox between the sort and its caller.
struct RecordPipe {
  volatile std::uint32_t flag;  // 1 while a record waits
  std::uint64_t length;
  const std::uint8_t* record;
};

struct EntryState {
  Instance* prev_instance;      // current when the running export was entered
  void* entry_mark;             // address of a local of the running export; read by nothing
  char msg_buf[kMessageBytes];  // messages when the caller gave no display callback
  char msg_guard;               // always 0: ends a message buffer that was filled to the brim
  std::uint32_t msg_len;
  UserDisplayFunction user_display;
  UserYieldFunction user_yield;
  std::uint32_t yield_count;
  ReadFunction user_read;
  WriteFunction user_write;
  std::int32_t user_status;  // result of the latest read or write callback
  const char* display_text;  // arguments of the callback now running
  std::uint64_t* read_length;
  const std::uint8_t** read_record;
  std::uint64_t write_length;
  const std::uint8_t* write_record;
  void* stack_reserve;
  RecordPipe pipe;
  RecordPipe* pipe_ptr;
  std::int32_t abort_code;  // given to FsortExit, 0 when no abort was asked
  std::jmp_buf start_jmp;
  std::int32_t start_status;
  ReadFunction start_input;    // the arguments of FsortStart, kept as given; meaningful while it runs
  WriteFunction start_output;  //
  const char* start_command;   //
  // What follows serves this engine's own guards.
  std::int32_t start_argc;               // argument vector of start_arguments
  const char* const* start_argv;         // null: the sort is described by start_command
  std::uint32_t sort_thread;             // thread inside FsortStart; meaningful while running
  ConditionVariable pipe_changed;        // slept on by those who wait in the pipe
  std::uint32_t pipe_sleepers;           // their number
  std::uint8_t running;                  // inside FsortStart
  std::uint8_t destroying;               // inside FsortDestroy
  std::uint8_t abort_displayed;          // the abort's text has been raised once
  std::uint8_t abort_pending;            // another thread asked to abort while the lock was given back
  std::uint8_t pipe_ended;               // the sort that the pipe served is over
  std::uint8_t pipe_kept;                // a record sent before FsortStart waits in kept_length/kept_record
  std::uint8_t pipe_inward;              // the record in the pipe came from FsortSend, not from the sort
  std::uint64_t kept_length;             //
  const std::uint8_t* kept_record;       //
  std::uint8_t* pipe_copy[kPipeCopies];  // output records handed to a pipe consumer, in turn
  std::uint64_t pipe_copy_bytes[kPipeCopies];
  std::uint32_t pipe_copy_next;  // the one to fill next
};

struct alignas(16) Instance {
  ErrorState error;
  ExitState exit;
  KeyState key;
  SequenceState sequence;
  RecordState record;
  DriverState driver;
  SortState sort;
  ReadState read;
  RinState rin;
  RoutState rout;
  SublistState sublist;
  StreamState stream;
  StackState stack;
  DisplayState display;
  EntryState entry;
};
static_assert(kIsStateBlock<Instance>);

// The instance whose export is running; null outside every export.
extern constinit Instance* current_instance;

}  // namespace fsort
