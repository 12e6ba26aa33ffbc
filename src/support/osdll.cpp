// Formatting, raising with text, and display; see osdll.h.
//
// Both paths format twice at most: into the fixed buffer, and, when the text turns out longer, into a heap
// block of the length just learnt. The error text is process-wide: it is needed from the raise to its
// display, and the entry lock lets one instance raise at a time. A display text is local to its call because
// displays nest: a callback that is shown a text may call an export that shows another.
#include "support/osdll.h"

#include <cstdarg>
#include <cstdio>

#include "platform/heap.h"
#include "stream/nt_error.h"
#include "support/error.h"
#include "support/support_access.h"

namespace fsort {

// Header of a block; the text follows.
struct DisplayBlock {
  DisplayBlock* older;
  std::uint32_t depth;  // traps set when it was made
};

namespace {

constinit char error_text[kErrorTextBytes] = {};
constinit char* error_block = nullptr;  // text of the latest raise when it was longer than that

// True when a text of `length` characters (negative: it could not be formatted) fits in `size` bytes.
bool fits_text(int length, std::size_t size) { return length < 0 || static_cast<std::size_t>(length) < size; }

char* block_text(DisplayBlock* block) { return reinterpret_cast<char*>(block + 1); }

DisplayBlock* push_block(DisplayState& display, std::size_t text_bytes) {
  auto* block = static_cast<DisplayBlock*>(heap_alloc(sizeof(DisplayBlock) + text_bytes));
  if (block == nullptr) return nullptr;
  block->older = display.blocks;
  block->depth = trap_depth();
  display.blocks = block;
  return block;
}

void pop_block(DisplayState& display) {
  DisplayBlock* const block = display.blocks;
  display.blocks = block->older;
  heap_free(block);
}

}  // namespace

void osdll_error(const char* format, ...) {
  std::va_list first;
  std::va_list second;
  va_start(first, format);
  va_copy(second, first);
  const int length = std::vsnprintf(error_text, sizeof error_text, format, first);
  const char* text = error_text;
  char* block = nullptr;
  if (!fits_text(length, sizeof error_text)) {
    const std::size_t bytes = static_cast<std::size_t>(length) + 1;
    block = static_cast<char*>(heap_alloc(bytes));
    if (block != nullptr) {
      std::vsnprintf(block, bytes, format, second);
      text = block;
    }
  }
  va_end(second);
  va_end(first);
  osdll_drop_error_text();  // only now: an argument may have named the text raised before
  error_block = block;
  ErrorReturn(kErrorCode, text);
}

void osdll_perror(const char* name) { osdll_error("%s:\n%s", name, ntstrerror(last_os_error())); }

std::int32_t osdll_display(const char* format, ...) {
  char text[kDisplayTextBytes];
  DisplayState& display = display_st();
  DisplayBlock* block = nullptr;
  std::va_list first;
  std::va_list second;
  va_start(first, format);
  va_copy(second, first);
  const int length = std::vsnprintf(text, sizeof text, format, first);
  if (!fits_text(length, sizeof text)) {
    const std::size_t bytes = static_cast<std::size_t>(length) + 1;
    block = push_block(display, bytes);
    if (block != nullptr) std::vsnprintf(block_text(block), bytes, format, second);
  }
  va_end(second);
  va_end(first);
  const std::int32_t result = display.display_function(block != nullptr ? block_text(block) : text);
  if (block != nullptr) pop_block(display);
  return result;
}

void osdll_display_register(DisplayFunction function) { display_st().display_function = function; }

void fsort_display_register(DisplayFunction function) { osdll_display_register(function); }

void osdll_drop_error_text() {
  heap_free(error_block);
  error_block = nullptr;
}

void osdll_drop_displays(DisplayState& display, std::uint32_t depth) {
  while (display.blocks != nullptr && display.blocks->depth >= depth) pop_block(display);
}

}  // namespace fsort
