// Keys in words: what they say, and what they find in a record.
#pragma once

#include <bitset>
#include <string>
#include <vector>

#include "inspection.h"

namespace fsort_tool {

// "the whole record", "bytes 0 to 3 of field 2", "field 2 from its last byte backward"
[[nodiscard]] std::string place_words(const fsort::InspectedSort& sort, const fsort::InspectedKey& key);

// A sequence as it is written behind a key, the bytes of one rank joined by "=": "'a'-'z'='A'-'Z' '0'-'9'".
[[nodiscard]] std::string sequence_words(const fsort::Sequence& sequence);

// "number in field 2, ascending" and the lines that go with it: digits or order, blanks, who turns it around.
[[nodiscard]] std::vector<std::string> key_words(const fsort::InspectedSort& sort, std::size_t key);

// What each of the first `keys` keys finds in a filled record: "ant", ended by ';' or, of a number,
// -35.20: sign -, digits 35, decimals 20
[[nodiscard]] std::vector<std::string> record_words(const Inspection& inspection,
                                                    const fsort::InspectedRecord& record, std::size_t keys);

// What a sign key does to those that it governs, "keys 2 to 4 run the other way"; "" when it governs none.
[[nodiscard]] std::string turned_words(const fsort::InspectedSort& sort, std::size_t key);

// All byte values that carry a mark, as ranges; "" when there is none.
using ByteSet = std::bitset<fsort::kByteValues>;
[[nodiscard]] std::string byte_list(const ByteSet& bytes);

}  // namespace fsort_tool
