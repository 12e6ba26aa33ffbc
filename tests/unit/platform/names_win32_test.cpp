// Names on their way to a Windows system.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "platform/os.h"
#include "platform/win32/win32_internal.h"

namespace fsort::win32 {
namespace {

// The name as the system gets it; empty when it is refused.
std::wstring wide(const std::string& name) {
  const auto result = std::make_unique<WideName>();
  return wide_name(name.c_str(), result.get()) ? std::wstring(result->text) : std::wstring();
}

TEST(WideName, MakesAShortNameAbsoluteAndTurnsItsSlashes) {
  EXPECT_EQ(wide("C:/a/b.txt"), L"C:\\a\\b.txt");
  EXPECT_EQ(wide("C:\\a\\..\\b"), L"C:\\b");
}

TEST(WideName, GivesALongNameThePrefixThatLiftsTheLimit) {
  const std::string part(200, 'x');
  const std::wstring wide_part(200, L'x');
  EXPECT_EQ(wide("C:/" + part + "/" + part), L"\\\\?\\C:\\" + wide_part + L"\\" + wide_part);
  EXPECT_EQ(wide("\\\\server\\share\\" + part + "\\" + part),
            L"\\\\?\\UNC\\server\\share\\" + wide_part + L"\\" + wide_part);
  EXPECT_EQ(wide("\\\\?\\C:\\" + part + "\\" + part), L"\\\\?\\C:\\" + wide_part + L"\\" + wide_part);
}

TEST(WideName, RefusesNoNameAndOneLongerThanAnyCanBe) {
  EXPECT_EQ(wide(""), L"");
  EXPECT_EQ(os->get_last_error(), kErrorPathNotFound);
  EXPECT_EQ(wide("C:\\" + std::string(5000, 'x')), L"");
  EXPECT_EQ(os->get_last_error(), kErrorFilenameTooLong);
}

TEST(IsNarrowName, HoldsForShortNamesUntilTextsAreUtf8) {
  EXPECT_FALSE(is_narrow_name(std::string(248, 'x').c_str()));
  EXPECT_EQ(is_narrow_name(std::string(247, 'x').c_str()), !utf8_texts());
}

}  // namespace
}  // namespace fsort::win32
