// The instance record's own allocation.
#include "support/dsnt.h"

#include <algorithm>

#include "memory_faults.h"
#include "support/osdll.h"

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

Instance* g_outer;

// A callback of one instance that aborts the sort of another one: its own display never returns.
std::int32_t display_aborting_the_outer_sort(const char*) {
  current_instance = g_outer;
  ErrorReturn(kErrorCode, "outer sort aborted");
}

TEST_F(InstanceBlock, IsFreedWithTheTextOfADisplayThatNeverReturned) {
  Instance* inner = DSAlloc();
  ASSERT_NE(inner, nullptr);
  g_outer = &instance();
  const std::string text(3000, 'd');
  const Raised r = raised([&] {
    current_instance = inner;
    osdll_display_register(display_aborting_the_outer_sort);
    osdll_display("%s", text.c_str());
  });
  EXPECT_EQ(r.texts, Texts{"outer sort aborted\n"});
  EXPECT_NE(inner->display.blocks, nullptr);
  const std::size_t before = MemoryFaults::heap_blocks();
  DSFree(inner);
  EXPECT_EQ(MemoryFaults::heap_blocks(), before - 2) << "the record and the text";
}

TEST_F(InstanceBlock, IsNullWhenTheHeapHasNoRoom) {
  MemoryFaults::allow_heap(0);
  EXPECT_EQ(DSAlloc(), nullptr);
  DSFree(nullptr);
}

}  // namespace
}  // namespace fsort::test
