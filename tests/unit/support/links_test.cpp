// Intrusive lists: layout of the links in front of an element, list and queue operations.
#include "support/links.h"

#include <gtest/gtest.h>

#include <array>

#include "memory_faults.h"

namespace fsort::test {
namespace {

// An element of `Links` links whose address is `offset` bytes off any alignment.
template <unsigned Links>
struct Block {
  std::array<std::uint8_t, kLinkBytes * Links + 16> bytes{};
  Element at(std::size_t offset = 0) { return bytes.data() + kLinkBytes * Links + offset; }
};

class Links : public SupportTest {};

TEST_F(Links, AreTheWordsJustBeforeTheElement) {
  Block<2> block;
  Element e = block.at();
  link_set(e, 0, e);
  link_set(e, 1, e + 1);
  EXPECT_EQ(load_le<Element>(e - 8), e);
  EXPECT_EQ(load_le<Element>(e - 16), e + 1);
  EXPECT_EQ(link_get(e, 0), e);
  EXPECT_EQ(link_get(e, 1), e + 1);
}

TEST_F(Links, MkelemGivesABlockWithItsLinksInFront) {
  const std::size_t before = MemoryFaults::heap_blocks();
  Element e = mkelem(32, 2);
  ASSERT_NE(e, nullptr);
  EXPECT_EQ(MemoryFaults::heap_blocks(), before + 1);
  std::memset(e - 2 * kLinkBytes, 0xEE, 2 * kLinkBytes + 32);
  free_elem(e, 2);
  EXPECT_EQ(MemoryFaults::heap_blocks(), before);
}

TEST_F(Links, MkelemWithoutLinksIsThePlainBlock) {
  Element e = mkelem(1, 0);
  ASSERT_NE(e, nullptr);
  *e = 1;
  free_elem(e, 0);
}

TEST_F(Links, MkelemAnswersNullWhenTheHeapIsExhausted) {
  MemoryFaults::allow_heap(0);
  EXPECT_EQ(mkelem(32, 1), nullptr);
}

TEST_F(Links, MkelemAnswersNullForASizeThatTheLinksWouldWrapAround) {
  EXPECT_EQ(mkelem(SIZE_MAX - 7, 1), nullptr);
}

TEST_F(Links, EnlinkInsertsBehindAnElement) {
  Block<1> a, b, c;
  link_set(a.at(), 0, nullptr);
  enlink(a.at(), c.at(), 0);
  enlink(a.at(), b.at(), 0);
  EXPECT_EQ(link_get(a.at(), 0), b.at());
  EXPECT_EQ(link_get(b.at(), 0), c.at());
  EXPECT_EQ(link_get(c.at(), 0), nullptr);
}

TEST_F(Links, DelinkUnhooksAndReturnsTheFollowingElement) {
  Block<1> a, b, c;
  link_set(a.at(), 0, b.at());
  link_set(b.at(), 0, c.at());
  link_set(c.at(), 0, nullptr);
  EXPECT_EQ(delink(a.at(), 0), b.at());
  EXPECT_EQ(link_get(a.at(), 0), c.at());
  EXPECT_EQ(delink(a.at(), 0), c.at());
  EXPECT_EQ(link_get(a.at(), 0), nullptr);
}

TEST_F(Links, OfDifferentNumbersAreIndependent) {
  Block<2> a, b;
  link_set(a.at(), 0, nullptr);
  link_set(a.at(), 1, nullptr);
  enlink(a.at(), b.at(), 1);
  EXPECT_EQ(link_get(a.at(), 0), nullptr);
  EXPECT_EQ(link_get(a.at(), 1), b.at());
}

TEST_F(Links, WorkAtAnyAddress) {
  Block<1> a, b;
  for (std::size_t offset = 0; offset < 8; ++offset) {
    link_set(a.at(offset), 0, nullptr);
    enlink(a.at(offset), b.at(offset), 0);
    EXPECT_EQ(delink(a.at(offset), 0), b.at(offset)) << offset;
    EXPECT_EQ(link_get(a.at(offset), 0), nullptr) << offset;
  }
}

TEST_F(Links, Il2MakesAnEmptyQueueAndReturnsIt) {
  Block<3> q;
  EXPECT_EQ(il2(q.at(), 1), q.at());
  EXPECT_EQ(link_get(q.at(), 1), q.at());
  EXPECT_EQ(link_get(q.at(), 2), q.at());
  EXPECT_EQ(link_get(q.at(), 0), nullptr);
}

TEST_F(Links, EnqueueOntoAnEmptyQueueMakesTheElementFirstAndLastAndLinksItBackToTheHead) {
  Block<2> q;
  Block<1> x;
  il2(q.at(), 0);
  enqueue(q.at(), x.at(), 0);
  EXPECT_EQ(link_get(q.at(), 0), x.at());
  EXPECT_EQ(link_get(q.at(), 1), x.at());
  EXPECT_EQ(link_get(x.at(), 0), q.at());
}

TEST_F(Links, EnqueueAppendsAtTheTail) {
  Block<2> q;
  Block<1> x, y;
  il2(q.at(), 0);
  enqueue(q.at(), x.at(), 0);
  enqueue(q.at(), y.at(), 0);
  EXPECT_EQ(link_get(q.at(), 0), x.at());
  EXPECT_EQ(link_get(x.at(), 0), y.at());
  EXPECT_EQ(link_get(y.at(), 0), q.at());
  EXPECT_EQ(link_get(q.at(), 1), y.at());
}

TEST_F(Links, DequeueOfTheOnlyElementLeavesAnEmptyQueueWhoseEndsPointToTheHead) {
  Block<2> q;
  Block<1> x;
  il2(q.at(), 0);
  enqueue(q.at(), x.at(), 0);
  EXPECT_EQ(dequeue(q.at(), 0), x.at());
  EXPECT_EQ(link_get(q.at(), 0), q.at());
  EXPECT_EQ(link_get(q.at(), 1), q.at());
}

TEST_F(Links, QueueGivesElementsBackInTheOrderTheyCame) {
  Block<3> q;
  std::array<Block<2>, 5> blocks;
  il2(q.at(), 1);
  for (auto& block : blocks) enqueue(q.at(), block.at(), 1);
  for (auto& block : blocks) EXPECT_EQ(dequeue(q.at(), 1), block.at());
  EXPECT_EQ(link_get(q.at(), 1), q.at());
  enqueue(q.at(), blocks[2].at(), 1);
  EXPECT_EQ(dequeue(q.at(), 1), blocks[2].at());
}

}  // namespace
}  // namespace fsort::test
