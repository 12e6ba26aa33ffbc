// Bytes, lines, items and formatted text through a stream.
//
// Every operation brings `cnt` inside the current buffer first (see stream.h for why it may lie outside),
// then copies by memcpy what the buffer has or takes, and moves on to the next buffer by fillbuf or
// fstdio_fflush. A refill whose result is zero or, read as signed, negative brought nothing.
#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "stream/buffer_lists.h"

namespace fsort {

namespace {

constexpr std::size_t kFormatBytes = 256;
constexpr int kLineBreak = 10;

bool at_end(const Stream* s) { return (s->flags & (kStreamEof | kStreamError)) != 0; }

bool refill(Stream* s) { return static_cast<std::int64_t>(fillbuf(s)) > 0; }

// Gives a stream that is written for the first time its own buffers; false when memory ran out.
bool ready_to_write(Stream* s) {
  if ((s->flags & kStreamAttached) == 0) {
    if (defaultbuf(s) == 0) return false;
    s->flags |= kStreamOwnBuffers;
  }
  clamp_count(s);
  return true;
}

}  // namespace

std::uint64_t fcnt(Stream* s) {
  clamp_count(s);
  if (s->cnt != 0) return s->cnt;
  if (at_end(s) || !refill(s)) return 0;
  return s->cnt;
}

int fstdio_fgetc(Stream* s) {
  clamp_count(s);
  if (s->cnt == 0 && (at_end(s) || !refill(s))) return -1;
  --s->cnt;
  ++s->pos;
  // Kept on purpose: signed bytes, so that 0xFF cannot be told from the end.
  return static_cast<std::int8_t>(*s->ptr++);
}

char* fstdio_fgets(char* buf, int n, Stream* s) {
  if (n <= 0) return nullptr;
  char* out = buf;
  auto room = static_cast<std::uint64_t>(n - 1);
  clamp_count(s);
  bool ended = false;
  while (room != 0 && !ended) {
    if (s->cnt == 0 && (at_end(s) || !refill(s))) return nullptr;
    std::uint64_t take = std::min(room, s->cnt);
    const void* line_break = std::memchr(s->ptr, kLineBreak, take);
    ended = line_break != nullptr;
    if (ended) take = static_cast<std::uint64_t>(static_cast<const std::uint8_t*>(line_break) - s->ptr) + 1;
    std::memcpy(out, s->ptr, take);
    out += take;
    room -= take;
    s->ptr += take;  // Kept on purpose: `pos` stays
    s->cnt -= take;
  }
  *out = 0;
  return buf;
}

int fstdio_fputc(int c, Stream* s) {
  if (!ready_to_write(s)) return -1;
  if (s->cnt == 0 && (fstdio_fflush(s) != 0 || s->cnt == 0)) return -1;
  *s->ptr++ = static_cast<std::uint8_t>(c);
  ++s->pos;
  --s->cnt;
  const bool line_end = c == kLineBreak && (s->flags & kStreamFlushLines) != 0;
  if (s->cnt != 0 && !line_end) return c;
  return fstdio_fflush(s) == 0 ? c : -1;
}

int fstdio_fputs(const char* text, Stream* s) {
  if (fstdio_fwrite(text, std::strlen(text), 1, s) != 1) return -1;
  return (s->flags & kStreamFlushLines) != 0 ? fstdio_fflush(s) : 0;
}

int fstdio_fprintf(Stream* s, const char* format, ...) {
  char text[kFormatBytes];
  std::va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  if (length >= 0) fstdio_fputs(text, s);
  return 0;
}

std::uint64_t fstdio_fread(void* dst, std::uint64_t size, std::uint64_t count, Stream* s) {
  auto* out = static_cast<std::uint8_t*>(dst);
  const std::uint64_t total = size * count;
  std::uint64_t missing = total;
  clamp_count(s);
  while (missing != 0) {
    if (s->cnt == 0) {
      // Kept on purpose: 0 here even when items were copied already.
      if (at_end(s)) return 0;
      if (!refill(s)) return (total - missing) / size;
    }
    const std::uint64_t take = std::min(missing, s->cnt);
    std::memcpy(out, s->ptr, take);
    out += take;
    missing -= take;
    s->ptr += take;
    s->cnt -= take;
    s->pos += take;
  }
  return count;
}

std::uint64_t fstdio_fwrite(const void* src, std::uint64_t size, std::uint64_t count, Stream* s) {
  if (!ready_to_write(s)) return 0;
  const auto* in = static_cast<const std::uint8_t*>(src);
  const std::uint64_t total = size * count;
  std::uint64_t missing = total;
  s->pos += total;
  while (missing != 0) {
    const std::uint64_t take = std::min(missing, s->cnt);
    std::memcpy(s->ptr, in, take);
    in += take;
    missing -= take;
    s->ptr += take;
    s->cnt -= take;
    if (s->cnt != 0) break;
    if (fstdio_fflush(s) != 0 || s->cnt == 0) {
      // A failed flush never looks like success, even when it struck behind the last item.
      return std::min((total - missing) / size, count - 1);
    }
  }
  return count;
}

}  // namespace fsort
