// Sorting by batches: what comes out, every way to end a sort, and a callback that waits for another thread.
#include "fsort_batches.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <numeric>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/temp_folder.h"

namespace {

using Texts = std::vector<std::string>;

// The callbacks of a sort of this thread.
thread_local std::string messages;
thread_local std::function<std::int32_t()> on_refill;
thread_local std::function<std::int32_t(const Texts&)> on_flush;

void display(const char* text) { messages += text; }
std::int32_t refill() { return on_refill(); }
std::int32_t flush(const void* bytes, const std::uint32_t* lengths, std::uint64_t count) {
  Texts records;
  const auto* next = static_cast<const char*>(bytes);
  for (std::uint64_t i = 0; i < count; next += lengths[i++]) records.emplace_back(next, lengths[i]);
  return on_flush(records);
}

std::int32_t feed(const Texts& records) {
  const std::string bytes = std::accumulate(records.begin(), records.end(), std::string());
  std::vector<std::uint32_t> lengths;
  for (const std::string& record : records) lengths.push_back(static_cast<std::uint32_t>(record.size()));
  return FsortBatchesFeed(bytes.data(), lengths.data(), lengths.size());
}

Texts numbers(int count) {
  Texts texts;
  for (int i = 0; i < count; ++i) texts.push_back(std::to_string(1000000 + i * 7919 % count));
  return texts;
}

class FsortBatches : public ::testing::Test {
 protected:
  void SetUp() override {
    messages.clear();
    on_flush = [this](const Texts& records) {
      ++flushes;
      out.insert(out.end(), records.begin(), records.end());
      return 0;
    };
  }
  // Gives the records in batches of `size`.
  void give(const Texts& records, std::size_t size) {
    on_refill = [records, size, next = std::size_t{0}]() mutable {
      const std::size_t count = std::min(size, records.size() - next);
      const auto first = records.begin() + static_cast<std::ptrdiff_t>(next);
      next += count;
      return feed(Texts(first, first + static_cast<std::ptrdiff_t>(count)));
    };
  }
  std::int32_t sort(const std::string& command) {
    return FsortBatchesSort(command.c_str(), display, refill, flush, &stop);
  }
  std::int32_t sort_files(const std::string& command) {
    return FsortBatchesSort(command.c_str(), display, nullptr, nullptr, &stop);
  }

