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
#include <optional>
#include <string>
#include <vector>

#include "check.h"
#include "completion.h"
#include "explain.h"
#include "help_text.h"
#include "help_topics.h"
#include "platform/program.h"
#include "platform/program_pages.h"
#include "request.h"
#include "run_sort.h"

namespace {

constexpr int kExitFailure = 1;

int print(const char* text) {
  if (std::fputs(text, stdout) >= 0 && std::fflush(stdout) == 0) return 0;
  std::fprintf(stderr, "fsort: writing to standard output: %s\n", std::strerror(errno));
  return kExitFailure;
}

int fail(const std::string& wrong) {
  std::fprintf(stderr, "fsort: %s\n", wrong.c_str());
  return kExitFailure;
}

int show_help(const std::string& topic) {
  const std::optional<std::string> text = fsort_tool::help_on(topic);
  if (!text.has_value()) return fail(fsort_tool::no_help_on(topic));
  return fsort::program_page(text->c_str()) ? 0 : print(text->c_str());
}

int show_completion(const std::string& shell) {
  const std::string script = fsort_tool::completion_script(shell);
  if (script.empty()) return fail("\"" + shell + "\" is no value of --completion: bash, zsh or fish");
  return print(script.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  const fsort::ProgramArguments given = fsort::program_begin(argc, argv);
  const std::vector<std::string> arguments(given.values, given.values + given.count);
  fsort_tool::Request request;
  const std::string wrong = fsort_tool::read_request(arguments, request);
  if (!wrong.empty()) return fail(wrong);
  switch (request.task) {
    case fsort_tool::Task::help:
      return show_help(request.topic);
    case fsort_tool::Task::completion:
      return show_completion(request.topic);
    case fsort_tool::Task::version:
      return print(fsort_tool::kVersionText);
    case fsort_tool::Task::explain:
      return fsort_tool::explain(request);
    case fsort_tool::Task::check:
      return fsort_tool::check(request);
    default:
      return fsort_tool::run_sort(request);
  }
}
