// How far the sort has come: one line on standard error, rewritten, gone at the end; then a line that sums
// up.
//
//     reading  43 %   4,300,000 records   410 MiB   298 MiB/s   0:02 left
//     fsort: 10,000,000 records, 954 MiB in 3.2 s (298 MiB/s)
//
// The sort's thread notes what it has read and written once a buffer (os_layer.h), in atomic numbers; another
// thread shows them. So the sort itself does nothing for it that could be measured.
//
// The percentage is that of all bytes to be moved: half of it is reading, half is writing. It is missing when
// the size of the input is not known; so is the time left, which is taken from the speed of the running half.
//
// On a terminal the line is rewritten in place. Messages take it away first; the next tick brings it back. It
// stays away from a terminal that the sort itself reads or writes. Elsewhere (--progress=always) each line
// ends with a line break.
#pragma once

#include <cstdint>
#include <string>

#include "entry/sort_view.h"
#include "request.h"

namespace fsort_tool {

// Starts the clock, the thread that shows, also without --progress, for SIGUSR1, and the one that calls
// `on_end` when the process is to end. Called once.
void progress_begin(When when, void (*on_end)());

// Called on the sort's thread behind a transfer of the input or the output.
void progress_read(const fsort::SortView& view, std::uint64_t bytes, bool standard);
void progress_written(const fsort::SortView& view, std::uint64_t bytes, bool standard);
void progress_input_over();

// Shows a text on standard error, with the line out of its way.
void progress_message(const char* text);
// Takes the line away for good: the process is to end. Waits for nothing.
void progress_withdraw();
// The same at the sort's own end; after a good one sums up if the sort was shown, or is to be in any case.
void progress_end(bool good, std::uint64_t records_read, std::uint64_t records_written);

// The parts of the line, for the tests.
struct ProgressState {
  enum class Phase { reading, sorting, writing };
  Phase phase;
  bool total_known;
  std::uint64_t total_bytes;
  std::uint64_t bytes_read;
  std::uint64_t bytes_written;
  std::uint64_t records;
  std::int64_t milliseconds;          // since the sort began
  std::int64_t writing_milliseconds;  // since it began to write
};
[[nodiscard]] std::string progress_line(const ProgressState& state);
[[nodiscard]] std::string progress_summary(std::uint64_t records_read, std::uint64_t records_written,
                                           std::uint64_t bytes, std::int64_t milliseconds);
[[nodiscard]] std::string shown_count(std::uint64_t count);  // 10,000,000
[[nodiscard]] std::string shown_bytes(std::uint64_t bytes);  // 954 MiB

}  // namespace fsort_tool
