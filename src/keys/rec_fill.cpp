// Locates fields and keys of one record and fills its header.
//
// Fields. A record is split at the delimiter bytes, after blanks in front of each field are skipped, until
// the highest field that a key names is found. Each field is kept as the offsets of its first byte and of the
// delimiter that ends it (or of the record's end):
//
//     -t ',' -b ' '            _ x _ , _ y          field 0: x to the blank, field 1: y to the end
//
// Keys. Each entry's first byte is its field's start plus its own start; blanks of its sequence are skipped;
// the offset goes into the entry's word. A numeric key is read here once and for all:
//
//     "  -0012.50"   blanks, sign and zeros are skipped; words: sign byte, "12", "50"; sign byte -(2 + 1)
//
// Kept on purpose: the scans of a number end at the first byte that is no digit, not at the end of its column
// or field; a comma or point after the digits is stepped over even where it delimits fields; a minus after
// the number negates it. And a numeric key always takes three words: with -d 0, which makes two entries, the
// third one is the next entry's, which so never gets an offset of its own.
//
// Safety: every scan is bounded by the record's end as well, because a sequence of the user's own may hold
// byte 0, which follows the data. Tests for one character need no bound: the closing zero is none of them.
//
// Plan. The table does not change while records are read, so what it needs is worked out once. The common
// table (character keys at fixed columns of an unsplit record) has the same words in every record that is
// long enough: the header is then a copy. One delimiter without blanks, and the ends of numbers of the ten
// digits, are found sixteen bytes at a time (byte_scan.h). Everything else takes the general path, literally.
#include "keys/rec_fill.h"

#include <bit>
#include <cstring>

#include "keys/byte_scan.h"
#include "keys/keys_access.h"
#include "support/checks.h"

