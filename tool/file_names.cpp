// Names and system texts for messages: see file_names.h.
#include "file_names.h"

#include <algorithm>
#include <array>

#include "platform/program.h"

namespace fsort_tool {

std::string shown_name(const std::string& name) {
  std::string shown = name;
  std::replace(shown.begin(), shown.end(), '\\', fsort::kFolderSeparator);
  return shown;
}

std::string real_name(const std::string& name) {
  constexpr std::size_t kRoom = 4096;
  std::array<char, kRoom> real{};
  return fsort::program_real_name(name.c_str(), real.data(), real.size()) ? real.data() : name;
}

std::string system_text(std::uint32_t code) {
  constexpr std::uint32_t kFromSystemIgnoreInserts = 0x1200;
  constexpr std::size_t kRoom = 512;
  std::array<char, kRoom> text{};
  if (fsort::kSystemOs.format_message(kFromSystemIgnoreInserts, nullptr, code, 0, text.data(), kRoom,
                                      nullptr) == 0) {
    return "error " + std::to_string(code);
  }
  std::string line = text.data();
  line.erase(line.find_last_not_of("\r\n ") + 1);
  return line;
}

}  // namespace fsort_tool
