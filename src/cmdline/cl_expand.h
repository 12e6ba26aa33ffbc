// Expansion of an argument vector: macros ("-#define" name body "-#end"), include files ("-#include" file)
// and lower-casing of options.
#pragma once

#include <cstdint>

namespace fsort {

// What entries give cl_copy to work with: argument slots and bytes of text.
inline constexpr std::uint32_t kArgumentSlots = 2044;
inline constexpr std::uint32_t kArgumentTextBytes = 8172;

// Expands `argc`/`argv` into `out`. On entry *count is the capacity of `out` in slots (one more pointer must
// follow for the null); on success it is the number of arguments. Texts are stored in `text` (`text_size`
// bytes); out[i] points into it. Result: 0, or 1 after an error, which has been displayed under the title
// "Error detected while expanding command line".
[[nodiscard]] int cl_copy(std::int32_t* count, const char** out, std::int32_t argc, const char* const* argv,
                          std::uint32_t text_size, char* text);

}  // namespace fsort
