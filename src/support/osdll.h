// The message layer: formatting, raising with text, and the one display function all text goes through.
//
// Formatted texts are never cut: a fixed buffer (256 bytes for errors, 512 for display) serves the ordinary
// case, a heap block the long one (the text of a whole record, a list of arguments). When even that cannot be
// had the text is cut to the fixed buffer.
//
// A display function may jump away (a callback that aborts the sort), so the heap block of a displayed text
// is not freed by the function that made it alone: blocks are chained in the instance, each with the trap
// depth it was made at. The trap that catches frees those made at its own depth or deeper; blocks of lower
// depth belong to displays that are still running.
#pragma once

#include <cstddef>
#include <cstdint>

namespace fsort {

using DisplayFunction = std::int32_t (*)(const char* text);

struct DisplayBlock;  // heap copy of a long text (osdll.cpp)

struct DisplayState {
  DisplayFunction display_function;
  DisplayBlock* blocks;  // texts being displayed that did not fit the local buffer, newest first
};

inline constexpr std::size_t kErrorTextBytes = 256;
inline constexpr std::size_t kDisplayTextBytes = 512;

#if defined(__GNUC__)
#define FSORT_PRINTF(text, first) __attribute__((format(printf, text, first)))
#else
#define FSORT_PRINTF(text, first)
#endif

// Formats the message and raises it with code 1. Process-wide text buffer; its heap block, if one was needed,
// lives until the text has been displayed.
[[noreturn]] void osdll_error(const char* format, ...) FSORT_PRINTF(1, 2);

// Raises "<name>:\n<system text of fs_errno>".
[[noreturn]] void osdll_perror(const char* name);

// Formats a line and hands it to the display function; result: that function's.
std::int32_t osdll_display(const char* format, ...) FSORT_PRINTF(1, 2);

void osdll_display_register(DisplayFunction function);
void fsort_display_register(DisplayFunction function);  // the driver's name for the same

// Frees the heap block of the latest raised text; for ErrorDisplay, when nothing of it is still to be shown.
void osdll_drop_error_text();
// Frees the blocks of displays that were jumped out of: those made at `depth` traps or more.
void osdll_drop_displays(DisplayState& display, std::uint32_t depth);

}  // namespace fsort
