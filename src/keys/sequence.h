// Collating sequences: the rank of each byte value for a key, and two flags.
//
// A key compares its bytes through a sequence table. Rank r and flags of byte value b stand side by side in
// `pairs`; flag 2 = the byte is not in the sequence (the key ends there), flag 1 = a blank, skipped in front
// of the key. The engine never reads the pairs: sequence_finish derives one table of classes from them,
//
//     value[b] = 0 when b carries kNotInSequence (the key has ended), else rank + 1
//
// once all flags are set (delimiters and blanks are marked after parsing, and shared tables take marks from
// every key that uses them). Distribution and list sort both read `value`, so they agree on the order.
//
// `bounded` tells the engine that some end of a key in this table is not marked by a byte: byte 0, which
// follows every record, is in the sequence, so a scan must stop at the record's end by its length.
#pragma once

#include <cstdint>

namespace fsort {

inline constexpr std::uint8_t kNotInSequence = 2;
inline constexpr std::uint8_t kBlankInSequence = 1;
inline constexpr unsigned kByteValues = 256;

struct Sequence {
  // The table proper: 256 pairs of rank and flags, then the highest rank.
  std::uint8_t pairs[2 * kByteValues];
  std::uint8_t max_rank;
  // Derived by sequence_finish.
  std::uint8_t bounded;
  std::uint16_t value[kByteValues];

  [[nodiscard]] std::uint8_t rank(std::uint8_t b) const { return pairs[2 * b]; }
  [[nodiscard]] std::uint8_t flags(std::uint8_t b) const { return pairs[2 * b + 1]; }
  void set(std::uint8_t b, std::uint8_t rank) {
    pairs[2 * b] = rank;
    pairs[2 * b + 1] &= static_cast<std::uint8_t>(~kNotInSequence);
  }
  void mark(std::uint8_t b, std::uint8_t flag) { pairs[2 * b + 1] |= flag; }
};

struct SequenceNode;  // list of every table made, newest first

struct KeyDescriptor;

struct SequenceState {
  SequenceNode* tables;
  Sequence* default_table;  // shared; null until first used
  Sequence* numeric_table;  // shared; null until first used
  std::int32_t default_type;
};

// Forgets the shared tables. Requires: no table is live (seq_free_all ran).
void seq_init(std::int32_t default_type);
// A table with every rank 0 and every byte not in the sequence. Raises: "Couldn't get memory for sequence
// table"
[[nodiscard]] Sequence* seq_alloc();
// Frees every table, newest first, and forgets the shared ones. May run twice.
void seq_free_all(SequenceState& state);

// Reads the sequence written after -k, -n or -s from `index` on into *table, making it on first use; an
// argument that is no operand reads nothing. Result: the index after it. Raises: "Invalid range for collating
// sequence - <text>", "Collating sequence has only one value", "Couldn't get memory for sequence table"
std::uint32_t seq_fill(std::int32_t argc, const char* const* argv, std::uint32_t index, Sequence** table);

// The shared default table: tab, then 32 to 126, ranks 0 to 95.
[[nodiscard]] Sequence* key_seq_default();
// The shared numeric table: the digits, ranks 0 to 9.
[[nodiscard]] Sequence* key_seq_num();
// A new sign table for a numeric key of `length` bytes; see the .cpp for its ranks.
[[nodiscard]] Sequence* key_seq_sign(std::uint16_t length);

// Derives value[] and bounded. Called once for every table after all marks are set.
void sequence_finish_all();

}  // namespace fsort
