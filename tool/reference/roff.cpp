// Markdown for man pages: see roff.h.
#include "roff.h"

#include <cstdint>
#include <cstdio>
#include <vector>

#include "markdown.h"
#include "plain_text.h"

namespace fsort_tool {
namespace {

constexpr std::size_t kSourceWidth = 78;  // longer lines of source are hard to read

// What the formatter would change or take for its own.
std::string_view replacement(char c, bool is_code) {
  switch (c) {
    case '\\':
      return "\\e";
    case '"':
      return "\\(dq";
    case '-':
      return is_code ? "\\-" : "-";
    case '\'':
      return is_code ? "\\(aq" : "'";
    case '`':
      return "\\(ga";
    case '^':
      return "\\(ha";
    case '~':
      return "\\(ti";
    default:
      return {};
  }
}

// The character that begins at `text`, and how many bytes it has. UTF-8, as the manual is.
struct Character {
  std::uint32_t code = 0;
  std::size_t length = 1;
};

Character first_character(std::string_view text) {
  const auto byte = [&](std::size_t i) {
    return static_cast<std::uint32_t>(static_cast<unsigned char>(text[i]));
  };
  const std::size_t length = byte(0) < 0x80 ? 1 : byte(0) < 0xE0 ? 2 : byte(0) < 0xF0 ? 3 : 4;
  if (length == 1 || length > text.size()) return {byte(0), 1};
  std::uint32_t code = byte(0) & (0xFFU >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) code = (code << 6U) | (byte(i) & 0x3FU);
  return {code, length};
}

std::string escaped(std::string_view text, bool is_code) {
  std::string result;
  while (!text.empty()) {
    const Character character = first_character(text);
    if (character.length > 1) {
      char name[16];
      std::snprintf(name, sizeof name, "\\[u%04X]", static_cast<unsigned>(character.code));
      result += name;
    } else {
      const std::string_view other = replacement(text[0], is_code);
      result += other.empty() ? std::string(1, text[0]) : std::string(other);
    }
    text.remove_prefix(character.length);
  }
  return result;
}

// Text in the font `font`, to which it goes back behind every piece of code.
std::string styled(std::string_view markdown, std::string_view font = "\\fR") {
  std::string text;
  for (const Span& span : parse_spans(markdown)) {
    if (span.style == Span::Style::code) {
      text += "\\fB" + escaped(span.text, true);
      text += font;
    } else if (span.style == Span::Style::strong) {
      text += "\\fI" + styled(span.text, "\\fI");
      text += font;
    } else {
      text += escaped(span.text, false);
    }
  }
  return text;
}

// A line that begins with a point or a quote is a request.
std::string guarded(std::string line) {
  if (line.starts_with('.') || line.starts_with('\'')) return "\\&" + line;
  return line;
}

std::string guarded_lines(const std::string& text) {
  std::string result;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = text.find('\n', begin);
    result += guarded(text.substr(begin, end - begin)) + "\n";
    begin = end + 1;
  }
  return result;
}

std::string code_block(const std::string& code) {
  std::string text = ".in +4n\n.nf\n";
  for (std::size_t begin = 0; begin < code.size();) {
    const std::size_t end = code.find('\n', begin);
    text += guarded(roff_literal(code.substr(begin, end - begin))) + "\n";
    begin = end + 1;
  }
  return text + ".fi\n.in\n";
}

std::string table(const std::vector<std::vector<std::string>>& rows) {
  std::string text = ".TS\ntab(@);\n";
  for (const bool heading : {true, false}) {
    for (std::size_t column = 0; column < rows[0].size(); ++column) {
      if (column > 0) text += ' ';
      text += heading ? "lb" : column + 1 == rows[0].size() ? "lx" : "l";
    }
    text += heading ? "\n" : ".\n";
  }
  for (const std::vector<std::string>& row : rows) {
    for (std::size_t column = 0; column < row.size(); ++column) {
      if (column > 0) text += '@';
      const bool last = column > 0 && column + 1 == row.size() && &row != rows.data();
      text += last ? "T{\n" + roff_text(row[column]) + "T}" : styled(row[column]);
    }
    text += '\n';
  }
  return text + ".TE\n";
}

std::string item(const Block& block) {
  const std::string label = block.label == "-" ? "\\(bu 2" : "\"" + block.label + "\" 4";
  return ".IP " + label + "\n" + roff_text(block.text);
}

std::string heading(const Block& block) {
  if (block.level == 1) return {};
  return (block.level == 2 ? ".SH \"" : ".SS \"") + styled(block.text) + "\"\n";
}

std::string block_text(const Block& block) {
  switch (block.kind) {
    case Block::Kind::heading:
      return heading(block);
    case Block::Kind::paragraph:
      return roff_text(block.text);
    case Block::Kind::item:
      return item(block);
    case Block::Kind::code:
      return code_block(block.text);
    case Block::Kind::table:
      return table(block.rows);
  }
  return {};
}

}  // namespace

std::string roff_text(std::string_view markdown) {
  return guarded_lines(wrapped(styled(markdown), 0, "", kSourceWidth));
}

std::string roff_literal(std::string_view text) { return escaped(text, true); }

std::string roff_blocks(std::string_view markdown, RoffPlace place) {
  const std::string_view paragraph = place == RoffPlace::item ? ".IP\n" : ".PP\n";
  std::string text;
  bool in_list = false;
  bool first = true;  // in an item, or behind a heading, which the formatter spaces itself
  for (const Block& block : parse_markdown(markdown)) {
    const bool is_item = block.kind == Block::Kind::item;
    const bool is_heading = block.kind == Block::Kind::heading;
    if (is_item && !in_list) text += ".RS\n";
    if (!is_item && in_list) text += ".RE\n";
    in_list = is_item;
    if (!first && !is_item && !is_heading) text += paragraph;
    text += block_text(block);
    first = is_heading;
  }
  return in_list ? text + ".RE\n" : text;
}

}  // namespace fsort_tool
