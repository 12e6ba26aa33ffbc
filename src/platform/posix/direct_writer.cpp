// The direct writer; see direct_writer.h.
//
//      file   | written | in flight | in flight | current block ........ |
//                                                 used            ^ end
//
// Blocks are used in turn: before one is filled again the write it carried must have ended. With a ring
// (write_ring.h) writes end in any order; without, each is made on the spot and has ended when it returns.
//
// O_DIRECT is a flag of the open file, set when the writer is made and cleared when it is finished. Device
// and file system want offsets, lengths and addresses on block borders: the rest behind the last whole block
// of kAlignment bytes goes through the cache at the end. A direct write that moves less than asked (a disk
// that fills up) or is refused for its alignment is completed through the cache, which then tells the reason.
#include "platform/posix/direct_writer.h"

#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "platform/posix/posix_internal.h"
#include "platform/posix/write_ring.h"

namespace fsort::posix {

namespace {

constexpr std::uint32_t kAlignment = 4096;
constexpr std::uint32_t kBlockBytes = 1u << 20;
constexpr std::uint32_t kBlocks = 4;
// A writer looks at the time it has waited for the device once in so many bytes, and retires when that is
// more than this for each of them: below about 250 MB a second the cache is faster for the one who writes.
constexpr std::uint64_t kJudgedBytes = 32u << 20;
constexpr std::int64_t kMostWaitPerByte = 4;  // nanoseconds

}  // namespace

struct DirectWriter {
  int fd;
  int error;        // of the first write that failed; 0 = none
  bool error_told;  // direct_put has said so
  bool retired;
  std::uint64_t end;              // offset behind everything taken
  std::uint32_t current;          // block being filled
  std::uint32_t used;             // bytes in it
  std::uint32_t sizes[kBlocks];   // bytes of the write a block carries; 0 = none
  std::uint64_t places[kBlocks];  // and its offset
  std::uint64_t judged;           // bytes sent since the last look at `waited`
  std::int64_t waited;            // nanoseconds since then
  std::uint8_t* blocks;
  WriteRing ring;
};

namespace {

constexpr std::size_t kMemoryBytes = std::size_t{kBlocks} * kBlockBytes;

std::int64_t now_ns() {
  timespec now{0, 0};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * 1000000000 + now.tv_nsec;
}

bool set_direct(int fd, bool on) {
  const int flags = fcntl(fd, F_GETFL);
  if (flags < 0) return false;
  return fcntl(fd, F_SETFL, on ? flags | O_DIRECT : flags & ~O_DIRECT) == 0;
}

void note_error(DirectWriter* w, int error) {
  if (w->error == 0) w->error = error;
}

// Writes on the spot through the cache.
void write_cached(DirectWriter* w, const std::uint8_t* data, std::uint32_t count, std::uint64_t offset) {
  if (count == 0) return;
  set_direct(w->fd, false);
  if (write_at(w->fd, data, count, offset) < 0) note_error(w, errno);
}

// Takes note of how the write of a block ended; bytes that did not get through go through the cache.
void settle(DirectWriter* w, std::uint32_t block, std::int64_t outcome) {
  const std::uint32_t count = w->sizes[block];
  w->sizes[block] = 0;
  if (outcome == count) return;
  const bool partly = outcome >= 0 || outcome == -EINVAL || outcome == -EAGAIN || outcome == -EINTR;
  if (!partly) {
    note_error(w, static_cast<int>(-outcome));
    return;
  }
  const auto done = static_cast<std::uint32_t>(std::max<std::int64_t>(outcome, 0));
  w->retired = true;
  write_cached(w, w->blocks + std::size_t{block} * kBlockBytes + done, count - done, w->places[block] + done);
}

// Waits until one write in flight has ended.
void wait_for_one(DirectWriter* w) {
  RingResult result{};
  const std::int64_t start = now_ns();
  if (!ring_wait(&w->ring, &result)) {
    // Cannot happen with a ring that is ours; if it does, the blocks may still be read by the system and are
    // given up rather than reused.
    note_error(w, EIO);
    std::memset(w->sizes, 0, sizeof w->sizes);
    w->blocks = nullptr;
    return;
  }
  w->waited += now_ns() - start;
  settle(w, static_cast<std::uint32_t>(result.tag), result.outcome);
}

void write_now(DirectWriter* w, std::uint32_t block) {
  const std::int64_t start = now_ns();
  const std::uint8_t* data = w->blocks + std::size_t{block} * kBlockBytes;
  ssize_t n = 0;
  do {
    n = pwrite(w->fd, data, w->sizes[block], static_cast<off_t>(w->places[block]));
  } while (n < 0 && errno == EINTR);
  w->waited += now_ns() - start;
  settle(w, block, n >= 0 ? n : -errno);
}

void judge(DirectWriter* w, std::uint32_t count) {
  w->judged += count;
  if (w->judged < kJudgedBytes) return;
  if (w->waited > static_cast<std::int64_t>(w->judged) * kMostWaitPerByte) w->retired = true;
  w->judged = 0;
  w->waited = 0;
}

// Sends the whole sectors of the current block off; `used` bytes of it lie before `end`.
void send_current(DirectWriter* w, std::uint32_t count) {
  const std::uint32_t block = w->current;
  w->sizes[block] = count;
  w->places[block] = w->end - w->used;
  const bool queued =
      w->ring.fd != 0 && ring_write(&w->ring, w->fd, w->blocks + std::size_t{block} * kBlockBytes, count,
                                    w->places[block], block);
  if (!queued) write_now(w, block);
  judge(w, count);
}

// Goes on with the next block, which must be free of its last write.
void next_block(DirectWriter* w) {
  w->current = (w->current + 1) % kBlocks;
  w->used = 0;
  while (w->blocks != nullptr && w->sizes[w->current] != 0) wait_for_one(w);
}

}  // namespace

DirectWriter* direct_open(int fd, std::uint64_t offset) {
  if (offset % kAlignment != 0) return nullptr;
  auto* w = static_cast<DirectWriter*>(std::calloc(1, sizeof(DirectWriter)));
  if (w == nullptr) return nullptr;
  w->blocks = static_cast<std::uint8_t*>(region_alloc(kMemoryBytes));
  if (w->blocks == nullptr || !set_direct(fd, true)) {
    region_free(w->blocks, kMemoryBytes);
    std::free(w);
    return nullptr;
  }
  w->fd = fd;
  w->end = offset;
  static_cast<void>(ring_open(&w->ring, kBlocks));  // without one every write is made on the spot
  return w;
}

bool direct_put(DirectWriter* w, const void* data, std::uint32_t count) {
  const auto* in = static_cast<const std::uint8_t*>(data);
  while (count != 0 && w->error == 0) {
    const std::uint32_t take = std::min(count, kBlockBytes - w->used);
    std::memcpy(w->blocks + std::size_t{w->current} * kBlockBytes + w->used, in, take);
    in += take;
    count -= take;
    w->used += take;
    w->end += take;
    if (w->used != kBlockBytes) break;
    send_current(w, kBlockBytes);
    next_block(w);
  }
  if (w->error == 0) return true;
  w->error_told = true;
  errno = w->error;
  return false;
}

std::uint64_t direct_end(const DirectWriter* w) { return w->end; }

bool direct_retired(const DirectWriter* w) { return w->retired; }

bool direct_finish(DirectWriter* w) {
  while (ring_in_flight(&w->ring) != 0 && w->blocks != nullptr) wait_for_one(w);
  if (w->error == 0 && w->used != 0) {
    write_cached(w, w->blocks + std::size_t{w->current} * kBlockBytes, w->used, w->end - w->used);
  }
  set_direct(w->fd, false);
  ring_close(&w->ring);
  region_free(w->blocks, kMemoryBytes);
  const int error = w->error_told ? 0 : w->error;
  std::free(w);
  if (error == 0) return true;
  errno = error;
  return false;
}

}  // namespace fsort::posix
