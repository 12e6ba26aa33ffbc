// The record type and its options; the state of the three readers.
//
//   (none)                   text records, at most 511 bytes where they have to be assembled
//   -rt [size]               text records
//   -rf size                 fixed-length records
//   -rv [positions [size]]   variable-length records
//
// The length field of -rv is given as a range of byte positions from the most significant byte to the least
// significant one. Of a longer range the last two positions are used:
//
//   0-1  high at 0, low at 1, header 2 bytes      1-0  high at 1, low at 0, header 2 bytes (the default)
//   2-5  high at 4, low at 5, header 6 bytes      5-2  high at 5, low at 4, header 6 bytes
//   3    one byte at 3, header 4 bytes
//
// Kept on purpose: a lone number after -rv is a position, never a size, and so is refused when it does not
// lie within the record length; the size's upper end counts when a range is given as size.
#include "cmdline/arg.h"
#include "platform/heap.h"
#include "recio/readers.h"
#include "recio/recio_access.h"
#include "recio/rin.h"
#include "support/error.h"
#include "support/exit.h"

namespace fsort {
namespace {

// What the options were found to say, before anything is stored.
struct RecordOptions {
  std::uint32_t types;  // record-type options found
  std::uint64_t max_record;
  std::uint64_t record_length;
  ReadFunction reader;
  Range position;  // of the length field
};

struct Arguments {
  std::int32_t argc;
  const char** argv;
};

// Finds and blanks the option; result: the index behind it, 0 when it does not occur (again).
std::uint32_t take_option(const Arguments& args, const char* name, RecordOptions& options) {
  const std::uint32_t index = arg_find(args.argc, args.argv, name);
  if (index == kArgNotFound) return 0;
  if (options.types != 0) ErrorReturn(kErrorCode, "Only one record type permitted");
  options.types = 1;
  arg_blank(args.argv, index);
  return index + 1;
}

bool is_single(const Range& range) { return range.start == range.end; }

bool take_text(const Arguments& args, RecordOptions& options) {
  const std::uint32_t index = take_option(args, "-rt", options);
  if (index == 0) return false;
  options.reader = read_text;
  if (!arg_operand(args.argc, args.argv, index)) return true;
  // "-rt <in >out" means the default size: a file name that says so itself is never a size.
  const char first = args.argv[index][0];
  if (first == '<' || first == '>') return true;
  Range size;
  if (!arg_range(args.argv[index], &size)) ErrorReturn(kErrorCode, "Invalid value for text record size");
  if (!is_single(size)) ErrorReturn(kErrorCode, "-rt record size cannot be a range");
  options.max_record = size.end;
  arg_blank(args.argv, index);
  return true;
}

bool take_variable(const Arguments& args, RecordOptions& options) {
  const std::uint32_t index = take_option(args, "-rv", options);
  if (index == 0) return false;
  options.reader = read_variable;
  options.record_length = kVariableRecordLength;
  Range range;
  if (!arg_operand(args.argc, args.argv, index) || !arg_range(args.argv[index], &range)) return true;
  if (range.start == kRangeOpen || range.end == kRangeOpen) {
    ErrorReturn(kErrorCode, "Position of record length not defined");
  }
  options.position = range;
  arg_blank(args.argv, index);
  if (!arg_operand(args.argc, args.argv, index + 1) || !arg_range(args.argv[index + 1], &range)) return true;
  options.max_record = range.end;
  arg_blank(args.argv, index + 1);
  return true;
}

bool take_fixed(const Arguments& args, RecordOptions& options) {
  const std::uint32_t index = take_option(args, "-rf", options);
  if (index == 0) return false;
  options.reader = read_fixed;
  if (!arg_operand(args.argc, args.argv, index)) {
    ErrorReturn(kErrorCode, "-rf switch must specify record size");
  }
  Range size;
  if (!arg_range(args.argv[index], &size)) ErrorReturn(kErrorCode, "Invalid value for -rf switch");
  if (!is_single(size)) ErrorReturn(kErrorCode, "-rf record size cannot be a range");
  if (size.end == 0) ErrorReturn(kErrorCode, "Illegal record size");
  options.max_record = size.end;
  options.record_length = size.end;
  arg_blank(args.argv, index);
  return true;
}

void release(ReadState& st) {
  heap_free(st.record_buffer);
  st.record_buffer = nullptr;
  st.buffer_bytes = 0;
}

// Stores where the length field lies.
void set_position(ReadState& st, const Range& position) {
  const std::uint16_t a = position.start;
  const std::uint16_t b = position.end;
  const std::uint16_t highest = a > b ? a : b;
  const auto below = static_cast<std::uint16_t>(a == b ? a : highest - 1);
  st.length_width = a == b ? 1 : 2;
  st.length_high = a < b ? below : highest;
  st.length_low = a < b ? highest : below;
  st.header_length = static_cast<std::uint64_t>(highest) + 1;
}

}  // namespace

void read_init(RecordDescription* description, std::int32_t argc, const char** argv) {
  release(read_st());
  const Arguments args{argc, argv};
  RecordOptions options{0, kDefaultMaxRecord, kTextRecordLength, read_text, Range{1, 0}};
  // Each option as often as it occurs: taking a second one, of whatever type, raises.
  while (take_text(args, options)) continue;
  while (take_variable(args, options)) continue;
  while (take_fixed(args, options)) continue;

  ReadState& st = read_st();
  st.max_record = options.max_record;
  set_position(st, options.position);
  if (options.reader == read_variable && st.header_length > st.max_record) {
    ErrorReturn(kErrorCode, "Record size field must be within the record length");
  }
  description->record_length = options.record_length;
  description->reader = options.reader;

  // -rt 0 is accepted; its buffer must be a block all the same, "no block" means that memory ran out.
  const std::uint64_t bytes = st.max_record != 0 ? st.max_record : 1;
  st.record_buffer = static_cast<std::uint8_t*>(heap_alloc(bytes));
  if (st.record_buffer == nullptr) {
    ErrorReturn(kErrorCode, "Couldn't allocate memory for a record buffer");
  }
  st.buffer_bytes = bytes;
  if (ExitRegister(read_windup) != 0) {
    ErrorReturn(kErrorCode, "Couldn't register function read_windup");
  }
}

const ReadState& read_state() { return read_st(); }
void report_tail(TailKind kind, std::uint64_t bytes) {
  const InputWatch* watch = read_st().watch;
  const Stream* s = rin_stream();
  if (watch == nullptr || (s->flags & (kStreamEof | kStreamError)) != kStreamEof) return;
  watch->on_tail({kind, rin_name(), s->pos - bytes, bytes});
}

void read_release() { release(read_st()); }

void read_windup(Instance* instance) { release(instance->read); }

}  // namespace fsort
