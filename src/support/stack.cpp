// Stacks of segments; see stack.h for the model.
//
// Where segments come from. A segment is carved from a region, a large block of the platform:
//
//     region: | header | ..pad | link | segment 0 ............ | pad | link | segment 1 ............ | ...
//             ^ 64-aligned      56     64                                    ^ 64 + stride
//
// stride = segment size + 8 rounded up to 64, so every segment starts on a cache line and has its link right
// in front. The first region is small (a tiny sort touches little), each further one twice as large up to
// 64 MiB, and none larger than the segments the budget still allows: a plan of 3 segments maps 3. When the
// platform refuses a size, halves are tried down to a single segment; only then there is no memory.
//
// Going back. Released segments go to the spare slot, then to the pool, and are taken from there first. A
// stack that is freed gives its segments back for good; a region cannot be given back in part, so all regions
// go together when the last live segment has been given back. The data and sublist stacks are freed by the
// driver's windup, the pool and the spare by stk_windup, in either order.
//
// Accounting, held at every return: live_segments = segments of all stacks + pool + spare, and the segments
// ever carved never exceed 1 (the first spare) + budget + calls of stk_newseg.
#include "support/stack.h"

#include "platform/os.h"
#include "support/error.h"
#include "support/exit.h"
#include "support/support_access.h"

