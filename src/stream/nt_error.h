// Text of a system error code.
#pragma once

#include <cstdint>

namespace fsort {

// The system's text of `code` without its last character (so it ends in "\r"). The text lies in a 160-byte
// area of the instance and is valid until the next call; a code without text leaves the previous text as it
// is.
[[nodiscard]] const char* ntstrerror(std::uint32_t code);

// The Windows code of the latest failure of the stream layer.
[[nodiscard]] std::uint32_t last_os_error();

}  // namespace fsort
