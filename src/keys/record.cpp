// Records: options, reading into record memory, writing.
//
// rec_init      options, then the key table, then every mark that the sequence tables get, then their classes
// rec_input     one record a call: input function, allocation, one copy of the data, header
// rec_input_of_sort  that, or the one that sums the records of a sort whose output is compared with its input
// rec_input_into  the same in the caller's memory, for who only looks at records
// rec_output    the data part to the output function
// rec_windup    the field arrays
//
// Delimiters end keys: each delimiter byte is taken out of the sequence of every key. A numeric key's sign
// table is left alone: its sign byte is a digit count, not text, and the count 9 (eight digits) would
// otherwise be the default delimiter TAB and end the key of every such number.
//
// A record that would not fit its 16-bit length word is refused before memory is taken.
#include "keys/record.h"

#include <cstring>

#include "cmdline/arg.h"
#include "engine/record_memory.h"
#include "keys/key_parse.h"
#include "keys/keys_access.h"
#include "keys/rec_fill.h"
#include "keys/record_sum_steps.h"
#include "platform/heap.h"
#include "support/exit.h"
#include "support/osdll.h"

namespace fsort {

namespace {

constexpr std::uint8_t kDefaultDelimiter = 9;  // TAB
// Headers are mostly this short: they are copied with one move or two.
constexpr std::uint32_t kShortHeader = 8;
constexpr std::uint32_t kHeaderChunk = 16;

bool take_option(std::int32_t argc, const char** argv, const char* name) {
  const std::uint32_t index = arg_find(argc, argv, name);
  if (index == kArgNotFound) return false;
  arg_blank(argv, index);
  return true;
}

// Takes the option and the ranges after it. Result: whether the option was there.
bool take_ranges(std::int32_t argc, const char** argv, const char* name, void (*set)(std::uint8_t)) {
  std::uint32_t index = arg_find(argc, argv, name);
  if (index == kArgNotFound) return false;
  const std::uint32_t after = arg_invoke(argc, argv, index + 1, set);
  for (; index < after; ++index) arg_blank(argv, index);
  return true;
}

void release_arrays(RecordState& s) {
  heap_free(s.field_start);
  heap_free(s.field_end);
  s.field_start = nullptr;
  s.field_end = nullptr;
}

void mark_delimiters(const RecordState& s) {
  const KeyState& keys = key_st();
  for (std::uint32_t i = 0; i < keys.entry_count; ++i) {
    if (keys.entries[i].type == kKeySign) continue;
    for (unsigned b = 0; b < kByteValues; ++b) {
      const auto byte = static_cast<std::uint8_t>(b);
      if ((s.byte_class[b] & kClassDelimiter) != 0) keys.entries[i].sequence->mark(byte, kNotInSequence);
    }
  }
}

std::uint16_t* make_array(std::uint32_t elements) {
  auto* array = static_cast<std::uint16_t*>(heap_alloc(elements * sizeof(std::uint16_t)));
  if (array == nullptr) osdll_error("Failed to get memory for tab pointer array");
  return array;
}

// The header is that of every record: written first, eight or sixteen bytes at once where the record, its
// closing zero included, has room, because the data is copied over whatever the last move wrote too much.
void store_header(std::uint8_t* record, const FillPlan& plan, std::uint32_t total) {
  if (plan.header_bytes <= kShortHeader && total + 1 >= kShortHeader) {
    std::memcpy(record, plan.header, kShortHeader);
  } else if (plan.header_bytes <= kHeaderChunk && total >= kHeaderChunk) {
    std::memcpy(record, plan.header, kHeaderChunk);
  } else {
    std::memcpy(record, plan.header, plan.header_bytes);
  }
  store_le(record, static_cast<std::uint16_t>(total));
}

// The next record's bytes from the input function; 0 at the end.
[[gnu::always_inline]] inline std::uint32_t next_data(const std::uint8_t** data) {
  std::uint64_t length = 0;
  if (driver_input()(&length, data) != 0) osdll_error("Error encountered on reading record");
  if (length == 0) return 0;
  if (length > kMaxTotalLength - rec_st().plan.header_bytes || *data == nullptr) {
    osdll_error("Error encountered on reading record");
  }
  return static_cast<std::uint32_t>(length);
}

// Copies the data behind its header and fills the header, all but the frame byte.
[[gnu::always_inline]] inline void build_record(std::uint8_t* record, const FillPlan& plan,
                                                std::uint32_t header_bytes, const std::uint8_t* data,
                                                std::uint32_t data_bytes) {
  const std::uint32_t total = header_bytes + data_bytes;
  if (plan.constant_offsets != 0 && data_bytes >= plan.needed) {
    store_header(record, plan, total);
    copy_bytes(record + header_bytes, data, data_bytes);
    record[total] = 0;
  } else {
    copy_bytes(record + header_bytes, data, data_bytes);
    record[total] = 0;
    store_le(record, static_cast<std::uint16_t>(total));
    rec_fill(record);
  }
}

// The record of the data that was read.
[[gnu::always_inline]] inline std::uint8_t* make_record(const std::uint8_t* data, std::uint32_t data_bytes) {
  RecordState& s = rec_st();
  ++s.records_read;
  const std::uint32_t header_bytes = s.plan.header_bytes;
  std::uint8_t* record = fsort_alloc(std::uint64_t{header_bytes} + data_bytes + 1);
  build_record(record, s.plan, header_bytes, data, data_bytes);
  record[header_bytes - 1] = data_frame_number();
  return record;
}

std::uint8_t* input_summed() {
  const std::uint8_t* data = nullptr;
  const std::uint32_t data_bytes = next_data(&data);
  if (data_bytes == 0) return nullptr;
  RecordState& s = rec_st();
  s.summing->add(s.sum, data, data_bytes);
  return make_record(data, data_bytes);
}

#if defined(__x86_64__)
[[gnu::target("aes")]] std::uint8_t* input_summed_by_rounds() {
  const std::uint8_t* data = nullptr;
  const std::uint32_t data_bytes = next_data(&data);
  if (data_bytes == 0) return nullptr;
  sum_add_by_rounds(rec_st().sum, data, data_bytes);
  return make_record(data, data_bytes);
}
#endif

}  // namespace

void blank(std::uint8_t byte) { rec_st().byte_class[byte] |= kClassBlank; }

void delimit(std::uint8_t byte) { rec_st().byte_class[byte] |= kClassDelimiter; }

void rec_init(std::int32_t argc, const char** argv) {
  RecordState& s = rec_st();
  release_arrays(s);
  s.records_read = 0;
  s.sum = RecordSum{};
  std::memset(s.byte_class, 0, sizeof s.byte_class);
  s.missing_fields = take_option(argc, argv, "-mfr") ? 1 : 0;
  s.column_mode = kColumnFail;
  if (take_option(argc, argv, "-mcf")) s.column_mode = kColumnToFieldEnd;
  if (take_option(argc, argv, "-mcr")) s.column_mode = kColumnToRecordEnd;
  const bool delimiters_given = take_ranges(argc, argv, "-t", delimit);
  if (ExitRegister(rec_windup) != 0) osdll_error("Couldn't register record windup");
  key_init(argc, argv, kKeyCharacter);
  (void)take_ranges(argc, argv, "-b", blank);
  if (key_st().field_count > 0) {
    if (!delimiters_given) delimit(kDefaultDelimiter);
    mark_delimiters(s);
  }
  sequence_finish_all();
  rec_fill_prepare();
  if (key_st().field_count > 0) {
    s.field_start = make_array(s.plan.located_fields);
    s.field_end = make_array(s.plan.located_fields);
  }
}

void rec_windup(Instance* instance) { release_arrays(instance->record); }

std::uint8_t* rec_input() {
  const std::uint8_t* data = nullptr;
  const std::uint32_t data_bytes = next_data(&data);
  return data_bytes == 0 ? nullptr : make_record(data, data_bytes);
}

RecordInput rec_input_of_sort() {
  const RecordSumming* const summing = rec_st().summing;
  if (summing == nullptr) return rec_input;
#if defined(__x86_64__)
  if (summing == &kSumByRounds) return input_summed_by_rounds;
#endif
  return input_summed;
}

bool rec_input_into(std::uint8_t* record) {
  const std::uint8_t* data = nullptr;
  const std::uint32_t data_bytes = next_data(&data);
  if (data_bytes == 0) return false;
  const FillPlan& plan = rec_st().plan;
  build_record(record, plan, plan.header_bytes, data, data_bytes);
  record[plan.header_bytes - 1] = 0;
  return true;
}

const RecordState& rec_state() { return rec_st(); }

void rec_output(const std::uint8_t* record) {
  const std::uint32_t header_bytes = rec_st().plan.header_bytes;
  if (driver_output()(rec_total_length(record) - header_bytes, record + header_bytes) != 0) {
    osdll_error("Error trying to write record from fsort");
  }
}

void rec_error(const std::uint8_t* record, const char* message) {
  const char* text = reinterpret_cast<const char*>(record + rec_st().plan.header_bytes);
  osdll_error("%s\n%s", text, message);
}

}  // namespace fsort
