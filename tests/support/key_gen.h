// Random sort descriptions: a key grammar as a tree, and the command line that says the same.
//
// The tree goes to the oracle, the text to the sort and to the reference engine, so a misreading of the
// command line by either shows up as a difference. The generator keeps to descriptions with a meaning:
// numbers are read from left to right, a group's inner columns lie inside its region, a table has at most 32
// rows. It likes small alphabets, short columns and several keys, so that ties, prefixes and mixed plans are
// common.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "support/oracle_sort.h"

namespace fsort_test {

// Numbers from a seed; or from given bytes, one or two a number, as long as they last, so that whoever
// chooses the bytes chooses the sort.
class Random {
 public:
  explicit Random(std::uint64_t seed) : engine_(seed) {}
  explicit Random(std::string bytes) : engine_(bytes.size()), bytes_(std::move(bytes)) {}
  // A number of [0, n).
  int below(int n) { return static_cast<int>(draw(n) % static_cast<std::uint64_t>(n)); }
  int between(int first, int last) { return first + below(last - first + 1); }
  bool chance(int percent) { return below(100) < percent; }
  template <typename T>
  const T& pick(const std::vector<T>& values) {
    return values[static_cast<std::size_t>(below(static_cast<int>(values.size())))];
  }

 private:
  std::uint64_t draw(int n) {
    const std::size_t width = n <= 0x100 ? 1 : 2;
    if (bytes_.size() - used_ < width) return engine_();
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < width; ++i) value = value << 8 | static_cast<unsigned char>(bytes_[used_++]);
    return value;
  }

  std::mt19937_64 engine_;
  std::string bytes_;
  std::size_t used_ = 0;
};

// What keys and records have in common.
struct Shape {
  int fields = 0;         // 0: the record is not split
  char delimiter = '\t';  // between fields
  int columns = 8;        // columns that keys name
  bool forgiving = true;  // modes are given so that short fields are no fault
  bool crowded = false;   // short records of two letters under keys of one byte: plans span keys, ties abound
};

[[nodiscard]] Shape random_shape(Random* random);
[[nodiscard]] SortSpec random_spec(Random* random, const Shape& shape);

// A sort as arguments: global options first, then the keys. `random` varies the spelling of numbers.
[[nodiscard]] std::vector<std::string> render(const SortSpec& spec, Random* random);
[[nodiscard]] std::string join(const std::vector<std::string>& arguments);

}  // namespace fsort_test
