// One sort from start to end. See start.h.
//
// The status travels in the record, never as the value of a jump: a jump value of 0 would arrive as 1. The
// function that sets the jump has no locals, so there is none that a jump could leave undefined; the entry
// frame lives in its caller.
//
// What an earlier start on the handle left is forgotten first: its messages, so that a second failure is not
// lost in a full buffer, and its traps, some of which stay set on purpose and would pile up.
#include "entry/start.h"

#include "engine/driver.h"
#include "entry/entry_access.h"
#include "entry/entry_switch.h"
#include "entry/init_command.h"
#include "entry/library.h"
#include "entry/pipe.h"
#include "entry/start_arguments.h"
#include "platform/jump.h"
#include "support/stkavl.h"

namespace fsort {

namespace {

constexpr std::uint64_t kStackBytes = 512000;

bool pipe_served(const EntryState& e) {
  return e.start_input == pipe_input() || e.start_output == pipe_output();
}

void start_prepare(const StartArguments& arguments) {
  EntryState& e = entry_st();
  e.running = 1;
  e.sort_thread = entry_lock_owner();
  e.msg_buf[0] = 0;
  e.msg_len = 0;
  trap_reset();
  e.start_input = arguments.input;
  e.start_output = arguments.output;
  e.start_command = arguments.command != nullptr ? arguments.command : "";
  e.start_argc = arguments.argc;
  e.start_argv = arguments.argv;
  current_instance->read.watch = arguments.extras.watch;
  current_instance->record.summing = arguments.extras.check != 0 ? &record_summing() : nullptr;
  current_instance->driver.check.wanted = arguments.extras.check;
  pipe_start(pipe_served(e));
  stack_init(kStackBytes);
  e.abort_code = 0;
  e.abort_displayed = 0;
  e.abort_pending = 0;
}

void start_initialise() {
  EntryState& e = entry_st();
  e.start_status = e.start_argv != nullptr ? initcmd(e.start_argc, e.start_argv)
                                           : InitCommand(e.start_input, e.start_output, e.start_command);
}

void start_sort() {
  EntryState& e = entry_st();
  start_initialise();
  if (e.start_status == 0) e.start_status = fsort_call();
  // On every path: a display callback may have aborted the initialisation already.
  if (e.abort_code != 0) e.start_status = e.abort_code;
}

void start_and_jump_back() {
  if (FSORT_SETJMP(entry_st().start_jmp) == 0) {
    start_sort();
    std::longjmp(entry_st().start_jmp, entry_st().start_status);
  }
}

std::int32_t start_finish() {
  EntryState& e = entry_st();
  if (pipe_served(e)) pipe_end();
  e.running = 0;
  return e.start_status;
}

// Runs `start` as the handle's only export.
std::int32_t start_alone(fsort_handle handle, const StartArguments& arguments, void (*start)()) {
  EntryFrame frame;
  if (!instance_enter(handle, frame, EntryKind::start)) return 1;
  std::int32_t status = 1;
  const EntryState& e = entry_st();
  if (e.running == 0 && e.destroying == 0 && !entry_frame_shared(frame)) {
    start_prepare(arguments);
    start();
    status = start_finish();
  }
  instance_leave(frame);
  return status;
}

}  // namespace

std::int32_t sort_start(fsort_handle handle, const StartArguments& arguments) {
  return start_alone(handle, arguments, start_and_jump_back);
}

std::int32_t sort_prepare(fsort_handle handle, const StartArguments& arguments) {
  return start_alone(handle, arguments, start_initialise);
}

std::int32_t start_arguments(fsort_handle handle, std::int32_t argc, const char* const* argv,
                             const SortExtras& extras) {
  static const char* const kNoArguments[] = {"fsort", nullptr};
  const bool none = argc < 1 || argv == nullptr;
  return sort_start(handle, {nullptr, nullptr, nullptr, none ? 1 : argc, none ? kNoArguments : argv, extras});
}

}  // namespace fsort
