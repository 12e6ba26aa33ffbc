// Collating sequences: reading them from the command line, the shared tables, sign tables, and the classes
// that the engine sorts by.
//
// Reading. Each range gives its bytes the next ranks in the order it is written in; -r takes the rank back to
// where the range before it began, so that two ranges share ranks:
//
//     'a'-'z' -r 'A'-'Z'      a, A = 0 ... z, Z = 25; all other bytes end a key
//     'z'-'a'                 z = 0 ... a = 25
//
// Sign tables. A numeric key's first entry is a signed digit count, one byte d + 1 or -(d + 1) for d integer
// digits. With n the region's length and m = n + 1 the table ranks -m ... -1 as 0 ... m - 1 and 1 ... m as m
// ... 2m - 1: the more digits a negative number has the lower it sorts, a positive one the higher. For n = 3:
//
//     byte   252 253 254 255   1  2  3  4        (252 = -4: a negative number of three digits)
//     rank    0   1   2   3    4  5  6  7
//
// Only 256 ranks exist, so a region longer than 127 bytes takes n = 32, as an open one does; a number has at
// most 31 integer digits anyway.
//
// Shared tables. The default and the numeric table are made on first use and shared by every key that names
// no sequence of its own. Marks set through one key (blanks of a local -b, delimiters) are therefore seen by
// all of them, earlier keys included.
//
// Tables lie in a list of nodes, newest first, and are freed together.
#include "keys/sequence.h"

#include <cstring>

#include "cmdline/arg.h"
#include "keys/key_table.h"
#include "keys/keys_access.h"
#include "platform/heap.h"
#include "support/osdll.h"

