// Reading a bin's runs back, newest first, with read-ahead of the bins that follow it.
//
// A bin's records in memory come first, then its runs, found backwards through the run headers. When a run
// ends and the file stands exactly at the newest run of one of the next bins, up to the preload boundary,
// that run is read into memory right away: neighbours on the file are read in one sweep.
//
// The extent of what will be read in one sweep is told to the stream, so that it reads ahead neither too
// little nor far beyond.
//
// What comes from a work file is not trusted further than memory safety needs: a record's length must hold
// its header, and its key offsets must lie in it.
#include "engine/record_memory.h"
#include "keys/record.h"
#include "stream/stream.h"
#include "sublist/run_format.h"
#include "sublist/sio.h"
#include "sublist/sublist.h"
#include "sublist/sublist_access.h"
#include "sublist/work_file.h"
#include "support/osdll.h"
#include "support/record_links.h"

namespace fsort {

namespace {

constexpr std::uint32_t kLengthBytes = 2;

void read_header(Sublist* bin, const SublistArray* array) {
  std::uint8_t header[kRunHeaderBytes];
  sio_read(header, sizeof(header), array->file);
  bin->run_pos = load_le<std::uint64_t>(header);
  bin->run_len = load_le<std::uint32_t>(header + kRunLengthAt);
}

[[noreturn]] void damaged() { osdll_error("Error in file read"); }

// One record into record memory. Result: the record; *last tells whether it ends its run.
std::uint8_t* read_record(Sublist* bin, const SublistArray* array, bool* last) {
  const std::uint32_t header_bytes = key_record_header_bytes();
  std::uint8_t length_word[kLengthBytes];
  sio_get(length_word, kLengthBytes, array->file);
  const auto length = load_le<std::uint16_t>(length_word);
  if (length < header_bytes) damaged();
  std::uint8_t* record = fsort_alloc(std::uint64_t{length} + 1);
  store_le(record, length);
  record[length] = 0;
  sio_get(record + kLengthBytes, length - kLengthBytes, array->file);
  const std::uint32_t keys = key_count();
  for (std::uint32_t k = 0; k < keys; ++k) {
    if (rec_key_offset(record, k) > length) damaged();
  }
  std::uint8_t* frame = record + header_bytes - 1;
  *last = *frame != 0;
  *frame = data_frame_number();
  bin->file_bytes -= rec_charge(record);
  --bin->file_count;
  return record;
}

// Reads the run at the file's position into the list of the bin it belongs to.
void read_run_ahead(Sublist* bin, const SublistArray* array) {
  read_header(bin, array);
  bool last = false;
  while (!last && bin->file_count != 0) {
    std::uint8_t* record = read_record(bin, array, &last);
    record_set_next(record, bin->head);
    bin->head = record;
    bin->mem_bytes += rec_charge(record);
    ++bin->mem_count;
  }
}

// Reads ahead what follows directly on the file, bin by bin.
void read_ahead(SublistState& s) {
  SublistArray* array = s.reading_array;
  for (std::uint32_t i = s.reading_bin; i > s.preload_boundary + 1u; --i) {
    Sublist* bin = array->bins() + (i - 1);
    if (bin->run_pos != array->file->pos) continue;
    // Set before memory is taken: from now on records that were read must stay where they are.
    s.preload_done = 1;
    read_run_ahead(bin, array);
  }
}

// Bytes from the newest run of the bin being read on that lie in one piece and will be read: its own run and
// the newest runs of the following bins as far as they adjoin.
std::uint64_t extent_to_read(const SublistState& s) {
  const Sublist* bins = s.reading_array->bins();
  const std::uint64_t start = bins[s.reading_bin].run_pos;
  std::uint64_t end = start;
  for (std::uint32_t i = s.reading_bin + 1u; i-- > s.preload_boundary;) {
    if (bins[i].run_pos == end) end += bins[i].run_len;
  }
  return end - start;
}

void sublist_seek(SublistState& s) {
  const std::uint64_t target = s.reading->run_pos;
  if (target == kNoRun) return;
  Stream* file = s.reading_array->file;
  const std::uint64_t extent = extent_to_read(s);
  const std::uint64_t requested = file->next;
  file->left = extent;
  fstdio_fseek(file, static_cast<std::int64_t>(target), 0);
  const bool inside_buffer = file->next == requested && file->left == extent && requested > target;
  if (inside_buffer) file->left = extent > requested - target ? extent - (requested - target) : 0;
}

// The next record of the bin being read from its work file.
std::uint8_t* next_from_file(SublistState& s) {
  Sublist* bin = s.reading;
  SublistArray* array = s.reading_array;
  if (array->file->pos == bin->run_pos) read_header(bin, array);
  bool last = false;
  std::uint8_t* record = read_record(bin, array, &last);
  if (last) {
    read_ahead(s);
    sublist_seek(s);
  }
  return record;
}

}  // namespace

void sublist_input_init(SublistArray* array, std::uint16_t bin) {
  SublistState& s = sublist_st();
  s.reading = array->bins() + bin;
  if (s.reading->run_pos == kNoRun) return;
  s.reading_bin = bin;
  s.reading_array = array;
  work_file_for_input(array);
  sublist_seek(s);
}

std::uint8_t* sublist_input() {
  SublistState& s = sublist_st();
  if (std::uint8_t* record = sublist_take_first(s.reading)) return record;
  return s.reading->file_count != 0 ? next_from_file(s) : nullptr;
}

}  // namespace fsort
