// The part of Markdown that the manual's pages use, as blocks that a terminal and a man page can be made
// from.
//
// Blocks: headings, paragraphs, items of lists (one level, numbered ones keep their number), code (indented
// by four blanks or fenced), tables. Quotations are paragraphs. In their texts: `code`, **strong** words,
// [links](target), of which the words stay. Whatever else Markdown has is taken as plain text.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace fsort_tool {

struct Block {
  enum class Kind { heading, paragraph, item, code, table };
  Kind kind = Kind::paragraph;
  int level = 0;                               // of a heading: 1 for the page's own
  std::string label;                           // of an item: "-", or "3." in a numbered list
  std::string text;                            // lines of a paragraph joined by blanks; code as it stands
  std::vector<std::vector<std::string>> rows;  // of a table, its heading first
};

[[nodiscard]] std::vector<Block> parse_markdown(std::string_view text);

// A piece of a text in one style.
struct Span {
  enum class Style { plain, strong, code };
  Style style = Style::plain;
  std::string text;
};

[[nodiscard]] std::vector<Span> parse_spans(std::string_view text);

}  // namespace fsort_tool
