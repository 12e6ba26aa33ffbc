// Prefix skip; see prefix_skip.h. Every record is compared with the first, a word of class values at a
// time.
#include "engine/prefix_skip.h"

#include <algorithm>
#include <cstring>

#include "engine/engine_access.h"
#include "engine/key_view.h"
#include "engine/key_word.h"
#include "engine/plan.h"
#include "support/record_links.h"

namespace fsort {

namespace {

// Positions left of a key.
std::uint32_t rest_of_key(const KeyView& view, std::int32_t position) {
  return view.length - static_cast<std::uint32_t>(position < 0 ? -position : position);
}

}  // namespace

bool same_bytes(const SortState& s, std::uint32_t key, std::int32_t position, const std::uint8_t* first,
                const std::uint8_t* record, std::uint32_t length) {
  if (s.keys[key].mapping == kMapByBytes) return false;
  const auto at_first = static_cast<std::uint32_t>(rec_key_offset(first, key) + position);
  const auto at_record = static_cast<std::uint32_t>(rec_key_offset(record, key) + position);
  return at_record + length <= rec_total_length(record) &&
         std::memcmp(first + at_first, record + at_record, length) == 0;
}

std::uint32_t shared_length(const SortState& s, std::uint32_t key, std::int32_t position,
                            const std::uint8_t* first, const std::uint8_t* record, std::uint32_t most) {
  const KeyView& view = s.keys[key];
  const WordShape shape = word_shape(view);
  std::uint32_t length = 0;
  while (length < most) {
    const std::int32_t at = position + view.step * static_cast<std::int32_t>(length);
    const std::uint64_t a = key_word(s, first, key, at);
    const std::uint64_t b = key_word(s, record, key, at);
    const std::uint32_t agree = std::min(words_agree(a, b, shape), word_live(a, shape));
    length += agree;
    if (agree < shape.values) break;
  }
  return std::min(length, most);
}

namespace {

// Of `length` common bytes, how many an even number of passes consumes.
std::uint32_t even_passes(const Sublist& bin, std::int32_t start, std::uint32_t length) {
  const KeyView& view = sort_st().keys[bin.key];
  std::uint32_t consumed = 0;
  std::uint32_t even = 0;
  bool odd = false;
  for (;;) {
    const std::int32_t position = start + view.step * static_cast<std::int32_t>(consumed);
    if (key_at_end(view, position)) break;
    const std::uint32_t depth = plan_depth(bin.key, position, bin.mem_count);
    if (consumed + depth > length) break;
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
  const std::int32_t position = key_position(view, bin->position);
  const std::uint8_t* first = bin->head;
  std::uint32_t length = shared_length(s, bin->key, position, first, first, rest_of_key(view, position));
  for (const std::uint8_t* record = first; record != nullptr && length > 1;) {
    const std::uint64_t word = record_link_word(record);
    record_prefetch_ahead(record, word);
    if (!same_bytes(s, bin->key, position, first, record, length)) {
      length = shared_length(s, bin->key, position, first, record, length);
    }
    record = reinterpret_cast<const std::uint8_t*>(word & kRecordAddressMask);
  }
  const std::uint32_t skipped = length > 1 ? even_passes(*bin, position, length) : 0;
  if (skipped == 0) return false;
  bin->position = static_cast<std::uint16_t>(position + view.step * static_cast<std::int32_t>(skipped));
  return true;
}

}  // namespace fsort
