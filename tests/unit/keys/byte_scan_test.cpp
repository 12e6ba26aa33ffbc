// Looking at sixteen bytes together against looking at each.
#include "keys/byte_scan.h"

#include <gtest/gtest.h>

#include <array>
#include <random>

namespace fsort::test {
namespace {

using Block = std::array<std::uint8_t, kScanBytes>;

template <class Test>
std::uint32_t by_bytes(const Block& block, Test test) {
  std::uint32_t mask = 0;
  for (std::uint32_t i = 0; i < kScanBytes; ++i) mask |= test(block[i]) ? std::uint32_t{1} << i : 0;
  return mask;
}

// Every byte value at every place, between others that could be taken for it.
template <class Check>
void for_many_blocks(Check check) {
  std::mt19937 random(271828);
  for (unsigned value = 0; value < 256; ++value) {
    for (std::uint32_t place = 0; place < kScanBytes; ++place) {
      Block block;
      for (std::uint8_t& b : block)
        b = static_cast<std::uint8_t>(random() % 4 == 0 ? value ^ 0x80 : random());
      block[place] = static_cast<std::uint8_t>(value);
      check(block, static_cast<std::uint8_t>(value));
    }
  }
}

TEST(ByteScan, FindsAByteInBothWays) {
  for_many_blocks([](const Block& block, std::uint8_t wanted) {
    const std::uint32_t expected = by_bytes(block, [wanted](std::uint8_t b) { return b == wanted; });
    EXPECT_EQ(find_byte(block.data(), wanted), expected);
    EXPECT_EQ(find_byte_plain(block.data(), wanted), expected);
  });
}

TEST(ByteScan, FindsDigitsInBothWays) {
  for_many_blocks([](const Block& block, std::uint8_t) {
    const std::uint32_t expected = by_bytes(block, [](std::uint8_t b) { return b >= '0' && b <= '9'; });
    EXPECT_EQ(find_digits(block.data()), expected);
    EXPECT_EQ(find_digits_plain(block.data()), expected);
  });
}

TEST(ByteScan, FindsNothingBehindTheEnd) {
  std::array<std::uint8_t, 64> digits;
  digits.fill('7');
  for (std::uint32_t end = kScanBytes; end <= digits.size(); ++end) {
    for (std::uint32_t at = 0; at <= end; ++at) {
      const std::uint32_t left = end - at;
      const std::uint32_t expected = left >= kScanBytes ? 0xFFFF : (std::uint32_t{1} << left) - 1;
      EXPECT_EQ(scan_bytes(digits.data(), at, end, find_digits), expected) << at << " to " << end;
    }
  }
}

}  // namespace
}  // namespace fsort::test
