// Reading tokens from argument lists and include files; the rules stand in token_source.h.
#include "cmdline/token_source.h"

#include "cmdline/ascii.h"
#include "stream/stream.h"
#include "support/error.h"

namespace fsort {
namespace {

constexpr char kCommentMark = '#';

[[noreturn]] void raise_include_failed() { ErrorReturn(kErrorCode, "Couldn't open include file"); }

// Reads the next piece of the file; false at its end, when the file is closed. A read error must not pass
// for the end: the options behind it would be lost without a word.
bool next_piece(TokenSource& source) {
  source.cursor = source.line;
  if (fstdio_fgets(source.line, kIncludePieceLimit, source.stream) != nullptr) return true;
  if ((source.stream->flags & kStreamEof) == 0) raise_include_failed();
  source_close(source);
  return false;
}

// First character of the next token; null at the end of the file.
char* find_token(TokenSource& source) {
  for (;;) {
    while (ascii_is_space(*source.cursor)) ++source.cursor;
    if (*source.cursor != '\0' && *source.cursor != kCommentMark) return source.cursor;
    if (!next_piece(source)) return nullptr;
  }
}

const char* next_file_token(TokenSource& source, TextArea& area) {
  char* token = find_token(source);
  if (token == nullptr) return nullptr;
  char* end = token;
  while (*end != '\0' && !ascii_is_space(*end)) ++end;
  text_charge_scan(area, static_cast<std::uint32_t>(end - token));
  source.cursor = end;
  if (*end != '\0') {
    *end = '\0';
    ++source.cursor;
  }
  return token;
}

}  // namespace

void source_open_list(TokenSource& source, std::int32_t count, const char* const* arguments, Symbol* macro) {
  source.is_file = 0;
  source.stream = nullptr;
  source.remaining = count;
  source.next = arguments;
  source.macro = macro;
}

void source_open_file(TokenSource& source, const char* name) {
  source.is_file = 1;
  source.stream = fstdio_fopen(name, "r");
  if (source.stream == nullptr) raise_include_failed();
  source.cursor = source.line;
  source.line[0] = '\0';  // an empty piece: the first token reads the first one
}

void source_close(TokenSource& source) {
  Stream* stream = source.stream;
  source.stream = nullptr;
  // A file that was only read loses nothing when closing it fails.
  if (stream != nullptr) static_cast<void>(fstdio_fclose(stream));
}

const char* gettoken(TokenSource& source, TextArea& area) {
  if (source.is_file != 0) return next_file_token(source, area);
  if (source.remaining > 0) {
    --source.remaining;
    return *source.next++;
  }
  if (source.macro != nullptr) source.macro->active = 0;
  return nullptr;
}

}  // namespace fsort
