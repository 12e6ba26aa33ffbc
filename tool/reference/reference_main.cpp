// Writes the pages that are made from the table of options: fsort_reference <folder of the project>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include "reference.h"

namespace {

std::string content_of(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

bool write(const std::string& path, const std::string& content) {
  if (content.empty()) {
    std::fprintf(stderr, "fsort_reference: nothing to write to %s\n", path.c_str());
    return false;
  }
  if (content == content_of(path)) return true;
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << content;
  file.close();
  std::printf("%s\n", path.c_str());
  return file.good();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "fsort_reference: the folder of the project is wanted\n");
    return 1;
  }
  const std::string root = std::string(argv[1]) + "/";
  const std::string manual = root + "man/fsort.1";
  const bool done = write(root + "docs/OPTIONS.md", fsort_tool::option_reference()) &&
                    write(root + "man/fsort-keys.7", fsort_tool::keys_manual()) &&
                    write(manual, fsort_tool::with_option_list(content_of(manual)));
  return done ? 0 : 1;
}
