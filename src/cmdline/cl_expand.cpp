// Expansion of an argument vector into the flat, final one that every option parser searches.
//
// Tokens come from a stack of sources (token_source.h): the caller's arguments at the bottom, then whatever
// is being expanded, an include file or the body of a macro. Each token is looked up (symbol_table.h): a
// directive acts, a macro's name pushes its body, everything else becomes an output argument.
//
//   in    -q  -#define K  -k -c 0-1  -#end  K                       out   -q -k -c 0-1
//
// Output array. Output arguments grow upward; finished definitions are moved to the top end of the same
// array and grow downward. Their slots and their text are never given back, so a definition costs the slots
// of its tokens for good. The free slots always lie between the two.
//
//   out   | -q |  ... free ...  | X | body of X | K | -k | -c | 0-1 |      + one place for the final null
//
// Definitions. Between "-#define" and its "-#end" arguments are stored as usual; at "-#end" those stored
// since (the name first) become the macro. A definition inside a definition is stored like any text and takes
// effect when the outer macro is expanded, and so does an include. A macro used inside a definition is
// expanded at once, except in the place of the name: the token behind "-#define" is defined, not used, so a
// macro can be defined again.
//
// Names and directives are matched before the last step, which lowers every argument that begins with "-":
// "-K" is the option "-k", but "-#DEFINE" is no directive.
//
// State. Everything lives in one Expansion record in cl_copy's frame, so that a display callback that starts
// another instance's sort while an error is being shown cannot disturb it. Include files that are open when
// an error strikes are closed behind the trap, after the messages.
//
// Raises nothing: errors are displayed and turned into the result 1.
#include "cmdline/cl_expand.h"

#include <cstring>

#include "cmdline/ascii.h"
#include "cmdline/symbol_table.h"
#include "cmdline/text_area.h"
#include "cmdline/token_source.h"
#include "support/error.h"

namespace fsort {
namespace {

constexpr std::uint32_t kMaxSources = 8;
// Level of this trap alone; all codes raised are 1, so it catches what the others catch.
constexpr std::int32_t kExpansionTrapLevel = 2;

struct Expansion {
  const char** out;
  std::uint32_t stored;        // output arguments, those of an open definition included
  std::uint32_t free_slots;    // between them and the finished definitions
  std::uint32_t define_depth;  // unmatched -#define
  std::uint32_t define_free;   // free_slots when the outermost of them was seen
  std::uint32_t depth;         // index of the current source
  std::uint8_t name_expected;  // the token before was a -#define
  std::int32_t argc;           // the caller's vector
  const char* const* argv;
  TextArea text;
  TokenSource sources[kMaxSources];
  SymbolTable table;
};

// Makes room for one more source; the caller opens it.
TokenSource& push_source(Expansion& e) {
  if (e.depth + 1 == kMaxSources) ErrorReturn(kErrorCode, "Command nesting too deep");
  TokenSource& source = e.sources[++e.depth];
  source.stream = nullptr;
  return source;
}

void store_argument(Expansion& e, const char* token) {
  if (e.free_slots == 0) ErrorReturn(kErrorCode, "Too many arguments generated");
  e.out[e.stored] = text_store(e.text, token);
  ++e.stored;
  --e.free_slots;
}

// The outermost definition is complete: moves its tokens to the top and installs the macro. Nothing was
// stored: nothing is defined.
void end_definition(Expansion& e) {
  const std::uint32_t count = e.define_free - e.free_slots;
  if (count == 0) return;
  e.stored -= count;
  const char** block = e.out + e.stored + e.free_slots;  // may overlap the old place
  std::memmove(block, e.out + e.stored, count * sizeof(*e.out));
  sym_install(e.table, SymbolType::kMacro, block, static_cast<std::uint16_t>(count));
}

void include_file(Expansion& e) {
  const char* name = gettoken(e.sources[e.depth], e.text);
  if (name == nullptr) ErrorReturn(kErrorCode, "Include must be followed by a file name");
  source_open_file(push_source(e), name);
}

void expand_macro(Expansion& e, Symbol& macro) {
  TokenSource& source = push_source(e);
  if (macro.active != 0) ErrorReturn(kErrorCode, "Macros cannot be recurrsive");
  macro.active = 1;
  source_open_list(source, macro.token_count - 1, macro.tokens + 1, &macro);
}

void expand_token(Expansion& e, const char* token) {
  Symbol& symbol = e.table.symbols[sym_lookup(e.table, token)];
  const bool is_name = e.name_expected != 0;
  e.name_expected = symbol.type == SymbolType::kDefine;
  switch (symbol.type) {
    case SymbolType::kDefine:
      if (e.define_depth++ > 0) break;
      e.define_free = e.free_slots;
      return;
    case SymbolType::kEnd:
      if (e.define_depth == 0) ErrorReturn(kErrorCode, "-#endif with no corresponding -#define");
      if (--e.define_depth > 0) break;
      end_definition(e);
      return;
    case SymbolType::kInclude:
      if (e.define_depth > 0) break;
      include_file(e);
      return;
    case SymbolType::kMacro:
      if (is_name) break;
      expand_macro(e, symbol);
      return;
    case SymbolType::kOrdinary:
    default:
      break;
  }
  store_argument(e, token);
}

// Options, and values that begin with "-", are matched in lower case by every later module.
void lower_options(Expansion& e) {
  for (std::uint32_t i = e.stored; i-- > 0;) {
    if (e.out[i][0] != '-') continue;
    for (char* c = e.text.base + (e.out[i] - e.text.base); *c != '\0'; ++c) *c = ascii_to_lower(*c);
  }
}

int expand(Expansion& e) {
  sym_init(e.table);
  source_open_list(e.sources[0], e.argc, e.argv, nullptr);
  for (;;) {
    const char* token = gettoken(e.sources[e.depth], e.text);
    if (token != nullptr) {
      expand_token(e, token);
    } else if (e.depth > 0) {
      --e.depth;
    } else {
      break;
    }
  }
  if (e.define_depth > 0) ErrorReturn(kErrorCode, "Unbalanced -#define -#end pair");
  e.out[e.stored] = nullptr;
  lower_options(e);
  return 0;
}

}  // namespace

int cl_copy(std::int32_t* count, const char** out, std::int32_t argc, const char* const* argv,
            std::uint32_t text_size, char* text) {
  Expansion e;
  e.out = out;
  e.stored = 0;
  e.free_slots = static_cast<std::uint32_t>(*count);
  e.define_depth = 0;
  e.define_free = 0;
  e.depth = 0;
  e.name_expected = 0;
  e.argc = argc;
  e.argv = argv;
  e.text = TextArea{.base = text, .size = text_size, .used = 0, .left = text_size};
  e.sources[0].stream = nullptr;

  const int failed = trap_run(kExpansionTrapLevel, "Error detected while expanding command line", expand, e);
  if (failed != 0) {
    // An error leaves the sources as they were: those up to `depth` are in use.
    for (std::uint32_t i = 0; i <= e.depth; ++i) source_close(e.sources[i]);
    return 1;
  }
  // The count is a 16-bit number, like the numbers of slots that entries give.
  *count = static_cast<std::uint16_t>(e.stored);
  return 0;
}

}  // namespace fsort
