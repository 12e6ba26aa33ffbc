// The page of --help and the line of --version.
#include "help_text.h"

#include "fsort.h"

namespace fsort_tool {

const char* const kVersionText = "fsort " FSORT_VERSION_STRING "\n";

const char* const kHelpText =
    R"(fsort sorts records: text lines, fixed-length records, variable-length records.

  fsort [option...] [key...]          sorts standard input to standard output
  fsort -in FILE... -out FILE ...     sorts files; '<FILE' and '>FILE' (quoted) say the same

Examples
  cat a.txt | fsort > b.txt                            lines, by their whole text
  fsort '<a.txt' '>b.txt' -i                           the same, descending
  fsort -in a.txt -out b.txt -t ';' -n -f 2 -k -f 0    by field 2 as a number, then by field 0
  fsort -in a.dat -out b.dat -rf 100 -k 0-255 -c 0-9   100-byte records, by their first ten bytes

Records
  -rt [SIZE]              text lines up to SIZE bytes (the default, 511 bytes)
  -rf SIZE                fixed-length records of SIZE bytes
  -rv [RANGE [SIZE]]      variable-length records; RANGE is where the length field lies
Keys, in order of weight; fields, columns and bytes count from 0
  -k [RANGE...]           characters, in the order given by the ranges of byte values
  -n [RANGE...] [-d N]    numbers, with at most N decimals compared
  -s RANGE...             a sign byte that governs the keys after it
  -f RANGE... -c RANGE... fields, and columns in a field, of the key in front; -i descends, -b skips blanks
  ( KEY... ) -f ... -c ...  keys counted from the start of the fields and columns behind the brackets
Options
  -u    one record of each set with equal keys     -i      descending
  -t RANGE...   field delimiters (tab)             -b RANGE...   blanks skipped in front of fields
  -mfr  short records have empty fields            -mcf -mcr     keys beyond their field are empty
  -m SIZE  memory      -w DIR  work directory      -q      no timing lines      -v   more lines
  -h    the whole grammar (exit status 1)
Sizes are in kilobytes unless they end in k, m or g. A byte value is a number or a character: 59 or ';'.

Data goes to standard output, messages to standard error. Exit status: 0 sorted, 1 not.
  --help, --version       alone on the command line
)";

}  // namespace fsort_tool
