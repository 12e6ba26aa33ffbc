// How many of the following bins to read back from work files together; see sort_bin.h.
#include "engine/engine_access.h"
#include "engine/plan.h"
#include "engine/relief.h"
#include "engine/sort_bin.h"

namespace fsort {

namespace {

// Bytes that a bin and the levels below it have on work files. Unlike total_size this counts the runs of a
// bin that was given a child later, when part of its records had been written already: they are read back
// too, and left out they would make any number of bins seem to fit in memory together.
[[nodiscard]] std::uint64_t bytes_on_files(const Sublist& bin) {
  std::uint64_t sum = bin.file_bytes;
  if (bin.child == nullptr) return sum;
  const SublistArray& array = bin.child->array;
  for (std::uint32_t i = array.count; i-- > 0;) sum += bytes_on_files(array.bins()[i]);
  return sum;
}

[[nodiscard]] std::uint64_t bin_kb(const Sublist& bin) {
  return (bytes_on_files(bin) + bin.mem_bytes) / 1024;
}

}  // namespace

std::uint16_t preload(SublistArray* array, std::uint64_t memory) {
  const DriverState& d = driver_st();
  SortState& s = sort_st();
  Sublist* bins = array->bins();
  const std::uint32_t last = array->count - 1u;
  sublist_clear_preload_done();
  if (bytes_on_files(bins[last]) == 0) return static_cast<std::uint16_t>(last);
  const std::uint64_t kept_back = 2 * memory / d.segment_kb;
  if (memory > kept_back) memory -= kept_back;
  std::uint64_t sum = bin_kb(bins[last]);
  std::uint64_t to_read = bytes_on_files(bins[last]);
  std::uint32_t boundary = last;
  while (boundary > 0 && sum + bin_kb(bins[boundary - 1]) + d.segment_kb <= memory) {
    --boundary;
    sum += bin_kb(bins[boundary]);
    to_read += bytes_on_files(bins[boundary]);
  }
  for (std::uint32_t i = 0; i <= last; ++i) bins[last - i].order = static_cast<std::uint16_t>(i);
  s.memory_reserve = (sum + d.segment_kb) * 1024;
  // What the bins hold in memory already needs no room: asking for it would write out the very records that
  // are to be processed next. Only when the rest does not fit room is made for all of it, for relief moves
  // them too.
  if (to_read + d.segment_kb * std::uint64_t{1024} > stk_max(d.data_stack)) free_memory(s.memory_reserve);
  const std::uint64_t used =
      (std::uint64_t{stk_segments(d.data_stack)} + stk_segments(d.sublist_stack)) * d.segment_kb;
  s.free_data_kb = d.data_memory_kb > used ? d.data_memory_kb - used : 0;
  return static_cast<std::uint16_t>(boundary);
}

}  // namespace fsort
