// Moving whole buffers: read-ahead, refill, write-behind, take-back, sector adjustment.
//
// Reading. launch sends every idle buffer off for the following stretch of the file; fillbuf then waits for
// the oldest one and makes it current. Example, two buffers of 4 KB on a file of 10 KB:
//
//   fillbuf   launch: A reads 0..4K, B reads 4K..8K; A becomes current        idle A      busy B
//   fillbuf   launch: A reads 8K..10K; B becomes current                      idle B      busy A
//   fillbuf   launch: nothing left; A becomes current                         idle A B    busy -
//   fillbuf   nothing in flight: end of file
//
// Writing. fstdio_fflush sends the current buffer off and goes on with the next idle one; only when there is
// none it waits for the oldest. Failures of a write are therefore seen one or more flushes later, at the
// latest when the buffers are detached.
//
// Invariants: `next` is the offset behind everything requested; a buffer in `busy` is touched by nobody; the
// bytes between `base` and `lim` are those of the current buffer that may be touched.
//
// A read of a disk file that moves less than asked (the file was cut meanwhile, or the transfer broke off)
// takes the younger requests back and continues right behind the last byte that came, so that no stretch is
// skipped. A write that moves less is a full disk.
#include "stream/buffer_lists.h"

#include <algorithm>
#include <cstring>

namespace fsort {

namespace {

bool on_disk(const Stream* s) { return os->get_file_type(s->handle) == kFileTypeDisk; }

std::uint32_t transfer_mode(const Stream* s) {
  return (s->flags & kStreamOverlapped) != 0 ? kModeOverlapped : 0;
}

// Takes the younger requests back and goes on behind byte `moved` of `b`, which is current and stays so.
void resume_behind(Stream* s, IoBuffer* b, std::uint64_t moved) {
  s->idle = buffer_link(b);
  unlaunch(s);
  idle_push(s, b);
  const std::uint64_t end = b->offset + moved;
  const std::uint64_t again = s->next - end;
  s->next = end;
  s->left = s->left > kUnknownLength - again ? kUnknownLength : s->left + again;
}

// Fills the request for the write of the first `n` bytes of `b`; result: the bytes by which `next` advances.
std::uint32_t prepare_write(const Stream* s, IoBuffer* b, std::uint32_t n) {
  b->offset = on_disk(s) ? s->next : 0;
  b->count = n;
  b->skip = 0;
  b->mode = transfer_mode(s);
  b->launch_error = 0;
  b->wanted = n;
  // Whole sectors only; but an end that is not on a border (a file this engine did not write) is continued
  // exactly, for moving back to the border would overwrite the bytes before it.
  if ((s->flags & kStreamUnbuffered) == 0 || b->offset % kSectorBytes != 0) return n;
  const std::uint32_t advance = aio_adjust(b);
  std::memset(b->data + n, 0, advance - n);
  b->wanted = advance;
  return advance;
}

// A terminal or pipe whose latest request has met its end is not asked again before that end is seen: whoever
// types would have to end the input once for every buffer.
bool end_is_ahead(const Stream* s, bool disk) {
  if (disk || s->busy_tail == nullptr) return false;
  const IoBuffer* b = s->busy_tail;
  return b->error != kErrorIoPending && (b->error != 0 || b->count == 0);
}

}  // namespace

std::uint32_t aio_adjust(IoBuffer* b) {
  b->skip = b->offset % kSectorBytes;
  b->offset -= b->skip;
  const auto skip = static_cast<std::uint32_t>(b->skip);
  b->count = (b->count + skip + kSectorBytes - 1) / kSectorBytes * kSectorBytes;
  return b->count - skip;
}

void launch(Stream* s) {
  if (s->idle == nullptr) return;
  const bool disk = on_disk(s);
  const std::uint32_t mode = transfer_mode(s);
  while (s->idle != nullptr && !end_is_ahead(s, disk)) {
    IoBuffer* b = s->idle;
    auto n = static_cast<std::uint32_t>(std::min<std::uint64_t>(s->left, s->bufsize));
    if (n == 0) return;
    b->offset = disk ? s->next : 0;
    b->count = n;
    b->skip = 0;
    b->wanted = n;
    if ((s->flags & kStreamUnbuffered) != 0) {
      n = aio_adjust(b);
      b->wanted += static_cast<std::uint32_t>(b->skip);
    }
    s->next += n;
    s->left -= std::min<std::uint64_t>(s->left, n);
    b->mode = mode;
    b->launch_error = 0;
    aio_read(b);  // cannot fail to be issued: its outcome is seen by `wait`
    idle_to_busy(s);
  }
}

void unlaunch(Stream* s) {
  while (s->busy_head != nullptr) {
    IoBuffer* b = busy_to_idle(s);
    aio_cancel(s->handle, b);
    aio_settle(b);
  }
}

std::uint64_t fillbuf(Stream* s) {
  if ((s->flags & kStreamAttached) == 0) {
    if (defaultbuf(s) == 0) return 0;
    s->flags |= kStreamOwnBuffers | kStreamAttached;
  }
  launch(s);
  if (s->busy_head == nullptr) {
    close_window(s);
    fs_errno = 0;
    s->flags |= kStreamEof;
    return 0;
  }
  IoBuffer* b = busy_to_idle(s);
  const auto moved = static_cast<std::uint64_t>(wait(b));
  if (moved == 0) {
    close_window(s);
    s->flags |= kStreamEof;
    return static_cast<std::uint64_t>(-1);
  }
  if (moved < b->wanted && on_disk(s)) resume_behind(s, b, moved);
  // Kept on purpose: -1, a failed transfer, passes the unsigned test above and is taken as data; the error
  // flag stays clear. The window, empty in that case, keeps every reader inside the buffer.
  s->ptr = b->data + b->skip;
  s->cnt = moved - b->skip;
  if (static_cast<std::int64_t>(s->cnt) > 0) {
    s->base = b->data;
    s->lim = b->data + moved;
    return s->cnt;
  }
  close_window(s);
  // The file ends at or before the byte asked for, within its sector.
  if (static_cast<std::int64_t>(moved) > 0) s->flags |= kStreamEof;
  return s->cnt;
}

std::uint32_t finish_write(Stream* s) { return await_write(s, busy_to_idle(s)); }

std::uint32_t await_write(Stream* s, IoBuffer* b) {
  const std::int64_t moved = wait(b);
  if (moved == 0) {
    s->flags |= kStreamEof;
    return 0;
  }
  if (moved == b->wanted) return 0;
  s->flags |= kStreamError;
  if (moved > 0) fs_errno = kErrorDiskFull;
  return fs_errno;
}

int fstdio_fflush(Stream* s) {
  if ((s->flags & kStreamAttached) == 0 || s->idle == nullptr) return 0;
  if ((s->flags & (kStreamRead | kStreamWrite)) == kStreamRead) return 0;
  clamp_count(s);
  const auto n = static_cast<std::uint32_t>(s->bufsize - std::min<std::uint64_t>(s->cnt, s->bufsize));
  std::uint32_t error = 0;
  if (n != 0) {
    IoBuffer* b = s->idle;
    s->next += prepare_write(s, b, n);
    aio_write(b);  // cannot fail to be issued: its outcome is seen by `wait`
    idle_to_busy(s);
    if (s->idle == nullptr) error = finish_write(s);
  }
  // After a failure too: what the buffer held was issued once and must not be written again.
  start_filling(s);
  return error == 0 ? 0 : -1;
}

}  // namespace fsort
