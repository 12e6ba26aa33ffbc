// Command line to key table and record to key offsets, by the letter. See the header.
#include "support/reference_keys.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <optional>

#include "support/reference_arguments.h"

namespace fsort_test {
namespace {

constexpr std::size_t kMostRows = 32;

std::shared_ptr<ReferenceTable> empty_table() {
  auto table = std::make_shared<ReferenceTable>();
  table->outside.fill(true);
  return table;
}

void rank_bytes(ReferenceTable* table, int first, int last, int rank) {
  for (int b = first; b <= last; ++b) {
    table->rank[static_cast<std::size_t>(b)] = rank++;
    table->outside[static_cast<std::size_t>(b)] = false;
  }
  table->highest = std::max(table->highest, rank - 1);
}

int char_at(const std::string& data, int at) {
  return at >= 0 && at < static_cast<int>(data.size())
             ? static_cast<unsigned char>(data[static_cast<std::size_t>(at)])
             : 0;
}

}  // namespace

ReferenceKeys::ReferenceKeys(std::vector<std::string> arguments) {
  digit_table_ = empty_table();
  rank_bytes(digit_table_.get(), '0', '9', 0);
  default_table_ = empty_table();
  rank_bytes(default_table_.get(), 9, 9, 0);
  rank_bytes(default_table_.get(), 32, 126, 1);
  take_options(&arguments);
  missing_fields_ = take_flag(&arguments, "-mfr");
  clamp_field_ = take_flag(&arguments, "-mcf");
  clamp_record_ = take_flag(&arguments, "-mcr");
  const bool delimiters_given = std::find(arguments.begin(), arguments.end(), "-t") != arguments.end();
  take_ranges(&arguments, "-t", &delimiter_);
  parse_command(&arguments);
  take_ranges(&arguments, "-b", &global_blank_);
  if (!delimiters_given) delimiter_[9] = true;
  for (const ReferenceRow& row : rows_) {
    for (std::size_t b = 0; b < 256 && field_count_ > 0 && row.type != RowType::number_sign; ++b) {
      if (delimiter_[b]) row.table->outside[b] = true;
    }
  }
  std::vector<std::string> left;
  std::copy_if(arguments.begin(), arguments.end(), std::back_inserter(left),
               [](auto& a) { return !a.empty(); });
  if (left.empty()) return;
  std::string list = left[0];
  for (std::size_t i = 1; i < left.size(); ++i) list += (i + 1 == left.size() ? " and " : ",") + left[i];
  throw ReferenceFault(list + (left.size() == 1 ? " is an invalid argument" : " are invalid arguments"));
}

bool ReferenceKeys::take_flag(Arguments* arguments, const std::string& name) {
  const auto found = std::find(arguments->begin(), arguments->end(), name);
  if (found == arguments->end()) return false;
  found->clear();
  return true;
}

void ReferenceKeys::take_options(Arguments* arguments) {
  const auto value = [&](const std::string& name, int scale) -> std::optional<std::uint64_t> {
    const auto found = std::find(arguments->begin(), arguments->end(), name);
    if (found == arguments->end()) return std::nullopt;
    const std::size_t at = static_cast<std::size_t>(found - arguments->begin());
    found->clear();
    if (!is_operand(*arguments, at + 1)) return std::nullopt;
    const std::string text = (*arguments)[at + 1];
    (*arguments)[at + 1].clear();
    std::size_t position = 0;
    return read_number(text, &position, scale);
  };
  for (const char* of_files : {"-ibs", "-obs", "-bs"}) (void)value(of_files, 1);
  (void)value("-v", 0);
  (void)value("-rt", 0);
  (void)value("-rf", 0);
  const auto variable = std::find(arguments->begin(), arguments->end(), "-rv");
  if (variable != arguments->end()) {
    variable->clear();
    const std::size_t at = static_cast<std::size_t>(variable - arguments->begin());
    for (std::size_t i = at + 1; i <= at + 2 && is_operand(*arguments, i); ++i) (*arguments)[i].clear();
  }
  (void)take_flag(arguments, "-q");
  options_.unique = take_flag(arguments, "-u");
  if (const auto kb = value("-l", 1)) options_.segment_kb = *kb;
  if (const auto kb = value("-fs", 1)) options_.file_kb = *kb, options_.file_kb_given = true;
  if (const auto size = value("-rs", 0)) options_.record_size = *size, options_.record_size_given = true;
  if (const auto kb = value("-m", 1)) options_.memory_kb = *kb;
}

std::size_t ReferenceKeys::apply(const Arguments& arguments, std::size_t index,
                                 std::array<bool, 256>* flags) const {
  for (; index < arguments.size() && !arguments[index].empty(); ++index) {
    const char first = arguments[index][0];
    if (first == '-' || std::isalpha(static_cast<unsigned char>(first))) break;
    const auto range = read_range(arguments[index]);
    if (!range) break;
    for (int b = range->first; b <= std::min(range->second, 255); ++b)
      (*flags)[static_cast<std::size_t>(b)] = true;
  }
  return index;
}

void ReferenceKeys::take_ranges(Arguments* arguments, const std::string& name, std::array<bool, 256>* flags) {
  const auto found = std::find(arguments->begin(), arguments->end(), name);
  if (found == arguments->end()) return;
  const std::size_t at = static_cast<std::size_t>(found - arguments->begin());
  const std::size_t end = apply(*arguments, at + 1, flags);
  for (std::size_t i = at; i < end; ++i) (*arguments)[i].clear();
}

void ReferenceKeys::parse_command(Arguments* arguments) {
  std::size_t index = 0;
  for (; index < arguments->size(); ++index) {
    std::string& argument = (*arguments)[index];
    if (argument == "-i") {
      global_invert_ = true;
      argument.clear();
    } else if (argument == "-b") {
      while (is_blank_range(*arguments, index + 1)) ++index;
    } else if (!argument.empty()) {
      break;
    }
  }
  Descriptor d;
  const std::size_t end = parse_keylist(*arguments, index, &d, global_invert_);
  for (std::size_t i = index; i < end; ++i) (*arguments)[i].clear();
}

std::size_t ReferenceKeys::parse_keylist(const Arguments& arguments, std::size_t index, Descriptor* d,
                                         bool descending) {
  d->pending = true;
  for (;;) {
    const std::size_t before = index;
    d->sequence = nullptr;
    d->type = 0;
    d->descending = descending;
    const std::string argument = index < arguments.size() ? arguments[index] : "";
    if (index >= arguments.size()) {
      if (!rows_.empty()) return index;
      d->type = 2;
      d->pending = true;
      return parse_flist(arguments, index, d, descending);
    }
    if (argument == "(") {
      index = parse_group(arguments, index, d);
      d->pending = true;
      index = parse_flist(arguments, index, d, descending);
    } else if (argument == "-k" || argument == "-n" || argument == "-s") {
      d->type = argument == "-k" ? 2 : argument == "-n" ? 5 : 4;
      index = fill_sequence(arguments, index + 1, d);
      d->pending = true;
      const std::shared_ptr<ReferenceTable> sequence = d->sequence;
      index = parse_flist(arguments, index, d, descending);
      if (argument == "-s") {
        if (sequence && sequence->highest % 2 == 0) {
          throw ReferenceFault("Sign sequences must have even number of values");
        }
        const std::size_t rows = rows_.size();
        index = parse_keylist(arguments, index, d, false);
        rows_[rows - 1].count = static_cast<int>(rows_.size() - rows);
      }
    } else {
      if (!d->pending) return index;
      d->type = 2;
      index = parse_flist(arguments, index, d, descending);
    }
    if (index == before) return index;
  }
}

std::size_t ReferenceKeys::parse_group(const Arguments& arguments, std::size_t index, Descriptor* d) {
  d->type = 1;
  d->slice.clear();
  int depth = 1;
  for (++index;; ++index) {
    if (index >= arguments.size()) throw ReferenceFault("Unbalanced parenthesis in command line");
    if (arguments[index] == "(") ++depth;
    if (arguments[index] == ")" && --depth == 0) return index + 1;
    d->slice.push_back(arguments[index]);
  }
}

std::size_t ReferenceKeys::fill_sequence(const Arguments& arguments, std::size_t index, Descriptor* d) const {
  if (!is_operand(arguments, index)) return index;
  auto table = empty_table();
  int rank = 0, previous = 0;
  for (; index < arguments.size(); ++index) {
    if (arguments[index] == "-r") {
      rank = previous;
      continue;
    }
    if (!is_operand(arguments, index)) break;
    const auto range = read_range(arguments[index]);
    if (!range || std::max(range->first, range->second) > 255) {
      throw ReferenceFault("Invalid range for collating sequence - " + arguments[index]);
    }
    previous = rank;
    const int step = range->first <= range->second ? 1 : -1;
    for (int b = range->first; b != range->second + step; b += step) {
      table->highest = std::max(table->highest, rank);
      table->rank[static_cast<std::size_t>(b)] = rank;
      table->outside[static_cast<std::size_t>(b)] = false;
      rank = (rank + 1) & 255;
    }
  }
  if (table->highest == 0) throw ReferenceFault("Collating sequence has only one value");
  d->sequence = table;
  return index;
}

std::size_t ReferenceKeys::parse_flist(const Arguments& arguments, std::size_t index, Descriptor* d,
                                       bool descending) {
  for (;;) {
    const std::size_t before = index;
    d->blanks.clear();
    d->columns.clear();
    d->decimals = 255;
    d->descending = descending;
    index = parse_options(arguments, index, d);
    index = parse_field(arguments, index, d);
    bool columns = false;
    if (index < arguments.size() && arguments[index] == "-c") {
      columns = true;
      for (++index; is_range(arguments, index); ++index) d->columns.push_back(arguments[index]);
    }
    if (columns || d->pending) {
      if (d->columns.empty()) d->columns.push_back("0-");
      d->pending = false;
      emit(d);
    }
    if (index == before) return index;
  }
}

std::size_t ReferenceKeys::parse_options(const Arguments& arguments, std::size_t index, Descriptor* d) {
  while (index < arguments.size() && arguments[index].size() > 1 && !is_operand(arguments, index)) {
    const char letter = arguments[index][1];
    if (letter == 'b') {
      d->blanks.clear();
      while (is_blank_range(arguments, ++index)) d->blanks.push_back(arguments[index]);
    } else if (letter == 'd') {
      if (!is_range(arguments, index + 1)) throw ReferenceFault("-d switch requires numeric parameter");
      const auto range = read_range(arguments[index + 1]);
      if (range->first != range->second) throw ReferenceFault("Invalid value for decimal count");
      d->decimals = range->first & 255;
      index += 2;
    } else if (letter == 'i') {
      d->descending = !global_invert_;
      ++index;
    } else {
      break;
    }
  }
  return index;
}

std::size_t ReferenceKeys::parse_field(const Arguments& arguments, std::size_t index, Descriptor* d) {
  if (index >= arguments.size() || arguments[index] != "-f") {
    if (d->pending) current_fields_ = {"0"};
    return index;
  }
  if (d->nested) throw ReferenceFault("Nested fields cannot contain -f parameters");
  current_fields_.clear();
  for (++index; is_range(arguments, index); ++index) {
    const auto range = read_range(arguments[index]);
    if (range->second == kOpenSide) throw ReferenceFault("Field range end must be specified");
    if (range->first == kOpenSide) throw ReferenceFault("Field range start must be specified");
    field_count_ = std::max(field_count_, range->second + 1);
    current_fields_.push_back(arguments[index]);
  }
  if (current_fields_.empty()) current_fields_ = {"0"};
  d->pending = true;
  return index;
}

void ReferenceKeys::emit(Descriptor* d) {
  blank_flags_.fill(false);
  (void)apply(d->blanks, 0, &blank_flags_);
  if (d->blanks.empty() && d->type == 5) blank_flags_[' '] = true;
  const std::vector<std::string> columns = d->columns, fields = current_fields_;
  if (d->nested) {
    for (const std::string& column : columns) {
      const auto range = read_range(column);
      emit_nested(d, {range->first, range->second});
    }
    return;
  }
  for (const std::string& text : fields) {
    const auto range = read_range(text);
    const int step = range->first <= range->second ? 1 : -1;
    for (int field = range->first; field != range->second + step; field += step) {
      for (const std::string& column : columns) {
        const auto [s, e] = *read_range(column);
        if (e >= s) {
          out(d, field, s, e == kOpenSide ? kOpenSide : e - s + 1, 1);
        } else {
          if (s == kOpenSide) throw ReferenceFault("Unnested -c switch must specify starting position");
          out(d, field, s, s - e + 1, -1);
        }
      }
    }
  }
}

void ReferenceKeys::emit_nested(Descriptor* d, Range column) {
  const int place = d->parent_place.start, whole = d->parent_place.end;
  int start = column.start, length = 0, step = d->parent_step;
  if (column.end >= column.start) {
    if (column.end != kOpenSide && whole <= column.end)
      throw ReferenceFault("Field does not include subfield");
    length = column.end != kOpenSide ? column.end - start + 1
             : whole == kOpenSide    ? kOpenSide
                                     : whole - start;
  } else {
    if (start == kOpenSide) {
      if (whole != kOpenSide) start = whole - 1;
    } else if (whole <= start) {
      throw ReferenceFault("Field does not include subfield");
    }
    length = std::min(start - column.end + 1, kOpenSide);
    step = -step;
  }
  out(d, d->parent_field, d->parent_step < 0 ? place - start : place + start, length, step);
}

void ReferenceKeys::out(Descriptor* d, int field, int start, int length, int step) {
  if (d->type != 1) return table_rows(d, field, start, length, step);
  Descriptor inner = *d;
  inner.nested = true;
  inner.parent_field = field;
  inner.parent_place = {start, length};
  inner.parent_step = step;
  const std::vector<std::string> fields = current_fields_, slice = d->slice;
  (void)parse_keylist(slice, 0, &inner, inner.descending);
  current_fields_ = fields;
}

void ReferenceKeys::create(const ReferenceRow& row) {
  if (rows_.size() == kMostRows) throw ReferenceFault("Too many key fields used");
  rows_.push_back(row);
}

void ReferenceKeys::table_rows(Descriptor* d, int field, int start, int length, int step) {
  ReferenceRow row{field, start, length, step, static_cast<RowType>(d->type), 0, d->descending, d->sequence};
  if (d->type != 5) {
    if (!row.table) row.table = default_table_;
    for (std::size_t b = 0; b < 256 && !d->blanks.empty(); ++b) {
      if (blank_flags_[b]) row.table->blank[b] = true;
    }
    return create(row);
  }
  ++numeric_keys_;
  ReferenceRow sign = row;
  sign.length = 1;
  sign.count = d->decimals > 0 ? 2 : 1;
  sign.table = sign_table(length);
  for (std::size_t b = 0; b < 256; ++b) sign.table->blank[b] = blank_flags_[b];
  create(sign);
  row.type = RowType::integer;
  row.descending = false;
  if (!row.table) row.table = digit_table_;
  create(row);
  if (d->decimals == 0) return;
  row.type = RowType::fraction;
  row.length = d->decimals;
  create(row);
}

// Signed digit counts: -m..-1, then 1..m. Regions beyond 127 bytes would not fit eight bits.
std::shared_ptr<ReferenceTable> ReferenceKeys::sign_table(int length) const {
  auto table = empty_table();
  const int m = (length > 127 ? 32 : length) + 1;
  rank_bytes(table.get(), 256 - m, 255, 0);
  rank_bytes(table.get(), 1, m, m);
  return table;
}

std::uint64_t ReferenceKeys::header_bytes() const {
  return 1 + static_cast<std::uint64_t>(numeric_keys_) + 2 * (rows_.size() + 1);
}

void ReferenceKeys::locate_fields(const std::string& data, std::vector<int>* starts,
                                  std::vector<int>* ends) const {
  const int n = static_cast<int>(data.size());
  if (field_count_ == 0) {
    *starts = {0};
    *ends = {n};
    return;
  }
  int position = 0, found = 0;
  for (; found < field_count_ && position < n; ++found) {
    while (position < n && global_blank_[static_cast<std::size_t>(char_at(data, position))]) ++position;
    starts->push_back(position);
    while (position < n && !delimiter_[static_cast<std::size_t>(char_at(data, position))]) ++position;
    ends->push_back(position);
    ++position;
  }
  if (found < field_count_ && !missing_fields_) throw ReferenceFault("Not enough fields in record");
  for (; found < field_count_; ++found) {
    starts->push_back(n);
    ends->push_back(n);
  }
}

int ReferenceKeys::locate_key(const ReferenceRow& row, const std::string& data, int field_start,
                              int field_end) const {
  const int n = static_cast<int>(data.size());
  int start = row.start == kOpenSide ? field_end - 1 : field_start + row.start;
  if (start > field_end) {
    if (clamp_field_ && !clamp_record_)
      start = field_end;
    else if (clamp_record_ || missing_fields_)
      start = std::min(start, n);
    else
      throw ReferenceFault("Field too short");
  }
  while (start >= 0 && start < field_end &&
         row.table->blank[static_cast<std::size_t>(char_at(data, start))]) {
    ++start;
  }
  return start;
}

// Fills the three offsets of a number (two when the table ends after -d 0); result: the signed digit count.
int ReferenceKeys::fill_number(std::size_t row, const std::string& data, int at, int field_end,
                               ReferenceRecord* record) const {
  const ReferenceTable& digits = *rows_[row + 1].table;
  // A sequence of byte 0 as a digit does not go on behind the record.
  const auto digit = [&](int i) {
    return i < static_cast<int>(data.size()) && !digits.outside[static_cast<std::size_t>(char_at(data, i))];
  };
  bool negative = char_at(data, at) == '-';
  if (negative || char_at(data, at) == '+') ++at;
  while (char_at(data, at) == '0') ++at;
  record->offset[row + 1] = at;
  const int first = at;
  while (digit(at)) ++at;
  const int count = at - first;
  if (count + 1 > 32) throw ReferenceFault("Numeric field too long");
  if (char_at(data, at) == '.' || char_at(data, at) == ',') ++at;
  int fraction = at;
  bool zero = count == 0;
  for (; digit(at); ++at) zero = zero && char_at(data, at) == '0';
  if (zero) {
    negative = false;
    fraction = field_end;
  } else if (char_at(data, at) == '-') {
    negative = true;
  }
  if (row + 2 < rows_.size()) record->offset[row + 2] = fraction;
  return negative ? -(count + 1) : count + 1;
}

ReferenceRecord ReferenceKeys::fill(const std::string& data) const {
  ReferenceRecord record;
  record.offset.assign(rows_.size(), 0);
  record.sign_count.assign(rows_.size(), 0);
  try {
    std::vector<int> starts, ends;
    locate_fields(data, &starts, &ends);
    for (std::size_t i = 0; i < rows_.size();) {
      const ReferenceRow& row = rows_[i];
      const std::size_t field = static_cast<std::size_t>(row.field);
      const int n = static_cast<int>(data.size());
      const int field_start = field < starts.size() ? starts[field] : n;
      const int field_end = field < ends.size() ? ends[field] : n;
      const int at = locate_key(row, data, field_start, field_end);
      if (row.type == RowType::number_sign) {
        record.sign_count[i] = fill_number(i, data, at, field_end, &record);
        i += 3;
      } else {
        record.offset[i] = at;
        ++i;
      }
    }
  } catch (const ReferenceFault& fault) {
    throw ReferenceFault(data.substr(0, data.find('\0')) + "\n" + fault.what());
  }
  return record;
}

}  // namespace fsort_test
