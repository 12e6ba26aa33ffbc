// The two lists of a stream's buffers, through the link word in front of each buffer.
//
// `idle` is a stack: the current buffer is its top. `busy` is a queue, oldest first. A buffer is on exactly
// one of the two while it is attached. Private to this folder.
#pragma once

#include "stream/stream.h"
#include "support/links.h"

namespace fsort {

inline Element element_of(IoBuffer* b) { return reinterpret_cast<Element>(b); }

inline IoBuffer* buffer_link(IoBuffer* b) { return load_le<IoBuffer*>(element_of(b) - kLinkBytes); }

inline void set_buffer_link(IoBuffer* b, IoBuffer* target) { store_le(element_of(b) - kLinkBytes, target); }

inline void idle_push(Stream* s, IoBuffer* b) {
  set_buffer_link(b, s->idle);
  s->idle = b;
}

// Moves the first idle buffer to the end of `busy`. Requires: there is one.
inline void idle_to_busy(Stream* s) {
  IoBuffer* b = s->idle;
  s->idle = buffer_link(b);
  set_buffer_link(b, nullptr);
  if (s->busy_head == nullptr) {
    s->busy_head = b;
  } else {
    set_buffer_link(s->busy_tail, b);
  }
  s->busy_tail = b;
}

// Moves the oldest busy buffer to the top of `idle` and returns it. Requires: there is one.
inline IoBuffer* busy_to_idle(Stream* s) {
  IoBuffer* b = s->busy_head;
  s->busy_head = buffer_link(b);
  if (s->busy_head == nullptr) s->busy_tail = nullptr;
  idle_push(s, b);
  return b;
}

// Nothing of the current buffer may be read any more (writing: nothing may be stored in it).
inline void close_window(Stream* s) {
  s->base = s->ptr;
  s->lim = s->ptr;
}

// Lowers `cnt` to what the current buffer really holds: after a failed refill and after a backward seek it is
// larger than that. Every operation that uses `cnt` calls this first.
inline void clamp_count(Stream* s) {
  const auto room = static_cast<std::uint64_t>(s->lim - s->ptr);
  if (s->cnt > room) s->cnt = room;
}

// Empties the current buffer of a writing stream: the next byte goes to its start.
inline void start_filling(Stream* s) {
  s->ptr = s->idle->data;
  s->cnt = s->bufsize;
  s->base = s->ptr;
  s->lim = s->ptr + s->bufsize;
}

// Waits for a write in flight. Moved nothing: end-of-file flag, result 0; failed or cut short: error flag,
// result the code, also in fs_errno. Requires: `b` was issued as a write of `s`.
std::uint32_t await_write(Stream* s, IoBuffer* b);
// Takes the oldest write in flight back and waits for it, likewise. Requires: one is in flight.
std::uint32_t finish_write(Stream* s);

}  // namespace fsort
