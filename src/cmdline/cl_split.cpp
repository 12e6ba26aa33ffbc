// Splitting of a command string.
//
//   -k 1-4 'a b' "x y" c     ->     [-k] [1-4] ['a b'] [x y] [c]
//
// Outside quotes a blank or a tab ends an argument; between arguments any white space is skipped. A line
// break inside an argument is therefore an ordinary character of it. Double quotes only group and are
// dropped. Single quotes group too but stay in the argument, because the argument grammar reads character
// constants such as 'a'. A quote that is never closed runs to the end of the string.
//
// Bounds. Every argument but the last uses up at least one separator, so n characters make at most
// (n + 1) / 2 arguments and at most n characters plus that many zeros of text.
#include "cmdline/cl_split.h"

#include "cmdline/ascii.h"

namespace fsort {

static_assert(kMaxSplitArguments >= (kMaxCommandChars + 1) / 2);
static_assert(kSplitTextBytes >= kMaxCommandChars + (kMaxCommandChars + 1) / 2);

void cl_parse(std::int32_t* count, const char** argv, const char* command, char* text) {
  *count = 0;
  for (;;) {
    while (ascii_is_space(*command)) ++command;
    if (*command == '\0') return;

    argv[(*count)++] = text;
    char quote = '\0';  // the quote character of the open run
    for (; *command != '\0'; ++command) {
      const char c = *command;
      if (quote == '\0' && ascii_is_blank(c)) break;
      const bool switches = quote == '\0' ? c == '\'' || c == '"' : c == quote;
      if (switches) quote = quote == '\0' ? c : '\0';
      if (!switches || c == '\'') *text++ = c;
    }
    *text++ = '\0';
  }
}

}  // namespace fsort
