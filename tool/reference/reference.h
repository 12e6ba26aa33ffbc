// The pages that are made from the table of options and from the manual: docs/OPTIONS.md, the list of options
// in man/fsort.1, and man/fsort-keys.7.
//
// They are kept with the sources, so that a reader and a package find them without a build;
// scripts/gen_docs makes them anew, and a test fails when one is not what would be made.
#pragma once

#include <string>

namespace fsort_tool {

// docs/OPTIONS.md
[[nodiscard]] std::string option_reference();

// man/fsort-keys.7
[[nodiscard]] std::string keys_manual();

// man/fsort.1: `manual` with the list of options between its two marks made anew. Without both marks: "".
[[nodiscard]] std::string with_option_list(const std::string& manual);

}  // namespace fsort_tool
