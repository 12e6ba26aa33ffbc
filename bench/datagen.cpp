// Writes the same text lines for the same arguments on every machine.
//
//   datagen COUNT [SEED [LENGTH]]     COUNT lines of LENGTH bytes (100), the line break included
//
// A line consists of random printable characters (blank to ~). The generator is SplitMix64: one state word,
// one number a step, eight characters taken from the eight bytes of a number. A byte b becomes b * 95 / 256,
// so that some characters are a third more likely than others; for sorting that makes no difference.
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

constexpr std::uint64_t kDefaultSeed = 1;
constexpr std::size_t kDefaultLength = 100;
constexpr std::size_t kBufferBytes = std::size_t{1} << 20;
constexpr std::uint32_t kFirstCharacter = ' ';
constexpr std::uint32_t kCharacters = 95;

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

void fill_line(SplitMix64& random, char* line, std::size_t length) {
  std::uint64_t bits = 0;
  for (std::size_t i = 0; i + 1 < length; ++i) {
    if (i % 8 == 0) bits = random.next();
    line[i] = static_cast<char>(kFirstCharacter + (((bits & 0xFF) * kCharacters) >> 8));
    bits >>= 8;
  }
  line[length - 1] = '\n';
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2 || argc > 4) {
    std::fprintf(stderr, "usage: datagen COUNT [SEED [LENGTH]]\n");
    return 2;
  }
  const std::uint64_t count = std::strtoull(argv[1], nullptr, 10);
  SplitMix64 random(argc > 2 ? std::strtoull(argv[2], nullptr, 10) : kDefaultSeed);
  const std::size_t length = argc > 3 ? std::strtoull(argv[3], nullptr, 10) : kDefaultLength;
  if (length < 1 || length > kBufferBytes) {
    std::fprintf(stderr, "datagen: LENGTH must be 1 to %zu\n", kBufferBytes);
    return 2;
  }
  std::vector<char> buffer(kBufferBytes / length * length);
  std::size_t used = 0;
  for (std::uint64_t i = 0; i < count; ++i) {
    fill_line(random, buffer.data() + used, length);
    used += length;
    if (used == buffer.size() || i + 1 == count) {
      if (std::fwrite(buffer.data(), 1, used, stdout) != used) {
        std::perror("datagen");
        return 1;
      }
      used = 0;
    }
  }
  if (std::fflush(stdout) == 0) return 0;
  std::perror("datagen");
  return 1;
}
