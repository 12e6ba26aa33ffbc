// Numbers, ranges and the splitting of a command, by the letter. See the header.
#include "support/reference_arguments.h"

#include <algorithm>
#include <cctype>

namespace fsort_test {
namespace {

constexpr std::uint64_t kHighestNumber = 4294967295;  // larger ones count as this

int digit_value(char c, int base) {
  int value = 99;
  if (c >= '0' && c <= '9') value = c - '0';
  if (c >= 'a' && c <= 'f') value = c - 'a' + 10;
  if (c >= 'A' && c <= 'F') value = c - 'A' + 10;
  return value < base ? value : -1;
}

std::uint64_t read_constant(const std::string& text, std::size_t* at) {
  const auto next = [&]() -> char { return *at < text.size() ? text[(*at)++] : '\0'; };
  ++*at;
  char value = next();
  if (value == '\\') {
    const char name = next();
    static const std::string kNames = "\\bfnrtv", kValues = "\\\b\f\n\r\t\v";
    const std::size_t found = name == '\0' ? std::string::npos : kNames.find(name);
    if (found == std::string::npos) {
      throw ReferenceFault(name == '\0' ? "Invalid character constant" : "Invalid \\character in key");
    }
    value = kValues[found];
  }
  if (next() != '\'') throw ReferenceFault("Invalid character constant");
  return static_cast<unsigned char>(value);
}

std::uint64_t read_number_of_16_bits(const std::string& text, std::size_t* at) {
  const std::string from_here = text.substr(*at);
  const std::uint64_t value = read_number(text, at, 0);
  if (value > 65535) throw ReferenceFault("Argument \"" + from_here + "\" too large");
  return value;
}

}  // namespace

// One number at `at`, in units of 1024^scale.
std::uint64_t read_number(const std::string& text, std::size_t* at, int scale) {
  const auto peek = [&](std::size_t i) { return i < text.size() ? text[i] : '\0'; };
  if (peek(*at) == '\'') return read_constant(text, at);
  int base = 10;
  if (peek(*at) == '0') {
    const bool hex = peek(*at + 1) == 'x' || peek(*at + 1) == 'X';
    base = hex ? 16 : 8;
    *at += hex ? 2 : 1;
  }
  std::uint64_t value = 0;
  const std::size_t first = *at;
  while (digit_value(peek(*at), base) >= 0) {
    value = value * static_cast<unsigned>(base) + static_cast<unsigned>(digit_value(peek((*at)++), base));
    value = std::min(value, kHighestNumber);
  }
  if (base != 10 || *at == first) return value;
  const std::size_t suffix = std::string("kmg").find(static_cast<char>(std::tolower(peek(*at))));
  int own = scale;
  if (peek(*at) != '\0' && suffix != std::string::npos) {
    own = static_cast<int>(suffix) + 1;
    ++*at;
  }
  return own >= scale ? std::min(value << (10 * (own - scale)), kHighestNumber)
                      : value >> (10 * (scale - own));
}

bool is_operand(const std::vector<std::string>& arguments, std::size_t index) {
  return index < arguments.size() && !arguments[index].empty() && arguments[index][0] != '-' &&
         arguments[index][0] != '(';
}

// A whole range, or nothing.
std::optional<std::pair<int, int>> read_range(const std::string& text) {
  if (text.empty()) return std::nullopt;
  int start = kOpenSide;
  std::size_t at = 0;
  const bool open = text[0] == '-' && !(text.size() > 1 && std::isalpha(static_cast<unsigned char>(text[1])));
  if (!open) {
    start = static_cast<int>(read_number_of_16_bits(text, &at));
    if (at == text.size()) return at == 0 ? std::nullopt : std::make_optional(std::make_pair(start, start));
  }
  if (text[at] != '-') return std::nullopt;
  if (++at == text.size()) return std::make_pair(start, kOpenSide);
  const int end = static_cast<int>(read_number_of_16_bits(text, &at));
  if (at != text.size()) return std::nullopt;
  return std::make_pair(start, end);
}

bool is_range(const std::vector<std::string>& arguments, std::size_t index) {
  return index < arguments.size() && read_range(arguments[index]).has_value();
}

bool is_blank_range(const std::vector<std::string>& arguments, std::size_t index) {
  return index < arguments.size() && !arguments[index].empty() &&
         (arguments[index][0] == '\'' || std::isdigit(static_cast<unsigned char>(arguments[index][0])));
}

std::vector<std::string> split_command(const std::string& command) {
  std::vector<std::string> arguments;
  std::size_t at = 0;
  while (true) {
    while (at < command.size() && std::isspace(static_cast<unsigned char>(command[at]))) ++at;
    if (at >= command.size()) break;
    std::string text;
    char quote = 0;
    for (; at < command.size(); ++at) {
      const char c = command[at];
      if (quote == 0 && (c == ' ' || c == '\t')) break;
      if (quote == 0 && (c == '\'' || c == '"')) {
        quote = c;
      } else if (quote == c) {
        quote = 0;
      } else {
        text.push_back(c);
        continue;
      }
      if (c == '\'') text.push_back(c);
    }
    if (text[0] == '-') {
      for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    arguments.push_back(text);
  }
  return arguments;
}

}  // namespace fsort_test
