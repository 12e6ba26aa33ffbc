// Distribution passes: every record of a source goes to a bin of the current environment.
//
// Records are pushed on the front of their bin's list, so a bin holds them in the reverse of the order in
// which the pass met them. Each push also notes where the record kHintAhead pushes earlier lies
// (record_links.h): a ring of the latest heads a bin, cleared before each pass, supplies it.
#pragma once

#include <cstdint>

namespace fsort {

using RecordSource = std::uint8_t* (*)();  // the next record, null at the end

// dist1 for a plan of exactly one step, distn otherwise. `expected` records (an estimate) decide whether
// hints pay.
void dist1(RecordSource next, std::uint64_t expected);
void distn(RecordSource next, std::uint64_t expected);

// The one of the two that fits the current environment.
void distribute(RecordSource next, std::uint64_t expected);

// Frees the hint rings. May run twice.
void hint_rings_free();

}  // namespace fsort
