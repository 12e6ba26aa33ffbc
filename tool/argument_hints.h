// Hints about arguments that the engine called invalid: hints.h is the way in.
#pragma once

#include <string>
#include <vector>

namespace fsort_tool {

// `refused`: the arguments that nobody took, in their order, at least one.
[[nodiscard]] std::string hint_about_arguments(const std::vector<std::string>& arguments,
                                               const std::vector<std::string>& refused);

// The arguments that a message names ("a,b and c are invalid arguments"), none when it is another message.
[[nodiscard]] std::vector<std::string> refused_arguments(const std::string& message);

}  // namespace fsort_tool
