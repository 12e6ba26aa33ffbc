// Bytes of records made visible on a terminal.
//
// A printable byte shows as itself, a line break, tab and the like as in a character constant (\n \t), any
// other byte as \x1B, a backslash as two. A character of UTF-8 shows as itself, too, where its bytes stay
// together and a terminal's width for it is known; else its bytes show one by one.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace fsort_tool {

// What stands in one place of a line: one byte, or the bytes of one character.
struct Cell {
  std::array<char, 4> shown;  // what it shows, a character at most
  std::size_t shown_bytes;
  std::size_t columns;  // that it takes on a terminal
  std::size_t first;    // its first byte
  std::size_t bytes;

  [[nodiscard]] std::string_view text() const { return {shown.data(), shown_bytes}; }
};

// A cell that shows `text`, of at most four bytes, for `bytes` bytes of a record from `first` on.
[[nodiscard]] Cell make_cell(const std::string& text, std::size_t columns, std::size_t first,
                             std::size_t bytes);

// The cells of `data`. No cell reaches over a byte whose `breaks` is set; none are set when it is empty.
[[nodiscard]] std::vector<Cell> make_cells(std::span<const std::uint8_t> data,
                                           const std::vector<bool>& breaks = {});

// The bytes in double quotes, those in the middle left out when they take more than `columns`.
[[nodiscard]] std::string quoted(std::span<const std::uint8_t> data, std::size_t columns);

// A byte value as the sort command line has it: 'a', '\t' or 195.
[[nodiscard]] std::string byte_constant(unsigned byte);

// A range of byte values likewise: 'a'-'z', 128-255; a single one when the ends are the same.
[[nodiscard]] std::string byte_range(unsigned first, unsigned last);

}  // namespace fsort_tool
