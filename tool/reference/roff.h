// Pages of the manual in the language of man pages, man(7) with tbl(1) for tables.
#pragma once

#include <string>
#include <string_view>

namespace fsort_tool {

// A text with Markdown's marks, for one or more lines of a man page that are filled: code is bold, a hyphen
// in it one that can be pasted, and no line is taken for a request.
[[nodiscard]] std::string roff_text(std::string_view markdown);

// Text as it stands, for an argument of a macro or a line of code.
[[nodiscard]] std::string roff_literal(std::string_view text);

// How the blocks of a page are set.
enum class RoffPlace {
  page,  // paragraphs of their own, headings as sections
  item,  // continued behind the first line of a tagged paragraph
};

// The blocks of a Markdown text. Headings of level 2 become sections, level 3 subsections; the page's own
// heading is left away. In an item the first paragraph has no macro in front of it.
[[nodiscard]] std::string roff_blocks(std::string_view markdown, RoffPlace place);

}  // namespace fsort_tool
