// Records taken straight out of the stream's current buffer.
//
// A reader looks at the unread bytes of the current buffer, finds that its whole record lies there, and moves
// the stream behind it. That path calls nothing that can raise, so it runs without a trap; everything else
// (the next buffer, the next file, a record that straddles a border, every error) is the trapped path.
//
//     base          ptr                           lim
//      | taken ...   | record | record | half a re |
//                    <------------ cnt ------------>
//
// `cnt` may hold a count that reaches beyond `lim` after a failed transfer (see stream.h). Such a count is
// not believed here: the record then goes the trapped way, where fcnt puts the count right.
#pragma once

#include <cstdint>

#include "stream/stream.h"

namespace fsort {

// Unread bytes of the current buffer that a record may be taken from; 0 when there are none to be trusted.
[[nodiscard]] inline std::uint64_t in_place_bytes(const Stream* s) {
  if (s == nullptr) return 0;
  const std::uint64_t cnt = s->cnt;
  return cnt != 0 && cnt <= static_cast<std::uint64_t>(s->lim - s->ptr) ? cnt : 0;
}

// Moves the stream behind `n` bytes of the current buffer; result: the first of them. Valid until the stream
// is used again. Requires: n <= in_place_bytes(s)
inline const std::uint8_t* in_place_take(Stream* s, std::uint64_t n) {
  const std::uint8_t* start = s->ptr;
  s->ptr += n;
  s->pos += n;
  s->cnt -= n;
  return start;
}

// A record on its way out of a trapped body.
struct RecordFound {
  std::uint64_t length;
  const std::uint8_t* record;
};

}  // namespace fsort
