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

// Words of a short record are read from its end backwards (record_word), which in record memory is the link.
constexpr std::uint64_t kBytesInFront = 8;
constexpr std::uint64_t kKeptBytes = kBytesInFront + kMaxTotalLength + 1;

bool descending(const OutputCheck& check) { return (check.directions & 1u) != 0; }

// Result: whether `next` may follow the record before it, as far as their words do not tell.
[[gnu::noinline]] bool may_follow(const OutputCheck& check, const SortState& s, const WaitingRecord& next) {
  const std::uint8_t* record = next.record;
  if (check.previous == nullptr) return true;
  if (next.whole_bytes != 0 && check.word_kind == kWordOfWhole) return check.unique == 0;
  if (record == check.previous) return check.unique == 0;
  const int order = compare_from(s, check.previous, record, 0, 0, check.directions);
  return check.unique != 0 ? order < 0 : order <= 0;
}

// Compares each of the records that wait with the one before it. kByRun: that is how the first key is mapped.
// Result: their bytes, `lengths` those of each.
template <bool kByRun>
std::uint64_t check_order(OutputCheck& check, const SortState& s, std::uint16_t* lengths) {
  const KeyView view = s.keys[0];
  const std::uint32_t header_bytes = s.header_bytes;
  const std::uint64_t turn = descending(check) ? ~std::uint64_t{0} : 0;
  std::uint64_t bytes = 0;
  for (std::uint32_t i = 0; i < check.waiting_count; ++i) {
    const WaitingRecord& next = check.waiting[i];
    WordKind kind = kWordOfWhole;
    std::uint64_t word = next.word;
    std::uint32_t n = next.whole_bytes;
    if (n == 0) {
      kind = kWordOfKey;
      word = kByRun ? run_word(view, next.record, 0, 0) : key_word(s, next.record, 0, 0);
      n = rec_total_length(next.record) - header_bytes;
    }
    const bool told = kind == check.word_kind && word != check.word;
    const bool good = told ? (check.word ^ turn) < (word ^ turn) : may_follow(check, s, next);
    if (!good && check.misplaced == 0) check.misplaced = check.count + i + 1;
    check.word = word;
    check.word_kind = kind;
    check.previous = next.record;
    lengths[i] = static_cast<std::uint16_t>(n);
    bytes += n;
  }
  return bytes;
}

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

void output_check_waiting(OutputCheck& check, const std::uint8_t* cursor) {
  const std::uint32_t count = check.waiting_count;
  if (count == 0) return;
  const SortState& s = sort_st();
  std::uint16_t lengths[kWaitingRecords];
  const bool by_run = s.keys[0].mapping == kMapByRun;
  const std::uint64_t bytes =
      by_run ? check_order<true>(check, s, lengths) : check_order<false>(check, s, lengths);
  record_summing().add_row(check.sum, cursor - bytes, lengths, count);
  check.count += count;
  check.waiting_count = 0;
}

void output_check_record(OutputCheck& check, const std::uint8_t* record) {
  check.waiting[0] = WaitingRecord{record, 0, 0};
  check.waiting_count = 1;
  output_check_waiting(check, record + rec_total_length(record));
}

void output_check_keep(OutputCheck& check) {
  if (check.word_kind == kWordOfWhole) check.word_kind = kWordNone;  // says nothing in the next bin
  std::uint8_t* const copy = check.kept + kBytesInFront;
  if (check.previous == nullptr || check.previous == copy) return;
  std::memcpy(copy, check.previous, std::size_t{rec_total_length(check.previous)} + 1);
  check.previous = copy;
}

}  // namespace fsort
