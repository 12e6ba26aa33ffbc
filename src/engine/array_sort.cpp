// Array sort; see array_sort.h.
#include "engine/array_sort.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "engine/array_entry.h"
#include "engine/engine_access.h"
#include "engine/key_view.h"
#include "engine/key_word.h"
#include "engine/plan.h"
#include "engine/prefix_skip.h"
#include "engine/sink.h"
#include "engine/tuning.h"
#include "platform/heap.h"
#include "support/record_links.h"

namespace fsort {

namespace {

constexpr std::uint32_t kMaxValues = 257;  // 256 classes and "ended"
// One stretch of the array and where its records must next be told apart.
struct Range {
  ArrayEntry* entries;
  std::uint64_t count;
  std::uint32_t key;
  std::int32_t position;
  std::uint32_t directions;  // one bit a key, set = descending
  std::uint32_t used;        // values of the cache words already consumed; kNotCached: gather first
  std::uint32_t plan_left;   // bytes of the current plan still to be consumed
  bool flipped;              // the order of equal records reads backwards
  bool away;                 // the entries lie in the other half of the scratch
  bool identical;            // the records are the same byte for byte
};
constexpr std::uint32_t kNotCached = 64;
constexpr std::uint64_t kGatherAhead = 16;  // entries
constexpr std::uint64_t kSamples = 16;
constexpr std::uint64_t kSampleMinRecords = 64;  // more than any list-sort threshold

struct Context {
  const SortState* s;
  std::int64_t other_half;  // from an entry to its place in the other half
  bool unique;
};

// Asks for one entry's record: the offset word and, about, the key bytes. Always inline, see
// record_prefetch_ahead.
[[gnu::always_inline]] inline void prefetch_entry(const Range& r, std::uint64_t i, std::int32_t place) {
  if (i >= r.count) return;
  const std::uint8_t* record = entry_record(r.entries[i]);
  __builtin_prefetch(record);
  __builtin_prefetch(record + place);
}

// The same for those at the start, before a walk over the range that asks for each kGatherAhead ahead.
[[gnu::always_inline]] inline void prefetch_first(const Range& r, std::int32_t place) {
  for (std::uint64_t i = 0; i < kGatherAhead; ++i) prefetch_entry(r, i, place);
}

void gather(const Context& c, Range& r) {
  const std::int32_t place = static_cast<std::int32_t>(c.s->header_bytes) + r.position;
  prefetch_first(r, place);
  for (std::uint64_t i = 0; i < r.count; ++i) {
    prefetch_entry(r, i + kGatherAhead, place);
    r.entries[i].word = entry_word(*c.s, entry_record(r.entries[i]), r.key, r.position);
  }
  r.used = 0;
}

// Brings the entries home, where the sorted array is put together.
void bring_home(const Context& c, Range& r) {
  if (!r.away) return;
  ArrayEntry* const home = r.entries - c.other_half;
  std::memcpy(home, r.entries, r.count * sizeof(ArrayEntry));
  r.entries = home;
  r.away = false;
}

// Puts the entries into reading order.
void unflip(Range& r) {
  if (!r.flipped) return;
  r.flipped = false;
  for (std::uint64_t i = 0, j = r.count; i + 1 < j; ++i) {
    --j;
    const ArrayEntry e = r.entries[i];
    r.entries[i] = r.entries[j];
    r.entries[j] = e;
  }
}

// A range of records that are equal in all keys. Under `unique` the first one in reading order stays.
void finish_equal(const Context& c, Range& r) {
  bring_home(c, r);
  if (!c.unique) {
    unflip(r);
    for (std::uint64_t i = 1; r.identical && i < r.count; ++i) r.entries[i].place |= kSameRecord;
    return;
  }
  const std::uint64_t kept = r.flipped ? r.count - 1 : 0;
  for (std::uint64_t i = 0; i < r.count; ++i) {
    if (i != kept) r.entries[i].place = 0;
  }
}

// Steps to the next key when the current one is used up. Result: false when there is none.
bool step_key(const SortState& s, Range& r) {
  if (r.key < s.key_count && key_at_end(s.keys[r.key], r.position)) {
    if (s.keys[r.key].spans == 0) r.used = kNotCached;
    ++r.key;
    r.position = 0;
  }
  return r.key < s.key_count;
}

// Moves the range's place behind one value, `value`, of its words. Result: false when the words are used up.
bool consume(const SortState& s, Range& r, std::uint16_t value) {
  const KeyView& view = s.keys[r.key];
  if (view.governed != 0 && leaves_first(view, value, (r.directions >> r.key & 1u) != 0)) {
    r.directions ^= s.invert_mask[r.key];
  }
  r.used = r.used + 1 < entry_shape(view).values ? r.used + 1 : kNotCached;
  if (value != 0) {
    r.position += view.step;
  } else {
    if (view.spans == 0) r.used = kNotCached;
    ++r.key;
    r.position = 0;
  }
  return r.used != kNotCached;
}

// Records that went to the bin of class value `value` of range `r`: where they stand next.
Range part_of(const SortState& s, const Range& r, std::uint32_t value, ArrayEntry* entries,
              std::uint64_t count) {
  Range part = r;
  part.entries = entries;
  part.count = count;
  part.plan_left = value == 0 ? 0 : r.plan_left - 1;
  static_cast<void>(consume(s, part, static_cast<std::uint16_t>(value)));
  return part;
}

// Orders a small range by its words alone, stable.
void order_by_words(Range& r) {
  const std::uint64_t turn = (r.directions >> r.key & 1u) != 0 ? ~std::uint64_t{0} : 0;
  for (std::uint64_t i = 1; i < r.count; ++i) {
    const ArrayEntry entry = r.entries[i];
    const std::uint64_t word = entry.word ^ turn;
    std::uint64_t place = i;
    for (; place > 0 && (r.entries[place - 1].word ^ turn) > word; --place) {
      r.entries[place] = r.entries[place - 1];
    }
    r.entries[place] = entry;
  }
}

// Records of a small range whose words agree: where the key, or the next one, goes on.
Range behind_words(const SortState& s, const Range& r, std::uint64_t from, std::uint64_t to) {
  const std::uint64_t word = r.entries[from].word;
  const WordShape shape = entry_shape(s.keys[r.key]);
  Range part = r;
  part.entries = r.entries + from;
  part.count = to - from;
  const KeyView& view = s.keys[r.key];
  if (view.spans == 0 && view.governed == 0) {
    // The common key: it goes on behind a full word, else the next one follows.
    part.used = kNotCached;
    if (word_value(word, shape, shape.values - 1) != 0) {
      part.position += view.step * static_cast<std::int32_t>(shape.values - r.used);
    } else {
      ++part.key;
      part.position = 0;
    }
    return part;
  }
  for (std::uint32_t i = r.used; i < shape.values; ++i) {
    if (!step_key(s, part) || part.used == kNotCached) return part;
    const auto value = static_cast<std::uint16_t>(word_value(word, shape, i));
    if (!consume(s, part, value)) return part;
  }
  part.used = kNotCached;
  return part;
}

// Of equal records the first stays under `unique`.
void keep_first(const Context& c, const Range& r) {
  if (!c.unique) return;
  for (std::uint64_t i = 1; i < r.count; ++i) r.entries[i].place = 0;
}

// List sort of a small range that is in reading order, word by word: records whose words agree are ordered by
// the next ones. Bytes that all share are stepped over first, so that each step tells at least two records
// apart and the depth stays below the number of records.
void order_small(const Context& c, Range r) {
  for (;;) {
    if (!step_key(*c.s, r)) {
      keep_first(c, r);
      return;
    }
    if (r.used == kNotCached) gather(c, r);
    bool all_agree = true;
    for (std::uint64_t i = 1; all_agree && i < r.count; ++i)
      all_agree = r.entries[i].word == r.entries[0].word;
    if (!all_agree) break;
    r = behind_words(*c.s, r, 0, r.count);
  }
  order_by_words(r);
  for (std::uint64_t from = 0; from < r.count;) {
    std::uint64_t to = from + 1;
    while (to < r.count && r.entries[to].word == r.entries[from].word) ++to;
    if (to - from > 1) order_small(c, behind_words(*c.s, r, from, to));
    from = to;
  }
}

void finish_small(const Context& c, Range& r) {
  bring_home(c, r);
  unflip(r);
  order_small(c, r);
}

// Start of each value's part, in output order.
void lay_out(const std::uint32_t* counts, std::uint32_t values, bool descending, std::uint32_t* starts) {
  std::uint32_t at = 0;
  if (descending) {
    for (std::uint32_t v = values; v-- > 0;) {
      starts[v] = at;
      at += counts[v];
    }
  } else {
    for (std::uint32_t v = 0; v < values; ++v) {
      starts[v] = at;
      at += counts[v];
    }
  }
}

// Values at the front of all cache words of the range that are the same in every one.
std::uint32_t shared_values(const Range& r, WordShape shape) {
  const std::uint64_t first = r.entries[0].word;
  std::uint64_t differing = 0;
  for (std::uint64_t i = 1; i < r.count; ++i) differing |= r.entries[i].word ^ first;
  return words_agree(differing, 0, shape);
}

// Begins a plan at the range's position unless one is under way: a pass, which turns equal records around.
void begin_plan(Range& r) {
  if (r.plan_left != 0) return;
  r.plan_left = plan_depth(static_cast<std::uint16_t>(r.key), r.position, r.count);
  r.flipped = !r.flipped;
}

// True when the list sort finishes the range now. Inside a plan of several bytes the counts of its bins are
// not known yet; fewer records than the smallest threshold would be list-sorted in any of them.
bool is_small(const SortState& s, const Range& r) {
  const std::uint16_t threshold =
      r.plan_left != 0 ? kSmallestThreshold : list_sort_threshold(s.keys[r.key].max_class);
  return r.count < threshold;
}

// How many positions some of the range's records share, spread over the range.
std::uint32_t sampled_length(const SortState& s, const Range& r, std::uint32_t most) {
  const std::uint8_t* first = entry_record(r.entries[0]);
  std::uint32_t length = most;
  for (std::uint64_t k = 1; k <= kSamples && length != 0; ++k) {
    const std::uint8_t* record = entry_record(r.entries[(r.count - 1) * k / kSamples]);
    length = shared_length(s, r.key, r.position, first, record, length);
  }
  return length;
}

// True when `record` is `first` byte for byte, given that all of its key up to `rest` is the same: the key is
// the first one and begins with the data, and at most a word is left behind it.
bool is_same_record(const SortState& s, const std::uint8_t* first, const std::uint8_t* record,
                    std::uint32_t rest) {
  const std::uint32_t total = rec_total_length(first);
  return rec_total_length(record) == total && rec_key_offset(record, 0) == s.header_bytes &&
         total - rest <= kWordBytes && record_word(record, rest) == record_word(first, rest);
}

// Positions that all records share, at most `length`. The words behind `length` positions are gathered on the
// way and are right when the result is `length`.
std::uint32_t gather_behind(const Context& c, Range& r, std::uint32_t length) {
  const SortState& s = *c.s;
  const std::int32_t step = s.keys[r.key].step;
  const std::int32_t behind = r.position + step * static_cast<std::int32_t>(length);
  const std::int32_t place = static_cast<std::int32_t>(s.header_bytes) + r.position;
  const std::uint8_t* first = entry_record(r.entries[0]);
  const auto rest = static_cast<std::uint32_t>(rec_key_offset(first, r.key) + behind);
  std::uint32_t shared = length;
  bool identical = r.key == 0 && s.keys[0].one_to_one != 0 && step > 0 && rest <= rec_total_length(first);
  for (std::uint64_t i = 0; i < r.count; ++i) {
    prefetch_entry(r, i + kGatherAhead, place);
    prefetch_entry(r, i + kGatherAhead, place + static_cast<std::int32_t>(length));
    const std::uint8_t* record = entry_record(r.entries[i]);
    identical = identical && is_same_record(s, first, record, rest);
    if (!same_bytes(s, r.key, r.position, first, record, shared)) {
      shared = shared_length(s, r.key, r.position, first, record, shared);
    }
    if (shared == length) r.entries[i].word = entry_word(s, record, r.key, behind);
  }
  r.identical = identical && shared == length;
  return shared;
}

// Gathers the words of a large range. A few records tell beforehand whether all may share what comes next;
// then it is stepped over while the words behind it are gathered, in one visit to each record. The passes
// over the shared bytes are counted as ever, and the key's last byte is left to them.
void gather_large(const Context& c, Range& r) {
  const KeyView& view = c.s->keys[r.key];
  const std::uint32_t rest =
      view.length - static_cast<std::uint32_t>(r.position < 0 ? -r.position : r.position);
  const std::uint32_t sampled = r.count < kSampleMinRecords ? 0 : sampled_length(*c.s, r, rest - 1);
  if (sampled < entry_shape(view).values) {
    gather(c, r);
    return;
  }
  const std::uint32_t shared = gather_behind(c, r, sampled);
  for (std::uint32_t i = 0; i < shared; ++i) {
    begin_plan(r);
    --r.plan_left;
    r.position += view.step;
  }
  if (shared != sampled) {
    gather(c, r);
  } else {
    r.used = 0;
  }
}

void sort_range(const Context& c, Range r);

// Moves the entries into parts by their next value, to the other half of the scratch, and sorts all parts but
// the largest. Result: the largest part.
Range split(const Context& c, const Range& r, const std::uint32_t* counts, std::uint32_t values) {
  const WordShape shape = entry_shape(c.s->keys[r.key]);
  std::uint32_t starts[kMaxValues];
  lay_out(counts, values, (r.directions >> r.key & 1u) != 0, starts);
  Range moved = r;
  moved.entries += r.away ? -c.other_half : c.other_half;
  moved.away = !r.away;
  ArrayEntry* const to = moved.entries;
  for (std::uint64_t i = 0; i < r.count; ++i) {
    to[starts[word_value(r.entries[i].word, shape, r.used)]++] = r.entries[i];
  }
  std::uint32_t largest = 0;
  for (std::uint32_t v = 1; v < values; ++v) {
    if (counts[v] > counts[largest]) largest = v;
  }
  for (std::uint32_t v = 0; v < values; ++v) {
    if (counts[v] == 0 || v == largest) continue;
    sort_range(c, part_of(*c.s, moved, v, to + (starts[v] - counts[v]), counts[v]));
  }
  return part_of(*c.s, moved, largest, to + (starts[largest] - counts[largest]), counts[largest]);
}

// Sorts the range into its final order in place.
void sort_range(const Context& c, Range r) {
  std::uint32_t counts[kMaxValues];
  std::uint32_t shared = 0;  // values of the cache words known to be the same in all
  while (r.count > 1) {
    if (!step_key(*c.s, r)) {
      finish_equal(c, r);
      return;
    }
    if (is_small(*c.s, r)) {
      finish_small(c, r);
      return;
    }
    const WordShape shape = entry_shape(c.s->keys[r.key]);
    if (r.used == kNotCached) {
      gather_large(c, r);
      shared = 0;
    }
    begin_plan(r);
    if (r.used < shared) {
      r = part_of(*c.s, r, word_value(r.entries[0].word, shape, r.used), r.entries, r.count);
      continue;
    }
    const std::uint32_t values = c.s->keys[r.key].max_class + 2u;
    std::memset(counts, 0, values * sizeof(counts[0]));
    for (std::uint64_t i = 0; i < r.count; ++i) ++counts[word_value(r.entries[i].word, shape, r.used)];
    const std::uint32_t first = word_value(r.entries[0].word, shape, r.used);
    if (counts[first] == r.count) {
      shared = shared_values(r, shape);
      r = part_of(*c.s, r, first, r.entries, r.count);
    } else {
      r = split(c, r, counts, values);
      shared = 0;
    }
  }
  bring_home(c, r);
}

// Walks the bin's list into the array, first key bytes included. The common key, mapped by its run and looked
// at by itself, has a loop of its own.
template <bool kByRun>
void take_list(const Context& c, const Sublist& bin, const Range& r) {
  const bool whole = whole_possible(*c.s, r.key, r.position);
  const KeyView view = c.s->keys[r.key];
  std::uint64_t count = 0;
  for (const std::uint8_t* record = bin.head; record != nullptr; ++count) {
    const std::uint64_t word = record_link_word(record);
    record_prefetch_ahead(record, word);
    if constexpr (kByRun) {
      const std::uint64_t key = run_word(view, record, r.key, r.position);
      r.entries[count] = whole_entry(*c.s, record, r.position, key, whole);
    } else {
      r.entries[count] = entry_of(*c.s, record, r.key, r.position, whole);
    }
    record = reinterpret_cast<const std::uint8_t*>(word & kRecordAddressMask);
  }
  FSORT_ASSERT(count == bin.mem_count);
}

// What the words of a bin's whole records stand for.
struct WholeText {
  std::uint64_t prefix;  // the key bytes in front of the word, as they lie in memory
  std::uint32_t prefix_bytes;
  std::uint64_t value_to_byte;
};

WholeText whole_text(const SortState& s, const Sublist& bin, std::int32_t position) {
  if (!whole_possible(s, bin.key, position)) return WholeText{0, 0, 0};
  // Those of any record of the bin, wherever its key starts.
  const std::uint64_t prefix = __builtin_bswap64(record_word(bin.head, rec_key_offset(bin.head, 0)));
  return WholeText{prefix, static_cast<std::uint32_t>(position), value_to_byte(s.keys[bin.key])};
}

// Puts a whole record where the sink is, from its word. Result: false when it must go another way.
template <bool kChecked>
inline bool put_whole(RecordSink& sink, const WholeText& text, const ArrayEntry& entry) {
  const std::uint64_t word = entry.word;
  constexpr std::uint64_t kRoom = 3 * kWordBytes;  // prefix, word, line break
  Stream* const to = sink.window;
  if (to == nullptr || to->cnt < kRoom) return false;
  const std::uint32_t end = text.prefix_bytes + word_live(word, WordShape{8, kWordBytes});
  store_le(to->ptr, text.prefix);
  store_le(to->ptr + text.prefix_bytes, __builtin_bswap64(word + text.value_to_byte));
  to->ptr[end] = kLineBreak;
  to->ptr += end + 1;
  to->pos += end + 1;
  to->cnt -= end + 1;
  ++sink.count;
  if constexpr (kChecked) output_check_later(*sink.check, to->ptr, entry_record(entry), word, end + 1);
  return true;
}

// Sends the sorted records out, asking for the memory of those ahead. Requires: count > 0
template <bool kChecked>
void emit_all(const ArrayEntry* entries, std::uint64_t count, const WholeText& text) {
  constexpr std::uint32_t kLine = 64;
  constexpr std::uint32_t kSlack = 7;              // records are not all of one length
  constexpr std::uint32_t kMostAhead = 4 * kLine;  // the processor goes on by itself behind that
  RecordSink sink = sink_begin();
  std::uint32_t length = kLine;  // of the latest record: the next ones will be much like it
  const std::uint8_t* record = entry_record(entries[0]);
  for (std::uint64_t i = 0; i < count; ++i) {
    if (i + kEmitAhead < count && (entries[i + kEmitAhead].place & (kWholeRecord | kSameRecord)) == 0) {
      // An address, not a pointer: a record that -u dropped is null, and the line may lie behind the record.
      const auto ahead = reinterpret_cast<std::uintptr_t>(entry_record(entries[i + kEmitAhead]));
      for (std::uint32_t at = 0; at < length; at += kLine) {
        __builtin_prefetch(reinterpret_cast<const void*>(ahead + at));
      }
      __builtin_prefetch(reinterpret_cast<const void*>(ahead + length + kSlack));
    }
    if ((entries[i].place & kWholeRecord) != 0 && put_whole<kChecked>(sink, text, entries[i])) continue;
    if (entries[i].place == 0) continue;
    if ((entries[i].place & kSameRecord) == 0) record = entry_record(entries[i]);
    length = std::min<std::uint32_t>(rec_total_length(record), kMostAhead);
    sink_put_if<kChecked>(sink, record);
  }
  sink_end(sink);
}

[[nodiscard]] std::size_t scratch_bytes(std::uint64_t capacity) { return 2 * capacity * sizeof(ArrayEntry); }

}  // namespace

bool array_sort_takes(const Sublist& bin) {
  const DriverState& d = driver_st();
  if (bin.child != nullptr || bin.file_count != 0 || d.verbosity > 0 || d.plain_levels != 0) return false;
  const std::uint64_t part = d.memory_given != 0 ? kArraySortMemoryShare : kArraySortPlanShare;
  const std::uint64_t share = d.memory_kb * 1024 / part / (2 * sizeof(ArrayEntry));
  const std::uint64_t most = share < kArraySortMaxRecords ? share : kArraySortMaxRecords;
  return bin.mem_count <= most;
}

bool array_sort_reserve(std::uint64_t records) {
  SortState& s = sort_st();
  if (records <= s.entry_capacity) return true;
  const std::uint64_t room = records + records / 8;
  const std::uint64_t capacity = room < kArraySortMinRecords ? kArraySortMinRecords : room;
  array_sort_free();
  const std::size_t bytes = scratch_bytes(capacity);
  s.entries =
      static_cast<ArrayEntry*>(bytes < kArraySortRegionBytes ? heap_alloc(bytes) : os->region_alloc(bytes));
  if (s.entries == nullptr) return false;
  s.entry_capacity = capacity;
  return true;
}

void array_sort_free() {
  SortState& s = sort_st();
  const std::size_t bytes = scratch_bytes(s.entry_capacity);
  if (bytes < kArraySortRegionBytes) {
    heap_free(s.entries);
  } else {
    os->region_free(s.entries, bytes);
  }
  s.entries = nullptr;
  s.entry_capacity = 0;
}

void array_sort(Sublist* bin, bool unique) {
  SortState& s = sort_st();
  const Context c{&s, static_cast<std::int64_t>(s.entry_capacity), unique};
  Range r{};
  r.entries = s.entries;
  r.key = bin->key;
  r.position = key_position(s.keys[bin->key], bin->position);
  r.directions = s.descending;
  r.count = bin->mem_count;
  r.used = 0;
  const WholeText text = whole_text(s, *bin, r.position);
  const KeyView& view = s.keys[r.key];
  if (view.mapping == kMapByRun && view.spans == 0 && view.narrow == 0) {
    take_list<true>(c, *bin, r);
  } else {
    take_list<false>(c, *bin, r);
  }
  bin->head = nullptr;
  bin->mem_count = 0;
  bin->mem_bytes = 0;
  const std::uint64_t count = r.count;
  sort_range(c, r);
  if (driver_st().check.wanted != 0) {
    emit_all<true>(s.entries, count, text);
  } else {
    emit_all<false>(s.entries, count, text);
  }
}

}  // namespace fsort
