// Finding options and telling operands from options.
#include <cstring>

#include "cmdline/arg.h"
#include "cmdline/ascii.h"

namespace fsort {

std::uint32_t arg_find(std::int32_t argc, const char* const* argv, const char* name) {
  for (std::int32_t i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], name) == 0) return static_cast<std::uint32_t>(i);
  }
  return kArgNotFound;
}

bool arg_operand(std::int32_t argc, const char* const* argv, std::uint32_t index) {
  if (argc < 0 || index >= static_cast<std::uint32_t>(argc)) return false;
  const char first = argv[index][0];
  return first != '\0' && first != '-' && first != '(';
}

std::uint32_t arg_invoke(std::int32_t argc, const char* const* argv, std::uint32_t index,
                         void (*function)(std::uint8_t)) {
  constexpr std::uint32_t kLastByteValue = 255;
  // arg_operand also stops at "(", which is no range either. A range with an open start begins with "-" and
  // so stops the list: it looks like an option.
  for (; arg_operand(argc, argv, index) && !ascii_is_letter(argv[index][0]); ++index) {
    Range range;
    if (!arg_range(argv[index], &range)) break;
    const std::uint32_t end = range.end < kLastByteValue ? range.end : kLastByteValue;
    for (std::uint32_t value = range.start; value <= end; ++value) {
      function(static_cast<std::uint8_t>(value));
    }
  }
  return index;
}

}  // namespace fsort
