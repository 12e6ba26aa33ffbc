// Texts of system codes.
#include <gtest/gtest.h>

#include <string>

#include "platform/os.h"

namespace fsort {
namespace {

std::uint32_t message(std::uint32_t code, char* text, std::uint32_t size) {
  return os->format_message(0x1200, nullptr, code, 0x400, text, size, nullptr);
}

TEST(FormatMessage, EndsEveryTextInALineEnd) {
  char text[160];
  const std::uint32_t length = message(kErrorFileNotFound, text, sizeof text);
  const std::string got = text;
  EXPECT_EQ(got.size(), length);
  EXPECT_GT(got.size(), 2u);
  EXPECT_TRUE(got.ends_with("\r\n")) << got;
}

TEST(FormatMessage, KnowsEveryCodeThatTheEngineNames) {
  for (const std::uint32_t code :
       {kErrorFileNotFound, kErrorPathNotFound, kErrorTooManyOpenFiles, kErrorAccessDenied,
        kErrorInvalidHandle, kErrorNotEnoughMemory, kErrorWriteProtect, kErrorSharingViolation,
        kErrorHandleEof, kErrorFileExists, kErrorInvalidParameter, kErrorBrokenPipe, kErrorDiskFull,
        kErrorNegativeSeek, kErrorFilenameTooLong, kErrorNoData, kErrorMoreData, kErrorIoPending,
        kErrorIoDevice}) {
    char text[160];
    EXPECT_GT(message(code, text, sizeof text), 2u) << code;
  }
}

TEST(FormatMessage, LeavesTheTextAloneForAnUnknownCode) {
  char text[160] = "before";
  EXPECT_EQ(message(999999, text, sizeof text), 0u);
  EXPECT_STREQ(text, "before");
}

TEST(FormatMessage, LeavesTheTextAloneWhenItDoesNotFit) {
  char whole[160];
  const std::uint32_t length = message(kErrorAccessDenied, whole, sizeof whole);
  char text[160] = "before";
  EXPECT_EQ(message(kErrorAccessDenied, text, length), 0u);
  EXPECT_STREQ(text, "before");
  EXPECT_EQ(message(kErrorAccessDenied, text, length + 1), length);
  EXPECT_STREQ(text, whole);
}

}  // namespace
}  // namespace fsort
