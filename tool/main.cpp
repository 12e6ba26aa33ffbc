// fsort, the command-line tool: its arguments are the sort command line.
//
// The tool adds nothing to the language of the engine. It creates an instance, hands over the arguments,
// shows what the engine says on standard error and passes the status on. Without files the engine reads
// standard input and writes standard output. Only what a shell does to arguments is undone (shell_quotes.h),
// and two arguments are the tool's own when they stand alone: --help and --version. The engine's -h and -v
// are not touched.
//
// Exit status: 0 sorted; 1 an error, or the grammar shown by -h; any other is the code of an aborted sort.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "entry/start_arguments.h"
#include "fsort.h"
#include "help_text.h"
#include "platform/program.h"
#include "shell_quotes.h"

namespace {

constexpr int kExitFailure = 1;

// Messages byte for byte, at once: a reader of standard error sees them even when the process is stopped.
void show(const char* text) {
  std::fputs(text, stderr);
  std::fflush(stderr);
}

int print(const char* text) {
  if (std::fputs(text, stdout) >= 0 && std::fflush(stdout) == 0) return 0;
  std::fprintf(stderr, "fsort: writing to standard output: %s\n", std::strerror(errno));
  return kExitFailure;
}

int sort(const std::vector<std::string>& arguments) {
  std::vector<const char*> vector;
  vector.reserve(arguments.size() + 1);
  for (const std::string& argument : arguments) vector.push_back(argument.c_str());
  const auto count = static_cast<std::int32_t>(vector.size());
  vector.push_back(nullptr);

  fsort_handle handle = FsortCreate(show, nullptr);
  if (handle == nullptr) {
    show("fsort: not enough memory\n");
    return kExitFailure;
  }
  const std::int32_t status = fsort::start_arguments(handle, count, vector.data());
  FsortDestroy(handle);
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  const fsort::ProgramArguments given = fsort::program_begin(argc, argv);
  std::vector<std::string> arguments(given.values, given.values + given.count);
  if (arguments.empty()) arguments.emplace_back("fsort");
  if (arguments.size() == 2 && arguments[1] == "--help") return print(fsort_tool::kHelpText);
  if (arguments.size() == 2 && arguments[1] == "--version") return print(fsort_tool::kVersionText);
  return sort(fsort_tool::restore_quotes(arguments));
}
