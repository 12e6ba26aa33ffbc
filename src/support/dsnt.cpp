// Allocation of the instance record; see dsnt.h. A zero-filled record is a valid empty one in every module.
#include "support/dsnt.h"

#include <cstring>

#include "platform/heap.h"
#include "support/support_access.h"

namespace fsort {

static_assert(alignof(Instance) <= 16, "the heap gives 16-aligned blocks");

Instance* DSAlloc() {
  void* block = heap_alloc(sizeof(Instance));
  if (block == nullptr) return nullptr;
  return static_cast<Instance*>(std::memset(block, 0, sizeof(Instance)));
}

void DSFree(Instance* instance) {
  if (instance == nullptr) return;
  osdll_drop_displays(instance->display, 0);
  heap_free(instance);
}

}  // namespace fsort
