// Fuzzes the reading of work files that somebody has damaged.
//
//   byte 0   seed of the simulated system
//   byte 1   the way: even, runs written and read bin by bin; odd, a whole sort that spills
//   byte 2   the keys
//   then     even: the bins, the runs (a count, then bin, records and length of each); odd: a word, from
//   which
//            the records follow
//   then     the damage, as long as there are bytes: a word for the place, what to do there, and a byte
//
// Claims: damage is either noticed, by a message, or gives records that lie in record memory with their key
// offsets inside them, and no more of them than the bin had; nothing is read or written beyond its memory,
// and nothing is left behind. Without damage all records come back, bin by bin.
#include <algorithm>
#include <map>

#include "engine/driver.h"
#include "engine/record_memory.h"
#include "fuzz/sort_harness.h"
#include "keys/record.h"
#include "sublist/sublist.h"
#include "sublist/work_file.h"
#include "support/record_gen.h"
#include "support/record_links.h"
#include "support/stack.h"
#include "support/stkavl.h"

namespace fsort::fuzz {
namespace {

constexpr std::uint32_t kMostBins = 6;
constexpr std::size_t kMostPatches = 64;

const std::vector<Texts>& key_lists() {
  static const std::vector<Texts> kAll = {
      {},
      {"-k", "-c", "0-3"},
      {"-n", "-c", "0-5"},
      {"-mfr", "-mcf", "-n", "-f", "1", "-k", "-f", "0"},
      {"-mcf", "-s", "'-'", "'+'", "-c", "0", "-n", "-d", "2", "-k", "'a'-'z'", "-i"},
      {"-u", "-k", "'a'-'c'", "-c", "0", "-c", "1", "-c", "2"}};
  return kAll;
}

struct Patch {
  std::uint32_t place;
  std::uint8_t action;
  std::uint8_t value;
};
std::vector<Patch> g_patches;
bool g_damaged = false;

void read_patches(FuzzBytes* in) {
  g_patches.clear();
  g_damaged = false;
  while (!in->empty() && g_patches.size() < kMostPatches) {
    const std::uint32_t place = in->word();
    const std::uint8_t action = in->byte();
    g_patches.push_back({place, action, in->byte()});
  }
}

// Exchanges bytes, sets one, cuts or lengthens the file.
void damage(std::string* content) {
  const std::string before = *content;
  for (const Patch& patch : g_patches) {
    if (content->empty()) break;
    const std::size_t at = patch.place % content->size();
    const char value = static_cast<char>(patch.value);
    switch (patch.action % 8) {
      case 6:
        content->resize(at);
        break;
      case 7:
        content->append(patch.value, '\xFF');
        break;
      default:
        (*content)[at] = value;
    }
  }
  g_damaged = g_damaged || *content != before;
}

// --- bin by bin ------------------------------------------------------------------------------------------

std::string g_next;

std::int32_t give_next(std::uint64_t* length, const std::uint8_t** record) {
  *length = g_next.size();
  *record = reinterpret_cast<const std::uint8_t*>(g_next.data());
  return 0;
}

std::int32_t take_none(std::uint64_t, const std::uint8_t*) { return 0; }

class Bins {
 public:
  explicit Bins(std::uint16_t count)
      : words_((sizeof(SublistArray) + count * sizeof(Sublist)) / sizeof(std::uint64_t)), written_(count) {
    sublist_array_init(count, get());
    for (std::uint16_t i = 0; i < count; ++i) {
      get()->bins()[i] = sublist_empty();
      get()->bins()[i].order = i;
    }
  }
  SublistArray* get() { return reinterpret_cast<SublistArray*>(words_.data()); }
  // Data of the records written to a bin.
  Texts& written(std::size_t bin) { return written_[bin]; }
  [[nodiscard]] std::size_t count() const { return written_.size(); }

  void write_run(std::uint16_t bin, std::uint32_t records, std::uint32_t length) {
    Sublist& list = get()->bins()[bin];
    for (std::uint32_t i = 0; i < records; ++i) {
      g_next = std::string(1 + length, static_cast<char>('a' + i % 26)) + ";" + std::to_string(i);
      std::uint8_t* record = nullptr;
      const Raised r = raised([&] { record = rec_input(); });
      claim(!r.caught, [&] { return "a record is built: " + r.text(); });
      record_set_next(record, list.head);
      list.head = record;
      ++list.mem_count;
      list.mem_bytes += rec_charge(record);
      written(bin).push_back(g_next);
    }
    const Raised r = raised([&] { sublist_write(0, get(), bin); });
    claim(!r.caught, [&] { return "a run is written: " + r.text(); });
  }

