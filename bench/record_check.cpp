// Proves the result of a sort without the engine: the output holds exactly the records of the input, in
// order.
//
//   record_check --in FILE --out FILE [--record BYTES | --variable | --counted] [--unique] KEY...
//   record_check --expect COUNT:CHECKSUM --out FILE ...
//
//   --record    records of so many bytes; without it, --variable and --counted, text lines
//   --variable  records that begin with two bytes which count the rest, low byte first
//   --counted   records that begin with one byte which counts the rest
//   --unique    the output holds one record of each set of records with equal keys
//   --expect    the count and checksum that an earlier proof printed: stands for the same input, or for the
//               output that was proved
//   KEY   bytes                 the whole record, byte values, without the line break
//         reversed              the same from the last byte to the first
//         columns:A:B           bytes A (from 0) to B, or to the end of a record that has less
//         text:D:N              field N (from 0) of a record with delimiter D, byte values; "tab" is a
//                               delimiter
//         fold:D:N              the same field, upper and lower case of ASCII alike
//         number:D:N            the same field as a number
//         a KEY may end in ",desc"
//
// "The same records" is proved by their count and by two sums over a 64-bit hash of each record, one with
// carry and one without, which do not depend on the order; "in order" by comparing each record with the one
// before. For --unique no two records of the output may be equal in the keys, each must be a record of the
// input, and the input must hold as many different keys as the output has records. Nothing here shares code
// with the engine. The files are mapped, so they may be larger than memory. Prints one line; exit status 0
// when the proof holds, 1 when it does not.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace {

enum class KeyKind { kBytes, kReversed, kColumns, kText, kFolded, kNumber };

struct Key {
  KeyKind kind = KeyKind::kBytes;
  char delimiter = 0;
  std::size_t field = 0;
  std::size_t first = 0;
  std::size_t last = 0;
  bool descending = false;
};

struct Fingerprint {
  std::uint64_t count = 0;
  std::uint64_t sum = 0;
  std::uint64_t parity = 0;
  bool operator==(const Fingerprint&) const = default;
};

struct Options {
  std::string in;
  std::string out;
  std::size_t record_bytes = 0;  // 0: text lines, or records with a length in front
  std::size_t length_bytes = 0;  // of the length in front; 0: none
  bool unique = false;
  bool expects = false;
  Fingerprint expected;
  std::vector<Key> keys;
};

Key parse_key(std::string text) {
  Key key;
  const std::string original = text;
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
  const std::size_t second = colon == std::string::npos ? colon : text.find(':', colon + 2);
  if (second == std::string::npos) throw std::runtime_error("no such key: " + original);
  const std::string kind = text.substr(0, colon);
  const std::string middle = text.substr(colon + 1, second - colon - 1);
  const std::size_t number = std::strtoul(text.c_str() + second + 1, nullptr, 10);
  if (kind == "columns") {
    key.kind = KeyKind::kColumns;
    key.first = std::strtoul(middle.c_str(), nullptr, 10);
    key.last = number;
    return key;
  }
  if (kind != "text" && kind != "number" && kind != "fold")
    throw std::runtime_error("no such key: " + original);
  if (middle.size() != 1 && middle != "tab") throw std::runtime_error("no such delimiter: " + original);
  key.kind = kind == "text" ? KeyKind::kText : (kind == "fold" ? KeyKind::kFolded : KeyKind::kNumber);
  key.delimiter = middle == "tab" ? '\t' : middle[0];
  key.field = number;
  return key;
}

Fingerprint parse_expected(const std::string& text) {
  Fingerprint result;
  if (std::sscanf(text.c_str(), "%" SCNu64 ":%" SCNx64 "-%" SCNx64, &result.count, &result.sum,
                  &result.parity) != 3) {
    throw std::runtime_error("--expect needs COUNT:CHECKSUM");
  }
  return result;
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
    } else if (argument == "--variable") {
      options.length_bytes = 2;
    } else if (argument == "--counted") {
      options.length_bytes = 1;
    } else if (argument == "--expect") {
      options.expected = parse_expected(operand());
      options.expects = true;
    } else if (argument == "--unique") {
      options.unique = true;
    } else {
      options.keys.push_back(parse_key(argument));
    }
  }
  if (options.in.empty() == !options.expects || options.out.empty()) {
    throw std::runtime_error("--out and either --in or --expect are needed");
  }
  if (options.keys.empty()) throw std::runtime_error("a key is needed");
  return options;
}

