// The disk of a simulated system: named files in memory.
//
// A file is a sparse run of pages, so that positions beyond 4 GiB cost nothing. Names take slashes and
// backslashes alike. A file lives as long as a handle or its name refers to it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace fsort::test {

class SparseBytes {
 public:
  [[nodiscard]] std::uint64_t size() const { return size_; }
  // Bytes from `at` on, at most `count` and never beyond the end; result: their number.
  std::uint32_t read(std::uint64_t at, void* to, std::uint32_t count) const;
  // Stores bytes; a gap in front of them reads as zeros.
  void write(std::uint64_t at, const void* from, std::uint32_t count);
  void resize(std::uint64_t size);
  [[nodiscard]] std::string text() const;

 private:
  static constexpr std::uint64_t kPageBytes = 4096;
  std::map<std::uint64_t, std::array<unsigned char, kPageBytes>> pages_;
  std::uint64_t size_ = 0;
};

struct SimFile {
  SparseBytes bytes;
  std::uint32_t type = 0;     // a kFileType value
  bool end_is_error = false;  // a pipe that ends with 109 instead of 0 bytes
};

class SimDisk {
 public:
  SimDisk() { folders_.insert(""); }
  // The form of a name in which both separators are the same.
  [[nodiscard]] static std::string plain(const std::string& name);
  void make_folder(const std::string& name) { folders_.insert(plain(name)); }
  [[nodiscard]] bool is_folder(const std::string& name) const { return folders_.count(plain(name)) != 0; }
  // True when the folder that `name` would lie in exists.
  [[nodiscard]] bool has_folder_of(const std::string& name) const;
  // The file, or null.
  [[nodiscard]] std::shared_ptr<SimFile> find(const std::string& name) const;
  std::shared_ptr<SimFile> make(const std::string& name);
  void remove(const std::string& name) { files_.erase(plain(name)); }
  [[nodiscard]] std::vector<std::string> names() const;

 private:
  std::map<std::string, std::shared_ptr<SimFile>> files_;
  std::set<std::string> folders_;
};

}  // namespace fsort::test
