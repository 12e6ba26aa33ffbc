// Array sort; see array_sort.h.
#include "engine/array_sort.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "engine/compare.h"
#include "engine/engine_access.h"
#include "engine/key_view.h"
#include "engine/plan.h"
#include "engine/prefix_skip.h"
#include "engine/sink.h"
#include "engine/tuning.h"
#include "platform/heap.h"
#include "support/record_links.h"

namespace fsort {

namespace {

constexpr std::uint32_t kMaxValues = 257;  // 256 classes and "ended"
constexpr std::uint32_t kCacheBits = 64;

// How a key's values lie in the cache word.
struct CacheShape {
  std::uint32_t width;   // bits a value
  std::uint32_t values;  // values a word holds
};

[[nodiscard]] inline CacheShape shape_of(const KeyView& view) {
  return view.max_class < 255 ? CacheShape{8, 8} : CacheShape{9, 7};
}

[[nodiscard]] inline std::uint32_t cached_value(std::uint64_t cache, CacheShape shape, std::uint32_t index) {
  return static_cast<std::uint32_t>(cache << (shape.width * index) >> (kCacheBits - shape.width));
}

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
};
constexpr std::uint32_t kNotCached = 64;

struct Context {
  const SortState* s;
  ArrayEntry* scratch;
  bool unique;
};

// The class values of a record's key bytes from `position` on, packed.
std::uint64_t gather_word(const SortState& s, const std::uint8_t* record, std::uint32_t key,
                          std::int32_t position) {
  const KeyView& view = s.keys[key];
  const CacheShape shape = shape_of(view);
  const std::uint32_t magnitude = static_cast<std::uint32_t>(position < 0 ? -position : position);
  const std::uint32_t left = view.length - magnitude;
  const std::uint32_t most = left < shape.values ? left : shape.values;
  std::uint64_t cache = 0;
  std::uint32_t shift = kCacheBits;
  if (view.step > 0 && view.bounded == 0) {
    // The common key: no test but for its end, one table.
    const std::uint8_t* at = record + (static_cast<std::int32_t>(rec_key_offset(record, key)) + position);
    const std::uint16_t* const value_of = view.value;
    for (std::uint32_t i = 0; i < most; ++i) {
      const std::uint64_t value = value_of[at[i]];
      if (value == 0) break;
      shift -= shape.width;
      cache |= value << shift;
    }
    return cache;
  }
  for (std::uint32_t i = 0; i < most; ++i, position += view.step) {
    const std::uint16_t value = getvalue(record, view, key, position, s.header_bytes);
    if (value == 0) break;
    shift -= shape.width;
    cache |= std::uint64_t{value} << shift;
  }
  return cache;
}

void gather(const Context& c, Range& r) {
  constexpr std::uint64_t kAhead = 12;
  const std::int32_t place = static_cast<std::int32_t>(c.s->header_bytes) + r.position;
  for (std::uint64_t i = 0; i < r.count; ++i) {
    if (i + kAhead < r.count) {
      // The offset word and, about, the key bytes.
      __builtin_prefetch(r.entries[i + kAhead].record);
      __builtin_prefetch(r.entries[i + kAhead].record + place);
    }
    r.entries[i].cache = gather_word(*c.s, r.entries[i].record, r.key, r.position);
  }
  r.used = 0;
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
  if (!c.unique) {
    unflip(r);
    return;
  }
  const std::uint64_t kept = r.flipped ? r.count - 1 : 0;
  for (std::uint64_t i = 0; i < r.count; ++i) {
    if (i != kept) r.entries[i].record = nullptr;
  }
}

// Order of two entries whose cache words were gathered at the same place of key r.key.
int compare_entries(const Context& c, const Range& r, const ArrayEntry& a, const ArrayEntry& b) {
  const bool descending = (r.directions >> r.key & 1u) != 0;
  if (a.cache != b.cache) return (a.cache < b.cache) != descending ? -1 : 1;
  const KeyView& view = c.s->keys[r.key];
  const CacheShape shape = shape_of(view);
  if (cached_value(a.cache, shape, shape.values - 1) != 0) {
    // The words are full: the key may go on behind them.
    const auto cached = static_cast<std::int32_t>(shape.values - r.used);
    return compare_from(*c.s, a.record, b.record, r.key, r.position + view.step * cached, r.directions);
  }
  std::uint32_t directions = r.directions;
  if (view.governed != 0 && r.used == 0 &&
      leaves_first(view, static_cast<std::uint16_t>(cached_value(a.cache, shape, 0)), descending)) {
    directions ^= c.s->invert_mask[r.key];
  }
  return compare_from(*c.s, a.record, b.record, r.key + 1, 0, directions);
}

// List sort of a small range: stable in reading order; under `unique` equal records but the first are
// dropped.
void finish_small(const Context& c, Range& r) {
  unflip(r);
  if (r.used == kNotCached) gather(c, r);
  std::uint64_t kept = 0;
  for (std::uint64_t i = 0; i < r.count; ++i) {
    const ArrayEntry entry = r.entries[i];
    std::uint64_t place = kept;
    int order = 1;
    while (place > 0 && (order = compare_entries(c, r, entry, r.entries[place - 1])) < 0) --place;
    if (c.unique && place > 0 && order == 0) continue;
    for (std::uint64_t k = kept; k > place; --k) r.entries[k] = r.entries[k - 1];
    r.entries[place] = entry;
    ++kept;
  }
  for (; kept < r.count; ++kept) r.entries[kept].record = nullptr;
}

// Records that went to the bin of class value `value` of range `r`: where they stand next.
Range part_of(const SortState& s, const Range& r, std::uint32_t value, ArrayEntry* entries,
              std::uint64_t count) {
  const KeyView& view = s.keys[r.key];
  Range part = r;
  part.entries = entries;
  part.count = count;
  if (view.governed != 0 &&
      leaves_first(view, static_cast<std::uint16_t>(value), (r.directions >> r.key & 1u) != 0)) {
    part.directions ^= s.invert_mask[r.key];
  }
  if (value == 0) {
    part.key = r.key + 1;
    part.position = 0;
    part.used = kNotCached;
    part.plan_left = 0;
    return part;
  }
  part.position = r.position + view.step;
  part.used = r.used + 1 < shape_of(view).values ? r.used + 1 : kNotCached;
  part.plan_left = r.plan_left - 1;
  return part;
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
std::uint32_t shared_values(const Range& r, CacheShape shape) {
  const std::uint64_t first = r.entries[0].cache;
  std::uint64_t differing = 0;
  for (std::uint64_t i = 1; i < r.count; ++i) differing |= r.entries[i].cache ^ first;
  const auto same = static_cast<std::uint32_t>(std::countl_zero(differing));
  return std::min(same / shape.width, shape.values);
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

// After a whole word of common values: skips what follows in common without gathering it word by word. The
// passes over these bytes are counted as ever, and the key's last byte is left to them.
void skip_shared(const SortState& s, Range& r) {
  const KeyView& view = s.keys[r.key];
  const std::uint32_t length = common_prefix(r.key, r.position, r.entries, r.count);
  for (std::uint32_t i = 0; i < length && !key_at_end(view, r.position + view.step); ++i) {
    if (is_small(s, r)) return;
    begin_plan(r);
    --r.plan_left;
    r.position += view.step;
  }
}

void sort_range(const Context& c, Range r);

// Moves the entries into parts by their next value and sorts all parts but the largest. Result: the largest
// part.
Range split(const Context& c, const Range& r, const std::uint32_t* counts, std::uint32_t values) {
  const CacheShape shape = shape_of(c.s->keys[r.key]);
  std::uint32_t starts[kMaxValues];
  lay_out(counts, values, (r.directions >> r.key & 1u) != 0, starts);
  for (std::uint64_t i = 0; i < r.count; ++i) {
    c.scratch[starts[cached_value(r.entries[i].cache, shape, r.used)]++] = r.entries[i];
  }
  std::memcpy(r.entries, c.scratch, r.count * sizeof(ArrayEntry));
  std::uint32_t largest = 0;
  for (std::uint32_t v = 1; v < values; ++v) {
    if (counts[v] > counts[largest]) largest = v;
  }
  for (std::uint32_t v = 0; v < values; ++v) {
    if (counts[v] == 0 || v == largest) continue;
    sort_range(c, part_of(*c.s, r, v, r.entries + (starts[v] - counts[v]), counts[v]));
  }
  return part_of(*c.s, r, largest, r.entries + (starts[largest] - counts[largest]), counts[largest]);
}

// Steps to the next key when the current one is used up. Result: false when there is none.
bool step_key(const SortState& s, Range& r) {
  if (r.key < s.key_count && key_at_end(s.keys[r.key], r.position)) {
    ++r.key;
    r.position = 0;
    r.used = kNotCached;
  }
  return r.key < s.key_count;
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
    const CacheShape shape = shape_of(c.s->keys[r.key]);
    if (r.used == kNotCached) {
      if (shared == shape.values && r.position != 0) {
        shared = 0;
        skip_shared(*c.s, r);
        continue;
      }
      gather(c, r);
      shared = 0;
    }
    begin_plan(r);
    if (r.used < shared) {
      r = part_of(*c.s, r, cached_value(r.entries[0].cache, shape, r.used), r.entries, r.count);
      continue;
    }
    const std::uint32_t values = c.s->keys[r.key].max_class + 2u;
    std::memset(counts, 0, values * sizeof(counts[0]));
    for (std::uint64_t i = 0; i < r.count; ++i) ++counts[cached_value(r.entries[i].cache, shape, r.used)];
    const std::uint32_t first = cached_value(r.entries[0].cache, shape, r.used);
    if (counts[first] == r.count) {
      shared = shared_values(r, shape);
      r = part_of(*c.s, r, first, r.entries, r.count);
    } else {
      r = split(c, r, counts, values);
      shared = 0;
    }
  }
}

// Walks the bin's list into the array, first key bytes included.
void take_list(const Context& c, const Sublist& bin, Range& r) {
  std::uint64_t count = 0;
  for (std::uint8_t* record = bin.head; record != nullptr; ++count) {
    const std::uint64_t word = record_link_word(record);
    record_prefetch_ahead(record, word);
    r.entries[count] = ArrayEntry{gather_word(*c.s, record, r.key, r.position), record};
    record = reinterpret_cast<std::uint8_t*>(word & kRecordAddressMask);
  }
  FSORT_ASSERT(count == bin.mem_count);
  r.count = count;
  r.used = 0;
}

// Sends the sorted records out, asking for the memory of those ahead.
void emit_all(const ArrayEntry* entries, std::uint64_t count) {
  constexpr std::uint32_t kLine = 64;
  constexpr std::uint32_t kMostAhead = 4 * kLine;  // the processor goes on by itself behind that
  RecordSink sink = sink_begin();
  std::uint32_t length = kLine;  // of the latest record: the next ones will be much like it
  for (std::uint64_t i = 0; i < count; ++i) {
    if (i + kEmitAhead < count) {
      const std::uint8_t* ahead = entries[i + kEmitAhead].record;
      for (std::uint32_t at = 0; at < length + kLine; at += kLine) __builtin_prefetch(ahead + at);
    }
    const std::uint8_t* record = entries[i].record;
    if (record == nullptr) continue;
    length = std::min<std::uint32_t>(rec_total_length(record), kMostAhead);
    sink_put(sink, record);
  }
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
  const std::uint64_t capacity =
      records < kArraySortMinRecords ? kArraySortMinRecords : std::bit_ceil(records);
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
  const Context c{&s, s.entries + s.entry_capacity, unique};
  Range r{};
  r.entries = s.entries;
  r.key = bin->key;
  r.position = key_position(s.keys[bin->key], bin->position);
  r.directions = s.descending;
  take_list(c, *bin, r);
  bin->head = nullptr;
  bin->mem_count = 0;
  bin->mem_bytes = 0;
  const std::uint64_t count = r.count;
  sort_range(c, r);
  emit_all(s.entries, count);
}

}  // namespace fsort
