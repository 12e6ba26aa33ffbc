// The copy of short pieces: exactly the bytes asked for, whatever their number.
#include "support/bytes.h"

#include <gtest/gtest.h>

#include <string>

namespace fsort {
namespace {

const std::uint8_t* bytes_of(const std::string& text) {
  return reinterpret_cast<const std::uint8_t*>(text.data());
}

TEST(CopyBytes, EveryLengthIsCopiedAndNothingAroundItIsTouched) {
  constexpr std::size_t kMargin = 20;
  std::string source;
  for (int i = 0; i < 100; ++i) source += static_cast<char>('!' + i % 90);
  for (std::size_t n = 0; n <= 70; ++n) {
    std::string target(n + 2 * kMargin, '\1');
    copy_bytes(reinterpret_cast<std::uint8_t*>(target.data()) + kMargin, bytes_of(source) + 3, n);
    const std::string margin(kMargin, '\1');
    EXPECT_EQ(target, margin + source.substr(3, n) + margin) << n;
  }
}

}  // namespace
}  // namespace fsort
