// The in-memory side of the sublists: arrays, and taking a bin's records from its list.
//
// sublist_input (run_read.cpp) and sublist_delink are record sources of a distribution pass and are called
// through a pointer once a record. A bin's list is a chain through memory that no cache holds, so each call,
// having the link word in hand anyway, asks for the record sixteen places further on; by the time the pass
// gets there it has arrived. The bin's counts are kept exact record by record, because relief of memory may
// look at the bin in the middle of a pass.
//
// Counts. A record is charged its length and kRecordOverhead, in 32 bits, on entering a list (the pass) and
// on leaving it (here); both sides use rec_charge, so a list that becomes empty leaves mem_bytes at 0. Where
// the duplicates of a bin were dropped (-u), mem_bytes is an upper bound and stays above 0.
#include "keys/record.h"
#include "sublist/sublist.h"
#include "sublist/sublist_access.h"
#include "sublist/work_file.h"
#include "support/record_links.h"

namespace fsort {

std::uint8_t* sublist_take_first(Sublist* bin) {
  std::uint8_t* record = bin->head;
  if (record == nullptr) return nullptr;
  const std::uint64_t word = record_link_word(record);
  record_prefetch_ahead(record, word);
  bin->head = reinterpret_cast<std::uint8_t*>(word & kRecordAddressMask);
  bin->mem_bytes -= rec_charge(record);
  --bin->mem_count;
  return record;
}

const Sublist& sublist_empty() { return sublist_st().empty; }

void sublist_array_init(std::uint16_t count, SublistArray* array) {
  array->file = nullptr;
  array->file_state = 0;
  array->file_exists = 0;
  array->file_number = 0;
  array->order_state = 0;
  array->lower_count = 0;
  array->kept_count = 0;
  array->half_flipped = 0;
  array->count = count;
  Sublist* bins = array->bins();
  for (std::uint32_t i = 0; i < count; ++i) bins[i].order = static_cast<std::uint16_t>(i);
}

void sublist_array_ufptr(SublistArray* array) {
  SublistState& s = sublist_st();
  if (array->file_state == kFileInput) {
    s.open_input = array;
    s.reading_array = array;
  } else if (array->file_state == kFileOutput) {
    s.open_output = array;
  }
}

void sublist_array_preload(std::uint16_t boundary) { sublist_st().preload_boundary = boundary; }

void sublist_clear_preload_done() { sublist_st().preload_done = 0; }

bool sublist_preload_done() { return sublist_st().preload_done != 0; }

std::uint16_t sublist_longest_written() { return sublist_st().longest_written; }

void sublist_delink_init(SublistArray* array, std::uint16_t bin, std::uint32_t /*frame*/) {
  sublist_st().delinked = array->bins() + bin;
}

std::uint8_t* sublist_delink() { return sublist_take_first(sublist_st().delinked); }

}  // namespace fsort
