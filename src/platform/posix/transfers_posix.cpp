// Transfers on descriptors: the loops that make a POSIX transfer behave as one Windows transfer.
//
// A Windows transfer on a disk file moves all its bytes or fails, and a write to a broken pipe fails with a
// code. POSIX calls may move fewer bytes, be interrupted, refuse to wait (a descriptor that some other
// process made non-blocking), or raise SIGPIPE. The loops here take care of all four.
//
// SIGPIPE is blocked for the calling thread around the write and taken from its pending signals afterwards:
// the disposition of the process belongs to the program and is never touched.
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "platform/posix/posix_internal.h"

namespace fsort::posix {

namespace {

// Decides after a failed call whether to call again, waiting first where the descriptor would not block.
bool try_again(int fd, short event) {
  if (errno == EINTR) return true;
  if (errno != EAGAIN) return false;
  pollfd entry{fd, event, 0};
  if (poll(&entry, 1, -1) >= 0 || errno == EINTR) return true;
  return false;
}

// The signal state around a write that may break.
struct PipeGuard {
  sigset_t before;
  bool consume;  // a SIGPIPE found afterwards is this write's own
};

void guard_begin(PipeGuard* guard) {
  sigset_t pipe_only;
  sigemptyset(&pipe_only);
  sigaddset(&pipe_only, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &pipe_only, &guard->before);
  guard->consume = true;
  // Only a thread that had it blocked can have one pending already, and that one is not ours to take.
  if (sigismember(&guard->before, SIGPIPE) == 1) {
    sigset_t pending;
    sigpending(&pending);
    guard->consume = sigismember(&pending, SIGPIPE) != 1;
  }
}

void guard_end(const PipeGuard* guard, bool broken) {
  if (broken && guard->consume) {
    sigset_t pipe_only;
    sigemptyset(&pipe_only);
    sigaddset(&pipe_only, SIGPIPE);
    const timespec at_once{0, 0};
    while (sigtimedwait(&pipe_only, nullptr, &at_once) < 0 && errno == EINTR) {
    }
  }
  pthread_sigmask(SIG_SETMASK, &guard->before, nullptr);
}

}  // namespace

std::int64_t read_at(int fd, void* data, std::uint32_t count, std::uint64_t offset) {
  auto* target = static_cast<std::uint8_t*>(data);
  std::uint32_t done = 0;
  while (done < count) {
    const ssize_t n = pread(fd, target + done, count - done, static_cast<off_t>(offset + done));
    if (n == 0) break;
    if (n > 0) {
      done += static_cast<std::uint32_t>(n);
    } else if (!try_again(fd, POLLIN)) {
      return -1;
    }
  }
  return done;
}

std::int64_t write_at(int fd, const void* data, std::uint32_t count, std::uint64_t offset) {
  const auto* source = static_cast<const std::uint8_t*>(data);
  std::uint32_t done = 0;
  while (done < count) {
    const ssize_t n = pwrite(fd, source + done, count - done, static_cast<off_t>(offset + done));
    if (n >= 0) {
      done += static_cast<std::uint32_t>(n);
    } else if (!try_again(fd, POLLOUT)) {
      return -1;
    }
  }
  return done;
}

std::int64_t read_next(int fd, void* data, std::uint32_t count, bool fill) {
  auto* target = static_cast<std::uint8_t*>(data);
  std::uint32_t done = 0;
  while (done < count) {
    const ssize_t n = read(fd, target + done, count - done);
    if (n == 0) break;
    if (n > 0) {
      done += static_cast<std::uint32_t>(n);
      if (!fill) break;
    } else if (!try_again(fd, POLLIN)) {
      return -1;
    }
  }
  return done;
}

std::int64_t write_all(int fd, const void* data, std::uint32_t count, bool may_break) {
  const auto* source = static_cast<const std::uint8_t*>(data);
  std::uint32_t done = 0;
  int error = 0;
  PipeGuard guard;
  if (may_break) guard_begin(&guard);
  while (done < count && error == 0) {
    const ssize_t n = write(fd, source + done, count - done);
    if (n >= 0) {
      done += static_cast<std::uint32_t>(n);
    } else if (!try_again(fd, POLLOUT)) {
      error = errno;
    }
  }
  if (may_break) guard_end(&guard, error == EPIPE);
  errno = error;
  return error == 0 ? static_cast<std::int64_t>(done) : -1;
}

}  // namespace fsort::posix
