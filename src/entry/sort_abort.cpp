// Ending a sort on the caller's demand. See sort_abort.h.
#include "entry/sort_abort.h"

#include "entry/entry_access.h"
#include "entry/entry_switch.h"
#include "entry/library.h"

namespace fsort {

namespace {

// A display callback that aborts again at every text would never see the end of the texts: while those of an
// abort are being shown, a further abort jumps with none left to show.
[[noreturn]] void abort_raise() {
  EntryState& e = entry_st();
  e.abort_pending = 0;
  if (e.abort_displayed != 0 && error_displaying()) ErrorReturn(kErrorCode, nullptr);
  e.abort_displayed = 1;
  ErrorReturn(kErrorCode, "Fsort aborted by caller");
}

}  // namespace

void sort_abort(std::int32_t code) {
  EntryState& e = entry_st();
  if (e.running == 0) return;
  e.abort_code = code;
  if (e.sort_thread != entry_lock_owner()) {
    e.abort_pending = 1;
    pipe_wake();  // the sort may be asleep there
    return;
  }
  entry_frames_cut();
  abort_raise();
}

bool sort_abort_waits() {
  const EntryState& e = entry_st();
  return e.abort_pending != 0 && e.running != 0 && e.sort_thread == entry_lock_owner();
}

void sort_abort_check() {
  if (entry_st().abort_pending != 0 && sort_abort_waits()) abort_raise();
}

}  // namespace fsort
