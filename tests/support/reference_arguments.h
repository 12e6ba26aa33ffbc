// Argument syntax of the reference engine: numbers, ranges, operands, and the splitting of a command string.
//
// Faults are thrown as ReferenceFault with the text that the sort displays.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace fsort_test {

inline constexpr int kOpenSide = 65535;  // the side of a range that was left out

struct ReferenceFault : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// One number at `*at`, which moves behind it, in units of 1024^scale.
[[nodiscard]] std::uint64_t read_number(const std::string& text, std::size_t* at, int scale);
// A whole range, or nothing.
[[nodiscard]] std::optional<std::pair<int, int>> read_range(const std::string& text);
// Whether there is an argument at `index` that is an operand, a range, or a range of blank bytes.
[[nodiscard]] bool is_operand(const std::vector<std::string>& arguments, std::size_t index);
[[nodiscard]] bool is_range(const std::vector<std::string>& arguments, std::size_t index);
[[nodiscard]] bool is_blank_range(const std::vector<std::string>& arguments, std::size_t index);
// The first steps of the command line: a string split at blanks outside quotes, options lowered.
[[nodiscard]] std::vector<std::string> split_command(const std::string& command);

}  // namespace fsort_test