 private:
  std::vector<std::uint64_t> words_;
  std::vector<Texts> written_;
};

Texts g_read;

// Looks at every byte of a record and at its offsets.
void note(const std::uint8_t* record) {
  const std::uint32_t length = rec_total_length(record);
  const std::uint32_t header = key_record_header_bytes();
  claim(length >= header, "a record holds its header");
  for (std::uint32_t k = 0; k < key_count(); ++k) {
    claim(rec_key_offset(record, k) <= length, "a key begins in its record");
  }
  claim(record[length] == 0, "a zero follows the record");
  g_read.emplace_back(reinterpret_cast<const char*>(record) + header, length - header);
}

// Result: false when the bin could not be read.
bool read_bin(Bins* bins, std::uint16_t bin) {
  g_read.clear();
  const Raised r = raised([&] {
    sublist_input_init(bins->get(), bin);
    while (const std::uint8_t* record = sublist_input()) note(record);
  });
  claim(r.caught == !r.texts.empty(), "damage has a message");
  claim(!r.caught || g_damaged, [&] { return "without damage a bin can be read: " + r.text(); });
  Texts& written = bins->written(bin);
  claim(g_read.size() <= written.size(), "a bin has as many records as it was given");
  if (g_damaged) return !r.caught;
  std::sort(g_read.begin(), g_read.end());
  std::sort(written.begin(), written.end());
  claim(g_read == written, "all records come back");
  return true;
}

void run_bins(World* world, FuzzBytes* in, std::uint8_t keys) {
  LiveInstance instance;
  stack_init(kStackReserveBytes);
  Texts arguments = {"-q", "-w", "work", "-wb", "2", "-rb", "2", "-m", "20000"};
  const Texts& list = key_lists()[keys % key_lists().size()];
  arguments.insert(arguments.end(), list.begin(), list.end());
  ArgVector args(arguments);
  claim(fsort_init(give_next, take_none, args.argc(), args.argv()) == 0, "the sort is initialised");
  claim(stk_push(instance.record().driver.data_stack), "there is a frame");
  Bins bins(static_cast<std::uint16_t>(1 + in->below(kMostBins)));
  const std::uint32_t runs = in->below(12);
  const auto boundary = static_cast<std::uint16_t>(in->below(kMostBins));
  for (std::uint32_t i = 0; i < runs; ++i) {
    const auto bin = static_cast<std::uint16_t>(in->below(static_cast<std::uint32_t>(bins.count())));
    const std::uint32_t records = 1 + in->below(20);
    bins.write_run(bin, records, in->below(0x100));
  }
  const Raised r = raised([&] { work_file_close(bins.get()); });
  claim(!r.caught, "the work file is closed");
  read_patches(in);
  world->damage_work_files(damage);
  for (auto bin = static_cast<std::uint16_t>(bins.count()); bin-- > 0;) {
    // The engine never reads a bin below the boundary.
    sublist_array_preload(std::min(boundary, bin));
    if (!read_bin(&bins, bin)) break;
  }
  sublist_array_delete(bins.get());
}

// --- a whole sort ----------------------------------------------------------------------------------------

void run_sort(World* world, FuzzBytes* in, std::uint8_t keys) {
  fsort_test::Random random(in->word());
  const fsort_test::Shape shape = fsort_test::random_shape(&random);
  const fsort_test::RecordSet set = fsort_test::random_records(
      &random, shape, fsort_test::RecordType::free, static_cast<std::size_t>(random.between(150, 500)), 85);
  const std::string memory = random.pick<std::string>({"-l 7 -m 1", "-l 9 -m 1", "-l 20 -m 70"});
  const std::string command = "-q -w work -wb 2 -rb 2 -mcr -mfr " + memory + " -fs 200 " +
                              fsort_test::join(key_lists()[keys % key_lists().size()]);
  read_patches(in);
  world->damage_work_files(damage);
  const SortResult result = sort_by_callbacks(command, set.records, false, SIZE_MAX);
  claim(result.status == 0 || result.status == 1, "the status is 0 or 1");
  claim((result.status != 0) == !result.texts.empty(), "a failure has a message, and only a failure has");
  claim(result.records.size() <= set.records.size(), "no record is added");
  if (g_damaged || result.status != 0 || command.find("-u") != std::string::npos) return;
  claim(result.records.size() == set.records.size(), "without damage no record is lost");
}

void run(FuzzBytes in) {
  World world(in.byte());
  const std::uint8_t way = in.byte();
  const std::uint8_t keys = in.byte();
  world.sim().make_folder("work");
  world.sim().set_memory(std::uint64_t{1} << 26);
  if (way % 2 == 0) {
    run_bins(&world, &in, keys);
  } else {
    run_sort(&world, &in, keys);
  }
}

}  // namespace
}  // namespace fsort::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fsort::fuzz::run({data, size});
  return 0;
}
