// Writes the same records for the same arguments on every machine.
//
//   datagen [--kind KIND] COUNT [SEED [LENGTH]]     COUNT records of LENGTH bytes (100), the line break
//   included
//
//   lines      random printable characters (blank to ~); the default
//   short      1 to 11 random characters; LENGTH does not count
//   equal      the same random line again and again
//   prefix     60 characters that are the same in every line, then random ones
//   sorted     random-looking lines in ascending order: eight characters that grow evenly, then random ones
//   reversed   the same in descending order
//   hot        random lines, of which 30 of 100 begin with the same ten characters
//   numbers    a number of up to nine digits, with or without sign and decimals, a tab, eight characters;
//              LENGTH does not count
//   few        lines drawn from a thousand different ones
//   fixed      random bytes without line breaks
//   variable   two bytes that count the rest, low byte first, then LENGTH / 5 to LENGTH * 9 / 5 characters
//
// The generator is SplitMix64: one state word, one number a step, eight characters taken from the eight bytes
// of a number. A byte b becomes b * 95 / 256, so that some characters are a third more likely than others;
// for sorting that makes no difference.
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

namespace {

constexpr std::uint64_t kDefaultSeed = 1;
constexpr std::size_t kDefaultLength = 100;
constexpr std::size_t kMaxLength = 60000;
constexpr std::size_t kBufferBytes = std::size_t{1} << 20;
constexpr std::uint32_t kFirstCharacter = ' ';
constexpr std::uint32_t kCharacters = 95;
constexpr std::size_t kPrefixBytes = 60;
constexpr std::size_t kGrowingBytes = 8;
constexpr std::string_view kHotKey = "hot hot ho";
constexpr std::uint64_t kHotPercent = 30;
constexpr std::uint64_t kFewLines = 1000;
constexpr std::size_t kShortest = 16;  // of a LENGTH: what the kinds with a fixed beginning need

class SplitMix64 {
 public:
  explicit SplitMix64(std::uint64_t seed) : state_(seed) {}
  std::uint64_t next() {
    state_ += 0x9E3779B97F4A7C15U;
    std::uint64_t z = state_;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBU;
    return z ^ (z >> 31);
  }

