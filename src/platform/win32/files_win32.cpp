// Files of a Windows system behind os.h: the system's own functions, one call each, and what the engine may
// rely on beyond them.
//
//   - Positioning of a pipe, a terminal or another device fails. The system lets some of them succeed with a
//     meaningless position, from which the engine would take a pipe for an empty file.
//   - A transfer in order moves all of its bytes when it writes, as the engine takes fewer for a full disk; a
//     terminal takes and gives only so many bytes in one call, which would fail altogether with more.
//   - Writing to a pipe that nobody reads fails with 232 always. The system may also say 109, which in a read
//     means the end of the data; a write that ended so would look like one that went well.
//
// Overlapped requests are the system's own: in progress while the engine goes on, finished by
// get_overlapped_result, their events auto-reset.
#include <windows.h>

#include <algorithm>

#include "platform/win32/win32_internal.h"

namespace fsort::win32 {

namespace {

// The engine's records have the system's layout, so that they can be handed through.
static_assert(sizeof(Overlapped) == sizeof(OVERLAPPED));
static_assert(offsetof(Overlapped, offset_low) == offsetof(OVERLAPPED, Offset));
static_assert(offsetof(Overlapped, event) == offsetof(OVERLAPPED, hEvent));
static_assert(sizeof(std::uint32_t) == sizeof(DWORD));

constexpr std::uint32_t kRemoteFile = 0x8000;      // flag in the result of GetFileType
constexpr std::uint32_t kDeviceBytes = 16u << 10;  // a console took no more than this for a long time
constexpr std::uint32_t kSeekFailed = 0xFFFFFFFF;

OVERLAPPED* system_record(Overlapped* overlapped) { return reinterpret_cast<OVERLAPPED*>(overlapped); }

DWORD* system_count(std::uint32_t* count) { return reinterpret_cast<DWORD*>(count); }

// The part of a transfer that goes into one call.
std::uint32_t one_call(Handle file, std::uint32_t count) {
  if (count <= kDeviceBytes || get_file_type(file) != kFileTypeChar) return count;
  return kDeviceBytes;
}

// A write that found nobody at the other end must not end in the code that reads take for the end of data.
bool write_failed() {
  if (GetLastError() == kErrorBrokenPipe) SetLastError(kErrorNoData);
  return false;
}

}  // namespace

Handle create_file(const char* name, std::uint32_t access, std::uint32_t share, void* security,
                   std::uint32_t disposition, std::uint32_t attributes, Handle template_file) {
  auto* descriptor = static_cast<SECURITY_ATTRIBUTES*>(security);
  if (is_narrow_name(name)) {
    return CreateFileA(name, access, share, descriptor, disposition, attributes, template_file);
  }
  WideName wide;
  if (!wide_name(name, &wide)) return kInvalidHandle;
  return CreateFileW(wide.text, access, share, descriptor, disposition, attributes, template_file);
}

bool read_file(Handle file, void* data, std::uint32_t count, std::uint32_t* done, Overlapped* overlapped) {
  if (overlapped != nullptr) {
    return ReadFile(file, data, count, system_count(done), system_record(overlapped)) != 0;
  }
  return ReadFile(file, data, one_call(file, count), system_count(done), nullptr) != 0;
}

bool write_file(Handle file, const void* data, std::uint32_t count, std::uint32_t* done,
                Overlapped* overlapped) {
  if (overlapped != nullptr) {
    return WriteFile(file, data, count, system_count(done), system_record(overlapped)) != 0 || write_failed();
  }
  const std::uint32_t most = one_call(file, count);
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  std::uint32_t sum = 0;
  *done = 0;
  do {
    DWORD moved = 0;
    if (WriteFile(file, bytes + sum, std::min(count - sum, most), &moved, nullptr) == 0)
      return write_failed();
    if (moved == 0 && sum < count) {
      SetLastError(get_file_type(file) == kFileTypeDisk ? kErrorDiskFull : kErrorNoData);
      return false;
    }
    sum += moved;
  } while (sum < count);
  *done = sum;
  return true;
}

bool get_overlapped_result(Handle file, Overlapped* overlapped, std::uint32_t* done, bool wait) {
  return GetOverlappedResult(file, system_record(overlapped), system_count(done), wait ? TRUE : FALSE) != 0;
}

Handle create_event(void* security, bool manual_reset, bool initial_state, const char* name) {
  return CreateEventA(static_cast<SECURITY_ATTRIBUTES*>(security), manual_reset ? TRUE : FALSE,
                      initial_state ? TRUE : FALSE, name);
}

bool close_handle(Handle handle) { return CloseHandle(handle) != 0; }

std::uint32_t set_file_pointer(Handle file, std::int32_t low, std::int32_t* high, std::uint32_t origin) {
  // A move from the start is what precedes each transfer, pipes included, where its outcome counts for
  // nothing; the others ask for a position.
  if (origin != kSeekBegin && get_file_type(file) != kFileTypeDisk) {
    if (GetLastError() == 0) SetLastError(ERROR_SEEK_ON_DEVICE);
    return kSeekFailed;
  }
  LONG new_high = *high;
  SetLastError(0);
  const DWORD new_low = SetFilePointer(file, low, &new_high, origin);
  if (new_low == kSeekFailed && GetLastError() != 0) return kSeekFailed;
  SetLastError(0);
  *high = new_high;
  return new_low;
}

bool set_end_of_file(Handle file) { return SetEndOfFile(file) != 0; }

bool flush_file_buffers(Handle file) { return FlushFileBuffers(file) != 0; }

std::uint32_t get_file_type(Handle file) {
  SetLastError(0);
  return GetFileType(file) & ~kRemoteFile;
}

Handle get_std_handle(std::int32_t which) { return GetStdHandle(static_cast<DWORD>(which)); }

bool delete_file(const char* name) {
  if (is_narrow_name(name)) return DeleteFileA(name) != 0;
  WideName wide;
  return wide_name(name, &wide) && DeleteFileW(wide.text) != 0;
}

}  // namespace fsort::win32
