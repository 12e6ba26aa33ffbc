// The start of a program on a POSIX system, where arguments and streams are right as they come, its terminal,
// and being told of signals: see program.h.
//
// The signals are blocked, in this thread and so in all that are started later, and one thread waits for
// them. What is done when one comes is therefore ordinary code: it may take locks and use the heap, which a
// signal handler may not. Whatever is shown is shown on other threads, so that the one that waits is always
// there to end the process, though standard error be stuck. It does so by the signal itself, with the default
// action, so that whoever started the process sees what it was.
#include "platform/program.h"

#include <pthread.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <ctime>

namespace fsort {

namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGUSR1};
constexpr std::size_t kWatchStackBytes = 256u << 10;
constexpr std::int64_t kNanoseconds = 1000000;  // in a millisecond

ProgramWatch watch;
sigset_t signals;

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

void* show_once(void* /*none*/) {
  watch.on_progress(ProgramEvent::show);
  return nullptr;
}

void* send_ticks(void* /*none*/) {
  constexpr std::uint32_t kSecond = 1000;
  const timespec tick{static_cast<time_t>(watch.tick / kSecond),
                      static_cast<long>(watch.tick % kSecond * kNanoseconds)};
  for (;;) {
    nanosleep(&tick, nullptr);
    watch.on_progress(ProgramEvent::tick);
  }
  return nullptr;
}

bool start_thread(void* (*body)(void*)) {
  pthread_attr_t attributes;
  pthread_t thread;
  if (pthread_attr_init(&attributes) != 0) return false;
  pthread_attr_setstacksize(&attributes, kWatchStackBytes);
  pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  const bool started = pthread_create(&thread, &attributes, body, nullptr) == 0;
  pthread_attr_destroy(&attributes);
  return started;
}

void* wait_for_signals(void* /*none*/) {
  int number = 0;
  while ((number = sigwaitinfo(&signals, nullptr)) <= 0 || number == SIGUSR1) {
    if (number == SIGUSR1) static_cast<void>(start_thread(show_once));
  }
  watch.on_end();
  end_by(number);
  return nullptr;
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

bool program_watch(const ProgramWatch& wanted) {
  watch = wanted;
  sigemptyset(&signals);
  for (const int number : kSignals) {
    if (!ignored(number)) sigaddset(&signals, number);
  }
  sigset_t before;
  pthread_sigmask(SIG_BLOCK, &signals, &before);
  if (!start_thread(wait_for_signals)) {
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return false;
  }
  return watch.tick == 0 || start_thread(send_ticks);
}

}  // namespace fsort
