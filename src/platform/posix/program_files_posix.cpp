// What names lead to, and putting a new file in the place of an old one, on a POSIX system: see program.h.
//
// The new file takes over owner and mode of the old one before it takes its name, so that nobody ever sees
// the name with other rights. Where the owner cannot be given away, the bits that run a program in its
// owner's name are left out. The data is on the disk before the name changes (fsync), and the change of the
// name is sent after it; the folder's own failure to do so is no failure: the name has changed.
#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/posix/posix_internal.h"
#include "platform/program.h"

namespace fsort {

namespace {

constexpr std::size_t kPathBytes = PATH_MAX;
constexpr mode_t kNewFileMode = 0666;
constexpr mode_t kPrivateFileMode = 0600;
constexpr mode_t kModeBits = 07777;

struct PathText {
  char text[kPathBytes];
};

bool map_path(const char* name, PathText* path) {
  const std::size_t length = std::strlen(name);
  if (length >= kPathBytes) {
    posix::set_last_error(kErrorFilenameTooLong);
    return false;
  }
  for (std::size_t i = 0; i <= length; ++i) path->text[i] = name[i] == '\\' ? '/' : name[i];
  return true;
}

NamedFile named(const struct stat& info) {
  return {S_ISREG(info.st_mode) ? NamedKind::regular : NamedKind::other, info.st_dev, info.st_ino,
          static_cast<std::uint64_t>(info.st_size)};
}

bool take_over(int fd, const struct stat& old) {
  struct stat made {};
  if (fstat(fd, &made) != 0) return false;
  mode_t mode = old.st_mode & kModeBits;
  if (made.st_uid != old.st_uid || made.st_gid != old.st_gid) {
    const bool given = fchown(fd, old.st_uid, old.st_gid) == 0;
    if (!given) mode &= ~static_cast<mode_t>(S_ISUID);
    if (!given && fchown(fd, static_cast<uid_t>(-1), old.st_gid) != 0) mode &= ~static_cast<mode_t>(S_ISGID);
  }
  return fchmod(fd, mode) == 0;
}

void sync_folder(const char* path) {
  PathText folder;
  const std::size_t length = std::strlen(path);
  if (length >= sizeof folder.text) return;
  std::memcpy(folder.text, path, length + 1);
  char* slash = std::strrchr(folder.text, '/');
  if (slash == nullptr) {
    std::memcpy(folder.text, ".", 2);
  } else {
    slash[slash == folder.text ? 1 : 0] = 0;
  }
  const int fd = open(folder.text, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return;
  static_cast<void>(fsync(fd));
  close(fd);
}

// The file in `made` as it is to be under the name of the target; false with errno set.
bool complete(const char* made, const char* target) {
  const int fd = open(made, O_WRONLY | O_CLOEXEC | O_NOFOLLOW);
  if (fd < 0) return false;
  struct stat old {};
  const bool done = (stat(target, &old) != 0 || take_over(fd, old)) && fsync(fd) == 0;
  const int error = errno;
  close(fd);
  errno = error;
  return done;
}

}  // namespace

const char kFolderSeparator = '/';

NamedFile program_file(const char* name) {
  PathText path;
  struct stat info {};
  if (!map_path(name, &path) || stat(path.text, &info) != 0) return {NamedKind::none, 0, 0, 0};
  return named(info);
}

NamedFile program_standard_file(std::int32_t which) {
  struct stat info {};
  const int fd = which == kStdInput ? STDIN_FILENO : which == kStdOutput ? STDOUT_FILENO : STDERR_FILENO;
  if (fstat(fd, &info) != 0) return {NamedKind::none, 0, 0, 0};
  return named(info);
}

bool program_real_name(const char* name, char* real, std::size_t size) {
  PathText path;
  PathText resolved;
  struct stat info {};
  if (!map_path(name, &path)) return false;
  // A name that is no link stays as it is: what leads to its folder is nobody's business.
  const bool link = lstat(path.text, &info) == 0 && S_ISLNK(info.st_mode);
  if (!link) resolved = path;
  if (link && realpath(path.text, resolved.text) == nullptr) return posix::fail_with_errno();
  const std::size_t bytes = std::strlen(resolved.text) + 1;
  // A name with a backslash of its own would be taken for another one by whoever opens it.
  if (bytes > size || std::strchr(resolved.text, '\\') != nullptr) {
    posix::set_last_error(kErrorFilenameTooLong);
    return false;
  }
  std::memcpy(real, resolved.text, bytes);
  return true;
}

bool program_make_new(const char* name, bool is_private) {
  PathText path;
  if (!map_path(name, &path)) return false;
  const int fd = open(path.text, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW,
                      is_private ? kPrivateFileMode : kNewFileMode);
  if (fd < 0) return posix::fail_with_errno();
  close(fd);
  return true;
}

bool program_make_ready(const char* made, const char* target) {
  PathText from;
  PathText to;
  if (!map_path(made, &from) || !map_path(target, &to)) return false;
  return complete(from.text, to.text) || posix::fail_with_errno();
}

bool program_replace(const char* made, const char* target) {
  PathText from;
  PathText to;
  if (!map_path(made, &from) || !map_path(target, &to)) return false;
  if (rename(from.text, to.text) != 0) return posix::fail_with_errno();
  sync_folder(to.text);
  return true;
}

void program_abandon(Handle /*handle*/) {}  // an open file can be deleted here

}  // namespace fsort
