// Hints about invalid arguments: see argument_hints.h.
//
// The first refused argument is looked at; what follows it was mostly refused because it was. In this order:
//   1. an option of the tool that stands too late, or a slip in one
//   2. an option that other programs write in another way (-o, -nr, --reverse)
//   3. an option with its value stuck to it (-k2, -t;)
//   4. an option of the engine: it stands where it cannot be taken, or is there twice
//   5. a slip in an option of the engine
//   6. a word: a value that no option takes, or the name of a file
#include "argument_hints.h"

#include <algorithm>
#include <optional>
#include <string_view>

#include "nearest.h"
#include "options.h"

namespace fsort_tool {
namespace {

using Hint = std::optional<std::string>;

// Spellings of other programs, and what is meant here.
struct Foreign {
  std::string_view spelling;
  std::string_view here;
};

constexpr Foreign kForeign[] = {
    {"-o", "-out <file> names the output file"},
    {"-r", "-i sorts descending (-r stands within the sequence of -k)"},
    {"-nr", "-n -i sorts numbers, descending"},
    {"-rn", "-n -i sorts numbers, descending"},
    {"-g", "-n sorts numbers"},
    {"-ru", "-u -i keeps one of each, descending"},
    {"-z", "-rt reads lines; records end with a line break"},
    {"-a", "-k 0-255 compares by every byte"},
    {"-desc", "-i sorts descending"},
    {"-asc", "ascending order is what -k and -n have without -i"},
    {"-help", "fsort --help is the short page"},
    {"-version", "fsort --version shows the version"},
    {"-?", "fsort --help is the short page"},
    {"/?", "fsort --help is the short page"},
    {"--reverse", "-i sorts descending"},
    {"--unique", "-u keeps one of each set with equal keys"},
    {"--key", "-k is a character key, -n a numeric one; -f and -c behind it say where"},
    {"--numeric-sort", "-n is a numeric key"},
    {"--general-numeric-sort", "-n is a numeric key"},
    {"--numeric", "-n is a numeric key"},
    {"--field-separator", "-t <range>... names the delimiters"},
    {"--separator", "-t <range>... names the delimiters"},
    {"--delimiter", "-t <range>... names the delimiters"},
    {"--output", "-out <file> names the output file"},
    {"--input", "-in <file>... names the input files"},
    {"--buffer-size", "-m <size in K> is the memory for the records"},
    {"--memory", "-m <size in K> is the memory for the records"},
    {"--temporary-directory", "-w <directory> is where work files go"},
    {"--ignore-case", "-k 'a'-'z' -r 'A'-'Z' compares letters without their case"},
    {"--ignore-leading-blanks", "-b skips blanks in front of fields"},
    {"--parallel", "a sort runs on one thread"},
    {"--stable", "the order of records with equal keys cannot be asked for; add a key"},
    {"--quiet", "-q shows no timing lines"},
    {"--verbose", "-v shows the levels of distribution"},
};

std::string quoted(std::string_view text) { return '"' + std::string(text) + '"'; }

std::string see(const Option& option) {
  return usage_of(option) + " (fsort --help " + std::string(option.name) + ")";
}

std::string without_value(const std::string& argument) { return argument.substr(0, argument.find('=')); }

Hint own_option(const std::string& argument) {
  if (!argument.starts_with("--") || argument == "--") return std::nullopt;
  const Option* option = find_option(without_value(argument));
  if (option == nullptr || !is_own(*option)) return std::nullopt;
  return quoted(argument) + " belongs in front of the sort command line: fsort " + argument + " ...";
}

Hint foreign_option(const std::string& argument) {
  const std::string lower = lower_case(without_value(argument));
  // -r is an option of the engine too, but one that it never refuses within a sequence.
  if (find_option(lower) != nullptr && lower != "-r") return std::nullopt;
  const auto* found = std::ranges::find(kForeign, std::string_view(lower), &Foreign::spelling);
  if (found == std::end(kForeign)) return std::nullopt;
  return quoted(argument) + " is no option here: " + std::string(found->here);
}

bool looks_like_a_value(std::string_view value) {
  return !value.empty() && !(value[0] >= 'a' && value[0] <= 'z') && !(value[0] >= 'A' && value[0] <= 'Z');
}

// "-k2": fields have an option of their own. "-t;", "-m512m": the value is an argument of its own.
Hint attached_value(const std::string& argument) {
  const Option* best = nullptr;
  for (const Option& option : all_options()) {
    const bool takes_one = option.kind != Operand::none && option.kind != Operand::rest && !is_own(option);
    if (!takes_one || !lower_case(argument).starts_with(option.name)) continue;
    if (best == nullptr || option.name.size() > best->name.size()) best = &option;
  }
  if (best == nullptr) return std::nullopt;
  std::string value = argument.substr(best->name.size());
  if (value.starts_with('=')) value = value.substr(1);
  if (!looks_like_a_value(value)) return std::nullopt;
  const std::string name(best->name);
  if (best->name == "-k" || best->name == "-n") {
    return quoted(argument) + ": fields are named by -f and count from 0: " + name + " -f " +
           (value[0] >= '1' && value[0] <= '9' ? std::to_string(std::stoul(value.substr(0, 5)) - 1) : "0");
  }
  return quoted(argument) + ": a value is an argument of its own: " + name + " " + value;
}

bool is_key_option(std::string_view name) {
  return name == "-k" || name == "-n" || name == "-s" || name == "(" || name == "-f" || name == "-c" ||
         name == "-i" || name == "-b" || name == "-d" || name == "-r";
}

std::ptrdiff_t times_given(const std::vector<std::string>& arguments, const std::string& argument) {
  return std::count_if(arguments.begin() + 1, arguments.end(),
                       [&](const std::string& other) { return lower_case(other) == lower_case(argument); });
}

// The option in front of a refused key that ended the list of keys, or null.
const Option* option_in_front(const std::vector<std::string>& arguments, const std::string& argument) {
  bool seen_key = false;
  const Option* last = nullptr;
  const Option* interrupting = nullptr;
  for (std::size_t i = 1; i < arguments.size(); ++i) {
    if (lower_case(arguments[i]) == lower_case(argument) && interrupting != nullptr) return interrupting;
    last = find_option(arguments[i]);
    if (last == nullptr) continue;
    if (is_key_option(last->name)) {
      seen_key = true;
    } else if (seen_key) {
      interrupting = last;
    }
  }
  return nullptr;
}

Hint known_option(const std::vector<std::string>& arguments, const std::string& argument) {
  const Option* option = find_option(argument);
  if (option == nullptr || is_own(*option)) return std::nullopt;
  if (is_key_option(option->name)) {
    if (const Option* front = option_in_front(arguments, argument); front != nullptr) {
      return quoted(argument) + ": " + std::string(front->name) +
             " stands between the keys and ends them; write it in front of the first key or behind the last";
    }
    if (option->name == "-i") return "\"-i\" stands in front of the keys, or of -f and -c within one";
    return quoted(argument) + " cannot stand here; expected: " + see(*option);
  }
  if (times_given(arguments, argument) > 1) return quoted(argument) + " is given more than once";
  return quoted(argument) + " cannot stand here; expected: " + see(*option);
}

Hint slip(const std::string& argument) {
  if (!argument.starts_with('-')) return std::nullopt;
  std::vector<std::string_view> names;
  for (const Option& option : all_options()) {
    if (argument.starts_with("--") == is_own(option)) names.push_back(option.name);
  }
  const std::string name = without_value(argument);
  std::string_view near = nearest(name, names);
  if (near.empty() && argument.starts_with("--")) {
    // One dash too many, and perhaps the longer spelling of it: --out, --rf.
    const Option* option = find_option(name.substr(1));
    if (option != nullptr) near = option->name;
  }
  if (near.empty()) return std::nullopt;
  const Option* option = find_option(near);
  const std::string place = is_own(*option) ? ", in front of the sort command line" : "";
  return quoted(argument) + " is no option; " + usage_of(*option) + " is near" + place + " (fsort --help " +
         std::string(near) + ")";
}

// The option in front of a value that was not taken, or null.
const Option* option_before(const std::vector<std::string>& arguments, const std::string& argument) {
  for (std::size_t i = 2; i < arguments.size(); ++i) {
    if (arguments[i] == argument) return find_option(arguments[i - 1]);
  }
  return nullptr;
}

std::string word(const std::vector<std::string>& arguments, const std::string& argument) {
  if (argument == ")") return "\")\" has no \"(\" in front of it";
  const Option* before = option_before(arguments, argument);
  const bool is_number = !argument.empty() && argument[0] >= '0' && argument[0] <= '9';
  const bool takes_words =
      before != nullptr && before->kind != Operand::none && before->kind != Operand::rest;
  if (takes_words && before->kind == Operand::range) {
    return quoted(argument) + " is no range of " + std::string(before->name) +
           ": bytes are numbers or quoted characters, as in " + std::string(before->name) + " 59 or " +
           std::string(before->name) + " \"';'\"";
  }
  if (is_number) return quoted(argument) + ": no option in front of it takes this number";
  return quoted(argument) + " is no option; input files are named by -in " + argument + " or '<" + argument +
         "', the output by -out";
}

}  // namespace

std::string hint_about_arguments(const std::vector<std::string>& arguments,
                                 const std::vector<std::string>& refused) {
  const std::string& first = refused.front();
  if (const Hint hint = own_option(first)) return *hint;
  if (const Hint hint = foreign_option(first)) return *hint;
  if (const Hint hint = known_option(arguments, first)) return *hint;
  if (const Hint hint = attached_value(first)) return *hint;
  if (const Hint hint = slip(first)) return *hint;
  if (first.starts_with('-')) return quoted(first) + " is no option; fsort --help options lists them";
  return word(arguments, first);
}

std::vector<std::string> refused_arguments(const std::string& message) {
  constexpr std::string_view kOne = " is an invalid argument";
  constexpr std::string_view kMore = " are invalid arguments";
  if (message.ends_with(kOne)) return {message.substr(0, message.size() - kOne.size())};
  if (!message.ends_with(kMore)) return {};
  std::string list = message.substr(0, message.size() - kMore.size());
  std::vector<std::string> refused;
  const std::size_t last = list.rfind(" and ");
  if (last != std::string::npos) {
    refused.push_back(list.substr(last + 5));
    list.resize(last);
  }
  while (true) {
    // A comma in the middle of a character constant belongs to it.
    std::size_t comma = list.rfind(',');
    if (comma != std::string::npos && comma > 0 && list[comma - 1] == '\'' && list.size() > comma + 1 &&
        list[comma + 1] == '\'') {
      comma = comma > 1 ? list.rfind(',', comma - 1) : std::string::npos;
    }
    refused.insert(refused.begin(), comma == std::string::npos ? list : list.substr(comma + 1));
    if (comma == std::string::npos) return refused;
    list.resize(comma);
  }
}

}  // namespace fsort_tool
