// A layer in front of the system table that counts memory and refuses some of it.
//
// Every heap block and every region given out is remembered, so a test can tell what is live, how large the
// regions are, and that each is given back once with the size it was taken with. Regions are filled with a
// pattern: their content is not cleared by contract.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <map>
#include <set>
#include <vector>

#include "platform/os.h"
#include "support/instance_fixture.h"

namespace fsort::test {

class MemoryFaults {
 public:
  MemoryFaults() : table_(kSystemOs) {
    state() = State();
    table_.heap_alloc = heap_alloc;
    table_.heap_free = heap_free;
    table_.region_alloc = region_alloc;
    table_.region_free = region_free;
    os = &table_;
  }
  ~MemoryFaults() { os = &kSystemOs; }
  MemoryFaults(const MemoryFaults&) = delete;
  MemoryFaults& operator=(const MemoryFaults&) = delete;

  // The next `n` allocations succeed, all later ones fail; a negative count lifts the limit.
  static void allow_heap(int n) { state().heap_left = n; }
  static void allow_regions(int n) { state().regions_left = n; }
  // Regions of more than this many bytes are refused.
  static void refuse_regions_above(std::size_t bytes) { state().region_limit = bytes; }

  [[nodiscard]] static std::size_t heap_blocks() { return state().blocks.size(); }
  [[nodiscard]] static std::size_t regions() { return state().regions.size(); }
  [[nodiscard]] static std::size_t region_bytes() {
    std::size_t sum = 0;
    for (const auto& [address, size] : state().regions) sum += size;
    return sum;
  }
  // Sizes of all regions ever given out, in order.
  [[nodiscard]] static const std::vector<std::size_t>& region_sizes() { return state().sizes; }

 private:
  struct State {
    std::set<void*> blocks;
    std::map<void*, std::size_t> regions;
    std::vector<std::size_t> sizes;
    int heap_left = -1;
    int regions_left = -1;
    std::size_t region_limit = SIZE_MAX;
  };
  static State& state() {
    static State instance;
    return instance;
  }
  static bool granted(int& left) {
    if (left == 0) return false;
    if (left > 0) --left;
    return true;
  }
  static void* heap_alloc(std::size_t size) {
    if (!granted(state().heap_left)) return nullptr;
    void* block = kSystemOs.heap_alloc(size);
    state().blocks.insert(block);
    return block;
  }
  static void heap_free(void* block) {
    if (block == nullptr) return;
    EXPECT_EQ(state().blocks.erase(block), 1u) << "freed, but never given out";
    kSystemOs.heap_free(block);
  }
  static void* region_alloc(std::size_t size) {
    if (size > state().region_limit || !granted(state().regions_left)) return nullptr;
    void* region = kSystemOs.region_alloc(size);
    if (region == nullptr) return nullptr;
    std::memset(region, 0xA5, size < kFilledBytes ? size : kFilledBytes);
    state().regions[region] = size;
    state().sizes.push_back(size);
    return region;
  }
  static void region_free(void* region, std::size_t size) {
    const auto found = state().regions.find(region);
    ASSERT_NE(found, state().regions.end()) << "freed, but never given out";
    EXPECT_EQ(found->second, size) << "freed with another size";
    state().regions.erase(found);
    kSystemOs.region_free(region, size);
  }

  static constexpr std::size_t kFilledBytes = std::size_t{1} << 20;
  OsTable table_;
};

// A live instance over counted memory; the test fails when any of it is left at the end.
class SupportTest : public InstanceFixture {
 protected:
  void TearDown() override {
    MemoryFaults::allow_heap(-1);
    MemoryFaults::allow_regions(-1);
    InstanceFixture::TearDown();
    EXPECT_EQ(MemoryFaults::heap_blocks(), 0u) << "heap blocks left";
    EXPECT_EQ(MemoryFaults::regions(), 0u) << "regions left";
  }

 private:
  MemoryFaults faults_;
};

}  // namespace fsort::test
