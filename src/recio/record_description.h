// What the command line says about the records: filled by rio_init, read by the entries.
#pragma once

#include <cstdint>

#include "support/record_functions.h"

namespace fsort {

struct Instance;

struct RecordDescription {
  std::uint64_t input_size;     // estimated input bytes
  std::uint64_t record_length;  // nominal: 10 text, 12 variable, the size for fixed records
  ReadFunction reader;          // always set
  WriteFunction writer;         // always set
  std::uint8_t input_named;     // at least one input file was named
  std::uint8_t output_named;    // an output file was named
};

}  // namespace fsort
