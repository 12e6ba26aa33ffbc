// Prefix skip; see prefix_skip.h. Every record is compared with the first: bytes that are equal have equal
// classes, so runs of equal bytes are found eight at a time and only a differing byte is looked up.
#include "engine/prefix_skip.h"

#include <bit>

#include "engine/array_sort.h"
#include "engine/engine_access.h"
#include "engine/key_view.h"
#include "engine/plan.h"
#include "support/record_links.h"

namespace fsort {

namespace {

constexpr std::uint32_t kWordBytes = 8;

// The key bytes being compared.
struct Prefix {
  const KeyView* view;
  std::uint32_t key;
  std::int32_t position;
  std::uint32_t header_bytes;
  std::uint32_t length;  // positions known to be common
};

// Positions from the prefix's start on at which the key goes on in `record`, at most the rest of the key.
std::uint32_t live_length(const Prefix& p, const std::uint8_t* record) {
  std::int32_t position = p.position;
  std::uint32_t length = 0;
  while (!key_at_end(*p.view, position) && getvalue(record, *p.view, p.key, position, p.header_bytes) != 0) {
    position += p.view->step;
    ++length;
  }
  return length;
}

// How many bytes at `a` and `b` are equal, at most `most`; for keys walked forward.
std::uint32_t equal_bytes(const std::uint8_t* a, const std::uint8_t* b, std::uint32_t most) {
  std::uint32_t done = 0;
  while (done + kWordBytes <= most) {
    const std::uint64_t diff = load_le<std::uint64_t>(a + done) ^ load_le<std::uint64_t>(b + done);
    if (diff != 0) return done + static_cast<std::uint32_t>(std::countr_zero(diff)) / 8;
    done += kWordBytes;
  }
  while (done < most && a[done] == b[done]) ++done;
  return done;
}

// Shortens the prefix to what `record` shares with `first`. Both records hold at least as many bytes as the
// loop looks at: `first` up to the prefix's length, `record` up to its own end.
void shorten(Prefix& p, const std::uint8_t* first, const std::uint8_t* record) {
  std::uint32_t done = 0;
  while (done < p.length) {
    const std::int32_t position = p.position + p.view->step * static_cast<std::int32_t>(done);
    if (p.view->step > 0) {
      const std::uint32_t at_first = static_cast<std::uint32_t>(rec_key_offset(first, p.key) + position);
      const std::uint32_t at_record = static_cast<std::uint32_t>(rec_key_offset(record, p.key) + position);
      const std::uint32_t end = rec_total_length(record);
      const std::uint32_t here = at_record < end ? end - at_record : 0;
      const std::uint32_t left = p.length - done;
      const std::uint32_t equal =
          equal_bytes(first + at_first, record + at_record, here < left ? here : left);
      done += equal;
      if (equal != 0) continue;
    }
    if (getvalue(first, *p.view, p.key, position, p.header_bytes) !=
        getvalue(record, *p.view, p.key, position, p.header_bytes)) {
      p.length = done;
      return;
    }
    ++done;
  }
}

}  // namespace

std::uint32_t common_prefix(std::uint32_t key, std::int32_t position, const ArrayEntry* entries,
                            std::uint64_t count) {
  constexpr std::uint64_t kAhead = 12;
  const SortState& s = sort_st();
  const std::int32_t place = static_cast<std::int32_t>(s.header_bytes) + position;
  Prefix p{&s.keys[key], key, position, s.header_bytes, 0};
  const std::uint8_t* first = entries[0].record;
  p.length = live_length(p, first);
  for (std::uint64_t i = 1; i < count && p.length != 0; ++i) {
    if (i + kAhead < count) {
      __builtin_prefetch(entries[i + kAhead].record);
      __builtin_prefetch(entries[i + kAhead].record + place);
    }
    shorten(p, first, entries[i].record);
  }
  return p.length;
}

namespace {

// Of `length` common bytes, how many an even number of passes consumes.
std::uint32_t even_passes(const Prefix& p, std::uint64_t records) {
  std::uint32_t consumed = 0;
  std::uint32_t even = 0;
  bool odd = false;
  for (;;) {
    const std::int32_t position = p.position + p.view->step * static_cast<std::int32_t>(consumed);
    if (key_at_end(*p.view, position)) break;
    const std::uint32_t depth = plan_depth(static_cast<std::uint16_t>(p.key), position, records);
    if (consumed + depth > p.length) break;
    consumed += depth;
    odd = !odd;
    if (!odd) even = consumed;
  }
  return even;
}

}  // namespace

bool skip_common_prefix(Sublist* bin) {
  const SortState& s = sort_st();
  const KeyView& view = s.keys[bin->key];
  if (view.governed != 0 || bin->head == nullptr) return false;
  Prefix p{&view, bin->key, key_position(view, bin->position), s.header_bytes, 0};
  const std::uint8_t* first = bin->head;
  p.length = live_length(p, first);
  for (const std::uint8_t* record = first; record != nullptr && p.length > 1;) {
    const std::uint64_t word = record_link_word(record);
    record_prefetch_ahead(record, word);
    shorten(p, first, record);
    record = reinterpret_cast<const std::uint8_t*>(word & kRecordAddressMask);
  }
  const std::uint32_t skipped = p.length > 1 ? even_passes(p, bin->mem_count) : 0;
  if (skipped == 0) return false;
  bin->position = static_cast<std::uint16_t>(p.position + view.step * static_cast<std::int32_t>(skipped));
  return true;
}

}  // namespace fsort
