// From a command line to the description of its sort; see inspect.h.
//
// The key table holds entries; people write keys. An entry of type kKeySign opens a number, whose digits and
// decimals follow it; every other entry is a key of its own. A sign key's count says how many entries it
// governs, so the governor of an entry is the last sign key in front of it whose reach it lies in.
#include "engine/driver.h"
#include "engine/engine_state.h"
#include "entry/entry_switch.h"
#include "entry/start.h"
#include "inspect/inspect.h"
#include "recio/readers.h"
#include "recio/rout.h"
#include "sublist/sublist.h"
#include "support/error.h"

namespace fsort {
namespace {

constexpr std::uint16_t kNumberEntries = 3;

// Only the keys in front of `entry` are described yet.
std::uint16_t governor_of(const InspectedSort& sort, std::uint16_t entry) {
  std::uint16_t nearest = kNoKey;
  for (std::uint16_t k = 0; k < sort.key_count; ++k) {
    const InspectedKey& key = sort.keys[k];
    if (key.kind != kKeyGoverning) continue;
    const unsigned reach = unsigned{key.entry} + key_entry(key.entry).count;
    if (entry <= reach) nearest = k;
  }
  return nearest;
}

InspectedKey describe_key(std::uint16_t entry) {
  const KeyEntry& e = key_entry(entry);
  InspectedKey key{};
  key.kind = static_cast<KeyType>(e.type);
  key.entry = entry;
  key.entries = 1;
  key.field = e.field;
  key.start = e.start;
  key.length = e.length;
  key.direction = e.direction;
  key.descending = e.descending;
  key.sequence = e.sequence;
  key.skip_blanks = e.sequence;
  if (e.type != kKeySign) return key;
  key.entries = static_cast<std::uint16_t>(e.count + 1);
  const KeyEntry& digits = key_entry(static_cast<std::uint16_t>(entry + 1));
  key.length = digits.length;
  key.sequence = digits.sequence;
  key.decimals = 0;
  if (key.entries == kNumberEntries) key.decimals = key_entry(static_cast<std::uint16_t>(entry + 2)).length;
  return key;
}

void describe_keys(InspectedSort* sort) {
  for (std::uint16_t entry = 0; entry < key_count();) {
    InspectedKey key = describe_key(entry);
    key.governor = governor_of(*sort, entry);
    const InspectedKey* previous = sort->key_count == 0 ? nullptr : &sort->keys[sort->key_count - 1];
    key.misplaced = previous != nullptr && previous->entries == kNumberEntries - 1;
    entry = static_cast<std::uint16_t>(entry + key.entries);
    sort->keys[sort->key_count++] = key;
  }
}

RecordKind kind_of(ReadFunction reader) {
  if (reader == read_fixed) return RecordKind::fixed;
  return reader == read_variable ? RecordKind::variable : RecordKind::text;
}

void describe_files(InspectedSort* sort) {
  const ReadState& read = read_state();
  sort->kind = kind_of(driver_state().input);
  sort->max_record = read.max_record;
  sort->length_low = read.length_low;
  sort->length_high = read.length_high;
  sort->length_width = read.length_width;
  sort->header_length = read.header_length;
  const RinState& rin = rin_state();
  sort->input_count = static_cast<std::uint16_t>(rin.files_left + 1);
  for (std::uint16_t i = 0; i < sort->input_count; ++i) sort->inputs[i] = rin.file_names[rin.files_left - i];
  sort->input_buffer_kb = rin.ibs;
  const RoutState& rout = rout_state();
  sort->output = rout.output_named != 0 ? rout.output_name : nullptr;
  sort->output_buffer_kb = rout.obs;
}

void describe_plan(InspectedSort* sort) {
  const DriverState& driver = driver_state();
  sort->unique = driver.unique != 0;
  sort->verbosity = driver.verbosity;
  sort->memory_given = driver.memory_given != 0;
  sort->memory_kb = driver.memory_kb;
  sort->segment_kb = driver.segment_kb;
  sort->record_estimate = driver.record_count;
  sort->needed_estimate_kb = driver.file_kb;
  const SublistState& sublist = sublist_state();
  sort->work_directory = sublist.path;
  std::uint16_t chars = sublist.number_at;
  while (chars != 0 && sublist.path[chars - 1] != '\\') --chars;
  sort->work_directory_chars = chars;
  sort->read_block_kb = sublist.read_block_kb;
  sort->write_block_kb = sublist.write_block_kb;
}

struct Nothing {};

int read_singly(Nothing& /*none*/) {
  rin_read_singly();
  return 0;
}

}  // namespace

std::int32_t inspect_open(fsort_handle handle, std::int32_t argc, const char* const* argv,
                          InspectedSort* sort, const InputWatch* watch) {
  *sort = InspectedSort{};
  const std::int32_t status = sort_prepare(handle, {nullptr, nullptr, nullptr, argc, argv, {watch, 0}});
  if (status != 0) return status;
  EntryFrame frame;
  if (!instance_enter(handle, frame, EntryKind::plain)) return 1;
  describe_files(sort);
  const RecordState& record = rec_state();
  sort->field_count = key_field_count();
  sort->byte_class = record.byte_class;
  sort->missing_fields = record.missing_fields != 0;
  sort->column_mode = static_cast<ColumnMode>(record.column_mode);
  describe_keys(sort);
  describe_plan(sort);
  instance_leave(frame);
  return 0;
}

std::int32_t inspect_singly(fsort_handle handle) {
  EntryFrame frame;
  if (!instance_enter(handle, frame, EntryKind::plain)) return 1;
  Nothing none;
  const std::int32_t status = trap_run(kTrapLevel, "Error detected in fsort call", read_singly, none);
  instance_leave(frame);
  return status;
}

}  // namespace fsort
