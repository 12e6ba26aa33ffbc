// The system table of Windows, with the calls that are one line each: version, clocks, threads, the entry
// lock, the heap. Files, memory and texts stand in files of their own beside this one.
//
// `os` is defined with the entry points (dll_entry.cpp for the DLL, static_entry.cpp for programs that take
// the engine in), so that whoever links the engine gets the one that attaches it.
#include <windows.h>

#include <cstdlib>
#include <ctime>

#include "platform/win32/win32_internal.h"

namespace fsort {

namespace {

static_assert(sizeof(VersionInfo) == sizeof(OSVERSIONINFOA));
static_assert(offsetof(VersionInfo, platform_id) == offsetof(OSVERSIONINFOA, dwPlatformId));
static_assert(sizeof(CRITICAL_SECTION) <= sizeof(CriticalSection));
static_assert(alignof(CRITICAL_SECTION) <= alignof(CriticalSection));

std::uint32_t get_version() { return GetVersion(); }

bool get_version_ex(VersionInfo* info) { return GetVersionExA(reinterpret_cast<OSVERSIONINFOA*>(info)) != 0; }

// Wall time since the process began, in milliseconds: the runtime's clock here.
std::int64_t clock_ms() {
  static_assert(CLOCKS_PER_SEC == 1000);
  return std::clock();
}

std::int64_t time_s() { return std::time(nullptr); }

std::uint32_t last_error() { return GetLastError(); }

std::uint32_t get_current_thread_id() { return GetCurrentThreadId(); }

void yield_thread() { SwitchToThread(); }

CRITICAL_SECTION* section_of(CriticalSection* lock) {
  return reinterpret_cast<CRITICAL_SECTION*>(lock->storage);
}

void initialize_critical_section(CriticalSection* lock) { InitializeCriticalSection(section_of(lock)); }
void enter_critical_section(CriticalSection* lock) { EnterCriticalSection(section_of(lock)); }
void leave_critical_section(CriticalSection* lock) { LeaveCriticalSection(section_of(lock)); }
void delete_critical_section(CriticalSection* lock) { DeleteCriticalSection(section_of(lock)); }

static_assert(sizeof(CONDITION_VARIABLE) <= sizeof(ConditionVariable));

CONDITION_VARIABLE* condition_of(ConditionVariable* condition) {
  return reinterpret_cast<CONDITION_VARIABLE*>(condition->storage);
}

bool sleep_condition_variable(ConditionVariable* condition, CriticalSection* lock,
                              std::uint32_t milliseconds) {
  return SleepConditionVariableCS(condition_of(condition), section_of(lock), milliseconds) != 0;
}

void wake_all_condition_variable(ConditionVariable* condition) {
  WakeAllConditionVariable(condition_of(condition));
}

void* allocate(std::size_t size) { return std::malloc(size != 0 ? size : 1); }

void release(void* block) { std::free(block); }

}  // namespace

constinit const OsTable kSystemOs = {
    .create_file = win32::create_file,
    .read_file = win32::read_file,
    .write_file = win32::write_file,
    .get_overlapped_result = win32::get_overlapped_result,
    .create_event = win32::create_event,
    .close_handle = win32::close_handle,
    .set_file_pointer = win32::set_file_pointer,
    .set_end_of_file = win32::set_end_of_file,
    .flush_file_buffers = win32::flush_file_buffers,
    .finish_writes = nullptr,
    .get_file_type = win32::get_file_type,
    .get_std_handle = win32::get_std_handle,
    .delete_file = win32::delete_file,
    .format_message = win32::format_message,
    .get_last_error = last_error,
    .get_version = get_version,
    .get_version_ex = get_version_ex,
    .global_memory_status = win32::global_memory_status,
    .clock = clock_ms,
    .time = time_s,
    .get_env = win32::get_env,
    .get_current_thread_id = get_current_thread_id,
    .yield_thread = yield_thread,
    .initialize_critical_section = initialize_critical_section,
    .enter_critical_section = enter_critical_section,
    .leave_critical_section = leave_critical_section,
    .delete_critical_section = delete_critical_section,
    .sleep_condition_variable = sleep_condition_variable,
    .wake_all_condition_variable = wake_all_condition_variable,
    .heap_alloc = allocate,
    .heap_free = release,
    .region_alloc = win32::region_alloc,
    .region_free = win32::region_free,
};

}  // namespace fsort