// A file as bytes in memory.
class MappedFile {
 public:
  explicit MappedFile(const std::string& name) {
    const int fd = ::open(name.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status {};
    if (fd < 0 || ::fstat(fd, &status) != 0) throw std::runtime_error("cannot open " + name);
    size_ = static_cast<std::size_t>(status.st_size);
    if (size_ != 0) {
      address_ = ::mmap(nullptr, size_, PROT_READ, MAP_PRIVATE, fd, 0);
      if (address_ == MAP_FAILED) throw std::runtime_error("cannot map " + name);
      ::madvise(address_, size_, MADV_SEQUENTIAL);
    }
    ::close(fd);
  }
  MappedFile(const MappedFile&) = delete;
  MappedFile& operator=(const MappedFile&) = delete;
  ~MappedFile() {
    if (size_ != 0) ::munmap(address_, size_);
  }
  std::string_view bytes() const { return {static_cast<const char*>(address_), size_}; }

 private:
  void* address_ = nullptr;
  std::size_t size_ = 0;
};

// Hands out one record after the other.
class Records {
 public:
  Records(std::string_view bytes, const Options& options) : rest_(bytes), options_(options) {}

  bool next(std::string_view& record) {
    if (rest_.empty()) return false;
    std::size_t length = options_.record_bytes;
    if (options_.length_bytes != 0) {
      length = options_.length_bytes;
      if (rest_.size() < length) throw std::runtime_error("a variable record is cut");
      for (std::size_t i = 0; i < options_.length_bytes; ++i) {
        length += std::size_t{static_cast<unsigned char>(rest_[i])} << (8 * i);
      }
    } else if (length == 0) {
      const std::size_t line_end = rest_.find('\n');
      length = line_end == std::string_view::npos ? rest_.size() : line_end + 1;
    }
    if (length > rest_.size()) throw std::runtime_error("the last record is cut");
    record = rest_.substr(0, length);
    rest_.remove_prefix(length);
    return true;
  }

