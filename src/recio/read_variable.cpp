// Variable-length records: a header that holds a length field, then as many bytes as the field says.
//
//     -rv (field 1-0)      03 00 | a b c      low-order byte first
//     -rv 0-1              00 03 | a b c      high-order byte first
//     -rv 2-3      x x 00 03 | a b c          the header is 4 bytes long; the field counts what follows it
//
// Kept on purpose: the high-order byte of a two-byte field is signed, so a field of 0x8000 or more is a
// negative length. Every negative length is refused as too long. (Added to the header length it could also
// come out as a small total, or as 0, which would read as the end of the input and lose the rest silently.)
//
// Files. A header that a file ends in the middle of is dropped and taken from the next file's start, as every
// read of the input does. A body is not: it must come from the file that its header came from, otherwise the
// header of one file would be joined with the beginning of another, and all that follows would be misread.
// Such a record is reported as short.
#include "recio/in_place.h"
#include "recio/readers.h"
#include "recio/recio_access.h"
#include "recio/rin.h"
#include "support/error.h"
#include "support/osdll.h"

namespace fsort {
namespace {

constexpr std::int64_t kByteValues = 256;

// The length field of a header, negative when its high-order byte says so.
inline std::int64_t field_value(const ReadState& st, const std::uint8_t* header) {
  const std::int64_t low = header[st.length_low];
  if (st.length_width == 1) return low;
  return static_cast<std::int8_t>(header[st.length_high]) * kByteValues + low;
}

// Bytes of the record, or 0 when it is not acceptable.
inline std::uint64_t record_total(const ReadState& st, const std::uint8_t* header) {
  const std::int64_t field = field_value(st, header);
  if (field < 0) return 0;
  const std::uint64_t total = st.header_length + static_cast<std::uint64_t>(field);
  return total <= st.max_record ? total : 0;
}

[[noreturn]] void raise_short() { osdll_error("Short variable length record detected"); }

std::uint64_t checked_total(const ReadState& st, const std::uint8_t* header) {
  const std::uint64_t total = record_total(st, header);
  if (total == 0) osdll_error("Variable length record too long");
  return total;
}

// Reads `n` bytes that must all lie in the current file.
void read_within_file(std::uint64_t n, std::uint8_t* target) {
  if (n == 0) return;
  const RinState& rin = rin_st();
  const std::uint16_t files_left = rin.files_left;
  const std::uint64_t got = rin_read(n, target);
  if (got != n || rin.input == nullptr || rin.files_left != files_left) raise_short();
}

// Leaves `found` empty at the end of the input.
int read_variable_across(RecordFound& found) {
  const ReadState& st = read_st();
  const std::uint64_t header = st.header_length;
  const std::uint64_t n = rin_cnt();
  if (n == 0) return 0;
  if (n < header) {
    if (rin_read(header, st.record_buffer) != header) raise_short();
    const std::uint64_t total = checked_total(st, st.record_buffer);
    read_within_file(total - header, st.record_buffer + header);
    found = {total, st.record_buffer};
    return 0;
  }
  Stream* const s = rin_st().input;
  const std::uint64_t total = checked_total(st, s->ptr);
  if (n >= total) {
    found = {total, in_place_take(s, total)};
    return 0;
  }
  read_within_file(total, st.record_buffer);
  found = {total, st.record_buffer};
  return 0;
}

}  // namespace

std::int32_t read_variable(std::uint64_t* length, const std::uint8_t** record) {
  Stream* const s = rin_st().input;
  const ReadState& st = read_st();
  const std::uint64_t n = in_place_bytes(s);
  if (n != 0 && n >= st.header_length) {
    const std::uint64_t total = record_total(st, s->ptr);
    if (total != 0 && n >= total) {
      *record = in_place_take(s, total);
      *length = total;
      return 0;
    }
  }
  RecordFound found{0, nullptr};
  const int status =
      trap_run(kTrapLevel, "Error detected reading variable record", read_variable_across, found);
  *length = found.length;
  *record = found.record;
  return status;
}

}  // namespace fsort
