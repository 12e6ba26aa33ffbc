// Stacks of fixed-size segments: the memory of records and of distribution levels.
//
// A sort keeps its records on the data stack and its distribution levels on the sublist stack. Both take
// their memory in segments of one size, lazily up to a budget, hand it out upward inside the top segment, and
// release it only by popping frames. Released segments wait in a pool and in one spare slot; none goes back
// to the heap before the stack is freed.
//
//      Stack header ---link 0--> top segment ---link 0--> older segment ---> ... null
//                                [ used ........ | free ]
//
// Frames. stk_push copies the header's first three fields (24 bytes: segments, free, frame) into the stack's
// own memory and points `frame` at the copy. The copy is the state before those 24 bytes were taken, so a pop
// gives them back too. Copies may lie unaligned: records of any size precede them.
//
// Example, segment size 1000: push (frame copy {0, 1000, null} at byte 0 of segment 1), take 600, take 600
// (a second segment). pop -> segments 0, free 1000, frame null; segment 2 becomes the spare, segment 1 goes
// to the pool.
//
// Segments are carved from large regions of the platform (fewer page faults, huge pages) and are 64-byte
// aligned at their first usable byte. Counts are 32-bit and sizes 64-bit: a sort may hold more than 65535
// segments.
//
// The driver makes its stacks before stk_init tells the segment size, so a header learns the size only with
// its first segment (`segment_size` below), and `free` of a stack without segments means nothing: it is the
// size known when the header was made, 0 in the driver's case. stk_space and stk_free_bytes take it as 0.
#pragma once

#include <cstdint>

#include "support/links.h"

namespace fsort {

struct Instance;
struct Region;

// The part of a header that a frame saves; 24 bytes.
struct StackSave {
  std::uint32_t segments;  // segments on this stack
  std::uint32_t padding;
  std::uint64_t free;   // unused bytes at the end of the top segment; meaningless when there is none
  std::uint8_t* frame;  // the copy taken by the latest push, null when none; may be unaligned
};
static_assert(sizeof(StackSave) == 24);

// Stack header; 32 bytes with one link in front that names the top segment.
struct Stack {
  StackSave top;
  std::uint32_t frames;        // frames pushed
  std::uint32_t segment_size;  // copy of the instance's, for the inline functions; valid with a segment
};
static_assert(sizeof(Stack) == 32);

struct StackState {
  std::uint32_t segment_size;   // bytes a segment
  Stack* pool;                  // spares; top.segments counts them
  std::uint8_t* spare;          // one more spare, kept outside the pool
  std::int64_t allowed;         // segments that may still be taken from the heap
  std::uintptr_t stack_limit;   // recursion guard (stkavl.h)
  Region* regions;              // newest region; segments are carved from this one
  std::uint8_t* carve_next;     // address of the next segment in it
  std::uint64_t carve_left;     // segments not yet carved from it
  std::uint64_t region_bytes;   // wanted size of the next region, 0 before the first
  std::uint64_t live_segments;  // carved and not given back; the regions go when it comes down to 0
};

// Sets the segment size (bytes) and the budget (segments), makes the pool and one spare segment, registers
// stk_windup. Gives back first what an earlier start of this instance left in the pool and the spare slot.
// Result: segments available (pool + allowed); 0 when the pool header could not be made.
// Raises: "Failed to allocate any memory", "Couldn't register stack windup"
[[nodiscard]] std::int64_t stk_init(std::uint32_t size, std::int64_t budget);
void stk_windup(Instance* instance);

// A new empty stack; null when out of memory. Owns: the caller, until stk_free.
[[nodiscard]] Stack* stk_alloc();
// Gives every segment and the header back.
void stk_free(Stack* stack);

// The top segment. Requires: the stack has one.
[[nodiscard]] inline std::uint8_t* stk_top(const Stack* stack) {
  return link_get(reinterpret_cast<const std::uint8_t*>(stack), 0);
}
// The next byte that stk_space would hand out. Requires: the stack has a segment.
[[nodiscard]] inline std::uint8_t* stk_end(const Stack* stack) {
  return stk_top(stack) + stack->segment_size - stack->top.free;
}

namespace detail {
[[nodiscard]] std::uint8_t* stk_space_extended(Stack* stack, std::uint64_t size);
}

// `size` bytes of the stack; null (nothing changed) when no segment can be added or `size` exceeds a segment.
// Inline because it is called for every record: it reads the header's own line and nothing of the instance.
[[nodiscard]] inline std::uint8_t* stk_space(Stack* stack, std::uint64_t size) {
  if (size > stack->top.free || stack->top.segments == 0) return detail::stk_space_extended(stack, size);
  std::uint8_t* const result = stk_end(stack);
  stack->top.free -= size;
  return result;
}

// True when a frame was pushed; false (nothing changed) when its 24 bytes could not be had.
[[nodiscard]] bool stk_push(Stack* stack);
// Releases everything above the latest frame. Requires: frames > 0.
void stk_pop_release(Stack* stack);

// Puts one more segment into the pool beyond the budget, for one more chance after an allocation failed; the
// spare when there is no memory, nothing when there is no spare. The budget grows by one segment as well.
// Kept on purpose: sets the pool's count to 1, whatever it was; callers use it only when the pool is empty.
void stk_newseg();

// True when a segment was added on top.
[[nodiscard]] bool stk_extend(Stack* stack);

// Bytes obtainable without releasing anything.
[[nodiscard]] std::uint64_t stk_max(const Stack* stack);
// Frames to keep so that at least `size` bytes are released above them; 0 with fewer than two frames.
// Kept on purpose: the lowest frame is never the answer, 0 stands for it.
[[nodiscard]] std::uint32_t stk_minframe(const Stack* stack, std::uint64_t size);
// Bytes used since the latest frame, the frame's own 24 included.
// Kept on purpose: computed from `free` even where the stack had no segment, so a stack made after stk_init
// counts one segment more for a frame pushed while it was empty. The driver's stacks are made before.
[[nodiscard]] inline std::uint64_t stk_frame_size(const Stack* stack) {
  const StackSave& now = stack->top;
  const std::uint64_t segment_size = stack->segment_size;
  if (now.frame == nullptr) return now.segments * segment_size - now.free;
  const auto saved = load_le<StackSave>(now.frame);
  return (now.segments - saved.segments) * segment_size + saved.free - now.free;
}
// Segments that may still be had: pool + allowed.
[[nodiscard]] std::uint64_t stk_unused();

[[nodiscard]] std::uint32_t stk_segment_size();
[[nodiscard]] inline std::uint32_t stk_frames(const Stack* stack) { return stack->frames; }
[[nodiscard]] inline std::uint32_t stk_segments(const Stack* stack) { return stack->top.segments; }
// Unused bytes in the top segment; 0 when the stack has none.
[[nodiscard]] inline std::uint64_t stk_free_bytes(const Stack* stack) {
  return stack->top.segments != 0 ? stack->top.free : 0;
}

}  // namespace fsort
