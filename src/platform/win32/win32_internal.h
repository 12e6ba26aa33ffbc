// What the Windows files of the platform share among themselves; the engine sees only os.h.
//
// The functions of this header are entries of the system table, plus the names' way from text to the system.
// They call the functions of KERNEL32 directly: os.h has the meaning of these functions, so most entries are
// one call. What they add is said at each: a failing positioning of devices, whole writes, codes that would
// be taken for an end of data.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/os.h"

namespace fsort::win32 {

// --- names_win32.cpp -------------------------------------------------------------------------------------
inline constexpr std::size_t kNameUnits = 4096;  // longest name taken, in UTF-16 units, terminator included

// A name as the system takes it.
struct WideName {
  wchar_t text[kNameUnits];
};

// From now on texts given to and taken from the platform (file names, environment, messages) are UTF-8. The
// tool says so first of all; a library leaves them in the process's code page, where its caller has them.
void use_utf8_texts();
[[nodiscard]] bool utf8_texts();
// True when the narrow functions of the system can take `name` as it stands: a short name in the process's
// code page.
[[nodiscard]] bool is_narrow_name(const char* name);
// The name in UTF-16; a long one becomes absolute and gets the prefix that lifts the system's limit of 260
// characters. False with the last error set when it is empty, too long or not text.
[[nodiscard]] bool wide_name(const char* name, WideName* wide);
// Writes UTF-16 text in the encoding in force, with its NUL; result: its length, or 0 when it does not fit.
[[nodiscard]] std::size_t narrow_text(const wchar_t* wide, char* text, std::size_t size);
const char* get_env(const char* name);
std::uint32_t format_message(std::uint32_t flags, const void* source, std::uint32_t code,
                             std::uint32_t language, char* text, std::uint32_t size, void* arguments);

// --- files_win32.cpp -------------------------------------------------------------------------------------
Handle create_file(const char* name, std::uint32_t access, std::uint32_t share, void* security,
                   std::uint32_t disposition, std::uint32_t attributes, Handle template_file);
bool read_file(Handle file, void* data, std::uint32_t count, std::uint32_t* done, Overlapped* overlapped);
bool write_file(Handle file, const void* data, std::uint32_t count, std::uint32_t* done,
                Overlapped* overlapped);
bool get_overlapped_result(Handle file, Overlapped* overlapped, std::uint32_t* done, bool wait);
Handle create_event(void* security, bool manual_reset, bool initial_state, const char* name);
bool close_handle(Handle handle);
std::uint32_t set_file_pointer(Handle file, std::int32_t low, std::int32_t* high, std::uint32_t origin);
bool set_end_of_file(Handle file);
bool flush_file_buffers(Handle file);
std::uint32_t get_file_type(Handle file);
Handle get_std_handle(std::int32_t which);
bool delete_file(const char* name);

// --- memory_win32.cpp ------------------------------------------------------------------------------------
void global_memory_status(MemoryStatus* status);
void* region_alloc(std::size_t size);
void region_free(void* region, std::size_t size);

}  // namespace fsort::win32
