// Calling out to the caller. See callbacks.h.
//
// All four callouts do the same: take the callback from the record, put the instance in force that the caller
// had when he entered (usually none), call, put the own instance back. The entry lock stays held throughout.
// A caller's functions are kept in the types that the engine has for such functions, and called as what they
// are: the caller sees a record as const void*, and a function may only be called in its own type.
// A callback may have waited on some pipe and let another thread abort this sort meanwhile; that is noticed
// when it returns.
#include "entry/callbacks.h"

#include <cstring>

#include "entry/entry_access.h"
#include "entry/sort_abort.h"
#include "fsort.h"

namespace fsort {

namespace {

// The message buffer takes what fits and cuts the rest.
// Kept on purpose: one byte more than fits is copied either way. For a text that fits it is the terminator;
// for one that is cut it fills the last byte of the buffer, which later texts overwrite with their first
// character. The byte behind the buffer is always 0 and ends it then.
void message_append(EntryState& e, const char* text) {
  const std::uint64_t room = kMessageBytes - 1 - e.msg_len;
  const std::uint64_t length = std::strlen(text);
  const std::uint64_t n = length < room ? length : room;
  std::memcpy(e.msg_buf + e.msg_len, text, n + 1);
  e.msg_len += static_cast<std::uint32_t>(n);
}

}  // namespace

std::int32_t UserDisplay(const char* text) {
  EntryState& e = entry_st();
  if (e.user_display == nullptr) {
    message_append(e, text);
    return 0;
  }
  e.display_text = text;
  _UserDisplay(e.display_text);
  return 0;
}

std::int32_t UserRead(std::uint64_t* length, const std::uint8_t** record) {
  EntryState& e = entry_st();
  e.read_length = length;
  e.read_record = record;
  _UserRead(e.read_length, e.read_record);
  return e.user_status;
}

std::int32_t UserWrite(std::uint64_t length, const std::uint8_t* record) {
  EntryState& e = entry_st();
  e.write_length = length;
  e.write_record = record;
  _UserWrite(e.write_length, e.write_record);
  return e.user_status;
}

void UserYield() {
  EntryState& e = entry_st();
  if (e.user_yield == nullptr) return;
  if (--e.yield_count == 0) _UserYield();
}

void _UserDisplay(const char* text) {
  Instance* own = current_instance;
  const UserDisplayFunction callback = own->entry.user_display;
  current_instance = own->entry.prev_instance;
  callback(text);
  current_instance = own;
  sort_abort_check();
}

void _UserRead(std::uint64_t* length, const std::uint8_t** record) {
  Instance* own = current_instance;
  const auto callback = reinterpret_cast<fsort_read_fn>(own->entry.user_read);
  const void* bytes = nullptr;
  current_instance = own->entry.prev_instance;
  const std::int32_t status = callback(length, &bytes);
  current_instance = own;
  *record = static_cast<const std::uint8_t*>(bytes);
  own->entry.user_status = status;
  sort_abort_check();
}

void _UserWrite(std::uint64_t length, const std::uint8_t* record) {
  Instance* own = current_instance;
  const auto callback = reinterpret_cast<fsort_write_fn>(own->entry.user_write);
  current_instance = own->entry.prev_instance;
  const std::int32_t status = callback(length, record);
  current_instance = own;
  own->entry.user_status = status;
  sort_abort_check();
}

void _UserYield() {
  Instance* own = current_instance;
  const UserYieldFunction callback = own->entry.user_yield;
  current_instance = own->entry.prev_instance;
  const std::uint32_t count = callback();
  current_instance = own;
  own->entry.yield_count = count;
  sort_abort_check();
}

}  // namespace fsort
