// --explain; see explain.h.
//
// Two parts: the sort in words, out of the description that the engine gives of it, and its first records as
// pictures, each with one line for every key. A record that the sort would refuse is shown with the engine's
// own message and what led to it; those behind it are shown all the same.
#include "explain.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "file_names.h"
#include "inspection.h"
#include "key_words.h"
#include "record_picture.h"
#include "visible.h"

namespace fsort_tool {
namespace {

using fsort::InspectedKey;
using fsort::InspectedRecord;
using fsort::InspectedSort;
using fsort::KeyBytes;

constexpr std::size_t kRulerStep = 10;
constexpr char kDigitMark = '^';
constexpr char kDecimalMark = '~';
constexpr char kEmptyMark = '|';
constexpr int kMostDigits = 31;

std::string plural(std::uint64_t count, const std::string& one) {
  return std::to_string(count) + " " + one + (count == 1 ? "" : "s");
}

std::string joined(const std::vector<std::string>& words, const std::string& between) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : between) + word;
  return text;
}

std::string records_words(const InspectedSort& sort) {
  switch (sort.kind) {
    case fsort::RecordKind::fixed:
      return "fixed: " + plural(sort.max_record, "byte") + " each";
    case fsort::RecordKind::variable: {
      const std::string low = std::to_string(sort.length_low);
      const std::string says = sort.length_width == 1 ? "byte " + low + " says"
                                                      : "bytes " + std::to_string(sort.length_high) +
                                                            " (high) and " + low + " (low) say";
      return "variable: " + plural(sort.header_length, "byte") + ", then as many as " + says;
    }
    case fsort::RecordKind::text:
      break;
  }
  return "text: lines, each with its line break";
}

std::string longest_words(const InspectedSort& sort) {
  if (sort.kind == fsort::RecordKind::text) {
    return "a line of more than " + plural(sort.max_record, "byte") + " may be refused (-rt)";
  }
  return "at most " + plural(sort.max_record, "byte") + " in all (-rv)";
}

std::string class_words(const InspectedSort& sort, std::uint8_t wanted) {
  ByteSet bytes;
  for (unsigned byte = 0; byte < fsort::kByteValues; ++byte) {
    bytes[byte] = (sort.byte_class[byte] & wanted) != 0;
  }
  return byte_list(bytes);
}

// What becomes of a key that begins beyond its field, or beyond a record that has no fields.
std::string short_key_words(const InspectedSort& sort) {
  const std::string key = sort.field_count == 0 ? "a key beyond the record's end" : "a key beyond its field";
  switch (sort.column_mode) {
    case fsort::kColumnToFieldEnd:
      return key + " is empty (-mcf)";
    case fsort::kColumnToRecordEnd:
      return key + " begins at most at the record's end (-mcr)";
    case fsort::kColumnFail:
      break;
  }
  if (!sort.missing_fields) return key + " is an error";
  return key + " begins at most at the record's end (-mfr)";
}

std::string fields_text(const InspectedSort& sort) {
  if (sort.field_count == 0) {
    return labelled("Fields", "none: no key names a field") + labelled("", short_key_words(sort));
  }
  const std::string blanks = class_words(sort, fsort::kClassBlank);
  std::string text =
      labelled("Fields", "separated by " + class_words(sort, fsort::kClassDelimiter) + ", counted from 0");
  if (!blanks.empty()) text += labelled("", blanks + " skipped in front of every field (-b)");
  text +=
      labelled("", sort.missing_fields ? "a missing field is empty (-mfr)" : "a missing field is an error");
  return text + labelled("", short_key_words(sort));
}

std::string keys_text(const InspectedSort& sort) {
  std::string text = labelled(
      "Keys",
      sort.key_count == 1 ? "one" : "in order of weight: a key counts where those before it are equal");
  for (std::size_t k = 0; k < sort.key_count; ++k) {
    std::string label = "  key " + std::to_string(k + 1);
    for (const std::string& line : key_words(sort, k)) {
      text += labelled(label, line);
      label.clear();
    }
  }
  return text + labelled("Equal keys", sort.unique ? "one record of each set is kept (-u)"
                                                   : "all records are kept, in no particular order");
}

