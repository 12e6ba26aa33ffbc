// Drawing records; see record_picture.h.
//
// The record becomes cells (visible.h), cut wherever a mark or a number of the ruler begins or ends. Cells
// that are left out become one cell of dots. The cells are dealt out to strips of the terminal's width, and
// every line is drawn along each strip.
#include "record_picture.h"

#include <algorithm>

#include "visible.h"

namespace fsort_tool {
namespace {

constexpr std::size_t kStripColumns = kTerminalColumns - kLabelColumns;
constexpr std::size_t kGap = 3;           // columns between a line and its note
constexpr std::size_t kBeside = 4;        // cells shown beside a mark
constexpr std::size_t kMarkedFront = 16;  // cells shown of a long mark, at its two ends
constexpr std::size_t kMarkedBack = 8;
constexpr std::size_t kLeastLeftOut = 4;  // fewer cells than these are shown instead of dots
constexpr std::size_t kFrontCells = 8;    // shown in any case
constexpr char kNone = ' ';
constexpr char kPoint = '|';  // stands for a place, not for a byte: drawn once

using Cells = std::vector<Cell>;

std::size_t columns_of(const Cells& cells) {
  std::size_t columns = 0;
  for (const Cell& cell : cells) columns += cell.columns;
  return columns;
}

Cells cells_of(const Picture& picture) {
  std::vector<bool> breaks(picture.data.size() + 1, false);
  for (const auto& [byte, number] : picture.ruler) breaks[byte] = true;
  for (const PictureLine& line : picture.lines) {
    for (std::size_t i = 1; i < line.marks.size(); ++i) {
      if (line.marks[i] != line.marks[i - 1]) breaks[i] = true;
    }
  }
  return make_cells(picture.data, breaks);
}

// Marks the cells of a stretch that are to be seen: its ends, and some in front of it and behind it.
void show_stretch(std::vector<bool>& shown, std::size_t first, std::size_t end) {
  const std::size_t from = first < kBeside ? 0 : first - kBeside;
  const std::size_t to = std::min(shown.size(), end + kBeside);
  for (std::size_t i = from; i < to; ++i) {
    const bool in_the_middle = i >= first + kMarkedFront && i + kMarkedBack < end;
    if (!in_the_middle) shown[i] = true;
  }
}

std::vector<bool> shown_cells(const Picture& picture, const Cells& cells) {
  std::vector<bool> shown(cells.size(), false);
  std::fill_n(shown.begin(), std::min(kFrontCells, cells.size()), true);
  for (const PictureLine& line : picture.lines) {
    for (std::size_t first = 0; first < cells.size(); ++first) {
      const char mark = line.marks[cells[first].first];
      if (mark == kNone) continue;
      std::size_t end = first;
      while (end < cells.size() && line.marks[cells[end].first] == mark) ++end;
      show_stretch(shown, first, end);
      first = end - 1;
    }
    if (line.marks.back() != kNone) show_stretch(shown, cells.size(), cells.size());
  }
  return shown;
}

Cells shortened(const Picture& picture, const Cells& cells) {
  const std::vector<bool> shown = shown_cells(picture, cells);
  Cells result;
  for (std::size_t i = 0; i < cells.size();) {
    std::size_t end = i;
    while (end < cells.size() && !shown[end]) ++end;
    if (end - i < kLeastLeftOut) {
      end = std::max(end, i + 1);
      result.insert(result.end(), cells.begin() + static_cast<std::ptrdiff_t>(i),
                    cells.begin() + static_cast<std::ptrdiff_t>(end));
    } else {
      const std::size_t last = end < cells.size() ? cells[end].first : picture.data.size();
      result.push_back(make_cell("...", 3, cells[i].first, last - cells[i].first));
    }
    i = end;
  }
  return result;
}

// True where a strip may end in front of a cell without cutting a mark.
bool may_break(const Picture& picture, const Cell& cell) {
  return std::all_of(picture.lines.begin(), picture.lines.end(), [&cell](const PictureLine& line) {
    return cell.first == 0 || line.marks[cell.first] == kNone || line.marks[cell.first - 1] == kNone;
  });
}

// Where the strip that begins with cell `first` ends: in front of the last cell that it must not reach, or
// somewhat earlier when that saves a mark from being cut.
std::size_t strip_end(const Picture& picture, const Cells& cells, std::size_t first) {
  std::size_t end = first;
  std::size_t columns = 0;
  std::size_t uncut = first;
  for (; end < cells.size() && columns + cells[end].columns <= kStripColumns; ++end) {
    if (columns > kStripColumns / 2 && may_break(picture, cells[end])) uncut = end;
    columns += cells[end].columns;
  }
  if (end == cells.size() || uncut == first || may_break(picture, cells[end])) return end;
  return uncut;
}

std::vector<Cells> strips_of(const Picture& picture, const Cells& cells) {
  std::vector<Cells> strips;
  std::size_t first = 0;
  do {
    const std::size_t end = strip_end(picture, cells, first);
    strips.emplace_back(cells.begin() + static_cast<std::ptrdiff_t>(first),
                        cells.begin() + static_cast<std::ptrdiff_t>(end));
    first = end;
  } while (first < cells.size());
  return strips;
}

std::string trimmed(std::string text) {
  text.erase(text.find_last_not_of(' ') + 1);
  return text;
}

std::string strip_text(const Cells& strip) {
  std::string text;
  for (const Cell& cell : strip) text += cell.text();
  return text;
}

std::string strip_marks(const PictureLine& line, const Cells& strip, bool last) {
  std::string text;
  for (const Cell& cell : strip) {
    const char mark = line.marks[cell.first];
    text += mark;
    text.append(cell.columns - 1, mark == kPoint ? kNone : mark);
  }
  if (last) text += line.marks.back();
  return trimmed(text);
}

// The numbers of the ruler that lie on the strip; one that would run into the number before it is left out.
std::string strip_ruler(const Picture& picture, const Cells& strip, bool last) {
  std::string text;
  auto next = picture.ruler.begin();
  std::size_t column = 0;
  const auto put = [&] {
    if (!text.empty() && column <= text.size()) return;
    text.resize(column, ' ');
    text += next->second;
  };
  for (const Cell& cell : strip) {
    for (; next != picture.ruler.end() && next->first < cell.first + cell.bytes; ++next) {
      if (next->first == cell.first) put();
    }
    column += cell.columns;
  }
  if (last && next != picture.ruler.end()) put();
  return text;
}

// True when every note has room beside its line.
bool notes_fit(const Picture& picture, std::size_t columns) {
  return std::all_of(picture.lines.begin(), picture.lines.end(), [columns](const PictureLine& line) {
    return kLabelColumns + columns + kGap + line.note.size() <= kTerminalColumns;
  });
}

std::string draw_with_notes(const Picture& picture, const Cells& cells, std::size_t columns) {
  const bool beside = notes_fit(picture, columns);
  std::string text;
  for (const PictureLine& line : picture.lines) {
    std::string marks = strip_marks(line, cells, true);
    if (beside && !line.note.empty()) {
      marks.resize(columns + kGap, ' ');
      marks += line.note;
    }
    text += labelled(line.label, marks);
    if (!beside && !line.note.empty()) text += labelled("", line.note);
  }
  return text;
}

}  // namespace

std::string labelled(const std::string& label, const std::string& text) {
  std::string line = label;
  line.resize(std::max(kLabelColumns, label.size() + 1), ' ');
  return trimmed(line + text) + "\n";
}

std::string draw(const Picture& picture) {
  Cells cells = cells_of(picture);
  if (columns_of(cells) > kStripColumns) cells = shortened(picture, cells);
  const std::vector<Cells> strips = strips_of(picture, cells);
  std::string text;
  for (std::size_t i = 0; i < strips.size(); ++i) {
    const bool last = i + 1 == strips.size();
    // A blank at the end of a record is to be seen like any other.
    text.append(kLabelColumns, ' ').append(strip_text(strips[i])).append("\n");
    const std::string ruler = strip_ruler(picture, strips[i], last);
    if (!ruler.empty()) text += labelled(picture.ruler_label, ruler);
    if (strips.size() == 1) return text + draw_with_notes(picture, cells, columns_of(cells) + 1);
    for (const PictureLine& line : picture.lines) {
      const std::string marks = strip_marks(line, strips[i], last);
      if (!marks.empty()) text += labelled(line.label, marks);
    }
  }
  for (const PictureLine& line : picture.lines) text += labelled(line.label, line.note);
  return text;
}

}  // namespace fsort_tool
