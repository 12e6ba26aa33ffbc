// Work files: writing all bins of a level as runs, and reading them back bin by bin. The file stays in the
// page cache.
#include <benchmark/benchmark.h>

#include "keys/record.h"
#include "micro/stopped_sort.h"
#include "sublist/sublist.h"

namespace fsort::bench {
namespace {

void write_bins(SublistArray* array) {
  for (std::uint32_t i = 0; i < array->count; ++i) {
    if (array->bins()[i].mem_count != 0) sublist_write(0, array, static_cast<std::uint16_t>(i));
  }
}

std::size_t read_bins(SublistArray* array) {
  std::size_t count = 0;
  for (std::uint32_t i = 0; i < array->count; ++i) {
    sublist_input_init(array, static_cast<std::uint16_t>(i));
    while (sublist_input() != nullptr) ++count;
  }
  return count;
}

void work_file(benchmark::State& state, bool reading) {
  const std::string lines = random_lines(kRecords, kLineBytes);
  StoppedSort sort({"-l", "91", "-w", "/tmp"}, lines, kLineBytes);
  SublistArray* array = &sort.root()->array;
  for (auto _ : state) {
    sort.build();
    sort.distribute_all();
    const double writing = seconds_of([&] { write_bins(array); });
    std::size_t count = 0;
    const double read = seconds_of([&] { count = read_bins(array); });
    require(count == kRecords, "not all records came back");
    state.SetIterationTime(reading ? read : writing);
    sublist_array_delete(array);
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kRecords));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(lines.size()));
}

void work_file_write(benchmark::State& state) { work_file(state, false); }
BENCHMARK(work_file_write)->UseManualTime();

void work_file_read(benchmark::State& state) { work_file(state, true); }
BENCHMARK(work_file_read)->UseManualTime();

}  // namespace
}  // namespace fsort::bench