namespace fsort {

struct SequenceNode {
  SequenceNode* next;
  Sequence table;
};

namespace {

constexpr std::uint8_t kTab = 9;
constexpr unsigned kFirstPrintable = 32;
constexpr unsigned kLastPrintable = 126;
constexpr unsigned kSignDigits = 32;          // n of a sign table whose region is open or longer ...
constexpr unsigned kLongestSignRegion = 127;  // ... than this: 2 (n + 1) ranks must fit in 256

// Ranks given so far while a sequence is read.
struct RankCursor {
  std::uint8_t running;      // next rank; eight bits
  std::uint8_t range_begin;  // rank at which the latest range began
  unsigned highest;
};

void rank_byte(Sequence* table, RankCursor& cursor, std::uint8_t byte) {
  if (cursor.running > cursor.highest) cursor.highest = cursor.running;
  // Kept on purpose: the running rank is eight bits wide and wraps, so the 257th value takes rank 0 again and
  // this test never fires.
  if (cursor.highest == kByteValues) osdll_error("Collating sequence has more than 256 values\n");
  table->set(byte, cursor.running);
  cursor.running = static_cast<std::uint8_t>(cursor.running + 1);
}

void rank_range(Sequence* table, RankCursor& cursor, const char* text) {
  Range range{};
  const bool valid = arg_range(text, &range);
  const std::uint16_t larger = range.start > range.end ? range.start : range.end;
  if (!valid || larger >= kByteValues) osdll_error("Invalid range for collating sequence - %s", text);
  cursor.range_begin = cursor.running;
  const int step = range.start <= range.end ? 1 : -1;
  for (int b = range.start;; b += step) {
    rank_byte(table, cursor, static_cast<std::uint8_t>(b));
    if (b == range.end) break;
  }
}

void finish(Sequence* table) {
  for (unsigned b = 0; b < kByteValues; ++b) {
    const auto byte = static_cast<std::uint8_t>(b);
    const bool ended = (table->flags(byte) & kNotInSequence) != 0;
    table->value[b] = ended ? std::uint16_t{0} : static_cast<std::uint16_t>(table->rank(byte) + 1);
  }
  table->bounded = (table->flags(0) & kNotInSequence) == 0 ? 1 : 0;
}

}  // namespace

void seq_init(std::int32_t default_type) {
  SequenceState& s = seq_st();
  FSORT_ASSERT(s.tables == nullptr);
  s.default_table = nullptr;
  s.numeric_table = nullptr;
  s.default_type = default_type;
}

Sequence* seq_alloc() {
  auto* node = static_cast<SequenceNode*>(heap_alloc(sizeof(SequenceNode)));
  if (node == nullptr) osdll_error("Couldn't get memory for sequence table");
  std::memset(node, 0, sizeof *node);
  for (unsigned b = 0; b < kByteValues; ++b) node->table.mark(static_cast<std::uint8_t>(b), kNotInSequence);
  SequenceState& s = seq_st();
  node->next = s.tables;
  s.tables = node;
  return &node->table;
}

void seq_free_all(SequenceState& state) {
  while (state.tables != nullptr) {
    SequenceNode* node = state.tables;
    state.tables = node->next;
    heap_free(node);
  }
  state.default_table = nullptr;
  state.numeric_table = nullptr;
}

std::uint32_t seq_fill(std::int32_t argc, const char* const* argv, std::uint32_t index, Sequence** table) {
  if (!arg_operand(argc, argv, index)) return index;
  if (*table == nullptr) *table = seq_alloc();
  RankCursor cursor{};
  for (; index < static_cast<std::uint32_t>(argc); ++index) {
    if (arg_operand(argc, argv, index)) {
      rank_range(*table, cursor, argv[index]);
    } else if (std::strcmp(argv[index], "-r") == 0) {
      cursor.running = cursor.range_begin;
    } else {
      break;
    }
  }
  if (cursor.highest == 0) osdll_error("Collating sequence has only one value");
  (*table)->max_rank = static_cast<std::uint8_t>(cursor.highest);
  return index;
}

Sequence* key_seq_default() {
  SequenceState& s = seq_st();
  if (s.default_table != nullptr) return s.default_table;
  Sequence* table = seq_alloc();
  unsigned rank = 0;
  if (s.default_type == kKeyCharacter) {
    table->set(kTab, static_cast<std::uint8_t>(rank++));
    for (unsigned b = kFirstPrintable; b <= kLastPrintable; ++b) {
      table->set(static_cast<std::uint8_t>(b), static_cast<std::uint8_t>(rank++));
    }
  } else {
    for (; rank < kByteValues; ++rank) {
      table->set(static_cast<std::uint8_t>(rank), static_cast<std::uint8_t>(rank));
    }
  }
  table->max_rank = static_cast<std::uint8_t>(rank - 1);
  s.default_table = table;
  return table;
}

Sequence* key_seq_num() {
  SequenceState& s = seq_st();
  if (s.numeric_table != nullptr) return s.numeric_table;
  Sequence* table = seq_alloc();
  for (unsigned digit = 0; digit <= 9; ++digit) {
    table->set(static_cast<std::uint8_t>('0' + digit), static_cast<std::uint8_t>(digit));
  }
  table->max_rank = 9;
  s.numeric_table = table;
  return table;
}

Sequence* key_seq_sign(std::uint16_t length) {
  const unsigned n = length > kLongestSignRegion ? kSignDigits : length;
  const unsigned m = n + 1;
  Sequence* table = seq_alloc();
  for (unsigned i = 0; i < m; ++i) {
    table->set(static_cast<std::uint8_t>(kByteValues - m + i), static_cast<std::uint8_t>(i));
  }
  for (unsigned i = 0; i < m; ++i) {
    table->set(static_cast<std::uint8_t>(1 + i), static_cast<std::uint8_t>(m + i));
  }
  table->max_rank = static_cast<std::uint8_t>(2 * m - 1);
  return table;
}

void sequence_finish_all() {
  for (SequenceNode* node = seq_st().tables; node != nullptr; node = node->next) finish(&node->table);
}

}  // namespace fsort
