// What the tool itself is asked for: the arguments that begin with a double dash, in front of the sort
// command line.
//
// They are taken from the first argument on, up to the first one that does not begin with a double dash. What
// follows is the sort command line, which goes to the engine as it stands: "--" itself ends the tool's
// options for a sort command line that begins with a double dash of its own.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace fsort_tool {

enum class When { never, automatic, always };

// What is to be done with the sort command line.
enum class Task { sort, explain, check, help, version, completion };

struct Request {
  Task task = Task::sort;
  std::string topic;                    // of --help, "" for its first page; the shell of --completion
  std::uint64_t explained_records = 5;  // of --explain
  When progress = When::never;
  bool verify = false;
  bool atomic = false;
  bool complete = false;
  std::vector<std::string> sort_arguments;  // element 0 is the command name; quotes put back (shell_quotes.h)
};

// Reads the arguments of a command line, element 0 being the command name, into `request`.
// Result: "", or what is wrong with the tool's own options, a sentence without a line break.
[[nodiscard]] std::string read_request(const std::vector<std::string>& arguments, Request& request);

}  // namespace fsort_tool
