// Records in memory: reading, writing, and the options that say where fields lie.
//
// Layout, with n key entries, z numeric keys, H = 1 + z + 2 * (n + 1) and N data bytes:
//
//   -8        0        2              2(n+1)          H-1     H                H+N
//   | link    | H + N  | offset words | sign bytes    | frame | data ...       | 0 |
//
//   link          next record of the list (record_links.h)
//   H + N         total length, 16 bits; the zero byte after the data is not counted
//   offset word i offset of entry i's first key byte, from byte 0 (16 bits)
//   sign bytes    one a numeric key: digits + 1, negated for a negative number
//   frame         the data-stack frame the record was allocated in, saturating at 255
//
// A record takes H + N + 9 bytes of record memory. All of it may lie unaligned (bytes.h).
#pragma once

#include <cstdint>

#include "keys/key_table.h"
#include "keys/record_sum.h"
#include "support/bytes.h"

namespace fsort {

struct Instance;

inline constexpr std::uint32_t kMaxTotalLength = 65535;  // a record's length word is 16 bits wide
inline constexpr std::uint32_t kRecordOverhead = 9;      // link and closing zero

// Column mode: what happens to a key that starts beyond its field.
enum ColumnMode : std::uint8_t { kColumnFail = 0, kColumnToFieldEnd = 1, kColumnToRecordEnd = 2 };

inline constexpr std::uint8_t kClassBlank = 1;
inline constexpr std::uint8_t kClassDelimiter = 2;

// Longest header: the frame byte, 16 sign bytes (a numeric key takes at least 2 of 32 entries) and 33 words.
inline constexpr std::uint32_t kMaxHeaderBytes = 1 + kMaxKeys / 2 + 2 * (kMaxKeys + 1);

// How rec_fill finds the keys of this sort, worked out once by rec_fill_prepare.
struct FillPlan {
  std::uint8_t constant_offsets;  // offset words are those of `header` in all records of >= needed data bytes
  std::uint8_t single_delimiter;  // one delimiter byte and no blanks: fields are found by a byte search
  std::uint8_t delimiter;         // that byte
  std::uint8_t clear_header;      // header bytes may stay unwritten otherwise (numeric keys without fraction)
  std::uint16_t header_bytes;     // H
  std::uint16_t needed;           // greatest start of any entry
  std::uint32_t located_fields;   // elements of the field arrays, at least 1
  std::uint32_t blank_keys;       // bit i: entry i skips blanks
  std::uint32_t plain_numbers;    // bit i: entry i begins a number whose digits are '0' to '9'
  std::uint8_t header[kMaxHeaderBytes];  // a whole header; its length word is set record by record
};

struct RecordState {
  std::uint64_t records_read;
  RecordSum sum;                 // of the records read, when it is wanted
  const RecordSumming* summing;  // how; null when it is not. Stays through rec_init
  std::uint8_t byte_class[256];  // kClassBlank, kClassDelimiter
  std::uint8_t missing_fields;   // -mfr
  std::uint8_t column_mode;      // ColumnMode
  std::uint16_t* field_start;    // offsets of the record being built, null when records are not split
  std::uint16_t* field_end;
  std::uint16_t single_start;  // used when the record is not split
  std::uint16_t single_end;
  FillPlan plan;
};

[[nodiscard]] inline std::uint16_t rec_total_length(const std::uint8_t* record) {
  return load_le<std::uint16_t>(record);
}
[[nodiscard]] inline std::uint16_t rec_key_offset(const std::uint8_t* record, std::uint32_t key) {
  return load_le<std::uint16_t>(record + 2 * (key + 1));
}
// What a record is charged in bin byte counts: its length word plus link and zero, in 32 bits.
[[nodiscard]] inline std::uint32_t rec_charge(const std::uint8_t* record) {
  return rec_total_length(record) + kRecordOverhead;
}

// Takes -mfr, -mcf, -mcr, -t and -b, runs key_init, finishes the sequence tables, makes the field arrays.
// Raises: "Couldn't register record windup", "Failed to get memory for tab pointer array" and those of
// key_init
void rec_init(std::int32_t argc, const char** argv);
// Frees the field arrays. May run twice.
void rec_windup(Instance* instance);

// The next record from the input function, in record memory with its header filled; null at the end.
// Raises: "Error encountered on reading record" (also for a record that does not fit 16 bits, or null bytes
// with a length), "Not enough fields in record", "Field too short", "Numeric field too long" (each after the
// record's text), and those of fsort_alloc
[[nodiscard]] std::uint8_t* rec_input();
using RecordInput = std::uint8_t* (*)();
// rec_input, or the same with every record summed before it is copied, when RecordState::summing says so: one
// record a call is what reading costs, and a sort without a sum does not even ask for it.
[[nodiscard]] RecordInput rec_input_of_sort();
// The same in memory of the caller's: `record` has room for kMaxTotalLength + 1 bytes and a link in front.
// Result: false at the end. Raises: as rec_input but for allocation; a record whose keys cannot be filled is
// in place by then, its length word and data, and the words of the entries before the one at fault.
[[nodiscard]] bool rec_input_into(std::uint8_t* record);
// Modes, byte classes and the fields of the record filled last, to look at.
[[nodiscard]] const RecordState& rec_state();

// Set a byte's class; used with arg_invoke.
void blank(std::uint8_t byte);
void delimit(std::uint8_t byte);

// Hands the data part to the output function. Raises: "Error trying to write record from fsort"
void rec_output(const std::uint8_t* record);

// Raises "<data as text up to its zero byte>\n<message>".
[[noreturn]] void rec_error(const std::uint8_t* record, const char* message);

}  // namespace fsort
