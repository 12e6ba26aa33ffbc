// The page of --help, its options from the table, and the line of --version.
#include "help_text.h"

#include "fsort.h"
#include "options.h"
#include "plain_text.h"

namespace fsort_tool {
namespace {

constexpr const char* kHead = R"(fsort sorts records: text lines, fixed-length and variable-length records.

  fsort [--option...] [option...] [key...]   standard input or files, to standard output or a file

Options used most; fields and columns count from 0, sizes are in KB or end in k, m or g
)";

constexpr const char* kTail = R"(
Examples, ready to paste: lines; numbers, the highest first; each word once, in any case;
dates by month and day; two-byte records by their second byte
    printf 'pear\nfig\napple\n' | fsort
    printf 'dog;12\ncow;3\nbear;12\n' | fsort -t ';' -n -i -f 1 -k -f 0
    printf 'fig\nPear\nFIG\n' | fsort -u -k 'a'-'z' -r 'A'-'Z'
    printf '2024-03-01\n2023-12-24\n' | fsort -q -k -c 5-9
    printf 'c1b3a2' | fsort -q -rf 2 -k 0-255 -c 1

Exit status 0: sorted. 1: not, and standard error says why.
The manual: fsort --help keys|fields|records|files|memory|messages|command|tool|options|examples
            fsort --help -k  an option;  fsort --explain ...  what a command line means;  man fsort
)";

constexpr std::size_t kUsageColumns = 32;

}  // namespace

const char* const kVersionText = "fsort " FSORT_VERSION_STRING "\n";

std::string short_help() {
  std::string text = kHead;
  for (const Option& option : all_options()) {
    if (!option.often) continue;
    std::string usage = "  " + usage_of(option);
    usage.append(kUsageColumns - columns_of(usage) + 4, ' ');
    text += usage + std::string(option.summary) + "\n";
  }
  return text + kTail;
}

}  // namespace fsort_tool
