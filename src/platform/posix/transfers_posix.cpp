// Transfers on descriptors: the loops that make a POSIX transfer behave as one Windows transfer.
//
// A Windows transfer on a disk file moves all its bytes or fails, and a write to a broken pipe fails with a
// code. POSIX calls may move fewer bytes, be interrupted, refuse to wait (a descriptor that some other
// process made non-blocking), or raise a signal that ends the process: SIGPIPE where nobody reads any more,
// SIGXFSZ where the process may not make files that large. The loops here take care of all of them.
//
// The two signals are blocked for the calling thread around the call and taken from its pending signals
// afterwards: the disposition of the process belongs to the program and is never touched.
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

// The signal state around a call that may raise SIGPIPE or SIGXFSZ.
struct SignalGuard {
  sigset_t before;
  sigset_t own;  // those of the two that, found pending afterwards, are this call's own
};

void guard_begin(SignalGuard* guard) {
  sigset_t both;
  sigemptyset(&both);
  sigaddset(&both, SIGPIPE);
  sigaddset(&both, SIGXFSZ);
  pthread_sigmask(SIG_BLOCK, &both, &guard->before);
  guard->own = both;
  // Only a thread that had one blocked can have it pending already, and that one is not ours to take.
  if (sigismember(&guard->before, SIGPIPE) != 1 && sigismember(&guard->before, SIGXFSZ) != 1) return;
  sigset_t pending;
  sigpending(&pending);
  if (sigismember(&pending, SIGPIPE) == 1) sigdelset(&guard->own, SIGPIPE);
  if (sigismember(&pending, SIGXFSZ) == 1) sigdelset(&guard->own, SIGXFSZ);
}

// `error`: the errno that the call ended with, which says whether it has raised a signal.
void guard_end(const SignalGuard* guard, int error) {
  const int raised = error == EPIPE ? SIGPIPE : error == EFBIG ? SIGXFSZ : 0;
  if (raised != 0 && sigismember(&guard->own, raised) == 1) {
    sigset_t one;
    sigemptyset(&one);
    sigaddset(&one, raised);
    const timespec at_once{0, 0};
    while (sigtimedwait(&one, nullptr, &at_once) < 0 && errno == EINTR) {
    }
  }
  pthread_sigmask(SIG_SETMASK, &guard->before, nullptr);
}

// Writes `count` bytes by as many calls as it takes; `call` writes from the byte that it is given on.
template <typename Call>
std::int64_t write_whole(int fd, std::uint32_t count, const Call& call) {
  std::uint32_t done = 0;
  int error = 0;
  SignalGuard guard;
  guard_begin(&guard);
  while (done < count && error == 0) {
    const ssize_t n = call(done);
    if (n >= 0) {
      done += static_cast<std::uint32_t>(n);
    } else if (!try_again(fd, POLLOUT)) {
      error = errno;
    }
  }
  guard_end(&guard, error);
  errno = error;
  return error == 0 ? static_cast<std::int64_t>(done) : -1;
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
  return write_whole(fd, count, [=](std::uint32_t done) {
    return pwrite(fd, source + done, count - done, static_cast<off_t>(offset + done));
  });
}

bool cut_at(int fd, std::int64_t end) {
  SignalGuard guard;
  guard_begin(&guard);
  const int error = ftruncate(fd, static_cast<off_t>(end)) == 0 ? 0 : errno;
  guard_end(&guard, error);
  errno = error;
  return error == 0;
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

std::int64_t write_all(int fd, const void* data, std::uint32_t count) {
  const auto* source = static_cast<const std::uint8_t*>(data);
  return write_whole(fd, count, [=](std::uint32_t done) { return write(fd, source + done, count - done); });
}

}  // namespace fsort::posix
