// Charging and storing argument texts; see text_area.h for the two measures.
#include "cmdline/text_area.h"

#include <cstring>

#include "support/error.h"

namespace fsort {
namespace {

[[noreturn]] void raise_too_many_characters() {
  ErrorReturn(kErrorCode, "Too many characters in command line");
}

}  // namespace

void text_charge_scan(TextArea& area, std::uint32_t length) {
  if (area.left <= length || area.size - area.used <= length) raise_too_many_characters();
  area.left -= length;
  area.used += length + 1;
}

char* text_store(TextArea& area, const char* token) {
  const std::size_t bytes = std::strlen(token) + 1;
  if (bytes > area.left) ErrorReturn(kErrorCode, "Command line buffer overflow");
  if (bytes > area.size - area.used) raise_too_many_characters();
  char* stored = area.base + area.used;
  std::memcpy(stored, token, bytes);
  area.left -= static_cast<std::uint32_t>(bytes);
  area.used += static_cast<std::uint32_t>(bytes);
  return stored;
}

}  // namespace fsort
