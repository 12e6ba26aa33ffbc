// The system table of a POSIX system, with the calls that are one line each: clocks, environment, threads,
// the entry lock, the heap. Files, transfers and memory stand in files of their own beside this one.
//
// Also here: the hooks by which the loader tells the engine that it was attached to a process and is being
// detached. They stand in the same file as `os`, which every program using the engine refers to, so that the
// static library brings them along.
#include <pthread.h>
#include <sched.h>
#include <sys/types.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <ctime>

#include "platform/posix/posix_internal.h"

namespace fsort {

namespace {

// What GetVersion says of a current Windows: version 10 of the NT family.
constexpr std::uint32_t kMajorVersion = 10;
constexpr std::uint32_t kPlatformNt = 2;

constexpr std::int64_t kMillisecondsPerSecond = 1000;
constexpr std::int64_t kNanosecondsPerMillisecond = 1000000;
constexpr std::int64_t kNanosecondsPerSecond = 1000000000;

static_assert(sizeof(pthread_mutex_t) <= sizeof(CriticalSection));
static_assert(alignof(pthread_mutex_t) <= alignof(CriticalSection));

std::uint32_t get_version() { return kMajorVersion; }

bool get_version_ex(VersionInfo* info) {
  const std::uint32_t size = info->size;
  std::memset(info, 0, sizeof *info);
  info->size = size;
  info->major = kMajorVersion;
  info->platform_id = kPlatformNt;
  return true;
}

// Processor time of the process.
std::int64_t clock_ms() {
  timespec now{0, 0};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return now.tv_sec * kMillisecondsPerSecond + now.tv_nsec / kNanosecondsPerMillisecond;
}

std::int64_t time_s() { return std::time(nullptr); }

const char* get_env(const char* name) { return std::getenv(name); }

std::uint32_t get_current_thread_id() { return static_cast<std::uint32_t>(gettid()); }

void yield_thread() { sched_yield(); }

pthread_mutex_t* mutex_of(CriticalSection* lock) { return reinterpret_cast<pthread_mutex_t*>(lock->storage); }

void initialize_critical_section(CriticalSection* lock) {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(mutex_of(lock), &attributes);
  pthread_mutexattr_destroy(&attributes);
}

void enter_critical_section(CriticalSection* lock) { pthread_mutex_lock(mutex_of(lock)); }

void leave_critical_section(CriticalSection* lock) { pthread_mutex_unlock(mutex_of(lock)); }

void delete_critical_section(CriticalSection* lock) {
  // A lock that some thread still holds stays as it is (the call then only returns "busy").
  pthread_mutex_destroy(mutex_of(lock));
}

static_assert(sizeof(pthread_cond_t) <= sizeof(ConditionVariable));
static_assert(alignof(pthread_cond_t) <= alignof(ConditionVariable));

pthread_cond_t* condition_of(ConditionVariable* condition) {
  return reinterpret_cast<pthread_cond_t*>(condition->storage);
}

bool sleep_condition_variable(ConditionVariable* condition, CriticalSection* lock,
                              std::uint32_t milliseconds) {
  timespec until{0, 0};
  clock_gettime(CLOCK_MONOTONIC, &until);
  until.tv_sec += milliseconds / kMillisecondsPerSecond;
  until.tv_nsec += milliseconds % kMillisecondsPerSecond * kNanosecondsPerMillisecond;
  if (until.tv_nsec >= kNanosecondsPerSecond) {
    until.tv_nsec -= kNanosecondsPerSecond;
    ++until.tv_sec;
  }
  return pthread_cond_clockwait(condition_of(condition), mutex_of(lock), CLOCK_MONOTONIC, &until) == 0;
}

void wake_all_condition_variable(ConditionVariable* condition) {
  pthread_cond_broadcast(condition_of(condition));
}

void* allocate(std::size_t size) { return std::malloc(size != 0 ? size : 1); }

void release(void* block) { std::free(block); }

// The lowest priority that is free for libraries: before every static initialiser of a program.
constexpr int kAttachPriority = 101;

__attribute__((constructor(kAttachPriority))) void attach() { library_attach(); }
__attribute__((destructor(kAttachPriority))) void detach() { library_detach(); }

}  // namespace

constinit const OsTable kSystemOs = {
    .create_file = posix::create_file,
    .read_file = posix::read_file,
    .write_file = posix::write_file,
    .get_overlapped_result = posix::get_overlapped_result,
    .create_event = posix::create_event,
    .close_handle = posix::close_handle,
    .set_file_pointer = posix::set_file_pointer,
    .set_end_of_file = posix::set_end_of_file,
    .flush_file_buffers = posix::flush_file_buffers,
    .finish_writes = posix::finish_writes,
    .get_file_type = posix::get_file_type,
    .get_std_handle = posix::get_std_handle,
    .delete_file = posix::delete_file,
    .format_message = posix::format_message,
    .get_last_error = posix::last_error,
    .get_version = get_version,
    .get_version_ex = get_version_ex,
    .global_memory_status = posix::global_memory_status,
    .clock = clock_ms,
    .time = time_s,
    .get_env = get_env,
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
    .region_alloc = posix::region_alloc,
    .region_free = posix::region_free,
};

constinit const OsTable* os = &kSystemOs;

}  // namespace fsort
