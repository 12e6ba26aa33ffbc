// Files of a POSIX system behind the Windows-shaped calls of os.h.
//
// A handle is the address of a small record with the descriptor. Three kinds:
//   - positioned: a disk file opened here. Its file pointer is a number in the record; transfers are
//     positioned reads and writes. So "set the pointer, then transfer", which the stream layer does for every
//     buffer, costs one system call, not two, and an overlapped transfer leaves the pointer alone by nature.
//   - sequential: a pipe, terminal or other device opened here; transfers in order, positioning fails.
//   - standard: descriptors 0 to 2, shared with other processes. Their pointer is the system's own, so that
//     a program which goes on with the same descriptor finds it where this one left it.
//
// Sharing. Windows opens for writing exclude all other opens, opens for reading exclude writers. Here an
// advisory lock on the whole file (flock) says the same between all users of this engine, two handles of one
// process included. A file to be overwritten is opened without truncation, locked, and cut only then: a
// refused open leaves the content alone. File systems without locks are used without.
//
// Overlapped transfers are complete when the call returns; an event is therefore only a token.
//
// Long files that are only written, from one end to the other, are written past the page cache by a writer of
// their own (direct_writer.h) once kDirectAfterBytes were written in sequence. The writer is finished before
// anything looks at the file: its end, its length, its close. finish_writes does just that, for whoever wants
// to know whether all is written. Work files are left to the cache, from which they are read back soon.
//
// Work files, which nobody but the engine names, are recognised by how they are opened (is_work_file). Their
// names lead to nothing but the file that was created under them (own_files.h): no link is followed and
// nothing else is taken in their place. Files that the user names may be links, pipes or devices.
//
// Descriptors are kept above 2: with standard input closed, the next file opened would otherwise be taken
// for standard input and never be closed.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "platform/posix/direct_writer.h"
#include "platform/posix/own_files.h"
#include "platform/posix/posix_internal.h"

