// List sort; see list_sort.h. The records' own links are not needed: with at most 31 records an array of
// addresses on the C stack is the list.
#include "engine/list_sort.h"

#include "engine/compare.h"
#include "engine/engine_access.h"
#include "engine/key_view.h"
#include "engine/sink.h"
#include "engine/tuning.h"
#include "keys/record.h"

namespace fsort {

namespace {

// Where `record` belongs among the first `count` sorted records: behind the last one that is not greater.
// Sets *equal when that one is equal to it.
std::uint32_t place_of(std::uint8_t* const* sorted, std::uint32_t count, const std::uint8_t* record,
                       std::uint16_t key, std::int32_t position, bool* equal) {
  *equal = false;
  while (count > 0) {
    const int order = compare(record, sorted[count - 1], key, position);
    if (order >= 0) {
      *equal = order == 0;
      break;
    }
    --count;
  }
  return count;
}

}  // namespace

void lisort(SublistArray* array, std::uint16_t bin, bool unique) {
  std::uint8_t* sorted[kLargestThreshold];
  std::uint32_t count = 0;
  const std::uint16_t key = array->bins()[bin].key;
  const std::int32_t position = key_position(sort_st().keys[key], array->bins()[bin].position);
  sublist_input_init(array, bin);
  while (std::uint8_t* record = sublist_input()) {
    FSORT_ASSERT(count < kLargestThreshold);
    bool equal = false;
    const std::uint32_t place = place_of(sorted, count, record, key, position, &equal);
    if (equal && unique) continue;
    for (std::uint32_t i = count; i > place; --i) sorted[i] = sorted[i - 1];
    sorted[place] = record;
    ++count;
  }
  RecordSink sink = sink_begin();
  for (std::uint32_t i = 0; i < count; ++i) sink_put(sink, sorted[i]);
  sink_end(sink);
}

}  // namespace fsort
