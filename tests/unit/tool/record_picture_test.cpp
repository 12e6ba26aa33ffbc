// Records drawn with their marks: beside and beneath, shortened, and in several strips.
#include "record_picture.h"

#include <gtest/gtest.h>

#include <sstream>

namespace fsort_tool {
namespace {

std::span<const std::uint8_t> bytes_of(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

// A line that marks `count` bytes from `first` on of a record of `length`.
PictureLine marked(const std::string& label, std::size_t length, std::size_t first, std::size_t count,
                   const std::string& note) {
  PictureLine line{label, std::string(length + 1, ' '), note};
  line.marks.replace(first, count, count, '^');
  return line;
}

std::size_t widest_line(const std::string& text) {
  std::istringstream lines(text);
  std::size_t widest = 0;
  for (std::string line; std::getline(lines, line);) widest = std::max(widest, line.size());
  return widest;
}

TEST(Draw, PutsMarksUnderTheirBytesAndNotesBesideThem) {
  const std::string data = "ant;\t;-35\n";
  const Picture picture{
      bytes_of(data),
      "  field",
      {{0, "0"}, {4, "1"}, {6, "2"}},
      {marked("  key 1", data.size(), 7, 2, "-35"), marked("  key 2", data.size(), 4, 1, "tab")}};
  EXPECT_EQ(draw(picture),
            "             ant;\\t;-35\\n\n"
            "  field      0   1  2\n"
            "  key 1              ^^      -35\n"
            "  key 2          ^^          tab\n");
}

TEST(Draw, PutsNotesBeneathWhenOneOfThemHasNoRoomBeside) {
  const std::string data = "abc";
  const std::string note(70, 'n');
  const Picture picture{bytes_of(data), "  byte", {{0, "0"}}, {marked("  key 1", 3, 0, 1, note)}};
  EXPECT_EQ(draw(picture), "             abc\n  byte       0\n  key 1      ^\n             " + note + "\n");
}

TEST(Draw, MarksAPlaceBehindTheRecordAndDrawsAPointOnce) {
  PictureLine behind{"  key 1", "   |", ""};
  PictureLine point{"  key 2", "|   ", ""};
  const std::string data = "\nbc";
  EXPECT_EQ(draw({bytes_of(data), "", {}, {behind, point}}),
            "             \\nbc\n  key 1          |\n  key 2      |\n");
}

TEST(Draw, LeavesOutNumbersOfTheRulerThatWouldTouch) {
  const std::string data = ";;;a";
  EXPECT_EQ(draw({bytes_of(data), "  field", {{0, "0"}, {1, "1"}, {2, "2"}, {3, "3"}}, {}}),
            "             ;;;a\n  field      0 2\n");
}

TEST(Draw, ShortensALongRecordToItsMarksAndSomeBytesBesideThem) {
  const std::string data = std::string(100, 'x') + "KEY" + std::string(100, 'y');
  EXPECT_EQ(draw({bytes_of(data), "", {}, {marked("  key 1", data.size(), 100, 3, "here")}}),
            "             xxxxxxxx...xxxxKEYyyyy...\n"
            "  key 1                     ^^^           here\n");
}

TEST(Draw, LeavesOutTheMiddleOfALongMark) {
  const std::string data = std::string(50, 'x') + std::string(50, 'k') + "z";
  EXPECT_EQ(draw({bytes_of(data), "", {}, {marked("  key 1", data.size(), 50, 50, "")}}),
            "             xxxxxxxx...xxxx" + std::string(16, 'k') + "..." + std::string(8, 'k') +
                "z\n  key 1                     " + std::string(27, '^') + "\n");
}

TEST(Draw, GoesOnInFurtherStripsAndNeverBeyondTheTerminal) {
  std::string data;
  Picture picture;
  for (int k = 0; k < 12; ++k) data += std::string(10, static_cast<char>('a' + k));
  picture.data = bytes_of(data);
  for (std::size_t k = 0; k < 12; ++k) {
    picture.lines.push_back(marked("  key " + std::to_string(k + 1), data.size(), 10 * k + 1, 8, "note"));
  }
  const std::string drawn = draw(picture);
  EXPECT_LE(widest_line(drawn), kTerminalColumns);
  for (int k = 0; k < 12; ++k) {
    EXPECT_NE(drawn.find(std::string(8, static_cast<char>('a' + k))), std::string::npos) << k;
  }
  // No mark is cut by the end of a strip: each key has one line of marks and one for its note.
  std::size_t marks = 0;
  for (std::size_t at = drawn.find("^^^^^^^^"); at != std::string::npos; at = drawn.find("^^^^^^^^", at + 8))
    ++marks;
  EXPECT_EQ(marks, 12U);
}

TEST(Draw, DrawsARecordWithoutBytes) {
  EXPECT_EQ(draw({{}, "  byte", {}, {{"  key 1", "|", "empty"}}}), "             \n  key 1      |   empty\n");
}

}  // namespace
}  // namespace fsort_tool
