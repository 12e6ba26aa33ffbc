// Attach and detach, and the entry lock. See library.h.
//
// The platform calls library_attach when the library is loaded, before any initialiser of the program that
// loads it, so that a caller may sort from a static initialiser; and library_detach at the end of the
// process.
#include "entry/library.h"

#include "platform/os.h"

namespace fsort {

namespace {

constinit CriticalSection entry_lock{};
constinit bool entry_lock_ready = false;
constinit std::uint32_t lock_depth = 0;  // written by the holder only
constinit std::uint32_t lock_owner = 0;  // likewise; valid while lock_depth > 0

}  // namespace

std::int32_t DllEntryPoint(std::uint32_t reason) {
  if (reason == kProcessAttach && !entry_lock_ready) {
    os->initialize_critical_section(&entry_lock);
    entry_lock_ready = true;
  } else if (reason == kProcessDetach && entry_lock_ready && lock_depth == 0) {
    entry_lock_ready = false;
    os->delete_critical_section(&entry_lock);
  }
  return 1;
}

void library_attach() { DllEntryPoint(kProcessAttach); }

void library_detach() { DllEntryPoint(kProcessDetach); }

void entry_lock_enter() {
  os->enter_critical_section(&entry_lock);
  if (lock_depth == 0) lock_owner = os->get_current_thread_id();
  ++lock_depth;
}

void entry_lock_leave() {
  --lock_depth;
  os->leave_critical_section(&entry_lock);
}

std::uint32_t entry_lock_depth() { return lock_depth; }

std::uint32_t entry_lock_owner() { return lock_owner; }

void entry_lock_sleep(ConditionVariable* condition, std::uint32_t milliseconds) {
  const std::uint32_t depth = lock_depth;
  lock_depth = 0;
  for (std::uint32_t i = 1; i < depth; ++i) os->leave_critical_section(&entry_lock);
  os->sleep_condition_variable(condition, &entry_lock, milliseconds);
  for (std::uint32_t i = 1; i < depth; ++i) os->enter_critical_section(&entry_lock);
  lock_depth = depth;
  lock_owner = os->get_current_thread_id();
}

std::uint32_t entry_lock_give_back() {
  const std::uint32_t depth = lock_depth;
  lock_depth = 0;  // before the last leave: after it the count belongs to the next holder
  for (std::uint32_t i = 0; i < depth; ++i) os->leave_critical_section(&entry_lock);
  return depth;
}

void entry_lock_take_again(std::uint32_t depth) {
  if (depth == 0) return;
  for (std::uint32_t i = 0; i < depth; ++i) os->enter_critical_section(&entry_lock);
  lock_depth = depth;
  lock_owner = os->get_current_thread_id();
}

}  // namespace fsort