namespace fsort::posix {

namespace {

enum class FileKind : std::uint8_t { kPositioned, kSequential, kStandard };

struct PosixFile {
  int fd;
  FileKind kind;
  bool writable;
  bool sequence;          // a regular file that is only written: long sequences may get a direct writer
  std::uint32_t type;     // a kFileType value; of a standard handle in `standard_types`
  std::uint64_t pointer;  // file pointer of a positioned file
  std::uint64_t streak;   // bytes written in sequence up to streak_end
  std::uint64_t streak_end;
  DirectWriter* direct;  // null: writes go through the page cache
};

constexpr int kStandardCount = 3;
// Only work files are opened for transfers in sectors or beside the caller.
constexpr std::uint32_t kWorkFileFlags = kFlagNoBuffering | kFlagOverlapped;
// So many bytes written in sequence promise a long file. Short ones are better left in the page cache.
constexpr std::uint64_t kDirectAfterBytes = 4u << 20;
constexpr std::size_t kPathBytes = 4096;   // the system's own limit, NUL included
constexpr mode_t kNewFileMode = 0666;      // what the process's mask leaves of it
constexpr mode_t kPrivateFileMode = 0600;  // of a file that must not exist yet

struct PathText {
  char text[kPathBytes];
};

constinit PosixFile standard_files[kStandardCount] = {
    {0, FileKind::kStandard, false, false, 0, 0, 0, 0, nullptr},
    {1, FileKind::kStandard, true, false, 0, 0, 0, 0, nullptr},
    {2, FileKind::kStandard, true, false, 0, 0, 0, 0, nullptr}};
// Refreshed by get_std_handle: a program may redirect its standard descriptors at any time.
constinit std::atomic<std::uint32_t> standard_types[kStandardCount] = {};
// Every event is this one: nothing is ever waited for.
constinit std::uint8_t event_token = 0;

PosixFile* file_of(Handle handle) {
  if (handle == nullptr || handle == kInvalidHandle || handle == static_cast<Handle>(&event_token)) {
    set_last_error(kErrorInvalidHandle);
    return nullptr;
  }
  return static_cast<PosixFile*>(handle);
}

std::uint32_t type_of(const PosixFile* file) {
  if (file->kind != FileKind::kStandard) return file->type;
  return standard_types[file->fd].load(std::memory_order_relaxed);
}

std::uint32_t type_of_mode(mode_t mode) {
  if (S_ISREG(mode) || S_ISBLK(mode)) return kFileTypeDisk;
  if (S_ISCHR(mode)) return kFileTypeChar;
  if (S_ISFIFO(mode) || S_ISSOCK(mode)) return kFileTypePipe;
  return kFileTypeUnknown;
}

// Copies `name` with its backslashes turned into slashes. False with the last error set for an empty name
// and one that no system call would take.
bool map_path(const char* name, PathText* path) {
  const std::size_t length = std::strlen(name);
  if (length == 0) {
    set_last_error(kErrorPathNotFound);
    return false;
  }
  if (length >= kPathBytes) {
    set_last_error(kErrorFilenameTooLong);
    return false;
  }
  for (std::size_t i = 0; i <= length; ++i) path->text[i] = name[i] == '\\' ? '/' : name[i];
  return true;
}

// The code for a name that does not exist: 2 when its folder does, else 3.
std::uint32_t missing_code(PathText* path) {
  char* slash = std::strrchr(path->text, '/');
  if (slash == nullptr || slash == path->text) return kErrorFileNotFound;
  *slash = 0;
  struct stat info;
  const bool folder = stat(path->text, &info) == 0 && S_ISDIR(info.st_mode);
  *slash = '/';
  return folder ? kErrorFileNotFound : kErrorPathNotFound;
}

void note_path_error(PathText* path) {
  set_last_error(errno == ENOENT ? missing_code(path) : map_errno(errno));
}

// Opens above the standard descriptors; -1 with errno set.
int open_descriptor(const char* path, int flags) {
  int fd;
  do {
    fd = open(path, flags, (flags & O_EXCL) != 0 ? kPrivateFileMode : kNewFileMode);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0 || fd >= kStandardCount) return fd;
  const int moved = fcntl(fd, F_DUPFD_CLOEXEC, kStandardCount);
  const int error = errno;
  close(fd);
  errno = error;
  return moved;
}

// Takes the sharing lock of a disk file; false with the last error set when another open forbids it.
bool take_share_lock(int fd, std::uint32_t share) {
  const int operation = (share & kShareRead) != 0 ? LOCK_SH : LOCK_EX;
  int result;
  do {
    result = flock(fd, operation | LOCK_NB);
  } while (result != 0 && errno == EINTR);
  if (result == 0 || errno != EWOULDBLOCK) return true;  // a file system without locks: go on without
  set_last_error(kErrorSharingViolation);
  return false;
}

// A work file that is opened again, by how it is opened.
bool is_work_file(std::uint32_t disposition, std::uint32_t attributes) {
  return disposition == kOpenExisting && (attributes & kWorkFileFlags) != 0;
}

bool deny_access() {
  set_last_error(kErrorAccessDenied);
  return false;
}

// Finds out what was opened, locks and cuts it. False with the last error set. A new file is noted in
// `place`, which is null for any other.
bool admit(PosixFile* file, const char* path, OwnFile* place, std::uint32_t share, std::uint32_t disposition,
           std::uint32_t attributes) {
  struct stat info;
  if (fstat(file->fd, &info) != 0) return fail_with_errno();
  if (S_ISDIR(info.st_mode)) return deny_access();
  if (is_work_file(disposition, attributes) && !own_file_matches(path, info)) return deny_access();
  file->type = type_of_mode(info.st_mode);
  file->kind = file->type == kFileTypeDisk ? FileKind::kPositioned : FileKind::kSequential;
  if (!S_ISREG(info.st_mode)) return true;
  if (!take_share_lock(file->fd, share)) return false;
  if (disposition == kCreateAlways && ftruncate(file->fd, 0) != 0) return fail_with_errno();
  // What is read back soon is better left in the cache: work files, which are made new or transferred in
  // sectors.
  const bool read_soon = disposition == kCreateNew || (attributes & kFlagNoBuffering) != 0;
  file->sequence = !read_soon && file->writable && (share & kShareRead) == 0 &&
                   (fcntl(file->fd, F_GETFL) & O_ACCMODE) == O_WRONLY;
  if (!file->writable) {
    const int advice = (attributes & kFlagRandomAccess) != 0 ? POSIX_FADV_RANDOM : POSIX_FADV_SEQUENTIAL;
    static_cast<void>(posix_fadvise(file->fd, 0, 0, advice));  // a hint: refusal changes nothing
  }
  if (place != nullptr) own_file_note(place, path, file->fd, info);
  return true;
}

// The open flags for an access and a disposition; -1 for a disposition that is not supported.
int open_flags(std::uint32_t access, std::uint32_t disposition, std::uint32_t attributes) {
  int flags = O_CLOEXEC | O_NOCTTY;
  // A pipe in the place of a work file must not be waited for.
  if (is_work_file(disposition, attributes)) flags |= O_NOFOLLOW | O_NONBLOCK;
  const bool write = (access & kGenericWrite) != 0;
  if (write) flags |= (access & kGenericRead) != 0 ? O_RDWR : O_WRONLY;
  switch (disposition) {
    case kCreateNew:
      return flags | O_CREAT | O_EXCL;
    case kCreateAlways:
      return flags | O_CREAT;
    case kOpenExisting:
      return flags;
    default:
      return -1;
  }
}

std::uint64_t overlapped_offset(const Overlapped* overlapped) {
  return static_cast<std::uint64_t>(overlapped->offset_high) << 32 | overlapped->offset_low;
}

// Reads at the position; false with 38 for an overlapped read at or past the end.
bool read_positioned(PosixFile* file, void* data, std::uint32_t count, std::uint32_t* done,
                     const Overlapped* overlapped) {
  const std::uint64_t offset = overlapped != nullptr ? overlapped_offset(overlapped) : file->pointer;
  const std::int64_t n = read_at(file->fd, data, count, offset);
  if (n < 0) return fail_with_errno();
  if (overlapped == nullptr) {
    file->pointer += static_cast<std::uint64_t>(n);
  } else if (n == 0 && count != 0) {
    set_last_error(kErrorHandleEof);
    return false;
  }
  *done = static_cast<std::uint32_t>(n);
  return true;
}

// Ends the file's direct writer, so that the file holds all that was written to it. False with the last error
// set when something could not be written.
bool settle_direct(PosixFile* file) {
  DirectWriter* direct = file->direct;
  if (direct == nullptr) return true;
  file->direct = nullptr;
  file->streak = 0;
  return direct_finish(direct) || fail_with_errno();
}

// Makes a direct writer for a file that has been written in sequence for long enough.
void follow_sequence(PosixFile* file, std::uint32_t count, std::uint64_t offset) {
  if (offset != file->streak_end) file->streak = 0;
  if (file->streak >= kDirectAfterBytes && file->sequence) file->direct = direct_open(file->fd, offset);
  file->streak += count;
  file->streak_end = offset + count;
}

bool write_positioned(PosixFile* file, const void* data, std::uint32_t count, std::uint64_t offset) {
  if (file->direct != nullptr && (offset != direct_end(file->direct) || direct_retired(file->direct))) {
    if (direct_retired(file->direct)) file->sequence = false;
    if (!settle_direct(file)) return false;
  }
  if (file->direct == nullptr) follow_sequence(file, count, offset);
  if (file->direct != nullptr) return direct_put(file->direct, data, count) || fail_with_errno();
  return write_at(file->fd, data, count, offset) >= 0 || fail_with_errno();
}

// The position that a move leads to; the system's own pointer has then moved, a positioned file's has not.
// Negative with the last error set when there is no such position.
std::int64_t target_position(const PosixFile* file, std::int64_t distance, std::uint32_t origin) {
  if (file->kind != FileKind::kPositioned) {
    const int whence = origin == kSeekBegin ? SEEK_SET : origin == kSeekCurrent ? SEEK_CUR : SEEK_END;
    const std::int64_t position = ::lseek(file->fd, distance, whence);
    if (position < 0) set_last_error(errno == EINVAL ? kErrorNegativeSeek : map_errno(errno));
    return position;
  }
  std::int64_t start = 0;
  if (origin == kSeekCurrent) start = static_cast<std::int64_t>(file->pointer);
  if (origin == kSeekEnd) start = ::lseek(file->fd, 0, SEEK_END);
  std::int64_t target = -1;
  if (start < 0) {
    fail_with_errno();
  } else if (__builtin_add_overflow(start, distance, &target)) {
    set_last_error(kErrorInvalidParameter);
    target = -1;
  } else if (target < 0) {
    set_last_error(kErrorNegativeSeek);
  }
  return target;
}

}  // namespace

Handle create_file(const char* name, std::uint32_t access, std::uint32_t share, void*,
                   std::uint32_t disposition, std::uint32_t attributes, Handle) {
  PathText path;
  if (!map_path(name, &path)) return kInvalidHandle;
  const int flags = open_flags(access, disposition, attributes);
  if (flags < 0) {
    set_last_error(kErrorInvalidParameter);
    return kInvalidHandle;
  }
  // The records come first: without memory for them no file may have been created.
  auto* file = static_cast<PosixFile*>(std::malloc(sizeof(PosixFile)));
  OwnFile* place = disposition == kCreateNew ? own_file_place() : nullptr;
  if (file == nullptr || (disposition == kCreateNew && place == nullptr)) {
    own_file_release(place);
    std::free(file);
    set_last_error(kErrorNotEnoughMemory);
    return kInvalidHandle;
  }
  *file = PosixFile{};
  file->fd = open_descriptor(path.text, flags);
  file->kind = FileKind::kSequential;
  file->writable = (access & kGenericWrite) != 0;
  if (file->fd < 0) {
    if ((flags & O_NOFOLLOW) != 0 && (errno == ELOOP || errno == ENXIO)) errno = EACCES;  // a link, a pipe
    note_path_error(&path);
  } else if (admit(file, path.text, place, share, disposition, attributes)) {
    return file;
  } else {
    close(file->fd);
  }
  own_file_release(place);
  std::free(file);
  return kInvalidHandle;
}

bool read_file(Handle handle, void* data, std::uint32_t count, std::uint32_t* done, Overlapped* overlapped) {
  *done = 0;
  PosixFile* file = file_of(handle);
  if (file == nullptr) return false;
  if (file->kind == FileKind::kPositioned) return read_positioned(file, data, count, done, overlapped);
  const std::uint32_t type = type_of(file);
  const std::int64_t n = read_next(file->fd, data, count, type == kFileTypeDisk);
  if (n < 0) return fail_with_errno();
  if (n == 0 && count != 0 && type == kFileTypePipe) {
    set_last_error(kErrorBrokenPipe);  // the writer has closed
    return false;
  }
  *done = static_cast<std::uint32_t>(n);
  return true;
}

bool write_file(Handle handle, const void* data, std::uint32_t count, std::uint32_t* done,
                Overlapped* overlapped) {
  *done = 0;
  PosixFile* file = file_of(handle);
  if (file == nullptr) return false;
  if (file->kind != FileKind::kPositioned) {
    if (write_all(file->fd, data, count) < 0) return fail_with_errno();
  } else {
    const std::uint64_t offset = overlapped != nullptr ? overlapped_offset(overlapped) : file->pointer;
    if (!write_positioned(file, data, count, offset)) return false;
    if (overlapped == nullptr) file->pointer += count;
  }
  *done = count;
  return true;
}

bool get_overlapped_result(Handle, Overlapped*, std::uint32_t*, bool) {
  // No request is ever in progress here, so nobody has one to ask about.
  set_last_error(kErrorInvalidParameter);
  return false;
}

Handle create_event(void*, bool, bool, const char*) { return &event_token; }

bool close_handle(Handle handle) {
  if (handle == static_cast<Handle>(&event_token)) return true;
  PosixFile* file = file_of(handle);
  if (file == nullptr) return false;
  const int fd = file->fd;
  const bool written = settle_direct(file);
  if (file->kind != FileKind::kStandard) std::free(file);
  // An interrupted close has released the descriptor all the same.
  const bool closed = close(fd) == 0 || errno == EINTR;
  if (!written) return false;  // with the code of the write
  return closed || fail_with_errno();
}

std::uint32_t set_file_pointer(Handle handle, std::int32_t low, std::int32_t* high, std::uint32_t origin) {
  constexpr std::uint32_t kFailed = 0xFFFFFFFF;
  PosixFile* file = file_of(handle);
  if (file == nullptr) return kFailed;
  const std::uint64_t high_half = static_cast<std::uint32_t>(*high);
  const auto distance = static_cast<std::int64_t>(high_half << 32 | static_cast<std::uint32_t>(low));
  if (origin > kSeekEnd) {
    set_last_error(kErrorInvalidParameter);
    return kFailed;
  }
  if (origin == kSeekEnd && !settle_direct(file)) return kFailed;
  const std::int64_t position = target_position(file, distance, origin);
  if (position < 0) return kFailed;
  if (file->kind == FileKind::kPositioned) file->pointer = static_cast<std::uint64_t>(position);
  set_last_error(0);
  *high = static_cast<std::int32_t>(position >> 32);
  return static_cast<std::uint32_t>(position & 0xFFFFFFFF);
}

bool set_end_of_file(Handle handle) {
  PosixFile* file = file_of(handle);
  if (file == nullptr) return false;
  if (!file->writable) {
    set_last_error(kErrorAccessDenied);
    return false;
  }
  if (!settle_direct(file)) return false;
  const std::int64_t end = target_position(file, 0, kSeekCurrent);
  if (end < 0) return false;
  return cut_at(file->fd, end) || fail_with_errno();
}

bool flush_file_buffers(Handle handle) {
  // Data handed to the system is visible to every reader at once. Forcing it to the medium would cost
  // seconds at each change of a work file and promises nothing that a sort needs.
  return file_of(handle) != nullptr;
}

bool finish_writes(Handle handle) {
  PosixFile* file = file_of(handle);
  return file != nullptr && settle_direct(file);
}

std::uint32_t get_file_type(Handle handle) {
  const PosixFile* file = file_of(handle);
  return file != nullptr ? type_of(file) : kFileTypeUnknown;
}

Handle get_std_handle(std::int32_t which) {
  const int fd = kStdInput - which;
  if (fd < 0 || fd >= kStandardCount) {
    set_last_error(kErrorInvalidHandle);
    return kInvalidHandle;
  }
  struct stat info;
  if (fstat(fd, &info) != 0) return nullptr;  // closed: the process has no such handle
  standard_types[fd].store(type_of_mode(info.st_mode), std::memory_order_relaxed);
  return &standard_files[fd];
}

bool delete_file(const char* name) {
  PathText path;
  if (!map_path(name, &path)) return false;
  bool deleted = false;
  if (!own_file_in_place(path.text)) {
    set_last_error(kErrorAccessDenied);  // somebody else's file by now
  } else if (unlink(path.text) == 0) {
    deleted = true;
  } else {
    note_path_error(&path);
  }
  own_file_forget(path.text);
  return deleted;
}

}  // namespace fsort::posix
