// Windups: clean-up functions that a sort's modules register and FsortDestroy runs, last registered first.
//
// The list holds 12. One sort registers 8, so a second full sort on the same handle fails when the list is
// full; that is documented behaviour (one full sort a handle). Every windup must be able to run twice: it
// clears what it releases.
#pragma once

#include <cstdint>

namespace fsort {

struct Instance;
using Windup = void (*)(Instance*);

inline constexpr std::uint16_t kMaxWindups = 12;

struct ExitState {
  Windup windups[kMaxWindups];
  std::uint16_t windup_count;
};

// Result: 0, or non-zero when the list is full (nothing is then changed).
[[nodiscard]] int ExitRegister(Windup windup);

// Runs and removes the windups in reverse order under the trap "Error During Windup". An error in one is
// shown and ends the run; the ones not yet run stay listed.
void ExitWindup();

}  // namespace fsort
