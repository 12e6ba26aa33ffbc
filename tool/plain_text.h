// Pages of the manual as text for a terminal.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace fsort_tool {

// Columns of a line that every terminal has.
constexpr std::size_t kTextWidth = 80;

// How many columns a UTF-8 text takes, every character being one wide.
[[nodiscard]] std::size_t columns_of(std::string_view text);

// The text in lines of at most `width` columns where words allow it, every line behind `indent` blanks, the
// first one behind `first` instead.
[[nodiscard]] std::string wrapped(std::string_view text, std::size_t indent, std::string_view first,
                                  std::size_t width = kTextWidth);

// A Markdown text: headings in capitals, words wrapped, code indented, tables in columns. Code that could be
// taken for words of the sentence is put in double quotes.
[[nodiscard]] std::string plain_text(std::string_view markdown);

}  // namespace fsort_tool
