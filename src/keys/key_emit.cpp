// Emits key entries: walks the fields and columns of a field list, maps columns of a group into the region
// that the group addresses, and adds the rows of each kind of key.
//
// Columns. An ascending range s-e starts at byte s and runs forward; a descending one starts at its larger
// number and runs backward. Inside a group the columns count from the parent region's first byte in the
// parent's own direction, so a descending range inside a descending region runs forward again:
//
//     ( -c 2-3 ) -c 10-19     bytes 12, 13         parent start 10, length 10, forward
//     ( -c 1-0 ) -c 2-5       bytes 3, 2
//     ( -c 1-0 ) -c 5-2       bytes 4, 5           parent start 5, length 4, backward
//
// Open sides. An open end has length 65535, an open start is position 65535: both mean the end of the field,
// which is known only record by record. Positions are 16 bits; what cannot be written in them without being
// taken for an open side is clamped or refused here, so that no sum ever wraps:
//   - a start past 65534 becomes 65534, which no record reaches;
//   - a backward range over an open region has the open length, not 65536;
//   - a position counted backward from an open start cannot be written down and is refused.
//
// Rows of a numeric key: the sign byte, the integer digits, and the fraction digits unless -d 0 is given.
#include "keys/key_emit.h"

#include "cmdline/arg.h"
#include "keys/byte_flags.h"
#include "keys/keys_access.h"
#include "support/osdll.h"

