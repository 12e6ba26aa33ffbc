// What the POSIX files of the platform share among themselves; the engine sees only os.h.
//
// The functions of this header are the entries of the system table, plus the two helpers that each of them
// needs: the thread's last error and the translation of errno. All codes are Windows codes.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/os.h"

namespace fsort::posix {

// --- error_map.cpp ---------------------------------------------------------------------------------------
// The Windows code that stands for a system error number.
[[nodiscard]] std::uint32_t map_errno(int error);
// The calling thread's last Windows code.
void set_last_error(std::uint32_t code);
[[nodiscard]] std::uint32_t last_error();
// Notes the translation of errno and returns false, so that a failing call is one line.
bool fail_with_errno();

// --- system_messages.cpp ---------------------------------------------------------------------------------
std::uint32_t format_message(std::uint32_t flags, const void* source, std::uint32_t code,
                             std::uint32_t language, char* text, std::uint32_t size, void* arguments);

// --- files_posix.cpp -------------------------------------------------------------------------------------
Handle create_file(const char* name, std::uint32_t access, std::uint32_t share, void* security,
                   std::uint32_t disposition, std::uint32_t attributes, Handle template_file);
bool read_file(Handle handle, void* data, std::uint32_t count, std::uint32_t* done, Overlapped* overlapped);
bool write_file(Handle handle, const void* data, std::uint32_t count, std::uint32_t* done,
                Overlapped* overlapped);
bool get_overlapped_result(Handle handle, Overlapped* overlapped, std::uint32_t* done, bool wait);
Handle create_event(void* security, bool manual_reset, bool initial_state, const char* name);
bool close_handle(Handle handle);
std::uint32_t set_file_pointer(Handle handle, std::int32_t low, std::int32_t* high, std::uint32_t origin);
bool set_end_of_file(Handle handle);
bool flush_file_buffers(Handle handle);
bool finish_writes(Handle handle);
std::uint32_t get_file_type(Handle handle);
Handle get_std_handle(std::int32_t which);
bool delete_file(const char* name);

// --- transfers_posix.cpp ---------------------------------------------------------------------------------
// Raw transfers on a descriptor. Each repeats after an interrupt and waits where the descriptor would not
// block; result: bytes transferred, or -1 with errno set.
//
// The positioned pair and write_all go on until `count` bytes went through or, reading, the file ended.
std::int64_t read_at(int fd, void* data, std::uint32_t count, std::uint64_t offset);
std::int64_t write_at(int fd, const void* data, std::uint32_t count, std::uint64_t offset);
// Reads what one call gives (a pipe, a terminal), or with `fill` until `count` bytes came or the file ended.
std::int64_t read_next(int fd, void* data, std::uint32_t count, bool fill);
// Writes all. A broken pipe and a limit on the size of files are results (EPIPE, EFBIG), never signals.
std::int64_t write_all(int fd, const void* data, std::uint32_t count);
// Cuts or extends a file; false with errno set. The limit is a result here too.
bool cut_at(int fd, std::int64_t end);

// --- memory_posix.cpp ------------------------------------------------------------------------------------
void global_memory_status(MemoryStatus* status);
void* region_alloc(std::size_t size);
void region_free(void* region, std::size_t size);
// The lowest memory limit of the control groups listed in the file `membership` (form of /proc/self/cgroup)
// under the mount point `root`, every ancestor group included; all ones when there is none.
[[nodiscard]] std::uint64_t cgroup_memory_limit(const char* root, const char* membership);

}  // namespace fsort::posix
