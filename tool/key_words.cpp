// Keys in words; see key_words.h.
//
// Sequences. Each byte of a sequence has a rank, several bytes may share one. The ranks are cut into
// stretches along which every byte steps by one in the same direction, so that a table made of ranges is told
// by ranges:
//
//     -k 'a'-'z' -r 'A'-'Z'     ranks 0 to 25, bytes A a, B b, ...      'A'-'Z'='a'-'z'
//
// A byte that is taken out, a delimiter, leaves a rank without bytes, which ends the stretch.
#include "key_words.h"

#include <algorithm>
#include <array>

#include "visible.h"

namespace fsort_tool {
namespace {

using fsort::InspectedKey;
using fsort::InspectedSort;
using fsort::KeyBytes;
using fsort::KeyEnd;

constexpr std::size_t kMostStretches = 12;
constexpr std::size_t kQuotedColumns = 32;
constexpr unsigned kLineBreak = '\n';

using Ranks = std::array<std::vector<unsigned>, fsort::kByteValues>;

Ranks ranks_of(const fsort::Sequence& sequence) {
  Ranks ranks;
  for (unsigned byte = 0; byte < fsort::kByteValues; ++byte) {
    if (sequence.value[byte] != 0) ranks.at(sequence.value[byte] - 1U).push_back(byte);
  }
  return ranks;
}

// True when every byte of rank `a` steps by `step` to one of rank `b`.
bool goes_on(const std::vector<unsigned>& a, const std::vector<unsigned>& b, int step) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [step](unsigned x, unsigned y) {
           return static_cast<int>(y) - static_cast<int>(x) == step;
         });
}

// The last rank of the stretch that begins with `first`.
std::size_t stretch_end(const Ranks& ranks, std::size_t first) {
  const auto holds = [&](std::size_t rank, int step) {
    return rank + 1 < ranks.size() && !ranks[rank + 1].empty() && goes_on(ranks[rank], ranks[rank + 1], step);
  };
  const int step = holds(first, 1) ? 1 : -1;
  std::size_t last = first;
  while (holds(last, step)) ++last;
  return last;
}

std::string stretch_words(const std::vector<unsigned>& first, const std::vector<unsigned>& last) {
  // A rank of its own whose bytes are neighbours: one range says it.
  if (first == last && first.size() > 2 && first.back() - first.front() + 1 == first.size()) {
    return "(" + byte_range(first.front(), first.back()) + " all equal)";
  }
  std::string words;
  for (std::size_t i = 0; i < first.size(); ++i) {
    words += (i == 0 ? "" : "=") + byte_range(first[i], last[i]);
  }
  return words;
}

std::string bytes_words(const std::string& where, const InspectedKey& key) {
  const unsigned start = key.start;
  const bool open = key.length == fsort::kOpenLength;
  if (key.start == fsort::kOpenStart) {
    if (key.direction == fsort::kForward) return "the last byte of " + where;
    const std::string most = open ? "" : ", at most " + std::to_string(key.length) + " bytes";
    return where + " from its last byte backward" + most;
  }
  if (key.direction == fsort::kForward) {
    if (open) return start == 0 ? where : where + " from byte " + std::to_string(start) + " on";
    if (key.length == 1) return "byte " + std::to_string(start) + " of " + where;
    return "bytes " + std::to_string(start) + " to " + std::to_string(start + key.length - 1U) + " of " +
           where;
  }
  if (open || key.length > start + 1) return where + " from byte " + std::to_string(start) + " backward";
  return "bytes " + std::to_string(start) + " to " + std::to_string(start + 1U - key.length) + " of " +
         where + ", backward";
}

std::string where_words(const InspectedSort& sort, const InspectedKey& key) {
  return sort.field_count == 0 ? "the record" : "field " + std::to_string(key.field);
}

std::string decimals_words(const InspectedKey& key) {
  if (key.decimals == 0) return "no decimals count";
  if (key.decimals == fsort::kAllDecimals) return "all decimals count";
  return "at most " + std::to_string(key.decimals) +
         (key.decimals == 1 ? " decimal counts" : " decimals count");
}

