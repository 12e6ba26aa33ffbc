// The record readers: text lines, fixed-length and variable-length records.
//
// A record that lies wholly inside the stream's current buffer is handed out in place; only one that
// straddles a buffer or file border is assembled in the record buffer. Records keep their bytes exactly,
// terminator included.
//
// Kept on purpose: a last text line without a line break is not delivered; a line may continue from one file
// into the next; a short fixed record at the end of a file is dropped silently.
//
// Each reader runs under a trap of its own on the slow path; the path that hands out a record in place cannot
// raise and sets none.
#pragma once

#include <cstdint>

#include "recio/input_watch.h"
#include "recio/record_description.h"

namespace fsort {

inline constexpr std::uint64_t kDefaultMaxRecord = 511;
inline constexpr std::uint64_t kTextRecordLength = 10;  // planning estimates
inline constexpr std::uint64_t kVariableRecordLength = 12;

struct ReadState {
  std::uint8_t* record_buffer;  // assembly buffer
  std::uint64_t buffer_bytes;   // its size; grown when a line's last piece needs it
  std::uint64_t max_record;
  std::uint16_t length_low;  // positions of the length field's bytes
  std::uint16_t length_high;
  std::uint32_t length_width;  // 1 or 2
  std::uint64_t header_length;
  const InputWatch* watch;  // null: nobody wants to know; stays through read_init
};

// Takes -rt, -rv, -rf; sets the description's reader and record length; registers read_windup.
// Raises: the option messages (see docs/RECORDS.md), "Couldn't allocate memory for a record buffer",
// "Couldn't register function read_windup"
void read_init(RecordDescription* description, std::int32_t argc, const char** argv);
void read_windup(Instance* instance);
// Frees the record buffer, as the windup does.
void read_release();

// Limits of the record type, to look at.
[[nodiscard]] const ReadState& read_state();
// Tells the watch, if there is one, of a tail that ends where the current input does.
void report_tail(TailKind kind, std::uint64_t bytes);

// Read functions: 0 with length and address (valid until the next call), 0 with length 0 and null at the end,
// or 1 (length 0, null) after an error, which has been displayed.
std::int32_t read_text(std::uint64_t* length, const std::uint8_t** record);
std::int32_t read_fixed(std::uint64_t* length, const std::uint8_t** record);
std::int32_t read_variable(std::uint64_t* length, const std::uint8_t** record);

}  // namespace fsort
