// Two instances on one thread, and several threads with an instance each.
#include <algorithm>
#include <thread>

#include "entry_harness.h"

namespace fsort::test {

namespace {

fsort_handle inner = nullptr;
Texts inner_taken;
Texts inner_given;
std::size_t inner_next = 0;
Instance* seen_inside = nullptr;

std::int32_t inner_read(std::uint64_t* length, const void** record) {
  seen_inside = current_instance;
  if (inner_next == inner_given.size()) {
    *length = 0;
    *record = nullptr;
    return 0;
  }
  *length = inner_given[inner_next].size();
  *record = inner_given[inner_next++].data();
  return 0;
}

std::int32_t inner_write(std::uint64_t length, const void* record) {
  inner_taken.emplace_back(static_cast<const char*>(record), length);
  return 0;
}

class NestedSorts : public EntryTest {
 protected:
  void SetUp() override {
    EntryTest::SetUp();
    inner = nullptr;
    inner_taken.clear();
    inner_given = {"3", "1", "2"};
    inner_next = 0;
    given = {"c", "b", "a"};
  }
  void TearDown() override {
    if (inner != nullptr) FsortDestroy(inner);
    EntryTest::TearDown();
  }
};

std::int32_t sort_inside(std::uint64_t length, const void* record) {
  if (inner == nullptr) {
    inner = FsortCreate(nullptr, nullptr);
    EXPECT_EQ(FsortStart(inner, inner_read, inner_write, "-q -i"), 0);
    FsortDestroy(inner);
    inner = nullptr;
    inner_next = 0;
  }
  return take_record(length, record);
}

TEST_F(NestedSorts, AWholeSortInsideAWriteFunctionDisturbsNothing) {
  EXPECT_EQ(start("-q", read_given, sort_inside), 0);
  EXPECT_EQ(taken, (Texts{"a", "b", "c"}));
  EXPECT_EQ(inner_taken, (Texts{"3", "2", "1", "3", "2", "1", "3", "2", "1"}));
  EXPECT_EQ(seen_inside, nullptr);
  EXPECT_EQ(entry_lock_depth(), 0u);
}

std::int32_t note_current(std::uint64_t* length, const void** record) {
  seen_inside = current_instance;
  return read_given(length, record);
}

TEST_F(NestedSorts, ACallbackRunsWithTheInstanceThatWasCurrentBeforeTheExport) {
  auto* before = instance_of(subject);
  inner = FsortCreate(nullptr, nullptr);
  current_instance = before;  // as after an entry that never put the current instance back
  EXPECT_EQ(FsortStart(inner, note_current, take_record, "-q"), 0);
  EXPECT_EQ(seen_inside, before);
  EXPECT_EQ(current_instance, before);
  current_instance = nullptr;
}

// --- an abort of the outer sort from inside the inner one
// ------------------------------------------------------

std::int32_t exit_outer(std::uint64_t*, const void**) {
  FsortExit(subject, 7);
  return 1;
}

std::int32_t start_inner(std::uint64_t, const void*) {
  return FsortStart(inner, exit_outer, inner_write, "");
}

TEST_F(NestedSorts, AnAbortOfTheOuterSortAlsoEndsTheInnerOne) {
  inner = FsortCreate(nullptr, nullptr);
  EXPECT_EQ(start("", read_given, start_inner), 7);
  EXPECT_EQ(shown, (Texts{kAborted, kCallTitle}));
  EXPECT_EQ(instance_of(inner)->entry.running, 0);
  EXPECT_EQ(instance_of(inner)->error.trap_depth, 0u);
  FsortDestroy(inner);  // not taken for running any more
  inner = FsortCreate(nullptr, nullptr);
  EXPECT_EQ(FsortStart(inner, inner_read, inner_write, "-q"), 0);
  EXPECT_EQ(inner_taken, (Texts{"1", "2", "3"}));
}

void exit_outer_at_display(const char*) { FsortExit(subject, 7); }

std::int32_t fail_inner_write(std::uint64_t, const void*) {
  return FsortWrite(inner, 1, "x");  // its error is displayed, and the display aborts the outer sort
}

TEST_F(NestedSorts, AnAbortOfTheOuterSortLeavesNoTrapInAnInstanceThatItJumpedOutOf) {
  write_file("in", "a\n");
  inner = FsortCreate(exit_outer_at_display, nullptr);
  for (int i = 0; i < 20; ++i) {
    make();
    given_next = 0;
    // Names the output that FsortWrite reaches; the inner instance has none of that name to open.
    EXPECT_EQ(start(">nodir/o -q", read_given, fail_inner_write), 7);
    EXPECT_EQ(instance_of(inner)->error.trap_depth, 0u);
  }
}

// --- threads
// ---------------------------------------------------------------------------------------------------

TEST_F(NestedSorts, FourThreadsSortOnTheirOwnInstancesAtTheSameTime) {
  constexpr std::size_t kThreads = 4;
  std::vector<std::thread> threads;
  std::vector<std::int32_t> statuses(kThreads, -1);
  std::vector<Texts> lines(kThreads);
  for (std::size_t t = 0; t < kThreads; ++t) {
    std::string text;
    for (std::size_t i = 0; i < 3000; ++i) {
      lines[t].push_back(std::to_string((i * 7919 + t * 13) % 100003) + "\n");
      text += lines[t].back();
    }
    write_file("in" + std::to_string(t), text);
  }
  for (std::size_t t = 0; t < kThreads; ++t) {
    threads.emplace_back([t, &statuses] {
      for (int round = 0; round < 5; ++round) {
        fsort_handle handle = FsortCreate(nullptr, nullptr);
        const std::string n = std::to_string(t);
        statuses[t] = FsortStart(handle, nullptr, nullptr, ("<in" + n + " >out" + n + " -q").c_str());
        FsortDestroy(handle);
        if (statuses[t] != 0) return;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (std::size_t t = 0; t < kThreads; ++t) {
    EXPECT_EQ(statuses[t], 0);
    std::sort(lines[t].begin(), lines[t].end());
    std::string expected;
    for (const std::string& line : lines[t]) expected += line;
    EXPECT_EQ(read_file("out" + std::to_string(t)), expected);
  }
  EXPECT_EQ(entry_lock_depth(), 0u);
}

}  // namespace

}  // namespace fsort::test
