// Fuzzes looking at a sort without sorting: its description, its records one by one, the check of their
// order.
//
//   byte 0   seed of the simulated system
//   byte 1   the mode: bit 0 "raw" (else "made"), bit 6 no more is read than the records asked for need, bit
//   7
//            made records are brought into order first; the others are those of made_sort.h
//   then     as whole_sort takes it: the bytes of a sort and of its records, or a line with a command and the
//            bytes of the input
//
// Claims: a refusal has a message, the one that the sort gives. The description names keys and governors that
// there are. What a key's bytes, its fraction and what ends them are said to be lies inside the record, and
// so do its fields. A faulty record and an input that cannot be read have a message. A record has the bytes
// that stand at its place in the input. The check ends at the first record that the comparison puts in front
// of its neighbour, or that is faulty, and with no other verdict.
//
// Made: the oracle says of every record whether its keys can be found and with what message they cannot, and
// of all neighbours which comes first.
#include <algorithm>
#include <optional>

#include "fuzz/made_sort.h"
#include "fuzz/sort_harness.h"
#include "support/inspector.h"
#include "support/oracle_sort.h"
#include "support/reference_engine.h"

namespace fsort::fuzz {
namespace {

using fsort_test::Oracle;
using fsort_test::RecordFault;
using fsort_test::RecordKey;
using test::Inspector;

constexpr std::size_t kMostRecords = 2000;

// --- what holds for any description and any record

void check_description(const InspectedSort& sort) {
  claim(sort.input_count >= 1 && sort.input_count <= kMaxInputFiles,
        "there are as many inputs as there may be");
  for (std::uint16_t i = 0; i < sort.input_count; ++i)
    claim(sort.inputs[i] != nullptr, "an input has a name");
  claim(sort.key_count >= 1 && sort.key_count <= kMaxKeys, "there are as many keys as there may be");
  std::uint32_t entry = 0;
  for (std::uint16_t k = 0; k < sort.key_count; ++k) {
    const InspectedKey& key = sort.keys[k];
    claim(key.entry == entry, "the keys are the entries, each of them once");
    claim(key.entries == 1 || key.kind == kKeySign, "only a number has several entries");
    claim(key.governor == kNoKey || key.governor < k, "a governor stands in front");
    claim(key.governor == kNoKey || sort.keys[key.governor].kind == kKeyGoverning,
          "a governor is a sign key");
    claim(key.sequence != nullptr && key.skip_blanks != nullptr, "a key has its sequences");
    entry += key.entries;
  }
  claim(entry <= kMaxKeys, "no entry lies behind the table");
}

void check_bytes(const InspectedRecord& record, const KeyBytes& bytes) {
  const auto length = static_cast<std::int32_t>(record.length);
  const auto inside = [&](std::int32_t at) { return at >= 0 && at < length; };
  claim(bytes.step == 1 || bytes.step == -1, "a key has a direction");
  claim(bytes.first >= -1 && bytes.first <= length, "a key begins at the record");
  const std::int32_t behind = bytes.first + static_cast<std::int32_t>(bytes.count) * bytes.step;
  if (bytes.count != 0) claim(inside(bytes.first) && inside(behind - bytes.step), "a key lies in its record");
  if (bytes.end != KeyEnd::byte) return;
  claim(inside(behind) && record.data[behind] == bytes.end_byte, "a key ends at the byte that ends it");
}

void check_fields(const InspectedSort& sort, const InspectedRecord& record) {
  const std::uint16_t found = std::min(record.fields_found, sort.field_count);
  for (std::uint16_t f = 0; f < found; ++f) {
    const std::uint32_t start = record.field_start[f];
    const std::uint32_t end = record.field_end[f];
    claim(start >= record.header_bytes && start <= end && end - record.header_bytes <= record.length,
          "a field lies in its record");
  }
}

void check_record(const Inspector& inspector) {
  const InspectedRecord& record = inspector.record();
  check_fields(inspector.sort(), record);
  for (std::uint16_t k = 0; k < inspector.sort().key_count; ++k) {
    const KeyValue value = inspector.key(k);
    check_bytes(record, value.bytes);
    if (inspector.sort().keys[k].decimals != 0 && inspector.sort().keys[k].kind == kKeySign) {
      check_bytes(record, value.fraction);
    }
  }
}

// How the record of an inspector compares with the one before it.
int order_of_latest(const Inspector& inspector) {
  std::uint32_t entry = 0;
  const int order = inspect_compare(inspector.handle(), inspector.before(), inspector.record(), &entry);
  claim(order == 0 || entry < kMaxKeys, "a key decides");
  std::uint32_t back = 0;
  const int other = inspect_compare(inspector.handle(), inspector.record(), inspector.before(), &back);
  claim(other == -order && (order == 0 || back == entry), "the comparison is the same from either side");
  return order;
}

// What a check has to say: its verdict, and the number of the record that it ends at.
struct Expected {
  CheckVerdict verdict = CheckVerdict::in_order;
  std::uint64_t records = 0;
  bool equal = false;

