// What --help shows: the short page, the chapters of the manual, the pages of options.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace fsort_tool {

// The text of a topic, "" being the short page. A topic is a chapter (`keys`, see `topics`), or an option
// with or without its dashes. Result: nothing when there is no such topic.
[[nodiscard]] std::optional<std::string> help_on(std::string_view topic);

// What to say when there is none: a sentence without a line break that names the nearest one.
[[nodiscard]] std::string no_help_on(std::string_view topic);

}  // namespace fsort_tool