 private:
  std::string_view rest_;
  const Options& options_;
};

std::uint64_t mix(std::uint64_t h) {
  h = (h ^ (h >> 32)) * 0xD6E8FEB86659FD93U;
  h = (h ^ (h >> 32)) * 0xD6E8FEB86659FD93U;
  return h ^ (h >> 32);
}

std::uint64_t hash_of(std::string_view record) {
  std::uint64_t hash = 0xCBF29CE484222325U ^ record.size();
  while (record.size() >= sizeof hash) {
    std::uint64_t word = 0;
    std::memcpy(&word, record.data(), sizeof word);
    hash = (hash ^ word) * 0x9FB21C651E98DF25U;
    hash ^= hash >> 29;
    record.remove_prefix(sizeof word);
  }
  for (const char c : record) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3U;
  return mix(hash);
}

void add_record(Fingerprint& to, std::uint64_t hash) {
  to.count += 1;
  to.sum += hash;
  to.parity ^= hash;
}

std::string_view field_of(std::string_view record, char delimiter, std::size_t field) {
  for (; field > 0; --field) {
    const std::size_t end = record.find(delimiter);
    if (end == std::string_view::npos) return {};
    record.remove_prefix(end + 1);
  }
  return record.substr(0, record.find(delimiter));
}

std::string_view columns_of(std::string_view record, const Key& key) {
  if (key.first >= record.size()) return {};
  return record.substr(key.first, key.last - key.first + 1);
}

double number_of(std::string_view record, const Key& key) {
  const std::string_view field = field_of(record, key.delimiter, key.field);
  char text[64];
  const std::size_t length = field.size() < sizeof text ? field.size() : sizeof text - 1;
  std::memcpy(text, field.data(), length);
  text[length] = 0;
  return std::strtod(text, nullptr);
}

int compare_reversed(std::string_view a, std::string_view b) {
  for (std::size_t i = 0; i < a.size() && i < b.size(); ++i) {
    const auto x = static_cast<unsigned char>(a[a.size() - 1 - i]);
    const auto y = static_cast<unsigned char>(b[b.size() - 1 - i]);
    if (x != y) return x < y ? -1 : 1;
  }
  return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

char upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

int compare_folded(std::string_view a, std::string_view b) {
  for (std::size_t i = 0; i < a.size() && i < b.size(); ++i) {
    if (upper(a[i]) != upper(b[i])) return upper(a[i]) < upper(b[i]) ? -1 : 1;
  }
  return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

int compare_numbers(double x, double y) { return x < y ? -1 : (x > y ? 1 : 0); }

int compare_key(const Key& key, std::string_view a, std::string_view b) {
  switch (key.kind) {
    case KeyKind::kBytes:
      return a.compare(b);
    case KeyKind::kReversed:
      return compare_reversed(a, b);
    case KeyKind::kColumns:
      return columns_of(a, key).compare(columns_of(b, key));
    case KeyKind::kText:
      return field_of(a, key.delimiter, key.field).compare(field_of(b, key.delimiter, key.field));
    case KeyKind::kFolded:
      return compare_folded(field_of(a, key.delimiter, key.field), field_of(b, key.delimiter, key.field));
    case KeyKind::kNumber:
      return compare_numbers(number_of(a, key), number_of(b, key));
  }
  return 0;
}

int compare_keys(const std::vector<Key>& keys, std::string_view a, std::string_view b) {
  for (const Key& key : keys) {
    const int order = compare_key(key, a, b);
    if (order != 0) return key.descending ? -order : order;
  }
  return 0;
}

// Equal for records that are equal in all keys.
std::uint64_t hash_of_keys(const std::vector<Key>& keys, std::string_view record) {
  std::uint64_t hash = 0;
  for (const Key& key : keys) {
    std::string_view part = record;
    std::string folded;
    double number = 0;
    if (key.kind == KeyKind::kColumns) part = columns_of(record, key);
    if (key.kind == KeyKind::kText) part = field_of(record, key.delimiter, key.field);
    if (key.kind == KeyKind::kFolded) {
      for (const char c : field_of(record, key.delimiter, key.field)) folded += upper(c);
      part = folded;
    }
    if (key.kind == KeyKind::kNumber) {
      number = number_of(record, key) + 0.0;  // -0 becomes 0
      part = {reinterpret_cast<const char*>(&number), sizeof number};
    }
    hash = mix(hash * 31 + hash_of(part));
  }
  return hash;
}

std::string_view without_break(std::string_view record, const Options& options) {
  if (options.record_bytes == 0 && options.length_bytes == 0 && !record.empty() && record.back() == '\n') {
    record.remove_suffix(1);
  }
  return record;
}

struct Findings {
  Fingerprint before;
  Fingerprint after;
  std::uint64_t disorder = 0;  // number of the first record that is out of order
  bool ordered = true;
  bool complete = true;  // the output holds what it should of the input
};

// What the input holds, when it is there to be looked at. For --unique also its records and keys.
struct Input {
  std::unordered_set<std::uint64_t> records;
  std::unordered_set<std::uint64_t> keys;
};

void read_input(const Options& options, Findings& found, Input& held) {
  if (options.expects) {
    found.before = options.expected;
    return;
  }
  const MappedFile in(options.in);
  Records input(in.bytes(), options);
  std::string_view record;
  while (input.next(record)) {
    const std::uint64_t hash = hash_of(record);
    add_record(found.before, hash);
    if (options.unique) {
      held.records.insert(hash);
      held.keys.insert(hash_of_keys(options.keys, without_break(record, options)));
    }
  }
}

void check_output(const Options& options, Findings& found, const Input& held) {
  const bool subset = options.unique && !options.expects;  // a part of the input, not all of it
  const MappedFile out(options.out);
  Records output(out.bytes(), options);
  std::string_view record;
  std::string_view previous;
  while (output.next(record)) {
    const std::uint64_t hash = hash_of(record);
    const std::string_view text = without_break(record, options);
    if (found.after.count != 0 && found.ordered) {
      const int order = compare_keys(options.keys, previous, text);
      if (order > 0 || (options.unique && order == 0)) {
        found.ordered = false;
        found.disorder = found.after.count;
      }
    }
    if (subset && held.records.count(hash) == 0) found.complete = false;
    add_record(found.after, hash);
    previous = text;
  }
  if (subset ? found.after.count != held.keys.size() : !(found.before == found.after)) found.complete = false;
}

int check(const Options& options) {
  Findings found;
  Input held;
  read_input(options, found, held);
  check_output(options, found, held);
  const bool good = found.ordered && found.complete;
  std::printf("%s  %" PRIu64 " records %s, %" PRIu64 " out; ", good ? "PROVED" : "WRONG", found.before.count,
              options.expects ? "expected" : "in", found.after.count);
  if (options.unique && !options.expects) {
    std::printf("%zu different keys in the input, %s, checksum %016" PRIx64 "-%016" PRIx64 "; ",
                held.keys.size(),
                found.complete ? "one record of each in the output" : "THE OUTPUT HOLDS SOMETHING ELSE",
                found.after.sum, found.after.parity);
  } else {
    std::printf("checksum %016" PRIx64 "-%016" PRIx64 " %s %016" PRIx64 "-%016" PRIx64 "; ", found.before.sum,
                found.before.parity, found.complete ? "=" : "IS NOT", found.after.sum, found.after.parity);
  }
  if (found.ordered) {
    std::printf("every record checked against the one before\n");
  } else {
    std::printf("record %" PRIu64 " is out of order\n", found.disorder);
  }
  return good ? 0 : 1;
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
