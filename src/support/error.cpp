// Error traps: the frames, the one set-jump and the raise; see error.h.
//
// trap_run_raw is split in three so that the function which sets the jump has no local at all:
//
//   trap_push      takes the next frame and gives its jump buffer
//   trap_body      first pass: stores level and title, runs the body, pops or leaves the frame
//   trap_caught    an error came back: shows it and pops
//
// Everything that has to survive the jump (the raised code, the frame it went to) travels in the instance.
//
// Invariants: frames below trap_depth are set or stale; trap_depth never exceeds kTrapFrames - 1, so the slot
// for the error's text always exists; a frame whose function has returned is stale, whether or not it is
// still counted. A frame can stay counted when a deeper one was left set: the pop takes away the highest.
#include "support/error.h"

#include <cstdio>
#include <cstdlib>

#include "platform/jump.h"
#include "support/osdll.h"
#include "support/support_access.h"

namespace fsort {

namespace {

constexpr char kTooManyTraps[] = "Too many nested error traps";

constexpr std::uint32_t depth_bit(std::uint32_t depth) { return std::uint32_t{1} << depth; }
static_assert(kTrapFrames <= 32, "one bit for each depth");

TrapFrame& trap_push() {
  ErrorState& e = error_st();
  const std::uint32_t index = e.trap_depth;
  if (index >= kTrapFrames - 1) ErrorReturn(kErrorCode, kTooManyTraps);
  TrapFrame& frame = e.frames[index];
  frame.stale = 0;
  e.trap_depth = index + 1;
  e.displaying &= ~depth_bit(index + 1);
  e.interrupted &= ~depth_bit(index + 1);
  return frame;
}

int trap_body(std::int32_t level, const char* title, int (*body)(void*), void* argument) {
  const std::uint32_t index = error_st().trap_depth - 1;
  error_st().trap_result = _ErrorTrap(level, title, 0);
  const int status = body(argument);
  ErrorState& e = error_st();
  e.frames[index].stale = 1;
  if (e.leave_set != 0) {
    e.leave_set = 0;
  } else {
    e.trap_depth -= 1;
  }
  return status;
}

int trap_caught(std::int32_t level, const char* title) {
  ErrorState& e = error_st();
  e.leave_set = 0;
  (void)_ErrorTrap(level, title, e.trap_result);
  osdll_drop_displays(display_st(), e.trap_depth);
  ErrorDisplay();
  e.frames[e.caught].stale = 1;
  e.trap_depth -= 1;
  return kErrorCode;
}

[[noreturn]] void no_trap(const char* text) {
  std::fprintf(stderr, "fsort: an error was raised outside every error trap: %s\n",
               text != nullptr ? text : "");
  std::abort();
}

// The innermost live frame that catches `code`.
std::uint32_t catching_frame(const ErrorState& e, std::int32_t code, const char* text) {
  std::uint32_t i = e.trap_depth;
  while (i != 0) {
    i -= 1;
    if (e.frames[i].level < code) continue;
    FSORT_ASSERT(e.frames[i].stale == 0);
    if (e.frames[i].stale == 0) return i;
  }
  no_trap(text);
}

}  // namespace

void ErrorInit() { error_st().trap_depth = 0; }

std::uint32_t trap_depth() { return error_st().trap_depth; }

void trap_reset() {
  ErrorState& e = error_st();
  e.trap_depth = 0;
  e.pending_messages = 0;
  e.leave_set = 0;
  e.displaying = 0;
  e.interrupted = 0;
  osdll_drop_displays(display_st(), 0);
}

std::int32_t _ErrorTrap(std::int32_t level, const char* title, std::int32_t value) {
  if (value == 0) {
    ErrorState& e = error_st();
    TrapFrame& top = e.frames[e.trap_depth - 1];
    top.level = level;
    top.message = title;
  }
  return value;
}

int detail::trap_run_raw(std::int32_t level, const char* title, int (*body)(void*), void* argument) {
  if (FSORT_SETJMP(trap_push().jump) == 0) return trap_body(level, title, body, argument);
  return trap_caught(level, title);
}

void trap_leave_set() { error_st().leave_set = 1; }

void ErrorReturn(std::int32_t code, const char* text) {
  ErrorState& e = error_st();
  const std::uint32_t depth = e.trap_depth;
  const std::uint32_t bit = depth_bit(depth);
  const std::uint32_t target = catching_frame(e, code, text);
  if (text == nullptr || (e.displaying & e.interrupted & bit) != 0) {
    e.pending_messages = 0;
  } else {
    e.interrupted |= e.displaying & bit;
    e.pending_messages = depth + 1;
    e.frames[depth].message = text;
  }
  e.trap_result = code;
  e.caught = target;
  std::longjmp(e.frames[target].jump, code);
}

bool error_displaying() {
  const ErrorState& e = error_st();
  return (e.displaying & depth_bit(e.trap_depth)) != 0;
}

void ErrorDisplay() {
  ErrorState& e = error_st();
  const std::uint32_t bit = depth_bit(e.trap_depth);
  e.displaying |= bit;
  std::uint32_t i = e.pending_messages;
  while (i != 0 && i >= e.trap_depth) {
    i -= 1;
    osdll_display("%s\n", e.frames[i].message);
  }
  e.pending_messages = i;
  e.displaying &= ~bit;
  e.interrupted &= ~bit;
  osdll_drop_error_text();
}

}  // namespace fsort