std::string number_place(const InspectedSort& sort, const InspectedKey& key) {
  std::string words = where_words(sort, key);
  if (key.start == fsort::kOpenStart) {
    words += ", from its last byte on";
  } else if (key.start != 0) {
    words += ", from byte " + std::to_string(key.start) + " on";
  }
  if (key.length == fsort::kOpenLength) return words;
  return words + ", at most " + std::to_string(key.length) + (key.length == 1 ? " digit" : " digits");
}

std::string sign_place(const InspectedSort& sort, const InspectedKey& key) {
  InspectedKey one_byte = key;
  one_byte.length = 1;
  one_byte.direction = fsort::kForward;
  return bytes_words(where_words(sort, key), one_byte);
}

std::string blanks_words(const fsort::Sequence& sequence) {
  ByteSet blanks;
  for (unsigned byte = 0; byte < fsort::kByteValues; ++byte) {
    blanks[byte] = (sequence.flags(static_cast<std::uint8_t>(byte)) & fsort::kBlankInSequence) != 0;
  }
  const std::string list = byte_list(blanks);
  return list.empty() ? "" : list + " skipped in front";
}

// The half of a sign key's bytes that turns its keys around.
std::string sign_words(const InspectedSort& sort, std::size_t k) {
  const InspectedKey& key = sort.keys[k];
  const unsigned half = (key.sequence->max_rank + 1U) / 2;
  ByteSet turning;
  for (unsigned byte = 0; byte < fsort::kByteValues; ++byte) {
    const unsigned value = key.sequence->value[byte];
    if (value != 0) turning[byte] = (value > half) == (key.descending != 0);
  }
  const std::string turned = turned_words(sort, k);
  if (turned.empty()) return "it governs no key";
  return "where it is " + byte_list(turning) + (key.descending != 0 ? ", " : " or another byte, ") + turned;
}

std::string end_words(const Inspection& inspection, const KeyBytes& bytes) {
  if (bytes.end == KeyEnd::length) return "";
  if (bytes.end == KeyEnd::record_end) {
    return bytes.step > 0 ? ", to the record's end" : ", to the record's first byte";
  }
  const InspectedSort& sort = inspection.sort();
  if (bytes.end_byte == kLineBreak && sort.kind == fsort::RecordKind::text)
    return ", ended by the line break";
  const std::string byte = byte_constant(bytes.end_byte);
  const bool delimiter =
      sort.field_count != 0 && (sort.byte_class[bytes.end_byte] & fsort::kClassDelimiter) != 0;
  return delimiter ? ", ended by " + byte : ", ended by " + byte + ", which is not in its order";
}

std::string forward_text(const fsort::InspectedRecord& record, const KeyBytes& bytes) {
  std::string text;
  for (std::uint32_t i = 0; i < bytes.count; ++i) {
    text += static_cast<char>(record.data[bytes.first + static_cast<std::int32_t>(i) * bytes.step]);
  }
  return text;
}

std::string character_value(const Inspection& inspection, const fsort::InspectedRecord& record,
                            const KeyBytes& bytes) {
  if (bytes.count == 0) return "empty" + end_words(inspection, bytes);
  const std::string text = forward_text(record, bytes);
  const auto* data = reinterpret_cast<const std::uint8_t*>(text.data());
  return quoted({data, text.size()}, kQuotedColumns) + end_words(inspection, bytes);
}

std::string number_value(const fsort::InspectedRecord& record, const InspectedKey& key,
                         const fsort::KeyValue& value) {
  const std::string digits = forward_text(record, value.bytes);
  const std::string decimals = forward_text(record, value.fraction);
  // Its sign is a byte of the record then, and no number was read.
  if (key.misplaced) return "no number: digits \"" + digits + "\", decimals \"" + decimals + "\"";
  if (digits.empty() && decimals.empty() && !value.too_many) return "0: no digits that count";
  const std::string sign = value.negative ? "-" : "+";
  std::string words = value.negative ? "-" : "";
  words += digits.empty() ? "0" : digits;
  if (!decimals.empty()) words += "." + decimals;
  words += ": sign " + sign + ", " + (digits.empty() ? "no digits" : "digits " + digits);
  if (key.decimals != 0) words += decimals.empty() ? ", no decimals" : ", decimals " + decimals;
  if (!value.too_many) return words;
  return std::to_string(value.digits) + " digits, but its columns hold " + std::to_string(key.length) +
         ": sorts like an ended key";
}

}  // namespace

