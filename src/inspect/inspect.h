// Looking at a sort without sorting: what a command line says, and its records one by one as a sort would see
// them. For programs that explain a sort or check its result; nothing is ordered and nothing is written.
//
//   inspect_open       reads the command line as a sort does, with the same messages, and stops before the
//                      first record; gives the description of the sort
//   inspect_singly     optional: from now on no more is read of the input than the records asked for need
//   inspect_read       the next record through the sort's own reader, its keys filled
//   inspect_key        where a key of such a record lies, and a number as it compares
//   inspect_compare    two such records in the order in which a sort gives them out
//   inspect_check      reads on for as long as the records are in order
//
// All of them are for one handle that no sort runs on, and that none ran on before. Each enters the instance
// for itself and leaves it again, so what happens in between may do as it likes: no raise passes through it.
// Errors are shown by the handle's display function, with the titles that they have in a sort.
//
// Records. A record is filled into memory of the caller's (InspectedRecord), because the record memory of a
// sort is only released as a whole: an inspection of any number of records takes the memory of those that it
// holds. Nothing of an inspection outlives the handle.
//
// Positions. A record is found at a byte of an input file. What a reader drops lies in front of the record
// that follows it: so the place is counted back from where the reader stands behind a record, but for a line
// that began in a file before.
#pragma once

#include <cstdint>

#include "fsort.h"
#include "keys/key_table.h"
#include "keys/record.h"
#include "keys/sequence.h"
#include "recio/input_watch.h"
#include "recio/rin.h"

namespace fsort {

enum class RecordKind : std::uint8_t { text, fixed, variable };

inline constexpr std::uint16_t kNoKey = 65535;
inline constexpr std::uint16_t kAllDecimals = 255;

// A key as it compares: a character key and a sign key are one entry of the key table, a number two or three.
struct InspectedKey {
  KeyType kind;                 // kKeyCharacter, kKeyGoverning, or kKeySign for a number
  std::uint16_t entry;          // the first one
  std::uint16_t entries;        // 1; a number: 3, or 2 when no decimals count
  std::uint16_t field;          // from 0
  std::uint16_t start;          // kOpenStart: the field's last byte
  std::uint16_t length;         // kOpenLength: to the end
  std::uint16_t decimals;       // of a number, at most; kAllDecimals
  std::uint16_t governor;       // index of the sign key that turns this one around, the nearest; or kNoKey
  std::uint8_t direction;       // kForward or kBackward
  std::uint8_t descending;      // as written, before any sign key turns it around
  bool misplaced;               // behind a number without decimals (-d 0): begins where its fraction would
  const Sequence* sequence;     // of the bytes, of a number's digits
  const Sequence* skip_blanks;  // whose blanks are skipped in front of the key
};

// What a command line says. The texts are valid until the handle is used again.
struct InspectedSort {
  RecordKind kind;
  std::uint64_t max_record;     // bytes; the size of fixed records
  std::uint16_t length_low;     // of variable records: positions of the length field's bytes
  std::uint16_t length_high;    //
  std::uint32_t length_width;   //
  std::uint64_t header_length;  //

  const char* inputs[kMaxInputFiles];  // in the order of reading; "-" is standard input
  std::uint16_t input_count;
  const char* output;  // null: standard output
  std::uint16_t input_buffer_kb;
  std::uint16_t output_buffer_kb;

  std::uint16_t field_count;  // 0: records are not split into fields
  const std::uint8_t* byte_class;
  bool missing_fields;  // -mfr
  ColumnMode column_mode;

  std::uint16_t key_count;
  InspectedKey keys[kMaxKeys];

