// Levels made by memory relief; see relief_levels.h.
#include "engine/relief_levels.h"

#include <algorithm>

#include "engine/engine_access.h"
#include "engine/key_view.h"
#include "engine/plan.h"
#include "engine/tuning.h"
#include "support/record_links.h"

namespace fsort {

namespace {

// A record of the sample and its bin in the level being looked at.
struct Sampled {
  const std::uint8_t* record;
  std::uint16_t bin;
};

struct Sample {
  Sampled records[kReliefSample];
  std::uint32_t count;
  std::uint64_t bytes_each;  // bytes in memory that each of them stands for
};

// Records of one bin, next to each other in the sample.
struct Group {
  std::uint32_t first;
  std::uint32_t count;
};

// True while levels take only a small part of the memory. Relief runs when records hold all of it, so the
// segment for a level comes on top; without it a bin with a long common prefix would be written out and read
// back again for every few bytes of the prefix.
bool levels_may_grow() {
  const DriverState& d = driver_st();
  if (d.plain_levels != 0) return false;
  const std::uint64_t part = d.memory_kb / d.segment_kb / kLevelShare;
  return stk_segments(d.sublist_stack) < (part > kLevelSegments ? part : kLevelSegments);
}

// Every so many records of the list one, spread over all of it.
void take_sample(const Sublist& bin, Sample* sample) {
  const std::uint32_t apart = bin.mem_count / kReliefSample + 1;
  std::uint32_t wait = 0;
  sample->count = 0;
  for (const std::uint8_t* record = bin.head; record != nullptr && sample->count < kReliefSample;) {
    const std::uint64_t word = record_link_word(record);
    record_prefetch_ahead(record, word);
    if (wait == 0) {
      sample->records[sample->count++].record = record;
      wait = apart;
    }
    --wait;
    record = reinterpret_cast<const std::uint8_t*>(word & kRecordAddressMask);
  }
}

// Puts records of the same bin of `level` side by side.
void part(const SortState& s, const Environment* level, Sample& sample, const Group& group) {
  const PlanStep& step = level->steps[0];
  Sampled* const first = sample.records + group.first;
  Sampled* const last = first + group.count;
  bool alike = true;
  for (Sampled* at = first; at != last; ++at) {
    at->bin = getvalue(at->record, s.keys[step.key], step.key, step.position, s.header_bytes);
    alike = alike && at->bin == first->bin;
  }
  if (!alike) std::sort(first, last, [](const Sampled& a, const Sampled& b) { return a.bin < b.bin; });
}

// Takes the records of the next bin off the front of `rest`.
Group next_group(const Sample& sample, Group& rest) {
  Group group{rest.first, 1};
  const std::uint16_t bin = sample.records[group.first].bin;
  while (group.count < rest.count && sample.records[group.first + group.count].bin == bin) ++group.count;
  rest.first += group.count;
  rest.count -= group.count;
  return group;
}

// The level below the bin of `level` that the group's records go to; null when it needs or gets none. The
// level is new and each of its bins is asked about once, so none has a level yet.
Environment* level_of_group(const SortState& s, Environment* level, const Sample& sample,
                            const Group& group) {
  if (group.count < kReliefSampleLeast || !worth_a_level(group.count * sample.bytes_each)) return nullptr;
  Sublist& bin = level->array.bins()[sample.records[group.first].bin];
  const Place place = place_of(s, bin);
  if (place.key < s.key_count) bin.child = make_child(level, bin, place);
  return bin.child;
}

// Makes the levels for a group of the sample below `level`: those of the largest part in the loop, of the
// others by recursion, which is therefore no deeper than the logarithm of the sample.
void grow(const SortState& s, Environment* level, Sample& sample, Group group) {
  while (level != nullptr) {
    part(s, level, sample, group);
    Group largest{0, 0};
    for (Group rest = group; rest.count != 0;) {
      const Group next = next_group(sample, rest);
      const Group smaller = next.count > largest.count ? largest : next;
      if (next.count > largest.count) largest = next;
      if (smaller.count == 0) continue;
      if (Environment* child = level_of_group(s, level, sample, smaller)) grow(s, child, sample, smaller);
    }
    level = level_of_group(s, level, sample, largest);
    group = largest;
  }
}

}  // namespace

Place place_of(const SortState& s, const Sublist& bin) {
  if (bin.key >= s.key_count) return Place{s.key_count, 0};
  Place place{bin.key, key_position(s.keys[bin.key], bin.position)};
  if (key_at_end(s.keys[place.key], place.position))
    place = Place{static_cast<std::uint16_t>(place.key + 1), 0};
  return place;
}

bool worth_a_level(std::uint64_t bytes) {
  return static_cast<std::int64_t>(bytes >> 10) > driver_st().subdivide_kb;
}

Environment* make_child(Environment* parent, const Sublist& bin, const Place& place) {
  const std::uint32_t bins = sort_st().keys[place.key].max_class + 2u;
  if (bins > driver_st().bins_per_segment) return nullptr;
  Plan p;
  plan(&p, place.key, place.position, std::uint64_t{bin.mem_count} + bin.file_count, bin.file_bytes / 1024,
       true);
  const auto count = static_cast<std::uint16_t>(p.bins);
  Environment* made = environment_make(parent, p.step_count, p.steps, count);
  if (made != nullptr || !levels_may_grow()) return made;
  stk_newseg();
  return environment_make(parent, p.step_count, p.steps, count);
}

void grow_levels(Environment* level, const Sublist& bin) {
  Sample sample;
  take_sample(bin, &sample);
  if (sample.count == 0) return;
  sample.bytes_each = bin.mem_bytes / sample.count;
  grow(sort_st(), level, sample, Group{0, sample.count});
}

}  // namespace fsort
