// The support modules' own blocks of the current instance. Included by the .cpp files of this folder only.
#pragma once

#include "entry/instance.h"
#include "support/checks.h"

namespace fsort {

inline ErrorState& error_st() {
  FSORT_ASSERT(current_instance);
  return current_instance->error;
}
inline ExitState& exit_st() {
  FSORT_ASSERT(current_instance);
  return current_instance->exit;
}
inline DisplayState& display_st() {
  FSORT_ASSERT(current_instance);
  return current_instance->display;
}
inline StackState& stack_st() {
  FSORT_ASSERT(current_instance);
  return current_instance->stack;
}

}  // namespace fsort