  // Takes the next record; false when it is the last one that the check looks at.
  bool next(bool faulty, std::optional<int> order_with_before, bool unique) {
    ++records;
    if (faulty) {
      verdict = CheckVerdict::faulty;
    } else if (order_with_before && (*order_with_before > 0 || (unique && *order_with_before == 0))) {
      verdict = CheckVerdict::out_of_order;
      equal = *order_with_before == 0;
    }
    return verdict == CheckVerdict::in_order;
  }
};

void check_verdict(Inspector* inspector, const Expected& expected) {
  CheckReport report;
  const CheckVerdict verdict = inspector->check(&report);
  claim(verdict == expected.verdict, [&] {
    return "the check says " + std::to_string(static_cast<int>(expected.verdict)) + " and not " +
           std::to_string(static_cast<int>(verdict)) + " at record " + std::to_string(report.records);
  });
  claim(report.records == expected.records, "the check reads as far as it must");
  const bool names = verdict == CheckVerdict::out_of_order || verdict == CheckVerdict::faulty;
  claim((report.later != nullptr) == names, "the check names the record that it ends at");
  if (names) claim(report.later->number == expected.records, "and it is the last one");
  claim((report.earlier != nullptr) == (verdict == CheckVerdict::out_of_order), "and the one in front of it");
  if (report.earlier != nullptr)
    claim(report.earlier->number + 1 == report.later->number, "the one in front");
  claim(report.equal == expected.equal, "the check tells equal ones");
  const bool failed = verdict == CheckVerdict::faulty || verdict == CheckVerdict::unreadable;
  claim(!failed || !Inspector::texts().empty(), "a fault has a message");
}

bool narrowed(const Inspector& inspector, std::uint8_t mode) {
  if (mode / 64 % 2 == 0) return true;
  if (inspect_singly(inspector.handle()) == 0) return true;
  claim(!Inspector::texts().empty(), "a failure has a message");
  return false;
}

// --- sorts that have a meaning

// A record with what the oracle says of it.
struct Judged {
  std::string data;
  std::optional<RecordKey> key;
  std::string fault;  // when there is no key
};

std::vector<Judged> judged(const Oracle& oracle, const Texts& records) {
  std::vector<Judged> all;
  for (const std::string& data : records) {
    Judged one{data, std::nullopt, ""};
    try {
      one.key = oracle.extract(data);
    } catch (const RecordFault& fault) {
      one.fault = fault.what();
    }
    all.push_back(one);
  }
  return all;
}

int sign(int order) { return (order > 0 ? 1 : 0) - (order < 0 ? 1 : 0); }

std::optional<int> order_before(const Oracle& oracle, const std::vector<Judged>& all, std::size_t i) {
  if (i == 0 || !all[i - 1].key || !all[i].key) return std::nullopt;
  return sign(oracle.compare(*all[i - 1].key, *all[i].key));
}

void bring_into_order(const Oracle& oracle, std::vector<Judged>* all) {
  const auto has_key = [](const Judged& one) { return one.key.has_value(); };
  if (!std::all_of(all->begin(), all->end(), has_key)) return;
  std::stable_sort(all->begin(), all->end(),
                   [&](const Judged& a, const Judged& b) { return oracle.compare(*a.key, *b.key) < 0; });
}

void read_made(Inspector* inspector, const Oracle& oracle, const std::vector<Judged>& all) {
  std::uint64_t position = 0;
  std::size_t messages = 0;
  for (std::size_t i = 0; i < all.size(); ++i) {
    const RecordFate fate = inspector->read();
    claim(fate == (all[i].key ? RecordFate::filled : RecordFate::faulty),
          [&] { return "record " + std::to_string(i) + " has its keys or not: " + all[i].fault; });
    const InspectedRecord& record = inspector->record();
    claim(inspector->data() == all[i].data, "a record has its bytes");
    claim(record.number == i + 1 && record.file == 0 && record.position == position, "and its place");
    position += record.length;
    if (fate == RecordFate::faulty) {
      claim(Inspector::texts().find(all[i].fault + "\n", messages) != std::string::npos,
            [&] { return "it refuses with " + all[i].fault + ", not with " + Inspector::texts(); });
      messages = Inspector::texts().size();
      continue;
    }
    check_record(*inspector);
    const std::optional<int> order = order_before(oracle, all, i);
    if (order) claim(order_of_latest(*inspector) == *order, "two records compare as the oracle says");
  }
  claim(inspector->read() == RecordFate::end, "there are no more records");
  claim(Inspector::texts().size() == messages, "nothing is said of good records");
}

void run_made(World* world, FuzzBytes* in, std::uint8_t mode) {
  constexpr std::uint8_t kText = 2;
  const bool from_file = mode / 2 % 4 != 0;
  const MadeSort made = make_sort(in, from_file ? mode : static_cast<std::uint8_t>(mode | kText));
  const Oracle oracle(made.spec);
  std::vector<Judged> all = judged(oracle, made.set.records);
  if (mode / 128 != 0) bring_into_order(oracle, &all);
  std::string bytes;
  for (const Judged& one : all) bytes += one.data;
  world->make_file("in", bytes);
  Texts arguments = {"<in", ">out"};
  arguments.insert(arguments.end(), made.arguments.begin(), made.arguments.end());
  Expected expected;
  for (std::size_t i = 0; i < all.size(); ++i) {
    if (!expected.next(!all[i].key, order_before(oracle, all, i), made.spec.unique)) break;
  }
  const std::string command = fsort_test::join(arguments);
  {
    Inspector inspector(arguments);
    claim(inspector.status() == 0, [&] { return command + " can be read: " + Inspector::texts(); });
    check_description(inspector.sort());
    claim(narrowed(inspector, mode), "it can be read record by record");
    read_made(&inspector, oracle, all);
  }
  Inspector inspector(arguments);
  claim(inspector.status() == 0 && narrowed(inspector, mode), "it can be read again");
  check_verdict(&inspector, expected);
}

// --- any command, any bytes

// The content of the only input, when it is a file that is there.
std::optional<std::string> only_input(World* world, const InspectedSort& sort) {
  if (sort.input_count != 1 || std::string(sort.inputs[0]) == "-") return std::nullopt;
  return world->sim().content(sort.inputs[0]);
}

// Reads all records; result: what a check has to say, nothing when there are too many records.
std::optional<Expected> read_raw(World* world, Inspector* inspector) {
  const std::optional<std::string> content = only_input(world, inspector->sort());
  Expected expected;
  bool judging = true;
  bool filled_before = false;
  for (std::size_t i = 0; i < kMostRecords; ++i) {
    const std::size_t said = Inspector::texts().size();
    const RecordFate fate = inspector->read();
    if (fate == RecordFate::end) return expected;
    claim((fate == RecordFate::filled) == (Inspector::texts().size() == said),
          "a fault has a message, and only a fault has");
    if (fate == RecordFate::unreadable) {
      if (judging) expected.verdict = CheckVerdict::unreadable;
      return expected;
    }
    const InspectedRecord& record = inspector->record();
    claim(record.number == i + 1, "records are counted");
    claim(record.file < inspector->sort().input_count, "a record comes from an input");
    if (content) {
      claim(content->compare(record.position, record.length, inspector->data()) == 0,
            "a record has the bytes at its place");
    }
    const bool filled = fate == RecordFate::filled;
    std::optional<int> order;
    if (filled) check_record(*inspector);
    if (filled && filled_before) order = order_of_latest(*inspector);
    if (judging) judging = expected.next(!filled, order, inspector->sort().unique);
    filled_before = filled;
  }
  return std::nullopt;
}

void check_refusal(World* world, const Texts& arguments, const std::string& texts) {
  furnish(world);
  const SortResult result = sort_by_arguments(arguments, false);
  std::string all;
  for (const std::string& text : result.texts) all += text;
  claim(result.status == 1 && all == texts, [&] { return "a sort says the same: " + all + " and " + texts; });
}

void run_raw(World* world, FuzzBytes* in, std::uint8_t mode) {
  const std::string command = in->line();
  const Texts arguments = fsort_test::split_command(command.substr(0, command.find('\0')));
  const std::string bytes = in->rest();
  world->make_file("in", bytes);
  world->make_file("1", bytes);
  world->allow_any_file();
  std::optional<Expected> expected;
  std::string refusal;
  {
    Inspector inspector(arguments);
    claim(inspector.status() == 0 || inspector.status() == 1, "the status is 0 or 1");
    if (inspector.status() == 0) {
      check_description(inspector.sort());
      if (!narrowed(inspector, mode)) return;
      expected = read_raw(world, &inspector);
    } else {
      refusal = Inspector::texts();
      claim(!refusal.empty(), "a refusal has a message");
    }
  }
  claim(world->sim().content("in") == bytes, "the input is as it was");
  if (!expected) {
    if (!refusal.empty()) check_refusal(world, arguments, refusal);
    return;
  }
  furnish(world);
  Inspector inspector(arguments);
  claim(inspector.status() == 0 && narrowed(inspector, mode), "it can be read again");
  check_verdict(&inspector, *expected);
}

void run(FuzzBytes in) {
  World world(in.byte());
  const std::uint8_t mode = in.byte();
  furnish(&world);
  if (mode % 2 == 0) {
    run_made(&world, &in, mode);
  } else {
    run_raw(&world, &in, mode);
  }
}

}  // namespace
}  // namespace fsort::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fsort::fuzz::run({data, size});
  return 0;
}
