// A queue of positioned writes that the system carries out while the caller goes on (io_uring).
//
// The system calls are made directly: there is no library to depend on, and three structures shared with the
// kernel are all it takes. Where the kernel refuses the ring (too old, switched off, forbidden in a
// container) ring_open fails and its user writes on the spot instead.
#pragma once

#include <cstdint>

namespace fsort::posix {

// The mapped parts of one ring. A zero-filled record is a closed ring.
struct WriteRing {
  int fd;                  // the ring's descriptor plus one; 0 = closed
  std::uint32_t entries;   // most writes in flight
  std::uint32_t sent;      // writes submitted
  std::uint32_t received;  // completions taken
  void* ring;              // submission and completion queue, one mapping
  std::uint64_t ring_bytes;
  void* slots;  // submission entries
  std::uint64_t slot_bytes;
  std::uint32_t* submit_tail;
  std::uint32_t* submit_index;
  std::uint32_t submit_mask;
  std::uint32_t* complete_head;
  std::uint32_t* complete_tail;
  std::uint32_t complete_mask;
  std::uint8_t* completions;
};

struct RingResult {
  std::uint64_t tag;     // what ring_write was given
  std::int32_t outcome;  // bytes written, or a negative error number
};

// A ring of at least `entries` writes. False (the ring stays closed) when the system has none to give.
bool ring_open(WriteRing* ring, std::uint32_t entries);
// Requires: nothing is in flight. A closed ring is accepted.
void ring_close(WriteRing* ring);
// Submits one write; the data must stay until its result was taken. False when it could not be submitted.
// Requires: fewer writes in flight than entries.
bool ring_write(WriteRing* ring, int fd, const void* data, std::uint32_t count, std::uint64_t offset,
                std::uint64_t tag);
// Waits for the next result, in whatever order writes end. False when the system refuses to wait; nothing may
// then be assumed about the writes in flight. Requires: something is in flight.
bool ring_wait(WriteRing* ring, RingResult* result);
[[nodiscard]] inline std::uint32_t ring_in_flight(const WriteRing* ring) {
  return ring->sent - ring->received;
}

}  // namespace fsort::posix