namespace fsort {

namespace {

constexpr std::uint8_t kDefaultBlank = ' ';
constexpr std::uint16_t kLastStart = 65534;  // the greatest start that is not taken for an open one

struct Region {
  std::uint16_t field;
  std::uint16_t start;
  std::uint16_t length;
  std::uint8_t direction;
};

void key_table(KeyDescriptor& d, const Region& r) {
  if (d.type != kKeySign) {
    if (d.sequence == nullptr) d.sequence = key_seq_default();
    if (d.blanks.count != 0) bflags_fill(d.sequence);
    key_create(r.start, r.length, r.direction, d.sequence, r.field, d.type, 0, d.descending);
    return;
  }
  ++key_st().record_header_bytes;
  Sequence* sign = key_seq_sign(r.length);
  bflags_fill(sign);
  if (d.sequence == nullptr) d.sequence = key_seq_num();
  const bool fraction = d.decimals > 0;
  key_create(r.start, 1, r.direction, sign, r.field, kKeySign, fraction ? 2 : 1, d.descending);
  key_create(r.start, r.length, r.direction, d.sequence, r.field, kKeyInteger, 0, 0);
  if (fraction) key_create(r.start, d.decimals, r.direction, d.sequence, r.field, kKeyFraction, 0, 0);
}

void expand_group(KeyParser& parser, const KeyDescriptor& d, const Region& r) {
  // An empty group adds no entry, so the table's size alone does not bound what groups within groups expand
  // to.
  if (parser.group_depth == kMaxGroupDepth || parser.group_regions == kMaxGroupRegions) {
    osdll_error("Too many key fields used");
  }
  KeyDescriptor nested = d;
  nested.nested = 1;
  nested.parent_field = r.field;
  nested.parent_start = r.start;
  nested.parent_length = r.length;
  nested.parent_direction = r.direction;
  ++parser.group_regions;
  ++parser.group_depth;
  parse_group(parser, nested);
  --parser.group_depth;
}

void key_out(KeyParser& parser, KeyDescriptor& d, const Region& r) {
  if (d.type == kKeyGroup) {
    expand_group(parser, d, r);
  } else {
    key_table(d, r);
  }
}

[[noreturn]] void subfield_missing() { osdll_error("Field does not include subfield"); }

// Place of the parent region's byte `s`, relative to the field.
std::uint16_t absolute_start(const KeyDescriptor& d, std::uint16_t s) {
  const bool backward = d.parent_direction == kBackward;
  // The end of an open region is the field's end; walked backward it is the field's first byte.
  if (s == kOpenStart) return backward ? std::uint16_t{0} : kOpenStart;
  if (s == 0) return d.parent_start;
  if (backward) {
    if (d.parent_start == kOpenStart || s > d.parent_start) subfield_missing();
    return static_cast<std::uint16_t>(d.parent_start - s);
  }
  const unsigned start = unsigned{d.parent_start} + s;
  return start > kLastStart ? kLastStart : static_cast<std::uint16_t>(start);
}

// Maps the columns of a group into its parent region.
void key_nested(KeyParser& parser, KeyDescriptor& d, Range columns) {
  const std::uint16_t parent = d.parent_length;
  const bool parent_open = parent == kOpenLength;
  std::uint16_t start = columns.start;
  Region r{.field = d.parent_field, .start = 0, .length = kOpenLength, .direction = d.parent_direction};
  if (columns.start <= columns.end) {
    const bool closed = columns.end != kRangeOpen;
    if (!parent_open && (closed ? columns.end : columns.start) >= parent) subfield_missing();
    if (closed) {
      r.length = static_cast<std::uint16_t>(columns.end - columns.start + 1);
    } else if (!parent_open) {
      r.length = static_cast<std::uint16_t>(parent - columns.start);
    }
  } else {
    r.direction = d.parent_direction == kBackward ? kForward : kBackward;
    if (start == kOpenStart && !parent_open) {
      start = static_cast<std::uint16_t>(parent - 1);
      if (columns.end > start) subfield_missing();
    } else if (!parent_open && start >= parent) {
      subfield_missing();
    }
    const unsigned length = unsigned{start} - columns.end + 1;
    if (length < kOpenLength) r.length = static_cast<std::uint16_t>(length);
  }
  r.start = absolute_start(d, start);
  key_out(parser, d, r);
}

// Outputs one column range of one field.
void emit_columns(KeyParser& parser, KeyDescriptor& d, std::uint16_t field, Range columns) {
  Region r{.field = field, .start = columns.start, .length = kOpenLength, .direction = kForward};
  if (columns.start <= columns.end) {
    if (columns.end != kRangeOpen) r.length = static_cast<std::uint16_t>(columns.end - columns.start + 1);
  } else {
    if (columns.start == kRangeOpen) osdll_error("Unnested -c switch must specify starting position");
    r.direction = kBackward;
    r.length = static_cast<std::uint16_t>(columns.start - columns.end + 1);
  }
  key_out(parser, d, r);
}

// Range `i` of the column list; the list without ranges is "0-".
Range column_range(const KeyParser& parser, const KeyDescriptor& d, std::uint32_t i, const char* invalid) {
  Range range{.start = 0, .end = kRangeOpen};
  if (d.columns.count != 0 && !arg_range(parser.argv[d.columns.first + i], &range)) {
    osdll_error("%s", invalid);
  }
  return range;
}

std::uint32_t column_ranges(const KeyDescriptor& d) { return d.columns.count != 0 ? d.columns.count : 1; }

void emit_fields(KeyParser& parser, KeyDescriptor& d, Range fields) {
  const int step = fields.start <= fields.end ? 1 : -1;
  for (int field = fields.start;; field += step) {
    for (std::uint32_t i = 0; i < column_ranges(d); ++i) {
      const Range columns = column_range(parser, d, i, "Invalid -c switch value");
      emit_columns(parser, d, static_cast<std::uint16_t>(field), columns);
    }
    if (field == fields.end) break;
  }
}

void set_blank_flags(const KeyParser& parser, const KeyDescriptor& d) {
  bflags_init();
  if (d.blanks.count != 0) {
    const auto end = static_cast<std::int32_t>(d.blanks.first + d.blanks.count);
    (void)arg_invoke(end, parser.argv, d.blanks.first, flags_blank);
  } else if (d.type == kKeySign) {
    flags_blank(kDefaultBlank);
  }
}

}  // namespace

void key_emit(KeyParser& parser, KeyDescriptor& descriptor) {
  set_blank_flags(parser, descriptor);
  if (descriptor.nested != 0) {
    for (std::uint32_t i = 0; i < column_ranges(descriptor); ++i) {
      key_nested(parser, descriptor, column_range(parser, descriptor, i, "Invalid value for -c switch"));
    }
    return;
  }
  const ArgSlice list = parser.fields;
  if (list.count == 0) emit_fields(parser, descriptor, Range{.start = 0, .end = 0});
  for (std::uint32_t i = 0; i < list.count; ++i) {
    Range fields{};
    if (!arg_range(parser.argv[list.first + i], &fields)) osdll_error("Invalid value for -f switch");
    emit_fields(parser, descriptor, fields);
  }
}

}  // namespace fsort
