// Counting on one thread, showing on another: see progress.h.
//
// The screen belongs to whoever holds `screen`: a tick that does not get it is left out, a message waits for
// it. Nobody who holds it waits for anything but standard error itself.
#include "progress.h"

#include <atomic>
#include <cstdio>

#include "platform/program.h"

namespace fsort_tool {
namespace {

constexpr std::uint32_t kRewriteMilliseconds = 200;
constexpr std::uint32_t kLineMilliseconds = 1000;
constexpr std::int64_t kLongSortMilliseconds = 2000;
constexpr std::uint32_t kUsualColumns = 80;

using Phase = ProgressState::Phase;

struct State {
  // Written by the sort's thread, read by the one that shows.
  std::atomic<Phase> phase{Phase::reading};
  std::atomic<bool> total_known{false};
  std::atomic<std::uint64_t> total_bytes{0};
  std::atomic<std::uint64_t> bytes_read{0};
  std::atomic<std::uint64_t> bytes_written{0};
  std::atomic<std::uint64_t> records_read{0};
  std::atomic<std::uint64_t> records_written{0};
  std::atomic<std::int64_t> writing_since{0};
  std::atomic<bool> terminal_in_use{false};  // by the sort's own input or output
  std::atomic<bool> shown{false};            // some line was
  std::atomic<bool> over{false};

  std::atomic_flag screen = ATOMIC_FLAG_INIT;
  std::atomic<std::size_t> columns{0};  // of the line that stands on the terminal; 0: none does

  // Set before the threads begin.
  When when = When::never;
  bool terminal = false;
  std::int64_t began = 0;
};
State state;

void put(const std::string& text) {
  std::fwrite(text.data(), 1, text.size(), stderr);
  std::fflush(stderr);
}

// Requires the screen.
void erase_line() {
  const std::size_t columns = state.columns.exchange(0);
  if (columns != 0) put("\r" + std::string(columns, ' ') + "\r");
}

class Screen {
 public:
  Screen() {
    while (state.screen.test_and_set(std::memory_order_acquire)) fsort::kSystemOs.yield_thread();
  }
  ~Screen() { state.screen.clear(std::memory_order_release); }
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;
};

ProgressState current() {
  constexpr auto kRelaxed = std::memory_order_relaxed;
  const std::int64_t now = fsort::program_milliseconds();
  const Phase phase = state.phase.load(std::memory_order_acquire);
  return {phase,
          state.total_known.load(kRelaxed),
          state.total_bytes.load(kRelaxed),
          state.bytes_read.load(kRelaxed),
          state.bytes_written.load(kRelaxed),
          phase == Phase::writing ? state.records_written.load(kRelaxed) : state.records_read.load(kRelaxed),
          now - state.began,
          now - state.writing_since.load(kRelaxed)};
}

// Requires the screen.
void rewrite_line(const std::string& line) {
  const std::uint32_t columns = fsort::program_columns();
  // The last column stays free: a character there takes some terminals to the next line.
  const std::size_t room = (columns > 1 ? columns : kUsualColumns) - 1;
  const std::string shown = line.substr(0, room);
  const std::size_t before = state.columns.exchange(shown.size());
  put("\r" + shown + std::string(before > shown.size() ? before - shown.size() : 0, ' '));
}

// On a terminal once the sort has turned out to be a long one.
void on_tick() {
  const ProgressState now = current();
  if (state.terminal_in_use || state.over) return;
  if (state.when == When::automatic && now.milliseconds < kLongSortMilliseconds) return;
  if (state.screen.test_and_set(std::memory_order_acquire)) return;
  if (!state.over) {
    state.shown = true;
    if (state.terminal) {
      rewrite_line(progress_line(now));
    } else {
      put("fsort: " + progress_line(now) + "\n");
    }
  }
  state.screen.clear(std::memory_order_release);
}

void on_event(fsort::ProgramEvent event) {
  if (event == fsort::ProgramEvent::tick) return on_tick();
  const Screen screen;
  erase_line();
  put("fsort: " + progress_line(current()) + "\n");
}

}  // namespace

void progress_begin(When when, void (*on_end)()) {
  state.when = when;
  state.terminal = fsort::program_is_terminal(fsort::kStdError);
  state.began = fsort::program_milliseconds();
  if (when == When::automatic && !state.terminal) state.when = When::never;
  const std::uint32_t tick = state.terminal ? kRewriteMilliseconds : kLineMilliseconds;
  const fsort::ProgramWatch watch{on_end, on_event, state.when == When::never ? 0 : tick};
  static_cast<void>(fsort::program_watch(watch));  // without it a signal ends the process at once
}

void progress_read(const fsort::SortView& view, std::uint64_t bytes, bool standard) {
  constexpr auto kRelaxed = std::memory_order_relaxed;
  if (standard && fsort::program_is_terminal(fsort::kStdInput)) state.terminal_in_use = true;
  state.total_known.store(view.input_known != 0, kRelaxed);
  state.total_bytes.store(view.input_bytes, kRelaxed);
  state.bytes_read.fetch_add(bytes, kRelaxed);
  state.records_read.store(view.records_read, kRelaxed);
  state.phase.store(bytes == 0 ? Phase::sorting : Phase::reading, std::memory_order_release);
}

void progress_input_over() {
  if (state.phase == Phase::reading) state.phase.store(Phase::sorting, std::memory_order_release);
}

void progress_written(const fsort::SortView& view, std::uint64_t bytes, bool standard) {
  constexpr auto kRelaxed = std::memory_order_relaxed;
  if (standard && !state.terminal_in_use && fsort::program_is_terminal(fsort::kStdOutput)) {
    state.terminal_in_use = true;
    const Screen screen;
    erase_line();
  }
  if (state.phase.load(kRelaxed) != Phase::writing) {
    state.writing_since.store(fsort::program_milliseconds(), kRelaxed);
    state.records_read.store(view.records_read, kRelaxed);
  }
  state.bytes_written.fetch_add(bytes, kRelaxed);
  state.records_written.store(view.records_written, kRelaxed);
  state.phase.store(Phase::writing, std::memory_order_release);
}

void progress_message(const char* text) {
  const Screen screen;
  erase_line();
  put(text);
}

void progress_withdraw() {
  state.over = true;
  if (state.screen.test_and_set(std::memory_order_acquire)) return;
  erase_line();
  state.screen.clear(std::memory_order_release);
}

void progress_end(bool good, std::uint64_t records_read, std::uint64_t records_written) {
  const Screen screen;
  state.over = true;
  erase_line();
  if (!good || (!state.shown && state.when != When::always)) return;
  put(progress_summary(records_read, records_written, state.bytes_read,
                       fsort::program_milliseconds() - state.began));
}

}  // namespace fsort_tool
