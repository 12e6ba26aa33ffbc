// Locks of a POSIX system: a process may end with one held, and its other threads go on for a while.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "platform/os.h"

namespace fsort {
namespace {

TEST(CriticalSectionsOnPosix, GoOnHoldingOthersOutWhenDeletedWhileHeld) {
  CriticalSection lock;
  os->initialize_critical_section(&lock);
  os->enter_critical_section(&lock);
  os->delete_critical_section(&lock);
  std::atomic<bool> entered{false};
  std::thread other([&] {
    os->enter_critical_section(&lock);
    entered = true;
    os->leave_critical_section(&lock);
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_FALSE(entered);
  os->leave_critical_section(&lock);
  other.join();
  EXPECT_TRUE(entered);
  os->delete_critical_section(&lock);
}

}  // namespace
}  // namespace fsort
