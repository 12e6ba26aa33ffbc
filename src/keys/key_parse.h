// The key grammar: turns the key list of the command line into the key table.
//
//   <key field>     := <key> [<field list>...]  |  ( <key field> ... )
//   <key>           := -k <range>...  |  -n <range>... [-d <decimal count>]  |  -s <range>...
//   <field list>    := [<local options>] [-f <range>...] [-c <range>...]
//   <local options> := -i [<local options>]  |  -b [<local options>]
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

// The parser's working record, one a nesting level.
struct KeyDescriptor {
  ArgSlice columns;     // -c ranges
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
// key_windup. Raises: "Couldn't register key_windup" and every message of the grammar (see docs/MESSAGES.md)
void key_init(std::int32_t argc, const char** argv, std::int32_t default_type);
// Frees every sequence table. May run twice.
void key_windup(Instance* instance);

}  // namespace fsort
