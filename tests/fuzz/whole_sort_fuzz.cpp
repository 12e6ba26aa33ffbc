// Fuzzes whole sorts.
//
//   byte 0   seed of the simulated system
//   byte 1   the mode, below
//   then     in mode "made": a word, the number of bytes that choose the sort; these bytes; the bytes that
//            choose the records, or are them.   In mode "raw": a line with the command; the bytes of the
//            input
//
// Made: the bytes choose a sort that has a meaning (tests/support/key_gen.h, record_gen.h), its memory, its
// buffers and its way in and out, so that most of them succeed and are judged: the oracle says whether order
// and set of records are right, and what a sort that must refuse a record says; a sort that stays in memory
// gives the order of the reference engine, equal records included.
//
// Raw: any command line over any bytes. The status is 0 or 1, a failure has a message, and a sort by
// callbacks that succeeds without -u hands out what it was given, in whatever order.
#include <algorithm>

#include "fuzz/made_sort.h"
#include "fuzz/sort_harness.h"
#include "support/reference_engine.h"
#include "support/spill_plan.h"

namespace fsort::fuzz {
namespace {

using fsort_test::RecordSet;
using fsort_test::RecordType;

std::string shown(const MadeSort& plan, const SortResult& result) {
  std::string text = "a sort of " + std::to_string(plan.set.records.size()) +
                     " records is right: " + fsort_test::join(plan.arguments) + "\nstatus " +
                     std::to_string(result.status);
  for (const std::string& message : result.texts) text += " " + message;
  return text;
}

bool failed_with(const SortResult& result, const std::string& message) {
  return result.status == 1 && !result.texts.empty() && result.texts[0].ends_with(message + "\n");
}

// A sort in memory: what the reference engine does, the order of equal records and the failure included.
void check_exactly(const MadeSort& plan, const SortResult& result, std::size_t file_bytes) {
  fsort_test::ReferenceInput input;
  input.from_file = input.by_arguments = plan.set.type != RecordType::free;
  input.file_bytes = file_bytes;
  input.record_length = plan.set.type == RecordType::text    ? 10
                        : plan.set.type == RecordType::fixed ? plan.set.size
                                                             : 12;
  const fsort_test::ReferenceResult right = fsort_test::reference_sort(
      fsort_test::split_command(fsort_test::join(plan.arguments)), plan.set.records, input);
  if (!right.fault.empty()) {
    claim(failed_with(result, right.fault),
          [&] { return "it says " + right.fault + "; " + shown(plan, result); });
    return;
  }
  claim(fsort_test::concatenate(result.records) ==
            fsort_test::concatenate(fsort_test::pick(plan.set.records, right.order)),
        [&] { return "equal records have the reference's order; " + shown(plan, result); });
}

void check_sort(const MadeSort& plan, const SortResult& result, std::size_t file_bytes) {
  if (plan.exit_at <= plan.set.records.size() && plan.set.type == RecordType::free) {
    claim(result.status == kExitCode || result.status == 1, "a sort that is ended says so");
    return;
  }
  if (!plan.spilling) check_exactly(plan, result, file_bytes);
  if (!plan.spilling && result.status != 0) return;  // for the right reason
  const std::string refused = fsort_test::refusal(plan.spec, plan.set.records);
  if (!refused.empty()) {
    claim(failed_with(result, refused),
          [&] { return "it refuses with " + refused + "; " + shown(plan, result); });
    return;
  }
  claim(result.status == 0, [&] { return shown(plan, result); });
  claim(result.texts.empty(), [&] { return "it is silent; " + shown(plan, result); });
  const std::string judged = fsort_test::judge(plan.spec, plan.set.records, result.records);
  claim(judged.empty(), [&] { return judged + "; " + shown(plan, result); });
}

void run_made(World* world, FuzzBytes* in, std::uint8_t mode) {
  const MadeSort plan = make_sort(in, mode);
  const std::string command = fsort_test::join(plan.arguments);
  if (plan.set.type == RecordType::free) {
    if (command.size() > FSORT_MAX_COMMAND) return;
    check_sort(plan, sort_by_callbacks(command, plan.set.records, plan.plain_levels, plan.exit_at), 0);
    return;
  }
  const std::string bytes = fsort_test::concatenate(plan.set.records);
  world->make_file("in", bytes);
  world->allow_file("out");
  Texts arguments = {"<in", ">out"};
  arguments.insert(arguments.end(), plan.arguments.begin(), plan.arguments.end());
  SortResult result = sort_by_arguments(arguments, plan.plain_levels);
  // A named output is made with its first record.
  if (result.status == 0 && !plan.set.records.empty()) {
    result.records = fsort_test::split_records(world->sim().content("out"), plan.set);
  }
  claim(world->sim().content("in") == bytes, "the input is as it was");
  check_sort(plan, result, bytes.size());
}

bool same_records(Texts a, Texts b) {
  std::sort(a.begin(), a.end());
  std::sort(b.begin(), b.end());
  return a == b;
}

void run_raw(World* world, FuzzBytes* in, std::uint8_t mode) {
  const std::string command = in->line();
  const std::string text = command.substr(0, command.find('\0'));
  const std::string bytes = in->rest();
  world->make_file("in", bytes);
  world->make_file("1", bytes);
  world->allow_any_file();
  const Texts arguments = fsort_test::split_command(text);
  SortResult result;
  if (mode / 2 % 2 == 0) {
    result = sort_by_arguments(arguments, mode / 8 % 2 != 0);
  } else {
    FuzzBytes pieces(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    RecordSet set;
    set.type = RecordType::free;
    const Texts records = records_of(&pieces, set);
    result = sort_by_callbacks(text, records, mode / 8 % 2 != 0, kNoExit);
    const bool unique = std::find(arguments.begin(), arguments.end(), "-u") != arguments.end();
    const bool others = text.find_first_of("<>#") != std::string::npos || unique ||
                        text.find("-in") != std::string::npos || text.find("-out") != std::string::npos ||
                        text.find("-IN") != std::string::npos || text.find("-OUT") != std::string::npos;
    claim(result.status != 0 || others || same_records(records, result.records),
          "what goes in comes out: " + text);
  }
  claim(result.status == 0 || result.status == 1, "the status is 0 or 1");
  claim(result.status == 0 || !result.texts.empty(), "a failure has a message");
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
