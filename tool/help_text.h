// The first page of --help and the line of --version.
#pragma once

#include <string>

namespace fsort_tool {

extern const char* const kVersionText;

// One screen: what fsort does, the options used most, examples, where the rest is.
[[nodiscard]] std::string short_help();

}  // namespace fsort_tool
