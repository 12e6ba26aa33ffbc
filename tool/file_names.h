// Names of files, and what the system says about them, in the tool's own messages.
#pragma once

#include <cstdint>
#include <string>

namespace fsort_tool {

// A name as the user writes it: the engine turns every separator into a backslash.
[[nodiscard]] std::string shown_name(const std::string& name);

// The name of the file itself where `name` is a link; the name as it is when it leads nowhere yet.
[[nodiscard]] std::string real_name(const std::string& name);

// The system's text for a code of get_last_error, without its line break.
[[nodiscard]] std::string system_text(std::uint32_t code);

}  // namespace fsort_tool
