// Checking the output; see output_check.h.
#include "engine/output_check.h"

#include <cstring>

#include "engine/engine_access.h"
#include "engine/neighbours.h"
#include "platform/heap.h"
#include "support/error.h"

namespace fsort {

// Where the key is that mostly tells: walked in steps, and at the front or behind one byte, as the digits of
// a number are behind its sign.
enum FirstKeys : std::uint8_t { kAtFront, kBehindByte, kElsewhere };

// What the check has on the heap.
struct CheckRoom {
  NeighbourKey keys[kMaxKeys];
  FirstKeys first_keys;
  std::uint8_t copy[kMaxTotalLength + 1];  // of the latest record, once its memory may go
};

namespace {

FirstKeys first_keys(const SortState& s, const NeighbourKey* keys) {
  if (s.key_count == 0) return kElsewhere;
  if (keys[0].in_steps != 0) return kAtFront;
  const bool one_byte = s.keys[0].length == 1 && s.keys[0].bounded == 0;
  return one_byte && s.key_count > 1 && keys[1].in_steps != 0 ? kBehindByte : kElsewhere;
}

// Looks at neighbours, one pair after the other.
template <FirstKeys kFirst>
class Order {
 public:
  Order(const SortState& s, const OutputCheck& check)
      : s_(s), keys_(check.room->keys), key_(keys_[kKey]), unique_(check.unique != 0) {
    take_directions(s.written_descending);
  }

  // Whether `next` may follow `before`.
  [[gnu::always_inline]] bool holds(const WaitingRecord& before, const WaitingRecord& next) {
    if (next.whole_bytes != 0 && before.whole_bytes != 0) {
      if (before.word == next.word) return !unique_;
      return (before.word > next.word) == ((s_.written_descending & 1u) != 0);
    }
    if (before.record == nullptr) return true;
    if (before.record == next.record) return !unique_;
    if constexpr (kFirst != kElsewhere) {
      if (kFirst == kAtFront || first_byte_agrees(before.record, next.record)) {
        const int ascending =
            compare_key_in_steps(key_, key_text(before.record, kKey), key_text(next.record, kKey));
        if (ascending != 0) return (ascending > 0) == descending_;
        return told(compare_neighbours(s_, keys_, before.record, next.record, kKey + 1, directions_));
      }
    }
    return told(compare_neighbours(s_, keys_, before.record, next.record, 0, s_.written_descending));
  }

 private:
  static constexpr std::uint32_t kKey = kFirst == kBehindByte ? 1 : 0;

  [[nodiscard]] bool told(int order) const { return unique_ ? order < 0 : order <= 0; }

  void take_directions(std::uint32_t directions) {
    directions_ = directions;
    descending_ = (directions >> kKey & 1u) != 0;
  }

  // Whether two records have the same byte as their first key; then directions_ are those behind it.
  [[gnu::always_inline]] bool first_byte_agrees(const std::uint8_t* before, const std::uint8_t* next) {
    const std::uint8_t byte = next[rec_key_offset(next, 0)];
    if (before[rec_key_offset(before, 0)] != byte) return false;
    if (byte != first_byte_) {
      first_byte_ = byte;
      take_directions(directions_behind(s_, 0, s_.written_descending, s_.keys[0].value[byte]));
    }
    return true;
  }

  const SortState& s_;
  const NeighbourKey* const keys_;
  const NeighbourKey key_;  // by value: the loop keeps what it needs of it at hand
  const bool unique_;
  std::uint32_t directions_ = 0;  // behind first_byte_
  bool descending_ = false;       // of key_
  std::int32_t first_byte_ = -1;
};

void note_misplaced(OutputCheck& check, const WaitingRecord* record) {
  if (check.misplaced == 0)
    check.misplaced = check.count + static_cast<std::uint64_t>(record - check.waiting);
}

// Holds each of the records that wait against the one before it. Result: their bytes, `lengths` those of
// each.
template <FirstKeys kFirst>
std::uint64_t check_order(OutputCheck& check, const SortState& s, std::uint16_t* lengths) {
  Order<kFirst> order(s, check);
  const std::uint32_t header_bytes = s.header_bytes;
  const WaitingRecord* const latest = check.waiting + check.waiting_count;
  std::uint64_t bytes = 0;
  for (const WaitingRecord* before = check.waiting; before != latest; ++before) {
    const WaitingRecord& next = before[1];
    if (!order.holds(*before, next)) [[unlikely]]
      note_misplaced(check, &next);
    const std::uint32_t n =
        next.whole_bytes != 0 ? next.whole_bytes : rec_total_length(next.record) - header_bytes;
    *lengths++ = static_cast<std::uint16_t>(n);
    bytes += n;
  }
  check.waiting[0] = *latest;
  return bytes;
}

std::uint64_t check_order(OutputCheck& check, std::uint16_t* lengths) {
  const SortState& s = sort_st();
  switch (check.room->first_keys) {
    case kAtFront:
      return check_order<kAtFront>(check, s, lengths);
    case kBehindByte:
      return check_order<kBehindByte>(check, s, lengths);
    case kElsewhere:
      break;
  }
  return check_order<kElsewhere>(check, s, lengths);
}

}  // namespace

void output_check_begin() {
  DriverState& d = driver_st();
  OutputCheck& check = d.check;
  if (check.wanted == 0) return;
  check.unique = d.unique;
  check.room = static_cast<CheckRoom*>(heap_alloc(sizeof(CheckRoom)));
  if (check.room == nullptr) ErrorReturn(kErrorCode, "Insufficient memory available");
  neighbour_keys_init(sort_st(), check.room->keys);
  check.room->first_keys = first_keys(sort_st(), check.room->keys);
}

void output_check_free() {
  OutputCheck& check = driver_st().check;
  heap_free(check.room);
  check.room = nullptr;
  check.waiting[0] = WaitingRecord{};
}

void output_check_waiting(OutputCheck& check, const std::uint8_t* cursor) {
  const std::uint32_t count = check.waiting_count;
  if (count == 0) return;
  std::uint16_t lengths[kWaitingRecords];
  const std::uint64_t bytes = check_order(check, lengths);
  record_summing().add_row(check.sum, cursor - bytes, lengths, count);
  check.count += count;
  check.waiting_count = 0;
}

void output_check_record(OutputCheck& check, const std::uint8_t* record) {
  check.waiting[1] = WaitingRecord{record, 0, 0};
  check.waiting_count = 1;
  output_check_waiting(check, record + rec_total_length(record));
}

void output_check_keep(OutputCheck& check) {
  WaitingRecord& latest = check.waiting[0];
  latest.whole_bytes = 0;  // its word says nothing in the next bin
  std::uint8_t* const copy = check.room->copy;
  if (latest.record == nullptr || latest.record == copy) return;
  std::memcpy(copy, latest.record, std::size_t{rec_total_length(latest.record)} + 1);
  latest.record = copy;
}

}  // namespace fsort
