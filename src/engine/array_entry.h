// One entry of the array sort: the class values of a record's next key bytes, and where the record is.
//
//   bit 63 of the place   the record is `whole`: its key starts with its data, and the word says everything
//                         that is in it, together with the key bytes in front of it, which all records of
//                         the bin share, and a line break at the end
//   bit 62                the record is the same, byte for byte, as the one in front of it in the output
//   bits 0 to 47          its address; 0: dropped as a duplicate
//
// A record so marked can be written without looking at it again. That is worth two bits: with short lines,
// and with few different ones, the visit to each record's memory is the most expensive part of writing them.
#pragma once

#include <cstdint>

#include "engine/key_word.h"
#include "support/record_links.h"

namespace fsort {

struct ArrayEntry {
  std::uint64_t word;
  std::uint64_t place;
};

inline constexpr std::uint64_t kWholeRecord = std::uint64_t{1} << 63;
inline constexpr std::uint64_t kSameRecord = std::uint64_t{1} << 62;
inline constexpr std::uint8_t kLineBreak = 10;

[[nodiscard]] inline std::uint8_t* entry_record(const ArrayEntry& entry) {
  return reinterpret_cast<std::uint8_t*>(entry.place & kRecordAddressMask);
}

// What is added to the values of a whole record's word to have its bytes.
[[nodiscard]] inline std::uint64_t value_to_byte(const KeyView& view) {
  return kEveryByte * static_cast<std::uint8_t>(view.run_start - view.run_value);
}

// True when records whose next key place is this one may be whole. Only with a single key: the words of
// records that are equal in it are gathered anew for the next one.
[[nodiscard]] inline bool whole_possible(const SortState& s, std::uint32_t key, std::int32_t position) {
  const KeyView& view = s.keys[key];
  return key == 0 && s.key_count == 1 && view.mapping == kMapByRun && view.one_to_one != 0 &&
         view.run_start >= view.run_value && position <= static_cast<std::int32_t>(kWordBytes);
}

// True when the record is whole. Requires: whole_possible, `word` is the key word at `position`
[[nodiscard]] inline bool is_whole(const SortState& s, const std::uint8_t* record, std::int32_t position,
                                   std::uint64_t word) {
  const KeyView& view = s.keys[0];
  const std::uint32_t live = word_live(word, WordShape{8, kWordBytes});
  const std::uint32_t at = s.header_bytes + static_cast<std::uint32_t>(position);
  const std::uint32_t total = rec_total_length(record);
  if (rec_key_offset(record, 0) != s.header_bytes || total != at + live + 1 || live == kWordBytes)
    return false;
  const std::uint64_t bytes = word_front(word + value_to_byte(view), live);
  return record[total - 1] == kLineBreak && word_front(record_word(record, at), live) == bytes;
}

// The entry of a record with this word.
[[nodiscard]] inline ArrayEntry whole_entry(const SortState& s, const std::uint8_t* record,
                                            std::int32_t position, std::uint64_t word, bool whole) {
  auto place = reinterpret_cast<std::uint64_t>(record);
  if (whole && is_whole(s, record, position, word)) place |= kWholeRecord;
  return ArrayEntry{word, place};
}

// The entry of a record whose keys must next be told apart at this place.
[[nodiscard]] inline ArrayEntry entry_of(const SortState& s, const std::uint8_t* record, std::uint32_t key,
                                         std::int32_t position, bool whole) {
  return whole_entry(s, record, position, entry_word(s, record, key, position), whole);
}

}  // namespace fsort
