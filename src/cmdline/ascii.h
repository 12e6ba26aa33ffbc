// Character classes of the command line: ASCII only, independent of the locale and of the sign of `char`.
//
// The C library's versions answer by locale and are undefined for negative values; a file name or a field
// delimiter may hold any byte.
#pragma once

namespace fsort {

[[nodiscard]] constexpr bool ascii_is_space(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
[[nodiscard]] constexpr bool ascii_is_blank(char c) { return c == ' ' || c == '\t'; }
[[nodiscard]] constexpr bool ascii_is_digit(char c) { return c >= '0' && c <= '9'; }
[[nodiscard]] constexpr char ascii_to_lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
[[nodiscard]] constexpr bool ascii_is_letter(char c) {
  return ascii_to_lower(c) >= 'a' && ascii_to_lower(c) <= 'z';
}

static_assert(ascii_is_space('\v') && !ascii_is_space('\0') && !ascii_is_space(static_cast<char>(0xA0)));
static_assert(ascii_to_lower('Z') == 'z' && ascii_to_lower('[') == '[');

}  // namespace fsort
