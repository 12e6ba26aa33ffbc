// The C++ layer: ranges in, callables on either side, exceptions out.
//
// Sorts the words of a text, each of them once, in either case; then shows what a mistake and an exception in
// a callable look like where the sort was started.
#include <algorithm>
#include <iostream>
#include <sstream>

#include "fsort.hpp"

int main() {
  std::istringstream text("the Quick brown fox jumps over The lazy dog the end");

  // One sequence for both cases; of words that are equal in it -u keeps one.
  std::string line;
  fsort::sort("-q -u -k 'a'-'z' -r 'A'-'Z'", std::views::istream<std::string>(text),
              [&](std::string_view word) { line.append(word).append(" "); });
  std::cout << line << '\n';

  std::string message;
  try {
    static_cast<void>(fsort::sorted(std::vector<std::string>{"a"}, "-q -nonsense"));
  } catch (const fsort::error& error) {
    message = error.what();
    std::cout << "status " << error.status() << ": " << message;
  }

  bool came_back = false;
  try {
    fsort::sort("-q", std::vector<std::string>{"a", "b"},
                [](std::string_view) { throw std::runtime_error("the disk of the writer is full"); });
  } catch (const std::runtime_error& error) {
    came_back = std::string_view(error.what()) == "the disk of the writer is full";
    std::cout << error.what() << '\n';
  }
  const bool once = std::ranges::count(line, ' ') == 9;
  return once && message.find("invalid argument") != std::string::npos && came_back ? 0 : 1;
}
