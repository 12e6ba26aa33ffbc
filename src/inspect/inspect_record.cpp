// Reading, filling and comparing records one by one; see inspect.h.
//
// What went wrong with a record is read off what the fill left behind. Before each record the header words
// and the field arrays are cleared; no offset is ever 0, because the record begins with its length word:
//
//   no field of a key's is there    the words are all 0, the field arrays hold those that were found
//   a key was not found             the first word that is 0 is that of its entry, words are stored in order
#include <cstring>

#include "engine/compare.h"
#include "engine/engine_state.h"
#include "engine/key_view.h"
#include "entry/entry_switch.h"
#include "inspect/inspect.h"
#include "support/error.h"

namespace fsort {
namespace {

constexpr const char* kTitle = "Error detected in fsort call";

// Where the input stands.
struct Place {
  std::uint16_t files_left;
  std::uint64_t position;
};

Place place_now() {
  const Stream* s = rin_stream();
  return {rin_files_left(), s != nullptr ? s->pos : 0};
}

std::uint32_t located_fields() { return rec_state().plan.located_fields; }

void clear(InspectedRecord* record) {
  const RecordState& s = rec_state();
  const std::uint16_t header_bytes = key_record_header_bytes();
  std::memset(record->record(), 0, header_bytes);
  record->header_bytes = header_bytes;
  record->data = record->record() + header_bytes;
  record->length = 0;
  record->fault = kNoKey;
  record->fields_found = 0;
  const bool split = s.field_start != nullptr;
  if (split) std::memset(s.field_start, 0, located_fields() * sizeof(std::uint16_t));
  record->field_start = split ? s.field_start : &s.single_start;
  record->field_end = split ? s.field_end : &s.single_end;
}

struct ReadCall {
  InspectedRecord* record;
  bool end;
};

int read_record(ReadCall& call) {
  call.end = !rec_input_into(call.record->record());
  return 0;
}

// The entry that holds the first word that was not stored.
std::uint16_t entry_at_fault(const std::uint8_t* record) {
  for (std::uint16_t entry = 0; entry < key_count(); ++entry) {
    if (rec_key_offset(record, entry) == 0) return entry;
  }
  return kNoKey;
}

void note_fields(InspectedRecord* record) {
  const RecordState& s = rec_state();
  record->fields_found = 1;
  if (s.field_start == nullptr) return;
  std::uint32_t found = 0;
  while (found < located_fields() && s.field_start[found] != 0) ++found;
  record->fields_found = static_cast<std::uint16_t>(found);
}

void note_place(InspectedRecord* record, const Place& before, const InspectedSort& sort) {
  const Place after = place_now();
  const bool counted_back = after.position >= record->length;
  const std::uint16_t left = counted_back ? after.files_left : before.files_left;
  record->position = counted_back ? after.position - record->length : before.position;
  record->file = static_cast<std::uint16_t>(sort.input_count - 1 - left);
}

RecordFate read_next(const InspectedSort& sort, InspectedRecord* record, std::uint64_t* records) {
  const Place before = place_now();
  clear(record);
  ReadCall call{record, false};
  const bool failed = trap_run(kTrapLevel, kTitle, read_record, call) != 0;
  const std::uint16_t total = rec_total_length(record->record());
  if (total == 0) return failed ? RecordFate::unreadable : RecordFate::end;
  record->number = ++*records;
  record->length = total - std::uint32_t{record->header_bytes};
  note_place(record, before, sort);
  note_fields(record);
  if (!failed) return RecordFate::filled;
  const bool lacks_field = record->fields_found < key_field_count();
  record->fault = lacks_field ? kNoKey : entry_at_fault(record->record());
  return RecordFate::faulty;
}

// The bytes that count from the entry's offset on, walked as the engine compares them.
KeyBytes bytes_of(const SortState& s, const InspectedRecord& record, std::uint16_t entry) {
  const KeyView& view = s.keys[entry];
  const std::uint8_t* bytes = record.record();
  const std::int32_t offset = rec_key_offset(bytes, entry) - std::int32_t{record.header_bytes};
  const auto length = static_cast<std::int32_t>(record.length);
  KeyBytes found{};
  found.first = offset < 0 ? -1 : offset < length ? offset : length;
  found.step = static_cast<std::int8_t>(view.step);
  std::int32_t position = 0;
  while (!key_at_end(view, position) && getvalue(bytes, view, entry, position, s.header_bytes) != 0) {
    position += view.step;
    ++found.count;
  }
  const std::int32_t at = offset + position;
  if (key_at_end(view, position)) {
    found.end = KeyEnd::length;
  } else if (at < 0 || at >= length) {
    found.end = KeyEnd::record_end;
  } else {
    found.end = KeyEnd::byte;
    found.end_byte = record.data[at];
  }
  return found;
}

KeyValue value_of(const SortState& s, const InspectedRecord& record, const InspectedKey& key) {
  const KeyView& view = s.keys[key.entry];
  const std::uint16_t value = getvalue(record.record(), view, key.entry, 0, s.header_bytes);
  KeyValue result{};
  // The half that leaves a descending key first is the upper one.
  result.upper_half = view.governed != 0 && leaves_first(view, value, true);
  if (key.kind != kKeySign) {
    result.bytes = bytes_of(s, record, key.entry);
    return result;
  }
  const auto sign = static_cast<std::int8_t>(record.record()[rec_key_offset(record.record(), key.entry)]);
  result.negative = sign < 0;
  result.digits = static_cast<std::uint8_t>((sign < 0 ? -sign : sign) - 1);
  result.too_many = value == 0;
  result.bytes = bytes_of(s, record, static_cast<std::uint16_t>(key.entry + 1));
  if (key.decimals != 0) result.fraction = bytes_of(s, record, static_cast<std::uint16_t>(key.entry + 2));
  return result;
}

CheckVerdict check(const InspectedSort& sort, InspectedRecord* records, CheckReport* report) {
  InspectedRecord* earlier = nullptr;
  InspectedRecord* later = &records[0];
  for (;;) {
    switch (read_next(sort, later, &report->records)) {
      case RecordFate::end:
        return CheckVerdict::in_order;
      case RecordFate::unreadable:
        return CheckVerdict::unreadable;
      case RecordFate::faulty:
        report->later = later;
        return CheckVerdict::faulty;
      case RecordFate::filled:
        break;
    }
    const int order = earlier == nullptr ? -1 : compare_whole(earlier->record(), later->record());
    if (order > 0 || (sort.unique && order == 0)) {
      report->earlier = earlier;
      report->later = later;
      report->equal = order == 0;
      return CheckVerdict::out_of_order;
    }
    earlier = later;
    later = later == &records[0] ? &records[1] : &records[0];
  }
}

}  // namespace

RecordFate inspect_read(fsort_handle handle, const InspectedSort& sort, InspectedRecord* record,
                        std::uint64_t* records) {
  EntryFrame frame;
  if (!instance_enter(handle, frame, EntryKind::plain)) return RecordFate::unreadable;
  const RecordFate fate = read_next(sort, record, records);
  instance_leave(frame);
  return fate;
}

KeyValue inspect_key(fsort_handle handle, const InspectedRecord& record, const InspectedKey& key) {
  EntryFrame frame;
  if (!instance_enter(handle, frame, EntryKind::plain)) return {};
  const KeyValue value = value_of(sort_state(), record, key);
  instance_leave(frame);
  return value;
}

int inspect_compare(fsort_handle handle, const InspectedRecord& a, const InspectedRecord& b,
                    std::uint32_t* entry) {
  EntryFrame frame;
  *entry = 0;
  if (!instance_enter(handle, frame, EntryKind::plain)) return 0;
  const int order = compare_whole(a.record(), b.record());
  *entry = compare_deciding_entry(a.record(), b.record());
  instance_leave(frame);
  return order;
}

CheckVerdict inspect_check(fsort_handle handle, const InspectedSort& sort, InspectedRecord* records,
                           CheckReport* report) {
  *report = CheckReport{};
  EntryFrame frame;
  if (!instance_enter(handle, frame, EntryKind::plain)) return CheckVerdict::unreadable;
  const CheckVerdict verdict = check(sort, records, report);
  instance_leave(frame);
  return verdict;
}

}  // namespace fsort
