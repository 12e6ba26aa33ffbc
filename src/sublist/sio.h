// Stream calls on work files that stop the sort on failure.
#pragma once

#include <cstdint>

#include "recio/in_place.h"
#include "stream/stream.h"
#include "support/bytes.h"

namespace fsort {

// Opens a work file. Raises, each with the system's text: "Couldn't open working file for reading" (mode
// r...), "Couldn't open working file for writing" (w...), "Couldn't open working file for appending" (a...);
// "Programming error found in sio_open" for any other mode
[[nodiscard]] Stream* sio_open(const char* name, const char* mode);
// Creates a work file that does not exist yet; null when the name is taken. Raises: as sio_open for writing
[[nodiscard]] Stream* sio_create(const char* name, const char* mode);
// Writes one item. Raises: "Space exhausted while writing work file:\n...", "Programming error in sio_write"
void sio_write(const void* buffer, std::uint64_t size, Stream* stream);
// The same for the many small items of a run: into the stream's current buffer where that has room for more.
inline void sio_put(const std::uint8_t* item, std::uint32_t size, Stream* stream) {
  if (size >= stream->cnt) {
    sio_write(item, size, stream);
    return;
  }
  copy_bytes(stream->ptr, item, size);
  stream->ptr += size;
  stream->pos += size;
  stream->cnt -= size;
}
// Reads one item. Raises: "Error in file read:\n...", "Unexpected end of file on sio_read",
// "Programming error in sio_read"
void sio_read(void* buffer, std::uint64_t size, Stream* stream);
// The same for the many small items of a run: out of the stream's current buffer when it lies there whole.
inline void sio_get(std::uint8_t* item, std::uint32_t size, Stream* stream) {
  if (in_place_bytes(stream) >= size) {
    copy_bytes(item, in_place_take(stream, size), size);
  } else {
    sio_read(item, size, stream);
  }
}
// Closes. Raises: "Error attempting to close file:Check disk space:\n..."
void sio_close(Stream* stream);
// The writes behind a stream whose buffers were taken back have all ended. Raises (the stream is then
// closed): "Space exhausted while writing work file:\n..."
void sio_check_written(Stream* stream);

}  // namespace fsort
