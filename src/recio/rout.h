// Record output: the sorted records, byte for byte, to the named file or to standard output.
//
// The file is opened on the first record, so an existing file stays unchanged when no record comes (kept on
// purpose). A length of 0 ends the output and closes the file; a record that comes after that is appended.
#pragma once

#include <cstdint>

#include "recio/record_description.h"
#include "stream/stream.h"

namespace fsort {

inline constexpr std::uint32_t kOutputNameChars = 129;

struct RoutState {
  Stream* output;  // null until a named file is opened
  char output_name[kOutputNameChars];
  std::uint8_t output_named;
  std::uint8_t output_open;
  std::uint8_t ended;          // the named file was closed: open it again only to append
  std::uint8_t reported;       // a failed write of this output has been shown
  std::uint16_t obs;           // buffer size in KB
  std::uint32_t failure_code;  // system code of that write; valid when reported
  Stream* unclosed;            // stream that failed: not closed with the output but by the windup
  BufferChain output_buffers;  // held while no stream has them
};

// Takes "-out name", ">name", "> name" and -obs; leaves -bs in place. Sets writer and output_named.
// Raises: "No more that one output file may be specified", "-out or > require an argument",
// "<name>:file name too long", "Couldn't allocate output buffer", "Couldn't register io windup"
void rout_init(RecordDescription* description, std::int32_t argc, const char** argv);
// Writes out and closes an open output and gives back buffers and stream. Raises: what rout_write raises at
// the end of output, unless it has been shown before
void rout_windup(Instance* instance);
// The same without raising, after an error that has been shown.
void rout_release();

// Write function; 0, or 1 after an error, which has been displayed under "Error writing record to output".
std::int32_t rout_write(std::uint64_t length, const std::uint8_t* record);
// True while the output is open: it has taken a record and was not ended.
[[nodiscard]] bool rout_is_open();
// Name and buffer of the output, to look at.
[[nodiscard]] const RoutState& rout_state();
// The stream of the open output, null when it is not open. Whoever puts records into its buffer leaves at
// least one byte free, as rout_write does.
[[nodiscard]] Stream* rout_stream();

}  // namespace fsort
