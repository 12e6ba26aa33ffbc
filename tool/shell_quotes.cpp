// Restoring character constants on a command line: see shell_quotes.h for the rule.
#include "shell_quotes.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace fsort_tool {
namespace {

constexpr std::array<std::string_view, 6> kByteValueOptions = {"-t", "-b", "-k", "-n", "-s", "-r"};
constexpr std::string_view kEscapeLetters = "\\bfnrtv";

constexpr bool is_digit(char c) { return c >= '0' && c <= '9'; }
constexpr bool is_letter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

// The engine matches options without regard to case, so does the tool.
bool takes_byte_values(std::string_view argument) {
  std::string lower(argument);
  for (char& c : lower) c = (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
  return std::find(kByteValueOptions.begin(), kByteValueOptions.end(), lower) != kByteValueOptions.end();
}

std::string constant(char c) {
  if (c == '\\') return "'\\\\'";
  return std::string("'") + c + "'";
}

// Characters that mean something else when they stand alone.
bool is_reserved(char c) { return is_digit(c) || c == '(' || c == ')' || c == '<' || c == '>'; }

bool is_character_range(std::string_view text) {
  return text.size() == 3 && text[1] == '-' && !is_digit(text[0]) && !is_digit(text[2]) && text[0] != '\'' &&
         text[2] != '\'' && text[0] != '-' && text[0] != '(' && text[0] != '<' && text[0] != '>';
}

// What the names of macros leave to be quoted.
struct MacroNames {
  std::vector<std::string> defined;
  bool any_name = false;  // an include file may define whatever it likes

  bool may_be_macro(const std::string& text) const {
    if (any_name && is_letter(text[0])) return true;
    return std::find(defined.begin(), defined.end(), text) != defined.end();
  }
};

MacroNames find_macro_names(const std::vector<std::string>& arguments) {
  MacroNames names;
  for (std::size_t i = 1; i < arguments.size(); ++i) {
    if (arguments[i] == "-#include") names.any_name = true;
    if (arguments[i] == "-#define" && i + 1 < arguments.size()) names.defined.push_back(arguments[i + 1]);
  }
  return names;
}

// The argument as a character constant or a range of two, or empty when it is neither.
std::string quoted_form(const std::string& text, const MacroNames& macros) {
  if (text.empty() || macros.may_be_macro(text)) return {};
  if (text.size() == 1) return is_reserved(text[0]) ? std::string() : constant(text[0]);
  if (text.size() == 2 && text[0] == '\\' && kEscapeLetters.find(text[1]) != std::string_view::npos) {
    return "'" + text + "'";
  }
  if (is_character_range(text)) return constant(text[0]) + "-" + constant(text[2]);
  return {};
}

// Operands that are already what the engine reads: they do not end the run of values.
bool is_written_value(const std::string& text) {
  return !text.empty() && (is_digit(text[0]) || (text[0] == '\'' && text.size() > 1));
}

}  // namespace

std::vector<std::string> restore_quotes(const std::vector<std::string>& arguments) {
  const MacroNames macros = find_macro_names(arguments);
  std::vector<std::string> result;
  result.reserve(arguments.size());
  bool in_values = false;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& text = arguments[i];
    if (i > 0 && takes_byte_values(text)) {
      in_values = true;
    } else if (in_values) {
      std::string quoted = quoted_form(text, macros);
      if (!quoted.empty()) {
        result.push_back(std::move(quoted));
        continue;
      }
      in_values = is_written_value(text);
    }
    result.push_back(text);
  }
  return result;
}

}  // namespace fsort_tool
