// The rows of the table of options: see options.h.
#include "options.h"

#include <algorithm>

namespace fsort_tool {
namespace {

constexpr GroupName kGroups[] = {
    {Group::keys, "keys", "Keys"},
    {Group::fields, "fields", "Fields"},
    {Group::records, "records", "Records"},
    {Group::files, "files", "Files"},
    {Group::memory, "memory", "Memory and work files"},
    {Group::messages, "messages", "Messages"},
    {Group::macros, "command", "Macros and include files"},
    {Group::tool, "tool", "The tool's own options, in front of the sort command line"},
};

constexpr bool kOften = true;

constexpr Option kOptions[] = {
    {"-k", "[<range>... [-r <range>...]]", Operand::range, Group::keys, "k",
     "character key; ranges are its order", kOften},
    {"-n", "[<range>...]", Operand::range, Group::keys, "n", "numeric key", kOften},
    {"-f", "<range>...", Operand::range, Group::keys, "f", "fields of the key, counted from 0", kOften},
    {"-c", "<range>...", Operand::range, Group::keys, "c", "columns of the key, counted from 0", kOften},
    {"-i", "", Operand::none, Group::keys, "i", "descending: all keys, or one", kOften},
    {"-u", "", Operand::none, Group::keys, "u", "one record of each set with equal keys", kOften},
    {"-s", "<range>...", Operand::range, Group::keys, "s", "sign byte that governs the keys behind it"},
    {"-d", "<decimal count>", Operand::number, Group::keys, "d",
     "fraction digits of a numeric key that count"},
    {"-r", "<range>...", Operand::range, Group::keys, "r", "in a sequence: the same ranks once more"},
    {"(", "<key field>... )", Operand::rest, Group::keys, "group", "keys counted from the start of a region"},

    {"-t", "<range>...", Operand::range, Group::fields, "t", "field delimiters, the tab without it", kOften},
    {"-b", "<range>...", Operand::range, Group::fields, "b", "blanks that are skipped in front of fields"},
    {"-mfr", "", Operand::none, Group::fields, "mfr", "missing fields are empty, not an error"},
    {"-mcf", "", Operand::none, Group::fields, "mcf", "a key beyond its field is empty"},
    {"-mcr", "", Operand::none, Group::fields, "mcr", "a key beyond its field is taken behind it"},

    {"-rt", "[<size>]", Operand::bytes, Group::records, "rt", "text lines up to this size, 511 without it"},
    {"-rf", "<size>", Operand::bytes, Group::records, "rf", "fixed-length records of this size", kOften},
    {"-rv", "[<position range> [<size>]]", Operand::range, Group::records, "rv",
     "variable-length records and where their length stands"},

    {"-in", "<file>...", Operand::file, Group::files, "in", "input files, up to 16; also '<file'", kOften},
    {"-out", "<file>", Operand::file, Group::files, "out", "output file; also '>file'", kOften},
    {"-bs", "<size in K>", Operand::kilobytes, Group::files, "bs", "size of input and output buffers"},
    {"-ibs", "<size in K>", Operand::kilobytes, Group::files, "ibs", "size of the input buffers"},
    {"-obs", "<size in K>", Operand::kilobytes, Group::files, "obs", "size of the output buffers"},

    {"-m", "<size in K>", Operand::kilobytes, Group::memory, "m", "memory for the records"},
    {"-w", "[<directory>]", Operand::folder, Group::memory, "w", "directory of the work files"},
    {"-l", "<size in K>", Operand::kilobytes, Group::memory, "l", "length of a memory segment"},
    {"-fs", "<size in K>", Operand::kilobytes, Group::memory, "fs", "expected size of the input"},
    {"-rs", "<bytes>", Operand::bytes, Group::memory, "rs", "expected size of a record"},
    {"-wb", "<size in K>", Operand::kilobytes, Group::memory, "wb", "size of the buffers to work files"},
    {"-rb", "<size in K>", Operand::kilobytes, Group::memory, "rb", "size of the buffers from work files"},

    {"-q", "", Operand::none, Group::messages, "q", "no timing lines"},
    {"-v", "[<level>]", Operand::number, Group::messages, "v", "lines about the levels of distribution"},
    {"-h", "", Operand::none, Group::messages, "h", "the grammar as the engine shows it; status 1"},

    {"-#define", "<name> [<argument>...] -#end", Operand::rest, Group::macros, "define",
     "names a list of arguments"},
    {"-#end", "", Operand::none, Group::macros, "end", "ends a definition"},
    {"-#include", "<file>", Operand::file, Group::macros, "include", "reads arguments from a file"},

    {"--help", "[=<topic>]", Operand::word, Group::tool, "tool/help",
     "the short page, a chapter, or the page of an option", false,
     "keys fields records files memory messages command tool options examples topics"},
    {"--version", "", Operand::none, Group::tool, "tool/version", "name and version"},
    {"--explain", "[=<records>]", Operand::number, Group::tool, "tool/explain",
     "says what would be sorted how, and shows the keys of the first records"},
    {"--check", "", Operand::none, Group::tool, "tool/check", "tells whether the input is in order"},
    {"--progress", "[=auto|always|never]", Operand::word, Group::tool, "tool/progress",
     "shows how far a long sort is", false, "auto always never"},
    {"--verify", "", Operand::none, Group::tool, "tool/verify", "proves the output while it is written"},
    {"--atomic", "", Operand::none, Group::tool, "tool/atomic",
     "the output file appears whole or not at all"},
    {"--complete", "", Operand::none, Group::tool, "tool/complete", "supplies a missing last line break"},
    {"--completion", "=<shell>", Operand::word, Group::tool, "tool/completion",
     "the script that completes command lines in a shell", false, "bash zsh fish"},
    {"--", "", Operand::none, Group::tool, "tool/end", "ends the tool's own options"},
};

}  // namespace

std::span<const Option> all_options() { return kOptions; }

std::span<const GroupName> all_groups() { return kGroups; }

const Option* find_option(std::string_view name) {
  const std::string lower = lower_case(name);
  const auto found = std::ranges::find(kOptions, std::string_view(lower), &Option::name);
  return found == std::end(kOptions) ? nullptr : found;
}

std::string usage_of(const Option& option) {
  std::string text(option.name);
  const bool attached = option.operand.starts_with('=') || option.operand.starts_with("[=");
  if (!option.operand.empty() && !attached) text += ' ';
  return text += option.operand;
}

std::string lower_case(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return lower;
}

}  // namespace fsort_tool
