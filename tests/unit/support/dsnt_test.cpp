// The instance record's own allocation.
#include "support/dsnt.h"

#include <algorithm>

#include "memory_faults.h"

namespace fsort::test {
namespace {

class InstanceBlock : public SupportTest {};

TEST_F(InstanceBlock, IsZeroFilledAndSixteenAligned) {
  // Dirty the heap, so that a block that was not cleared shows.
  void* dirty = os->heap_alloc(sizeof(Instance));
  std::memset(dirty, 0xFF, sizeof(Instance));
  os->heap_free(dirty);
  Instance* made = DSAlloc();
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(made) % 16, 0u);
  const auto* bytes = reinterpret_cast<const unsigned char*>(made);
  EXPECT_TRUE(std::all_of(bytes, bytes + sizeof(Instance), [](unsigned char b) { return b == 0; }));
  DSFree(made);
}

TEST_F(InstanceBlock, IsNullWhenTheHeapHasNoRoom) {
  MemoryFaults::allow_heap(0);
  EXPECT_EQ(DSAlloc(), nullptr);
  DSFree(nullptr);
}

}  // namespace
}  // namespace fsort::test
