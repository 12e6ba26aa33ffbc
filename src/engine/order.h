// Output order of a level's bins.
//
// Bins are numbered in ascending class order. Descending keys turn ranges of bins around, and a governing
// key's first half runs with its dependents turned (key_view.h). The result is a list in the bins' `order`
// fields: field j is the index of the bin that leaves j-th.
//
// A plan may span several keys, so ranges nest. What a range needs is told by its key alone; what it gets is
// the sum of its own reversal and those of all ranges around it. So every range is told the net reversal
// around it and turns itself only when that differs from what its key wants. Example, keys c0 descending
// ('a','b') and c1 ascending:
//
//   slots            0 ended | 1 a, 2 aa, 3 ab | 4 b, 5 ba, 6 bb
//   inner ranges     want ascending inside a descending range: turned once, 3 2 1 and 6 5 4
//   outer range      turned: 4 5 6  1 2 3  0        -> ba bb  aa ab  ended: right in both keys
#pragma once

#include <cstdint>

#include "engine/environment.h"

namespace fsort {

// States of an array's order.
inline constexpr std::uint32_t kOrderUnknown = 0;
inline constexpr std::uint32_t kOrderInPlace = 1;     // bins leave in index order
inline constexpr std::uint32_t kOrderPermuted = 2;    // the order fields hold a list
inline constexpr std::uint32_t kOrderRearranged = 3;  // entries stand reversed, the last leaves first

// Computes the output order with the directions in force now; once an array. Works on the current
// environment.
void invert(Environment* environment);

// One range: the plan's subtree from step `step` on, whose first slot is `first`; `enclosing` is the net
// reversal around it. Result: kOrderPermuted when anything was turned, else kOrderInPlace; *last is its last
// slot.
std::uint32_t reverse(Environment* environment, std::uint32_t first, std::uint32_t step, bool at_key_start,
                      bool enclosing, std::uint32_t* last);

// Moves the bins into output order by following the permutation's cycles.
void rearrange(SublistArray* array);

}  // namespace fsort
