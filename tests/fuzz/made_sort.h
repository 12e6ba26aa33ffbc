// Sorts that the bytes of a fuzzing input choose: such as have a meaning, with records that fit them, so that
// most of them succeed and can be judged.
//
//   bits of the mode   1..2 record type (free, text, fixed, variable), 3 little memory, 4 levels without
//                      shortcuts, 5 records chosen too rather than taken from the bytes, 6..7 both: the sort
//                      may be ended in the middle
#pragma once

#include <cstddef>
#include <cstdint>

#include "fuzz/fuzz_world.h"
#include "support/key_gen.h"
#include "support/record_gen.h"

namespace fsort::fuzz {

inline constexpr std::size_t kNoExit = SIZE_MAX;

struct MadeSort {
  fsort_test::SortSpec spec;
  fsort_test::RecordSet set;
  Texts arguments;  // without the names of files
  bool spilling = false;
  bool plain_levels = false;
  std::size_t exit_at = kNoExit;  // the record before which the caller ends the sort
};

// A word, the number of bytes that choose the sort; these bytes; the bytes that choose the records, or are
// them.
[[nodiscard]] MadeSort make_sort(FuzzBytes* in, std::uint8_t mode);

// Records from bytes as they come: pieces whose length the bytes say, made to fit the set's type.
[[nodiscard]] Texts records_of(FuzzBytes* in, const fsort_test::RecordSet& set);

// What sorts find in a world beside their input: a folder for work files, memory, standard streams.
void furnish(World* world);

}  // namespace fsort::fuzz
