// Writes the same records for the same arguments on every machine.
//
//   datagen [--kind KIND[:N]] COUNT [SEED [LENGTH]]     COUNT records of LENGTH bytes (100), the line break
//   included
//
//   lines      random printable characters (blank to ~); the default
//   short      1 to 11 random characters; LENGTH does not count
//   equal      the same random line again and again
//   prefix[:N] N characters (60) that are the same in every line, then random ones
//   sorted     random-looking lines in ascending order: eight characters that grow evenly, then random ones
//   reversed   the same in descending order
//   hot        random lines, of which 30 of 100 begin with the same ten characters
//   numbers    a number of up to nine digits, with or without sign and decimals, a tab, eight characters;
//              LENGTH does not count
//   few[:N]    lines drawn from N (1000) different ones
//   fields     "K07;letters;12.5;-4711.08;text", about 40 bytes: one of 2600 codes, letters of either case,
//              one of 1000 decimals, a signed number with two decimals; LENGTH does not count
//   words      short words of lower-case letters, the r-th word as often as 1/r (131072 words)
//   logs       log lines and URLs in turn at random, about 80 bytes, with long beginnings in common
//   fixed      random bytes without line breaks
//   variable   two bytes that count the rest, low byte first, then LENGTH / 5 to LENGTH * 9 / 5 characters
//   counted    one byte that counts the rest, then 20 to 127 characters; LENGTH does not count
//
// The generator is SplitMix64: one state word, one number a step, eight characters taken from the eight bytes
// of a number. A byte b becomes b * 95 / 256, so that some characters are a third more likely than others;
// for sorting that makes no difference.
#include <algorithm>
#include <bit>
#include <cinttypes>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr std::uint64_t kDefaultSeed = 1;
constexpr std::size_t kDefaultLength = 100;
constexpr std::size_t kMaxLength = 60000;
constexpr std::size_t kBufferBytes = std::size_t{1} << 20;
constexpr std::uint32_t kFirstCharacter = ' ';
constexpr std::uint32_t kCharacters = 95;
constexpr std::uint64_t kPrefixBytes = 60;
constexpr std::size_t kGrowingBytes = 8;
constexpr std::string_view kHotKey = "hot hot ho";
constexpr std::uint64_t kHotPercent = 30;
constexpr std::uint64_t kFewLines = 1000;
constexpr std::uint64_t kWords = 131072;
constexpr std::uint64_t kWeightOfFirstWord = std::uint64_t{1} << 40;
constexpr std::size_t kWordBuckets = 65536;
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
  std::uint64_t number = 0;  // the N of a KIND:N
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
  static const std::string prefix(job.number, 'p');
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
  SplitMix64 line(job.seed ^ (random.next() % job.number * 0xD1B54A32D192ED03U));
  add_line(line, {}, job.length, to);
}

[[gnu::format(printf, 2, 3)]] void add_text(std::string& to, const char* format, ...) {
  char text[160];
  va_list values;
  va_start(values, format);
  const int length = std::vsnprintf(text, sizeof text, format, values);
  va_end(values);
  to.append(text, static_cast<std::size_t>(length));
}

void add_fields(const Job&, std::uint64_t, SplitMix64& random, std::string& to) {
  const std::uint64_t bits = random.next();
  add_text(to, "%c%02u;", static_cast<int>('A' + bits % 26), static_cast<unsigned>((bits >> 8) % 100));
  std::uint64_t letters = random.next();
  for (std::uint64_t left = 6 + (bits >> 16) % 4; left > 0; --left, letters >>= 6) {
    to += static_cast<char>(((letters & 0x20) != 0 ? 'a' : 'A') + (letters & 0x1F) % 26);
  }
  const auto tenths = static_cast<unsigned>((bits >> 24) % 1000);
  add_text(to, ";%u.%u;", tenths / 10, tenths % 10);
  const std::uint64_t hundredths = 1 + random.next() % 999999999;
  add_text(to, "%s%" PRIu64 ".%02u;", (bits & 0x80) != 0 ? "-" : "", hundredths / 100,
           static_cast<unsigned>(hundredths % 100));
  add_text(to, "%010" PRIx64 "\n", random.next() >> 24);
}

// Draws ranks from 1 on, rank r with a weight of 1/r. Whole numbers only: no rounding differs from machine to
// machine.
class ZipfRanks {
 public:
  ZipfRanks() : ends_(kWords), first_(kWordBuckets + 1) {
    for (std::uint64_t r = 1; r <= kWords; ++r) ends_[r - 1] = total_ += kWeightOfFirstWord / r;
    for (std::size_t i = 0; i <= kWordBuckets; ++i)
      first_[i] = rank_of(0, ends_.size(), total_ / kWordBuckets * i);
  }
  std::uint64_t draw(SplitMix64& random) const {
    const std::uint64_t at = random.next() % total_;
    const std::size_t bucket = at / (total_ / kWordBuckets);
    const std::size_t last = bucket < kWordBuckets ? first_[bucket + 1] + 1 : ends_.size();
    return 1 + rank_of(first_[bucket], last, at);
  }

