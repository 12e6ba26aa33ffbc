// A record on a terminal, with lines beneath it that mark some of its bytes.
//
//              ant;x;-35.20\n
//     fields   0   1 2
//     key 1           ^^ ~~       -35.20: sign -, digits 35, decimals 20
//     key 2    ^^^                "ant", ended by ';'
//
// A long record is shortened: what no line marks is left out, but for a few bytes beside the marks, and so is
// the middle of a long mark. What is still too long goes on in a further set of lines. The notes stand beside
// their lines where all of them fit, beneath them otherwise.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace fsort_tool {

// Columns of a terminal, and of the labels in front of the lines.
inline constexpr std::size_t kTerminalColumns = 80;
inline constexpr std::size_t kLabelColumns = 13;

struct PictureLine {
  std::string label;
  std::string marks;  // one for each byte of the record and one behind it; a blank where there is none
  std::string note;
};

struct Picture {
  std::span<const std::uint8_t> data;
  std::string ruler_label;
  std::vector<std::pair<std::size_t, std::string>> ruler;  // numbers over bytes, ascending
  std::vector<PictureLine> lines;
};

// The picture as lines of text.
[[nodiscard]] std::string draw(const Picture& picture);

// `label`, then `text`, in columns.
[[nodiscard]] std::string labelled(const std::string& label, const std::string& text);

}  // namespace fsort_tool
