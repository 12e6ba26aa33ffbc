// The names that mean something while a command line is expanded: three directives and the user's macros.
//
// A name is looked up from the newest entry to the oldest, so a later definition of a macro hides an earlier
// one. Entry 0 has the empty name and stands for every ordinary argument: a name that is not found gives 0,
// and so does the empty argument.
#pragma once

#include <cstdint>

namespace fsort {

enum class SymbolType : std::uint16_t { kOrdinary = 0, kDefine = 1, kEnd = 2, kInclude = 3, kMacro = 4 };

struct Symbol {
  SymbolType type;
  std::uint16_t token_count;  // name included
  std::uint32_t active;       // 1 while the macro is being expanded
  const char* const* tokens;  // the name, then the body
};

inline constexpr std::uint32_t kMaxSymbols = 64;

struct SymbolTable {
  Symbol symbols[kMaxSymbols];
  std::uint32_t count;
};

// Empties the table and installs the four built-in entries.
void sym_init(SymbolTable& table);
// Appends an entry. Valid until: the tokens' owner moves them. Raises: "Too many macros defined"
void sym_install(SymbolTable& table, SymbolType type, const char* const* tokens, std::uint16_t token_count);
// Index of the newest entry with exactly this name, 0 when there is none.
[[nodiscard]] std::uint32_t sym_lookup(const SymbolTable& table, const char* name);

}  // namespace fsort
