// The exported functions. Each switches to its instance, does its one thing and switches back; what a caller
// must know stands in fsort.h.
#include <cstdint>

#include "entry/callbacks.h"
#include "entry/entry_access.h"
#include "entry/entry_switch.h"
#include "entry/init_command.h"
#include "entry/library.h"
#include "entry/pipe.h"
#include "entry/sort_abort.h"
#include "entry/start.h"
#include "fsort.h"
#include "platform/heap.h"
#include "support/dsnt.h"

namespace fsort {

namespace {

// Callers see records as const void*, the engine as const uint8_t*. The caller's functions are kept in the
// engine's types, so that one place can hold either kind, and converted back where they are called
// (callbacks.cpp).
ReadFunction internal(fsort_read_fn read) { return reinterpret_cast<ReadFunction>(read); }
WriteFunction internal(fsort_write_fn write) { return reinterpret_cast<WriteFunction>(write); }

// Result: false when memory is short; the message has then been displayed.
bool instance_set_up(fsort_display_fn display, fsort_yield_fn yield) {
  EntryState& e = entry_st();
  e.user_display = display;
  fsort_display_register(UserDisplay);
  e.msg_buf[0] = 0;
  e.msg_len = 0;
  e.user_yield = yield;
  e.yield_count = 1;
  finit();
  current_instance->exit.windup_count = 0;
  ErrorInit();
  e.stack_reserve = heap_alloc(kStackReserveBytes);
  if (e.stack_reserve != nullptr) return true;
  osdll_display("Failed to allocated memory for fsort stack\n");
  return false;
}

}  // namespace

}  // namespace fsort

using namespace fsort;

// Kept on purpose: when the reserve cannot be had, the record is not freed.
fsort_handle FsortCreate(fsort_display_fn display, fsort_yield_fn yield) {
  Instance* instance = DSAlloc();
  EntryFrame frame;
  if (!instance_enter(handle_of(instance), frame, EntryKind::marked)) return nullptr;
  const bool made = instance_set_up(display, yield);
  instance_leave(frame);
  return made ? handle_of(instance) : nullptr;
}

std::int32_t FsortStart(fsort_handle handle, fsort_read_fn input, fsort_write_fn output,
                        const char* command) {
  return sort_start(handle, {internal(input), internal(output), command, 0, nullptr, {}});
}

void FsortSend(fsort_handle handle, std::uint64_t length, const void* record) {
  EntryFrame frame;
  if (!instance_enter(handle, frame, EntryKind::pipe)) return;
  pipe_send(&entry_st().pipe, length, static_cast<const std::uint8_t*>(record));
  instance_leave(frame);
}

void FsortRetrieve(fsort_handle handle, std::uint64_t* length, const void** record) {
  EntryFrame frame;
  if (!instance_enter(handle, frame, EntryKind::pipe)) return;
  const std::uint8_t* bytes = nullptr;
  pipe_retrieve(&entry_st().pipe, length, &bytes);
  *record = bytes;
  instance_leave(frame);
}

std::int32_t FsortRead(fsort_handle handle, std::uint64_t* length, const void** record) {
  EntryFrame frame;
  if (!instance_enter(handle, frame, EntryKind::plain)) return 1;
  const std::uint8_t* bytes = nullptr;
  *length = 0;
  const std::int32_t status = file_read != nullptr ? file_read(length, &bytes) : 1;
  *record = bytes;
  instance_leave(frame);
  return status;
}

std::int32_t FsortWrite(fsort_handle handle, std::uint64_t length, const void* record) {
  EntryFrame frame;
  if (!instance_enter(handle, frame, EntryKind::plain)) return 1;
  const auto* bytes = static_cast<const std::uint8_t*>(record);
  const std::int32_t status = file_write != nullptr ? file_write(length, bytes) : 1;
  instance_leave(frame);
  return status;
}

const char* FsortMessage(fsort_handle handle) {
  EntryFrame frame;
  if (!instance_enter(handle, frame, EntryKind::plain)) return "";
  const char* messages = entry_st().msg_buf;
  instance_leave(frame);
  return messages;
}

// Kept on purpose: when it aborts, the lock that it took is not given back.
void FsortExit(fsort_handle handle, std::int32_t code) {
  EntryFrame frame;
  if (!instance_enter(handle, frame, EntryKind::plain)) return;
  sort_abort(code);
  instance_leave(frame);
}

void FsortDestroy(fsort_handle handle) {
  EntryFrame frame;
  if (!instance_enter(handle, frame, EntryKind::marked)) return;
  EntryState& e = entry_st();
  if (e.running != 0 || e.destroying != 0 || entry_frame_shared(frame)) return instance_leave(frame);
  e.destroying = 1;
  pipe_dismiss(frame);
  trap_reset();
  // A windup that fails ends its run; those behind it hold files and memory that must go as well.
  while (current_instance->exit.windup_count != 0) ExitWindup();
  fwindup();
  pipe_free();
  void* reserve = e.stack_reserve;
  instance_leave(frame);
  heap_free(reserve);
  DSFree(instance_of(handle));
}
