// Short ways to call the files of the platform, for its tests on every system.
#pragma once

#include <cstdint>
#include <string>

#include "platform/os.h"

namespace fsort::test {

inline constexpr std::uint32_t kReadWrite = kGenericRead | kGenericWrite;

inline Handle open_file(const std::string& name, std::uint32_t access,
                        std::uint32_t disposition = kOpenExisting) {
  const std::uint32_t share = access == kGenericRead ? kShareRead : 0;
  return os->create_file(name.c_str(), access, share, nullptr, disposition, kFlagSequentialScan, nullptr);
}

// The code with which an open fails; 0 when it succeeds.
inline std::uint32_t open_code(const std::string& name, std::uint32_t access,
                               std::uint32_t disposition = kOpenExisting) {
  Handle file = open_file(name, access, disposition);
  if (file == kInvalidHandle) return os->get_last_error();
  os->close_handle(file);
  return 0;
}

inline std::uint64_t seek(Handle file, std::int64_t distance, std::uint32_t origin) {
  auto high = static_cast<std::int32_t>(distance >> 32);
  const std::uint32_t low =
      os->set_file_pointer(file, static_cast<std::int32_t>(distance & 0xFFFFFFFF), &high, origin);
  return static_cast<std::uint64_t>(static_cast<std::uint32_t>(high)) << 32 | low;
}

inline std::string read_some(Handle file, std::uint32_t count) {
  std::string text(count, '\0');
  std::uint32_t done = 99;
  if (!os->read_file(file, text.data(), count, &done, nullptr)) return "<failed>";
  text.resize(done);
  return text;
}

inline bool write_some(Handle file, const std::string& text, std::uint32_t* done) {
  return os->write_file(file, text.data(), static_cast<std::uint32_t>(text.size()), done, nullptr);
}

inline Overlapped overlapped_at(std::uint64_t offset) {
  Overlapped o{};
  o.offset_low = static_cast<std::uint32_t>(offset);
  o.offset_high = static_cast<std::uint32_t>(offset >> 32);
  return o;
}

}  // namespace fsort::test
