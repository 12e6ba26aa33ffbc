// Files in memory. See the header.
#include "support/sim_disk.h"

#include <algorithm>
#include <cstring>

#include "platform/os.h"

namespace fsort::test {

std::uint32_t SparseBytes::read(std::uint64_t at, void* to, std::uint32_t count) const {
  if (at >= size_) return 0;
  const auto total = static_cast<std::uint32_t>(std::min<std::uint64_t>(count, size_ - at));
  auto* target = static_cast<unsigned char*>(to);
  for (std::uint32_t done = 0; done < total;) {
    const std::uint64_t within = (at + done) % kPageBytes;
    const auto piece = static_cast<std::uint32_t>(std::min<std::uint64_t>(total - done, kPageBytes - within));
    const auto page = pages_.find((at + done) / kPageBytes);
    if (page != pages_.end()) {
      std::memcpy(target + done, page->second.data() + within, piece);
    } else {
      std::memset(target + done, 0, piece);
    }
    done += piece;
  }
  return total;
}

void SparseBytes::write(std::uint64_t at, const void* from, std::uint32_t count) {
  const auto* source = static_cast<const unsigned char*>(from);
  for (std::uint32_t done = 0; done < count;) {
    const std::uint64_t within = (at + done) % kPageBytes;
    const auto piece = static_cast<std::uint32_t>(std::min<std::uint64_t>(count - done, kPageBytes - within));
    std::memcpy(pages_[(at + done) / kPageBytes].data() + within, source + done, piece);
    done += piece;
  }
  if (count != 0) size_ = std::max(size_, at + count);
}

void SparseBytes::resize(std::uint64_t size) {
  if (size < size_) {
    pages_.erase(pages_.lower_bound((size + kPageBytes - 1) / kPageBytes), pages_.end());
    const auto last = pages_.find(size / kPageBytes);
    if (last != pages_.end()) {
      std::fill(last->second.begin() + static_cast<std::ptrdiff_t>(size % kPageBytes), last->second.end(),
                static_cast<unsigned char>(0));
    }
  }
  size_ = size;
}

std::string SparseBytes::text() const {
  std::string all(static_cast<std::size_t>(size_), '\0');
  static_cast<void>(read(0, all.data(), static_cast<std::uint32_t>(size_)));
  return all;
}

std::string SimDisk::plain(const std::string& name) {
  std::string text = name;
  std::replace(text.begin(), text.end(), '/', '\\');
  return text;
}

bool SimDisk::has_folder_of(const std::string& name) const {
  const std::string text = plain(name);
  const std::size_t separator = text.rfind('\\');
  return separator == std::string::npos || folders_.count(text.substr(0, separator)) != 0;
}

std::shared_ptr<SimFile> SimDisk::find(const std::string& name) const {
  const auto found = files_.find(plain(name));
  return found != files_.end() ? found->second : nullptr;
}

std::shared_ptr<SimFile> SimDisk::make(const std::string& name) {
  auto file = std::make_shared<SimFile>();
  file->type = kFileTypeDisk;
  files_[plain(name)] = file;
  return file;
}

std::vector<std::string> SimDisk::names() const {
  std::vector<std::string> all;
  for (const auto& [name, file] : files_) all.push_back(name);
  return all;
}

}  // namespace fsort::test
