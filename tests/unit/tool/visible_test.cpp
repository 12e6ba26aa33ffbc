// Bytes made visible: what a terminal shows of them, and in how many columns.
#include "visible.h"

#include <gtest/gtest.h>

#include <string>

namespace fsort_tool {
namespace {

std::span<const std::uint8_t> bytes_of(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

// The cells joined by bars.
std::string cells(const std::string& text, const std::vector<bool>& breaks = {}) {
  std::string joined;
  for (const Cell& cell : make_cells(bytes_of(text), breaks))
    joined += std::string(joined.empty() ? "" : "|").append(cell.text());
  return joined;
}

TEST(MakeCells, ShowsPrintableBytesAsThemselvesAndOthersAsEscapes) {
  EXPECT_EQ(cells("a ~"), "a| |~");
  EXPECT_EQ(cells(std::string("\n\t\r\0\\", 5)), "\\n|\\t|\\r|\\0|\\\\");
  EXPECT_EQ(cells("\x01\x7F"), "\\x01|\\x7F");
}

TEST(MakeCells, KeepsTheBytesOfACharacterTogether) {
  const std::vector<Cell> found = make_cells(bytes_of("aü€文"));
  ASSERT_EQ(found.size(), 4U);
  EXPECT_EQ(found[1].text(), "ü");
  EXPECT_EQ(found[1].bytes, 2U);
  EXPECT_EQ(found[1].columns, 1U);
  EXPECT_EQ(found[2].first, 3U);
  EXPECT_EQ(found[3].bytes, 3U);
  EXPECT_EQ(found[3].columns, 2U);
}

TEST(MakeCells, ShowsBytesOneByOneWhereACharacterIsCut) {
  EXPECT_EQ(cells("ü", {false, true, false}), "\\xC3|\\xBC");
  EXPECT_EQ(cells("ü", {true, false, true}), "ü");
}

TEST(MakeCells, ShowsBrokenAndHiddenCharactersByteByByte) {
  EXPECT_EQ(cells("\xC3"), "\\xC3");                           // ends in the middle
  EXPECT_EQ(cells("\xC3z"), "\\xC3|z");                        // goes on with no part of it
  EXPECT_EQ(cells("\xC0\x80"), "\\xC0|\\x80");                 // longer than it need be
  EXPECT_EQ(cells("\xE0\x80\x80"), "\\xE0|\\x80|\\x80");       //
  EXPECT_EQ(cells("\xCC\x81"), "\\xCC|\\x81");                 // an accent without a letter
  EXPECT_EQ(cells("\xE2\x80\x8B"), "\\xE2|\\x80|\\x8B");       // a space without width
  EXPECT_EQ(cells("\xED\xA0\x80"), "\\xED|\\xA0|\\x80");       // half of a pair
  EXPECT_EQ(cells("\xF5\x80\x80\x80").substr(0, 4), "\\xF5");  // beyond the last character
}

TEST(Quoted, LeavesOutTheMiddleOfALongText) {
  EXPECT_EQ(quoted(bytes_of("ant"), 32), "\"ant\"");
  EXPECT_EQ(quoted(bytes_of(""), 32), "\"\"");
  EXPECT_EQ(quoted(bytes_of("0123456789"), 10), "\"0123456789\"");
  EXPECT_EQ(quoted(bytes_of("0123456789a"), 10), "\"012...89a\"");
}

TEST(ByteConstant, IsWrittenAsOnACommandLine) {
  EXPECT_EQ(byte_constant('a'), "'a'");
  EXPECT_EQ(byte_constant('\t'), "'\\t'");
  EXPECT_EQ(byte_constant(0), "0");
  EXPECT_EQ(byte_constant(195), "195");
  EXPECT_EQ(byte_range('a', 'z'), "'a'-'z'");
  EXPECT_EQ(byte_range(0, 255), "0-255");
  EXPECT_EQ(byte_range(';', ';'), "';'");
}

}  // namespace
}  // namespace fsort_tool
