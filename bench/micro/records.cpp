// Getting records in: line search over a file in the page cache, key location, record memory.
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>

#include "keys/rec_fill.h"
#include "keys/record.h"
#include "micro/stopped_sort.h"
#include "recio/rio.h"
#include "support/dsnt.h"
#include "support/exit.h"

namespace fsort::bench {
namespace {

constexpr std::size_t kFileBytes = std::size_t{32} << 20;

// A file of random lines that is gone with the object.
class LineFile {
 public:
  explicit LineFile(std::size_t length) : lines_(random_lines(kFileBytes / length, length)) {
    const int fd = ::mkstemp(name_);
    require(fd >= 0 && ::write(fd, lines_.data(), lines_.size()) == static_cast<ssize_t>(lines_.size()),
            "no file for the lines");
    ::close(fd);
  }
  ~LineFile() { ::unlink(name_); }
  LineFile(const LineFile&) = delete;
  LineFile& operator=(const LineFile&) = delete;
  [[nodiscard]] const char* name() const { return name_; }
  [[nodiscard]] std::size_t bytes() const { return lines_.size(); }

 private:
  std::string lines_;
  char name_[32] = "/tmp/micro-XXXXXX";
};

// Reads the whole file through the text reader; result: its lines.
std::uint64_t read_lines(const char* name) {
  Instance* instance = DSAlloc();
  current_instance = instance;
  finit();
  ErrorInit();
  const std::string input = std::string("<") + name;
  const char* argv[] = {"fsort", input.c_str(), nullptr};
  RecordDescription description{};
  require(rio_init(&description, 2, argv) == 0, "the file of lines cannot be read");
  std::uint64_t count = 0;
  std::uint64_t length = 0;
  const std::uint8_t* record = nullptr;
  while (description.reader(&length, &record) == 0 && length != 0) {
    benchmark::DoNotOptimize(record);
    ++count;
  }
  ExitWindup();
  fwindup();
  DSFree(instance);
  current_instance = nullptr;
  return count;
}

void line_search(benchmark::State& state) {
  const auto length = static_cast<std::size_t>(state.range(0));
  const LineFile file(length);
  std::int64_t lines = 0;
  for (auto _ : state) lines += static_cast<std::int64_t>(read_lines(file.name()));
  state.SetItemsProcessed(lines);
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(file.bytes()));
}
BENCHMARK(line_search)->Arg(20)->Arg(100)->Arg(400);

void fill(benchmark::State& state, const std::vector<std::string>& options, const std::string& lines,
          std::size_t length) {
  StoppedSort sort(options, lines, length);
  const std::vector<std::uint8_t*>& records = sort.build();
  for (auto _ : state) {
    for (std::uint8_t* record : records) rec_fill(record);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(records.size()));
}

void rec_fill_default_key(benchmark::State& state) {
  fill(state, {}, random_lines(kRecords, kLineBytes), kLineBytes);
}
BENCHMARK(rec_fill_default_key);

// Lines "Aaa;word;12.5;+0001234.56;...": a fixed length, four fields in front of the filling.
std::string field_lines() {
  const std::string filling = random_lines(kRecords, kLineBytes);
  std::string lines;
  char front[40];
  for (std::size_t i = 0; i < kRecords; ++i) {
    std::snprintf(front, sizeof front, "A%02u;word;%02u.5;%c%07u.%02u;", static_cast<unsigned>(i % 100),
                  static_cast<unsigned>(i % 89), i % 3 == 0 ? '-' : '+',
                  static_cast<unsigned>(i * 7919 % 9999991), static_cast<unsigned>(i % 97));
    lines += front;
    lines.append(filling, i * kLineBytes, 16);
    lines += '\n';
  }
  return lines;
}

void rec_fill_number_in_field(benchmark::State& state) {
  const std::string lines = field_lines();
  fill(state, {"-t", "';'", "-n", "-f", "3"}, lines, lines.size() / kRecords);
}
BENCHMARK(rec_fill_number_in_field);

void stk_space_of_a_record(benchmark::State& state) {
  const std::string lines = random_lines(kRecords, kLineBytes);
  StoppedSort sort({}, lines, kLineBytes);
  Stack* data = sort.instance().driver.data_stack;
  for (auto _ : state) {
    for (std::size_t i = 0; i < kRecords; ++i) {
      std::uint8_t* space = stk_space(data, kLineBytes + kRecordOverhead);
      require(space != nullptr, "no record memory");
      *space = 1;
    }
    stk_pop_release(data);
    require(stk_push(data), "no record memory");
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kRecords));
}
BENCHMARK(stk_space_of_a_record);

}  // namespace
}  // namespace fsort::bench
