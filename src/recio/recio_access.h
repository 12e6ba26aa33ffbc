// The record i/o modules' own blocks of the current instance. Included by the .cpp files of this folder only.
#pragma once

#include "entry/instance.h"
#include "support/checks.h"

namespace fsort {

inline ReadState& read_st() {
  FSORT_ASSERT(current_instance);
  return current_instance->read;
}
inline RinState& rin_st() {
  FSORT_ASSERT(current_instance);
  return current_instance->rin;
}
inline RoutState& rout_st() {
  FSORT_ASSERT(current_instance);
  return current_instance->rout;
}

}  // namespace fsort
