// Runs a fuzzing target over files: each argument is an input or a folder of inputs. The process ends with
// the first one that is a find, whose name is then the last line but the find's own.
//
//   replay_command_line tests/fuzz/corpus/command_line        what CTest runs
//   replay_command_line crash-0123abcd                        one input again, in any build
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using Path = std::filesystem::path;

std::vector<Path> inputs_of(int argc, char** argv) {
  std::vector<Path> inputs;
  for (int i = 1; i < argc; ++i) {
    if (!std::filesystem::is_directory(argv[i])) {
      inputs.emplace_back(argv[i]);
      continue;
    }
    for (const auto& entry : std::filesystem::directory_iterator(argv[i])) inputs.push_back(entry.path());
  }
  std::sort(inputs.begin(), inputs.end());
  return inputs;
}

// Names the input before it runs, so that a process that ends inside it has said which one it was.
bool run(const Path& path) {
  std::fprintf(stderr, "%s\n", path.string().c_str());
  std::ifstream file(path, std::ios::binary);
  if (!file) return false;
  const std::vector<char> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  // A block of the exact size: a sanitizer sees a read beyond it.
  const std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
  LLVMFuzzerTestOneInput(input.data(), input.size());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<Path> inputs = inputs_of(argc, argv);
  if (inputs.empty()) {
    std::fprintf(stderr, "replay: no inputs\n");
    return 2;
  }
  for (const Path& path : inputs) {
    if (run(path)) continue;
    std::fprintf(stderr, "replay: cannot read it\n");
    return 2;
  }
  std::printf("%zu inputs\n", inputs.size());
  return 0;
}
