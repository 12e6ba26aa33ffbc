// Reading the tool's own options; request.h says where they stand.
#include "request.h"

#include <charconv>
#include <optional>
#include <string_view>

#include "shell_quotes.h"

namespace fsort_tool {
namespace {

// An own option, "--name" or "--name=value".
struct Given {
  std::string_view name;
  std::string_view value;
  bool has_value = false;
};

Given split(std::string_view argument) {
  const std::size_t equals = argument.find('=');
  if (equals == std::string_view::npos) return {argument, {}, false};
  return {argument.substr(0, equals), argument.substr(equals + 1), true};
}

std::string wrong_value(const Given& option, const char* expected) {
  return "\"" + std::string(option.value) + "\" is no value of " + std::string(option.name) + ": " + expected;
}

// The options that take no value. Result: whether `option` is one.
bool take_plain(const Given& option, Request& request) {
  if (option.name == "--version")
    request.task = Task::version;
  else if (option.name == "--check")
    request.task = Task::check;
  else if (option.name == "--verify")
    request.verify = true;
  else if (option.name == "--atomic")
    request.atomic = true;
  else if (option.name == "--complete")
    request.complete = true;
  else
    return false;
  return true;
}

std::string take_explain(const Given& option, Request& request) {
  request.task = Task::explain;
  if (!option.has_value) return {};
  const char* end = option.value.data() + option.value.size();
  const auto [last, error] = std::from_chars(option.value.data(), end, request.explained_records);
  return error == std::errc() && last == end ? std::string()
                                             : wrong_value(option, "how many records to show");
}

std::string take_progress(const Given& option, Request& request) {
  if (!option.has_value || option.value == "auto")
    request.progress = When::automatic;
  else if (option.value == "always")
    request.progress = When::always;
  else if (option.value == "never")
    request.progress = When::never;
  else
    return wrong_value(option, "auto, always or never");
  return {};
}

bool takes_topic(const Given& option) { return option.name == "--help" || option.name == "--completion"; }

// Result: "", what is wrong, or nothing when there is no such option.
std::optional<std::string> take(const Given& option, Request& request) {
  if (option.name == "--explain") return take_explain(option, request);
  if (option.name == "--progress") return take_progress(option, request);
  if (takes_topic(option)) {
    request.task = option.name == "--help" ? Task::help : Task::completion;
    request.topic = option.value;
    return "";
  }
  if (!take_plain(option, request)) return std::nullopt;
  return option.has_value ? std::string(option.name) + " takes no value" : std::string();
}

// What only a sort can do is refused elsewhere: it would be missed in silence.
std::string without_sort(const Request& request) {
  if (request.task != Task::check && request.task != Task::explain) return {};
  const char* const task = request.task == Task::check ? "--check" : "--explain";
  const char* only = nullptr;
  if (request.complete) only = "--complete";
  if (request.atomic) only = "--atomic";
  if (request.verify) only = "--verify";
  return only == nullptr ? std::string() : std::string(only) + " belongs to a sort, not to " + task;
}

}  // namespace

std::string read_request(const std::vector<std::string>& arguments, Request& request) {
  std::size_t next = 1;
  for (; next < arguments.size() && arguments[next].starts_with("--"); ++next) {
    if (arguments[next] == "--") {
      ++next;
      break;
    }
    const Given option = split(arguments[next]);
    const std::optional<std::string> wrong = take(option, request);
    if (!wrong.has_value()) break;  // the engine says that it is invalid
    if (!wrong->empty()) return *wrong;
    // "--help keys" is as good as "--help=keys".
    if (takes_topic(option) && !option.has_value && next + 1 < arguments.size()) {
      request.topic = arguments[++next];
    }
  }
  std::vector<std::string> rest{arguments.empty() ? "fsort" : arguments[0]};
  rest.insert(rest.end(), arguments.begin() + static_cast<std::ptrdiff_t>(next), arguments.end());
  request.sort_arguments = restore_quotes(rest);
  return without_sort(request);
}

}  // namespace fsort_tool
