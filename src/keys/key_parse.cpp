// Recursive descent over the key list.
//
//   parse_command    global -i and -b in front, then one key list; blanks what the list took
//   parse_keylist    keys and groups until nothing more fits
//   parse_flist      field lists of one key: local options, -f, -c; each completed one is emitted
//   parse_options, parse_field, parse_dlist    the three parts of a field list
//
// Every function takes the end of the arguments it may read (the end of the vector, or of a group's slice)
// and the current index, and returns the index after what it consumed. A level ends when a round consumes
// nothing, so an argument that fits nowhere simply ends the key list and is reported by the driver.
//
// The pending flag says that a field list is expected: a key letter, a group or the beginning of a key list
// sets it, so that a key without any field list is still emitted, over the whole record. An emission clears
// it; a further -c of the same key needs no flag, and keeps the key's latest -f list.
//
// Empty arguments. Options that other modules took before are empty by now, and an empty argument fits
// nowhere: it ends the key list. Global options therefore belong before the first key or after the last one.
#include "keys/key_parse.h"

#include <cstring>

#include "cmdline/arg.h"
#include "keys/key_emit.h"
#include "keys/keys_access.h"
#include "support/exit.h"
#include "support/osdll.h"

namespace fsort {

namespace {

std::uint32_t parse_keylist(KeyParser& parser, std::uint32_t end, std::uint32_t index, KeyDescriptor& d,
                            std::uint8_t descending);

std::int32_t signed_end(std::uint32_t end) { return static_cast<std::int32_t>(end); }

bool argument_is(const KeyParser& parser, std::uint32_t end, std::uint32_t index, const char* text) {
  return index < end && std::strcmp(parser.argv[index], text) == 0;
}

bool blank_range_argument(const char* text) { return text[0] == '\'' || (text[0] >= '0' && text[0] <= '9'); }

// The index of the first argument from `index` on that does not look like a range of blanks.
std::uint32_t skip_blank_ranges(const KeyParser& parser, std::uint32_t end, std::uint32_t index) {
  while (index < end && blank_range_argument(parser.argv[index])) ++index;
  return index;
}

std::uint32_t parse_decimals(const KeyParser& parser, std::uint32_t end, std::uint32_t index,
                             KeyDescriptor& d) {
  Range count{};
  if (index >= end || !arg_range(parser.argv[index], &count)) {
    osdll_error("-d switch requires numeric parameter");
  }
  if (count.start != count.end) osdll_error("Invalid value for decimal count");
  // Kept on purpose: the decimal count is eight bits wide, so -d 256 is -d 0.
  d.decimals = static_cast<std::uint8_t>(count.start);
  return index + 1;
}

std::uint32_t parse_options(const KeyParser& parser, std::uint32_t end, std::uint32_t index,
                            KeyDescriptor& d) {
  while (index < end && !arg_operand(signed_end(end), parser.argv, index)) {
    const char* text = parser.argv[index];
    if (text[0] == '\0') break;
    // Kept on purpose: only the second character counts, so -bx acts as -b.
    switch (text[1]) {
      case 'b': {
        const std::uint32_t first = ++index;
        index = skip_blank_ranges(parser, end, index);
        d.blanks = ArgSlice{.first = first, .count = index - first};
        break;
      }
      case 'd':
        index = parse_decimals(parser, end, index + 1, d);
        break;
      case 'i':
        // The opposite of the global flag, however often it is written.
        d.descending = parser.global_descending != 0 ? 0 : 1;
        ++index;
        break;
      default:
        return index;
    }
  }
  return index;
}

std::uint32_t parse_field(KeyParser& parser, std::uint32_t end, std::uint32_t index, KeyDescriptor& d) {
  std::uint32_t ranges = 0;
  if (argument_is(parser, end, index, "-f")) {
    if (d.nested != 0) osdll_error("Nested fields cannot contain -f parameters");
    const std::uint32_t first = ++index;
    std::uint16_t& field_count = key_st().field_count;
    Range range{};
    for (; index < end && arg_range(parser.argv[index], &range); ++index) {
      if (range.end == kRangeOpen) osdll_error("Field range end must be specified");
      if (range.start == kRangeOpen) osdll_error("Field range start must be specified");
      // Kept on purpose: only a range's end counts, so after -f 1-0 alone field 1 is not split off and is
      // empty in every record.
      if (range.end >= field_count) field_count = static_cast<std::uint16_t>(range.end + 1);
    }
    ranges = index - first;
    parser.fields = ArgSlice{.first = first, .count = ranges};
    d.pending = 1;
  }
  // A group's fields are its parent's: the current list stays for the key list around the group.
  if (ranges == 0 && d.pending != 0 && d.nested == 0) parser.fields = ArgSlice{};
  return index;
}

// Reads -c and emits the key when there is one to emit. A -c without ranges is "0-", as no -c is.
std::uint32_t parse_dlist(KeyParser& parser, std::uint32_t end, std::uint32_t index, KeyDescriptor& d) {
  const bool given = argument_is(parser, end, index, "-c");
  if (given) {
    const std::uint32_t first = ++index;
    Range range{};
    while (index < end && arg_range(parser.argv[index], &range)) ++index;
    d.columns = ArgSlice{.first = first, .count = index - first};
  }
  if (!given && d.pending == 0) return index;
  d.pending = 0;
  key_emit(parser, d);
  return index;
}

std::uint32_t parse_flist(KeyParser& parser, std::uint32_t end, std::uint32_t index, KeyDescriptor& d,
                          std::uint8_t descending) {
  for (;;) {
    const std::uint32_t begin = index;
    d.blanks = ArgSlice{};
    d.columns = ArgSlice{};
    d.decimals = kDecimalsOpen;
    d.descending = descending;
    index = parse_options(parser, end, index, d);
    index = parse_field(parser, end, index, d);
    index = parse_dlist(parser, end, index, d);
    if (index == begin) return index;
  }
}

// From the argument after "(" to the one after its ")".
std::uint32_t collect_group(const KeyParser& parser, std::uint32_t end, std::uint32_t index,
                            KeyDescriptor& d) {
  const std::uint32_t first = index;
  for (std::uint32_t open = 1; open != 0; ++index) {
    if (index >= end) osdll_error("Unbalanced parenthesis in command line");
    if (std::strcmp(parser.argv[index], "(") == 0) ++open;
    if (std::strcmp(parser.argv[index], ")") == 0) --open;
  }
  d.group = ArgSlice{.first = first, .count = index - 1 - first};
  return index;
}

// The key list that a sign governs; the latest entry is that sign's.
std::uint32_t parse_governed(KeyParser& parser, std::uint32_t end, std::uint32_t index, KeyDescriptor& d) {
  KeyState& s = key_st();
  FSORT_ASSERT(s.entry_count > 0);
  if (s.entries[s.entry_count - 1].sequence->max_rank % 2 == 0) {
    osdll_error("Sign sequences must have even number of values");
  }
  const std::uint16_t before = s.entry_count;
  index = parse_keylist(parser, end, index, d, 0);
  s.entries[before - 1].count = static_cast<std::uint8_t>(s.entry_count - before);
  return index;
}

// One key that begins with a letter, with the field lists that follow.
std::uint32_t parse_letter(KeyParser& parser, std::uint32_t end, std::uint32_t index, KeyDescriptor& d,
                           std::int32_t type, std::uint8_t descending) {
  d.type = type;
  d.pending = 1;
  index = seq_fill(signed_end(end), parser.argv, index + 1, &d.sequence);
  return parse_flist(parser, end, index, d, descending);
}

std::uint32_t parse_key(KeyParser& parser, std::uint32_t end, std::uint32_t index, KeyDescriptor& d,
                        std::uint8_t descending) {
  if (index >= end) {
    if (key_st().entry_count != 0) return index;
    d.type = kKeyCharacter;
    return parse_flist(parser, end, index, d, descending);
  }
  if (argument_is(parser, end, index, "(")) {
    d.type = kKeyGroup;
    d.pending = 1;
    index = collect_group(parser, end, index + 1, d);
    return parse_flist(parser, end, index, d, descending);
  }
  if (argument_is(parser, end, index, "-k")) {
    return parse_letter(parser, end, index, d, kKeyCharacter, descending);
  }
  if (argument_is(parser, end, index, "-n")) {
    return parse_letter(parser, end, index, d, kKeySign, descending);
  }
  if (argument_is(parser, end, index, "-s")) {
    index = parse_letter(parser, end, index, d, kKeyGoverning, descending);
    return parse_governed(parser, end, index, d);
  }
  if (d.pending == 0) return index;
  d.type = kKeyCharacter;
  return parse_flist(parser, end, index, d, descending);
}

std::uint32_t parse_keylist(KeyParser& parser, std::uint32_t end, std::uint32_t index, KeyDescriptor& d,
                            std::uint8_t descending) {
  d.pending = 1;
  for (;;) {
    const std::uint32_t begin = index;
    d.sequence = nullptr;
    d.type = kKeyNone;
    d.descending = descending;
    index = parse_key(parser, end, index, d, descending);
    if (index == begin) return index;
  }
}

void parse_command(std::int32_t argc, const char** argv) {
  KeyParser parser{};
  parser.argv = argv;
  const auto end = static_cast<std::uint32_t>(argc);
  std::uint32_t index = 1;
  while (index < end) {
    if (argv[index][0] == '\0') {
      ++index;
    } else if (argument_is(parser, end, index, "-i")) {
      arg_blank(argv, index++);
      parser.global_descending = 1;
    } else if (argument_is(parser, end, index, "-b")) {
      index = skip_blank_ranges(parser, end, index + 1);  // rec_init takes them
    } else {
      break;
    }
  }
  KeyDescriptor d{};
  const std::uint32_t after = parse_keylist(parser, end, index, d, parser.global_descending);
  for (; index < after; ++index) arg_blank(argv, index);
}

}  // namespace

void parse_group(KeyParser& parser, KeyDescriptor& nested) {
  const ArgSlice slice = nested.group;
  (void)parse_keylist(parser, slice.first + slice.count, slice.first, nested, nested.descending);
}

void key_init(std::int32_t argc, const char** argv, std::int32_t default_type) {
  seq_free_all(seq_st());
  KeyState& s = key_st();
  s.entry_count = 0;
  s.field_count = 0;
  s.offset_area_bytes = 0;
  s.record_header_bytes = 1;
  seq_init(default_type);
  if (ExitRegister(key_windup) != 0) osdll_error("Couldn't register key_windup");
  parse_command(argc, argv);
  s.offset_area_bytes = static_cast<std::uint16_t>((s.entry_count + 1) * 2);
  s.record_header_bytes = static_cast<std::uint16_t>(s.record_header_bytes + s.offset_area_bytes);
}

void key_windup(Instance* instance) { seq_free_all(instance->sequence); }

}  // namespace fsort
