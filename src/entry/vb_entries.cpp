// Entries that copy into a buffer of the caller. See vb_entries.h.
#include "entry/vb_entries.h"

#include <cstring>

#include "entry/entry_access.h"
#include "entry/entry_switch.h"
#include "entry/init_command.h"
#include "entry/pipe.h"

using namespace fsort;

namespace {

// Records longer than 2^31 cannot be: the number is the low half of the length.
std::int32_t copy_record(void* buffer, std::uint64_t length, const std::uint8_t* record) {
  const std::uint32_t bytes = static_cast<std::uint32_t>(length);
  if (bytes != 0 && record != nullptr) std::memcpy(buffer, record, bytes);
  return static_cast<std::int32_t>(bytes);
}

}  // namespace

std::int32_t FsortRetrieveVB(fsort_handle handle, void* buffer) {
  EntryFrame frame;
  if (!instance_enter(handle, frame, EntryKind::pipe)) return 0;
  std::uint64_t length = 0;
  const std::uint8_t* record = nullptr;
  pipe_retrieve(&entry_st().pipe, &length, &record);
  const std::int32_t result = copy_record(buffer, length, record);
  instance_leave(frame);
  return result;
}

std::int32_t FsortReadVB(fsort_handle handle, void* buffer) {
  EntryFrame frame;
  if (!instance_enter(handle, frame, EntryKind::plain)) return -1;
  std::uint64_t length = 0;
  const std::uint8_t* record = nullptr;
  const std::int32_t status = file_read != nullptr ? file_read(&length, &record) : 1;
  if (status == 0) {
    entry_frame_drop(frame);  // the frame ends with this function, lock and current instance stay as they are
    return -1;
  }
  const std::int32_t result = copy_record(buffer, length, record);
  instance_leave(frame);
  return result;
}

std::int32_t FsortMessageVB(fsort_handle handle, char* buffer) {
  EntryFrame frame;
  if (!instance_enter(handle, frame, EntryKind::plain)) return 0;
  const char* messages = entry_st().msg_buf;
  const std::uint32_t length = entry_st().msg_len;
  instance_leave(frame);
  std::memcpy(buffer, messages, length);
  buffer[length] = 0;
  return static_cast<std::int32_t>(length);
}