namespace fsort {

namespace {

constexpr std::uint32_t kMostNumberBytes = 32;  // integer digits plus one

// The record being built: its address, the offsets of its first data byte and of the closing zero, its
// fields.
struct Building {
  std::uint8_t* record;
  std::uint32_t begin;
  std::uint32_t end;
  std::uint16_t* field_start;
  std::uint16_t* field_end;
};

struct Number {
  std::uint32_t integer;   // offset of the first significant integer digit
  std::uint32_t fraction;  // offset of the first fraction digit
  std::uint8_t sign_byte;
};

// Fields between single delimiters, from one mask of the delimiters in 64 bytes to the next.
// Requires: kScanBytes in the record
std::uint32_t locate_by_search(const Building& b, std::uint32_t wanted, std::uint8_t delimiter) {
  constexpr std::uint32_t kMaskBytes = 64;
  std::uint16_t* const starts = b.field_start;
  std::uint16_t* const ends = b.field_end;
  const auto find = [delimiter](const std::uint8_t* bytes) { return find_byte(bytes, delimiter); };
  std::uint32_t found = 0;
  std::uint32_t start = b.begin;
  for (std::uint32_t at = b.begin; at < b.end; at += kMaskBytes) {
    std::uint64_t hits = 0;
    for (std::uint32_t i = 0; i < kMaskBytes && at + i < b.end; i += kScanBytes) {
      hits |= std::uint64_t{scan_bytes(b.record, at + i, b.end, find)} << i;
    }
    for (; hits != 0; hits &= hits - 1) {
      const std::uint32_t hit = at + static_cast<std::uint32_t>(std::countr_zero(hits));
      starts[found] = static_cast<std::uint16_t>(start);
      ends[found] = static_cast<std::uint16_t>(hit);
      start = hit + 1;
      if (++found == wanted) return found;
    }
  }
  if (start >= b.end) return found;
  starts[found] = static_cast<std::uint16_t>(start);
  ends[found] = static_cast<std::uint16_t>(b.end);
  return found + 1;
}

std::uint32_t locate_by_class(const Building& b, std::uint32_t wanted, const std::uint8_t* byte_class) {
  std::uint32_t found = 0;
  std::uint32_t at = b.begin;
  while (found < wanted && at < b.end) {
    while (at < b.end && (byte_class[b.record[at]] & kClassBlank) != 0) ++at;
    b.field_start[found] = static_cast<std::uint16_t>(at);
    while (at < b.end && (byte_class[b.record[at]] & kClassDelimiter) == 0) ++at;
    b.field_end[found] = static_cast<std::uint16_t>(at);
    ++found;
    ++at;
  }
  return found;
}

void locate_fields(const Building& b, const RecordState& s, std::uint32_t field_count) {
  if (field_count == 0) {
    b.field_start[0] = static_cast<std::uint16_t>(b.begin);
    b.field_end[0] = static_cast<std::uint16_t>(b.end);
    return;
  }
  const bool by_search = s.plan.single_delimiter != 0 && b.end >= kScanBytes;
  std::uint32_t found = by_search ? locate_by_search(b, field_count, s.plan.delimiter)
                                  : locate_by_class(b, field_count, s.byte_class);
  if (found < field_count && s.missing_fields == 0) rec_error(b.record, "Not enough fields in record");
  for (; found < s.plan.located_fields; ++found) {
    b.field_start[found] = static_cast<std::uint16_t>(b.end);
    b.field_end[found] = static_cast<std::uint16_t>(b.end);
  }
}

// Where a key begins that lies beyond its field.
std::uint32_t beyond_field(const Building& b, const RecordState& s, std::uint32_t at,
                           std::uint32_t field_end) {
  if (s.column_mode == kColumnToFieldEnd) return field_end;
  if (s.column_mode == kColumnFail && s.missing_fields == 0) rec_error(b.record, "Field too short");
  return at < b.end ? at : b.end;
}

std::uint32_t skip_digits(const Building& b, std::uint32_t at, const Sequence& digits) {
  while (at < b.end && (digits.flags(b.record[at]) & kNotInSequence) == 0) ++at;
  return at;
}

// Where the digits of a number end, in front of its point and behind it.
struct DigitEnds {
  std::uint32_t integer;
  std::uint32_t fraction_start;
  std::uint32_t fraction;
};

bool is_point(std::uint8_t byte) { return byte == '.' || byte == ','; }

DigitEnds end_digits(const Building& b, std::uint32_t at, const Sequence& digits) {
  DigitEnds ends{};
  ends.integer = skip_digits(b, at, digits);
  ends.fraction_start = ends.integer + (is_point(b.record[ends.integer]) ? 1 : 0);
  ends.fraction = skip_digits(b, ends.fraction_start, digits);
  return ends;
}

// The same where the digits are '0' to '9', for a number that ends within kScanBytes; a longer one is left to
// end_digits. Requires: kScanBytes in the record
DigitEnds end_plain_digits(const Building& b, std::uint32_t at, const Sequence& digits) {
  const std::uint32_t others = ~scan_bytes(b.record, at, b.end, find_digits);
  const auto count = static_cast<std::uint32_t>(std::countr_zero(others));
  FSORT_ASSERT(count <= kScanBytes);
  const std::uint32_t point = is_point(b.record[at + count]) ? 1 : 0;
  const auto behind = static_cast<std::uint32_t>(std::countr_zero(others >> (count + point)));
  if (count + point + behind >= kScanBytes) return end_digits(b, at, digits);
  return DigitEnds{at + count, at + count + point, at + count + point + behind};
}

Number read_number(const Building& b, std::uint32_t at, std::uint32_t field_end, const Sequence& digits,
                   bool plain) {
  // In front of the data there is no number.
  if (at < b.begin) return Number{.integer = field_end, .fraction = field_end, .sign_byte = 1};
  const std::uint8_t* record = b.record;
  // Signs come in no order that could be guessed: no jump hangs on them.
  unsigned negative = record[at] == '-' ? 1 : 0;
  at += negative | (record[at] == '+' ? 1u : 0u);
  while (record[at] == '0') ++at;
  const bool scanned = plain && b.end >= kScanBytes;
  const DigitEnds ends = scanned ? end_plain_digits(b, at, digits) : end_digits(b, at, digits);
  const std::uint32_t count = ends.integer - at + 1;
  if (count > kMostNumberBytes) rec_error(record, "Numeric field too long");
  bool zero = count == 1;
  for (std::uint32_t p = ends.fraction_start; zero && p < ends.fraction; ++p) zero = record[p] == '0';
  if (zero) return Number{.integer = at, .fraction = field_end, .sign_byte = 1};
  negative |= record[ends.fraction] == '-' ? 1u : 0u;
  const auto sign_byte = static_cast<std::uint8_t>((count ^ (0 - negative)) + negative);
  return Number{.integer = at, .fraction = ends.fraction_start, .sign_byte = sign_byte};
}

void store_word(std::uint8_t* record, std::uint32_t entry, std::uint32_t offset) {
  store_le(record + 2 * (entry + 1), static_cast<std::uint16_t>(offset));
}

// The offset of an entry's first byte, blanks skipped.
std::uint32_t key_start(const Building& b, const RecordState& s, const KeyEntry& e, bool skips_blanks) {
  const std::uint32_t field_end = b.field_end[e.field];
  std::uint32_t at = std::uint32_t{b.field_start[e.field]} + e.start;
  if (e.start == kOpenStart) {
    at = field_end - 1;
    // An empty first field has no last byte: what lies in front of it is the header. A backward key and a
    // number end there by their offset, a forward key begins at the field's end instead.
    if (at < b.begin && e.direction == kForward && e.type != kKeySign) at = field_end;
  }
  if (at > field_end) at = beyond_field(b, s, at, field_end);
  if (skips_blanks && at >= b.begin) {
    while (at < field_end && (e.sequence->flags(b.record[at]) & kBlankInSequence) != 0) ++at;
  }
  return at;
}

void fill_keys(const Building& b, const RecordState& s, const KeyState& keys) {
  const std::uint32_t count = keys.entry_count;
  const std::uint32_t blank_keys = s.plan.blank_keys;
  const std::uint32_t plain_numbers = s.plan.plain_numbers;
  std::uint8_t* record = b.record;
  std::uint32_t sign_at = 2 * (count + 1);
  for (std::uint32_t i = 0; i < count;) {
    const KeyEntry& e = keys.entries[i];
    const std::uint32_t at = key_start(b, s, e, (blank_keys >> i & 1) != 0);
    if (e.type != kKeySign) {
      store_word(record, i, at);
      ++i;
      continue;
    }
    const Number n = read_number(b, at, b.field_end[e.field], *keys.entries[i + 1].sequence,
                                 (plain_numbers >> i & 1) != 0);
    store_word(record, i, sign_at);
    store_word(record, i + 1, n.integer);
    // The words end with the table: behind them lie the sign bytes of the keys before.
    if (i + 2 < count) store_word(record, i + 2, n.fraction);
    record[sign_at] = n.sign_byte;
    ++sign_at;
    i += 3;
  }
}

bool has_blanks(const Sequence& table) {
  for (unsigned b = 0; b < kByteValues; ++b) {
    if ((table.flags(static_cast<std::uint8_t>(b)) & kBlankInSequence) != 0) return true;
  }
  return false;
}

bool is_plain_digits(const Sequence& table) {
  for (unsigned b = 0; b < kByteValues; ++b) {
    const bool digit = b >= '0' && b <= '9';
    const bool in_sequence = (table.flags(static_cast<std::uint8_t>(b)) & kNotInSequence) == 0;
    if (in_sequence != digit) return false;
  }
  return true;
}

void plan_fields(FillPlan& plan, const std::uint8_t* byte_class) {
  unsigned delimiters = 0;
  unsigned blanks = 0;
  for (unsigned b = 0; b < kByteValues; ++b) {
    if ((byte_class[b] & kClassBlank) != 0) ++blanks;
    if ((byte_class[b] & kClassDelimiter) == 0) continue;
    ++delimiters;
    plan.delimiter = static_cast<std::uint8_t>(b);
  }
  plan.single_delimiter = delimiters == 1 && blanks == 0 ? 1 : 0;
}

}  // namespace

void rec_fill_prepare() {
  RecordState& s = rec_st();
  const KeyState& keys = key_st();
  FillPlan& plan = s.plan;
  plan = FillPlan{};
  plan.header_bytes = keys.record_header_bytes;
  plan.located_fields = keys.field_count > 0 ? keys.field_count : 1;
  plan.constant_offsets = keys.field_count == 0 ? 1 : 0;
  plan_fields(plan, s.byte_class);
  for (std::uint32_t i = 0; i < keys.entry_count; ++i) {
    const KeyEntry& e = keys.entries[i];
    if (e.field >= plan.located_fields) plan.located_fields = std::uint32_t{e.field} + 1;
    if (has_blanks(*e.sequence)) plan.blank_keys |= std::uint32_t{1} << i;
    if (e.type == kKeySign || e.start == kOpenStart) plan.constant_offsets = 0;
    if (e.type == kKeySign && is_plain_digits(*keys.entries[i + 1].sequence)) {
      plan.plain_numbers |= std::uint32_t{1} << i;
    }
    if (e.type == kKeySign && e.count == 1) plan.clear_header = 1;
    if (e.start > plan.needed) plan.needed = e.start;
    store_word(plan.header, i, std::uint32_t{plan.header_bytes} + e.start);
  }
  if (plan.blank_keys != 0) plan.constant_offsets = 0;
}

void rec_fill(std::uint8_t* record) {
  RecordState& s = rec_st();
  const KeyState& keys = key_st();
  const FillPlan& plan = s.plan;
  const std::uint32_t total = rec_total_length(record);
  if (plan.constant_offsets != 0 && total - plan.header_bytes >= plan.needed) {
    std::memcpy(record + 2, plan.header + 2, plan.header_bytes - std::size_t{2});
    return;
  }
  if (plan.clear_header != 0) std::memset(record + 2, 0, plan.header_bytes - std::size_t{2});
  const bool split = keys.field_count > 0;
  const Building b{.record = record,
                   .begin = plan.header_bytes,
                   .end = total,
                   .field_start = split ? s.field_start : &s.single_start,
                   .field_end = split ? s.field_end : &s.single_end};
  locate_fields(b, s, keys.field_count);
  fill_keys(b, s, keys);
  record[plan.header_bytes - 1] = 0;
}

}  // namespace fsort
