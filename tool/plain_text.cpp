// Markdown for a terminal: see plain_text.h.
//
// Tables: a column is as wide as its longest cell; when the line gets too long, the widest column gives way
// until it fits, and its cells are wrapped.
#include "plain_text.h"

#include <algorithm>
#include <vector>

#include "markdown.h"

namespace fsort_tool {
namespace {

constexpr std::size_t kIndent = 2;
constexpr std::size_t kGap = 2;               // between columns
constexpr std::size_t kNarrowestColumn = 12;  // narrower ones break every word
constexpr std::string_view kTextIndent = "  ";

std::string capitals(std::string text) {
  for (char& c : text) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  return text;
}

// Several words that do not begin like an option would read on as the sentence's own.
std::string code_in_text(const std::string& code) {
  const bool words =
      code.find(' ') != std::string::npos && code[0] != '-' && code[0] != '(' && code[0] != '\'';
  return words ? '"' + code + '"' : code;
}

// Stands for a blank at which no line is broken, until lines are broken.
constexpr char kTied = '\x1f';
constexpr std::size_t kLongestTied = 32;

std::string tied(std::string code) {
  if (code.size() <= kLongestTied) std::ranges::replace(code, ' ', kTied);
  return code;
}

std::string without_marks(std::string_view text) {
  std::string plain;
  for (const Span& span : parse_spans(text)) {
    if (span.style == Span::Style::code) {
      plain += tied(code_in_text(span.text));
    } else {
      plain += span.style == Span::Style::strong ? without_marks(span.text) : span.text;
    }
  }
  return plain;
}

// A cell that is one piece of code is no sentence. Columns are too narrow to keep words together.
std::string cell_text(const std::string& cell) {
  const std::vector<Span> spans = parse_spans(cell);
  std::string text = spans.size() == 1 ? spans[0].text : without_marks(cell);
  std::ranges::replace(text, kTied, ' ');
  return text;
}

std::vector<std::string> lines_of(const std::string& text, std::size_t width) {
  std::vector<std::string> lines;
  const std::string folded = wrapped(text, 0, "", width);
  for (std::size_t begin = 0; begin < folded.size();) {
    const std::size_t end = folded.find('\n', begin);
    lines.push_back(folded.substr(begin, end - begin));
    begin = end + 1;
  }
  return lines;
}

std::vector<std::size_t> column_widths(const std::vector<std::vector<std::string>>& rows) {
  std::vector<std::size_t> widths;
  for (const auto& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], columns_of(row[i]));
  }
  const auto total = [&widths] {
    std::size_t sum = kIndent;
    for (const std::size_t width : widths) sum += width + kGap;
    return sum - kGap;
  };
  while (!widths.empty() && total() > kTextWidth) {
    std::size_t& widest = *std::ranges::max_element(widths);
    if (widest <= kNarrowestColumn) break;
    --widest;
  }
  return widths;
}

std::string row_text(const std::vector<std::string>& row, const std::vector<std::size_t>& widths) {
  std::vector<std::vector<std::string>> cells;
  std::size_t height = 0;
  for (std::size_t i = 0; i < row.size(); ++i) {
    cells.push_back(lines_of(row[i], widths[i]));
    height = std::max(height, cells.back().size());
  }
  std::string text;
  for (std::size_t line = 0; line < height; ++line) {
    std::string out(kTextIndent);
    std::size_t column = kIndent;
    for (std::size_t i = 0; i < cells.size(); ++i) {
      if (line < cells[i].size()) {
        // A word may be wider than its column.
        const std::size_t at = columns_of(out);
        out.append(at <= column ? column - at : 1, ' ');
        out += cells[i][line];
      }
      column += widths[i] + kGap;
    }
    text += out + "\n";
  }
  return text;
}

std::string table_text(std::vector<std::vector<std::string>> rows) {
  for (auto& row : rows) {
    for (std::string& cell : row) cell = cell_text(cell);
  }
  const std::vector<std::size_t> widths = column_widths(rows);
  std::string text;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    text += row_text(rows[i], widths);
    if (i != 0) continue;
    std::vector<std::string> rule;
    rule.reserve(widths.size());
    for (const std::size_t width : widths) rule.emplace_back(width, '-');
    text += row_text(rule, widths);
  }
  return text;
}

std::string code_text(const std::string& code) {
  std::string text = "    ";
  for (std::size_t i = 0; i < code.size(); ++i) {
    text += code[i];
    if (code[i] == '\n' && i + 1 < code.size()) text += "    ";
  }
  return text;
}

std::string heading_text(const Block& block) {
  const std::string text = without_marks(block.text);
  return wrapped(block.level == 1 ? capitals(text) : text, 0, "");
}

std::string block_text(const Block& block) {
  switch (block.kind) {
    case Block::Kind::heading:
      return heading_text(block);
    case Block::Kind::paragraph:
      return wrapped(without_marks(block.text), kIndent, kTextIndent);
    case Block::Kind::item: {
      const std::string first = std::string(kTextIndent) + block.label + " ";
      return wrapped(without_marks(block.text), first.size(), first);
    }
    case Block::Kind::code:
      return code_text(block.text);
    case Block::Kind::table:
      return table_text(block.rows);
  }
  return {};
}

}  // namespace

std::size_t columns_of(std::string_view text) {
  return static_cast<std::size_t>(
      std::ranges::count_if(text, [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; }));
}

std::string wrapped(std::string_view text, std::size_t indent, std::string_view first, std::size_t width) {
  std::string result;
  std::string line(first);
  bool empty = true;
  while (!text.empty()) {
    const std::string_view word = text.substr(0, text.find(' '));
    text.remove_prefix(std::min(text.size(), word.size() + 1));
    if (word.empty()) continue;
    if (!empty && columns_of(line) + 1 + columns_of(word) > width) {
      result += line + "\n";
      line.assign(indent, ' ');
      empty = true;
    }
    if (!empty) line += ' ';
    line += word;
    empty = false;
  }
  result += line + "\n";
  std::ranges::replace(result, kTied, ' ');
  return result;
}

std::string plain_text(std::string_view markdown) {
  std::string text;
  const std::vector<Block> blocks = parse_markdown(markdown);
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    const bool list_goes_on =
        i > 0 && blocks[i].kind == Block::Kind::item && blocks[i - 1].kind == Block::Kind::item;
    if (i > 0 && !list_goes_on) text += "\n";
    text += block_text(blocks[i]);
  }
  return text;
}

}  // namespace fsort_tool
