// Reading Markdown: see markdown.h.
//
// Lines are taken one by one. A line either begins a block (by how it starts), goes on with the paragraph or
// item in front of it, or, when it is blank, ends it. Spans are found from left to right; a mark without its
// partner is text.
#include "markdown.h"

#include <optional>

namespace fsort_tool {
namespace {

using Kind = Block::Kind;

constexpr std::string_view kCodeIndent = "    ";

std::string_view trimmed(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(' ');
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(' ') - begin + 1);
}

std::vector<std::string_view> lines_of(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    lines.push_back(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return lines;
}

// The cells of "| a | b |"; "\|" is a bar within a cell, as is one within `code`.
std::vector<std::string> cells_of(std::string_view line) {
  std::vector<std::string> cells(1);
  bool in_code = false;
  line = trimmed(line).substr(1);
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (line[i] == '`') in_code = !in_code;
    if (line[i] == '\\' && i + 1 < line.size() && line[i + 1] == '|') {
      cells.back() += line[++i];
    } else if (line[i] == '|' && !in_code) {
      cells.emplace_back();
    } else {
      cells.back() += line[i];
    }
  }
  cells.pop_back();  // behind the last bar
  for (std::string& cell : cells) cell = trimmed(cell);
  return cells;
}

bool is_table_rule(std::string_view line) { return line.find_first_not_of("|-: ") == std::string_view::npos; }

// The label of "- text" or "12. text", "" for other lines.
std::string_view item_label(std::string_view line) {
  if (line.starts_with("- ")) return line.substr(0, 1);
  const std::size_t digits = line.find_first_not_of("0123456789");
  if (digits == 0 || digits == std::string_view::npos || line.substr(digits, 2) != ". ") return {};
  return line.substr(0, digits + 1);
}

class Reader {
 public:
  std::vector<Block> read(std::string_view text) {
    for (const std::string_view line : lines_of(text)) take(line);
    return std::move(blocks_);
  }

 private:
  void take(std::string_view line) {
    if (line.starts_with("```")) {
      in_fence_ = !in_fence_;
      if (in_fence_) add(Kind::code);
      return;
    }
    if (in_fence_) {
      append_code(line);
      return;
    }
    if (trimmed(line).empty()) {
      open_ = false;
    } else if (line.starts_with('|')) {
      take_row(line);
    } else if (!open_ && line.starts_with(kCodeIndent)) {
      take_indented(line.substr(kCodeIndent.size()));
    } else if (line.starts_with('#')) {
      const std::size_t level = line.find_first_not_of('#');
      Block& heading = add(Kind::heading);
      heading.level = static_cast<int>(level);
      heading.text = trimmed(line.substr(level));
      open_ = false;
    } else {
      take_text(line);
    }
  }

  Block& add(Kind kind) {
    blocks_.emplace_back().kind = kind;
    return blocks_.back();
  }

  void append_code(std::string_view line) { blocks_.back().text += std::string(line) + "\n"; }

  // Indented lines with blank ones between them are one piece of code.
  void take_indented(std::string_view line) {
    if (blocks_.empty() || blocks_.back().kind != Kind::code) add(Kind::code);
    append_code(line);
  }

  void take_row(std::string_view line) {
    if (is_table_rule(line)) return;
    if (!open_ || blocks_.back().kind != Kind::table) add(Kind::table);
    blocks_.back().rows.push_back(cells_of(line));
    open_ = true;
  }

  void take_text(std::string_view line) {
    if (line.starts_with("> ")) line.remove_prefix(2);
    const std::string_view label = item_label(line);
    if (!label.empty()) {
      line.remove_prefix(label.size());
      add(Kind::item).label = label;
    } else if (!open_ || blocks_.back().kind == Kind::table) {
      add(Kind::paragraph);
    }
    std::string& text = blocks_.back().text;
    if (!text.empty()) text += ' ';
    text += trimmed(line);
    open_ = true;
  }

  std::vector<Block> blocks_;
  bool open_ = false;  // whether the next line of text goes on with the last block
  bool in_fence_ = false;
};

// A span that begins at `text` with a mark, and how much of the text it takes.
struct Marked {
  Span span;
  std::size_t length = 0;
};

std::optional<Marked> between(std::string_view text, std::string_view mark, Span::Style style) {
  if (!text.starts_with(mark)) return std::nullopt;
  const std::size_t end = text.find(mark, mark.size());
  if (end == std::string_view::npos || end == mark.size()) return std::nullopt;
  return Marked{{style, std::string(text.substr(mark.size(), end - mark.size()))}, end + mark.size()};
}

std::optional<Marked> link(std::string_view text) {
  if (!text.starts_with('[')) return std::nullopt;
  const std::size_t middle = text.find("](");
  if (middle == std::string_view::npos || text.find('\n') < middle) return std::nullopt;
  const std::size_t end = text.find(')', middle);
  if (end == std::string_view::npos || text.substr(1, middle - 1).find('[') != std::string_view::npos)
    return std::nullopt;
  return Marked{{Span::Style::plain, std::string(text.substr(1, middle - 1))}, end + 1};
}

std::optional<Marked> marked(std::string_view text) {
  if (auto code = between(text, "`", Span::Style::code)) return code;
  if (auto strong = between(text, "**", Span::Style::strong)) return strong;
  return link(text);
}

}  // namespace

std::vector<Block> parse_markdown(std::string_view text) { return Reader().read(text); }

std::vector<Span> parse_spans(std::string_view text) {
  std::vector<Span> spans;
  std::string plain;
  const auto flush = [&] {
    if (!plain.empty()) spans.push_back({Span::Style::plain, plain});
    plain.clear();
  };
  while (!text.empty()) {
    if (const std::optional<Marked> found = marked(text)) {
      if (found->span.style == Span::Style::plain) {
        plain += found->span.text;  // the words of a link
      } else {
        flush();
        spans.push_back(found->span);
      }
      text.remove_prefix(found->length);
    } else {
      plain += text.front();
      text.remove_prefix(1);
    }
  }
  flush();
  return spans;
}

}  // namespace fsort_tool
