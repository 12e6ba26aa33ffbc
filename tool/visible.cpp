// Making bytes visible; see visible.h.
#include "visible.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <optional>

namespace fsort_tool {
namespace {

constexpr unsigned kFirstPrintable = 32;
constexpr unsigned kLastPrintable = 126;
constexpr std::string_view kDots = "...";

struct Escape {
  unsigned byte;
  char letter;
};
constexpr std::array<Escape, 8> kEscapes = {
    {{'\\', '\\'}, {'\b', 'b'}, {'\f', 'f'}, {'\n', 'n'}, {'\r', 'r'}, {'\t', 't'}, {'\v', 'v'}, {0, '0'}}};

struct CodeRange {
  std::uint32_t first;
  std::uint32_t last;
};

// Characters without a width of their own, and those that are not to be seen: shown byte by byte.
constexpr std::array<CodeRange, 12> kUnseen = {{{0x0000, 0x00A0},
                                                {0x00AD, 0x00AD},
                                                {0x0300, 0x036F},
                                                {0x0483, 0x0489},
                                                {0x0590, 0x08FF},
                                                {0x0900, 0x10FF},
                                                {0x135D, 0x1DFF},
                                                {0x2000, 0x200F},
                                                {0x2028, 0x202F},
                                                {0x205F, 0x206F},
                                                {0x20D0, 0x20FF},
                                                {0xA640, 0xABFF}}};
// Further ones: surrogates and private use, joiners, marks and everything beyond the usual planes.
constexpr std::array<CodeRange, 6> kUnseenBeyond = {{{0xD7A4, 0xF8FF},
                                                     {0xFB00, 0xFE2F},
                                                     {0xFE70, 0xFEFF},
                                                     {0xFFE7, 0x1F2FF},
                                                     {0x1FB00, 0x1FFFF},
                                                     {0x2FFFE, 0x10FFFF}}};
// Characters that take two columns.
constexpr std::array<CodeRange, 9> kWide = {{{0x1100, 0x115F},
                                             {0x2E80, 0x303E},
                                             {0x3041, 0xA4CF},
                                             {0xAC00, 0xD7A3},
                                             {0xF900, 0xFAFF},
                                             {0xFE30, 0xFE6F},
                                             {0xFF01, 0xFF60},
                                             {0xFFE0, 0xFFE6},
                                             {0x1F300, 0x2FFFD}}};

template <std::size_t N>
bool lies_in(const std::array<CodeRange, N>& ranges, std::uint32_t code) {
  return std::any_of(ranges.begin(), ranges.end(),
                     [code](const CodeRange& r) { return code >= r.first && code <= r.last; });
}

struct Character {
  std::uint32_t code;
  std::size_t bytes;
};

// The character of two to four bytes at the start of `data`, if it is one in its shortest form.
std::optional<Character> decode(std::span<const std::uint8_t> data) {
  const unsigned lead = data[0];
  const std::size_t bytes = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || data.size() < bytes) return std::nullopt;
  std::uint32_t code = lead & (0x7FU >> bytes);
  for (std::size_t i = 1; i < bytes; ++i) {
    if ((data[i] & 0xC0U) != 0x80U) return std::nullopt;
    code = code << 6 | (data[i] & 0x3FU);
  }
  constexpr std::array<std::uint32_t, 5> kLeast = {0, 0, 0x80, 0x800, 0x10000};
  if (code < kLeast[bytes]) return std::nullopt;
  return Character{code, bytes};
}

bool is_printable(unsigned byte) { return byte >= kFirstPrintable && byte <= kLastPrintable; }

std::string byte_text(unsigned byte) {
  for (const Escape& e : kEscapes) {
    if (e.byte == byte) return {'\\', e.letter};
  }
  if (is_printable(byte)) return {static_cast<char>(byte)};
  std::array<char, 8> text{};
  std::snprintf(text.data(), text.size(), "\\x%02X", byte);
  return text.data();
}

Cell cell_at(std::span<const std::uint8_t> data, std::size_t at, const std::vector<bool>& breaks) {
  const std::optional<Character> character = decode(data.subspan(at));
  if (character && !lies_in(kUnseen, character->code) && !lies_in(kUnseenBeyond, character->code)) {
    const auto from = static_cast<std::ptrdiff_t>(at + 1);
    const auto to = static_cast<std::ptrdiff_t>(at + character->bytes);
    if (breaks.empty() ||
        std::find(breaks.begin() + from, breaks.begin() + to, true) == breaks.begin() + to) {
      const auto* text = reinterpret_cast<const char*>(data.data() + at);
      return make_cell(std::string(text, character->bytes), lies_in(kWide, character->code) ? 2 : 1, at,
                       character->bytes);
    }
  }
  const std::string text = byte_text(data[at]);
  return make_cell(text, text.size(), at, 1);
}

}  // namespace

Cell make_cell(const std::string& text, std::size_t columns, std::size_t first, std::size_t bytes) {
  Cell cell{{}, std::min(text.size(), sizeof Cell::shown), columns, first, bytes};
  std::copy_n(text.begin(), cell.shown_bytes, cell.shown.begin());
  return cell;
}

std::vector<Cell> make_cells(std::span<const std::uint8_t> data, const std::vector<bool>& breaks) {
  std::vector<Cell> cells;
  for (std::size_t at = 0; at < data.size(); at += cells.back().bytes) {
    cells.push_back(cell_at(data, at, breaks));
  }
  return cells;
}

std::string quoted(std::span<const std::uint8_t> data, std::size_t columns) {
  const std::vector<Cell> cells = make_cells(data);
  std::size_t all = 0;
  for (const Cell& cell : cells) all += cell.columns;
  std::string front;
  std::string back;
  const std::size_t half = all <= columns ? all : (columns - kDots.size()) / 2;
  std::size_t used = 0;
  std::size_t next = 0;
  for (; next < cells.size() && used + cells[next].columns <= half; ++next) {
    front += cells[next].text();
    used += cells[next].columns;
  }
  if (next == cells.size()) return "\"" + front + "\"";
  used = 0;
  for (std::size_t last = cells.size(); last > next && used + cells[last - 1].columns <= half; --last) {
    back.insert(0, cells[last - 1].text());
    used += cells[last - 1].columns;
  }
  return "\"" + front + std::string(kDots) + back + "\"";
}

std::string byte_constant(unsigned byte) {
  const bool has_constant = is_printable(byte) || (byte >= '\b' && byte <= '\r');
  return has_constant ? "'" + byte_text(byte) + "'" : std::to_string(byte);
}

std::string byte_range(unsigned first, unsigned last) {
  if (first == last) return byte_constant(first);
  if (is_printable(first) && is_printable(last)) return byte_constant(first) + "-" + byte_constant(last);
  return std::to_string(first) + "-" + std::to_string(last);
}

}  // namespace fsort_tool
