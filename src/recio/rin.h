// Input files: all named files as one byte source, one stream at a time, with one pair of buffers.
#pragma once

#include <cstdint>

#include "recio/record_description.h"
#include "stream/stream.h"

namespace fsort {

inline constexpr std::uint16_t kMaxInputFiles = 16;
inline constexpr std::uint16_t kDefaultBufferKb = 60;
inline constexpr std::uint16_t kMaxBufferKb = 1024;

struct RinState {
  Stream* input;                           // current input, null when none
  Stream* first;                           // the first file while the others are counted, else null
  const char* file_names[kMaxInputFiles];  // reversed: the current file is the last one still listed
  std::uint16_t files_left;                // files after the current one
  std::uint16_t ibs;                       // buffer size in KB
  std::uint8_t total_known;                // every input has a length
  std::uint64_t total_bytes;               // the sum of them; valid when total_known
  char* name_store;
  BufferChain input_buffers;  // held while no stream has them
};

// Takes "<name", -in and -ibs; leaves -bs in place. Sets input_size and input_named. Registers rin_windup.
// Raises: "Too many input file names", "Couldn't get memory for file name list", "File open failed on
// <name>:\n...", "error getting length of input file(2)", "Couldn't allocate memory for input file buffer",
// "Couldn't register input windup"
void rin_init(RecordDescription* description, std::int32_t argc, const char** argv);
// Gives back buffers, streams and names. Raises: "Error attempting to close input file"
void rin_windup(Instance* instance);
// The same without raising; false when a file could not be closed.
bool rin_release();

// Bytes readable now, moving to the next file when the current one is exhausted; 0 at the end of the last.
[[nodiscard]] std::uint64_t rin_cnt();
// Reads n bytes; n, or 0 when no file is left. A file that ends first is dropped and the n bytes are read
// from the next one's start. Raises: those of next_file
std::uint64_t rin_read(std::uint64_t n, void* target);
// 1, or 0 when no file is left. Raises: "Error reading input file(1)", "Programming error in rin_read",
// "Error attempting to close input file", "File open failed on <name>:\n..."
int next_file();
// The current input for readers that take records in place; null when none.
[[nodiscard]] Stream* rin_stream();
[[nodiscard]] std::uint16_t rin_files_left();
// Names, current stream and buffer of the input, to look at.
[[nodiscard]] const RinState& rin_state();
// From now on there is one buffer: nothing is read before it is asked for. Requires: nothing was read yet.
// Raises: "Couldn't allocate memory for input file buffer"
void rin_read_singly();
// Name of the current input.
[[nodiscard]] const char* rin_name();

}  // namespace fsort