  bool unique;
  std::int16_t verbosity;
  bool memory_given;
  std::uint64_t memory_kb;
  std::uint32_t segment_kb;
  std::uint64_t record_estimate;     // records expected
  std::uint64_t needed_estimate_kb;  // record memory that they would take
  const char* work_directory;        // with its separator, a backslash; 0 characters: the current one
  std::uint16_t work_directory_chars;
  std::uint16_t read_block_kb;
  std::uint16_t write_block_kb;
};

enum class RecordFate : std::uint8_t {
  filled,
  faulty,      // read, but its keys cannot be found: a sort ends here
  unreadable,  // the reader failed: a sort ends here, and nothing can be read on
  end,
};

// A record with its place in the input. Left as it is by all calls but those that fill it.
struct InspectedRecord {
  std::uint64_t number;    // from 1
  std::uint64_t position;  // of its first byte in its file
  std::uint16_t file;      // index of its file's name
  std::uint16_t fault;     // of a faulty record: the entry of the key at fault, kNoKey when it lacks a field
  std::uint16_t fields_found;
  std::uint32_t length;
  // Field f of a record that is not faulty, or that has more than f fields, is data[field_start[f] -
  // header_bytes] up to field_end[f] - header_bytes. Valid until the next record is read.
  const std::uint16_t* field_start;
  const std::uint16_t* field_end;
  std::uint16_t header_bytes;
  const std::uint8_t* data;
  alignas(16) std::uint8_t room[kRecordOverhead + kMaxTotalLength];

  [[nodiscard]] std::uint8_t* record() { return room + kBytesInFront; }
  [[nodiscard]] const std::uint8_t* record() const { return room + kBytesInFront; }

 private:
  static constexpr std::uint32_t kBytesInFront = 8;  // a record's link
};

// Why a key has no more bytes.
enum class KeyEnd : std::uint8_t {
  length,      // it has all that its columns give it
  byte,        // `end_byte` is not in its sequence
  record_end,  // there are no more bytes in this direction
};

// Bytes of a record that count for a key, or for a part of a number.
struct KeyBytes {
  std::int32_t first;  // offset in the data; -1 in front of it, the record's length behind it
  std::uint32_t count;
  std::int8_t step;  // -1: from `first` backward
  KeyEnd end;
  std::uint8_t end_byte;
};

struct KeyValue {
  KeyBytes bytes;     // of a number: the integer digits
  KeyBytes fraction;  // of a number
  bool negative;
  std::uint8_t digits;  // integer digits found
  bool too_many;        // more than the number's columns can hold: it sorts as if it had ended
  bool upper_half;      // of a number and a sign key: its class ranks in the upper half. What it governs runs
                        // the other way when the key itself runs so that this half comes first
};

// Result: as FsortStart: 0, or 1 after an error or the usage text. `watch` may be null; it hears of bytes
// that no record is made of while records are read, and must last as long as the handle; lines are left as
// they are. Requires: no sort runs on the handle
[[nodiscard]] std::int32_t inspect_open(fsort_handle handle, std::int32_t argc, const char* const* argv,
                                        InspectedSort* sort, const InputWatch* watch = nullptr);

// Result: 0, or 1 after an error, which has been shown. Requires: open, and no record read yet
[[nodiscard]] std::int32_t inspect_singly(fsort_handle handle);

// Reads and fills the next record; *records counts them, start it at zero. What a fault has to say has been
// shown. A faulty record has its data, and fields_found and fault tell why. Requires: open, and no reader has
// failed
[[nodiscard]] RecordFate inspect_read(fsort_handle handle, const InspectedSort& sort, InspectedRecord* record,
                                      std::uint64_t* records);

// Key `key` of a filled record.
[[nodiscard]] KeyValue inspect_key(fsort_handle handle, const InspectedRecord& record,
                                   const InspectedKey& key);

// -1 when `a` leaves a sort before `b`, 1 when after, 0 when they are equal over all keys. The key that
// decides is stored in *entry as its entry of the key table. Requires: both filled
[[nodiscard]] int inspect_compare(fsort_handle handle, const InspectedRecord& a, const InspectedRecord& b,
                                  std::uint32_t* entry);

enum class CheckVerdict : std::uint8_t { in_order, out_of_order, faulty, unreadable };

struct CheckReport {
  std::uint64_t records;         // read
  const InspectedRecord* later;  // out of order: the record; faulty: likewise; else null
  const InspectedRecord* earlier;
  bool equal;  // out of order because the two are equal and one of each is wanted
};

// Reads to the end, or to the first record that must not follow the one in front of it: that sorts before it,
// or with -u one that is equal to it. `records` is two of the caller's. Requires: open, and nothing read yet
[[nodiscard]] CheckVerdict inspect_check(fsort_handle handle, const InspectedSort& sort,
                                         InspectedRecord* records, CheckReport* report);

}  // namespace fsort
