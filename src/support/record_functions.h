// The two shapes of every source and sink of records.
#pragma once

#include <cstdint>

namespace fsort {

// Stores the next record's length and address; length 0 = end of input. Result: 0 on success.
using ReadFunction = std::int32_t (*)(std::uint64_t* length, const std::uint8_t** record);

// Takes a record. Result: 0 on success. The file writer takes a length of 0 as the end of output.
using WriteFunction = std::int32_t (*)(std::uint64_t length, const std::uint8_t* record);

}  // namespace fsort
