// Distribution, output order and list sort by the letter. See the header.
#include "support/reference_engine.h"

#include <algorithm>

namespace fsort_test {
namespace {

constexpr std::uint64_t kEnvironmentHead = 288;
constexpr std::uint64_t kBinBytes = 64;
constexpr std::size_t kMostSteps = 10;
constexpr std::uint64_t kFrameBytes = 24;
constexpr std::uint64_t kLongestSegment = 4194303;  // KB

struct Step {
  int key = 0;
  int position = 0;
  int classes = 0;  // highest class + 1
  std::size_t stride = 1;
};

struct Bin {
  int key = 0;
  int position = 0;
  std::vector<std::size_t> list;  // in the order in which records were pushed on the front
};

int threshold(int highest) {
  if (highest > 128) return 32;
  if (highest >= 91) return 20;
  if (highest >= 73) return 18;
  if (highest >= 31) return 12;
  return 6;
}

class Engine {
 public:
  Engine(const ReferenceKeys& keys, const std::vector<std::string>& data) : data_(data), rows_(keys.rows()) {
    unique_ = keys.options().unique;
    for (ReferenceRow& row : rows_) {
      if (row.type == RowType::governing_sign) row.length = 1;  // whatever its columns say
    }
  }

  void add(const ReferenceKeys& keys, const std::string& record);
  void plan_memory(const ReferenceKeys& keys, const ReferenceInput& input);
  std::vector<std::size_t> run();

 private:
  [[nodiscard]] int value(std::size_t record, int key, int position) const;
  [[nodiscard]] bool at_end(int key, int position) const {
    return std::abs(position) == rows_[static_cast<std::size_t>(key)].length;
  }
  [[nodiscard]] const ReferenceRow& row(int key) const { return rows_[static_cast<std::size_t>(key)]; }
  [[nodiscard]] int key_count() const { return static_cast<int>(rows_.size()); }

  std::vector<Step> plan(int key, int position, std::uint64_t records, bool root) const;
  static std::size_t set_strides(std::vector<Step>* steps);
  void lay_out(std::vector<Bin>* bins, std::size_t slot, const std::vector<Step>& steps,
               std::size_t step) const;
  void distribute(const std::vector<std::size_t>& records, const std::vector<Step>& steps,
                  std::vector<Bin>* bins) const;
  void invert_governed(int key);
  void order_slots(const std::vector<Step>& steps, std::size_t step, std::size_t slot,
                   std::vector<std::size_t>* order);
  bool level(const std::vector<std::size_t>& records, const std::vector<Step>& steps, Bin* only);
  void sort_bin(Bin bin);
  void list_sort(const Bin& bin, const std::vector<std::size_t>& records);
  void give_out(const std::vector<std::size_t>& records);
  [[nodiscard]] int compare(std::size_t a, std::size_t b, int key, int position) const;
  [[nodiscard]] int compare_keys(std::size_t a, std::size_t b, int key, int position, int end,
                                 int direction) const;

