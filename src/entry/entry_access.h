// The entry block of the current instance. Included by the .cpp files of this folder only.
#pragma once

#include "entry/instance.h"
#include "support/checks.h"

namespace fsort {

inline EntryState& entry_st() {
  FSORT_ASSERT(current_instance);
  return current_instance->entry;
}

}  // namespace fsort
