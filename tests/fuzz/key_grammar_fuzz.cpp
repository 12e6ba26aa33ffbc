// Fuzzes the key grammar and the building of records by the key table it makes.
//
//   byte 0   seed of the simulated system
//   then     the options of records and keys; behind a line "%%" records, a line each
//
// Claims: a refusal has a message. A table has at most 32 entries, each with a sequence, and the options that
// every module took give the rows that the reference engine gives. A record is built or refused as the
// reference says, with the same text, and its offsets lie in it where the reference has them.
#include <algorithm>
#include <memory>
#include <optional>
#include <set>

#include "engine/record_memory.h"
#include "fuzz/fuzz_world.h"
#include "keys/key_table.h"
#include "keys/record.h"
#include "support/reference_keys.h"
#include "support/stack.h"

namespace fsort::fuzz {
namespace {

using fsort_test::ReferenceFault;
using fsort_test::ReferenceKeys;
using fsort_test::ReferenceRecord;
using fsort_test::ReferenceRow;

constexpr std::int64_t kSegmentBytes = 128 * 1024;
constexpr std::int64_t kSegments = 4;
constexpr std::size_t kMostArguments = 300;

// Options that other modules take before the keys are read.
const std::set<std::string>& options_of_others() {
  static const std::set<std::string> kAll = {"-ibs", "-obs", "-bs", "-v",  "-rt", "-rf", "-rv",
                                             "-q",   "-u",   "-l",  "-fs", "-rs", "-m"};
  return kAll;
}

std::string g_record;

std::int32_t give_record(std::uint64_t* length, const std::uint8_t** record) {
  *length = g_record.size();
  *record = reinterpret_cast<const std::uint8_t*>(g_record.data());
  return 0;
}

std::string table_text() {
  std::string text;
  for (std::uint16_t i = 0; i < key_count(); ++i) {
    const KeyEntry& e = key_entry(i);
    text += std::to_string(e.type) + " f" + std::to_string(e.field) + " s" + std::to_string(e.start) + " l" +
            std::to_string(e.length) + (e.direction == kForward ? " >" : " <") + " n" +
            std::to_string(e.count) + (e.descending != 0 ? " down | " : " | ");
  }
  return text;
}

std::string table_text(const std::vector<ReferenceRow>& rows) {
  std::string text;
  for (const ReferenceRow& row : rows) {
    text += std::to_string(static_cast<int>(row.type)) + " f" + std::to_string(row.field) + " s" +
            std::to_string(row.start) + " l" + std::to_string(row.length) + (row.step > 0 ? " >" : " <") +
            " n" + std::to_string(row.count) + (row.descending ? " down | " : " | ");
  }
  return text;
}

void check_table() {
  claim(key_count() >= 1 && key_count() <= kMaxKeys, "the table has its size");
  claim(key_record_header_bytes() <= kMaxHeaderBytes, "the header has its size");
  for (std::uint16_t i = 0; i < key_count(); ++i) {
    const KeyEntry& e = key_entry(i);
    claim(e.sequence != nullptr, "an entry has a sequence");
    claim(e.direction == kForward || e.direction == kBackward, "an entry has a direction");
    claim(i + e.count < key_count(), "a sign governs entries of the table");
  }
}

// Regions of groups that begin or end near the limit of 16 bits are clamped or refused by the engine, which
// the reference does not know of. So it is asked only where every number is below 10,000 ...
bool moderate(const Texts& arguments) {
  for (const std::string& argument : arguments) {
    std::size_t digits = 0;
    for (const char c : argument) {
      if (digits != 0 && std::string("xXkKmMgG").find(c) != std::string::npos) return false;
      digits = c >= '0' && c <= '9' ? digits + 1 : 0;
      if (digits > 4) return false;
    }
  }
  return true;
}

// ... and where no group begins at the end of an open region.
bool moderate(const std::vector<ReferenceRow>& rows) {
  const auto inside = [](const ReferenceRow& row) { return row.start >= 0 && row.start < kOpenStart - 1; };
  return std::all_of(rows.begin(), rows.end(), inside);
}

// The reference's reading of the same options; null when other modules' options are among them.
std::unique_ptr<ReferenceKeys> reference_of(const Texts& arguments) {
  const auto others = [](const std::string& argument) { return options_of_others().count(argument) != 0; };
  if (!moderate(arguments) || std::any_of(arguments.begin(), arguments.end(), others)) return nullptr;
  try {
    auto keys = std::make_unique<ReferenceKeys>(arguments);
    const bool groups = std::find(arguments.begin(), arguments.end(), "(") != arguments.end();
    return !groups || moderate(keys->rows()) ? std::move(keys) : nullptr;
  } catch (const ReferenceFault& fault) {
    claim(false, std::string("the reference refuses the keys: ") + fault.what());
  }
  return nullptr;
}

void check_offsets(const std::uint8_t* record, const ReferenceKeys& keys, const ReferenceRecord& right) {
  const int header = key_record_header_bytes();
  for (std::uint16_t i = 0; i < key_count(); ++i) {
    const int offset = rec_key_offset(record, i);
    claim(offset <= rec_total_length(record), "a key begins in its record");
    if (keys.rows()[i].type != fsort_test::RowType::number_sign) {
      claim(offset - header == right.offset[i], "key " + std::to_string(i) + " begins where it should");
    } else if (right.sign_count[i] != 0) {
      claim(static_cast<std::int8_t>(record[offset]) == right.sign_count[i], "a number has its sign");
    }
  }
}

void check_record(const ReferenceKeys* keys) {
  const std::uint8_t* record = nullptr;
  const Raised r = raised([&] { record = rec_input(); });
  if (!r.caught) {
    claim(rec_total_length(record) == key_record_header_bytes() + g_record.size(), "a record has its length");
    for (std::uint16_t i = 0; i < key_count(); ++i) {
      claim(rec_key_offset(record, i) <= rec_total_length(record), "a key begins in its record");
    }
  }
  if (keys == nullptr) return;
  try {
    const ReferenceRecord right = keys->fill(g_record);
    claim(!r.caught, [&] { return "the record is refused: " + r.text(); });
    check_offsets(record, *keys, right);
  } catch (const ReferenceFault& fault) {
    claim(r.text() == std::string(fault.what()) + "\n",
          [&] { return "the fault is " + std::string(fault.what()) + ", not " + r.text(); });
  }
}

void check_records(LiveInstance* instance, const Texts& sections, const ReferenceKeys* keys) {
  const Raised r = raised([&] { (void)stk_init(kSegmentBytes, kSegments); });
  claim(!r.caught, "there is record memory");
  DriverState& d = instance->record().driver;
  d.segment_kb = kSegmentBytes / 1024;
  d.frame_limit = std::uint64_t{1} << 40;
  d.data_stack = stk_alloc();
  d.input = give_record;
  for (std::size_t i = 1; i < sections.size(); ++i) {
    FuzzBytes lines(reinterpret_cast<const std::uint8_t*>(sections[i].data()), sections[i].size());
    while (!lines.empty()) {
      g_record = lines.line();
      if (!g_record.empty()) check_record(keys);
    }
  }
  stk_free(d.data_stack);
  d.data_stack = nullptr;
}

void run(FuzzBytes in) {
  World world(in.byte());
  const Texts sections = in.sections();
  const std::string command = sections[0].substr(0, sections[0].find_last_not_of('\n') + 1);
  Texts arguments = fsort_test::split_command(command.substr(0, command.find('\0')));
  if (arguments.size() > kMostArguments) arguments.resize(kMostArguments);
  LiveInstance instance;
  ArgVector args(arguments);
  const Raised r = raised([&] { rec_init(args.argc(), args.argv()); });
  if (r.caught) {
    claim(!r.texts.empty(), "a refusal has a message");
    return;
  }
  check_table();
  const std::unique_ptr<ReferenceKeys> keys = args.left().empty() ? reference_of(arguments) : nullptr;
  if (keys != nullptr) {
    claim(table_text() == table_text(keys->rows()),
          [&] { return "the table is\n" + table_text(keys->rows()) + "\nnot\n" + table_text(); });
  }
  check_records(&instance, sections, keys.get());
}

}  // namespace
}  // namespace fsort::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fsort::fuzz::run({data, size});
  return 0;
}
