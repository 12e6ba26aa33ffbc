// Allocation of the instance record itself.
#pragma once

namespace fsort {

struct Instance;

// A zero-filled instance record, 16-aligned; null when the heap has no room. Owns: the caller, until DSFree.
[[nodiscard]] Instance* DSAlloc();
void DSFree(Instance* instance);

}  // namespace fsort
