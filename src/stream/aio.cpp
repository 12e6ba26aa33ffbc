// The lowest layer of file access: open, close, position, transfer one request, wait for it.
//
// A request is issued in one of two ways, by its mode. An overlapped one carries its offset in the system's
// record and may be in progress when the call returns (`error` 997) until aio_suspend or aio_settle has
// waited for it. Any other is positioned and transferred on the spot; the positioning may fail, which is what
// makes pipes and terminals work. On a disk file a failed positioning fails the request: the transfer would
// take other bytes for the right ones, or overwrite them.
//
// `count` is the request's number of bytes going in and the system's count of bytes moved coming out, in the
// same field.
#include "stream/io_buffer.h"

namespace fsort {

constinit std::uint32_t fs_errno = 0;

namespace {

constexpr std::uint32_t kVersionInfoBytes = sizeof(VersionInfo);
constexpr std::uint32_t kSeekFailedLow = 0xFFFFFFFF;

// Share and access by the two low bits of the open flags.
struct AccessMode {
  std::uint32_t access;
  std::uint32_t share;
};

constexpr AccessMode kAccessModes[] = {
    {kGenericRead, kShareRead},
    {kGenericWrite, 0},
    {kGenericRead | kGenericWrite, 0},
    {kGenericWrite, 0},
};

// Says where the transfer is to begin. False when that failed and matters; the request has then failed.
bool place(IoBuffer* buf) {
  if ((buf->mode & kModeOverlapped) != 0) {
    buf->overlapped.offset_low = static_cast<std::uint32_t>(buf->offset);
    buf->overlapped.offset_high = static_cast<std::uint32_t>(buf->offset >> 32);
    return true;
  }
  std::int64_t position = 0;
  const std::uint32_t error =
      lseek_to(buf->handle, static_cast<std::int64_t>(buf->offset), kSeekBegin, &position);
  if (error == 0) return true;
  if (os->get_file_type(buf->handle) != kFileTypeDisk) return true;
  buf->count = 0;
  buf->error = error;
  return false;
}

Overlapped* record_of(IoBuffer* buf) {
  return (buf->mode & kModeOverlapped) != 0 ? &buf->overlapped : nullptr;
}

// One round of waiting for a request in progress; false when it failed, with `error` set.
bool await_result(IoBuffer* buf) {
  if (os->get_overlapped_result(buf->handle, &buf->overlapped, &buf->count, true)) return true;
  buf->error = os->get_last_error();
  return false;
}

}  // namespace

bool nt_init() {
  constexpr std::uint32_t kPlatformWin9x = 1;
  VersionInfo info{};
  info.size = kVersionInfoBytes;
  return os->get_version_ex(&info) && info.platform_id > kPlatformWin9x;
}

Handle nt_open(const char* name, std::uint32_t flags, std::uint32_t disposition) {
  const AccessMode mode = kAccessModes[flags & kOpenAccessMask];
  std::uint32_t attributes = (flags & kOpenRandom) != 0 ? kFlagRandomAccess : kFlagSequentialScan;
  if ((flags & kOpenTemporary) != 0) attributes |= kAttributeTemporary;
  if ((flags & kOpenOverlapped) != 0) attributes |= kFlagOverlapped;
  if ((flags & kOpenUnbuffered) != 0) attributes |= kFlagNoBuffering;
  Handle handle = os->create_file(name, mode.access, mode.share, nullptr, disposition, attributes, nullptr);
  if (handle == kInvalidHandle) fs_errno = os->get_last_error();
  return handle;
}

int nt_close(Handle handle) {
  // A handle that was only read refuses this; the close alone decides.
  static_cast<void>(os->flush_file_buffers(handle));
  if (os->close_handle(handle)) return 0;
  fs_errno = os->get_last_error();
  return -1;
}

std::int64_t lseek(Handle handle, std::int64_t offset, std::uint32_t origin) {
  const auto low = static_cast<std::int32_t>(offset & 0xFFFFFFFF);
  auto high = static_cast<std::int32_t>(offset >> 32);
  const std::uint32_t new_low = os->set_file_pointer(handle, low, &high, origin);
  if (new_low == kSeekFailedLow) fs_errno = os->get_last_error();
  // Kept on purpose: a failure yields the distance's high half with 0xFFFFFFFF, not -1; callers that must
  // know look at the code.
  const std::uint64_t high_half = static_cast<std::uint32_t>(high);
  return static_cast<std::int64_t>(high_half << 32 | new_low);
}

std::uint32_t lseek_to(Handle handle, std::int64_t offset, std::uint32_t origin, std::int64_t* position) {
  const std::uint32_t before = fs_errno;
  fs_errno = 0;
  *position = lseek(handle, offset, origin);
  const std::uint32_t code = fs_errno;
  fs_errno = before;
  return code;
}

int aio_read(IoBuffer* buf) {
  if (!place(buf)) return 0;
  const bool done = os->read_file(buf->handle, buf->data, buf->count, &buf->count, record_of(buf));
  buf->error = done ? 0 : os->get_last_error();
  return 0;
}

int aio_write(IoBuffer* buf) {
  if (!place(buf)) return 0;
  const bool done = os->write_file(buf->handle, buf->data, buf->count, &buf->count, record_of(buf));
  buf->error = done ? 0 : os->get_last_error();
  return 0;
}

int aio_suspend(IoBuffer* const* list, int, const void*) {
  IoBuffer* buf = list[0];
  for (;;) {
    const std::uint32_t error = buf->error;
    if (error == kErrorHandleEof || error == kErrorBrokenPipe || error == kErrorMoreData) break;
    if (error != kErrorIoPending) {
      fs_errno = error;
      return 0;
    }
    if (await_result(buf)) break;
  }
  buf->error = 0;
  return 0;
}

int aio_cancel(Handle, IoBuffer*) { return 1; }

void aio_settle(IoBuffer* buf) {
  if (buf->error == kErrorIoPending && await_result(buf)) buf->error = 0;
}

std::int64_t wait(IoBuffer* buf) {
  if (buf->launch_error == 0) {
    aio_suspend(&buf, 1, nullptr);
    if (buf->error == 0) return buf->count;
    fs_errno = buf->error;
    return -1;
  }
  if (buf->launch_error == kErrorHandleEof) {
    fs_errno = 0;
    return 0;
  }
  fs_errno = buf->launch_error;
  return -1;
}

}  // namespace fsort
