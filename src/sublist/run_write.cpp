// Writing a bin's records to its array's work file as one run.
//
// A run is a header (position and length of the same bin's previous run) and the records as they lie in
// memory without their links; the last record's frame byte is 1, all others' 0 (docs/FORMATS.md). Records in
// frames that stay in memory are skipped and go back on the bin's list; that turns their order around.
#include "keys/record.h"
#include "sublist/run_format.h"
#include "sublist/sio.h"
#include "sublist/sublist.h"
#include "sublist/sublist_access.h"
#include "sublist/work_file.h"
#include "support/record_links.h"

namespace fsort {

namespace {

constexpr std::uint32_t kHighestFrameNoted = 255;

// The records still to be looked at, and what is to be written of them.
struct Walk {
  Sublist* bin;
  std::uint8_t* rest;
  std::uint32_t frame_at;  // offset of the frame byte
  std::uint32_t frame;     // frames below stay in memory
};

// The next record to write; those to keep go back on the bin's list. Null at the end.
std::uint8_t* next_to_write(Walk& w) {
  while (w.rest != nullptr) {
    std::uint8_t* record = w.rest;
    const std::uint64_t word = record_link_word(record);
    record_prefetch_ahead(record, word);
    w.rest = reinterpret_cast<std::uint8_t*>(word & kRecordAddressMask);
    if (record[w.frame_at] >= w.frame) return record;
    record_set_next(record, w.bin->head);
    w.bin->head = record;
  }
  return nullptr;
}

void mk_header(Sublist* bin, const SublistArray* array) {
  std::uint8_t header[kRunHeaderBytes];
  store_le(header, bin->run_pos);
  store_le(header + kRunLengthAt, bin->run_len);
  const std::uint64_t position = array->file->pos;
  sio_write(header, sizeof(header), array->file);
  bin->run_pos = position;
  bin->run_len = kRunHeaderBytes;
}

}  // namespace

void sublist_write(std::uint32_t frame, SublistArray* array, std::uint16_t bin_index) {
  SublistState& s = sublist_st();
  Sublist* bin = array->bins() + bin_index;
  Walk w{bin, bin->head, key_record_header_bytes() - 1u,
         frame < kHighestFrameNoted ? frame : kHighestFrameNoted};
  bin->head = nullptr;
  std::uint8_t* record = next_to_write(w);
  if (record == nullptr) return;
  work_file_for_output(array);
  mk_header(bin, array);
  std::uint32_t written = 0;
  while (record != nullptr) {
    const std::uint16_t length = rec_total_length(record);
    const std::uint32_t charge = rec_charge(record);
    bin->run_len += length;
    bin->file_bytes += charge;
    bin->mem_bytes -= charge;
    std::uint8_t* next = next_to_write(w);
    if (length > s.longest_written) s.longest_written = length;
    record[w.frame_at] = next == nullptr ? 1 : 0;
    sio_put(record, length, array->file);
    ++written;
    record = next;
  }
  bin->file_count += written;
  bin->mem_count -= written;
}

}  // namespace fsort
