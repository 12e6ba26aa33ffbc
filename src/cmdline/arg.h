// Finding and reading options in the final argument vector.
//
// There is no central option table: every module finds the options it owns, reads the operands that follow
// and blanks what it consumed (replaces it by the empty string). The driver rejects what is left.
#pragma once

#include <cstdint>

namespace fsort {

inline constexpr std::uint32_t kArgNotFound = 0xFFFFFFFF;

// Two 16-bit numbers; kRangeOpen on a side means that side was not given.
struct Range {
  std::uint16_t start;
  std::uint16_t end;
};
inline constexpr std::uint16_t kRangeOpen = 65535;

// Scale of a number: 0 bytes, 1 K, 2 M, 3 G.
inline constexpr int kScaleBytes = 0;
inline constexpr int kScaleKilo = 1;
inline constexpr int kScaleMega = 2;
inline constexpr int kScaleGiga = 3;

// Index of the first argument from 1 on that equals `name`, else kArgNotFound. Element 0 is never searched.
[[nodiscard]] std::uint32_t arg_find(std::int32_t argc, const char* const* argv, const char* name);
// True when the index is inside the vector and its argument is not empty and does not begin with "-" or "(".
[[nodiscard]] bool arg_operand(std::int32_t argc, const char* const* argv, std::uint32_t index);
// Reads one number at the start of `text` into *value (saturating at 4294967295), in the caller's scale.
// Result: the position after what it read. Raises: "Invalid \character in key", "Invalid character constant"
const char* arg_lvalue(const char* text, std::uint32_t* value, int scale);
// The same for 16 bits. Raises: `Argument "<text>" too large`
const char* arg_value(const char* text, std::uint16_t* value, int scale);
// True only when the whole text is a range: N, N-M, N- or -M.
[[nodiscard]] bool arg_range(const char* text, Range* range);
// Calls `function` for each byte value of the range arguments from `index` on; result: the first index not
// consumed. Ends are clamped to 255.
std::uint32_t arg_invoke(std::int32_t argc, const char* const* argv, std::uint32_t index,
                         void (*function)(std::uint8_t));
// Replaces an argument by the empty string.
inline void arg_blank(const char** argv, std::uint32_t index) { argv[index] = ""; }

}  // namespace fsort
