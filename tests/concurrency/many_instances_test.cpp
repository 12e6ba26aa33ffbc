// Instances on many threads, and instances inside each other's callbacks: each gets its own records, its own
// messages and its own status.
#include <algorithm>

#include "concurrency/crew.h"
#include "support/temp_folder.h"

namespace fsort::test {
namespace {

Lines in_order(Lines lines) {
  std::sort(lines.begin(), lines.end());
  return lines;
}

class ManyInstances : public CrewTest {
 protected:
  // Sorts the script's records through callbacks and judges what comes.
  static void sort_by_callbacks(const std::string& options) {
    Script& s = script();
    s.handle = FsortCreate(show, nullptr);
    ASSERT_NE(s.handle, nullptr);
    EXPECT_EQ(FsortStart(s.handle, give, take, ("-q " + options).c_str()), 0);
    FsortDestroy(s.handle);
    EXPECT_EQ(s.output, in_order(s.input));
    EXPECT_EQ(s.shown, Lines{});
  }
  TempFolder folder_;
};

TEST_F(ManyInstances, OnManyThreadsSortTheirOwnRecordsByCallbacks) {
  on_threads(kThreads, [](int t) {
    for (std::uint64_t i = 0; i < rounds(20); ++i) {
      begin_script(50 + 40 * i, static_cast<std::uint64_t>(t) * 100 + i);
      sort_by_callbacks("");
    }
  });
}

TEST_F(ManyInstances, OnManyThreadsShareAWorkDirectory) {
  const std::string options = "-l 7 -m 1 -wb 2 -rb 2 -w " + folder_.path("");
  on_threads(kThreads, [&](int t) {
    for (std::uint64_t i = 0; i < rounds(2); ++i) {
      begin_script(1500, static_cast<std::uint64_t>(t) * 100 + i);
      sort_by_callbacks(options);
    }
  });
  EXPECT_TRUE(std::filesystem::is_empty(folder_.path("")));
}

TEST_F(ManyInstances, OnManyThreadsSortTheirOwnFiles) {
  on_threads(kThreads, [this](int t) {
    const std::string in = "in" + std::to_string(t);
    const std::string out = "out" + std::to_string(t);
    for (std::uint64_t i = 0; i < rounds(10); ++i) {
      std::string text;
      for (const std::string& line : make_lines(300, static_cast<std::uint64_t>(t) * 100 + i)) text += line;
      folder_.make(in, text);
      fsort_handle handle = FsortCreate(nullptr, nullptr);
      const std::string command = "-q <" + folder_.path(in) + " >" + folder_.path(out);
      EXPECT_EQ(FsortStart(handle, nullptr, nullptr, command.c_str()), 0) << FsortMessage(handle);
      FsortDestroy(handle);
      std::string sorted;
      for (const auto& line : in_order(make_lines(300, static_cast<std::uint64_t>(t) * 100 + i)))
        sorted += line;
      EXPECT_EQ(folder_.content(out), sorted);
    }
  });
}

TEST_F(ManyInstances, OnManyThreadsFailWithTheirOwnMessages) {
  on_threads(kThreads, [](int t) {
    for (std::uint64_t i = 0; i < rounds(50); ++i) {
      const std::string wrong = "wrong" + std::to_string(t) + "x" + std::to_string(i);
      fsort_handle handle = FsortCreate(nullptr, nullptr);
      begin_script(3, 1);
      EXPECT_EQ(FsortStart(handle, give, take, wrong.c_str()), 1);
      EXPECT_EQ(std::string(FsortMessage(handle)),
                wrong + " is an invalid argument\nError detected in fsort initialization\n");
      EXPECT_EQ(script().output, Lines{});
      FsortDestroy(handle);
    }
  });
}

constexpr int kDepth = 3;

// Sorts inside the callback that runs, with a script of its own, and puts the outer one back. Deeper
// instances sort inside the first, the middle and the last of the callback's calls.
void sort_inside(int depth, std::uint64_t seed);

thread_local int depth_now = 0;

void nest(std::uint64_t call) {
  const std::uint64_t last = script().input.size();
  if (depth_now == kDepth || (call != 1 && call != last / 2 && call != last)) return;
  sort_inside(depth_now + 1, call);
}

void sort_inside(int depth, std::uint64_t seed) {
  Script outer = std::move(script());
  const int depth_before = depth_now;
  depth_now = depth;
  begin_script(7, seed * 10 + static_cast<std::uint64_t>(depth)).inside = nest;
  script().handle = FsortCreate(show, nullptr);
  EXPECT_EQ(FsortStart(script().handle, give, take, "-q"), 0);
  FsortDestroy(script().handle);
  EXPECT_EQ(script().output, in_order(script().input));
  EXPECT_EQ(script().shown, Lines{});
  depth_now = depth_before;
  script() = std::move(outer);
}

TEST_F(ManyInstances, InsideEachOthersCallbacksOnManyThreadsSortTheirOwnRecords) {
  on_threads(kThreads, [](int t) {
    for (std::uint64_t i = 0; i < rounds(3); ++i) sort_inside(0, static_cast<std::uint64_t>(t) * 100 + i);
  });
}

}  // namespace
}  // namespace fsort::test
