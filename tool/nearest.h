// The name that somebody may have meant.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

namespace fsort_tool {

// How many letters must be put in, left out, exchanged or swapped with their neighbour to turn one text into
// the other, in any case of letters.
[[nodiscard]] std::size_t edit_distance(std::string_view left, std::string_view right);

// The first of the names with the smallest distance to `word`, one that begins with it before others, when it
// is small enough for a slip of the hand: one edit in words of up to five characters, two in longer ones, and
// fewer than the word has letters behind its dashes. Otherwise "".
[[nodiscard]] std::string_view nearest(std::string_view word, std::span<const std::string_view> names);

}  // namespace fsort_tool
