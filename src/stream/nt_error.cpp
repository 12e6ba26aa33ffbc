// Text of a system error code, and the code of the latest failure.
//
// The text is fetched into an area of the instance and its last character, the line feed of the system's
// line end, is cut off; the carriage return stays and is part of every message. A code that the
// system has no text for leaves the area alone: the previous text is then shown again, and is not cut twice.
#include "stream/nt_error.h"

#include "stream/stream_access.h"

namespace fsort {

namespace {

constexpr std::uint32_t kFromSystemIgnoreInserts = 0x1200;
constexpr std::uint32_t kUserDefaultLanguage = 0x400;

}  // namespace

const char* ntstrerror(std::uint32_t code) {
  StreamState& state = stream_st();
  const std::uint32_t length =
      os->format_message(kFromSystemIgnoreInserts, nullptr, code, kUserDefaultLanguage, state.error_text,
                         sizeof state.error_text, nullptr);
  if (length != 0) state.error_text[length - 1] = 0;
  return state.error_text;
}

std::uint32_t last_os_error() { return fs_errno; }

}  // namespace fsort
