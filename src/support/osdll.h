// The message layer: formatting, raising with text, and the one display function all text goes through.
//
// Formatted texts are never cut: a fixed buffer (256 bytes for errors, 512 for display) serves the ordinary
// case, a heap block the long one (the text of a whole record, a list of arguments). When even that cannot be
// had the text is cut to the fixed buffer.
#pragma once

#include <cstdint>

namespace fsort {

using DisplayFunction = std::int32_t (*)(const char* text);

struct DisplayState {
  DisplayFunction display_function;
};

#if defined(__GNUC__)
#define FSORT_PRINTF(text, first) __attribute__((format(printf, text, first)))
#else
#define FSORT_PRINTF(text, first)
#endif

// Formats the message and raises it with code 1. Process-wide text buffer; its heap block, if one was needed,
// lives until the next raise.
[[noreturn]] void osdll_error(const char* format, ...) FSORT_PRINTF(1, 2);

// Raises "<name>:\n<system text of fs_errno>".
[[noreturn]] void osdll_perror(const char* name);

// Formats a line and hands it to the display function; result: that function's.
std::int32_t osdll_display(const char* format, ...) FSORT_PRINTF(1, 2);

void osdll_display_register(DisplayFunction function);
void fsort_display_register(DisplayFunction function);  // the driver's name for the same

}  // namespace fsort
