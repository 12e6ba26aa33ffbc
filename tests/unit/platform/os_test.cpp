// Versions, clocks, environment, threads, the lock, the heap.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <thread>

#include "platform/heap.h"
#include "support/std_handles.h"

namespace fsort {
namespace {

TEST(Versions, SayACurrentSystemOfTheNtFamily) {
  EXPECT_GE(os->get_version() & 0xFF, 4u);
  VersionInfo info{};
  info.size = sizeof info;
  EXPECT_TRUE(os->get_version_ex(&info));
  EXPECT_EQ(info.platform_id, 2u);
  EXPECT_EQ(info.size, 148u);
}

TEST(Clock, CountsProcessorTimeInMilliseconds) {
  const std::int64_t start = os->clock();
  const std::clock_t begin = std::clock();
  volatile unsigned sink = 0;
  while (std::clock() - begin < CLOCKS_PER_SEC / 10) sink = sink + 1;
  const std::int64_t spent = os->clock() - start;
  EXPECT_GE(spent, 95);
  EXPECT_LT(spent, 5000);
}

TEST(Time, CountsSeconds) {
  const std::int64_t now = os->time();
  EXPECT_LE(std::abs(now - static_cast<std::int64_t>(std::time(nullptr))), 1);
}

TEST(GetEnv, ReadsTheEnvironment) {
  test::set_environment("FSORT_TEST_VARIABLE", "value");
  EXPECT_STREQ(os->get_env("FSORT_TEST_VARIABLE"), "value");
  test::set_environment("FSORT_TEST_VARIABLE", nullptr);
  EXPECT_EQ(os->get_env("FSORT_TEST_VARIABLE"), nullptr);
}

TEST(Threads, HaveDifferentNumbers) {
  const std::uint32_t own = os->get_current_thread_id();
  std::uint32_t other = own;
  std::thread thread([&other] {
    os->yield_thread();
    other = os->get_current_thread_id();
  });
  thread.join();
  EXPECT_NE(own, other);
  EXPECT_EQ(own, os->get_current_thread_id());
}

TEST(CriticalSections, AreRecursiveAndKeepOthersOut) {
  CriticalSection lock;
  os->initialize_critical_section(&lock);
  int counter = 0;
  const auto count = [&] {
    for (int i = 0; i < 20000; ++i) {
      os->enter_critical_section(&lock);
      os->enter_critical_section(&lock);
      const int seen = counter;
      os->leave_critical_section(&lock);
      counter = seen + 1;
      os->leave_critical_section(&lock);
    }
  };
  std::thread first(count);
  std::thread second(count);
  first.join();
  second.join();
  EXPECT_EQ(counter, 40000);
  os->delete_critical_section(&lock);
}

TEST(HeapAlloc, GivesAlignedBlocksAlsoOfNoSize) {
  for (const std::size_t size : {0u, 1u, 17u, 100000u}) {
    void* block = heap_alloc(size);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 16, 0u);
    std::memset(block, 1, size);
    heap_free(block);
  }
  heap_free(nullptr);
}

}  // namespace
}  // namespace fsort
