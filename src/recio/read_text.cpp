// Text records: lines, each ended by a line break (byte 10), which belongs to the record.
//
// The line break is looked for with memchr over all bytes that the current buffer still holds (the libraries
// of both systems search with vector instructions), and the line is handed out where it lies. One line in a
// buffer's worth straddles its end; only that one is copied together, piece by piece:
//
//     buffer 1  ...|the first pie        record buffer  |the first pie|
//     buffer 2  ce of a line\n|...                      |the first piece of a line\n|
//
// A piece without a line break must fit what is left of `max_record`. The last piece, the one that holds the
// line break, is not held against that limit: the record buffer grows to take it, at most to max_record plus
// one stream buffer. So a line is refused only where a piece of it that fills the buffered data does not fit.
//
// Kept on purpose: carriage returns are ordinary bytes; a line goes on in the next input file when a file
// ends without a line break, because all files are one byte source; a last line without a line break is not
// delivered; a line that lies wholly in the stream's buffer may be longer than max_record.
#include <bit>
#include <cstring>

#include "platform/heap.h"
#include "recio/in_place.h"
#include "recio/readers.h"
#include "recio/recio_access.h"
#include "recio/rin.h"
#include "support/bytes.h"
#include "support/error.h"
#include "support/osdll.h"

namespace fsort {
namespace {

constexpr int kLineBreak = 10;

// Bytes up to and including the first line break among the eight at `data`; 0 when there is none.
std::uint64_t line_in_word(const std::uint8_t* data) {
  constexpr std::uint64_t kOnes = 0x0101010101010101;
  const std::uint64_t other = load_le<std::uint64_t>(data) ^ kOnes * kLineBreak;
  // The lowest bit set marks the first zero byte; higher ones may be carries.
  const std::uint64_t hits = (other - kOnes) & ~other & kOnes << 7;
  return hits == 0 ? 0 : static_cast<std::uint64_t>(std::countr_zero(hits)) / 8 + 1;
}

// Length of the line at the start of `data`, its line break included; 0 when the line break is not there.
std::uint64_t line_length(const std::uint8_t* data, std::uint64_t n) {
  constexpr std::uint64_t kWord = 8;
  // Short lines end before a call of memchr has started.
  if (n >= 2 * kWord) {
    if (const std::uint64_t line = line_in_word(data)) return line;
    if (const std::uint64_t line = line_in_word(data + kWord)) return kWord + line;
  }
  const void* hit = std::memchr(data, kLineBreak, n);
  if (hit == nullptr) return 0;
  return static_cast<std::uint64_t>(static_cast<const std::uint8_t*>(hit) - data) + 1;
}

// Makes room for `needed` bytes in the record buffer and keeps its first `used` ones.
void grow_record_buffer(ReadState& st, std::uint64_t used, std::uint64_t needed) {
  if (needed <= st.buffer_bytes) return;
  auto* grown = static_cast<std::uint8_t*>(heap_alloc(needed));
  if (grown == nullptr) osdll_error("Couldn't allocate memory for a record buffer");
  std::memcpy(grown, st.record_buffer, used);
  heap_free(st.record_buffer);
  st.record_buffer = grown;
  st.buffer_bytes = needed;
}

// True when somebody watches and the current file has ended behind `used` bytes of a line.
bool watched_end(const ReadState& st, std::uint64_t used) {
  if (st.watch == nullptr || used == 0 || fcnt(rin_stream()) != 0) return false;
  return (rin_stream()->flags & (kStreamEof | kStreamError)) == kStreamEof;
}

// Gives a line of `used` bytes, whose last `piece` the current file ends with, the line break that it lacks.
RecordFound complete_line(ReadState& st, std::uint64_t used, std::uint64_t piece) {
  grow_record_buffer(st, used, used + 1);
  st.record_buffer[used] = kLineBreak;
  report_tail(TailKind::completed_line, piece);
  return {used + 1, st.record_buffer};
}

// Puts a line together from as many pieces as it has. Leaves `found` empty at the end of the input.
int read_text_pieces(RecordFound& found) {
  ReadState& st = read_st();
  std::uint64_t used = 0;
  std::uint64_t piece = 0;
  for (;;) {
    if (watched_end(st, used)) {
      if (st.watch->complete != 0) {
        found = complete_line(st, used, piece);
        return 0;
      }
      report_tail(rin_files_left() == 0 ? TailKind::dropped_line : TailKind::continued_line, piece);
      piece = 0;
      if (next_file() == 0) return 0;
      continue;
    }
    const std::uint64_t n = rin_cnt();
    if (n == 0) return 0;
    Stream* const s = rin_st().input;
    const std::uint64_t last = line_length(s->ptr, n);
    if (last != 0 && used == 0) {
      found = {last, in_place_take(s, last)};
      return 0;
    }
    if (last != 0) {
      grow_record_buffer(st, used, used + last);
      std::memcpy(st.record_buffer + used, in_place_take(s, last), last);
      found = {used + last, st.record_buffer};
      return 0;
    }
    if (n > st.max_record - used) osdll_error("Text record too long");
    if (rin_read(n, st.record_buffer + used) != n) return 0;
    used += n;
    piece += n;
  }
}

}  // namespace

std::int32_t read_text(std::uint64_t* length, const std::uint8_t** record) {
  Stream* const s = rin_st().input;
  if (const std::uint64_t n = in_place_bytes(s)) {
    if (const std::uint64_t line = line_length(s->ptr, n)) {
      *record = in_place_take(s, line);
      *length = line;
      return 0;
    }
  }
  RecordFound found{0, nullptr};
  const int status = trap_run(kTrapLevel, "Error detected reading text record", read_text_pieces, found);
  *length = found.length;
  *record = found.record;
  return status;
}

}  // namespace fsort
