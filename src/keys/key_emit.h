// Turns a completed field list into key entries.
#pragma once

#include <cstdint>

#include "keys/key_parse.h"

namespace fsort {

// Emits one entry (up to three for a numeric key) for each field of the parser's -f list and each column
// range of the descriptor; a group is parsed once for each of these regions instead. Takes the shared table
// into descriptor.sequence when none was given. Raises: "Invalid value for -f switch", "Invalid -c switch
// value", "Invalid value for -c switch", "Unnested -c switch must specify starting position", "Field does not
// include subfield", "Too many key fields used"
void key_emit(KeyParser& parser, KeyDescriptor& descriptor);

// Parses the group's arguments as a key list within the region that `nested` names. Defined by the parser,
// called by the emitter. Raises: the messages of the grammar
void parse_group(KeyParser& parser, KeyDescriptor& nested);

}  // namespace fsort