 private:
  std::uint64_t state_;
};

struct Job {
  std::uint64_t count = 0;
  std::uint64_t seed = kDefaultSeed;
  std::size_t length = kDefaultLength;
};

void add_characters(SplitMix64& random, std::size_t length, std::string& to) {
  const std::size_t begin = to.size();
  to.resize(begin + length);
  char* out = to.data() + begin;
  std::uint64_t bits = 0;
  for (std::size_t i = 0; i < length; ++i) {
    if (i % 8 == 0) bits = random.next();
    out[i] = static_cast<char>(kFirstCharacter + (((bits & 0xFF) * kCharacters) >> 8));
    bits >>= 8;
  }
}

void add_line(SplitMix64& random, std::string_view beginning, std::size_t length, std::string& to) {
  if (beginning.size() > length - 1) beginning = beginning.substr(0, length - 1);
  to += beginning;
  add_characters(random, length - 1 - beginning.size(), to);
  to += '\n';
}

void add_lines(const Job& job, std::uint64_t, SplitMix64& random, std::string& to) {
  add_line(random, {}, job.length, to);
}

void add_short(const Job&, std::uint64_t, SplitMix64& random, std::string& to) {
  const std::uint64_t bits = random.next();
  add_line(random, {}, 2 + bits % 11, to);
}

void add_equal(const Job& job, std::uint64_t, SplitMix64&, std::string& to) {
  SplitMix64 same(job.seed);
  add_line(same, {}, job.length, to);
}

void add_prefix(const Job& job, std::uint64_t, SplitMix64& random, std::string& to) {
  static const std::string prefix(kPrefixBytes, 'p');
  add_line(random, prefix, job.length, to);
}

void add_growing(const Job& job, std::uint64_t index, SplitMix64& random, std::string& to) {
  std::uint64_t span = 1;
  for (std::size_t i = 0; i < kGrowingBytes; ++i) span *= kCharacters;
  std::uint64_t value = span / job.count * index;
  char key[kGrowingBytes];
  for (std::size_t i = kGrowingBytes; i-- > 0; value /= kCharacters) {
    key[i] = static_cast<char>(kFirstCharacter + value % kCharacters);
  }
  add_line(random, {key, kGrowingBytes}, job.length, to);
}

void add_shrinking(const Job& job, std::uint64_t index, SplitMix64& random, std::string& to) {
  add_growing(job, job.count - 1 - index, random, to);
}

void add_hot(const Job& job, std::uint64_t, SplitMix64& random, std::string& to) {
  const bool hot = random.next() % 100 < kHotPercent;
  add_line(random, hot ? kHotKey : std::string_view{}, job.length, to);
}

void add_number(const Job&, std::uint64_t, SplitMix64& random, std::string& to) {
  const std::uint64_t bits = random.next();
  std::uint64_t bound = 10;
  for (std::uint64_t digits = bits % 9; digits > 0; --digits) bound *= 10;
  char text[48];
  const char* sign = (bits & 0x100) != 0 ? "-" : "";
  const std::uint64_t whole = (bits >> 16) % bound;
  const auto hundredths = static_cast<unsigned>((bits >> 10) % 100);
  const int length = (bits & 0x200) != 0
                         ? std::snprintf(text, sizeof text, "%s%" PRIu64 ".%02u\t", sign, whole, hundredths)
                         : std::snprintf(text, sizeof text, "%s%" PRIu64 "\t", sign, whole);
  const std::string_view number{text, static_cast<std::size_t>(length)};
  add_line(random, number, number.size() + 9, to);
}

void add_few(const Job& job, std::uint64_t, SplitMix64& random, std::string& to) {
  SplitMix64 line(job.seed ^ (random.next() % kFewLines * 0xD1B54A32D192ED03U));
  add_line(line, {}, job.length, to);
}

void add_fixed(const Job& job, std::uint64_t, SplitMix64& random, std::string& to) {
  for (std::size_t left = job.length; left > 0;) {
    const std::uint64_t bits = random.next();
    const std::size_t part = left < sizeof bits ? left : sizeof bits;
    for (std::size_t i = 0; i < part; ++i) to += static_cast<char>(bits >> (8 * i) & 0xFF);
    left -= part;
  }
}

void add_variable(const Job& job, std::uint64_t, SplitMix64& random, std::string& to) {
  const std::size_t shortest = job.length / 5;
  const std::size_t length = shortest + random.next() % (job.length * 8 / 5 + 1);
  to += static_cast<char>(length & 0xFF);
  to += static_cast<char>(length >> 8);
  add_characters(random, length, to);
}

using AddRecord = void (*)(const Job&, std::uint64_t, SplitMix64&, std::string&);

struct Kind {
  const char* name;
  AddRecord add;
};

constexpr Kind kKinds[] = {
    {"lines", add_lines},    {"short", add_short},        {"equal", add_equal},       {"prefix", add_prefix},
    {"sorted", add_growing}, {"reversed", add_shrinking}, {"hot", add_hot},           {"numbers", add_number},
    {"few", add_few},        {"fixed", add_fixed},        {"variable", add_variable},
};

AddRecord find_kind(const char* name) {
  for (const Kind& kind : kKinds) {
    if (std::strcmp(kind.name, name) == 0) return kind.add;
  }
  return nullptr;
}

bool write_out(std::string& buffer) {
  const bool good = std::fwrite(buffer.data(), 1, buffer.size(), stdout) == buffer.size();
  buffer.clear();
  return good;
}

bool generate(const Job& job, AddRecord add) {
  SplitMix64 random(job.seed);
  std::string buffer;
  buffer.reserve(kBufferBytes + 2 * kMaxLength);
  for (std::uint64_t i = 0; i < job.count; ++i) {
    add(job, i, random, buffer);
    if (buffer.size() >= kBufferBytes && !write_out(buffer)) return false;
  }
  return write_out(buffer) && std::fflush(stdout) == 0;
}

int usage() {
  std::fprintf(stderr, "usage: datagen [--kind KIND] COUNT [SEED [LENGTH]]; kinds:");
  for (const Kind& kind : kKinds) std::fprintf(stderr, " %s", kind.name);
  std::fprintf(stderr, "\n");
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  AddRecord add = add_lines;
  int next = 1;
  if (argc > 2 && std::strcmp(argv[1], "--kind") == 0) {
    add = find_kind(argv[2]);
    next = 3;
  }
  if (add == nullptr || argc < next + 1 || argc > next + 3) return usage();
  Job job;
  job.count = std::strtoull(argv[next], nullptr, 10);
  if (argc > next + 1) job.seed = std::strtoull(argv[next + 1], nullptr, 10);
  if (argc > next + 2) job.length = std::strtoull(argv[next + 2], nullptr, 10);
  const std::size_t shortest = add == add_lines || add == add_equal || add == add_few ? 1 : kShortest;
  if (job.length < shortest || job.length > kMaxLength) {
    std::fprintf(stderr, "datagen: LENGTH must be %zu to %zu\n", shortest, kMaxLength);
    return 2;
  }
  if (generate(job, add)) return 0;
  std::perror("datagen");
  return 1;
}
