// Memory limits and regions.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>

#include "platform/posix/posix_internal.h"
#include "support/temp_folder.h"

namespace fsort {
namespace {

using test::TempFolder;

constexpr std::uint64_t kNone = ~static_cast<std::uint64_t>(0);

TEST(GlobalMemoryStatus, ReportsNoMoreThanTheMachineHas) {
  MemoryStatus status{};
  status.length = sizeof status;
  os->global_memory_status(&status);
  const auto pages = static_cast<std::uint64_t>(sysconf(_SC_PHYS_PAGES));
  EXPECT_GT(status.total_phys, 0u);
  EXPECT_LE(status.total_phys, pages * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE)));
  EXPECT_LE(status.avail_phys, status.total_phys);
  EXPECT_LE(status.memory_load, 100u);
  EXPECT_EQ(status.length, sizeof status);
}

TEST(GlobalMemoryStatus, KeepsToTheAddressSpaceLimitOfTheProcess) {
  rlimit before{};
  getrlimit(RLIMIT_AS, &before);
  rlimit lower = before;
  lower.rlim_cur = 100u << 20;
  ASSERT_EQ(setrlimit(RLIMIT_AS, &lower), 0);
  MemoryStatus status{};
  os->global_memory_status(&status);
  setrlimit(RLIMIT_AS, &before);
  EXPECT_EQ(status.total_phys, 100u << 20);
}

class ControlGroups : public ::testing::Test {
 protected:
  void limit(const std::string& group, const std::string& file, const std::string& text) {
    std::filesystem::create_directories(folder_.path("root/" + group));
    folder_.make("root/" + group + "/" + file, text);
  }
  std::uint64_t lowest(const std::string& membership) {
    return posix::cgroup_memory_limit(folder_.path("root").c_str(), folder_.make("self", membership).c_str());
  }
  TempFolder folder_;
};

TEST_F(ControlGroups, TakeTheLowestLimitOnTheWayUp) {
  limit("", "memory.max", "9000\n");
  limit("a", "memory.max", "5000\n");
  limit("a/b", "memory.max", "max\n");
  limit("a/b/c", "memory.max", "7000\n");
  EXPECT_EQ(lowest("0::/a/b/c\n"), 5000u);
  EXPECT_EQ(lowest("0::/a/b\n"), 5000u);
  EXPECT_EQ(lowest("0::/x\n"), 9000u);
  EXPECT_EQ(lowest("0::/\n"), 9000u);
}

TEST_F(ControlGroups, UnderstandTheOlderLayoutWithOneTreeForMemory) {
  limit("memory/job", "memory.limit_in_bytes", "4096000\n");
  limit("memory", "memory.limit_in_bytes", "9223372036854771712\n");
  limit("cpu/job", "memory.limit_in_bytes", "1\n");
  EXPECT_EQ(lowest("5:cpu,cpuacct:/job\n4:hugetlb,memory:/job\n0::/job\n"), 4096000u);
  EXPECT_EQ(lowest("3:memoryx:/job\n"), kNone);
}

TEST_F(ControlGroups, HaveNoLimitWhereNothingSaysSo) {
  limit("", "memory.max", "max\n");
  EXPECT_EQ(lowest("0::/a\n"), kNone);
  EXPECT_EQ(lowest("nonsense\n\n:\n"), kNone);
  EXPECT_EQ(lowest(""), kNone);
  EXPECT_EQ(posix::cgroup_memory_limit("/nowhere", "/nowhere/self"), kNone);
  limit("big", "memory.max", "99999999999999999999999\n");
  EXPECT_EQ(lowest("0::/big\n"), kNone);
  EXPECT_EQ(lowest("0::/" + std::string(5000, 'x') + "\n"), kNone);
}

TEST(RegionAlloc, AlignsLargeRegionsToHugePagesAndGivesAllBytes) {
  constexpr std::size_t kHuge = 2u << 20;
  for (const std::size_t size : {kHuge, kHuge + 1, 5 * kHuge + 12345}) {
    void* region = os->region_alloc(size);
    ASSERT_NE(region, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(region) % kHuge, 0u);
    std::memset(region, 0x5A, size);
    EXPECT_EQ(static_cast<unsigned char*>(region)[size - 1], 0x5A);
    os->region_free(region, size);
  }
}

TEST(RegionAlloc, GivesSmallRegionsOnPages) {
  void* region = os->region_alloc(100);
  ASSERT_NE(region, nullptr);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(region) % 4096, 0u);
  std::memset(region, 1, 100);
  os->region_free(region, 100);
  os->region_free(nullptr, 100);
}

TEST(RegionAlloc, HasNothingForSizesThatCannotBe) {
  EXPECT_EQ(os->region_alloc(0), nullptr);
  EXPECT_EQ(os->region_alloc(~static_cast<std::size_t>(0)), nullptr);
  EXPECT_EQ(os->region_alloc(static_cast<std::size_t>(1) << 47), nullptr);
}

}  // namespace
}  // namespace fsort
