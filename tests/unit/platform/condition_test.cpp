// Sleeping on a condition: the lock is free meanwhile, a wake ends the sleep, and so does the time.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "platform/os.h"

namespace fsort::test {

namespace {

class Condition : public ::testing::Test {
 protected:
  void SetUp() override { os->initialize_critical_section(&lock_); }
  void TearDown() override { os->delete_critical_section(&lock_); }

  CriticalSection lock_{};
  ConditionVariable changed_{};
};

TEST_F(Condition, ASleepEndsFalseWhenItsTimeIsOver) {
  const auto before = std::chrono::steady_clock::now();
  os->enter_critical_section(&lock_);
  bool woken = true;
  // A sleep may also end early; not again and again.
  for (int i = 0; i < 100 && woken; ++i) woken = os->sleep_condition_variable(&changed_, &lock_, 30);
  os->leave_critical_section(&lock_);
  EXPECT_FALSE(woken);
  EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(25));
}

TEST_F(Condition, AWakeEndsTheSleepLongBeforeItsTime) {
  constexpr std::uint32_t kMinute = 60000;
  std::atomic<bool> asleep{false};
  bool told = false;  // guarded by the lock
  bool woken = true;
  std::thread sleeper([&] {
    os->enter_critical_section(&lock_);
    asleep = true;
    while (!told && woken) woken = os->sleep_condition_variable(&changed_, &lock_, kMinute);
    os->leave_critical_section(&lock_);
  });
  while (!asleep) std::this_thread::yield();
  os->enter_critical_section(&lock_);  // free only once the other one sleeps
  told = true;
  os->wake_all_condition_variable(&changed_);
  os->leave_critical_section(&lock_);
  sleeper.join();
  EXPECT_TRUE(woken);
}

}  // namespace

}  // namespace fsort::test
