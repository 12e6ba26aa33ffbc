// Opening and closing streams, and the length of files.
//
// The mode text is a first letter and modifier letters; it turns into stream flags and open flags. Which open
// flags count depends on the first letter: "w" drops all modifiers (so a work file is created by a plain
// sequential handle while its stream still works in sectors), "+" drops all but its own access.
#include <algorithm>

#include "platform/heap.h"
#include "stream/buffer_lists.h"
#include "stream/stream_access.h"

namespace fsort {

namespace {

struct OpenMode {
  std::uint32_t stream_flags;
  std::uint32_t open_flags;
  std::uint32_t disposition;
  bool at_end;
};

// What the letters after the first one ask for.
struct Modifiers {
  std::uint32_t stream_flags;
  std::uint32_t open_flags;
  bool update;
  bool must_be_new;
};

Modifiers read_modifiers(const char* letters) {
  Modifiers m{};
  const bool overlapped = stream_st().overlapped_available != 0;
  for (; *letters != 0; ++letters) {
    switch (*letters) {
      case 'u':
        if (!overlapped) break;
        m.open_flags |= kOpenUnbuffered;
        m.stream_flags |= kStreamUnbuffered;
        break;
      case 'a':
        if (!overlapped) break;
        m.open_flags |= kOpenOverlapped;
        m.stream_flags |= kStreamOverlapped;
        break;
      case 'r':
        m.open_flags |= kOpenModeLetterR;
        break;
      case 't':
        m.open_flags |= kOpenTemporary;
        break;
      case '+':
        m.update = true;
        break;
      case 'x':
        m.must_be_new = true;
        break;
      default:
        break;
    }
  }
  return m;
}

// False when the first letter is none of r, w and a.
bool parse_mode(const char* mode, OpenMode* out) {
  const char first = mode[0];
  if (first != 'r' && first != 'w' && first != 'a') return false;
  const Modifiers m = read_modifiers(mode + 1);
  if (m.update) {
    *out = {m.stream_flags | kStreamRead | kStreamWrite, kOpenUpdate, kOpenExisting, first == 'a'};
  } else if (first == 'w') {
    *out = {m.stream_flags | kStreamWrite, kOpenWrite, m.must_be_new ? kCreateNew : kCreateAlways, false};
  } else if (first == 'r') {
    *out = {m.stream_flags | kStreamRead, m.open_flags | kOpenRead, kOpenExisting, false};
  } else {
    *out = {m.stream_flags | kStreamWrite, m.open_flags | kOpenAppend, kOpenExisting, true};
  }
  return true;
}

bool is_standard(const Stream* s) {
  const StreamState& state = stream_st();
  return s == &state.std_in || s == &state.std_out || s == &state.std_err ||
         std::find(state.std_handles, state.std_handles + 3, s->handle) != state.std_handles + 3;
}

// Where a stream that appends begins: the end of the file, or 0 for what has none. False, with fs_errno set,
// when a disk file does not tell: beginning at 0 would overwrite what it holds.
bool find_append_position(Handle handle, std::uint64_t length, std::uint64_t* position) {
  *position = length;
  if (length != kUnknownLength) return true;
  *position = 0;
  if (os->get_file_type(handle) != kFileTypeDisk) return true;
  std::int64_t end = 0;
  const std::uint32_t code = lseek_to(handle, 0, kSeekEnd, &end);
  *position = static_cast<std::uint64_t>(end);
  if (code != 0) fs_errno = code;
  return code == 0;
}

// Waits for everything in flight and frees the buffers that are the stream's own. Result: -1 when a write
// failed that nobody has been told of yet. The caller's buffers stay on the lists they are on.
int end_transfers(Stream* s) {
  const std::uint32_t lost = (s->flags & kStreamRead) != 0 ? kStreamError : kStreamError | kStreamEof;
  const bool failed_before = (s->flags & lost) != 0;
  if ((s->flags & kStreamOwnBuffers) != 0) {
    ffreebuf(fdetachbuf(s));
  } else {
    for (IoBuffer* b = s->busy_head; b != nullptr; b = buffer_link(b)) {
      if ((s->flags & kStreamRead) != 0) {
        aio_settle(b);
      } else {
        static_cast<void>(await_write(s, b));
      }
    }
  }
  return !failed_before && (s->flags & lost) != 0 ? -1 : 0;
}

}  // namespace

std::uint64_t filelength(Handle handle) {
  if (os->get_file_type(handle) == kFileTypeChar) return kUnknownLength;
  std::int64_t here = 0;
  std::int64_t end = 0;
  if (lseek_to(handle, 0, kSeekCurrent, &here) != 0 || lseek_to(handle, 0, kSeekEnd, &end) != 0) {
    return kUnknownLength;
  }
  lseek_to(handle, here, kSeekBegin, &here);
  return static_cast<std::uint64_t>(end);
}

Stream* fstdio_fopen(const char* name, const char* mode) {
  OpenMode m;
  if (!parse_mode(mode, &m)) {
    fs_errno = kErrorInvalidParameter;
    return nullptr;
  }
  // The record comes first: without memory for it no file may have been cut.
  auto* s = static_cast<Stream*>(heap_alloc(sizeof(Stream)));
  if (s == nullptr) {
    fs_errno = kErrorNotEnoughMemory;
    return nullptr;
  }
  *s = Stream{};
  s->flags = m.stream_flags;
  s->handle = nt_open(name, m.open_flags, m.disposition);
  if (s->handle == kInvalidHandle) {
    heap_free(s);
    return nullptr;
  }
  const std::uint64_t length = filelength(s->handle);
  if (m.at_end && !find_append_position(s->handle, length, &s->pos)) {
    const std::uint32_t code = fs_errno;
    static_cast<void>(nt_close(s->handle));
    heap_free(s);
    fs_errno = code;
    return nullptr;
  }
  s->next = s->pos;
  s->left = length - s->pos;
  return s;
}

int fstdio_fclose(Stream* s) {
  if (s == nullptr || (s->flags & (kStreamRead | kStreamWrite)) == 0) return -1;
  if ((s->flags & kStreamWrite) != 0 && fstdio_fflush(s) != 0) return -1;
  // Nothing may be in flight when the file is cut and its handle goes.
  const int late = end_transfers(s);
  const std::uint32_t code = fs_errno;
  constexpr std::uint32_t kSectorWriter = kStreamWrite | kStreamUnbuffered;
  if ((s->flags & kSectorWriter) == kSectorWriter) fseteof(s, s->pos);
  if (is_standard(s)) {
    s->flags = 0;
    return late;
  }
  const int closed = nt_close(s->handle);
  heap_free(s);
  if (late != 0) fs_errno = code;
  return late != 0 ? late : closed;
}

std::int64_t fseteof(Stream* s, std::uint64_t length) {
  if ((s->flags & kStreamUnbuffered) != 0) {
    length = (length + kSectorBytes - 1) / kSectorBytes * kSectorBytes;
  }
  std::int64_t here = 0;
  std::int64_t there = 0;
  // The cut is made where the pointer stands: it must stand where it was meant to.
  std::uint32_t code = lseek_to(s->handle, 0, kSeekCurrent, &here);
  if (code == 0) code = lseek_to(s->handle, static_cast<std::int64_t>(length), kSeekBegin, &there);
  if (code != 0) {
    fs_errno = code;
    return -1;
  }
  const bool cut = os->set_end_of_file(s->handle);
  code = cut ? 0 : os->get_last_error();
  lseek_to(s->handle, here, kSeekBegin, &here);  // every transfer is positioned anew
  if (cut) return static_cast<std::int64_t>(length);
  fs_errno = code;
  return -1;
}

}  // namespace fsort
