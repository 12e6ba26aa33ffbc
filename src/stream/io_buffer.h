// One transfer request and the operations that carry it out: the lowest layer of file access.
//
// Operations have POSIX-like names but are written against the Windows-shaped seam (platform/os.h). Every
// transfer of the buffered streams (stream.h) goes through aio_read or aio_write on one IoBuffer; whether it
// is issued as an overlapped request or as a plain positioned transfer is decided by its `mode`.
//
// Errors. No operation raises. `fs_errno` holds the Windows code of the last failure, for callers that read
// it right after the call.
#pragma once

#include <cstdint>

#include "platform/os.h"

namespace fsort {

// Mode of a request, and open flags given to nt_open.
inline constexpr std::uint32_t kModeOverlapped = 0x4000;
inline constexpr std::uint32_t kOpenAccessMask = 3;  // 0 read, 1 write, 2 read and write, 3 write
inline constexpr std::uint32_t kOpenRead = 0;
inline constexpr std::uint32_t kOpenWrite = 1;
inline constexpr std::uint32_t kOpenUpdate = 2;
inline constexpr std::uint32_t kOpenAppend = 9;          // write access; bit 8 has no effect
inline constexpr std::uint32_t kOpenModeLetterR = 0x10;  // no effect
inline constexpr std::uint32_t kOpenRandom = 0x1000;
inline constexpr std::uint32_t kOpenTemporary = 0x2000;
inline constexpr std::uint32_t kOpenOverlapped = 0x4000;
inline constexpr std::uint32_t kOpenUnbuffered = 0x8000;

inline constexpr std::uint32_t kSectorBytes = 512;

// A transfer request; the buffer's data area follows it in the same block, on a 512-byte boundary.
struct IoBuffer {
  Overlapped overlapped;
  std::uint64_t offset;        // file offset at which the transfer starts
  std::uint8_t* data;          // first byte of the data area
  Handle handle;               // copied from the stream at attach
  std::uint32_t count;         // in: bytes to transfer; out: bytes transferred. Idle: the data size
  std::uint32_t error;         // 0, 997 while in progress, or the failure's code
  std::uint32_t mode;          // kModeOverlapped or 0
  std::uint32_t launch_error;  // fs_errno when the request could not be issued, else 0; 38 = end of file
  std::uint64_t skip;          // bytes at the start of the data area before the position asked for
  std::uint32_t wanted;        // bytes that must move; fewer means the transfer was cut short
};
// A buffer's data starts on the first sector boundary at least this many bytes behind the start of its block.
inline constexpr std::uint32_t kRequestBytes = 88;
static_assert(sizeof(IoBuffer) <= kRequestBytes);

// The last failure's Windows code of the stream layer. Process-wide; the entry lock keeps its use single.
extern constinit std::uint32_t fs_errno;

// True when the system has overlapped and unbuffered I/O (the NT family).
[[nodiscard]] bool nt_init();

// Opens `name` with open flags as above; `disposition` is kCreateNew, kCreateAlways or kOpenExisting. Reading
// shares with other readers, every write access is exclusive. Result: the handle, or kInvalidHandle with
// fs_errno set.
[[nodiscard]] Handle nt_open(const char* name, std::uint32_t flags, std::uint32_t disposition);
// Flushes and closes; result: 0, or -1 when the close failed.
int nt_close(Handle handle);

// Moves the file pointer; origin 0 begin, 1 current, 2 end. Result: the new position. When the low half of
// the result is 0xFFFFFFFF, fs_errno is set to the system's code (0 when the position is really that).
std::int64_t lseek(Handle handle, std::int64_t offset, std::uint32_t origin);
// The same for callers that must know. Result: 0, or the code where that is impossible (1 for pipes),
// whatever the position is; fs_errno stays as it was.
std::uint32_t lseek_to(Handle handle, std::int64_t offset, std::uint32_t origin, std::int64_t* position);

// Issues the request; result: always 0, the outcome is in `error`.
int aio_read(IoBuffer* buf);
int aio_write(IoBuffer* buf);
// Waits for the first request of the list (the other arguments are not used); result: 0. End of file, broken
// pipe and more data end with `error` 0; every other outcome leaves its code in `error` and in fs_errno.
int aio_suspend(IoBuffer* const* list, int n, const void* time_limit);
// Does nothing and returns 1.
int aio_cancel(Handle handle, IoBuffer* buf);
// Waits until an overlapped request still in progress has ended; its outcome is dropped. Nothing else may
// touch a buffer's memory before that.
void aio_settle(IoBuffer* buf);

// The completion rule: bytes transferred (0 = end of data), or -1 with fs_errno set. Requires: `buf` was
// issued.
std::int64_t wait(IoBuffer* buf);

}  // namespace fsort
