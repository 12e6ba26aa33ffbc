// The way out for many records in a row.
//
// rec_output calls the output function for each record. When that is the file writer, and it has room in its
// current buffer, a record is copied there at once; all else (the first record, a full buffer, a caller's own
// function, the pipe) goes through rec_output.
#pragma once

#include <cstdint>

#include "keys/record.h"
#include "stream/stream.h"
#include "support/bytes.h"

namespace fsort {

struct RecordSink {
  Stream* window;  // stream of the open output file, null when records go another way
  std::uint32_t header_bytes;
  std::uint32_t count;  // records that SortState::records_written does not have yet
  OutputCheck* check;   // null when the output is not checked
};

// The stream that records may be put into now, null when they go another way.
[[nodiscard]] Stream* sink_window();
[[nodiscard]] RecordSink sink_begin();
// Counts the records sent; called now and then.
void sink_count(RecordSink& sink);
// Called when the last record was sent, before its memory may go.
void sink_end(RecordSink& sink);
// sink_put's part for outputs that are checked: the record was put into the window, or is to go another way.
void sink_check(const RecordSink& sink, const std::uint8_t* record, bool put);

// Sends one record out. Raises: those of rec_output
inline void sink_put(RecordSink& sink, const std::uint8_t* record) {
  const std::uint32_t length = rec_total_length(record) - sink.header_bytes;
  ++sink.count;
  Stream* const s = sink.window;
  if (s == nullptr || length >= s->cnt) {
    if (sink.check != nullptr) sink_check(sink, record, false);
    sink_count(sink);
    rec_output(record);
    sink.window = sink_window();  // opened by the first record
    return;
  }
  copy_bytes(s->ptr, record + sink.header_bytes, length);
  s->ptr += length;
  s->pos += length;
  s->cnt -= length;
  if (sink.check != nullptr) sink_check(sink, record, true);
}

}  // namespace fsort
