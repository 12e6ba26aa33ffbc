// The key grammar: turns the key list of the command line into the key table.
//
//   <key field>     := <key> [<field list>...]  |  ( <key field> ... )
//   <key>           := -k <range>...  |  -n <range>... [-d <decimal count>]  |  -s <range>...
//   <field list>    := [<local options>] [-f <range>...] [-c <range>...]
//   <local options> := -i [<local options>]  |  -b [<local options>]
//
// docs/KEYS.md explains the grammar by examples.
#pragma once

#include <cstdint>

#include "keys/key_table.h"

namespace fsort {

struct Instance;

// A place in the argument vector: first index and number of arguments.
struct ArgSlice {
  std::uint32_t first;
  std::uint32_t count;
};

inline constexpr std::uint8_t kDecimalsOpen = 255;  // -d not given

// Deepest nesting of groups, and most regions that all groups together may expand to. Both bound the work of
// the parser (its stack and its time); no key list that fits the table comes near them.
inline constexpr std::uint32_t kMaxGroupDepth = 256;
inline constexpr std::uint32_t kMaxGroupRegions = 65536;

// What all nesting levels of one parse share.
struct KeyParser {
  const char** argv;
  ArgSlice fields;  // ranges of the current -f list; no range = the one range "0"
  std::uint8_t global_descending;
  std::uint32_t group_depth;    // groups being expanded now
  std::uint32_t group_regions;  // regions that groups were expanded over so far
};

// The parser's working record, one a nesting level.
struct KeyDescriptor {
  ArgSlice columns;     // -c ranges; no range = the one range "0-"
  ArgSlice blanks;      // local -b ranges
  ArgSlice group;       // the arguments between the parentheses
  std::uint8_t nested;  // inside a group: the parent region follows
  std::uint16_t parent_field;
  std::uint16_t parent_start;
  std::uint16_t parent_length;
  std::uint8_t parent_direction;
  std::uint8_t pending;  // a field list is expected and not yet emitted
  std::uint8_t descending;
  std::int32_t type;
  std::uint8_t decimals;
  Sequence* sequence;  // null until given or taken by default
};

// Parses the key list from argument 1 on into the key table and blanks what it consumed; registers
// key_windup. Releases first what an earlier start of this instance left. Raises: "Couldn't register
// key_windup" and every message of the grammar (see docs/MESSAGES.md)
void key_init(std::int32_t argc, const char** argv, std::int32_t default_type);
// Frees every sequence table. May run twice.
void key_windup(Instance* instance);

}  // namespace fsort