  const std::vector<std::string>& data_;
  std::vector<ReferenceRow> rows_;
  std::vector<ReferenceRecord> records_;
  std::vector<std::size_t> output_;
  bool unique_ = false;
  std::uint64_t record_count_ = 0;  // estimate
  std::uint64_t most_bins_ = 0;
  std::uint64_t available_kb_ = 0;  // memory at the time of the first plan
  std::uint64_t file_kb_ = 0;
  std::uint64_t largest_record_ = 0;  // bytes of data that a segment holds beside its header and a frame
  std::vector<Step> first_plan_;
};

// Estimates and memory plan of the driver.
void Engine::plan_memory(const ReferenceKeys& keys, const ReferenceInput& input) {
  ReferenceOptions o = keys.options();
  if (input.from_file && input.by_arguments) {
    if (!o.file_kb_given) o.file_kb = input.file_bytes / 1024 + 1;
    if (!o.record_size_given) o.record_size = input.record_length;
  } else if (input.from_file) {
    if (!o.file_kb_given && input.file_bytes > 0) o.file_kb = input.file_bytes >> 10;
    if (!o.record_size_given) o.record_size = input.record_length;
  }
  if (o.file_kb == 0) o.file_kb = 10240;
  if (o.record_size == 0) o.record_size = 8;
  record_count_ = o.file_kb * 1024 / o.record_size;
  file_kb_ = record_count_ * (o.record_size + keys.header_bytes() + 9) / 1024;
  const std::uint64_t memory_kb = o.memory_kb == 0 ? file_kb_ + 1 : o.memory_kb;
  const std::uint64_t segments = memory_kb / o.segment_kb + 3;
  available_kb_ = (segments - 1) * o.segment_kb;  // one segment holds the levels
  const std::uint64_t bytes = o.segment_kb * 1024;
  most_bins_ =
      bytes < kEnvironmentHead ? 0 : std::min<std::uint64_t>((bytes - kEnvironmentHead) / kBinBytes, 65535);
  first_plan_ = plan(0, 0, record_count_, true);
  largest_record_ = bytes - keys.header_bytes() - 9 - kFrameBytes;
}

// Class + 1 of a key byte, 0 where the key has ended: outside the sequence or outside the record.
int Engine::value(std::size_t record, int key, int position) const {
  const std::size_t k = static_cast<std::size_t>(key);
  const ReferenceTable& table = *rows_[k].table;
  std::size_t byte = 0;
  if (rows_[k].type == RowType::number_sign && records_[record].sign_count[k] != 0) {
    byte = static_cast<std::size_t>(records_[record].sign_count[k] & 255);
  } else {
    const int at = records_[record].offset[k] + position;
    if (at < 0 || at >= static_cast<int>(data_[record].size())) return 0;
    byte = static_cast<unsigned char>(data_[record][static_cast<std::size_t>(at)]);
  }
  return table.outside[byte] ? 0 : table.rank[byte] + 1;
}

std::vector<Step> Engine::plan(int key, int position, std::uint64_t records, bool root) const {
  std::vector<Step> steps;
  std::uint64_t bins = 1, product = 1;
  bool fitting = true;
  const auto fits = [&](std::uint64_t kb) { return !root || available_kb_ > kb; };
  while (steps.size() < kMostSteps) {
    const ReferenceRow& r = row(key);
    product *= static_cast<std::uint64_t>(r.table->highest) + 1;
    const std::uint64_t total = bins + product;
    if (steps.empty()) {
      if (total > most_bins_) throw ReferenceFault("Segment length too small");
      fitting = fits(file_kb_);
    } else if (r.count > 0 || bins * 2 > records || total > most_bins_) {
      break;
    }
    steps.push_back({key, position, r.table->highest + 1, 1});
    bins = total;
    if (!fitting && fits(file_kb_ / total)) break;
    position += r.step;
    if (at_end(key, position)) {
      ++key;
      position = 0;
      if (key == key_count()) break;
    }
  }
  return steps;
}

// Strides from the last step backwards; result: number of bins.
std::size_t Engine::set_strides(std::vector<Step>* steps) {
  std::size_t below = 1;
  for (auto step = steps->rbegin(); step != steps->rend(); ++step) {
    step->stride = below;
    below = below * static_cast<std::size_t>(step->classes) + 1;
  }
  return below;
}

void Engine::lay_out(std::vector<Bin>* bins, std::size_t slot, const std::vector<Step>& steps,
                     std::size_t step) const {
  const Step& s = steps[step];
  (*bins)[slot].key = s.key + 1;
  for (int c = 0; c < s.classes; ++c) {
    const std::size_t child = slot + 1 + static_cast<std::size_t>(c) * s.stride;
    if (step + 1 < steps.size()) {
      lay_out(bins, child, steps, step + 1);
      continue;
    }
    const int next = s.position + row(s.key).step;
    const bool ended = next == row(s.key).length;
    (*bins)[child].key = ended ? s.key + 1 : s.key;
    (*bins)[child].position = ended ? 0 : next;
  }
}

void Engine::distribute(const std::vector<std::size_t>& records, const std::vector<Step>& steps,
                        std::vector<Bin>* bins) const {
  for (const std::size_t record : records) {
    std::size_t bin = 0;
    for (const Step& step : steps) {
      const int v = value(record, step.key, step.position);
      if (v == 0) break;
      bin += static_cast<std::size_t>(v - 1) * step.stride + 1;
    }
    (*bins)[bin].list.push_back(record);
  }
}

// Flips the direction of the keys that `key` governs, but not of those that one of them governs.
void Engine::invert_governed(int key) {
  const int end = key + row(key).count;
  for (int k = key + 1; k <= end; ++k) {
    ReferenceRow& governed = rows_[static_cast<std::size_t>(k)];
    governed.descending = !governed.descending;
    k += governed.count;
  }
}

// The slots of a subtree in the order in which they leave.
void Engine::order_slots(const std::vector<Step>& steps, std::size_t step, std::size_t slot,
                         std::vector<std::size_t>* order) {
  const Step& s = steps[step];
  const bool down = row(s.key).descending;
  const bool governs = row(s.key).count > 0;
  if (!down) order->push_back(slot);
  for (int i = 0; i < s.classes; ++i) {
    const bool first_half = governs && i < s.classes / 2;
    const std::size_t c = static_cast<std::size_t>(down ? s.classes - 1 - i : i);
    const std::size_t child = slot + 1 + c * s.stride;
    if (step + 1 == steps.size()) {
      order->push_back(child);
      continue;
    }
    if (first_half) invert_governed(s.key);
    order_slots(steps, step + 1, child, order);
    if (first_half) invert_governed(s.key);
  }
  if (down) order->push_back(slot);
}

// One level: a pass over the records, then its bins one by one as they leave. When all records fell into one
// bin that no sign inverts, that bin is left to the caller, so that long common prefixes need no deep
// recursion.
bool Engine::level(const std::vector<std::size_t>& records, const std::vector<Step>& planned, Bin* only) {
  std::vector<Step> steps = planned;
  std::vector<Bin> bins(set_strides(&steps));
  lay_out(&bins, 0, steps, 0);
  distribute(records, steps, &bins);
  std::vector<std::size_t> order;
  order_slots(steps, 0, 0, &order);
  const int first_key = steps[0].key;
  std::size_t half = 0;
  if (row(first_key).count > 0) half = row(first_key).descending ? bins.size() / 2 : (bins.size() + 1) / 2;
  for (std::size_t i = 0; i < order.size(); ++i) {
    if (bins[order[i]].list.empty()) continue;
    if (i >= half && bins[order[i]].list.size() == records.size()) {
      *only = std::move(bins[order[i]]);
      return true;
    }
    if (i < half) invert_governed(first_key);
    sort_bin(std::move(bins[order[i]]));
    if (i < half) invert_governed(first_key);
  }
  return false;
}

void Engine::sort_bin(Bin bin) {
  for (bool again = true; again;) {
    const std::vector<std::size_t> records(bin.list.rbegin(), bin.list.rend());
    if (records.size() == 1 || bin.key >= key_count()) return give_out(records);
    if (at_end(bin.key, bin.position)) {
      ++bin.key;
      bin.position = 0;
      if (bin.key == key_count()) return give_out(records);
    }
    if (static_cast<int>(records.size()) < threshold(row(bin.key).table->highest)) {
      return list_sort(bin, records);
    }
    again = level(records, plan(bin.key, bin.position, records.size(), false), &bin);
  }
}

void Engine::give_out(const std::vector<std::size_t>& records) {
  if (unique_) {
    output_.push_back(records[0]);
  } else {
    output_.insert(output_.end(), records.begin(), records.end());
  }
}

void Engine::list_sort(const Bin& bin, const std::vector<std::size_t>& records) {
  std::vector<std::size_t> sorted;
  for (const std::size_t record : records) {
    std::size_t at = 0;
    bool dropped = false;
    for (; at < sorted.size(); ++at) {
      const int order = compare(record, sorted[at], bin.key, bin.position);
      dropped = order == 0 && unique_;
      if (order < 0 || dropped) break;
    }
    if (!dropped) sorted.insert(sorted.begin() + static_cast<std::ptrdiff_t>(at), record);
  }
  output_.insert(output_.end(), sorted.begin(), sorted.end());
}

int Engine::compare(std::size_t a, std::size_t b, int key, int position) const {
  return compare_keys(a, b, key, position, key_count(), 1);
}

// Keys [key, end) under an inherited direction; the first from `position` on.
int Engine::compare_keys(std::size_t a, std::size_t b, int key, int position, int end, int direction) const {
  for (; key < end; ++key, position = 0) {
    const ReferenceRow& r = row(key);
    const int own = r.descending ? -direction : direction;
    int va = 0;
    for (; !at_end(key, position); position += r.step) {
      va = value(a, key, position);
      const int vb = value(b, key, position);
      if (va != vb) return va > vb ? own : -own;
      if (va == 0) break;
    }
    if (r.count == 0) continue;
    const bool upper = va - 1 > (r.table->highest - 1) / 2;
    const int inner = compare_keys(a, b, key + 1, 0, key + 1 + r.count, upper ? own : -own);
    if (inner != 0) return inner;
    key += r.count;
  }
  return 0;
}

void Engine::add(const ReferenceKeys& keys, const std::string& record) {
  if (record.size() > largest_record_) throw ReferenceFault("Unable to allocate memory for data");
  records_.push_back(keys.fill(record));
}

std::vector<std::size_t> Engine::run() {
  std::vector<std::size_t> all(records_.size());
  for (std::size_t i = 0; i < all.size(); ++i) all[i] = i;
  Bin only;
  if (level(all, first_plan_, &only)) sort_bin(std::move(only));
  return output_;
}

}  // namespace

ReferenceResult reference_sort(const std::vector<std::string>& arguments,
                               const std::vector<std::string>& records, const ReferenceInput& input) {
  ReferenceResult result;
  try {
    const ReferenceKeys keys(arguments);
    const std::uint64_t segment_kb = keys.options().segment_kb;
    if (segment_kb > kLongestSegment) throw ReferenceFault("Segment length too large");
    if (segment_kb == 0) throw ReferenceFault("Segment length too small");
    result.fault_in_call = true;
    Engine engine(keys, records);
    engine.plan_memory(keys, input);
    for (const std::string& record : records) engine.add(keys, record);
    result.order = engine.run();
  } catch (const ReferenceFault& fault) {
    result.fault = fault.what();
  }
  if (result.fault.empty()) result.fault_in_call = false;
  return result;
}

std::vector<std::string> pick(const std::vector<std::string>& records,
                              const std::vector<std::size_t>& order) {
  std::vector<std::string> picked;
  picked.reserve(order.size());
  for (const std::size_t index : order) picked.push_back(records[index]);
  return picked;
}

}  // namespace fsort_test
