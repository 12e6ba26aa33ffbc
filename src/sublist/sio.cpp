// Stream calls on work files that stop the sort on failure; see sio.h.
//
// A write behind shows its failure only when its buffer is taken back, the last ones of a file when its
// buffers are detached. sio_check_written asks then; without it a full disk would only be noticed when the
// runs are read back.
#include "sublist/sio.h"

#include "platform/os.h"
#include "support/osdll.h"

namespace fsort {

namespace {

constexpr char kSpaceExhausted[] = "Space exhausted while writing work file";

[[noreturn]] void open_failed(char mode) {
  switch (mode) {
    case 'r':
      osdll_perror("Couldn't open working file for reading");
    case 'w':
      osdll_perror("Couldn't open working file for writing");
    case 'a':
      osdll_perror("Couldn't open working file for appending");
    default:
      osdll_perror("Programming error found in sio_open");
  }
}

}  // namespace

Stream* sio_open(const char* name, const char* mode) {
  Stream* stream = fstdio_fopen(name, mode);
  if (stream == nullptr) open_failed(mode[0]);
  return stream;
}

Stream* sio_create(const char* name, const char* mode) {
  Stream* stream = fstdio_fopen(name, mode);
  if (stream == nullptr && fs_errno != kErrorFileExists) open_failed(mode[0]);
  return stream;
}

void sio_write(const void* buffer, std::uint64_t size, Stream* stream) {
  if (fstdio_fwrite(buffer, size, 1, stream) == 1) return;
  if ((stream->flags & kStreamError) != 0) osdll_perror(kSpaceExhausted);
  osdll_error("Programming error in sio_write");
}

void sio_read(void* buffer, std::uint64_t size, Stream* stream) {
  if (fstdio_fread(buffer, size, 1, stream) == 1) return;
  if ((stream->flags & kStreamError) != 0) osdll_perror("Error in file read");
  if ((stream->flags & kStreamEof) != 0) osdll_error("Unexpected end of file on sio_read");
  osdll_error("Programming error in sio_read");
}

void sio_close(Stream* stream) {
  if (fstdio_fclose(stream) != 0) osdll_perror("Error attempting to close file:Check disk space");
}

void sio_check_written(Stream* stream) {
  if ((stream->flags & (kStreamError | kStreamEof)) == 0) return;
  const std::uint32_t code = fs_errno;
  static_cast<void>(fstdio_fclose(stream));
  fs_errno = code;
  osdll_perror(kSpaceExhausted);
}

}  // namespace fsort
