// The way out for many records in a row.
//
// rec_output calls the output function for each record. When that is the file writer, and it has room in its
// current buffer, a record is copied there at once; all else (the first record, a full buffer, a caller's own
// function, the pipe) goes through rec_output.
#pragma once

#include <cstdint>

#include "engine/output_check.h"
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
// sink_put's part for a record that the window has no room for. Raises: those of rec_output
void sink_other_way(RecordSink& sink, const std::uint8_t* record);

// Sends one record out. kChecked: the sink has a check. Always inline: its callers' loops over all records
// are what an output costs. Raises: those of rec_output
template <bool kChecked>
[[gnu::always_inline]] inline void sink_put_if(RecordSink& sink, const std::uint8_t* record) {
  const std::uint32_t length = rec_total_length(record) - sink.header_bytes;
  ++sink.count;
  Stream* const s = sink.window;
  if (s == nullptr || length >= s->cnt) {
    sink_other_way(sink, record);
    return;
  }
  copy_bytes(s->ptr, record + sink.header_bytes, length);
  s->ptr += length;
  s->pos += length;
  s->cnt -= length;
  if constexpr (kChecked) output_check_later(*sink.check, s->ptr, record, 0, 0);
}

// The same where records are few.
inline void sink_put(RecordSink& sink, const std::uint8_t* record) {
  if (sink.check != nullptr) return sink_put_if<true>(sink, record);
  sink_put_if<false>(sink, record);
}

}  // namespace fsort
