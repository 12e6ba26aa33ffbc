// A sort that stands still where a micro-benchmark wants it: initialised, its root level made, records in
// record memory. The engine's own functions do the rest; nothing of the entry layer runs.
//
// Records are random printable lines of one length, the same in every run, supplied by a read function; the
// write function takes records and forgets them. An error ends the program with its message.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "engine/environment.h"
#include "entry/instance.h"

namespace fsort::bench {

inline constexpr std::size_t kRecords = 100'000;
inline constexpr std::size_t kLineBytes = 100;

// Random lines one after the other, line breaks included.
std::string random_lines(std::size_t count, std::size_t length);

// A text that ends the benchmark when `good` is false.
void require(bool good, const char* what);

class StoppedSort {
 public:
  // `options` are those of the sort command line; `lines` are the records, all of `length` bytes.
  StoppedSort(std::vector<std::string> options, const std::string& lines, std::size_t length);
  ~StoppedSort();
  StoppedSort(const StoppedSort&) = delete;
  StoppedSort& operator=(const StoppedSort&) = delete;

  // All records in record memory, anew: what was there before is released.
  const std::vector<std::uint8_t*>& build();
  // Distributes the built records into the root level, whose bins are emptied before.
  void distribute_all();
  // Empties the bins and starts again with the first of the built records.
  void rewind();
  // The function that hands out the built records, for the passes.
  static std::uint8_t* next();

  [[nodiscard]] Environment* root() const { return root_; }
  [[nodiscard]] Instance& instance() { return *instance_; }
  [[nodiscard]] static std::uint64_t records_written();

 private:
  Instance* instance_;
  Environment* root_ = nullptr;
};

// Processor seconds of this thread so far.
double cpu_seconds();

// Processor seconds that `work` takes: what others do on the machine does not count.
template <class Work>
double seconds_of(Work&& work) {
  const double started = cpu_seconds();
  work();
  return cpu_seconds() - started;
}

}  // namespace fsort::bench
