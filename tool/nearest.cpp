// Distances between words: see nearest.h. The usual table, three rows of it at a time.
#include "nearest.h"

#include <algorithm>
#include <string>
#include <vector>

#include "options.h"

namespace fsort_tool {
namespace {

constexpr std::size_t kShortWord = 5;

std::size_t allowed_edits(std::string_view word) {
  const std::size_t dashes = std::min(word.find_first_not_of('-'), word.size());
  const std::size_t letters = word.size() - dashes;
  if (letters < 2) return 0;
  return letters <= kShortWord ? 1 : 2;
}

}  // namespace

std::size_t edit_distance(std::string_view left, std::string_view right) {
  const std::string a = lower_case(left);
  const std::string b = lower_case(right);
  std::vector<std::size_t> before(b.size() + 1);
  std::vector<std::size_t> previous(b.size() + 1);
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    before.swap(previous);
    previous.swap(row);
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t exchange = a[i - 1] == b[j - 1] ? 0 : 1;
      row[j] = std::min({previous[j] + 1, row[j - 1] + 1, previous[j - 1] + exchange});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        row[j] = std::min(row[j], before[j - 2] + 1);
      }
    }
  }
  return row[b.size()];
}

std::string_view nearest(std::string_view word, std::span<const std::string_view> names) {
  std::string_view best;
  std::size_t smallest = allowed_edits(word) + 1;
  bool is_beginning = false;
  for (const std::string_view name : names) {
    const std::size_t distance = edit_distance(word, name);
    const bool begins = lower_case(name).starts_with(lower_case(word));
    const bool as_near = distance == smallest && !best.empty() && begins && !is_beginning;
    if (distance >= smallest && !as_near) continue;
    smallest = distance;
    is_beginning = begins;
    best = name;
  }
  return best;
}

}  // namespace fsort_tool
