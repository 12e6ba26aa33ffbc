// Sorting in memory: one pass by one key byte and by two, the list sort, emission.
//
// Each iteration begins with the records as they came, in the order of memory; only the work named is timed.
#include <benchmark/benchmark.h>

#include "engine/distribute.h"
#include "engine/emit.h"
#include "engine/list_sort.h"
#include "engine/tuning.h"
#include "micro/stopped_sort.h"

namespace fsort::bench {
namespace {

// 97 bins need one step; two steps fit when a segment holds their 9313 bins.
const std::vector<std::string> kOneStep = {"-l", "91"};
const std::vector<std::string> kTwoSteps = {"-l", "600"};

void pass(benchmark::State& state, const std::vector<std::string>& options,
          void (*distribute)(RecordSource, std::uint64_t), bool one_step) {
  const std::string lines = random_lines(kRecords, kLineBytes);
  StoppedSort sort(options, lines, kLineBytes);
  require((sort.root()->step_count == 1) == one_step, "the plan is not what this benchmark is for");
  const std::size_t count = sort.build().size();
  for (auto _ : state) {
    sort.rewind();
    state.SetIterationTime(seconds_of([&] { distribute(StoppedSort::next, count); }));
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(count));
}

void dist1_pass(benchmark::State& state) { pass(state, kOneStep, dist1, true); }
BENCHMARK(dist1_pass)->UseManualTime();

void distn_pass(benchmark::State& state) { pass(state, kTwoSteps, distn, false); }
BENCHMARK(distn_pass)->UseManualTime();

// Finishes every bin of the root level with `finish`; bins are those of a pass by two bytes, about eleven
// records each.
template <class Finish>
void finish_bins(benchmark::State& state, Finish finish) {
  const std::string lines = random_lines(kRecords, kLineBytes);
  StoppedSort sort(kTwoSteps, lines, kLineBytes);
  sort.build();
  SublistArray* array = &sort.root()->array;
  const std::uint64_t before = StoppedSort::records_written();
  for (auto _ : state) {
    sort.distribute_all();
    state.SetIterationTime(seconds_of([&] {
      for (std::uint32_t i = 0; i < array->count; ++i) {
        const std::uint32_t records = array->bins()[i].mem_count;
        if (records > 1 && records < kLargestThreshold) finish(array, static_cast<std::uint16_t>(i));
      }
    }));
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(StoppedSort::records_written() - before));
}

void list_sort(benchmark::State& state) {
  finish_bins(state, [](SublistArray* array, std::uint16_t bin) { lisort(array, bin, false); });
}
BENCHMARK(list_sort)->UseManualTime();

void emission(benchmark::State& state) {
  finish_bins(state, [](SublistArray* array, std::uint16_t bin) { output_sublist(array, bin, false); });
}
BENCHMARK(emission)->UseManualTime();

}  // namespace
}  // namespace fsort::bench