  std::int32_t stop = 0;
  Texts out;
  int flushes = 0;
};

TEST_F(FsortBatches, GiveTheRecordsOfAllBatchesInOrder) {
  Texts records = numbers(50021);
  give(records, 777);
  ASSERT_EQ(sort("-q"), 0) << messages;
  std::sort(records.begin(), records.end());
  EXPECT_EQ(out, records);
  EXPECT_GT(flushes, 1);
  EXPECT_EQ(messages, "");
}

TEST_F(FsortBatches, AreFlushedBeforeTheyOverflow) {
  const Texts records(20, std::string(65000, 'x'));
  give(records, 3);
  ASSERT_EQ(sort("-q"), 0) << messages;
  EXPECT_EQ(out, records);
  EXPECT_GE(flushes, 5);
}

TEST_F(FsortBatches, EndTheInputWhereTheRefillFeedsNothing) {
  on_refill = [] { return 0; };
  EXPECT_EQ(sort("-q"), 0);
  EXPECT_EQ(flushes, 0);
}

TEST_F(FsortBatches, TellWhatIsWrongWithACommandLine) {
  give({"a"}, 1);
  EXPECT_EQ(sort("-zz"), 1);
  EXPECT_EQ(messages, "-zz is an invalid argument\nError detected in fsort initialization\n");
}

TEST_F(FsortBatches, EndTheSortByTheStatusOfTheRefill) {
  on_refill = [] { return 5; };
  EXPECT_EQ(sort("-q"), 1);
  EXPECT_EQ(flushes, 0);
}

TEST_F(FsortBatches, EndTheSortByTheStatusOfTheLastFlush) {
  give(numbers(10), 10);
  on_flush = [](const Texts&) { return 5; };
  EXPECT_EQ(sort("-q"), 1);
}

TEST_F(FsortBatches, StopWhileRecordsAreRead) {
  const fsort::test::TempFolder folder;
  on_refill = [this, batches = 0]() mutable {
    if (++batches == 100) stop = 1;
    return feed(numbers(1000));
  };
  EXPECT_EQ(sort("-q -m 300k -w \"" + folder.path("") + "\""), 1);
  EXPECT_EQ(flushes, 0);
}

TEST_F(FsortBatches, StopWhileRecordsAreWritten) {
  give(numbers(50021), 1000);
  on_flush = [this](const Texts&) {
    ++flushes;
    stop = 1;
    return 0;
  };
  EXPECT_EQ(sort("-q"), 1);
  EXPECT_EQ(flushes, 1);
}

TEST_F(FsortBatches, SortTheFilesOfTheCommandLine) {
  const fsort::test::TempFolder folder;
  const std::string in = folder.make("in", "b\na\nc\n");
  const std::string command = "-q -in \"" + in + "\" -out \"" + folder.path("out") + "\"";
  ASSERT_EQ(sort_files(command), 0) << messages;
  EXPECT_EQ(folder.content("out"), "a\nb\nc\n");
}

TEST_F(FsortBatches, StopASortOfFiles) {
  const fsort::test::TempFolder folder;
  const std::string in = folder.make("in", "b\na\nc\n");
  stop = 1;
  EXPECT_EQ(sort_files("-q -in \"" + in + "\" -out \"" + folder.path("out") + "\""), 1);
  EXPECT_EQ(folder.content("out"), "<missing>");
}

TEST_F(FsortBatches, OfAnInnerSortAreItsOwn) {
  static std::int32_t inner_batches;
  inner_batches = 0;
  const fsort_refill_fn inner_refill = [] { return feed(inner_batches++ == 0 ? Texts{"2", "1"} : Texts{}); };
  int batches = 0;
  on_refill = [&]() -> std::int32_t {
    if (batches++ != 0) return 0;
    const std::int32_t inner = FsortBatchesSort("-q", display, inner_refill, flush, &stop);
    return inner != 0 ? inner : feed({"d", "c"});
  };
  ASSERT_EQ(sort("-q"), 0) << messages;
  EXPECT_EQ(out, (Texts{"1", "2", "c", "d"}));
}

TEST_F(FsortBatches, CannotBeFedWhereNoSortRuns) { EXPECT_EQ(feed({"a"}), 1); }

// What the bindings rest on: a callback that waits in the pipe of another handle lets other sorts through,
// and a send from another thread wakes it.
TEST_F(FsortBatches, WaitInAMailboxWhileAnotherThreadSorts) {
  const fsort_handle mailbox = FsortCreate(nullptr, nullptr);
  std::thread other;
  std::atomic<std::int32_t> other_status{-1};
  on_refill = [&, begun = false]() mutable -> std::int32_t {
    if (begun) return 0;
    begun = true;
    other = std::thread([&] {
      on_refill = [given = false]() mutable { return std::exchange(given, true) ? 0 : feed({"x"}); };
      on_flush = [](const Texts&) { return 0; };
      const std::int32_t never = 0;
      other_status = FsortBatchesSort("-q", display, refill, flush, &never);
      FsortSend(mailbox, 1, "!");
    });
    std::uint64_t length = 0;
    const void* token = nullptr;
    FsortRetrieve(mailbox, &length, &token);
    return length == 1 && other_status == 0 ? feed({"b", "a"}) : 1;
  };
  EXPECT_EQ(sort("-q"), 0) << messages;
  other.join();
  EXPECT_EQ(out, (Texts{"a", "b"}));
  FsortDestroy(mailbox);
}

}  // namespace
