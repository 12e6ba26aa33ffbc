// Splits one command string into arguments.
#pragma once

#include <cstdint>

namespace fsort {

// Longest command string that an entry accepts, and what splitting it can need at most.
inline constexpr std::uint32_t kMaxCommandChars = 511;
inline constexpr std::uint32_t kMaxSplitArguments = 257;
inline constexpr std::uint32_t kSplitTextBytes = 768;

// Splits `command` at blanks and tabs outside quotes; leading white space of any kind is skipped. Double
// quotes are dropped, single quotes kept (character constants need them). `*count` is set to the number of
// arguments, argv[i] points into `text`. Nothing is checked: with at most kMaxCommandChars characters, an
// array of kMaxSplitArguments and a text of kSplitTextBytes always suffice.
void cl_parse(std::int32_t* count, const char** argv, const char* command, char* text);

}  // namespace fsort
