// The key table and its getters. Rows are only ever appended, in comparison order; the parser corrects the
// count of a governing row once it knows how many rows it governs.
#include "keys/key_table.h"

#include "keys/keys_access.h"
#include "support/osdll.h"

namespace fsort {

void key_create(std::uint16_t start, std::uint16_t length, std::uint8_t direction, Sequence* sequence,
                std::uint16_t field, std::int32_t type, std::uint8_t count, std::uint8_t descending) {
  KeyState& s = key_st();
  if (s.entry_count == kMaxKeys) osdll_error("Too many key fields used");
  s.entries[s.entry_count] = KeyEntry{.field = field,
                                      .start = start,
                                      .length = length,
                                      .direction = direction,
                                      .count = count,
                                      .type = type,
                                      .descending = descending,
                                      .sequence = sequence};
  ++s.entry_count;
}

std::uint16_t key_count() { return key_st().entry_count; }

const KeyEntry& key_entry(std::uint16_t key) {
  const KeyState& s = key_st();
  FSORT_ASSERT(key < s.entry_count);
  return s.entries[key];
}

std::uint16_t key_record_header_bytes() { return key_st().record_header_bytes; }

std::uint16_t key_field_count() { return key_st().field_count; }

}  // namespace fsort
