// What to tell somebody whose command line the engine refused: one line beneath the engine's own message.
//
//   -ou and x are invalid arguments
//   Error detected in fsort initialization
//   fsort: hint: "-ou" is no option; -out <file> is near (fsort --help -out)
//
// The engine says what it found; a hint says what was expected, in which argument, and what may have been
// meant. Where nothing useful can be said, nothing is.
#pragma once

#include <string>
#include <vector>

namespace fsort_tool {

// `arguments`: the sort command line, element 0 being the command name. `engine_text`: all that the engine
// said. Result: a hint without a line break, or "".
[[nodiscard]] std::string hint_for(const std::vector<std::string>& arguments, const std::string& engine_text);

// The same as the line that is shown, "fsort: hint: ...\n", or "".
[[nodiscard]] std::string hint_line(const std::vector<std::string>& arguments,
                                    const std::string& engine_text);

}  // namespace fsort_tool
