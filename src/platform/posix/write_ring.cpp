// The queue of writes; see write_ring.h.
//
// The kernel and the program share two rings in memory. The program writes an entry, stores its index in the
// submission ring and moves the tail behind it; the kernel puts results into the completion ring and moves
// that tail. Heads and tails count on without end and are masked where they index.
#include "platform/posix/write_ring.h"

#include <linux/io_uring.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace fsort::posix {

namespace {

int enter(const WriteRing* ring, std::uint32_t submit, std::uint32_t wait_for) {
  const std::uint32_t flags = wait_for != 0 ? IORING_ENTER_GETEVENTS : 0;
  long result = 0;
  do {
    result = syscall(SYS_io_uring_enter, ring->fd - 1, submit, wait_for, flags, nullptr, 0);
  } while (result < 0 && errno == EINTR);
  return static_cast<int>(result);
}

std::uint32_t* word_at(void* base, std::uint32_t offset) {
  return reinterpret_cast<std::uint32_t*>(static_cast<std::uint8_t*>(base) + offset);
}

// Maps what the kernel has set up; false when it does not offer both queues in one mapping.
bool map_ring(WriteRing* ring, const io_uring_params& p) {
  if ((p.features & IORING_FEAT_SINGLE_MMAP) == 0) return false;
  constexpr int kAccess = PROT_READ | PROT_WRITE;
  const std::uint64_t submission = p.sq_off.array + p.sq_entries * sizeof(std::uint32_t);
  const std::uint64_t completion = p.cq_off.cqes + p.cq_entries * sizeof(io_uring_cqe);
  ring->ring_bytes = std::max(submission, completion);
  ring->slot_bytes = p.sq_entries * sizeof(io_uring_sqe);
  const int fd = ring->fd - 1;
  void* shared = mmap(nullptr, ring->ring_bytes, kAccess, MAP_SHARED | MAP_POPULATE, fd, IORING_OFF_SQ_RING);
  if (shared == MAP_FAILED) return false;
  ring->ring = shared;
  void* slots = mmap(nullptr, ring->slot_bytes, kAccess, MAP_SHARED | MAP_POPULATE, fd, IORING_OFF_SQES);
  if (slots == MAP_FAILED) return false;
  ring->slots = slots;
  ring->entries = p.sq_entries;
  ring->submit_tail = word_at(shared, p.sq_off.tail);
  ring->submit_index = word_at(shared, p.sq_off.array);
  ring->submit_mask = *word_at(shared, p.sq_off.ring_mask);
  ring->complete_head = word_at(shared, p.cq_off.head);
  ring->complete_tail = word_at(shared, p.cq_off.tail);
  ring->complete_mask = *word_at(shared, p.cq_off.ring_mask);
  ring->completions = static_cast<std::uint8_t*>(shared) + p.cq_off.cqes;
  return true;
}

}  // namespace

bool ring_open(WriteRing* ring, std::uint32_t entries) {
  *ring = WriteRing{};
  io_uring_params p;
  std::memset(&p, 0, sizeof p);
  const long fd = syscall(SYS_io_uring_setup, entries, &p);
  if (fd < 0) return false;
  ring->fd = static_cast<int>(fd) + 1;
  if (map_ring(ring, p)) return true;
  ring_close(ring);
  return false;
}

void ring_close(WriteRing* ring) {
  if (ring->fd == 0) return;
  if (ring->slots != nullptr) munmap(ring->slots, ring->slot_bytes);
  if (ring->ring != nullptr) munmap(ring->ring, ring->ring_bytes);
  close(ring->fd - 1);
  *ring = WriteRing{};
}

bool ring_write(WriteRing* ring, int fd, const void* data, std::uint32_t count, std::uint64_t offset,
                std::uint64_t tag) {
  const std::uint32_t tail = *ring->submit_tail;
  const std::uint32_t index = tail & ring->submit_mask;
  io_uring_sqe* slot = static_cast<io_uring_sqe*>(ring->slots) + index;
  std::memset(slot, 0, sizeof *slot);
  slot->opcode = IORING_OP_WRITE;
  slot->fd = fd;
  slot->addr = reinterpret_cast<std::uint64_t>(data);
  slot->len = count;
  slot->off = offset;
  slot->user_data = tag;
  ring->submit_index[index] = index;
  __atomic_store_n(ring->submit_tail, tail + 1, __ATOMIC_RELEASE);
  if (enter(ring, 1, 0) != 1) {
    // Not taken: the entry is withdrawn.
    __atomic_store_n(ring->submit_tail, tail, __ATOMIC_RELEASE);
    return false;
  }
  ++ring->sent;
  return true;
}

bool ring_wait(WriteRing* ring, RingResult* result) {
  const std::uint32_t head = *ring->complete_head;
  while (__atomic_load_n(ring->complete_tail, __ATOMIC_ACQUIRE) == head) {
    if (enter(ring, 0, 1) < 0) return false;
  }
  io_uring_cqe entry;
  const std::size_t at = (head & ring->complete_mask) * sizeof entry;
  std::memcpy(&entry, ring->completions + at, sizeof entry);
  *result = RingResult{entry.user_data, entry.res};
  __atomic_store_n(ring->complete_head, head + 1, __ATOMIC_RELEASE);
  ++ring->received;
  return true;
}

}  // namespace fsort::posix