namespace fsort {

// Header of a region, in front of its first segment.
struct Region {
  Region* older;
  std::size_t bytes;
};

namespace {

constexpr std::uint64_t kCacheLine = 64;
constexpr std::uint64_t kFirstRegionBytes = std::uint64_t{512} << 10;
constexpr std::uint64_t kMaxRegionBytes = std::uint64_t{64} << 20;
constexpr std::uint8_t kLinks = 1;  // of a header and of a segment

static_assert(sizeof(Region) + kLinkBytes <= kCacheLine, "header and first link share the first line");

Element element(Stack* stack) { return reinterpret_cast<Element>(stack); }

std::uint64_t stride_of(std::uint64_t segment_size) {
  return (segment_size + kLinkBytes + kCacheLine - 1) / kCacheLine * kCacheLine;
}

std::size_t bytes_of(std::uint64_t count, std::uint64_t stride) { return kCacheLine + count * stride; }

// Maps one more region of at most `most` segments (at least 1). False when not even one can be had.
bool region_add(StackState& st, std::uint64_t most) {
  const std::uint64_t stride = stride_of(st.segment_size);
  const std::uint64_t wanted = st.region_bytes != 0 ? st.region_bytes : kFirstRegionBytes;
  std::uint64_t count = (wanted - kCacheLine) / stride;
  // A region that the budget does not limit keeps its round size, so that huge pages fill it.
  std::size_t bytes = wanted;
  if (count == 0 || count > most) {
    count = count == 0 ? 1 : most;
    bytes = bytes_of(count, stride);
  }
  void* block = os->region_alloc(bytes);
  while (block == nullptr && count > 1) {
    count /= 2;
    bytes = bytes_of(count, stride);
    block = os->region_alloc(bytes);
  }
  if (block == nullptr) return false;
  FSORT_ASSERT(reinterpret_cast<std::uintptr_t>(block) % kCacheLine == 0);
  auto* region = static_cast<Region*>(block);
  region->older = st.regions;
  region->bytes = bytes;
  st.regions = region;
  st.carve_next = static_cast<std::uint8_t*>(block) + kCacheLine;
  st.carve_left = count;
  st.region_bytes = wanted < kMaxRegionBytes ? wanted * 2 : kMaxRegionBytes;
  return true;
}

// A segment from the system; null when there is no memory. `most`: segments worth mapping, this one included.
Element carve(StackState& st, std::uint64_t most) {
  if (st.carve_left == 0 && !region_add(st, most != 0 ? most : 1)) return nullptr;
  Element segment = st.carve_next;
  st.carve_next += stride_of(st.segment_size);
  st.carve_left -= 1;
  st.live_segments += 1;
  return segment;
}

// Frees every region once no segment of them is in use.
void regions_free_if_unused(StackState& st) {
  if (st.live_segments != 0) return;
  while (st.regions != nullptr) {
    Region* const region = st.regions;
    st.regions = region->older;
    os->region_free(region, region->bytes);
  }
  st.carve_next = nullptr;
  st.carve_left = 0;
  st.region_bytes = 0;
}

void stack_give_back(StackState& st, Stack* stack) {
  while (stack->top.segments != 0) {
    stack->top.segments -= 1;
    (void)delink(element(stack), 0);
    st.live_segments -= 1;
  }
  free_elem(element(stack), kLinks);
}

// Gives the pool and the spare back. May run at any time and any number of times.
void give_back_spares(StackState& st) {
  if (st.pool != nullptr) {
    stack_give_back(st, st.pool);
    st.pool = nullptr;
  }
  if (st.spare != nullptr) {
    st.spare = nullptr;
    st.live_segments -= 1;
  }
  regions_free_if_unused(st);
}

std::uint64_t segments_to_be_had(const StackState& st) {
  return st.pool->top.segments + static_cast<std::uint64_t>(st.allowed);
}

}  // namespace

std::int64_t stk_init(std::uint32_t size, std::int64_t budget) {
  StackState& st = stack_st();
  give_back_spares(st);
  // What an earlier start left uncarved has the earlier size.
  if (size != st.segment_size) st.carve_left = 0;
  st.segment_size = size;
  st.pool = stk_alloc();
  if (st.pool == nullptr) return 0;
  st.spare = carve(st, static_cast<std::uint64_t>(budget < 0 ? 0 : budget) + 1);
  // Nothing stays behind a raise: the windup that would give it back is not registered yet.
  if (st.spare == nullptr) {
    give_back_spares(st);
    ErrorReturn(kErrorCode, "Failed to allocate any memory");
  }
  st.allowed = budget;
  if (ExitRegister(stk_windup) != 0) {
    give_back_spares(st);
    ErrorReturn(kErrorCode, "Couldn't register stack windup");
  }
  return static_cast<std::int64_t>(segments_to_be_had(st));
}

void stk_windup(Instance* instance) { give_back_spares(instance->stack); }

Stack* stk_alloc() {
  Element made = mkelem(sizeof(Stack), kLinks);
  if (made == nullptr) return nullptr;
  const std::uint32_t segment_size = stack_st().segment_size;
  link_set(made, 0, nullptr);
  auto* stack = reinterpret_cast<Stack*>(made);
  *stack = Stack{StackSave{0, 0, segment_size, nullptr}, 0, segment_size};
  return stack;
}

void stk_free(Stack* stack) {
  StackState& st = stack_st();
  stack_give_back(st, stack);
  regions_free_if_unused(st);
}

std::uint8_t* detail::stk_space_extended(Stack* stack, std::uint64_t size) {
  if (size > stack_st().segment_size || !stk_extend(stack)) return nullptr;
  std::uint8_t* const result = stk_end(stack);
  stack->top.free -= size;
  return result;
}

bool stk_push(Stack* stack) {
  const StackSave saved = stack->top;
  std::uint8_t* const copy = stk_space(stack, sizeof saved);
  if (copy == nullptr) return false;
  store_le(copy, saved);
  stack->top.frame = copy;
  stack->frames += 1;
  return true;
}

void stk_pop_release(Stack* stack) {
  FSORT_ASSERT(stack->frames != 0);
  StackState& st = stack_st();
  const auto saved = load_le<StackSave>(stack->top.frame);
  std::uint32_t released = stack->top.segments - saved.segments;
  stack->top = saved;
  stack->frames -= 1;
  for (; released != 0; --released) {
    Element segment = delink(element(stack), 0);
    if (st.spare == nullptr) {
      st.spare = segment;
    } else {
      enlink(element(st.pool), segment, 0);
      st.pool->top.segments += 1;
    }
  }
}

void stk_newseg() {
  StackState& st = stack_st();
  // More are likely to follow, so the region has its full size: what is not touched costs nothing, and
  // regions of one or two segments would have small pages only.
  Element segment = carve(st, ~std::uint64_t{0});
  if (segment == nullptr) {
    segment = st.spare;
    st.spare = nullptr;
  }
  if (segment == nullptr) return;
  // Kept on purpose: the count becomes 1, whatever it was. Segments that were in the pool before can never be
  // reached again, so they no longer count as in use either and do not hold the regions.
  st.live_segments -= st.pool->top.segments;
  enlink(element(st.pool), segment, 0);
  st.pool->top.segments = 1;
  st.pool->top.free = st.segment_size;
  st.allowed += 1;
}

bool stk_extend(Stack* stack) {
  StackState& st = stack_st();
  Element segment;
  if (st.pool->top.segments != 0) {
    segment = delink(element(st.pool), 0);
    st.pool->top.segments -= 1;
  } else {
    if (st.allowed < 1) return false;
    segment = carve(st, static_cast<std::uint64_t>(st.allowed));
    if (segment == nullptr) {
      st.allowed = 0;
      return false;
    }
    st.allowed -= 1;
  }
  enlink(element(stack), segment, 0);
  stack->segment_size = st.segment_size;
  stack->top.free = st.segment_size;
  stack->top.segments += 1;
  return true;
}

std::uint64_t stk_max(const Stack* stack) {
  const StackState& st = stack_st();
  return stk_free_bytes(stack) + segments_to_be_had(st) * st.segment_size;
}

std::uint32_t stk_minframe(const Stack* stack, std::uint64_t size) {
  std::uint32_t kept = stack->frames;
  if (kept < 2) return 0;
  const std::uint64_t segment_size = stack->segment_size;
  const std::uint64_t used = stack->top.segments * segment_size - stack->top.free;
  const std::uint8_t* frame = stack->top.frame;
  for (;;) {
    const auto saved = load_le<StackSave>(frame);
    kept -= 1;
    if (kept == 0) return 0;
    if (used - (saved.segments * segment_size - saved.free) >= size) return kept;
    frame = saved.frame;
  }
}

std::uint64_t stk_unused() { return segments_to_be_had(stack_st()); }

std::uint32_t stk_segment_size() { return stack_st().segment_size; }

}  // namespace fsort
