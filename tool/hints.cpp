// Hints beneath an error: see hints.h.
//
// The engine's text is its message, perhaps with a line of the system behind it, and then the titles of the
// steps that it ended. The message is looked for in front of the first title: what comes before it may be a
// record, which can look like anything. Each message about a command line, and each about records that an
// option could help with, has a row below; invalid arguments are argument_hints.h's.
#include "hints.h"

#include <algorithm>
#include <string_view>

#include "argument_hints.h"
#include "options.h"

namespace fsort_tool {
namespace {

struct Row {
  std::string_view message;  // how it begins
  std::string_view option;   // whose argument is meant, "" for none
  std::string_view hint;
};

constexpr Row kRows[] = {
    // numbers and characters
    {"Argument \"", "", "expected a number up to 65535; sizes are in kilobytes unless they end in k, m or g"},
    {"Invalid \\character in key", "",
     "known are \\\\ \\b \\f \\n \\r \\t \\v; any byte can be given as a number"},
    {"Invalid character constant", "",
     "a character stands in single quotes, alone; on a shell in double ones around them: \"';'\""},
    // macros and include files
    {"-#endif with no", "-#end", "there is no -#define in front of it"},
    {"Unbalanced -#define", "-#define", "expected: -#define <name> <argument>... -#end"},
    {"Include must be followed", "-#include", "expected the name of a file behind it"},
    {"Couldn't open include file", "-#include", "the file is not there or may not be read"},
    {"Command nesting too deep", "",
     "seven include files and macros may be open; does a file include itself?"},
    {"Macros cannot be recurrsive", "", "a macro's definition holds its own name; rename one of them"},
    {"Too many macros", "", "60 macros may be defined"},
    {"Too many arguments", "", "2044 arguments are taken, macros and include files expanded"},
    {"Command line buffer overflow", "",
     "8172 bytes of arguments are taken, macros and include files expanded"},
    {"Too many characters", "", "8172 bytes of arguments are taken, macros and include files expanded"},
    // record types
    {"Only one record type", "", "-rt, -rf and -rv exclude each other, and each is given once"},
    {"Invalid value for text record size", "-rt", "expected one number, the longest line in bytes: -rt 4000"},
    {"-rt record size cannot", "-rt", "expected one number, the longest line in bytes: -rt 4000"},
    {"-rf switch must specify", "-rf", "expected the size of a record in bytes: -rf 80"},
    {"Invalid value for -rf", "-rf", "expected the size of a record in bytes: -rf 80"},
    {"-rf record size cannot", "-rf", "expected one number, the size of a record in bytes: -rf 80"},
    {"Illegal record size", "-rf", "expected the size of a record in bytes, 1 at least: -rf 80"},
    {"Position of record length", "-rv", "expected both ends of the length field's range: -rv 0-1"},
    {"Record size field must", "-rv",
     "expected the positions of the length field, then the longest record: -rv 0-1 4096"},
    // files
    {"Too many input file names", "", "16 input files are taken; pipe them: cat ... | fsort"},
    {"File open failed on :", "",
     "there is no blank between < and the name of the file: '<name' or -in name"},
    {"No more that one output", "", "-out and > name the same thing; keep one"},
    {"-out or > require", "-out", "expected the name of a file: -out name, or '>name' in quotes"},
    // records
    {"Text record too long", "-rt", "a line is longer than that; -rt names the longest, up to 65530 bytes"},
    {"Variable length record too long", "-rv",
     "is the length field where the range says, high-order byte first? -rv 0-1 4096 takes up to 4096 bytes"},
    {"Not enough fields in record", "-t",
     "fields count from 0 and end at tabs, or at what -t names; -mfr takes missing ones as empty"},
    {"Field too short", "",
     "a key begins behind the end of its field; -mcf takes it as empty, -mfr and -mcr go on"},
    {"Numeric field too long", "",
     "31 digits are taken, beyond the columns too; -k compares digits of fixed width"},
    // keys
    {"Invalid range for collating sequence", "",
     "expected byte values 0 to 255 or quoted characters: 0-255, 'a'-'z', \"';'\""},
    {"Unbalanced parenthesis", "",
     "every ( needs its ), each as an argument of its own and quoted: '(' ... ')'"},
    {"Sign sequences must", "-s", "expected as many values that invert as others, in this order: -s '-' '+'"},
    {"-d switch requires", "-d", "expected how many fraction digits count: -d 2"},
    {"Invalid value for decimal", "-d", "expected one number, how many fraction digits count: -d 2"},
    {"Nested fields cannot", "-f", "it stands behind the ) of a group, not within: '(' -k -c 0-3 ')' -f 1"},
    {"Field range end must", "-f", "expected both ends of the range, counted from 0: -f 1-3"},
    {"Field range start must", "-f", "expected both ends of the range, counted from 0: -f 0-3"},
    {"Unnested -c switch", "-c", "expected where the columns begin, counted from 0: -c 0-5"},
    {"Field does not include", "-c", "the columns within a group count from the start of the group's own"},
    {"Too many key fields", "",
     "32 entries are taken: one for each column range of each field, three for a number"},
    // memory and work files
    {"Segment length too large", "-l",
     "expected less than 4194304, the length of a segment in kilobytes: -l 200"},
    {"Segment length too small", "-l", "a level of distribution needs more; 91 is what -l is without it"},
    {"Insufficient memory", "-m", "three segments are needed; give more, or make them smaller with -l"},
    {"-wb switch must", "-wb", "expected a size in kilobytes: -wb 256"},
    {"-rb switch must", "-rb", "expected a size in kilobytes: -rb 256"},
    {"Temporary directory name", "-w", "expected a path of at most 130 characters"},
    {"Name of directory too long", "", "TEMP, TMPDIR or TMP names it; -w names another"},
};

constexpr std::string_view kTitles[] = {"Error detected", "Error writing record", "Fsort Initialization"};

bool is_title(const std::string& line) {
  return std::ranges::any_of(kTitles, [&](std::string_view title) { return line.starts_with(title); });
}

// The engine's message, without the titles behind it, the system's reason and a record in front of it.
std::string message_in(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    lines.push_back(text.substr(begin, end - begin));
    begin = end + 1;
    if (lines.size() > 1 && is_title(lines.back())) {
      const std::size_t title = lines.size() - 1;
      const bool system_reason = title > 1 && lines[title - 2].ends_with(':');
      return lines[title - (system_reason ? 2 : 1)];
    }
  }
  return {};
}

// The option as it was written, with the operand behind it: "-rf 3-4". "" when it is not there.
std::string as_written(const std::vector<std::string>& arguments, std::string_view name) {
  for (std::size_t i = 1; i < arguments.size(); ++i) {
    if (lower_case(arguments[i]) != name) continue;
    const bool has_operand = i + 1 < arguments.size() && find_option(arguments[i + 1]) == nullptr &&
                             !arguments[i + 1].starts_with('<') && !arguments[i + 1].starts_with('>');
    return has_operand ? arguments[i] + " " + arguments[i + 1] : arguments[i];
  }
  return {};
}

// A sequence of one value is mostly a position that lacks its option.
std::string single_value(const std::vector<std::string>& arguments) {
  for (const std::string_view name : {"-k", "-n", "-s"}) {
    const std::string written = as_written(arguments, name);
    if (written.size() <= name.size()) continue;
    const std::string value = written.substr(name.size() + 1);
    std::string hint = "\"" + written + "\": the values behind " + std::string(name) +
                       " are an order, two at least, as in 0-255";
    const bool is_position = value[0] >= '0' && value[0] <= '9';
    if (is_position) {
      hint.append("; a field is ").append(name).append(" -f ").append(value);
      hint.append(", a column ").append(name).append(" -c ").append(value);
    }
    return hint;
  }
  return "an order of byte values has two at least, as in -k 0-255";
}

// The argument that the message itself names.
std::string named_in(const std::string& message) {
  constexpr std::string_view kRange = "Invalid range for collating sequence - ";
  if (message.starts_with(kRange)) return message.substr(kRange.size());
  if (!message.starts_with("Argument \"")) return {};
  const std::size_t begin = message.find('"') + 1;
  return message.substr(begin, message.rfind('"') - begin);
}

std::string hint_about_message(const std::vector<std::string>& arguments, const std::string& message) {
  if (message.starts_with("Collating sequence has only one value")) return single_value(arguments);
  for (const Row& row : kRows) {
    if (!message.starts_with(row.message)) continue;
    const std::string written = row.option.empty() ? named_in(message) : as_written(arguments, row.option);
    return written.empty() ? std::string(row.hint) : "\"" + written + "\": " + std::string(row.hint);
  }
  if (message.ends_with(":file name too long")) return "an output name has at most 128 characters";
  return {};
}

}  // namespace

std::string hint_for(const std::vector<std::string>& arguments, const std::string& engine_text) {
  const std::string message = message_in(engine_text);
  const std::vector<std::string> refused = refused_arguments(message);
  return refused.empty() ? hint_about_message(arguments, message) : hint_about_arguments(arguments, refused);
}

std::string hint_line(const std::vector<std::string>& arguments, const std::string& engine_text) {
  const std::string hint = hint_for(arguments, engine_text);
  return hint.empty() ? hint : "fsort: hint: " + hint + "\n";
}

}  // namespace fsort_tool
