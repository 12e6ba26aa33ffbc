// Initialises record input and output in one call and normalises file names.
#pragma once

#include <cstddef>
#include <cstdint>

#include "recio/record_description.h"

namespace fsort {

inline constexpr std::size_t kNoNameLimit = static_cast<std::size_t>(-1);

// Fills the description and blanks what it consumed, "-bs" included. Result: 0, or 1 after an error, which
// has been displayed under "Error detected during i/o initialization"; what was acquired has then been given
// back.
[[nodiscard]] int rio_init(RecordDescription* description, std::int32_t argc, const char** argv);

// Copies a name, turning every "/" and "\" into "\". Raises: "<name>:file name too long" when it has `limit`
// characters or more.
void rio_fname(const char* source, char* target, std::size_t limit);

}  // namespace fsort
