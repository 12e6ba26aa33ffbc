// The pages of the manual, as they stand in docs/: Markdown, those of options with front matter.
//
// They are compiled in (cmake/EmbedPages.cmake): the tool needs no file but its own, and what it shows is the
// text that the manual has.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace fsort_tool {

struct Page {
  std::string_view name;  // its file below docs/, "options/k.md"
  std::string_view text;
};

[[nodiscard]] std::span<const Page> all_pages();

// The page of this name, or null.
[[nodiscard]] const Page* find_page(std::string_view name);

// The page of an option: "options/" + its name in the table + ".md".
[[nodiscard]] const Page* find_option_page(std::string_view page);

// A field of the front matter without the quotes around it, "" when there is none.
[[nodiscard]] std::string page_field(const Page& page, std::string_view field);

// What stands behind the front matter; all of a page that has none.
[[nodiscard]] std::string_view page_body(const Page& page);

// The section of this heading, the heading included, up to the next one of its level; "" when there is none.
[[nodiscard]] std::string_view page_section(const Page& page, std::string_view heading);

}  // namespace fsort_tool
