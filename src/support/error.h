// Error traps: how every fault inside a sort is reported.
//
// The code that finds a fault formats a message and raises it (osdll_error, osdll_perror, ErrorReturn). A
// raise never returns: it jumps to the innermost trap, which shows the message and its own title and makes
// its function answer 1. Clean-up does not hang on unwinding; windups (exit.h) release what was acquired.
//
//   int body(Args& a) { ... may raise ...; return 0; }
//   int guarded(...)  { Args a{...}; return trap_run(kTrapLevel, "Error detected in ...", body, a); }
//
// trap_run pushes a frame, sets the jump, calls the body and pops. It is the only function here that sets a
// jump and it keeps no local across it, so no local of any guarded function can be clobbered.
//
// Frames. frame[0..trap_depth-1] are set traps; the slot above the top holds the text of the error being
// raised. `pending_messages` is one past the highest frame whose text is still to be shown:
//
//   raise at depth 3:   0 "Fsort Initialization"   1 "... fsort call"   2 "... text record"   3 <error text>
//   shown:              <error text>, "... text record"         (the catching trap's title comes last)
//
// All traps of the engine catch code 1 and all raises raise 1, so exactly one title follows each text.
//
// Stale traps. Some functions leave their trap set when they return successfully (InitCommand, the usage
// text). They say so by trap_leave_set(); the frame keeps its place and its title but may no longer be jumped
// to: the next trap always lies above it. A debug assertion in the raise refuses a stale target; a release
// build passes it over and jumps to the next live frame below.
//
// Raising while an error is shown. The display function may be a caller's callback, and a callback may abort
// the sort, which is a raise. It lands in the trap whose messages are being shown: that display ends where it
// is and the new text is shown instead, once. A raise that interrupts the display of such a second text shows
// nothing any more, so a callback that aborts on every text it is given comes to an end.
//
// Raising across a live object with a destructor is undefined; the engine has none (see CONTRIBUTING).
#pragma once

#include <csetjmp>
#include <cstdint>
#include <type_traits>

namespace fsort {

// Level of every trap and code of every raise, except the command-line copier's trap, which stores 2.
inline constexpr std::int32_t kErrorCode = 1;
inline constexpr std::int32_t kTrapLevel = 1;

// 16 usable frames; one more for the error text above a full stack.
inline constexpr std::uint32_t kTrapFrames = 17;

struct TrapFrame {
  std::int32_t level;   // highest code this trap catches
  std::int32_t stale;   // 1: its function has returned, never jump here
  const char* message;  // the title; in the slot above the top: the text of the error
  std::jmp_buf jump;
};
static_assert(sizeof(std::jmp_buf) <= 256, "a frame sets 256 bytes aside for the jump buffer");

struct ErrorState {
  TrapFrame frames[kTrapFrames];
  std::uint32_t trap_depth;        // traps set
  std::uint32_t pending_messages;  // one past the highest frame still to be shown
  std::int32_t trap_result;        // value of the latest trap set, 0 on the first pass
  std::uint32_t caught;            // frame that the latest raise jumped to
  std::uint32_t leave_set;         // a body asked that its trap stay set
  std::uint32_t displaying;        // bit d: ErrorDisplay is running at depth d
  std::uint32_t interrupted;       // bit d: a raise has interrupted the display at depth d before
};

// Forgets all traps.
void ErrorInit();

// Depth of the trap stack; for entry code and tests.
[[nodiscard]] std::uint32_t trap_depth();

// Forgets every trap and pending message of an earlier start. Requires: no trap of this instance is live.
void trap_reset();

// Second half of setting a trap; `value` is that of the set-jump. On 0 stores level and title in the top
// frame. Result: `value`.
std::int32_t _ErrorTrap(std::int32_t level, const char* title, std::int32_t value);

namespace detail {
int trap_run_raw(std::int32_t level, const char* title, int (*body)(void*), void* argument);
}

// Runs body(argument) under a trap. Result: what the body returned, or 1 after an error, which has then been
// displayed. Raises: nothing that its level catches; with 16 traps set already, "Too many nested error traps"
// to the innermost of them.
template <class Argument>
int trap_run(std::int32_t level, const char* title, int (*body)(Argument&), Argument& argument) {
  struct Call {
    int (*body)(Argument&);
    Argument* argument;
  } call{body, &argument};
  static_assert(std::is_trivially_destructible_v<Argument>);
  return detail::trap_run_raw(
      level, title,
      [](void* raw) {
        auto* c = static_cast<Call*>(raw);
        return c->body(*c->argument);
      },
      &call);
}

// Called by a body right before it returns: its trap stays set (stale) instead of being popped.
void trap_leave_set();

// Raises `text`, which must stay valid until it is displayed; null: nothing is shown for this raise. Without
// a live trap the process ends with a message to the standard error stream: no path of the engine raises
// there.
[[noreturn]] void ErrorReturn(std::int32_t code, const char* text);

// True while the messages of the innermost trap are being shown: a raise now would interrupt that display.
[[nodiscard]] bool error_displaying();

// Shows the pending messages, innermost first, each with a line break. A second call at the same depth shows
// nothing.
void ErrorDisplay();

}  // namespace fsort
