// See stopped_sort.h. The source and sink are plain variables, because the engine's functions take no
// context.
#include "micro/stopped_sort.h"

#include <time.h>

#include <cstdio>
#include <cstdlib>
#include <random>

#include "engine/distribute.h"
#include "engine/driver.h"
#include "engine/plan.h"
#include "support/dsnt.h"
#include "support/stkavl.h"

namespace fsort::bench {

namespace {

constexpr unsigned kFirstCharacter = ' ';
constexpr unsigned kCharacters = 95;

struct Supply {
  const std::string* lines = nullptr;
  std::size_t length = 0;
  std::size_t at = 0;
  std::vector<std::uint8_t*> built;
  std::size_t next = 0;
  std::uint64_t written = 0;
};
Supply supply;

std::int32_t read_line(std::uint64_t* length, const std::uint8_t** record) {
  const bool left = supply.at < supply.lines->size();
  *length = left ? supply.length : 0;
  *record = left ? reinterpret_cast<const std::uint8_t*>(supply.lines->data()) + supply.at : nullptr;
  if (left) supply.at += supply.length;
  return 0;
}

std::int32_t forget_record(std::uint64_t /*length*/, const std::uint8_t* /*record*/) {
  supply.written += 1;
  return 0;
}

std::int32_t show(const char* text) { return std::fputs(text, stderr); }

}  // namespace

std::string random_lines(std::size_t count, std::size_t length) {
  std::mt19937_64 random(1);
  std::string lines;
  lines.reserve(count * length);
  for (std::size_t i = 0; i < count; ++i) {
    for (std::size_t k = 1; k < length; ++k) {
      lines += static_cast<char>(kFirstCharacter + (random() >> 32) % kCharacters);
    }
    lines += '\n';
  }
  return lines;
}

void require(bool good, const char* what) {
  if (good) return;
  std::fprintf(stderr, "micro: %s\n", what);
  std::exit(1);
}

double cpu_seconds() {
  timespec now{};
  ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

StoppedSort::StoppedSort(std::vector<std::string> options, const std::string& lines, std::size_t length)
    : instance_(DSAlloc()) {
  require(instance_ != nullptr && current_instance == nullptr, "no instance");
  current_instance = instance_;
  osdll_display_register(show);
  finit();
  ErrorInit();
  stack_init(kStackReserveBytes);
  supply = Supply{&lines, length, 0, {}, 0, 0};
  options.insert(options.begin(), {"fsort", "-q"});
  std::vector<const char*> argv;
  for (const std::string& option : options) argv.push_back(option.c_str());
  argv.push_back(nullptr);
  require(fsort_init(read_line, forget_record, static_cast<std::int32_t>(options.size()), argv.data()) == 0,
          "fsort_init failed");
  DriverState& d = instance_->driver;
  require(stk_push(d.sublist_stack), "no memory for the root level");
  Plan p{};
  plan(&p, 0, 0, d.record_count, d.file_kb, false);
  root_ = environment_make(nullptr, p.step_count, p.steps, static_cast<std::uint16_t>(p.bins));
  require(root_ != nullptr && stk_push(d.data_stack), "no memory for the root level");
  instance_->sort.current = root_;
  instance_->sort.newest = root_;
  d.environment = root_;
}

StoppedSort::~StoppedSort() {
  ExitWindup();
  fwindup();
  DSFree(instance_);
  current_instance = nullptr;
}

const std::vector<std::uint8_t*>& StoppedSort::build() {
  Stack* data = instance_->driver.data_stack;
  stk_pop_release(data);
  require(stk_push(data), "no memory for records");
  supply.at = 0;
  supply.built.clear();
  while (std::uint8_t* record = rec_input()) supply.built.push_back(record);
  return supply.built;
}

void StoppedSort::rewind() {
  supply.next = 0;
  SublistArray& array = root_->array;
  for (std::uint32_t i = 0; i < array.count; ++i) {
    Sublist& bin = array.bins()[i];
    bin.head = nullptr;
    bin.mem_count = 0;
    bin.mem_bytes = 0;
  }
}

void StoppedSort::distribute_all() {
  rewind();
  distribute(next, supply.built.size());
}

std::uint8_t* StoppedSort::next() {
  return supply.next < supply.built.size() ? supply.built[supply.next++] : nullptr;
}

std::uint64_t StoppedSort::records_written() { return supply.written; }

}  // namespace fsort::bench
