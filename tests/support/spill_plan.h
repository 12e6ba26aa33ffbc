// What the random sorts have in common that are larger than their memory: how little they get, and which of
// them must be refused.
#pragma once

#include <string>
#include <vector>

#include "support/key_gen.h"
#include "support/oracle_sort.h"

namespace fsort_test {

// Options that give the sort memory of a few segments, small buffers, and estimates that are off either way.
[[nodiscard]] std::vector<std::string> spilling_regime(Random* random, const SortSpec& spec);

// The message with which the sort must refuse one of its records; "" when it must not.
[[nodiscard]] std::string refusal(const SortSpec& spec, const std::vector<std::string>& records);

}  // namespace fsort_test
