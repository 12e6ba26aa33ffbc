// The engine's own blocks of the current instance. Included by the .cpp files of this folder only.
#pragma once

#include "entry/instance.h"
#include "support/checks.h"

namespace fsort {

inline DriverState& driver_st() {
  FSORT_ASSERT(current_instance);
  return current_instance->driver;
}
inline SortState& sort_st() {
  FSORT_ASSERT(current_instance);
  return current_instance->sort;
}

}  // namespace fsort
