// The fault-injecting table that other tests stand on.
#include "support/fault_os.h"

#include <gtest/gtest.h>

#include "platform/heap.h"
#include "support/temp_folder.h"

namespace fsort::test {
namespace {

Handle create(const std::string& name) {
  // Others may look at it meanwhile.
  return os->create_file(name.c_str(), kGenericRead | kGenericWrite, kShareRead, nullptr, kCreateAlways, 0,
                         nullptr);
}

TEST(FaultOs, StandsInFrontOnlyWhileItLives) {
  const OsTable* before = os;
  {
    const FaultOs faults;
    EXPECT_NE(os, before);
  }
  EXPECT_EQ(os, before);
}

TEST(FaultOs, FailsTheChosenCallOnceOrForGood) {
  FaultOs faults;
  faults.fail(OsCall::kHeapAlloc, 2, kErrorNotEnoughMemory);
  void* first = heap_alloc(1);
  EXPECT_NE(first, nullptr);
  EXPECT_FALSE(faults.struck());
  EXPECT_EQ(heap_alloc(1), nullptr);
  EXPECT_TRUE(faults.struck());
  EXPECT_EQ(os->get_last_error(), kErrorNotEnoughMemory);
  void* third = heap_alloc(1);
  EXPECT_NE(third, nullptr);
  faults.fail(OsCall::kHeapAlloc, 1, kErrorNotEnoughMemory, Lasting::kForGood);
  EXPECT_EQ(heap_alloc(1), nullptr);
  EXPECT_EQ(heap_alloc(1), nullptr);
  EXPECT_EQ(faults.calls(OsCall::kHeapAlloc), 5u);
  heap_free(first);
  heap_free(third);
}

TEST(FaultOs, CountsWhatIsAlive) {
  const TempFolder folder;
  const FaultOs faults;
  void* block = heap_alloc(100);
  void* region = os->region_alloc(5000);
  Handle file = create(folder.path("f"));
  Handle one = os->create_event(nullptr, false, false, nullptr);
  Handle two = os->create_event(nullptr, false, false, nullptr);
  EXPECT_EQ(faults.heap_blocks(), 1u);
  EXPECT_EQ(faults.heap_bytes(), 100u);
  EXPECT_EQ(faults.regions(), 1u);
  EXPECT_EQ(faults.open_files(), 1u);
  EXPECT_EQ(faults.events(), 2u);
  EXPECT_FALSE(faults.clean());
  EXPECT_EQ(faults.alive(), "1 files, 2 events, 1 regions, 0 requests in flight, heap blocks of 100");
  heap_free(block);
  os->region_free(region, 5000);
  os->close_handle(file);
  os->close_handle(one);
  os->close_handle(two);
  EXPECT_TRUE(faults.clean()) << faults.alive();
}

TEST(FaultOs, EndsTheDiskAndShortensTransfers) {
  const TempFolder folder;
  FaultOs faults;
  Handle file = create(folder.path("f"));
  std::uint32_t done = 0;
  faults.limit_write(3);
  EXPECT_TRUE(os->write_file(file, "abcdef", 6, &done, nullptr));
  EXPECT_EQ(done, 3u);
  faults.limit_write(0);
  faults.limit_disk(4);
  EXPECT_TRUE(os->write_file(file, "XY", 2, &done, nullptr));
  EXPECT_FALSE(os->write_file(file, "xyz", 3, &done, nullptr));
  EXPECT_EQ(os->get_last_error(), kErrorDiskFull);
  EXPECT_EQ(folder.content("f"), "abcXY");
  os->close_handle(file);
}

TEST(FaultOs, ShortensASingleTransferToHalf) {
  const TempFolder folder;
  FaultOs faults;
  Handle file = create(folder.path("f"));
  std::uint32_t done = 0;
  faults.shorten(OsCall::kWrite, 2);
  for (const std::uint32_t moved : {5u, 3u, 5u}) {
    EXPECT_TRUE(os->write_file(file, "abcde", 5, &done, nullptr));
    EXPECT_EQ(done, moved);
  }
  EXPECT_TRUE(faults.struck());
  EXPECT_EQ(folder.content("f"), "abcdeabcabcde");
  os->close_handle(file);
}

TEST(FaultOs, DropsARequestWhoseWaitFails) {
  const TempFolder folder;
  FaultOs faults;
  Handle file = create(folder.path("f"));
  std::uint32_t done = 0;
  Overlapped request{};
  faults.defer_overlapped(true);
  EXPECT_FALSE(os->write_file(file, "abc", 3, &done, &request));
  faults.fail(OsCall::kResult, 1, kErrorIoDevice);
  EXPECT_FALSE(os->get_overlapped_result(file, &request, &done, true));
  EXPECT_EQ(os->get_last_error(), kErrorIoDevice);
  EXPECT_EQ(faults.deferred(), 0u);
  EXPECT_EQ(folder.content("f"), "");
  os->close_handle(file);
}

TEST(FaultOs, PutsOverlappedTransfersOffUntilTheyAreWaitedFor) {
  const TempFolder folder;
  FaultOs faults;
  Handle file = create(folder.path("f"));
  std::uint32_t done = 0;
  Overlapped first{};
  Overlapped second{};
  second.offset_low = 3;
  faults.defer_overlapped(true);
  EXPECT_FALSE(os->write_file(file, "abc", 3, &done, &first));
  EXPECT_EQ(os->get_last_error(), kErrorIoPending);
  EXPECT_FALSE(os->write_file(file, "def", 3, &done, &second));
  EXPECT_EQ(folder.content("f"), "");
  EXPECT_EQ(faults.deferred(), 2u);
  EXPECT_TRUE(os->get_overlapped_result(file, &first, &done, true));
  EXPECT_EQ(done, 3u);
  EXPECT_EQ(folder.content("f"), "abc");
  EXPECT_EQ(faults.complete_deferred(), 1u);
  EXPECT_EQ(folder.content("f"), "abcdef");
  EXPECT_TRUE(os->get_overlapped_result(file, &second, &done, true));
  os->close_handle(file);
}

}  // namespace
}  // namespace fsort::test
