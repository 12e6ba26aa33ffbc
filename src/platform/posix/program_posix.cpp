// The start of a program on a POSIX system, where arguments and streams are right as they come, its terminal,
// and being told of signals: see program.h.
//
// The signals are blocked, in this thread and so in all that are started later, and one thread waits for
// them. What is done when one comes is therefore ordinary code: it may take locks and use the heap, which a
// signal handler may not. The thread ends the process by the signal itself, with the default action, so that
// whoever started it sees what it was.
#include "platform/program.h"

#include <pthread.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

namespace fsort {

namespace {

constexpr int kEndSignals[] = {SIGINT, SIGTERM, SIGHUP};
constexpr std::size_t kWatchStackBytes = 256u << 10;
constexpr std::int64_t kNanoseconds = 1000000;  // in a millisecond

struct Watch {
  ProgramEventFunction on_event;
  timespec tick;
  bool ticks;
  sigset_t signals;
};
Watch watch;

int descriptor(std::int32_t which) {
  return which == kStdInput ? STDIN_FILENO : which == kStdOutput ? STDOUT_FILENO : STDERR_FILENO;
}

bool ignored(int number) {
  struct sigaction action {};
  return sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

void end_by(int number) {
  sigset_t one;
  sigemptyset(&one);
  sigaddset(&one, number);
  signal(number, SIG_DFL);
  pthread_sigmask(SIG_UNBLOCK, &one, nullptr);
  raise(number);
}

void* wait_for_signals(void* /*none*/) {
  for (;;) {
    const int number = watch.ticks ? sigtimedwait(&watch.signals, nullptr, &watch.tick)
                                   : sigwaitinfo(&watch.signals, nullptr);
    if (number > 0 && number != SIGUSR1) {
      watch.on_event(ProgramEvent::end);
      end_by(number);
    } else if (number > 0) {
      watch.on_event(ProgramEvent::show);
    } else if (errno == EAGAIN) {
      watch.on_event(ProgramEvent::tick);
    }
  }
  return nullptr;
}

bool start_thread() {
  pthread_attr_t attributes;
  pthread_t thread;
  if (pthread_attr_init(&attributes) != 0) return false;
  pthread_attr_setstacksize(&attributes, kWatchStackBytes);
  pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  const bool started = pthread_create(&thread, &attributes, wait_for_signals, nullptr) == 0;
  pthread_attr_destroy(&attributes);
  return started;
}

}  // namespace

ProgramArguments program_begin(int argc, char** argv) { return {argc, argv}; }

bool program_is_terminal(std::int32_t which) { return isatty(descriptor(which)) == 1; }

std::uint32_t program_columns() {
  winsize size{};
  return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

std::int64_t program_milliseconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * std::int64_t{1000} + now.tv_nsec / kNanoseconds;
}

bool program_watch(ProgramEventFunction on_event, std::uint32_t tick) {
  constexpr std::uint32_t kSecond = 1000;
  watch.on_event = on_event;
  watch.tick = {static_cast<time_t>(tick / kSecond), static_cast<long>(tick % kSecond * kNanoseconds)};
  watch.ticks = tick != 0;
  sigemptyset(&watch.signals);
  for (const int number : kEndSignals) {
    if (!ignored(number)) sigaddset(&watch.signals, number);
  }
  if (!ignored(SIGUSR1)) sigaddset(&watch.signals, SIGUSR1);
  sigset_t before;
  pthread_sigmask(SIG_BLOCK, &watch.signals, &before);
  if (start_thread()) return true;
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return false;
}

}  // namespace fsort
