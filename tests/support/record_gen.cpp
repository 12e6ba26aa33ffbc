// Random records. See the header.
#include "support/record_gen.h"

#include <algorithm>

namespace fsort_test {
namespace {

constexpr std::size_t kMostVariableBytes = 500;  // the reader's default takes records of up to 511 bytes

std::string word(Random* random) {
  static const std::vector<std::string> kAlphabets = {"ab",   "ab", "abc",  "aAbB",
                                                      "ab1 ", "za", "a-+b", "a\tb"};
  const std::string& letters = random->pick(kAlphabets);
  std::string text;
  if (random->chance(10)) text = "abab";
  for (int i = random->below(random->chance(85) ? 5 : 12); i > 0; --i) {
    text.push_back(letters[static_cast<std::size_t>(random->below(static_cast<int>(letters.size())))]);
  }
  return text;
}

std::string wild(Random* random) {
  std::string text;
  for (int i = random->below(6); i > 0; --i) {
    text.push_back(static_cast<char>(random->chance(30) ? random->pick<int>({0, 1, 127, 128, 255, 9, 10})
                                                        : random->below(256)));
  }
  return text;
}

std::string token(Random* random, bool any_bytes) {
  const int draw = random->below(100);
  if (draw < 45) return word(random);
  if (draw < 82) return random_number(random);
  if (draw < 94 || !any_bytes)
    return random->pick<std::string>({"-", "+", "D", "C", "a", "", " "}) + word(random);
  return wild(random);
}

std::string body(Random* random, const Shape& shape, bool any_bytes) {
  if (shape.crowded && random->chance(95)) {
    std::string text;
    for (int i = 0; i < shape.columns; ++i) text.push_back(random->chance(80) ? 'a' : 'b');
    return random->chance(30) ? text + random_number(random) : text;
  }
  if (shape.fields == 0) {
    std::string text;
    for (int i = random->between(0, 3); i >= 0; --i) {
      std::string next = token(random, any_bytes);
      if (random->chance(20)) next.resize(std::max<std::size_t>(next.size(), 4), ' ');
      text += next;
    }
    return text;
  }
  int fields = shape.fields + (random->chance(15) ? 1 : 0);
  if (random->chance(shape.forgiving ? 12 : 4)) fields = random->below(fields + 1);
  std::string text;
  for (int i = 0; i < fields; ++i) {
    std::string next = token(random, any_bytes);
    if (!shape.forgiving) next.resize(std::max<std::size_t>(next.size(), random->chance(99) ? 6 : 2), 'a');
    text += (i == 0 ? "" : std::string(1, shape.delimiter)) + next;
  }
  return text;
}

std::string finish(std::string text, RecordSet* set, Random* random) {
  switch (set->type) {
    case RecordType::text:
      std::replace(text.begin(), text.end(), '\n', 'n');
      return text + "\n";
    case RecordType::fixed:
      text.resize(set->size, random->pick<char>({' ', 'a', '0', '\0'}));
      return text;
    case RecordType::variable: {
      const std::size_t most = set->length_low == set->length_high ? 255 : kMostVariableBytes;
      if (text.size() > most) text.resize(most);
      std::string head(static_cast<std::size_t>(set->header), 'h');
      head[static_cast<std::size_t>(set->length_high)] = static_cast<char>(text.size() >> 8);
      head[static_cast<std::size_t>(set->length_low)] = static_cast<char>(text.size() & 255);
      return head + text;
    }
    case RecordType::free:
      break;
  }
  if (random->chance(40)) text += "\n";
  return text.empty() ? "x" : text;
}

void choose_layout(RecordSet* set, Random* random) {
  if (set->type == RecordType::fixed) {
    set->size = static_cast<std::size_t>(random->between(1, random->chance(80) ? 16 : 60));
    set->options = {"-rf", std::to_string(set->size)};
  } else if (set->type == RecordType::text && random->chance(20)) {
    set->options =
        random->chance(50) ? std::vector<std::string>{"-rt"} : std::vector<std::string>{"-rt", "600"};
  } else if (set->type == RecordType::variable) {
    const int layout = random->below(4);
    if (layout == 0) set->options = {"-rv"};
    if (layout == 1) set->options = {"-rv", "0-1", "511"};
    if (layout == 2) set->options = {"-rv", "2"};
    if (layout == 3) set->options = {"-rv", "3-2", "600"};
    if (layout == 1) set->length_low = 1, set->length_high = 0;
    if (layout == 2) set->length_low = 2, set->length_high = 2, set->header = 3;
    if (layout == 3) set->length_low = 2, set->length_high = 3, set->header = 4;
  }
}

}  // namespace

std::string random_number(Random* random) {
  std::string text;
  if (random->chance(8))
    return random->pick<std::string>({"", "-", "+", ".", "-.", "0", "-0", "000", ".0", "abc"});
  if (random->chance(15)) text += std::string(static_cast<std::size_t>(random->between(1, 3)), ' ');
  text += random->pick<std::string>({"", "", "", "-", "-", "+"});
  if (random->chance(15)) text += "0";
  for (int i = random->below(random->chance(90) ? 4 : 9); i > 0; --i)
    text += random->pick<char>({'1', '2', '0', '9'});
  if (random->chance(50)) {
    text += random->chance(85) ? '.' : ',';
    for (int i = random->below(4); i > 0; --i) text += random->pick<char>({'5', '0', '3'});
  }
  if (random->chance(8)) text += "-";
  return text;
}

RecordSet random_records(Random* random, const Shape& shape, RecordType type, std::size_t count, int alike) {
  RecordSet set;
  set.type = type;
  choose_layout(&set, random);
  const bool any_bytes = type != RecordType::text || random->chance(30);
  const std::size_t distinct = random->chance(50) ? count : 1 + static_cast<std::size_t>(random->below(40));
  std::string prefix = random->chance(15) ? word(random) + word(random) : "";
  if (random->chance(alike)) prefix.append(static_cast<std::size_t>(random->between(8, 150)), 'a');
  std::vector<std::string> pool;
  for (std::size_t i = 0; i < std::min(distinct, count); ++i) {
    pool.push_back(finish(prefix + body(random, shape, any_bytes), &set, random));
  }
  for (std::size_t i = 0; i < count; ++i) {
    set.records.push_back(pool.size() == count ? pool[i] : random->pick(pool));
  }
  return set;
}

std::vector<std::string> split_records(const std::string& bytes, const RecordSet& set) {
  std::vector<std::string> records;
  for (std::size_t at = 0; at < bytes.size();) {
    std::size_t size = 0;
    const auto byte = [&](int i) {
      const std::size_t place = at + static_cast<std::size_t>(i);
      return place < bytes.size() ? static_cast<std::size_t>(static_cast<unsigned char>(bytes[place])) : 0;
    };
    if (set.type == RecordType::text) size = bytes.find('\n', at) - at + 1;
    if (set.type == RecordType::fixed) size = set.size;
    if (set.type == RecordType::variable) {
      size = static_cast<std::size_t>(set.header) + byte(set.length_low);
      if (set.length_high != set.length_low) size += byte(set.length_high) << 8;
    }
    size = std::min(size, bytes.size() - at);
    records.push_back(bytes.substr(at, size));
    at += size;
  }
  return records;
}

std::string concatenate(const std::vector<std::string>& records) {
  std::string bytes;
  for (const std::string& record : records) bytes += record;
  return bytes;
}

}  // namespace fsort_test
