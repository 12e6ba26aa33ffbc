// A folder of a test's own, removed with all that is in it, and whole-file helpers that bypass the engine.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

namespace fsort::test {

class TempFolder {
 public:
  explicit TempFolder(const std::filesystem::path& parent = std::filesystem::temp_directory_path()) {
    std::random_device random;
    do {
      path_ = parent / ("fsort_test_" + std::to_string(random()));
    } while (!std::filesystem::create_directory(path_));
  }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  // The path of `name` in the folder.
  [[nodiscard]] std::string path(const std::string& name) const { return (path_ / name).string(); }
  // Makes a file with this content; result: its path.
  std::string make(const std::string& name, const std::string& content) const {
    std::ofstream(path(name), std::ios::binary) << content;
    return path(name);
  }
  // The content of a file; "<missing>" when it cannot be opened.
  [[nodiscard]] std::string content(const std::string& name) const {
    std::ifstream file(path(name), std::ios::binary);
    if (!file) return "<missing>";
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

 private:
  std::filesystem::path path_;
};

// `size` bytes in which every stretch is different, so that misplaced data shows.
inline std::string pattern_bytes(std::size_t size) {
  std::string bytes(size, '\0');
  for (std::size_t i = 0; i < size; ++i) {
    bytes[i] = static_cast<char>((i * 7 + i / 256 * 13 + i / 65536 * 29) & 0xFF);
  }
  return bytes;
}

}  // namespace fsort::test
