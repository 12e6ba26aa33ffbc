// Buffered streams with read-ahead and write-behind.
//
// A stream reads or writes a file through a chain of large buffers, each of which is one transfer request
// (io_buffer.h). Reading runs ahead: whenever data is needed, every idle buffer is sent off to read the
// following stretch and the oldest one is waited for. Writing runs behind: a full buffer is sent off and the
// next one is filled, waiting only when no buffer is idle.
//
//     idle (last in, first out)            busy (first in, first out)
//       [current] -> [b] -> ...              oldest -> ... -> newest
//          ^ being read or filled
//
// Buffers come from fattachbuf (the caller's chain: record input and output move one pair from file to file)
// or from defaultbuf on first use (two of 4 KB, freed at close). `ptr`, `cnt` and `pos` of a reading stream
// are read and moved directly by the record readers: records inside the buffer are handed out in place.
//
// Kept on purpose: a refill whose transfer failed is taken as data with a count computed from -1, and never
// sets the error flag. Behind that, `lim` (one past the last valid byte of the current buffer) makes every
// consumer clamp `cnt` before using it, and a refill result <= 0 means "nothing", so no byte outside the
// buffer is read. Kept on purpose: a backward seek inside the buffer leaves `cnt` wrapped around; the clamp
// repairs it on the next operation. A reader that moves `ptr` and `cnt` itself asks fcnt first.
//
// Nothing here raises. Failures are -1, 0 or null with the code in fs_errno and the flags kStreamError and
// kStreamEof telling which of the two happened.
#pragma once

#include <cstddef>
#include <cstdint>

#include "stream/io_buffer.h"
#include "support/osdll.h"

namespace fsort {

inline constexpr std::uint32_t kStreamOwnBuffers = 0x1;  // made its buffers itself
inline constexpr std::uint32_t kStreamWrite = 0x2;
inline constexpr std::uint32_t kStreamRead = 0x4;
inline constexpr std::uint32_t kStreamError = 0x8;  // sticky
inline constexpr std::uint32_t kStreamEof = 0x10;   // sticky until a seek on a reading stream
inline constexpr std::uint32_t kStreamAttached = 0x20;
inline constexpr std::uint32_t kStreamUnbuffered = 0x40;  // transfers rounded to sectors
inline constexpr std::uint32_t kStreamOverlapped = 0x80;
inline constexpr std::uint32_t kStreamFlushLines = 0x200;

inline constexpr std::uint64_t kUnknownLength = 0x7FFFFFFFFFFFFFFF;

// A chain of buffers: the first one's element address; the others follow through link 0.
using BufferChain = IoBuffer*;

struct Stream {
  std::uint64_t pos;    // logical position of the next byte the user reads or writes
  std::uint64_t left;   // bytes not yet requested by read-ahead
  std::uint64_t next;   // file offset of the next transfer
  IoBuffer* idle;       // first idle buffer, the current one; null when none
  IoBuffer* busy_head;  // oldest in flight, null when none
  IoBuffer* busy_tail;  // newest in flight
  std::uint8_t* ptr;    // cursor into the current buffer
  std::uint64_t cnt;    // reading: unread bytes in the buffer; writing: free bytes in it
  Handle handle;
  std::uint32_t bufsize;  // data size of each attached buffer
  std::uint32_t flags;
  std::uint8_t* base;  // first valid byte of the current buffer; null before the first fill
  std::uint8_t* lim;   // one past its last valid byte (reading) or its end (writing)
};

struct StreamState {
  Stream std_in;
  Stream std_out;
  Stream std_err;
  Handle std_handles[3];
  std::uint8_t overlapped_available;
  char error_text[160];                      // area of ntstrerror
  alignas(16) std::uint8_t std_err_link[8];  // link word of the error stream's one buffer,
  IoBuffer std_err_buffer;                   // which follows at once
  std::uint8_t std_err_data[152];
};

// Fills the standard streams (once an instance).
void finit();
// Closes the standard input and output streams if they still carry their flag.
void fwindup();
[[nodiscard]] Stream* std_input();
[[nodiscard]] Stream* std_output();
[[nodiscard]] Stream* std_error();

// Opens a stream. First letter r, w or a; then any of u (sector-aligned, unbuffered), a (overlapped), r (no
// effect), t (temporary), b (ignored), + (read and write), and x: with w, the file must not exist yet (code
// 80 when it does) and is private to its owner. Result: the stream, or null with fs_errno set. Owns: the
// caller, until fstdio_fclose.
[[nodiscard]] Stream* fstdio_fopen(const char* name, const char* mode);
// Flushes and closes; 0 or -1. When the flush fails the stream stays open and its owner's. A stream on a
// standard handle is not closed: its flags become 0.
int fstdio_fclose(Stream* s);

// Next byte as a signed 8-bit value widened (0xFF is -1, like the end), or -1 at end or error.
int fstdio_fgetc(Stream* s);
// Up to n-1 bytes up to and including a line break, then a NUL. Null when the stream runs dry first (the
// bytes copied so far are left without NUL). Does not advance `pos`.
char* fstdio_fgets(char* buf, int n, Stream* s);
int fstdio_fputc(int c, Stream* s);
int fstdio_fputs(const char* text, Stream* s);
// Text of at most 255 bytes (longer text is cut); result 0.
int fstdio_fprintf(Stream* s, const char* format, ...) FSORT_PRINTF(2, 3);
// Whole items read: `count`, fewer when the stream runs dry, 0 when it was empty and already at end or error.
std::uint64_t fstdio_fread(void* dst, std::uint64_t size, std::uint64_t count, Stream* s);
// `count` on success, else the whole items placed before a flush failed (never `count`).
std::uint64_t fstdio_fwrite(const void* src, std::uint64_t size, std::uint64_t count, Stream* s);
int fstdio_fflush(Stream* s);
// origin 0: from the start, 1: from `pos`. A writing stream is only flushed.
void fstdio_fseek(Stream* s, std::int64_t offset, int origin);

// Cuts or extends the file at `length` (rounded up to sectors for an unbuffered stream); the file pointer
// stays. Result: the length used, or -1.
std::int64_t fseteof(Stream* s, std::uint64_t length);
// End position of a file; kUnknownLength for character devices and where it cannot be found (pipes).
[[nodiscard]] std::uint64_t filelength(Handle handle);
// Bytes readable without waiting, refilling first when there are none; 0 at end or error.
std::uint64_t fcnt(Stream* s);

// A chain of n buffers (one when overlapped I/O is unavailable) of `size` bytes rounded up to sectors; null
// when memory ran out. Owns: the caller, until ffreebuf.
[[nodiscard]] BufferChain fmakebuf(std::uint32_t size, int n);
void ffreebuf(BufferChain chain);
void fattachbuf(Stream* s, BufferChain chain);
// Takes the buffers back (null when none were attached); a writing stream is flushed and waited for, and a
// failure then shows in its flags.
BufferChain fdetachbuf(Stream* s);

// Refill of a reading stream; see the head for its result on failure.
std::uint64_t fillbuf(Stream* s);
// Sector adjustment of a request; result: the bytes by which the stream's `next` advances.
std::uint32_t aio_adjust(IoBuffer* b);
// Sends every idle buffer off to read ahead.
void launch(Stream* s);
// Takes every buffer in flight back to idle, waiting for those the system still writes into.
void unlaunch(Stream* s);
int defaultbuf(Stream* s);

}  // namespace fsort
