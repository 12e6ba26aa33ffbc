// Comparison of two records from a key and byte position on, through the same class tables that the
// distribution uses, so that both methods agree on the order.
//
// Directions are carried as a mask, one bit a key, as in SortState::descending (key_view.h). When two records
// are equal on a governing key and that key's class lies in the half that leaves first, the dependents' bits
// are flipped for the rest of the comparison: the rule that ikey applies to whole bins.
#pragma once

#include <cstdint>

namespace fsort {

struct SortState;

// Result: -1 when `a` sorts before `b`, 1 when after, 0 when equal over all remaining keys. `directions` is
// the mask in force for records of this bin.
[[nodiscard]] int compare_from(const SortState& s, const std::uint8_t* a, const std::uint8_t* b,
                               std::uint32_t key, std::int32_t position, std::uint32_t directions);

// The same with the directions in force now.
[[nodiscard]] int compare(const std::uint8_t* a, const std::uint8_t* b, std::uint16_t key,
                          std::int32_t position);

// Two whole records in the order in which they leave the sort, whatever it is doing now: -1 when `a` leaves
// before `b`, 1 when after, 0 when they are equal over all keys. Requires: key_view_init ran
[[nodiscard]] int compare_whole(const std::uint8_t* a, const std::uint8_t* b);

// The entry of the key table that decides between two records; the number of entries when they are equal.
[[nodiscard]] std::uint32_t compare_deciding_entry(const std::uint8_t* a, const std::uint8_t* b);

}  // namespace fsort