 private:
  // Index of the first end above `at`.
  std::size_t rank_of(std::size_t low, std::size_t high, std::uint64_t at) const {
    const auto begin = ends_.begin();
    const auto found =
        std::upper_bound(begin + static_cast<std::ptrdiff_t>(low),
                         begin + static_cast<std::ptrdiff_t>(std::min(high, ends_.size())), at);
    return std::min(static_cast<std::size_t>(found - begin), ends_.size() - 1);
  }

  std::vector<std::uint64_t> ends_;
  std::vector<std::size_t> first_;  // where to look, by the equal part of the total that a number lies in
  std::uint64_t total_ = 0;
};

// Frequent words are short.
void add_word(const Job&, std::uint64_t, SplitMix64& random, std::string& to) {
  static const ZipfRanks ranks;
  const std::uint64_t rank = ranks.draw(random);
  std::uint64_t letters = SplitMix64(rank).next();
  for (std::uint64_t left = 3 + std::bit_width(rank) / 3 + letters % 3; left > 0; --left) {
    letters = letters / 3 + (letters << 57);
    to += static_cast<char>('a' + (letters >> 20) % 26);
  }
  to += '\n';
}

void add_log(const Job&, std::uint64_t, SplitMix64& random, std::string& to) {
  static const char* const sections[] = {"mathematics", "music",   "medicine", "mechanics",
                                         "literature",  "geology", "geometry", "geography"};
  const std::uint64_t bits = random.next();
  const std::uint64_t id = random.next() >> 16;
  if ((bits & 1) != 0) {
    add_text(to, "https://www.example.org/catalogue/%s/article-%05u/index.html?session=%012" PRIx64 "\n",
             sections[(bits >> 1) % 8], static_cast<unsigned>((bits >> 4) % 20000), id);
    return;
  }
  const auto milliseconds = static_cast<unsigned>((bits >> 1) % 86400000);
  const unsigned seconds = milliseconds / 1000;
  add_text(to,
           "2026-03-14T%02u:%02u:%02u.%03u INFO  worker-%02u request=%012" PRIx64 " status=200 bytes=%u\n",
           seconds / 3600, seconds / 60 % 60, seconds % 60, milliseconds % 1000,
           static_cast<unsigned>((bits >> 32) % 16), id, static_cast<unsigned>((bits >> 40) % 100000));
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

void add_counted(const Job&, std::uint64_t, SplitMix64& random, std::string& to) {
  const std::size_t length = 20 + random.next() % 108;
  to += static_cast<char>(length);
  add_characters(random, length, to);
}

using AddRecord = void (*)(const Job&, std::uint64_t, SplitMix64&, std::string&);

struct Kind {
  const char* name;
  AddRecord add;
  std::size_t shortest;      // of a LENGTH
  std::uint64_t number = 0;  // of a KIND:N; 0: takes none
};

constexpr Kind kKinds[] = {
    {"lines", add_lines, 1},
    {"short", add_short, 1},
    {"equal", add_equal, 1},
    {"prefix", add_prefix, kShortest, kPrefixBytes},
    {"sorted", add_growing, kShortest},
    {"reversed", add_shrinking, kShortest},
    {"hot", add_hot, kShortest},
    {"numbers", add_number, 1},
    {"few", add_few, 1, kFewLines},
    {"fields", add_fields, 1},
    {"words", add_word, 1},
    {"logs", add_log, 1},
    {"fixed", add_fixed, kShortest},
    {"variable", add_variable, kShortest},
    {"counted", add_counted, 1},
};

// Finds KIND or KIND:N and notes the N.
const Kind* find_kind(std::string_view name, Job& job) {
  const std::size_t colon = name.find(':');
  for (const Kind& kind : kKinds) {
    if (name.substr(0, colon) != kind.name) continue;
    job.number = kind.number;
    if (colon == std::string_view::npos) return &kind;
    job.number = std::strtoull(name.data() + colon + 1, nullptr, 10);
    return kind.number != 0 && job.number != 0 ? &kind : nullptr;
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
  std::fprintf(stderr, "usage: datagen [--kind KIND[:N]] COUNT [SEED [LENGTH]]; kinds:");
  for (const Kind& kind : kKinds) std::fprintf(stderr, " %s", kind.name);
  std::fprintf(stderr, "\n");
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  Job job;
  const char* name = "lines";
  int next = 1;
  if (argc > 2 && std::strcmp(argv[1], "--kind") == 0) {
    name = argv[2];
    next = 3;
  }
  const Kind* kind = find_kind(name, job);
  if (kind == nullptr || argc < next + 1 || argc > next + 3) return usage();
  job.count = std::strtoull(argv[next], nullptr, 10);
  if (argc > next + 1) job.seed = std::strtoull(argv[next + 1], nullptr, 10);
  if (argc > next + 2) job.length = std::strtoull(argv[next + 2], nullptr, 10);
  if (job.length < kind->shortest || job.length > kMaxLength) {
    std::fprintf(stderr, "datagen: LENGTH must be %zu to %zu\n", kind->shortest, kMaxLength);
    return 2;
  }
  if (generate(job, kind->add)) return 0;
  std::perror("datagen");
  return 1;
}
