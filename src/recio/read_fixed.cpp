// Fixed-length records: every max_record bytes are one.
//
// A record is handed out in place when the current buffer holds more than it; the record that ends exactly
// at the buffer's end, or straddles it, is read into the record buffer.
//
// Kept on purpose: bytes at the end of a file that do not make a whole record are dropped without a message,
// at every change of file as well as at the end (the next record then starts with the next file).
#include "recio/in_place.h"
#include "recio/readers.h"
#include "recio/recio_access.h"
#include "recio/rin.h"
#include "support/error.h"

namespace fsort {
namespace {

// Leaves `found` empty at the end of the input.
int read_fixed_across(RecordFound& found) {
  const ReadState& st = read_st();
  const std::uint64_t size = st.max_record;
  const std::uint64_t n = rin_cnt();
  if (n == 0) return 0;
  if (n > size) {
    found = {size, in_place_take(rin_st().input, size)};
  } else if (rin_read(size, st.record_buffer) == size) {
    found = {size, st.record_buffer};
  }
  return 0;
}

}  // namespace

std::int32_t read_fixed(std::uint64_t* length, const std::uint8_t** record) {
  Stream* const s = rin_st().input;
  const std::uint64_t size = read_st().max_record;
  if (in_place_bytes(s) > size) {
    *record = in_place_take(s, size);
    *length = size;
    return 0;
  }
  RecordFound found{0, nullptr};
  const int status =
      trap_run(kTrapLevel, "Error detected reading fixed length record", read_fixed_across, found);
  *length = found.length;
  *record = found.record;
  return status;
}

}  // namespace fsort
