// The descent; see descent.h.
//
// Hints. The lists that a descent fills are walked soon after, when they are written, so records get their
// hints here too. A ring for every bin below would take as much memory as the bins: bins share a table of
// rings by their address instead. Where two meet, hints are wrong now and then, which costs a prefetch.
#include "engine/descent.h"

#include <algorithm>
#include <bit>

#include "engine/engine_access.h"
#include "engine/key_view.h"
#include "engine/list_push.h"
#include "engine/tuning.h"
#include "platform/heap.h"
#include "support/bytes.h"

namespace fsort {

namespace {

constexpr unsigned kBinShift = 6;  // a bin is 64 bytes
static_assert(sizeof(Sublist) == 1u << kBinShift);

// The levels that the last record passed, as far as they take consecutive bytes of the first one's key.
struct Path {
  Environment* levels[kPathLevels];
  std::uint32_t known;
  bool usable;              // equal bytes lead the same way
  const std::uint8_t* key;  // the last record's key bytes from the first level's place on
  std::uint32_t left;       // and how many of them lie in the record
};

// How many of the first `most` bytes agree.
std::uint32_t agreeing(const std::uint8_t* a, const std::uint8_t* b, std::uint32_t most) {
  constexpr std::uint32_t kWord = sizeof(std::uint64_t);
  std::uint32_t at = 0;
  for (; at + kWord <= most; at += kWord) {
    const std::uint64_t unlike = load_le<std::uint64_t>(a + at) ^ load_le<std::uint64_t>(b + at);
    if (unlike != 0) return at + static_cast<std::uint32_t>(std::countr_zero(unlike)) / 8;
  }
  while (at < most && a[at] == b[at]) ++at;
  return at;
}

// Goes back along the path to where `record` leaves the last one. Result: the depth of that level. Only bytes
// that lie in both records are compared: where a record's end ends its key, it ends in one of them.
std::uint32_t turn_off(Path& path, const std::uint8_t* record) {
  const PlanStep& first = path.levels[0]->steps[0];
  if (!path.usable) return 0;
  const std::uint32_t at = rec_key_offset(record, first.key) + static_cast<std::uint32_t>(first.position);
  const std::uint32_t total = rec_total_length(record);
  const std::uint8_t* key = record + at;
  const std::uint32_t left = at < total ? total - at : 0;
  const bool first_record = path.key == nullptr;
  const std::uint32_t most = first_record ? 0 : std::min({path.known - 1, left, path.left});
  const std::uint32_t depth = agreeing(key, path.key, most);
  path.key = key;
  path.left = left;
  path.known = depth + 1;
  return depth;
}

// Notes that the record went on to `level`, `depth` levels below the first.
void go_on(Path& path, Environment* level, std::uint32_t depth) {
  if (!path.usable || depth != path.known || depth == kPathLevels) return;
  const PlanStep& first = path.levels[0]->steps[0];
  const PlanStep& step = level->steps[0];
  const bool next_byte =
      step.key == first.key && step.position == first.position + static_cast<std::int32_t>(depth);
  if (next_byte) path.levels[path.known++] = level;
}

// The deepest bin that the record's key bytes lead to.
Sublist* deepest_bin(const SortState& s, Path& path, const std::uint8_t* record) {
  std::uint32_t depth = turn_off(path, record);
  Environment* level = path.levels[depth];
  for (;;) {
    const PlanStep& step = level->steps[0];
    Sublist* bin =
        level->array.bins() + getvalue(record, s.keys[step.key], step.key, step.position, s.header_bytes);
    Environment* below = bin->child;
    if (below == nullptr || below->step_count != 1) return bin;
    level = below;
    go_on(path, level, ++depth);
  }
}

// The table of rings; null when hints do not pay for so few records, or there is no memory for them.
std::uint8_t** take_rings(std::uint64_t expected) {
  SortState& s = sort_st();
  const DriverState& d = driver_st();
  if (expected < kHintMinRecords || d.memory_kb < kDescentRingsLeastKb) return nullptr;
  if (s.descent_rings == nullptr) {
    const std::size_t bytes = std::size_t{kDescentRings} * kHintAhead * sizeof(void*);
    s.descent_rings = static_cast<std::uint8_t**>(heap_alloc(bytes));
    if (s.descent_rings != nullptr) std::memset(s.descent_rings, 0, bytes);
  }
  return s.descent_rings;
}

std::uint8_t** ring_of(std::uint8_t** rings, const Sublist* bin) {
  if (rings == nullptr) return nullptr;
  return rings + (reinterpret_cast<std::uintptr_t>(bin) >> kBinShift) % kDescentRings * kHintAhead;
}

}  // namespace

void descend(Sublist* bin, Environment* top) {
  const SortState& s = sort_st();
  const KeyView& view = s.keys[top->steps[0].key];
  Path path;
  path.levels[0] = top;
  path.known = 1;
  path.usable = view.step > 0;
  path.key = nullptr;
  path.left = 0;
  std::uint8_t** rings = take_rings(bin->mem_count);
  while (std::uint8_t* record = sublist_take_first(bin)) {
    Sublist* to = deepest_bin(s, path, record);
    list_push(*to, ring_of(rings, to), record);
  }
}

void descent_free() {
  SortState& s = sort_st();
  heap_free(s.descent_rings);
  s.descent_rings = nullptr;
}

}  // namespace fsort
