// Turns a completed field list into key entries.
#pragma once

#include <cstdint>

#include "keys/key_parse.h"

namespace fsort {

// Emits one entry (three for a numeric key) for each field of `fields` and each column range of the
// descriptor. Raises: "Invalid value for -f switch", "Invalid -c switch value", "Invalid value for -c
// switch", "Unnested -c switch must specify starting position", "Field does not include subfield", "Too many
// key fields used"
void key_emit(std::int32_t argc, const char** argv, const KeyDescriptor& descriptor, ArgSlice fields);

// Parses a group's slice as a key list; defined by the parser, called by the emitter.
void parse_group(std::int32_t argc, const char** argv, KeyDescriptor& nested);

}  // namespace fsort
