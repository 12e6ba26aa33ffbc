// Where the expansion takes its tokens from: the caller's arguments, the body of a macro, an include file.
//
// Arguments and macro bodies deliver whole arguments, blanks and all. An include file is read in pieces of at
// most 78 characters and split at white space:
//
//   - A token that begins with "#" ends the piece: the rest is a comment. A "#" inside a token is ordinary.
//   - Kept on purpose: a comment ends with its piece, not with its line. The part of a comment line beyond 78
//     characters is read as tokens; likewise a longer token becomes two. Keep lines under 79 characters.
//   - Kept on purpose: a last line without a line break is not delivered.
//   - Quotes mean nothing here: 'a b' in an include file is two tokens.
#pragma once

#include <cstdint>

#include "cmdline/symbol_table.h"
#include "cmdline/text_area.h"

namespace fsort {

struct Stream;

inline constexpr int kIncludePieceLimit = 79;  // of the line reader: 78 characters and a zero

struct TokenSource {
  Stream* stream;           // the include file; null for an argument list and after the file's end
  std::int32_t remaining;   // argument list: arguments still to deliver
  const char* const* next;  // and the next one
  Symbol* macro;            // whose body this is; null for the caller's own arguments
  char* cursor;             // include file: next character of the piece in `line`
  char line[kIncludePieceLimit + 1];
  std::uint8_t is_file;
};

// Makes `source` deliver `count` arguments.
void source_open_list(TokenSource& source, std::int32_t count, const char* const* arguments, Symbol* macro);
// Makes `source` deliver the tokens of a file. Raises: "Couldn't open include file"
void source_open_file(TokenSource& source, const char* name);
// Closes the file of a source that was left in the middle; nothing when there is none.
void source_close(TokenSource& source);

// The next token, null when the source is exhausted: the macro is then no longer active, the file closed.
// Tokens of a file are charged to `area`. Valid until: the next call for the same source (file), for good
// (list). Raises: "Too many characters in command line", "Couldn't open include file" (it cannot be read)
[[nodiscard]] const char* gettoken(TokenSource& source, TextArea& area);

}  // namespace fsort
