// The key modules' own blocks of the current instance. Included by the .cpp files of this folder only.
#pragma once

#include "entry/instance.h"
#include "support/checks.h"

namespace fsort {

inline KeyState& key_st() {
  FSORT_ASSERT(current_instance);
  return current_instance->key;
}
inline SequenceState& seq_st() {
  FSORT_ASSERT(current_instance);
  return current_instance->sequence;
}
inline RecordState& rec_st() {
  FSORT_ASSERT(current_instance);
  return current_instance->record;
}

}  // namespace fsort
