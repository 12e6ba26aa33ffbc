// The three standard streams of an instance.
//
// They start without buffers, but for the error stream: it has one small buffer inside the instance, so that
// a message about missing memory needs none. They are never closed, only marked so.
#include <cstddef>

#include "stream/buffer_lists.h"
#include "stream/stream_access.h"

namespace fsort {

namespace {

static_assert(offsetof(StreamState, std_err_buffer) == offsetof(StreamState, std_err_link) + kLinkBytes,
              "a buffer's link word lies just before it");

Stream standard_stream(Handle handle, std::uint32_t flags) {
  Stream s{};
  s.handle = handle;
  s.flags = flags;
  s.left = filelength(handle);
  return s;
}

}  // namespace

void finit() {
  StreamState& state = stream_st();
  state.overlapped_available = nt_init() ? 1 : 0;
  state.std_handles[0] = os->get_std_handle(kStdInput);
  state.std_handles[1] = os->get_std_handle(kStdOutput);
  state.std_handles[2] = os->get_std_handle(kStdError);
  state.std_in = standard_stream(state.std_handles[0], kStreamRead);
  state.std_out = standard_stream(state.std_handles[1], kStreamWrite);
  state.std_err = standard_stream(state.std_handles[2],
                                  kStreamWrite | kStreamAttached | kStreamOwnBuffers | kStreamFlushLines);

  IoBuffer* b = &state.std_err_buffer;
  *b = IoBuffer{};
  b->data = state.std_err_data;
  b->handle = state.std_err.handle;
  b->count = sizeof state.std_err_data;
  state.std_err.bufsize = b->count;
  idle_push(&state.std_err, b);
  start_filling(&state.std_err);
}

void fwindup() {
  StreamState& state = stream_st();
  if ((state.std_in.flags & kStreamRead) != 0) static_cast<void>(fstdio_fclose(&state.std_in));
  if ((state.std_out.flags & kStreamWrite) != 0) static_cast<void>(fstdio_fclose(&state.std_out));
}

Stream* std_input() { return &stream_st().std_in; }
Stream* std_output() { return &stream_st().std_out; }
Stream* std_error() { return &stream_st().std_err; }

}  // namespace fsort
