// Gives byte values their quotes back after a shell has taken them.
//
// A sort command line names byte values as character constants: -t ';' or -k 'a'-'z'. In a command string and
// in an include file the quotes reach the engine. Typed at a shell prompt they do not: the shell removes
// them, and the engine would see a bare ; or a-z, which is no value. So the tool puts the quotes back where
// nothing else can be meant:
//
//   typed at the prompt      seen by the tool    handed to the engine
//   -t ';'                   -t ;                -t ';'
//   -t '\t'                  -t \t               -t '\t'
//   -k 'a'-'z' -r 'A'-'Z'    -k a-z -r A-Z       -k 'a'-'z' -r 'A'-'Z'
//   -s '-' '+'               -s - +              -s '-' '+'
//   -t "';'"                 -t ';'              unchanged
//
// Only operands of the options that take byte values (-t -b -k -n -s, and -r, which continues a sequence) are
// touched, only up to the first argument that is none of these forms, and never a digit (a bare 5 is the byte
// value 5). Brackets stay the grammar's, "<" and ">" stay file names; as byte values they need quotes of
// their own: -t "'<'". A name given to -#define on the same command line stays a macro; with -#include, which
// may define any name, bare letters and letter ranges stay as they are.
#pragma once

#include <string>
#include <vector>

namespace fsort_tool {

// The arguments of a command line, element 0 being the command name, with the quotes put back.
[[nodiscard]] std::vector<std::string> restore_quotes(const std::vector<std::string>& arguments);

}  // namespace fsort_tool
