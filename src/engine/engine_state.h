// The engine's blocks of the instance: driver options and plan, and the state of the running sort.
#pragma once

#include <cstdint>

#include "keys/key_table.h"
#include "keys/record_sum.h"
#include "support/record_functions.h"

namespace fsort {

struct Environment;
struct Stack;
struct ArrayEntry;
struct CheckRoom;

inline constexpr std::uint32_t kWaitingRecords = 32;

// A record that has left and is not checked yet.
struct WaitingRecord {
  const std::uint8_t* record;
  std::uint64_t word;         // of a whole record (array_entry.h)
  std::uint32_t whole_bytes;  // its bytes; 0: it is not one
};

// What is known of the records that have left (output_check.h).
struct OutputCheck {
  std::uint8_t wanted;          // stays from start to start
  std::uint8_t unique;          // -u: equals must not follow each other
  RecordSum sum;                // of the records that left
  std::uint64_t misplaced;      // number, from 1, of the first one that came too late; 0: none did
  std::uint64_t count;          // records looked at
  CheckRoom* room;              // heap block; null when nothing is checked
  std::uint32_t waiting_count;  // records that left behind them
  // The latest one that was looked at, whose record is null before the first, then those that wait.
  WaitingRecord waiting[1 + kWaitingRecords];
};

// Options and memory plan (driver_init.cpp).
struct DriverState {
  std::uint8_t unique;             // -u
  std::uint8_t in_list_sort;       // a list sort is running: its records must stay where they are
  std::int16_t verbosity;          // -1 quiet, 0 default, above 0: levels are shown down to this depth
  std::int16_t depth;              // nesting of levels now
  std::uint32_t compress;          // levels left larger than they need
  std::uint32_t segment_kb;        // -l
  std::uint32_t bins_per_segment;  // most bins of one level, at most 65535
  std::uint64_t file_kb;           // -fs, then the estimate of record memory needed
  std::uint64_t record_count;      // estimate, saturating at 2^32 - 1
  std::uint64_t memory_kb;         // -m, then the plan; 0 when -m is absent
  std::uint8_t memory_given;       // -m names a size: never take more
  std::uint64_t machine_kb;        // most that a sort without -m may take
  std::uint64_t data_left;         // bytes of record memory still expected
  std::uint64_t frame_limit;       // largest data-stack frame before a new one is pushed
  std::uint32_t frame_floor;       // data-stack frames that memory relief must keep
  std::int64_t subdivide_kb;       // a bin of at most this many KB in memory is written out, not subdivided
  std::uint64_t data_memory_kb;    // memory_kb - segment_kb
  ReadFunction input;
  WriteFunction output;
  Stack* sublist_stack;       // levels
  Stack* data_stack;          // records
  Environment* environment;   // root level, for the windup; null outside a sort
  std::uint8_t plain_levels;  // tests: no shortcut, every level in full, relief within its memory
  OutputCheck check;
  std::uint8_t reading_input;  // the root pass is running: more data is to come
};

// How the classes of several key bytes are found at once (key_word.h).
enum KeyMapping : std::uint8_t {
  kMapByBytes,   // they are not: walked backwards, or an end that no byte marks
  kMapByTable,   // byte by byte out of one load
  kMapByRun,     // most of the table is one run of bytes in ascending order: all at once
  kMapBySpread,  // each of the 256 bytes is a class of its own, in ascending order: all at once
};

// What the hot loops need of one key, gathered once a sort (key_view.h).
struct KeyView {
  const std::uint16_t* value;  // class + 1 of a byte, 0 = the key has ended
  std::uint16_t max_class;     // highest class
  std::uint16_t length;        // key bytes; 1 for a key that governs others
  std::int16_t step;           // +1 or -1
  std::uint8_t governed;       // entries that this key's lower half inverts
  std::uint8_t bounded;        // offsets must be tested against the record's ends
  KeyMapping mapping;
  std::uint8_t one_to_one;  // no two bytes share a class
  std::uint8_t spans;       // words of entries go on with the next key (key_word.h)
  std::uint8_t narrow;      // words of entries take four bits a value
  std::uint8_t digits;      // and all keys spanned from here on have the ten digits in their own order
  // kMapByRun: bytes run_start to run_start + run_last have the values run_value, run_value + 1, ...
  std::uint8_t run_start;
  std::uint8_t run_last;
  std::uint8_t run_value;
  std::uint8_t run_is_all;  // no other byte has a class
};

// The running sort.
struct SortState {
  KeyView keys[kMaxKeys];
  std::uint16_t key_count;
  std::uint16_t header_bytes;           // H
  std::uint32_t descending;             // bit k: key k runs downward now (ikey.h)
  std::uint32_t written_descending;     // the same before any flip: the -i flags of the key table
  std::uint32_t invert_mask[kMaxKeys];  // keys that ikey(k) flips
  Environment* current;                 // level being worked on
  Environment* newest;                  // level made last and still alive
  Environment* relocation;              // kept up to date while levels are copied
  std::uint8_t preload_in_force;        // records of following bins have been read ahead
  std::uint8_t emitting;                // records of a bin on file are being emitted: nothing may move
  Environment* protected_level;         // memory relief writes this bin, but makes no child of it
  std::uint32_t protected_bin;
  std::uint64_t memory_reserve;   // bytes a preload asked for
  std::uint64_t free_data_kb;     // data memory left to deeper preloads
  std::uint8_t** hint_rings;      // latest heads of each bin (distribute.cpp); null: no hints
  std::uint32_t hint_bins;        // bins that hint_rings has room for
  std::uint8_t hint_rings_taken;  // a pass is using them
  std::uint8_t** descent_rings;   // the same for descents, shared by address (descent.cpp)
  ArrayEntry* entries;            // scratch of the array sort; null until first used
  std::uint64_t entry_capacity;   // entries in each half of it
  std::uint64_t records_written;
  std::uint32_t levels_moved;  // compactions that moved the level being worked on; only tests look at it
};

}  // namespace fsort
