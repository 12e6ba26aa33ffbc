// Entries that copy into a buffer of the caller instead of handing out addresses. Not exported; reached by
// tests.
#pragma once

#include <cstdint>

#include "fsort.h"

extern "C" {
std::int32_t FsortRetrieveVB(fsort_handle handle, void* buffer);
// Kept on purpose: a status of 0 is taken as the failure case: -1 at once, with the entry lock still held and
// the instance still current.
std::int32_t FsortReadVB(fsort_handle handle, void* buffer);
std::int32_t FsortMessageVB(fsort_handle handle, char* buffer);
}
