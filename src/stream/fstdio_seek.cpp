// Positioning a stream.
//
// A target inside the current buffer moves the cursor; no data moves and nothing is read. Any other target
// takes all reads in flight back and starts read-ahead there; the new data arrives with the next refill.
#include "stream/buffer_lists.h"

namespace fsort {

namespace {

// True when byte `target` lies between the start of the current buffer's data and its unread end.
bool in_window(const Stream* s, std::uint64_t target) {
  if (s->cnt == 0) return false;
  if (target >= s->pos) return target - s->pos < s->cnt;
  return s->pos - target <= static_cast<std::uint64_t>(s->ptr - s->base);
}

}  // namespace

void fstdio_fseek(Stream* s, std::int64_t offset, int origin) {
  clamp_count(s);
  const auto distance_or_target = static_cast<std::uint64_t>(offset);
  const std::uint64_t target = origin == 1 ? s->pos + distance_or_target : distance_or_target;
  if (in_window(s, target)) {
    const std::uint64_t distance = target - s->pos;
    s->ptr += static_cast<std::int64_t>(distance);
    s->pos = target;
    // Kept on purpose: the low half of the distance as an unsigned number, so that moving back leaves the
    // count wrapped around; the next operation brings it back inside the buffer.
    s->cnt -= static_cast<std::uint32_t>(distance);
    return;
  }
  if ((s->flags & kStreamWrite) != 0) {
    static_cast<void>(fstdio_fflush(s));  // a failure shows in the flags; the position does not move
    return;
  }
  s->next = target;
  s->flags &= ~kStreamEof;
  unlaunch(s);
  launch(s);
  s->pos = target;
  s->cnt = 0;
  close_window(s);
}

}  // namespace fsort
