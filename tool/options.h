// The table of all options: those of the sort command line, which the engine takes, and the tool's own.
//
// One row an option, in the order in which a reader wants to meet them. Whatever lists options is made from
// it: the page of --help, its topics, the completion scripts, the hints beneath an error (hints.h), the
// reference (docs/OPTIONS.md) and the list in fsort(1). What is to be said in more than a line stands in the
// option's page (pages.h), whose front matter names the same option and the same operand.
//
// The engine does not use the table. A test runs every row through it and tries every name that has no row.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace fsort_tool {

// The chapters under which options are listed.
enum class Group { keys, fields, records, files, memory, messages, macros, tool };

// What an operand is: what a shell can complete it with, and what a hint says was expected.
enum class Operand { none, file, folder, kilobytes, bytes, number, range, word, rest };

struct Option {
  std::string_view name;     // as it is written, in lower case
  std::string_view operand;  // as the grammar writes it, "" for none
  Operand kind;
  Group group;
  std::string_view page;     // its file below docs/options, without ".md"
  std::string_view summary;  // what it does, in a few words without a full stop
  bool often = false;        // one of those that --help shows
  std::string_view words{};  // the values of Operand::word, separated by blanks
};

// All options, groups in the order of Group.
[[nodiscard]] std::span<const Option> all_options();

struct GroupName {
  Group group;
  std::string_view topic;  // what --help calls it
  std::string_view title;
};

// All groups, in their order.
[[nodiscard]] std::span<const GroupName> all_groups();

// The option of this name, in any case of letters, or null.
[[nodiscard]] const Option* find_option(std::string_view name);

// The tool's own options begin with a double dash; all others belong to the sort command line.
[[nodiscard]] constexpr bool is_own(const Option& option) { return option.name.starts_with("--"); }

// Whether an option needs an operand: those in square brackets may be left away.
[[nodiscard]] constexpr bool needs_operand(const Option& option) {
  return option.kind != Operand::none && !option.operand.starts_with('[');
}

// Name and operand as they are written: "-t <range>...", "--explain[=<records>]".
[[nodiscard]] std::string usage_of(const Option& option);

// The lower case of ASCII letters.
[[nodiscard]] std::string lower_case(std::string_view text);

}  // namespace fsort_tool
