// fsort, the command-line tool: what it does beyond the engine is asked for by double-dash options in front;
// the rest of its arguments is the sort command line.
//
// The tool adds nothing to the language of the engine: see request.h for where its own options end. Without
// files the engine reads standard input and writes standard output. Only what a shell does to arguments is
// undone (shell_quotes.h). The engine's -h and -v are not touched.
//
// Exit status: 0 done; 1 an error; otherwise the code of an aborted sort.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "help_text.h"
#include "platform/program.h"
#include "request.h"
#include "run_sort.h"

namespace {

constexpr int kExitFailure = 1;

int print(const char* text) {
  if (std::fputs(text, stdout) >= 0 && std::fflush(stdout) == 0) return 0;
  std::fprintf(stderr, "fsort: writing to standard output: %s\n", std::strerror(errno));
  return kExitFailure;
}

}  // namespace

int main(int argc, char** argv) {
  const fsort::ProgramArguments given = fsort::program_begin(argc, argv);
  const std::vector<std::string> arguments(given.values, given.values + given.count);
  fsort_tool::Request request;
  const std::string wrong = fsort_tool::read_request(arguments, request);
  if (!wrong.empty()) {
    std::fprintf(stderr, "fsort: %s\n", wrong.c_str());
    return kExitFailure;
  }
  switch (request.task) {
    case fsort_tool::Task::help:
      return print(fsort_tool::kHelpText);
    case fsort_tool::Task::version:
      return print(fsort_tool::kVersionText);
    default:
      return fsort_tool::run_sort(request);
  }
}
