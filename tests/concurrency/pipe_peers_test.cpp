// Many sorts at once whose records come from other threads, go to other threads, or both; and their ends: by
// themselves, by an abort from the other thread, by a failure while the other thread is in the middle of its
// work.
#include <algorithm>
#include <atomic>

#include "concurrency/crew.h"

namespace fsort::test {
namespace {

// Sends the lines from two buffers in turn, as the header asks for, `count` of them.
void send_lines(fsort_handle handle, const Lines& lines, std::size_t count) {
  std::string buffers[2];
  for (std::size_t i = 0; i < count; ++i) {
    buffers[i % 2].assign(lines[i]);
    FsortSend(handle, buffers[i % 2].size(), buffers[i % 2].data());
  }
  // The last of them must have been taken, or the sort must have ended, before its buffer goes.
  FsortSend(handle, 0, nullptr);
}

Lines retrieve_all(fsort_handle handle) {
  Lines lines;
  for (;;) {
    std::uint64_t length = 0;
    const void* record = nullptr;
    FsortRetrieve(handle, &length, &record);
    if (length == 0) return lines;
    lines.emplace_back(static_cast<const char*>(record), length);
  }
}

Lines in_order(Lines lines) {
  std::sort(lines.begin(), lines.end());
  return lines;
}

class PipePeers : public CrewTest {
 protected:
  static constexpr int kSorts = 4;
  static constexpr std::size_t kRecords = kSlow ? 60 : 300;
  static std::uint64_t seed_of(int sort, std::uint64_t round) {
    return static_cast<std::uint64_t>(sort) * 1000 + round;
  }
};

TEST_F(PipePeers, OnOtherThreadsFeedTheirOwnSorts) {
  on_threads(kSorts, [](int sort) {
    for (std::uint64_t i = 0; i < rounds(6); ++i) {
      begin_script(kRecords, seed_of(sort, i));
      fsort_handle handle = FsortCreate(show, nullptr);
      const Lines lines = script().input;
      std::thread peer([handle, &lines] { send_lines(handle, lines, lines.size()); });
      EXPECT_EQ(FsortStart(handle, FSORT_PIPE_INPUT, take, "-q"), 0);
      peer.join();
      FsortDestroy(handle);
      EXPECT_EQ(script().output, in_order(lines));
      EXPECT_EQ(script().shown, Lines{});
    }
  });
}

TEST_F(PipePeers, OnOtherThreadsDrainTheirOwnSorts) {
  on_threads(kSorts, [](int sort) {
    for (std::uint64_t i = 0; i < rounds(6); ++i) {
      begin_script(kRecords, seed_of(sort, i));
      fsort_handle handle = FsortCreate(show, nullptr);
      Lines drained;
      std::thread peer([handle, &drained] { drained = retrieve_all(handle); });
      EXPECT_EQ(FsortStart(handle, give, FSORT_PIPE_OUTPUT, "-q"), 0);
      peer.join();
      FsortDestroy(handle);
      EXPECT_EQ(drained, in_order(script().input));
    }
  });
}

TEST_F(PipePeers, OnBothSidesSeeEachRecordOnceAndInOrder) {
  on_threads(kSorts, [](int sort) {
    for (std::uint64_t i = 0; i < rounds(6); ++i) {
      fsort_handle handle = FsortCreate(nullptr, nullptr);
      const Lines lines = make_lines(kRecords, seed_of(sort, i));
      Lines drained;
      // One peer does both: it must not retrieve before the sort has begun to take records.
      std::thread peer([&] {
        send_lines(handle, lines, lines.size());
        drained = retrieve_all(handle);
      });
      EXPECT_EQ(FsortStart(handle, FSORT_PIPE_INPUT, FSORT_PIPE_OUTPUT, "-q"), 0);
      peer.join();
      FsortDestroy(handle);
      EXPECT_EQ(drained, in_order(lines));
    }
  });
}

TEST_F(PipePeers, AbortTheSortsThatTheyFeedAtTheFirstTheMiddleAndTheLastRecord) {
  on_threads(kSorts, [](int sort) {
    for (std::uint64_t i = 0; i < rounds(4); ++i) {
      for (const std::size_t count : {std::size_t{2}, kRecords / 2, kRecords}) {
        begin_script(kRecords, seed_of(sort, i));
        fsort_handle handle = FsortCreate(show, nullptr);
        const Lines lines = script().input;
        std::thread peer([&] {
          // The second send returns when the sort has taken the first record, so it runs.
          for (std::size_t n = 0; n < count; ++n) FsortSend(handle, lines[n].size(), lines[n].data());
          FsortExit(handle, 50 + sort);
        });
        EXPECT_EQ(FsortStart(handle, FSORT_PIPE_INPUT, take, "-q"), 50 + sort);
        peer.join();
        EXPECT_EQ(script().shown, (Lines{"Fsort aborted by caller\n", "Error detected in fsort call\n"}));
        EXPECT_EQ(script().output, Lines{});
        FsortDestroy(handle);
      }
    }
  });
}

TEST_F(PipePeers, AbortTheSortsThatTheyDrainAtTheFirstTheMiddleAndTheLastButOneRecord) {
  on_threads(kSorts, [](int sort) {
    for (std::uint64_t i = 0; i < rounds(4); ++i) {
      for (const std::size_t count : {std::size_t{1}, kRecords / 2, kRecords - 2}) {
        begin_script(kRecords, seed_of(sort, i));
        fsort_handle handle = FsortCreate(show, nullptr);
        const Lines sorted = in_order(script().input);
        std::thread peer([&, count] {
          for (std::size_t n = 0; n < count; ++n) {
            std::uint64_t length = 0;
            const void* record = nullptr;
            FsortRetrieve(handle, &length, &record);
            EXPECT_EQ(std::string(static_cast<const char*>(record), length), sorted[n]);
          }
          FsortExit(handle, 70 + sort);
        });
        EXPECT_EQ(FsortStart(handle, give, FSORT_PIPE_OUTPUT, "-q"), 70 + sort);
        peer.join();
        EXPECT_EQ(script().shown, (Lines{"Fsort aborted by caller\n", "Error detected in fsort call\n"}));
        FsortDestroy(handle);
      }
    }
  });
}

TEST_F(PipePeers, AreSentHomeByASortThatFailsAtTheFirstTheMiddleAndTheLastRecord) {
  on_threads(kSorts, [](int sort) {
    for (std::uint64_t i = 0; i < rounds(4); ++i) {
      for (const std::size_t at : {std::size_t{1}, kRecords / 2, kRecords}) {
        Script& s = begin_script(kRecords, seed_of(sort, i));
        s.end_at = at;
        s.end_in = CallbackKind::kRead;
        s.ending = Ending::kStatus;
        s.code = 9;
        fsort_handle handle = FsortCreate(show, nullptr);
        std::size_t drained = 1;
        std::thread peer([&] { drained = retrieve_all(handle).size(); });
        EXPECT_EQ(FsortStart(handle, give, FSORT_PIPE_OUTPUT, "-q"), 1);
        peer.join();
        EXPECT_EQ(drained, 0u);
        FsortDestroy(handle);
      }
    }
  });
}

TEST_F(PipePeers, ThatSendToASortWhichFailsAreNotKept) {
  on_threads(kSorts, [](int sort) {
    for (std::uint64_t i = 0; i < rounds(6); ++i) {
      begin_script(kRecords, seed_of(sort, i));
      fsort_handle handle = FsortCreate(show, nullptr);
      const Lines lines = script().input;
      std::thread peer([&] { send_lines(handle, lines, lines.size()); });
      // The key lies behind the end of every record: the first of them is refused.
      EXPECT_EQ(FsortStart(handle, FSORT_PIPE_INPUT, take, "-q -k -c 200-201"), 1);
      peer.join();
      EXPECT_EQ(script().output, Lines{});
      FsortDestroy(handle);
    }
  });
}

TEST_F(PipePeers, WhoAbortASortThatDoesNotWaitForThemWaitAndHaveNoEffect) {
  on_threads(kSorts, [](int sort) {
    for (std::uint64_t i = 0; i < rounds(6); ++i) {
      begin_script(kRecords, seed_of(sort, i));
      fsort_handle handle = FsortCreate(show, nullptr);
      script().handle = handle;
      script().inside = [](std::uint64_t call) {
        std::thread& other = script().other;
        if (call == 1 && !other.joinable()) {
          other = std::thread([abort = script().handle] { FsortExit(abort, 3); });
        }
      };
      EXPECT_EQ(FsortStart(handle, give, take, "-q"), 0);
      script().other.join();
      EXPECT_EQ(script().output, in_order(script().input));
      FsortDestroy(handle);
    }
  });
}

TEST_F(PipePeers, LetSortsOfCallbacksThroughWhileTheirOwnWait) {
  fsort_handle waiting = FsortCreate(nullptr, nullptr);
  std::atomic<int> through{0};
  Lines taken;
  std::thread sorter([&] {
    begin_script(0, 0);
    EXPECT_EQ(FsortStart(waiting, FSORT_PIPE_INPUT, take, "-q"), 0);
    taken = script().output;
  });
  FsortSend(waiting, 1, "b");
  FsortSend(waiting, 1, "a");  // the sort runs, and waits for more
  on_threads(kSorts, [&](int sort) {
    begin_script(kRecords, seed_of(sort, 1));
    fsort_handle handle = FsortCreate(nullptr, nullptr);
    EXPECT_EQ(FsortStart(handle, give, take, "-q"), 0);
    FsortDestroy(handle);
    EXPECT_EQ(script().output, in_order(script().input));
    ++through;
  });
  EXPECT_EQ(through, kSorts);
  FsortSend(waiting, 0, nullptr);
  sorter.join();
  EXPECT_EQ(taken, (Lines{"a", "b"}));
  FsortDestroy(waiting);
}

}  // namespace
}  // namespace fsort::test
