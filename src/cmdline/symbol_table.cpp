// Symbol table of the command-line expansion: a short array, searched linearly.
#include "cmdline/symbol_table.h"

#include <cstring>

#include "support/error.h"

namespace fsort {
namespace {

struct BuiltIn {
  SymbolType type;
  const char* name;
};

constexpr BuiltIn kBuiltIns[] = {
    {SymbolType::kOrdinary, ""},
    {SymbolType::kDefine, "-#define"},
    {SymbolType::kEnd, "-#end"},
    {SymbolType::kInclude, "-#include"},
};

}  // namespace

void sym_init(SymbolTable& table) {
  table.count = 0;
  for (const BuiltIn& entry : kBuiltIns) sym_install(table, entry.type, &entry.name, 1);
}

void sym_install(SymbolTable& table, SymbolType type, const char* const* tokens, std::uint16_t token_count) {
  if (table.count == kMaxSymbols) ErrorReturn(kErrorCode, "Too many macros defined");
  table.symbols[table.count++] =
      Symbol{.type = type, .token_count = token_count, .active = 0, .tokens = tokens};
}

std::uint32_t sym_lookup(const SymbolTable& table, const char* name) {
  std::uint32_t i = table.count - 1;
  while (i > 0 && std::strcmp(table.symbols[i].tokens[0], name) != 0) --i;
  return i;
}

}  // namespace fsort
