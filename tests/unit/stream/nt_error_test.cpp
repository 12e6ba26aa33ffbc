// Text of system codes as messages use it.
#include "stream/nt_error.h"

#include "unit/stream/stream_fixture.h"

namespace fsort::test {
namespace {

using NtStrError = StreamFixture;

TEST_F(NtStrError, EndsInACarriageReturn) {
  char text[160];
  const std::uint32_t length = os->format_message(0x1200, nullptr, 2, 0x400, text, sizeof text, nullptr);
  const std::string got = ntstrerror(2);
  EXPECT_EQ(got, std::string(text, length - 1));
  EXPECT_EQ(got.back(), '\r');
}

TEST_F(NtStrError, LeavesThePreviousTextWholeForAnUnknownCode) {
  const std::string before = ntstrerror(5);
  EXPECT_EQ(ntstrerror(999999), before);
  EXPECT_EQ(ntstrerror(999999), before);
}

TEST_F(NtStrError, IsEmptyWhenTheFirstCodeIsUnknown) { EXPECT_STREQ(ntstrerror(999999), ""); }

TEST_F(NtStrError, LastOsErrorIsTheStreamLayersCode) {
  fs_errno = 112;
  EXPECT_EQ(last_os_error(), 112u);
}

}  // namespace
}  // namespace fsort::test
