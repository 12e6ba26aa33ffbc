// Array sort; see array_sort.h.
#include "engine/array_sort.h"

#include <bit>
#include <cstring>

#include "engine/compare.h"
#include "engine/engine_access.h"
#include "engine/key_view.h"
#include "engine/plan.h"
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
  for (std::uint32_t i = 0; i < most; ++i, position += view.step) {
    const std::uint16_t value = getvalue(record, view, key, position, s.header_bytes);
    if (value == 0) break;
    shift -= shape.width;
    cache |= std::uint64_t{value} << shift;
  }
  return cache;
}

void gather(const Context& c, Range& r) {
  constexpr std::uint64_t kAhead = 8;
  for (std::uint64_t i = 0; i < r.count; ++i) {
    if (i + kAhead < r.count) __builtin_prefetch(r.entries[i + kAhead].record);
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

// True when the list sort finishes the range now. Inside a plan of several bytes the counts of its bins are
// not known yet; fewer records than the smallest threshold would be list-sorted in any of them.
bool is_small(const SortState& s, const Range& r) {
  const std::uint16_t threshold =
      r.plan_left != 0 ? kSmallestThreshold : list_sort_threshold(s.keys[r.key].max_class);
  return r.count < threshold;
}

// Sorts the range into its final order in place.
void sort_range(const Context& c, Range r) {
  std::uint32_t counts[kMaxValues];
  while (r.count > 1) {
    if (!step_key(*c.s, r)) {
      finish_equal(c, r);
      return;
    }
    if (is_small(*c.s, r)) {
      finish_small(c, r);
      return;
    }
    if (r.used == kNotCached) gather(c, r);
    if (r.plan_left == 0) {
      r.plan_left = plan_depth(static_cast<std::uint16_t>(r.key), r.position, r.count);
      r.flipped = !r.flipped;
    }
    const std::uint32_t values = c.s->keys[r.key].max_class + 2u;
    const CacheShape shape = shape_of(c.s->keys[r.key]);
    std::memset(counts, 0, values * sizeof(counts[0]));
    for (std::uint64_t i = 0; i < r.count; ++i) ++counts[cached_value(r.entries[i].cache, shape, r.used)];
    const std::uint32_t first = cached_value(r.entries[0].cache, shape, r.used);
    r = counts[first] == r.count ? part_of(*c.s, r, first, r.entries, r.count) : split(c, r, counts, values);
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
  for (std::uint64_t i = 0; i < count; ++i) {
    if (i + kEmitAhead < count) {
      const std::uint8_t* ahead = entries[i + kEmitAhead].record;
      __builtin_prefetch(ahead);
      __builtin_prefetch(ahead + kLine);
    }
    if (entries[i].record != nullptr) rec_output(entries[i].record);
  }
}

}  // namespace

bool array_sort_takes(const Sublist& bin) {
  const DriverState& d = driver_st();
  if (bin.child != nullptr || bin.file_count != 0 || d.verbosity > 0 || d.plain_levels != 0) return false;
  const std::uint64_t share = d.memory_kb * 1024 / kArraySortMemoryShare / (2 * sizeof(ArrayEntry));
  const std::uint64_t most = share < kArraySortMaxRecords ? share : kArraySortMaxRecords;
  return bin.mem_count <= most;
}

bool array_sort_reserve(std::uint64_t records) {
  SortState& s = sort_st();
  if (records <= s.entry_capacity) return true;
  const std::uint64_t capacity =
      records < kArraySortMinRecords ? kArraySortMinRecords : std::bit_ceil(records);
  array_sort_free();
  s.entries = static_cast<ArrayEntry*>(heap_alloc(2 * capacity * sizeof(ArrayEntry)));
  if (s.entries == nullptr) return false;
  s.entry_capacity = capacity;
  return true;
}

void array_sort_free() {
  SortState& s = sort_st();
  heap_free(s.entries);
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
