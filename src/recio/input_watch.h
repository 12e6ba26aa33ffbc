// What a program may ask of the record readers beyond the command line: to be told of bytes that no record is
// made of, and to have the line break that a file's last line lacks.
//
// A file's last line may lack its line break, and a file of fixed records may end within one. What becomes of
// those bytes is fixed (readers.h); here somebody may hear of it, or, for lines, have it otherwise.
#pragma once

#include <cstdint>

namespace fsort {

enum class TailKind : std::uint8_t {
  dropped_line,    // the last line of the input: not delivered
  continued_line,  // the last line of a file before the last one: goes on in the next
  completed_line,  // delivered, with a line break
  short_record,    // too few bytes for a record (or for the header of one): dropped
};

// The end of one input file.
struct InputTail {
  TailKind kind;
  const char* name;        // as the command line has it, with backslashes; "-": standard input
  std::uint64_t position;  // of the tail's first byte in the file
  std::uint64_t bytes;     // of it in this file; 0 when a line that began in an earlier file ends with it
};

struct InputWatch {
  void (*on_tail)(const InputTail& tail);  // called on the sort's thread; must not use the library
  std::uint8_t complete;                   // lines without a line break get one
};

}  // namespace fsort
