// The naive order of records. See the header for the rules; each function below is one of them.
#include "support/oracle_sort.h"

#include <algorithm>
#include <map>

namespace fsort_test {
namespace {

constexpr int kOpenSignDigits = 32;      // digits that a sign table provides for an open region
constexpr int kLongestSignRegion = 127;  // longer regions count as open: signed counts have eight bits
constexpr int kMostDigits = 31;

int byte_at(const std::string& text, int at) {
  return static_cast<unsigned char>(text[static_cast<std::size_t>(at)]);
}
int size_of(const std::string& text) { return static_cast<int>(text.size()); }

void set_bytes(const std::vector<Span>& spans, std::array<bool, 256>* flags) {
  for (const Span& span : spans) {
    if (span.first < 0) continue;
    for (int b = span.first; b <= std::min(span.last, 255); ++b) (*flags)[static_cast<std::size_t>(b)] = true;
  }
}

// Signed digit counts -m..-1 come first, 1..m after them; a later value takes a byte over.
void fill_lead_classes(int length, std::array<int, 256>* lead_class, int* top) {
  const int digits = (length == kOpen || length > kLongestSignRegion) ? kOpenSignDigits : length;
  const int most = digits + 1;
  for (int i = 0; i < most; ++i) (*lead_class)[static_cast<std::size_t>(256 - most + i)] = i + 1;
  for (int i = 0; i < most; ++i) (*lead_class)[static_cast<std::size_t>(1 + i)] = most + i + 1;
  *top = 2 * most - 1;
}

bool in_upper_half(int lead, int top) { return lead - 1 > (top - 1) / 2; }

}  // namespace

Oracle::Oracle(const SortSpec& spec) : spec_(spec) {
  set_bytes(spec.blanks, &blank_);
  default_ranking_ = std::make_shared<Ranking>();
  default_ranking_->rank[9] = 0;
  for (int b = 32; b <= 126; ++b) default_ranking_->rank[static_cast<std::size_t>(b)] = b - 31;
  default_ranking_->top = 95;
  digit_ranking_ = std::make_shared<Ranking>();
  for (int d = 0; d <= 9; ++d) digit_ranking_->rank[static_cast<std::size_t>('0' + d)] = d;
  digit_ranking_->top = 9;
  if (spec_.keys.empty()) spec_.keys.push_back(KeySpec{});
  add_keys(spec_.keys, 0, spec_.invert, nullptr);
  mark_delimiters();
}

// A sign takes the rest of its list under its rule; those keys do not inherit the list's direction.
void Oracle::add_keys(const std::vector<KeySpec>& keys, std::size_t from, bool descending,
                      const Region* parent) {
  for (std::size_t i = from; i < keys.size(); ++i) {
    add_key(keys[i], descending, parent);
    if (keys[i].kind != KeyKind::sign) continue;
    const std::size_t before = pieces_.size();
    add_keys(keys, i + 1, false, parent);
    pieces_[before - 1].governed = pieces_.size() - before;
    return;
  }
}

void Oracle::add_key(const KeySpec& key, bool descending, const Region* parent) {
  std::shared_ptr<Ranking> own;
  if (!key.sequence.empty()) {
    own = std::make_shared<Ranking>();
    int next = 0, previous = 0;
    for (const SequencePart& part : key.sequence) {
      if (part.back) {
        next = previous;
        continue;
      }
      previous = next;
      const int step = part.bytes.first <= part.bytes.last ? 1 : -1;
      for (int b = part.bytes.first;; b += step) {
        own->top = std::max(own->top, next);
        own->rank[static_cast<std::size_t>(b)] = next;
        next = (next + 1) & 255;
        if (b == part.bytes.last) break;
      }
    }
  }
  fields_in_force_ = {Span{0, 0}};
  if (key.lists.empty()) return add_list(key, FieldList{}, descending, parent, own);
  for (const FieldList& list : key.lists) add_list(key, list, descending, parent, own);
}

void Oracle::add_list(const KeySpec& key, const FieldList& list, bool descending, const Region* parent,
                      const std::shared_ptr<Ranking>& own) {
  const bool down = list.invert ? !spec_.invert : descending;
  if (!list.fields.empty()) fields_in_force_ = list.fields;
  for (const Span& span : list.fields) field_count_ = std::max(field_count_, span.last + 1);
  for (const Region& region : regions(list, parent)) {
    if (key.kind == KeyKind::group) {
      const std::vector<Span> kept = fields_in_force_;
      add_keys(key.inner, 0, down, &region);
      fields_in_force_ = kept;
    } else {
      add_piece(key, list, down, region, own);
    }
  }
}

// Where the columns of a field list lie: in each of its fields, or inside the region of the group around it.
std::vector<Oracle::Region> Oracle::regions(const FieldList& list, const Region* parent) const {
  const std::vector<Span> columns = list.columns.empty() ? std::vector<Span>{{0, kOpen}} : list.columns;
  std::vector<Region> result;
  if (parent == nullptr) {
    for (const Span& span : fields_in_force_) {
      const int step = span.first <= span.last ? 1 : -1;
      for (int field = span.first; field != span.last + step; field += step) {
        for (const Span& c : columns) {
          if (c.last == kOpen)
            result.push_back({field, c.first, kOpen, 1});
          else if (c.last >= c.first)
            result.push_back({field, c.first, c.last - c.first + 1, 1});
          else
            result.push_back({field, c.first, c.first - c.last + 1, -1});
        }
      }
    }
    return result;
  }
  for (const Span& c : columns) {
    Region inner = *parent;
    int first = c.first;
    if (c.first != kOpen && (c.last == kOpen || c.last >= c.first)) {
      if (c.last != kOpen)
        inner.length = c.last - c.first + 1;
      else
        inner.length = parent->length == kOpen ? kOpen : parent->length - c.first;
    } else {
      inner.step = -parent->step;
      if (first == kOpen && parent->length != kOpen) first = parent->length - 1;
      inner.length = first == kOpen ? kOpen : first - c.last + 1;
    }
    inner.start = first == kOpen ? kOpen : parent->start + parent->step * first;
    result.push_back(inner);
  }
  return result;
}

void Oracle::add_piece(const KeySpec& key, const FieldList& list, bool descending, const Region& at,
                       const std::shared_ptr<Ranking>& own) {
  Piece piece;
  piece.kind = key.kind == KeyKind::plain ? KeyKind::character : key.kind;
  piece.at = at;
  piece.descending = descending;
  if (piece.kind == KeyKind::numeric) {
    piece.ranking = own ? own : digit_ranking_;
    if (list.decimals != kOpen) piece.decimals = list.decimals & 255;
    set_bytes(list.blanks.empty() ? std::vector<Span>{{' ', ' '}} : list.blanks, &piece.lead_blank);
    fill_lead_classes(at.length, &piece.lead_class, &piece.lead_top);
  } else {
    piece.ranking = own ? own : default_ranking_;
    set_bytes(list.blanks, &piece.ranking->blank);
    piece.lead_top = piece.ranking->top;
  }
  pieces_.push_back(piece);
}

// Once fields are used, a delimiter ends every character key and every row of digits.
void Oracle::mark_delimiters() {
  if (spec_.delimiters.empty())
    delimiter_[9] = true;
  else
    set_bytes(spec_.delimiters, &delimiter_);
  if (field_count_ == 0) return;
  for (const Piece& piece : pieces_) {
    for (std::size_t b = 0; b < 256; ++b) {
      if (delimiter_[b]) piece.ranking->rank[b] = -1;
    }
  }
}

int Oracle::table_rows() const {
  int rows = 0;
  for (const Piece& piece : pieces_) {
    rows += piece.kind != KeyKind::numeric ? 1 : piece.decimals > 0 ? 3 : 2;
  }
  return rows;
}

Oracle::Fields Oracle::locate_fields(const std::string& record) const {
  Fields fields;
  const int end = size_of(record);
  if (field_count_ == 0) return {{0}, {end}};
  int at = 0;
  while (static_cast<int>(fields.start.size()) < field_count_ && at < end) {
    while (at < end && blank_[static_cast<std::size_t>(byte_at(record, at))]) ++at;
    fields.start.push_back(at);
    while (at < end && !delimiter_[static_cast<std::size_t>(byte_at(record, at))]) ++at;
    fields.end.push_back(at++);
  }
  if (static_cast<int>(fields.start.size()) < field_count_ && !spec_.missing_fields) {
    throw RecordFault("Not enough fields in record");
  }
  fields.start.resize(static_cast<std::size_t>(field_count_), end);
  fields.end.resize(static_cast<std::size_t>(field_count_), end);
  return fields;
}

// Where a piece begins, after the modes for short fields and the blanks in front of it.
int Oracle::locate(const Piece& piece, const Fields& fields, int length, const std::array<bool, 256>& blank,
                   const std::string& record) const {
  const std::size_t field = static_cast<std::size_t>(piece.at.field);
  const bool known = field < fields.start.size();
  const int field_start = known ? fields.start[field] : length;
  const int field_end = known ? fields.end[field] : length;
  int at = piece.at.start == kOpen ? field_end - 1 : field_start + piece.at.start;
  if (at > field_end) {
    if (spec_.clamp_to_field && !spec_.clamp_to_record)
      at = field_end;
    else if (spec_.clamp_to_record || spec_.missing_fields)
      at = std::min(at, length);
    else
      throw RecordFault("Field too short");
  }
  while (at >= 0 && at < field_end && blank[static_cast<std::size_t>(byte_at(record, at))]) ++at;
  return at;
}

std::string Oracle::scan(const Ranking& ranking, const std::string& record, int from, int step, int most) {
  std::string ranks;
  for (int at = from; at >= 0 && at < size_of(record) && (most == kOpen || size_of(ranks) < most);
       at += step) {
    const int rank = ranking.rank[static_cast<std::size_t>(byte_at(record, at))];
    if (rank < 0) break;
    ranks.push_back(static_cast<char>(rank));
  }
  return ranks;
}

// A number: sign, leading zeros, integer digits, point or comma, fraction digits, trailing minus.
void Oracle::number(const Piece& piece, const std::string& record, int from, int field_end, PieceValue* value,
                    int* fraction_at) const {
  const auto is = [&](int at, char c) {
    return at < size_of(record) && record[static_cast<std::size_t>(at)] == c;
  };
  int at = from;
  bool negative = is(at, '-');
  if (negative || is(at, '+')) ++at;
  while (is(at, '0')) ++at;
  const std::string digits = scan(*piece.ranking, record, at, 1, kOpen);
  if (size_of(digits) > kMostDigits) throw RecordFault("Numeric field too long");
  const int digits_at = at;
  at += size_of(digits);
  if (is(at, '.') || is(at, ',')) ++at;
  *fraction_at = at;
  const std::string fraction = scan(*piece.ranking, record, at, 1, kOpen);
  const std::string text =
      record.substr(static_cast<std::size_t>(std::min(at, size_of(record))), fraction.size());
  if (digits.empty() && text.find_first_not_of('0') == std::string::npos) {
    negative = false;
    *fraction_at = field_end;
  } else if (is(at + size_of(fraction), '-')) {
    negative = true;
  }
  const int count = size_of(digits) + 1;
  value->lead = piece.lead_class[static_cast<std::size_t>((negative ? -count : count) & 255)];
  value->main = scan(*piece.ranking, record, digits_at, 1, piece.at.length);
  value->fraction = scan(*piece.ranking, record, *fraction_at, 1, piece.decimals);
}

RecordKey Oracle::extract(const std::string& record) const {
  const Fields fields = locate_fields(record);
  const int length = size_of(record);
  RecordKey values;
  bool displaced = false;  // the piece before had -d 0: this one begins at its fraction
  int fraction_at = 0;
  for (const Piece& piece : pieces_) {
    PieceValue value;
    const std::size_t field = static_cast<std::size_t>(piece.at.field);
    const int field_end = field < fields.end.size() ? fields.end[field] : length;
    if (piece.kind == KeyKind::numeric && displaced) {
      if (fraction_at < length) {
        value.lead = piece.lead_class[static_cast<std::size_t>(byte_at(record, fraction_at))];
      }
      const int at = locate(piece, fields, length, piece.ranking->blank, record);
      value.main = scan(*piece.ranking, record, at, piece.at.step, piece.at.length);
      if (piece.decimals > 0)
        value.fraction = scan(*piece.ranking, record, at, piece.at.step, piece.decimals);
      displaced = false;
    } else if (piece.kind == KeyKind::numeric) {
      const int at = locate(piece, fields, length, piece.lead_blank, record);
      number(piece, record, at, field_end, &value, &fraction_at);
      displaced = piece.decimals == 0;
    } else {
      const int at = displaced ? fraction_at : locate(piece, fields, length, piece.ranking->blank, record);
      displaced = false;
      const int most = piece.kind == KeyKind::sign ? 1 : piece.at.length;
      value.main = scan(*piece.ranking, record, at, piece.at.step, most);
      value.lead = value.main.empty() ? 0 : static_cast<unsigned char>(value.main[0]) + 1;
    }
    value.upper = in_upper_half(value.lead, piece.lead_top);
    values.push_back(value);
  }
  return values;
}

int Oracle::compare(const RecordKey& a, const RecordKey& b) const {
  return compare_run(a, b, 0, pieces_.size(), 1);
}

int Oracle::compare_run(const RecordKey& a, const RecordKey& b, std::size_t from, std::size_t to,
                        int direction) const {
  for (std::size_t i = from; i < to; ++i) {
    const Piece& piece = pieces_[i];
    const int own = piece.descending ? -direction : direction;
    if (piece.kind != KeyKind::numeric) {
      const int order = a[i].main.compare(b[i].main);
      if (order != 0) return order < 0 ? -own : own;
      if (piece.governed == 0) continue;
      const int inner = compare_run(a, b, i + 1, i + 1 + piece.governed, a[i].upper ? own : -own);
      if (inner != 0) return inner;
      i += piece.governed;
      continue;
    }
    if (a[i].lead != b[i].lead) return a[i].lead < b[i].lead ? -own : own;
    int order = a[i].main.compare(b[i].main);
    if (order == 0) order = a[i].fraction.compare(b[i].fraction);
    if (order != 0) return (order < 0) == a[i].upper ? -own : own;
  }
  return 0;
}

namespace {

std::string printable(const std::string& text) {
  static const char kHex[] = "0123456789abcdef";
  std::string shown;
  for (const char c : text) {
    const unsigned char b = static_cast<unsigned char>(c);
    if (b >= 32 && b < 127) {
      shown.push_back(c);
    } else {
      shown += {'\\', 'x', kHex[b >> 4], kHex[b & 15]};
    }
  }
  return shown;
}

std::string judge_members(const std::vector<std::string>& input, const std::vector<std::string>& output,
                          bool all) {
  std::map<std::string, long> left;
  for (const std::string& record : input) ++left[record];
  for (const std::string& record : output) {
    if (--left[record] < 0)
      return "record not in the input or given out once too often: " + printable(record);
  }
  if (!all) return "";
  for (const auto& [record, count] : left) {
    if (count > 0) return "record lost: " + printable(record);
  }
  return "";
}

}  // namespace

std::string judge(const SortSpec& spec, const std::vector<std::string>& input,
                  const std::vector<std::string>& output) {
  const std::string members = judge_members(input, output, !spec.unique);
  if (!members.empty()) return members;
  const Oracle oracle(spec);
  RecordKey previous;
  for (std::size_t i = 0; i < output.size(); ++i) {
    RecordKey key = oracle.extract(output[i]);
    const int order = i == 0 ? -1 : oracle.compare(previous, key);
    if (order > 0 || (spec.unique && order == 0)) {
      return std::string(order > 0 ? "out of order: " : "equal records under unique: ") +
             printable(output[i - 1]) + " before " + printable(output[i]);
    }
    previous = std::move(key);
  }
  if (!spec.unique) return "";
  std::vector<RecordKey> keys;
  for (const std::string& record : input) keys.push_back(oracle.extract(record));
  std::sort(keys.begin(), keys.end(),
            [&](const RecordKey& a, const RecordKey& b) { return oracle.compare(a, b) < 0; });
  std::size_t classes = 0;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    if (i == 0 || oracle.compare(keys[i - 1], keys[i]) != 0) ++classes;
  }
  if (classes == output.size()) return "";
  return std::to_string(classes) + " classes but " + std::to_string(output.size()) + " records";
}

}  // namespace fsort_test