std::string memory_text(const InspectedSort& sort) {
  const std::string kb = std::to_string(sort.memory_kb) + " KB";
  std::string text = labelled(
      "Memory", sort.memory_given
                    ? "at most " + kb + " (-m), in segments of " + std::to_string(sort.segment_kb) + " KB"
                    : kb + " planned by the size of the input, more when needed");
  std::string directory = shown_name({sort.work_directory, sort.work_directory_chars});
  if (directory.size() > 1) directory.pop_back();
  text += labelled("Work files",
                   "in " + (directory.empty() ? "the current folder" : directory) + " when memory is full");
  return text + labelled("Blocks", "input " + std::to_string(sort.input_buffer_kb) + " KB, output " +
                                       std::to_string(sort.output_buffer_kb) + " KB, work files " +
                                       std::to_string(sort.read_block_kb) + " KB read, " +
                                       std::to_string(sort.write_block_kb) + " KB written");
}

void mark(std::string& marks, const KeyBytes& bytes, char with) {
  for (std::uint32_t i = 0; i < bytes.count; ++i) {
    const std::int64_t at = std::int64_t{bytes.first} + std::int64_t{i} * bytes.step;
    marks[static_cast<std::size_t>(at)] = with;
  }
}

PictureLine key_line(const Inspection& inspection, const InspectedRecord& record, std::size_t k) {
  const InspectedKey& key = inspection.sort().keys[k];
  const fsort::KeyValue value = fsort::inspect_key(inspection.handle(), record, key);
  PictureLine line{"  key " + std::to_string(k + 1), std::string(record.length + 1, ' '), ""};
  mark(line.marks, value.bytes, kDigitMark);
  mark(line.marks, value.fraction, kDecimalMark);
  if (value.bytes.count == 0 && value.fraction.count == 0) {
    line.marks[static_cast<std::size_t>(std::max(value.bytes.first, 0))] = kEmptyMark;
  }
  return line;
}

void rule(const InspectedSort& sort, const InspectedRecord& record, Picture& picture) {
  if (sort.field_count == 0) {
    picture.ruler_label = "  byte";
    for (std::size_t at = 0; at < record.length; at += kRulerStep) {
      picture.ruler.emplace_back(at, std::to_string(at));
    }
    return;
  }
  picture.ruler_label = "  field";
  for (std::size_t f = 0; f < record.fields_found; ++f) {
    const std::size_t start = std::size_t{record.field_start[f]} - record.header_bytes;
    // Fields that the record does not have lie at its end.
    if (start < record.length) picture.ruler.emplace_back(start, std::to_string(f));
  }
}

// What the engine says of a record behind the record's own text, which it shows up to its first zero byte.
std::string fault_message(const InspectedRecord& record, const std::string& shown) {
  const std::uint8_t* end = std::find(record.data, record.data + record.length, 0);
  const std::string own = std::string(record.data, end) + "\n";
  const std::string rest = shown.starts_with(own) ? shown.substr(own.size()) : shown;
  return rest.substr(0, rest.find('\n'));
}

std::string missing_field_words(const InspectedSort& sort, const InspectedRecord& record) {
  std::string words;
  for (std::size_t k = 0; k < sort.key_count && words.empty(); ++k) {
    if (sort.keys[k].field < record.fields_found) continue;
    words = "key " + std::to_string(k + 1) + " is in field " + std::to_string(sort.keys[k].field);
  }
  if (words.empty()) words = "field " + std::to_string(sort.field_count - 1) + " is named";
  words += "; the record has " + plural(record.fields_found, "field") + ", counted from 0";
  return words;
}

std::string short_field_fault_words(const InspectedSort& sort, const InspectedRecord& record,
                                    const InspectedKey& key) {
  const unsigned bytes = record.field_end[key.field] - unsigned{record.field_start[key.field]};
  const std::string where = sort.field_count == 0 ? "the record" : "field " + std::to_string(key.field);
  return "begins at byte " + std::to_string(key.start) + " of " + where + ", which has " +
         plural(bytes, "byte");
}

