// The link of a record in memory: the next record of its list and a prefetch hint, packed in one word.
//
// A bin's list is a chain through memory that no cache holds; following it costs one miss per record. The
// hint removes the wait: while a bin is filled, every record notes where the record pushed sixteen earlier
// lies, and a reader of the list asks for that line now and finds it there sixteen records later.
//
//     bit 63       49      48      47                                             0
//        | hint (15) | straddles | address of the next record, 0 = end of list    |
//
// The hint is a signed number of 64-byte lines: the link of the record sixteen further down the list lies
// that many lines below this record's own (0: unknown). A distance beyond 1 MiB is stored as 0. A wrong hint
// costs a useless prefetch, nothing else. `straddles` says that what a reader looks at there reaches into the
// next line: to ask for that one always would fetch most lines twice. User addresses of both systems fit in
// 47 bits.
#pragma once

#include <cstdint>

#include "support/bytes.h"

namespace fsort {

inline constexpr unsigned kRecordLinkBytes = 8;
inline constexpr unsigned kHintShift = 48;
inline constexpr unsigned kHintDistanceShift = kHintShift + 1;
inline constexpr unsigned kHintLineShift = 6;
inline constexpr unsigned kHintAhead = 16;  // how many records further down the list the hint points
inline constexpr std::int64_t kHintMaxLines = 0x3FFF;
inline constexpr unsigned kHintLineBytes = 1U << kHintLineShift;
// Bytes from the link on that a reader of the list looks at, about, where it is not known better.
inline constexpr std::uint32_t kHintReach = 36;
inline constexpr std::uint64_t kRecordAddressMask = (std::uint64_t{1} << kHintShift) - 1;

[[nodiscard]] inline std::uint64_t record_link_word(const std::uint8_t* record) {
  return load_le<std::uint64_t>(record - kRecordLinkBytes);
}

// The next record of the list, null at its end.
[[nodiscard]] inline std::uint8_t* record_next(const std::uint8_t* record) {
  return reinterpret_cast<std::uint8_t*>(record_link_word(record) & kRecordAddressMask);
}

// Links `record` in front of `next` without a hint.
inline void record_set_next(std::uint8_t* record, const std::uint8_t* next) {
  store_le(record - kRecordLinkBytes, reinterpret_cast<std::uint64_t>(next));
}

// The 64-byte line in which a record's link lies; the header and the first key bytes are there or in the
// next.
[[nodiscard]] inline std::uint64_t record_line(const std::uint8_t* record) {
  return (reinterpret_cast<std::uint64_t>(record) - kRecordLinkBytes) >> kHintLineShift;
}

// Links `record` in front of `next`; `ahead` is the record kHintAhead pushes earlier, or null. reach: bytes
// from the link on that a reader will look at there.
inline void record_set_next_hinted(std::uint8_t* record, const std::uint8_t* next, const std::uint8_t* ahead,
                                   std::uint32_t reach = kHintReach) {
  const auto lines = static_cast<std::int64_t>(record_line(record) - record_line(ahead));
  const bool near = lines <= kHintMaxLines && lines >= -kHintMaxLines && ahead != nullptr;
  const std::uint64_t in_line = (reinterpret_cast<std::uint64_t>(ahead) - kRecordLinkBytes) % kHintLineBytes;
  const std::uint64_t straddles = in_line + reach > kHintLineBytes ? 1 : 0;
  const std::uint64_t hint =
      near ? static_cast<std::uint64_t>(lines) << kHintDistanceShift | straddles << kHintShift : 0;
  store_le(record - kRecordLinkBytes, reinterpret_cast<std::uint64_t>(next) | hint);
}

// Always inline: a function that does nothing but ask for memory counts as one without effect, and gcc 12
// drops calls of it. Asks the processor for the record that `word`, the link word of the record at `record`,
// hints at.
[[gnu::always_inline]] inline void record_prefetch_ahead(const std::uint8_t* record, std::uint64_t word) {
  const auto lines = static_cast<std::int64_t>(word) >> kHintDistanceShift;  // arithmetic: keeps the sign
  const std::uint64_t line = record_line(record) - static_cast<std::uint64_t>(lines);
  const char* address = reinterpret_cast<const char*>(line << kHintLineShift);
  __builtin_prefetch(address);
  __builtin_prefetch(address + (word >> kHintShift & 1) * kHintLineBytes);
}

}  // namespace fsort
