// Standard handles on POSIX: descriptors 0 to 2, replaced by dup2.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <utility>

#include "support/std_handles.h"

namespace fsort::test {

namespace {

int fd_of(std::intptr_t native) { return static_cast<int>(native); }
int fd_of(Standard which) { return static_cast<int>(which); }

OpenFile opened(const std::string& name, int flags) {
  constexpr mode_t kEverybody = 0666;
  const int fd = ::open(name.c_str(), flags, kEverybody);
  EXPECT_GE(fd, 0) << name;
  return OpenFile(fd);
}

void write_all(int fd, const std::string& bytes) {
  EXPECT_EQ(::write(fd, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
}

}  // namespace

const char* const kNullDevice = "/dev/null";

OpenFile& OpenFile::operator=(OpenFile&& other) noexcept {
  std::swap(native_, other.native_);
  return *this;
}

OpenFile OpenFile::to_read(const std::string& name) { return opened(name, O_RDONLY); }
OpenFile OpenFile::to_write(const std::string& name) { return opened(name, O_WRONLY | O_CREAT); }

OpenFile& OpenFile::move_to(std::int64_t position) {
  EXPECT_EQ(::lseek(fd_of(native_), position, SEEK_SET), position);
  return *this;
}

std::int64_t OpenFile::position() const { return ::lseek(fd_of(native_), 0, SEEK_CUR); }

std::string OpenFile::read(std::size_t most) const {
  std::string bytes(most, '\0');
  const ssize_t n = ::read(fd_of(native_), bytes.data(), most);
  EXPECT_GE(n, 0);
  bytes.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
  return bytes;
}

void OpenFile::write(const std::string& bytes) const { write_all(fd_of(native_), bytes); }

void OpenFile::close() {
  if (is_open()) ::close(fd_of(native_));
  native_ = kNone;
}

Pipe::Pipe() {
  int ends[2] = {-1, -1};
  EXPECT_EQ(::pipe(ends), 0);
  reader = OpenFile(ends[0]);
  writer = OpenFile(ends[1]);
}

StdRedirect::StdRedirect(Standard which, const OpenFile& target)
    : which_(which), saved_(::dup(fd_of(which))) {
  if (target.is_open()) {
    ::dup2(fd_of(target.native()), fd_of(which));
  } else {
    ::close(fd_of(which));
  }
}

StdRedirect::~StdRedirect() {
  ::dup2(fd_of(saved_), fd_of(which_));
  ::close(fd_of(saved_));
}

bool is_std_open(Standard which) { return ::fcntl(fd_of(which), F_GETFD) != -1; }

void write_std(Standard which, const std::string& bytes) { write_all(fd_of(which), bytes); }

void set_environment(const char* name, const char* value) {
  if (value != nullptr) {
    ::setenv(name, value, 1);
  } else {
    ::unsetenv(name);
  }
}

}  // namespace fsort::test
