// The operating system, as this engine needs it: one table of functions, nothing else.
//
// Everything the engine asks of the system goes through `os`, a pointer to a table of plain function
// pointers. Names, arguments, results and error codes have their Windows meaning on every system, because
// the stream layer is written against that meaning (overlapped requests, exclusive opens, codes such as 32
// for a sharing conflict). Behind the table stands one folder per system: posix/ and win32/. Tests install
// their own table in front of the real one to fail the n-th call or to simulate files.
//
// Rules
//   - No other place of the engine includes a header of the operating system.
//   - A failing call returns its stated value and leaves a Windows error code for get_last_error().
//   - All functions may be called from any thread; a handle is used by one thread at a time.
//   - Nothing here raises, and nothing here allocates except the heap calls and create_file, for records of
//   its
//     own: one that close_handle gives back and, for a file created as new, one that delete_file does.
#pragma once

#include <cstddef>
#include <cstdint>

namespace fsort {

// A system file handle. `kInvalidHandle` is what a failed open gives; null means "no such standard handle".
using Handle = void*;
inline const Handle kInvalidHandle = reinterpret_cast<Handle>(~static_cast<std::uintptr_t>(0));

// The system's request record of an overlapped transfer; 32 bytes, the layout that Windows defines.
struct Overlapped {
  std::uint64_t internal;
  std::uint64_t internal_high;
  std::uint32_t offset_low;
  std::uint32_t offset_high;
  Handle event;
};
static_assert(sizeof(Overlapped) == 32);

// Storage for one recursive lock; the platform knows what lies in it.
struct alignas(16) CriticalSection {
  unsigned char storage[64];
};

// Storage for one condition variable. Filled with zeros it is ready for use; nothing is held by it when
// nobody sleeps on it, so there is nothing to give back.
struct alignas(16) ConditionVariable {
  unsigned char storage[64];
};

// What GlobalMemoryStatus fills; 56 bytes. Only `total_phys` (bytes) is read by the engine.
struct MemoryStatus {
  std::uint32_t length;  // set to 56 by the caller
  std::uint32_t memory_load;
  std::uint64_t total_phys;
  std::uint64_t avail_phys;
  std::uint64_t total_page_file;
  std::uint64_t avail_page_file;
  std::uint64_t total_virtual;
  std::uint64_t avail_virtual;
};
static_assert(sizeof(MemoryStatus) == 56);

// What GetVersionExA fills; 148 bytes. Only `platform_id` is read (2 = the NT family).
struct VersionInfo {
  std::uint32_t size;  // set to 148 by the caller
  std::uint32_t major;
  std::uint32_t minor;
  std::uint32_t build;
  std::uint32_t platform_id;
  char service_pack[128];
};
static_assert(sizeof(VersionInfo) == 148);

// Access, share, disposition, attribute and flag values of create_file, as Windows numbers them.
inline constexpr std::uint32_t kGenericRead = 0x80000000;
inline constexpr std::uint32_t kGenericWrite = 0x40000000;
inline constexpr std::uint32_t kShareRead = 1;
inline constexpr std::uint32_t kCreateNew = 1;     // must not exist; private to its owner
inline constexpr std::uint32_t kCreateAlways = 2;  // created or truncated
inline constexpr std::uint32_t kOpenExisting = 3;  // must exist
inline constexpr std::uint32_t kAttributeTemporary = 0x100;
inline constexpr std::uint32_t kFlagSequentialScan = 0x08000000;
inline constexpr std::uint32_t kFlagRandomAccess = 0x10000000;
inline constexpr std::uint32_t kFlagNoBuffering = 0x20000000;
inline constexpr std::uint32_t kFlagOverlapped = 0x40000000;

// Results of get_file_type.
inline constexpr std::uint32_t kFileTypeUnknown = 0;
inline constexpr std::uint32_t kFileTypeDisk = 1;
inline constexpr std::uint32_t kFileTypeChar = 2;
inline constexpr std::uint32_t kFileTypePipe = 3;

// Arguments of get_std_handle.
inline constexpr std::int32_t kStdInput = -10;
inline constexpr std::int32_t kStdOutput = -11;
inline constexpr std::int32_t kStdError = -12;

// Origins of set_file_pointer.
inline constexpr std::uint32_t kSeekBegin = 0;
inline constexpr std::uint32_t kSeekCurrent = 1;
inline constexpr std::uint32_t kSeekEnd = 2;

// Windows error codes that the engine or a platform names.
inline constexpr std::uint32_t kErrorFileNotFound = 2;
inline constexpr std::uint32_t kErrorPathNotFound = 3;
inline constexpr std::uint32_t kErrorTooManyOpenFiles = 4;
inline constexpr std::uint32_t kErrorAccessDenied = 5;
inline constexpr std::uint32_t kErrorInvalidHandle = 6;
inline constexpr std::uint32_t kErrorNotEnoughMemory = 8;
inline constexpr std::uint32_t kErrorWriteProtect = 19;
inline constexpr std::uint32_t kErrorSharingViolation = 32;
inline constexpr std::uint32_t kErrorHandleEof = 38;
inline constexpr std::uint32_t kErrorFileExists = 80;
inline constexpr std::uint32_t kErrorInvalidParameter = 87;
inline constexpr std::uint32_t kErrorBrokenPipe = 109;
inline constexpr std::uint32_t kErrorDiskFull = 112;
inline constexpr std::uint32_t kErrorNegativeSeek = 131;
inline constexpr std::uint32_t kErrorFilenameTooLong = 206;
inline constexpr std::uint32_t kErrorNoData = 232;
inline constexpr std::uint32_t kErrorMoreData = 234;
inline constexpr std::uint32_t kErrorIoPending = 997;
inline constexpr std::uint32_t kErrorIoDevice = 1117;

struct OsTable {
  // --- files -------------------------------------------------------------------------------------------
  // Opens or creates `name`. Backslashes and slashes both separate folders. `share` 0 is exclusive: a second
  // open of a regular file that conflicts fails with 32 and leaves the file's content untouched. A directory
  // fails with 5, an empty name with 3. A file created with kCreateNew is private to its owner (on Windows:
  // as private as its folder); one created with kCreateAlways has the access rights that new files have.
  // Opened with kOpenExisting and either of the flags for unbuffered and overlapped transfers, `name` must be
  // a file and, if it was created as new by this process, still that one; a link in its place is not followed
  // (5; on Windows only the rights in the folder see to that). Result: the handle, or kInvalidHandle.
  Handle (*create_file)(const char* name, std::uint32_t access, std::uint32_t share, void* security,
                        std::uint32_t disposition, std::uint32_t attributes, Handle template_file);
  // Transfers up to `count` bytes; `done` takes their number (0 on failure). With `overlapped`, at its
  // offset, possibly still in progress on return (false with 997; see get_overlapped_result), and the file
  // pointer stays if the handle was opened with kFlagOverlapped; otherwise at the file pointer. A read at or
  // past the end of a disk file gives true and 0 bytes without `overlapped`, false with 38 (now or at its
  // result) with it. A pipe whose writer closed ends with 109 or 0 bytes; one whose reader closed fails with
  // 232.
  bool (*read_file)(Handle file, void* data, std::uint32_t count, std::uint32_t* done,
                    Overlapped* overlapped);
  bool (*write_file)(Handle file, const void* data, std::uint32_t count, std::uint32_t* done,
                     Overlapped* overlapped);
  // Waits (when `wait`) for a request in progress and stores the bytes transferred. False with the request's
  // error code when it failed, 996 when it still runs. Until then its buffer and record are the system's.
  bool (*get_overlapped_result)(Handle file, Overlapped* overlapped, std::uint32_t* done, bool wait);
  // An unnamed event for an Overlapped record, auto-reset, not signalled; null when none can be had. A
  // platform that completes every transfer at once may return any non-null value. Closed by close_handle.
  Handle (*create_event)(void* security, bool manual_reset, bool initial_state, const char* name);
  bool (*close_handle)(Handle handle);
  // Moves the file pointer by a signed 64-bit distance given in two halves; *high takes the new high half.
  // Result: the new low half; 0xFFFFFFFF with get_last_error() != 0 on failure (*high is then unchanged).
  // On success the last error is 0.
  std::uint32_t (*set_file_pointer)(Handle file, std::int32_t low, std::int32_t* high, std::uint32_t origin);
  bool (*set_end_of_file)(Handle file);     // cuts or extends the file at its pointer
  bool (*flush_file_buffers)(Handle file);  // a system may take this as done (POSIX does)
  // Waits until everything written through the handle was taken by the system; false with the code when some
  // of it was not. Null where a write that returned, or a request that ended, has been taken anyway.
  bool (*finish_writes)(Handle file);
  std::uint32_t (*get_file_type)(Handle file);
  Handle (*get_std_handle)(std::int32_t which);  // one of kStdInput, kStdOutput, kStdError
  // Deletes the file; on POSIX false with 5 when `name` was created as new by this process and is another
  // file by now.
  bool (*delete_file)(const char* name);
  // Writes the text of `code` (English on POSIX, in the user's language on Windows), ended by "\r\n" and a
  // NUL, into `text`; result: its length, or 0 (and nothing written) when the code is unknown or the text
  // does not fit.
  std::uint32_t (*format_message)(std::uint32_t flags, const void* source, std::uint32_t code,
                                  std::uint32_t language, char* text, std::uint32_t size, void* arguments);
  std::uint32_t (*get_last_error)();

