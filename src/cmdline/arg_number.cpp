// Numbers, character constants and ranges of the command line.
//
//   'a'  '\t'        a character constant: the byte's value
//   0x1F  017        hexadecimal, octal
//   300  4k  2M  1g  decimal, with an optional unit of 1,024, 1,024^2 or 1,024^3
//
// The reader of a number says in which unit it wants the result. A decimal number without a suffix is taken
// to be in that unit already; one with a suffix is shifted to it (1500k read in M is 1: the shift truncates).
//
// Values are computed in 64 bits and saturate at 4294967295 instead of wrapping around: a size that is too
// large must never turn into a small one, and a 16-bit reader then refuses it as it refuses 65536.
#include <limits>

#include "cmdline/arg.h"
#include "cmdline/ascii.h"
#include "support/osdll.h"

namespace fsort {
namespace {

constexpr std::uint64_t kMaxValue = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint32_t kValueLimit16 = 65536;
constexpr unsigned kNotADigit = 255;
constexpr unsigned kDecimal = 10;
constexpr unsigned kOctal = 8;
constexpr unsigned kHexadecimal = 16;
constexpr unsigned kBitsPerScale = 10;

struct Number {
  const char* end;  // position after it
  std::uint64_t value;
};

unsigned digit_value(char c) {
  if (ascii_is_digit(c)) return static_cast<unsigned>(c - '0');
  const char lower = ascii_to_lower(c);
  if (lower >= 'a' && lower <= 'f') return kDecimal + static_cast<unsigned>(lower - 'a');
  return kNotADigit;
}

// Digits of `base`. A value beyond 64 bits stays at the 64-bit maximum, which no unit brings back below the
// 32-bit one.
Number read_digits(const char* text, unsigned base) {
  constexpr std::uint64_t kMax = std::numeric_limits<std::uint64_t>::max();
  std::uint64_t value = 0;
  for (unsigned digit = 0; (digit = digit_value(*text)) < base; ++text) {
    value = value > (kMax - digit) / base ? kMax : value * base + digit;
  }
  return {text, value};
}

// The value of the character that follows a backslash.
std::uint8_t escape_value(char c) {
  switch (c) {
    case '\\':
      return '\\';
    case 'b':
      return '\b';
    case 'f':
      return '\f';
    case 'n':
      return '\n';
    case 'r':
      return '\r';
    case 't':
      return '\t';
    case 'v':
      return '\v';
    default:
      osdll_error("Invalid \\character in key");
  }
}

// `text` is behind the opening quote. The end of the argument inside a constant is caught here, before
// anything behind it is read.
Number read_constant(const char* text) {
  std::uint64_t value = 0;
  const bool escaped = text[0] == '\\';
  if (escaped) ++text;
  if (text[0] != '\0') value = escaped ? escape_value(text[0]) : static_cast<std::uint8_t>(text[0]);
  if (text[0] == '\0' || text[1] != '\'') osdll_error("Invalid character constant");
  return {text + 2, value};
}

// Brings a value of one scale to another, saturating.
std::uint64_t rescale(std::uint64_t value, int from, int to) {
  if (from <= to) return value >> (kBitsPerScale * static_cast<unsigned>(to - from));
  const unsigned shift = kBitsPerScale * static_cast<unsigned>(from - to);
  return value > (kMaxValue >> shift) ? kMaxValue : value << shift;
}

// The scale that a suffix stands for, -1 when it is none.
int suffix_scale(char c) {
  switch (ascii_to_lower(c)) {
    case 'k':
      return kScaleKilo;
    case 'm':
      return kScaleMega;
    case 'g':
      return kScaleGiga;
    default:
      return -1;
  }
}

Number read_number(const char* text, int scale) {
  if (text[0] == '\'') return read_constant(text + 1);
  if (!ascii_is_digit(text[0])) return {text, 0};
  if (text[0] == '0') {
    return ascii_to_lower(text[1]) == 'x' ? read_digits(text + 2, kHexadecimal)
                                          : read_digits(text + 1, kOctal);
  }
  Number number = read_digits(text, kDecimal);
  const int own_scale = suffix_scale(*number.end);
  if (own_scale < 0) return number;
  return {number.end + 1, rescale(number.value, own_scale, scale)};
}

}  // namespace

const char* arg_lvalue(const char* text, std::uint32_t* value, int scale) {
  const Number number = read_number(text, scale);
  *value = static_cast<std::uint32_t>(number.value < kMaxValue ? number.value : kMaxValue);
  return number.end;
}

const char* arg_value(const char* text, std::uint16_t* value, int scale) {
  std::uint32_t wide = 0;
  const char* end = arg_lvalue(text, &wide, scale);
  if (wide >= kValueLimit16) osdll_error("Argument \"%s\" too large", text);
  *value = static_cast<std::uint16_t>(wide);
  return end;
}

bool arg_range(const char* text, Range* range) {
  if (text[0] == '\0') return false;
  // "-" alone has both sides open. "-" and a letter is an option: it falls through, reads no number and is
  // refused below.
  if (text[0] == '-' && !ascii_is_letter(text[1])) {
    range->start = kRangeOpen;
  } else {
    text = arg_value(text, &range->start, kScaleBytes);
    range->end = range->start;
    if (text[0] == '\0') return true;
  }
  if (*text++ != '-') return false;
  range->end = kRangeOpen;
  if (text[0] == '\0') return true;
  text = arg_value(text, &range->end, kScaleBytes);
  return text[0] == '\0';
}

}  // namespace fsort
