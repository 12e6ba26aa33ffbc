// Making, attaching, detaching and freeing chains of buffers.
//
// A buffer is one heap block:
//
//   | link | IoBuffer, up to 88 bytes | slack | data ...... | room for sector rounding |
//          ^ the element's address            ^ on a 512-byte boundary
//
// The data area is the size asked for, rounded up to sectors. Sector rounding can lengthen a transfer by up
// to 511 bytes at each end, so the block has 1,022 bytes of room behind it; with 511 bytes of slack, the
// request and the link word that makes 1,630 bytes on top of the data size.
//
// A chain belongs to whoever made it. While it is attached the stream's lists hold it; detaching gives it
// back as a chain again, with nothing in flight.
#include <cstdint>

#include "platform/heap.h"
#include "stream/buffer_lists.h"
#include "stream/stream_access.h"

namespace fsort {

namespace {

constexpr std::uint32_t kSlackBytes = kSectorBytes - 1;
constexpr std::uint32_t kRoundingBytes = 2 * (kSectorBytes - 1);
constexpr std::uint32_t kBlockExtraBytes = 1630;
static_assert(kBlockExtraBytes >= kLinkBytes + kRequestBytes + kSlackBytes + kRoundingBytes);
static_assert(kLinkBytes % alignof(IoBuffer) == 0, "a block's element is aligned for its request");

constexpr std::uint32_t kDefaultBufferBytes = 4096;
constexpr int kDefaultBufferCount = 2;

std::uint8_t* first_sector(std::uint8_t* p) {
  const std::uintptr_t misfit = reinterpret_cast<std::uintptr_t>(p) % kSectorBytes;
  return misfit == 0 ? p : p + (kSectorBytes - misfit);
}

// One buffer, unlinked; null when memory or events ran out.
IoBuffer* make_buffer(std::uint32_t size) {
  Element element = mkelem(std::size_t{size} + kBlockExtraBytes - kLinkBytes, 1);
  if (element == nullptr) return nullptr;
  auto* b = reinterpret_cast<IoBuffer*>(element);
  *b = IoBuffer{};
  b->overlapped.event = os->create_event(nullptr, false, false, nullptr);
  if (b->overlapped.event == nullptr) {
    free_elem(element, 1);
    return nullptr;
  }
  b->data = first_sector(element + kRequestBytes);
  b->count = size;
  return b;
}

// Waits for every write in flight and notes the failures in the flags. Code of the first one, 0 when none.
std::uint32_t collect_writes(Stream* s) {
  std::uint32_t first_error = 0;
  while (s->busy_head != nullptr) {
    const std::uint32_t error = finish_write(s);
    if (first_error == 0) first_error = error;
  }
  // The system may have taken writes on credit.
  if (os->finish_writes != nullptr && !os->finish_writes(s->handle)) {
    s->flags |= kStreamError;
    if (first_error == 0) first_error = os->get_last_error();
  }
  return first_error;
}

}  // namespace

BufferChain fmakebuf(std::uint32_t size, int n) {
  const std::uint64_t rounded = (std::uint64_t{size} + kSectorBytes - 1) / kSectorBytes * kSectorBytes;
  if (rounded > UINT32_MAX - kBlockExtraBytes) {
    fs_errno = kErrorNotEnoughMemory;
    return nullptr;
  }
  if (stream_st().overlapped_available == 0 && n > 1) n = 1;
  BufferChain chain = nullptr;
  for (; n > 0; --n) {
    IoBuffer* b = make_buffer(static_cast<std::uint32_t>(rounded));
    if (b == nullptr) {
      ffreebuf(chain);
      fs_errno = kErrorNotEnoughMemory;
      return nullptr;
    }
    set_buffer_link(b, chain);
    chain = b;
  }
  return chain;
}

void ffreebuf(BufferChain chain) {
  while (chain != nullptr) {
    IoBuffer* b = chain;
    chain = buffer_link(b);
    aio_settle(b);
    static_cast<void>(os->close_handle(b->overlapped.event));
    free_elem(element_of(b), 1);
  }
}

void fattachbuf(Stream* s, BufferChain chain) {
  if (chain == nullptr) return;
  s->idle = chain;
  s->busy_head = nullptr;
  s->busy_tail = nullptr;
  s->bufsize = chain->count;
  for (IoBuffer* b = chain; b != nullptr; b = buffer_link(b)) b->handle = s->handle;
  s->flags |= kStreamAttached;
  start_filling(s);
  if ((s->flags & kStreamWrite) != 0) return;
  s->cnt = 0;
  close_window(s);
}

BufferChain fdetachbuf(Stream* s) {
  if ((s->flags & kStreamAttached) == 0) return nullptr;
  if ((s->flags & kStreamRead) == 0) {
    // The caller asks for the code of what failed, so a later success must not cover it.
    std::uint32_t code = fs_errno;
    if (fstdio_fflush(s) != 0) code = fs_errno;
    const std::uint32_t late = collect_writes(s);
    fs_errno = late != 0 ? late : code;
  } else {
    unlaunch(s);
  }
  BufferChain chain = s->idle;
  for (IoBuffer* b = chain; b != nullptr; b = buffer_link(b)) b->count = s->bufsize;
  s->flags &= ~kStreamAttached;
  s->idle = nullptr;
  s->ptr = nullptr;
  s->cnt = 0;
  close_window(s);
  return chain;
}

int defaultbuf(Stream* s) {
  BufferChain chain = fmakebuf(kDefaultBufferBytes, kDefaultBufferCount);
  if (chain == nullptr) return 0;
  fattachbuf(s, chain);
  return 1;
}

}  // namespace fsort
