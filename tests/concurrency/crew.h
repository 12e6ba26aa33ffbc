// What the tests with many threads share: one sort a thread with callbacks that find their data by thread, an
// abort from any of them at any call, and a watchdog that ends the program when nothing moves any more.
//
// A callback runs on the thread that called FsortStart, so its script lies in a variable of that thread.
// Nothing with a destructor may be alive where a callback calls FsortExit.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "entry/library.h"
#include "fsort.h"
#include "support/campaign.h"

namespace fsort::test {

using fsort_test::from_environment;
using fsort_test::kSlow;
using Lines = std::vector<std::string>;

enum class CallbackKind { kRead, kWrite, kDisplay, kYield };
inline constexpr CallbackKind kEveryKind[] = {CallbackKind::kRead, CallbackKind::kWrite,
                                              CallbackKind::kDisplay, CallbackKind::kYield};
inline constexpr std::size_t kKinds = 4;
enum class Ending { kExit, kStatus };

// One sort of the running thread.
struct Script {
  fsort_handle handle = nullptr;
  Lines input;
  std::size_t next = 0;
  Lines output;
  Lines shown;
  std::uint64_t calls[kKinds] = {};
  // At which call of which kind to end the sort, how, and with which code; 0: not at all.
  std::uint64_t end_at = 0;
  CallbackKind end_in = CallbackKind::kRead;
  Ending ending = Ending::kExit;
  std::int32_t code = 0;
  void (*inside)(std::uint64_t call) = nullptr;  // run by each read and write, before all else
  std::thread other;                             // that `inside` started
};

// The running thread's script. All live to the end of the program: with MinGW, destructors of a thread's own
// objects run when the memory of these objects is gone already.
inline Script& script() {
  static std::mutex mutex;
  static std::deque<Script> all;
  static thread_local Script* of_this_thread = nullptr;
  if (of_this_thread == nullptr) {
    const std::lock_guard<std::mutex> lock(mutex);
    of_this_thread = &all.emplace_back();
  }
  return *of_this_thread;
}

// Counts a call; true when it is the one that answers with a status. It may not return at all.
inline bool count_call(CallbackKind kind) {
  Script& s = script();
  const std::uint64_t call = ++s.calls[static_cast<std::size_t>(kind)];
  if (s.inside != nullptr && (kind == CallbackKind::kRead || kind == CallbackKind::kWrite)) s.inside(call);
  if (s.end_at != call || s.end_in != kind) return false;
  if (s.ending == Ending::kExit) FsortExit(s.handle, s.code);
  return true;
}

inline std::int32_t give(std::uint64_t* length, const void** record) {
  *length = 0;
  *record = nullptr;
  if (count_call(CallbackKind::kRead)) return script().code;
  Script& s = script();
  if (s.next == s.input.size()) return 0;
  *length = s.input[s.next].size();
  *record = s.input[s.next].data();
  ++s.next;
  return 0;
}

inline std::int32_t take(std::uint64_t length, const void* record) {
  if (count_call(CallbackKind::kWrite)) return script().code;
  script().output.emplace_back(static_cast<const char*>(record), length);
  return 0;
}

inline void show(const char* text) {
  script().shown.emplace_back(text);
  count_call(CallbackKind::kDisplay);
}

inline std::uint32_t yield_often() {
  count_call(CallbackKind::kYield);
  return 1;
}

// Different lines that are out of order, and the same for the same seed; each ends in a line break.
inline Lines make_lines(std::size_t count, std::uint64_t seed) {
  Lines lines;
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint64_t mixed = ((i + seed * 1000003 + 1) * 0x9E3779B97F4A7C15u) >> 20;
    lines.push_back(std::to_string(mixed) + "-" + std::to_string(seed) + "-" + std::to_string(i) + "\n");
  }
  return lines;
}

// A new script for the running thread.
inline Script& begin_script(std::size_t count, std::uint64_t seed) {
  script() = {};
  script().input = make_lines(count, seed);
  return script();
}

// An abort from a callback leaves the lock entered once more than it was left. The thread that was aborted
// gives it back here, so that the others can go on; what a program cannot do through the public interface,
// its tests can.
inline void give_back_what_an_abort_left() { entry_lock_leave(); }

// Runs `body` with 0 .. count-1, each on a thread of its own.
inline void on_threads(int count, const std::function<void(int)>& body) {
  std::vector<std::thread> threads;
  threads.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) threads.emplace_back(body, i);
  for (auto& thread : threads) thread.join();
}

// Ends the program with a message when a test has not ended in time: a dead-lock must not look like a wait.
class Watchdog {
 public:
  Watchdog() : dog_([this] { watch(); }) {}
  ~Watchdog() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      done_ = true;
    }
    ended_.notify_all();
    dog_.join();
  }
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;

 private:
  void watch() {
    std::unique_lock<std::mutex> lock(mutex_);
    const auto limit = std::chrono::seconds(from_environment("FSORT_WATCHDOG_SECONDS", 300));
    if (ended_.wait_for(lock, limit, [this] { return done_; })) return;
    std::fprintf(stderr, "dead-lock: nothing ended within %lld s\n", static_cast<long long>(limit.count()));
    std::abort();
  }
  std::mutex mutex_;
  std::condition_variable ended_;
  bool done_ = false;
  std::thread dog_;
};

class CrewTest : public testing::Test {
 protected:
  // How often each thread repeats its part.
  static std::uint64_t rounds(std::uint64_t usual) {
    return from_environment("FSORT_CONCURRENCY_ROUNDS", kSlow ? (usual + 3) / 4 : usual);
  }
  static constexpr int kThreads = 8;

 private:
  Watchdog watchdog_;
};

}  // namespace fsort::test