std::string place_words(const InspectedSort& sort, const InspectedKey& key) {
  const bool whole = sort.field_count == 0 && key.start == 0 && key.length == fsort::kOpenLength;
  return whole && key.direction == fsort::kForward ? "the whole record"
                                                   : bytes_words(where_words(sort, key), key);
}

std::string sequence_words(const fsort::Sequence& sequence) {
  const Ranks ranks = ranks_of(sequence);
  std::string words;
  std::size_t stretches = 0;
  for (std::size_t rank = 0; rank < ranks.size(); ++rank) {
    if (ranks[rank].empty()) continue;
    if (++stretches > kMostStretches) return words + " ...";
    const std::size_t last = stretch_end(ranks, rank);
    words += (words.empty() ? "" : " ") + stretch_words(ranks[rank], ranks[last]);
    rank = last;
  }
  return words;
}

std::vector<std::string> key_words(const InspectedSort& sort, std::size_t k) {
  const InspectedKey& key = sort.keys[k];
  const std::string direction = key.descending != 0 ? ", descending" : ", ascending";
  const std::string sequence = sequence_words(*key.sequence);
  std::vector<std::string> lines;
  if (key.kind == fsort::kKeySign) {
    lines.push_back("number in " + number_place(sort, key) + direction);
    lines.push_back("digits " + sequence + "; " + decimals_words(key));
  } else if (key.kind == fsort::kKeyGoverning) {
    lines.push_back("sign: " + sign_place(sort, key) + direction);
    lines.push_back("order " + sequence + "; any other byte comes " +
                    (key.descending != 0 ? "last" : "first"));
    lines.push_back(sign_words(sort, k));
  } else {
    lines.push_back("characters: " + place_words(sort, key) + direction);
    lines.push_back("order " + sequence + "; any other byte ends the key");
  }
  const std::string blanks = blanks_words(*key.skip_blanks);
  if (!blanks.empty()) lines.push_back(blanks);
  if (key.misplaced) {
    lines.push_back("misplaced by -d 0 in front of it: begins behind the digits of key " + std::to_string(k));
  }
  if (key.governor != fsort::kNoKey) {
    lines.push_back("governed by key " + std::to_string(key.governor + 1U));
  }
  return lines;
}

std::string turned_words(const InspectedSort& sort, std::size_t key) {
  std::size_t first = 0;
  std::size_t last = 0;
  for (std::size_t k = 0; k < sort.key_count; ++k) {
    if (sort.keys[k].governor != key) continue;
    if (first == 0) first = k + 1;
    last = k + 1;
  }
  if (first == 0) return "";
  if (first == last) return "key " + std::to_string(first) + " runs the other way";
  return "keys " + std::to_string(first) + " to " + std::to_string(last) + " run the other way";
}

std::vector<std::string> record_words(const Inspection& inspection, const fsort::InspectedRecord& record,
                                      std::size_t keys) {
  const InspectedSort& sort = inspection.sort();
  std::vector<bool> descending;
  std::vector<bool> turns;
  std::vector<std::string> words;
  for (std::size_t k = 0; k < keys; ++k) {
    const InspectedKey& key = sort.keys[k];
    const fsort::KeyValue value = fsort::inspect_key(inspection.handle(), record, key);
    const bool governed = key.governor != fsort::kNoKey;
    descending.push_back((key.descending != 0) != (governed && turns[key.governor]));
    turns.push_back(value.upper_half == descending[k]);
    words.push_back(key.kind == fsort::kKeySign ? number_value(record, key, value)
                                                : character_value(inspection, record, value.bytes));
    const std::string turned = key.kind == fsort::kKeyGoverning && turns[k] ? turned_words(sort, k) : "";
    if (!turned.empty()) words[k] += ": " + turned;
    if (governed && turns[key.governor]) words[k] += descending[k] ? ", descending here" : ", ascending here";
  }
  return words;
}

std::string byte_list(const ByteSet& bytes) {
  std::string list;
  for (unsigned first = 0; first < fsort::kByteValues; ++first) {
    if (!bytes[first]) continue;
    unsigned last = first;
    while (last + 1 < fsort::kByteValues && bytes[last + 1]) ++last;
    list += (list.empty() ? "" : " ") + byte_range(first, last);
    first = last;
  }
  return list;
}

}  // namespace fsort_tool
