// Checking the output; see output_check.h.
#include "engine/output_check.h"

#include <cstring>

#include "engine/compare.h"
#include "engine/engine_access.h"
#include "engine/key_word.h"
#include "platform/heap.h"
#include "support/error.h"

namespace fsort {

namespace {

constexpr std::uint64_t kKeptBytes = std::uint64_t{kMaxTotalLength} + 1;

void misplaced(OutputCheck& check) {
  if (check.misplaced == 0) check.misplaced = check.count;
}

// By all keys. Result: whether `record` may follow the one before it.
bool may_follow(const OutputCheck& check, const SortState& s, const std::uint8_t* record) {
  if (record == check.previous) return check.unique == 0;
  const int order = compare_from(s, check.previous, record, 0, 0, check.directions);
  return check.unique != 0 ? order < 0 : order <= 0;
}

bool descending(const OutputCheck& check) { return (check.directions & 1u) != 0; }

}  // namespace

void output_check_begin() {
  DriverState& d = driver_st();
  OutputCheck& check = d.check;
  if (check.wanted == 0) return;
  check.unique = d.unique;
  check.directions = sort_st().descending;
  check.kept = static_cast<std::uint8_t*>(heap_alloc(kKeptBytes));
  if (check.kept == nullptr) ErrorReturn(kErrorCode, "Insufficient memory available");
}

void output_check_free() {
  OutputCheck& check = driver_st().check;
  heap_free(check.kept);
  check.kept = nullptr;
  check.previous = nullptr;
}

void output_check_order(OutputCheck& check, const SortState& s, const std::uint8_t* record) {
  ++check.count;
  const std::uint64_t word = key_word(s, record, 0, 0);
  if (check.previous != nullptr) {
    const bool told = check.word_known != 0 && word != check.word;
    const bool good = told ? (word < check.word) == descending(check) : may_follow(check, s, record);
    if (!good) misplaced(check);
  }
  check.word = word;
  check.word_known = 1;
  check.previous = record;
}

void output_check_whole(OutputCheck& check, const SortState& s, const std::uint8_t* record,
                        std::uint64_t word, bool same_front) {
  ++check.count;
  if (check.previous != nullptr) {
    bool good = false;
    if (!same_front) {
      good = may_follow(check, s, record);
    } else if (word == check.word) {
      good = check.unique == 0;
    } else {
      good = (word < check.word) == descending(check);
    }
    if (!good) misplaced(check);
  }
  check.word = word;
  check.word_known = 0;  // not the first of the key
  check.previous = record;
}

void output_check_sum(OutputCheck& check, const std::uint8_t* cursor) {
  const std::uint8_t* data = cursor - check.unsummed_bytes;
  for (std::uint32_t i = 0; i < check.unsummed; ++i) {
    record_sum_add(check.sum, data, check.lengths[i]);
    data += check.lengths[i];
  }
  check.unsummed = 0;
  check.unsummed_bytes = 0;
}

void output_check_keep(OutputCheck& check) {
  if (check.previous == nullptr || check.previous == check.kept) return;
  std::memcpy(check.kept, check.previous, std::size_t{rec_total_length(check.previous)} + 1);
  check.previous = check.kept;
}

}  // namespace fsort
