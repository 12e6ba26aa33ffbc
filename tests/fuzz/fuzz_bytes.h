// The bytes of one fuzzing input, taken from the front. Behind the end every byte is 0, so that any input is
// a whole one.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace fsort::fuzz {

using Texts = std::vector<std::string>;

class FuzzBytes {
 public:
  FuzzBytes(const std::uint8_t* data, std::size_t size) : data_(data), left_(size) {}

  [[nodiscard]] bool empty() const { return left_ == 0; }
  std::uint8_t byte() {
    if (left_ == 0) return 0;
    --left_;
    return *data_++;
  }
  // Two bytes, the low one first.
  std::uint32_t word() {
    const std::uint32_t low = byte();
    return low | std::uint32_t{byte()} << 8;
  }
  // A number below `n`, from as many bytes as it needs.
  std::uint32_t below(std::uint32_t n) {
    std::uint32_t value = byte();
    if (n > 0x100) value |= std::uint32_t{byte()} << 8;
    if (n > 0x10000) value |= word() << 16;
    return value % n;
  }
  template <typename T>
  const T& pick(const std::vector<T>& values) {
    return values[below(static_cast<std::uint32_t>(values.size()))];
  }
  std::string take(std::size_t count) {
    count = std::min(count, left_);
    const char* text = reinterpret_cast<const char*>(data_);
    std::string taken(text, count);
    data_ += count;
    left_ -= count;
    return taken;
  }
  std::string rest() { return take(left_); }
  // Up to the next line break, which is taken too and not part of it.
  std::string line() {
    const std::uint8_t* end = std::find(data_, data_ + left_, std::uint8_t{'\n'});
    const std::string text = take(static_cast<std::size_t>(end - data_));
    (void)byte();
    return text;
  }
  // What is left, split at lines that hold "%%" alone; at least one part.
  Texts sections() {
    Texts all{""};
    bool broken = true;
    while (left_ != 0) {
      const std::size_t before = left_;
      const std::string text = line();
      const bool ended = before - text.size() != left_;
      if (broken && text == "%%") {
        all.emplace_back();
      } else {
        all.back() += text;
        if (ended) all.back() += '\n';
      }
      broken = ended;
    }
    return all;
  }

 private:
  const std::uint8_t* data_;
  std::size_t left_;
};

}  // namespace fsort::fuzz
