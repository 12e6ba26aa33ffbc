// The key table: every piece of every key, in comparison order.
//
// A numeric key occupies up to three consecutive entries: its sign byte (type kKeySign, a signed digit count
// that lies in the record header), its integer digits and its fraction digits. A sign-governed list (-s) is
// an entry of type kKeyGoverning followed by the entries it governs.
#pragma once

#include <cstdint>

#include "keys/sequence.h"

namespace fsort {

inline constexpr std::uint16_t kMaxKeys = 32;
inline constexpr std::uint16_t kOpenStart = 65535;   // the key starts at the end of its field
inline constexpr std::uint16_t kOpenLength = 65535;  // up to the end of the field
inline constexpr std::uint8_t kForward = 1;          // direction: bytes from left to right
inline constexpr std::uint8_t kBackward = 255;       // -1: from right to left

enum KeyType : std::int32_t {
  kKeyNone = 0,
  kKeyGroup = 1,      // parenthesised group; produces other entries, never stored
  kKeyCharacter = 2,  // -k
  kKeyGoverning = 4,  // -s
  kKeySign = 5,       // sign byte of -n
  kKeyInteger = 6,    // integer digits of -n
  kKeyFraction = 7,   // fraction digits of -n
};

struct KeyEntry {
  std::uint16_t field;      // from 0; field 0 is the whole record when the record is not split
  std::uint16_t start;      // first byte, relative to the field; kOpenStart = at its end
  std::uint16_t length;     // key bytes; kOpenLength = to the end of the field
  std::uint8_t direction;   // kForward or kBackward
  std::uint8_t count;       // entries whose direction this entry's lower half inverts
  std::int32_t type;        // KeyType
  std::uint8_t descending;  // -i
  Sequence* sequence;       // never null in a stored entry
};

struct KeyState {
  KeyEntry entries[kMaxKeys];
  std::uint16_t entry_count;
  std::uint16_t field_count;          // one more than the highest end of a -f range; 0 = not split
  std::uint16_t offset_area_bytes;    // (entry_count + 1) * 2
  std::uint16_t record_header_bytes;  // 1 + numeric keys + offset_area_bytes
};

// Appends one entry. Raises: "Too many key fields used"
void key_create(std::uint16_t start, std::uint16_t length, std::uint8_t direction, Sequence* sequence,
                std::uint16_t field, std::int32_t type, std::uint8_t count, std::uint8_t descending);

// Getters for other folders. Valid from key_init to key_windup.
[[nodiscard]] std::uint16_t key_count();
[[nodiscard]] const KeyEntry& key_entry(std::uint16_t key);
[[nodiscard]] std::uint16_t key_record_header_bytes();
[[nodiscard]] std::uint16_t key_field_count();

}  // namespace fsort
