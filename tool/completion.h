// Scripts that complete fsort's command lines in a shell, made from the table of options.
#pragma once

#include <string>
#include <string_view>

namespace fsort_tool {

// The script for `bash`, `zsh` or `fish`; "" for any other shell.
[[nodiscard]] std::string completion_script(std::string_view shell);

}  // namespace fsort_tool
