// The texts that a POSIX system's messages have here: those of Windows, in English.
#include <gtest/gtest.h>

#include "platform/os.h"

namespace fsort {
namespace {

TEST(FormatMessageOnPosix, HasTheTextsOfWindows) {
  char text[160];
  EXPECT_NE(os->format_message(0x1200, nullptr, kErrorFileNotFound, 0x400, text, sizeof text, nullptr), 0u);
  EXPECT_STREQ(text, "The system cannot find the file specified.\r\n");
}

}  // namespace
}  // namespace fsort
