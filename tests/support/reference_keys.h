// First half of the reference engine: command line to key table, record to key offsets, by the letter.
//
// Everything is written the plainest way, on strings and vectors, with none of the engine's code: number and
// range syntax, collating sequences, the recursive descent over the key list, the location of fields and
// keys. Faults of the command line and of records are thrown as ReferenceFault with the text that the sort
// displays.
//
// An offset counts from the first data byte. A number's sign entry has no place in the data; its signed digit
// count is kept beside it, unless the key before it had -d 0, which leaves the sign entry pointing at data.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "support/reference_arguments.h"

namespace fsort_test {

struct ReferenceTable {
  std::array<int, 256> rank{};
  std::array<bool, 256> outside{};
  std::array<bool, 256> blank{};
  int highest = 0;
};

enum class RowType { character = 2, governing_sign = 4, number_sign = 5, integer = 6, fraction = 7 };

struct ReferenceRow {
  int field = 0;
  int start = 0;   // 65535: open
  int length = 0;  // 65535: open
  int step = 1;
  RowType type = RowType::character;
  int count = 0;
  bool descending = false;
  std::shared_ptr<ReferenceTable> table;
};

// What the options besides the keys say.
struct ReferenceOptions {
  bool unique = false;
  std::uint64_t file_kb = 0;      // -fs
  std::uint64_t record_size = 0;  // -rs
  std::uint64_t memory_kb = 0;    // -m
  std::uint64_t segment_kb = 91;  // -l
  bool file_kb_given = false;
  bool record_size_given = false;
};

struct ReferenceRecord {
  std::vector<int> offset;      // by row: first byte in the data
  std::vector<int> sign_count;  // by row: signed digit count, or 0 when the sign lies in the data
};

class ReferenceKeys {
 public:
  // `arguments` without the command's name. Throws ReferenceFault.
  explicit ReferenceKeys(std::vector<std::string> arguments);

  [[nodiscard]] const std::vector<ReferenceRow>& rows() const { return rows_; }
  [[nodiscard]] const ReferenceOptions& options() const { return options_; }
  [[nodiscard]] std::uint64_t header_bytes() const;
  // Throws ReferenceFault with the record's text in front of the message.
  [[nodiscard]] ReferenceRecord fill(const std::string& data) const;

 private:
  struct Range {
    int start = 0;
    int end = 0;
  };
  struct Descriptor {
    std::vector<std::string> columns, blanks;
    std::vector<std::string> slice;
    bool nested = false;
    Range parent_place;  // start and length
    int parent_field = 0;
    int parent_step = 1;
    bool pending = false;
    bool descending = false;
    int type = 0;
    int decimals = 255;
    std::shared_ptr<ReferenceTable> sequence;
  };
  using Arguments = std::vector<std::string>;

  void take_options(Arguments* arguments);
  bool take_flag(Arguments* arguments, const std::string& name);
  std::size_t apply(const Arguments& arguments, std::size_t index, std::array<bool, 256>* flags) const;
  void take_ranges(Arguments* arguments, const std::string& name, std::array<bool, 256>* flags);
  void parse_command(Arguments* arguments);
  std::size_t parse_keylist(const Arguments& arguments, std::size_t index, Descriptor* d, bool descending);
  std::size_t parse_group(const Arguments& arguments, std::size_t index, Descriptor* d);
  std::size_t parse_flist(const Arguments& arguments, std::size_t index, Descriptor* d, bool descending);
  std::size_t parse_options(const Arguments& arguments, std::size_t index, Descriptor* d);
  std::size_t parse_field(const Arguments& arguments, std::size_t index, Descriptor* d);
  std::size_t fill_sequence(const Arguments& arguments, std::size_t index, Descriptor* d) const;
  void emit(Descriptor* d);
  void emit_nested(Descriptor* d, Range column);
  void out(Descriptor* d, int field, int start, int length, int step);
  void table_rows(Descriptor* d, int field, int start, int length, int step);
  void create(const ReferenceRow& row);
  std::shared_ptr<ReferenceTable> sign_table(int length) const;
  void locate_fields(const std::string& data, std::vector<int>* starts, std::vector<int>* ends) const;
  int locate_key(const ReferenceRow& row, const std::string& data, int field_start, int field_end) const;
  int fill_number(std::size_t row, const std::string& data, int at, int field_end,
                  ReferenceRecord* record) const;

  std::vector<ReferenceRow> rows_;
  ReferenceOptions options_;
  std::shared_ptr<ReferenceTable> default_table_, digit_table_;
  std::vector<std::string> current_fields_;
  std::array<bool, 256> blank_flags_{}, global_blank_{}, delimiter_{};
  bool global_invert_ = false, missing_fields_ = false, clamp_field_ = false, clamp_record_ = false;
  int field_count_ = 0;
  int numeric_keys_ = 0;
};

}  // namespace fsort_test
