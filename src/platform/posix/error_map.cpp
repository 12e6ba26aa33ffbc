// Translation of errno into Windows error codes, and the thread's last code.
//
// The engine above speaks Windows codes only (os.h). The table names the errors that a user can do something
// about; all others become 1117, the device error. Two translations depend on more than the number and are
// made by the callers: a missing file or folder (2 or 3, files_posix.cpp) and a refused lock (32).
//
// The last code is a value of the thread, as on Windows, because threads with instances of their own may call
// the table at the same time.
#include <cerrno>

#include "platform/posix/posix_internal.h"

namespace fsort::posix {

namespace {

inline constexpr std::uint32_t kErrorInvalidFunction = 1;

constinit thread_local std::uint32_t thread_last_error = 0;

}  // namespace

std::uint32_t map_errno(int error) {
  switch (error) {
    case ENOENT:
      return kErrorFileNotFound;
    case ENOTDIR:
      return kErrorPathNotFound;
    case EMFILE:
    case ENFILE:
      return kErrorTooManyOpenFiles;
    case EACCES:
    case EPERM:
    case EISDIR:
      return kErrorAccessDenied;
    case EBADF:
      return kErrorInvalidHandle;
    case ENOMEM:
      return kErrorNotEnoughMemory;
    case EROFS:
      return kErrorWriteProtect;
    case ETXTBSY:
      return kErrorSharingViolation;
    case EEXIST:
      return kErrorFileExists;
    case EINVAL:
      return kErrorInvalidParameter;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      return kErrorDiskFull;
    case ENAMETOOLONG:
      return kErrorFilenameTooLong;
    case EPIPE:
      return kErrorNoData;
    case ESPIPE:
      return kErrorInvalidFunction;  // what positioning a pipe gives on Windows
    default:
      return kErrorIoDevice;
  }
}

void set_last_error(std::uint32_t code) { thread_last_error = code; }

std::uint32_t last_error() { return thread_last_error; }

bool fail_with_errno() {
  set_last_error(map_errno(errno));
  return false;
}

}  // namespace fsort::posix