std::vector<std::string> fault_words(const Inspection& inspection, const InspectedRecord& record) {
  const InspectedSort& sort = inspection.sort();
  if (record.fault == fsort::kNoKey) {
    return {missing_field_words(sort, record), "-mfr takes missing fields as empty"};
  }
  const std::size_t number = inspection.key_number(record.fault);
  const InspectedKey& key = sort.keys[number - 1];
  const std::string name = "key " + std::to_string(number) + " ";
  const unsigned bytes = record.field_end[key.field] - unsigned{record.field_start[key.field]};
  if (key.start != fsort::kOpenStart && key.start > bytes) {
    return {name + short_field_fault_words(sort, record, key), "-mcf takes such a key as empty;",
            "-mcr and -mfr take it as far as the record's end"};
  }
  return {name + "has more than " + std::to_string(kMostDigits) + " integer digits"};
}

std::string fault_text(const Inspection& inspection, const InspectedRecord& record,
                       const std::string& shown) {
  std::string text = labelled("  fault", fault_message(record, shown));
  for (const std::string& line : fault_words(inspection, record)) text += labelled("", line);
  return text + labelled("", "a sort ends here with status 1");
}

std::string record_text(const Inspection& inspection, const InspectedRecord& record, bool faulty) {
  const InspectedSort& sort = inspection.sort();
  std::string text =
      "\n" + labelled("Record " + std::to_string(record.number),
                      "at byte " + std::to_string(record.position) +
                          (sort.input_count > 1 ? " of " + inspection.input_name(record.file) : "") + ", " +
                          plural(record.length, "byte"));
  Picture picture;
  picture.data = {record.data, record.length};
  rule(sort, record, picture);
  if (faulty) return text + draw(picture);
  const std::vector<std::string> words = record_words(inspection, record, sort.key_count);
  for (std::size_t k = 0; k < sort.key_count; ++k) {
    picture.lines.push_back(key_line(inspection, record, k));
    picture.lines.back().note = words[k];
  }
  return text + draw(picture);
}

std::string unreadable_text(const std::string& shown) {
  return "\n" + labelled("Fault", shown.substr(0, shown.find('\n'))) +
         labelled("", "a sort ends here with status 1; nothing behind it can be read");
}

// Result: false when standard output failed.
bool print(const std::string& text) {
  if (std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0) return true;
  show_error(std::string("fsort: writing to standard output: ") + std::strerror(errno) + "\n");
  return false;
}

}  // namespace

std::string explain_sort(const Inspection& inspection) {
  const InspectedSort& sort = inspection.sort();
  std::string text = labelled("Input", joined(inspection.input_names(), ", "));
  text += labelled("Output", inspection.output_name() + " (not touched by --explain)");
  text += labelled("Records", records_words(sort));
  if (sort.kind != fsort::RecordKind::fixed) text += labelled("", longest_words(sort));
  return text + fields_text(sort) + keys_text(sort) + memory_text(sort);
}

std::string explain_next(const Inspection& inspection, InspectedRecord* record, std::uint64_t* records,
                         bool* more) {
  const fsort::RecordFate fate = fsort::inspect_read(inspection.handle(), inspection.sort(), record, records);
  const std::string shown = Inspection::take_messages();
  *more = fate == fsort::RecordFate::filled || fate == fsort::RecordFate::faulty;
  if (fate == fsort::RecordFate::end) {
    return "\n" + labelled("End", "of the input, " + plural(*records, "record")) + Inspection::take_notes();
  }
  if (fate == fsort::RecordFate::unreadable) return unreadable_text(shown);
  const bool faulty = fate == fsort::RecordFate::faulty;
  const std::string text = record_text(inspection, *record, faulty);
  return faulty ? text + fault_text(inspection, *record, shown) : text;
}

int explain(const Request& request) {
  const Inspection inspection(request.sort_arguments);
  if (inspection.status() != 0 || fsort::inspect_singly(inspection.handle()) != 0) return refuse(request);
  Inspection::take_messages();  // what -v says about memory
  if (!print(explain_sort(inspection))) return 1;
  const auto record = std::make_unique<InspectedRecord>();
  std::uint64_t records = 0;
  bool more = true;
  while (more && records < request.explained_records) {
    if (!print(explain_next(inspection, record.get(), &records, &more))) return 1;
  }
  return 0;
}

}  // namespace fsort_tool
