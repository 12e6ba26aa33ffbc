// Memory of a Windows system: what there is, and regions.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstring>

#include "platform/os.h"

namespace fsort {
namespace {

TEST(GlobalMemoryStatusOnWindows, ReportsNoMoreThanTheMachineHas) {
  MEMORYSTATUSEX machine = {};
  machine.dwLength = sizeof machine;
  ASSERT_NE(GlobalMemoryStatusEx(&machine), 0);
  MemoryStatus status{};
  status.length = sizeof status;
  os->global_memory_status(&status);
  EXPECT_GT(status.total_phys, 0u);
  EXPECT_LE(status.total_phys, machine.ullTotalPhys);
}

TEST(RegionAllocOnWindows, GivesWholePagesToTheLastByte) {
  for (const std::size_t size : {std::size_t{1}, std::size_t{100}, std::size_t{5} << 20}) {
    void* region = os->region_alloc(size);
    ASSERT_NE(region, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(region) % 4096, 0u);
    std::memset(region, 0x5A, size);
    EXPECT_EQ(static_cast<unsigned char*>(region)[size - 1], 0x5A);
    os->region_free(region, size);
    MEMORY_BASIC_INFORMATION info = {};
    ASSERT_NE(VirtualQuery(region, &info, sizeof info), 0u);
    EXPECT_NE(info.State, static_cast<DWORD>(MEM_COMMIT)) << "a region given back takes no memory";
  }
  os->region_free(nullptr, 100);
}

TEST(RegionAllocOnWindows, HasNothingForSizesThatCannotBe) {
  EXPECT_EQ(os->region_alloc(0), nullptr);
  EXPECT_EQ(os->region_alloc(~static_cast<std::size_t>(0)), nullptr);
  EXPECT_EQ(os->region_alloc(std::size_t{1} << 47), nullptr);
}

}  // namespace
}  // namespace fsort
