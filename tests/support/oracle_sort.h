// The independent judge of sorted output: what the order of two records is, worked out the naive way.
//
// A sort is described by a SortSpec: the key grammar as a tree, without any text. The oracle turns the tree
// into a flat list of pieces (one per key, field and column range), extracts from every record the plain
// value of each piece, and compares two records value by value. Nothing here is shared with the engine: no
// header, no table layout, no record header. What it knows are the rules for people who write sort commands:
//
//   character piece  the ranks of its bytes up to the first byte outside the sequence, the column end or the
//                    record's end; compared like words, the shorter first
//   numeric piece    a class made of sign and number of integer digits, then the integer digits, then the
//                    fraction digits; digits of a number in the lower half run the other way
//   sign piece       one byte, whatever its columns say; keys after it in the same list run the other way for
//                    the lower half
//
// Kept oddities of the rules are part of the judgement: numbers are not bounded by their column, a comma is a
// decimal point even when it delimits fields, a number with more digits than its column counts as having no
// sign class, and after a key without decimals (-d 0) the next piece begins where the fraction would.
#pragma once

#include <array>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace fsort_test {

inline constexpr int kOpen = -1;          // the side of a range that was left out
inline constexpr int kAllDecimals = 255;  // fraction digits that count without -d

// A range as written: first-last, descending allowed.
struct Span {
  int first = 0;
  int last = 0;
};

// One operand of a collating sequence, or -r.
struct SequencePart {
  bool back = false;  // -r: the next range shares the ranks of the previous one
  Span bytes;
};

// Local options, fields and columns: one emission of a key.
struct FieldList {
  bool invert = false;
  std::vector<Span> blanks;   // -b; empty: none given
  int decimals = kOpen;       // -d; kOpen: not given
  std::vector<Span> fields;   // -f; empty: not given
  std::vector<Span> columns;  // -c; empty: not given
};

enum class KeyKind { plain, character, numeric, sign, group };

struct KeySpec {
  KeyKind kind = KeyKind::plain;  // plain: a field list without a key letter
  std::vector<SequencePart> sequence;
  std::vector<FieldList> lists;
  std::vector<KeySpec> inner;  // keys between the parentheses of a group
};

struct SortSpec {
  bool unique = false;
  bool invert = false;
  std::vector<Span> delimiters;  // -t; empty: the tab
  std::vector<Span> blanks;      // global -b
  bool missing_fields = false;   // -mfr
  bool clamp_to_field = false;   // -mcf
  bool clamp_to_record = false;  // -mcr
  std::vector<KeySpec> keys;
};

// A record that the sort must refuse; what() is the message that follows the record's text.
struct RecordFault : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The value of one piece. `lead` is class + 1 of a sign, 0 when the byte is outside its sequence.
struct PieceValue {
  int lead = 0;
  bool upper = false;
  std::string main;      // ranks of the key bytes, or of the integer digits
  std::string fraction;  // ranks of the fraction digits
};
using RecordKey = std::vector<PieceValue>;

class Oracle {
 public:
  explicit Oracle(const SortSpec& spec);

  // The values of all pieces. Throws RecordFault.
  [[nodiscard]] RecordKey extract(const std::string& record) const;
  // Below 0, 0, above 0: a before b, equal in every key, after.
  [[nodiscard]] int compare(const RecordKey& a, const RecordKey& b) const;
  // Rows of the key table that the pieces need, of which there are at most 32.
  [[nodiscard]] int table_rows() const;

 private:
  struct Ranking {
    std::array<int, 256> rank;
    std::array<bool, 256> blank;
    int top = 0;
    Ranking() {
      rank.fill(-1);
      blank.fill(false);
    }
  };
  struct Region {
    int field = 0;
    int start = 0;
    int length = kOpen;
    int step = 1;
  };
  struct Piece {
    KeyKind kind = KeyKind::character;
    Region at;
    bool descending = false;
    int decimals = kAllDecimals;
    std::shared_ptr<Ranking> ranking;    // of the bytes or digits
    std::array<bool, 256> lead_blank{};  // skipped in front of a number
    std::array<int, 256> lead_class{};   // numeric: class + 1 of a signed digit count
    int lead_top = 0;                    // highest class of the sign
    std::size_t governed = 0;            // pieces that this sign inverts
  };
  struct Fields {
    std::vector<int> start, end;
  };

  void add_keys(const std::vector<KeySpec>& keys, std::size_t from, bool descending, const Region* parent);
  void add_key(const KeySpec& key, bool descending, const Region* parent);
  void add_list(const KeySpec& key, const FieldList& list, bool descending, const Region* parent,
                const std::shared_ptr<Ranking>& own);
  void add_piece(const KeySpec& key, const FieldList& list, bool descending, const Region& at,
                 const std::shared_ptr<Ranking>& own);
  void mark_delimiters();
  std::vector<Region> regions(const FieldList& list, const Region* parent) const;
  [[nodiscard]] Fields locate_fields(const std::string& record) const;
  [[nodiscard]] int locate(const Piece& piece, const Fields& fields, int length,
                           const std::array<bool, 256>& blank, const std::string& record) const;
  [[nodiscard]] static std::string scan(const Ranking& ranking, const std::string& record, int from, int step,
                                        int most);
  void number(const Piece& piece, const std::string& record, int from, int field_end, PieceValue* value,
              int* fraction_at) const;
  [[nodiscard]] int compare_run(const RecordKey& a, const RecordKey& b, std::size_t from, std::size_t to,
                                int direction) const;

  SortSpec spec_;
  std::vector<Piece> pieces_;
  std::shared_ptr<Ranking> default_ranking_;
  std::shared_ptr<Ranking> digit_ranking_;
  std::vector<Span> fields_in_force_;
  int field_count_ = 0;
  std::array<bool, 256> delimiter_{};
  std::array<bool, 256> blank_{};
};

// What is wrong with `output` as the result of sorting `input`, or "" when nothing is: the same records
// (under unique one member of each class) in order.
[[nodiscard]] std::string judge(const SortSpec& spec, const std::vector<std::string>& input,
                                const std::vector<std::string>& output);

}  // namespace fsort_test
