// The windup list of an instance; see exit.h.
//
// A windup is taken off the list before it runs: one that raises is not run again, neither by this run, which
// ends there, nor by a later one.
#include "support/exit.h"

#include "support/error.h"
#include "support/support_access.h"

namespace fsort {

namespace {

constexpr char kTitle[] = "Error During Windup";

struct NoArgument {};

int run_windups(NoArgument&) {
  ExitState& list = exit_st();
  while (list.windup_count != 0) {
    list.windup_count = static_cast<std::uint16_t>(list.windup_count - 1);
    list.windups[list.windup_count](current_instance);
  }
  return 0;
}

}  // namespace

int ExitRegister(Windup windup) {
  ExitState& list = exit_st();
  if (list.windup_count >= kMaxWindups) return 1;
  list.windups[list.windup_count] = windup;
  list.windup_count = static_cast<std::uint16_t>(list.windup_count + 1);
  return 0;
}

void ExitWindup() {
  NoArgument none;
  (void)trap_run(kTrapLevel, kTitle, run_windups, none);
}

}  // namespace fsort
