// Proves the result of a sort without the engine: the output holds exactly the records of the input, in
// order.
//
//   record_check --in FILE --out FILE [--record BYTES] KEY...
//
//   KEY   bytes                 the whole record, byte values, without the line break
//         reversed              the same from the last byte to the first
//         text:D:N              field N (from 0) of a record with delimiter D, byte values
//         number:D:N            the same field as a number
//         a KEY may end in ",desc"
//
// "The same records" is proved by their count and by two sums over a 64-bit hash of each record, one with
// carry and one without, which do not depend on the order; "in order" by comparing each record with the one
// before. Nothing here shares code with the engine. Prints one line; exit status 0 when the proof holds, 1
// when it does not.
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

enum class KeyKind { kBytes, kReversed, kText, kNumber };

struct Key {
  KeyKind kind = KeyKind::kBytes;
  char delimiter = 0;
  std::size_t field = 0;
  bool descending = false;
};

struct Options {
  std::string in;
  std::string out;
  std::size_t record_bytes = 0;  // 0: text lines
  std::vector<Key> keys;
};

struct Fingerprint {
  std::uint64_t count = 0;
  std::uint64_t sum = 0;
  std::uint64_t parity = 0;
  bool operator==(const Fingerprint&) const = default;
};

Key parse_key(std::string text) {
  Key key;
  const std::string suffix = ",desc";
  if (text.size() > suffix.size() && text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0) {
    key.descending = true;
    text.resize(text.size() - suffix.size());
  }
  if (text == "bytes") return key;
  if (text == "reversed") {
    key.kind = KeyKind::kReversed;
    return key;
  }
  const std::size_t colon = text.find(':');
  if (colon == std::string::npos || text.size() < colon + 4 || text[colon + 2] != ':') {
    throw std::runtime_error("no such key: " + text);
  }
  const std::string kind = text.substr(0, colon);
  if (kind != "text" && kind != "number") throw std::runtime_error("no such key: " + text);
  key.kind = kind == "text" ? KeyKind::kText : KeyKind::kNumber;
  key.delimiter = text[colon + 1];
  key.field = std::strtoul(text.c_str() + colon + 3, nullptr, 10);
  return key;
}

Options parse_options(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    const auto operand = [&] {
      if (++i >= argc) throw std::runtime_error(argument + " needs an operand");
      return std::string(argv[i]);
    };
    if (argument == "--in") {
      options.in = operand();
    } else if (argument == "--out") {
      options.out = operand();
    } else if (argument == "--record") {
      options.record_bytes = std::strtoul(operand().c_str(), nullptr, 10);
    } else {
      options.keys.push_back(parse_key(argument));
    }
  }
  if (options.in.empty() || options.out.empty()) throw std::runtime_error("--in and --out are needed");
  return options;
}

std::string read_file(const std::string& name) {
  std::ifstream stream(name, std::ios::binary);
  if (!stream) throw std::runtime_error("cannot open " + name);
  return std::string(std::istreambuf_iterator<char>(stream), {});
}

std::vector<std::string_view> split(const std::string& data, std::size_t record_bytes) {
  std::vector<std::string_view> records;
  const std::string_view all = data;
  for (std::size_t pos = 0; pos < all.size();) {
    std::size_t end = pos + record_bytes;
    if (record_bytes == 0) {
      const std::size_t line_end = all.find('\n', pos);
      end = line_end == std::string_view::npos ? all.size() : line_end + 1;
    }
    if (end > all.size()) end = all.size();
    records.push_back(all.substr(pos, end - pos));
    pos = end;
  }
  return records;
}

Fingerprint fingerprint(const std::vector<std::string_view>& records) {
  Fingerprint result;
  for (const std::string_view record : records) {
    std::uint64_t hash = 0xCBF29CE484222325U ^ record.size();
    for (const char c : record) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3U;
    hash ^= hash >> 32;
    hash *= 0xD6E8FEB86659FD93U;
    hash ^= hash >> 32;
    result.count += 1;
    result.sum += hash;
    result.parity ^= hash;
  }
  return result;
}

std::string_view field_of(std::string_view record, char delimiter, std::size_t field) {
  for (; field > 0; --field) {
    const std::size_t end = record.find(delimiter);
    if (end == std::string_view::npos) return {};
    record.remove_prefix(end + 1);
  }
  return record.substr(0, record.find(delimiter));
}

int compare_reversed(std::string_view a, std::string_view b) {
  for (std::size_t i = 0; i < a.size() && i < b.size(); ++i) {
    const auto x = static_cast<unsigned char>(a[a.size() - 1 - i]);
    const auto y = static_cast<unsigned char>(b[b.size() - 1 - i]);
    if (x != y) return x < y ? -1 : 1;
  }
  return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

int compare_numbers(std::string_view a, std::string_view b) {
  const double x = std::strtod(std::string(a).c_str(), nullptr);
  const double y = std::strtod(std::string(b).c_str(), nullptr);
  return x < y ? -1 : (x > y ? 1 : 0);
}

int compare_key(const Key& key, std::string_view a, std::string_view b) {
  switch (key.kind) {
    case KeyKind::kBytes:
      return a.compare(b);
    case KeyKind::kReversed:
      return compare_reversed(a, b);
    case KeyKind::kText:
      return field_of(a, key.delimiter, key.field).compare(field_of(b, key.delimiter, key.field));
    case KeyKind::kNumber:
      return compare_numbers(field_of(a, key.delimiter, key.field), field_of(b, key.delimiter, key.field));
  }
  return 0;
}

std::string_view without_break(std::string_view record) {
  if (!record.empty() && record.back() == '\n') record.remove_suffix(1);
  return record;
}

// Number of the first record that is less than the one before it, or the count.
std::size_t first_disorder(const std::vector<std::string_view>& records, const std::vector<Key>& keys) {
  for (std::size_t i = 1; i < records.size(); ++i) {
    for (const Key& key : keys) {
      int order = compare_key(key, without_break(records[i - 1]), without_break(records[i]));
      if (key.descending) order = -order;
      if (order > 0) return i;
      if (order < 0) break;
    }
  }
  return records.size();
}

int check(const Options& options) {
  const std::string in = read_file(options.in);
  const std::string out = read_file(options.out);
  const auto out_records = split(out, options.record_bytes);
  const Fingerprint before = fingerprint(split(in, options.record_bytes));
  const Fingerprint after = fingerprint(out_records);
  const std::size_t disorder = first_disorder(out_records, options.keys);
  const bool same = before == after;
  const bool ordered = disorder == out_records.size();
  std::printf("%s  %" PRIu64 " records in, %" PRIu64 " out; checksum %016" PRIx64 "-%016" PRIx64
              " %s %016" PRIx64 "-%016" PRIx64 "; ",
              same && ordered ? "PROVED" : "WRONG", before.count, after.count, before.sum, before.parity,
              same ? "=" : "IS NOT", after.sum, after.parity);
  if (ordered) {
    std::printf("every record checked against the one before\n");
  } else {
    std::printf("record %zu is out of order\n", disorder);
  }
  return same && ordered ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return check(parse_options(argc, argv));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "record_check: %s\n", error.what());
    return 2;
  }
}