  // --- system ------------------------------------------------------------------------------------------
  std::uint32_t (*get_version)();  // low byte: the major version, at least 4 on every live system
  bool (*get_version_ex)(VersionInfo* info);
  void (*global_memory_status)(MemoryStatus* status);  // total_phys: what this process may use at most
  std::int64_t (*clock)();                             // processor or wall time in 1/1000 s
  std::int64_t (*time)();                              // wall time in s
  // null when not set; valid until the environment changes or the next call. Called under the entry lock.
  const char* (*get_env)(const char* name);
  std::uint32_t (*get_current_thread_id)();
  void (*yield_thread)();  // gives the processor to another thread

  // --- entry lock --------------------------------------------------------------------------------------
  void (*initialize_critical_section)(CriticalSection* lock);
  void (*enter_critical_section)(CriticalSection* lock);  // recursive
  void (*leave_critical_section)(CriticalSection* lock);
  void (*delete_critical_section)(CriticalSection* lock);
  // Gives `lock`, which the thread has entered exactly once, back and sleeps until the condition is woken or
  // the time is over (a sleep may also end early), then takes the lock again. False when the time was over.
  bool (*sleep_condition_variable)(ConditionVariable* condition, CriticalSection* lock,
                                   std::uint32_t milliseconds);
  void (*wake_all_condition_variable)(ConditionVariable* condition);

  // --- heap --------------------------------------------------------------------------------------------
  void* (*heap_alloc)(std::size_t size);  // 16-aligned, not cleared; null when there is none
  void (*heap_free)(void* block);         // null is accepted
  // One large page-aligned region for record memory (huge pages where the system gives them); null when
  // there is none. Not cleared by contract. Given back by region_free with the same size.
  void* (*region_alloc)(std::size_t size);
  void (*region_free)(void* region, std::size_t size);
};

// The production table of the system this is built for.
extern const OsTable kSystemOs;

// The table in force. The library never changes it; tests, and the command-line tool, put a layer of their
// own in front. Not to be changed while any instance exists.
extern constinit const OsTable* os;

// Called by the platform when the library is attached to and detached from the process; defined by the entry
// layer. On POSIX the attach call comes before any static initialiser of the program that loads it.
void library_attach();
void library_detach();

}  // namespace fsort
