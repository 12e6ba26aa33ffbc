// The caller's callbacks: every one runs with the caller's own current instance in force.
#pragma once

#include <cstdint>

namespace fsort {

// Display function of the message layer: the caller's callback, else the message buffer. Result: 0.
std::int32_t UserDisplay(const char* text);
// Read and write functions over the caller's callbacks; result: user_status.
std::int32_t UserRead(std::uint64_t* length, const std::uint8_t** record);
std::int32_t UserWrite(std::uint64_t length, const std::uint8_t* record);
// Counts down and calls the yield callback when the count reaches 0.
// Kept on purpose: a callback that returns 0 is called again only after 4294967295 further points.
void UserYield();

// Calling out: take the pointer from the record, make prev_instance current, call, restore, store the result.
void _UserDisplay(const char* text);
void _UserRead(std::uint64_t* length, const std::uint8_t** record);
void _UserWrite(std::uint64_t length, const std::uint8_t* record);
void _UserYield();

}  // namespace fsort
