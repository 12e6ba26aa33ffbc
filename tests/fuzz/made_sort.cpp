// Sorts chosen by the bytes of a fuzzing input. See the header.
#include "fuzz/made_sort.h"

#include <algorithm>

#include "support/spill_plan.h"

namespace fsort::fuzz {

using fsort_test::Random;
using fsort_test::RecordSet;
using fsort_test::RecordType;

namespace {

constexpr std::size_t kMostRecords = 400;

// How the sort gets by: its memory, and the little of it that a spilling one has.
void add_memory(MadeSort* sort, Random* random) {
  Texts& arguments = sort->arguments;
  if (sort->spilling) {
    const Texts memory = fsort_test::spilling_regime(random, sort->spec);
    arguments.insert(arguments.end(), {"-w", "work"});
    arguments.insert(arguments.end(), memory.begin(), memory.end());
    return;
  }
  arguments.insert(arguments.end(), {"-m", "4000"});
  if (random->chance(30)) {
    arguments.insert(arguments.end(), {"-l", random->pick<std::string>({"7", "8", "20", "129"})});
  }
}

}  // namespace

Texts records_of(FuzzBytes* in, const RecordSet& set) {
  Texts records;
  while (!in->empty() && records.size() < kMostRecords) {
    std::string data = set.type == RecordType::fixed ? in->take(set.size) : in->take(in->below(20));
    if (set.type == RecordType::fixed) data.resize(set.size, ' ');
    if (set.type == RecordType::free && data.empty()) data = "x";
    if (set.type == RecordType::text) {
      std::replace(data.begin(), data.end(), '\n', ' ');
      data += '\n';
    }
    if (set.type == RecordType::variable) {
      std::string head(static_cast<std::size_t>(set.header), 'h');
      head[static_cast<std::size_t>(set.length_high)] = '\0';
      head[static_cast<std::size_t>(set.length_low)] = static_cast<char>(data.size());
      data = head + data;
    }
    records.push_back(data);
  }
  return records;
}

MadeSort make_sort(FuzzBytes* in, std::uint8_t mode) {
  MadeSort sort;
  Random random(in->take(in->word() % 512));
  const std::vector<RecordType> types = {RecordType::free, RecordType::text, RecordType::fixed,
                                         RecordType::variable};
  const RecordType type = types[mode / 2 % 4];
  const fsort_test::Shape shape = fsort_test::random_shape(&random);
  sort.spec = fsort_test::random_spec(&random, shape);
  sort.spilling = mode / 8 % 2 != 0;
  sort.plain_levels = mode / 16 % 2 != 0;
  // Long prefixes that all records share fill a small memory.
  const int alike = sort.spilling ? 60 : 4;
  if (mode / 32 % 2 != 0) {
    const auto count = static_cast<std::size_t>(random.between(0, static_cast<int>(kMostRecords)));
    Random of_records(in->rest());
    sort.set = fsort_test::random_records(&of_records, shape, type, count, alike);
  } else {
    sort.set = fsort_test::random_records(&random, shape, type, 0, alike);
    sort.set.records = records_of(in, sort.set);
  }
  if (mode / 64 % 4 == 3) sort.exit_at = static_cast<std::size_t>(random.between(0, 500));
  sort.arguments = {"-q"};
  add_memory(&sort, &random);
  if (type != RecordType::free) {
    sort.arguments.insert(sort.arguments.end(), sort.set.options.begin(), sort.set.options.end());
  }
  const Texts keys = fsort_test::render(sort.spec, &random);
  sort.arguments.insert(sort.arguments.end(), keys.begin(), keys.end());
  return sort;
}

void furnish(World* world) {
  test::SimOs& sim = world->sim();
  sim.make_folder("work");
  sim.set_memory(std::uint64_t{1} << 26);
  sim.set_standard(kStdInput, kFileTypePipe, "b\na\n");
  sim.set_standard(kStdOutput, kFileTypePipe, "");
  sim.set_standard(kStdError, kFileTypeChar, "");
}

}  // namespace fsort::fuzz
