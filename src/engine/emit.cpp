// Emission; see emit.h.
//
// A bin without records on file needs no memory and no frame: its records are where they are. A bin with some
// is read back record by record; each lies in a frame of its own that is popped when it is written, unless
// records that were read ahead lie there too.
#include "engine/emit.h"

#include "engine/engine_access.h"
#include "engine/relief.h"
#include "engine/sink.h"
#include "keys/record.h"
#include "recio/rout.h"

namespace fsort {

namespace {

constexpr std::uint64_t kRecordRoom = kRecordOverhead + sizeof(StackSave);

// Makes the bin an empty one at its place.
void reset_bin(Sublist& bin) {
  const Sublist before = bin;
  bin = sublist_empty();
  bin.key = before.key;
  bin.position = before.position;
}

// Room for one record: the other bins may be written out for it, and this one too, but it gets no child.
void make_room_for_one(std::uint16_t bin) {
  SortState& s = sort_st();
  s.protected_level = s.current;
  s.protected_bin = bin;
  free_memory(sublist_longest_written() + kRecordRoom);
  s.protected_level = nullptr;
}

void pop_to(std::uint32_t level) {
  Stack* stack = driver_st().data_stack;
  while (stk_frames(stack) > level) stk_pop_release(stack);
}

void write_all(bool frames) {
  Stack* stack = driver_st().data_stack;
  const std::uint32_t level = stk_frames(stack);
  if (frames) static_cast<void>(stk_push(stack));
  RecordSink sink = sink_begin();
  while (const std::uint8_t* record = sublist_input()) {
    sink_put(sink, record);
    if (!frames) continue;
    sink_end(sink);
    pop_to(level);
    static_cast<void>(stk_push(stack));
  }
  sink_end(sink);
  if (frames) pop_to(level);
}

void write_first() {
  const std::uint8_t* record = sublist_input();
  if (record == nullptr) return;
  RecordSink sink = sink_begin();
  sink_put(sink, record);
  sink_end(sink);
}

}  // namespace

Stream* sink_window() { return driver_st().output == rout_write ? rout_stream() : nullptr; }

RecordSink sink_begin() {
  OutputCheck& check = driver_st().check;
  return RecordSink{sink_window(), sort_st().header_bytes, 0, check.wanted != 0 ? &check : nullptr};
}

void sink_count(RecordSink& sink) {
  sort_st().records_written += sink.count;
  sink.count = 0;
}

void sink_end(RecordSink& sink) {
  sink_count(sink);
  if (sink.check == nullptr) return;
  if (sink.window != nullptr) output_check_waiting(*sink.check, sink.window->ptr);
  output_check_keep(*sink.check);
}

void sink_other_way(RecordSink& sink, const std::uint8_t* record) {
  if (sink.check != nullptr) {
    if (sink.window != nullptr) output_check_waiting(*sink.check, sink.window->ptr);
    output_check_record(*sink.check, record);
  }
  sink_count(sink);
  rec_output(record);
  sink.window = sink_window();  // opened by the first record
}

void output_sublist(SublistArray* array, std::uint16_t bin, bool unique) {
  SortState& s = sort_st();
  const bool on_file = array->bins()[bin].file_count != 0;
  if (on_file) {
    make_room_for_one(bin);
    s.emitting = 1;
  }
  const bool frames = on_file && s.preload_in_force == 0;
  const std::uint32_t level = stk_frames(driver_st().data_stack);
  sublist_input_init(array, bin);
  if (unique) {
    if (frames) static_cast<void>(stk_push(driver_st().data_stack));
    write_first();
    if (frames) pop_to(level);
    reset_bin(array->bins()[bin]);
  } else {
    write_all(frames);
  }
  s.emitting = 0;
}

}  // namespace fsort
