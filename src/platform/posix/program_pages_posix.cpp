// Long texts go to a pager on a POSIX system: see program_pages.h.
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "platform/program_pages.h"

namespace fsort {
namespace {

// What a shell answers when it does not find the program.
constexpr int kNotFound = 127;

const char* pager_command() {
  const char* named = std::getenv("PAGER");
  if (named != nullptr && named[0] != 0) return named;
  // -F ends at once when all fits on the screen, -R and -X keep the screen as it is.
  return "command -v less >/dev/null || exit 127; LESS=${LESS:-FRX} exec less";
}

}  // namespace

bool program_page(const char* text) {
  if (isatty(STDOUT_FILENO) == 0) return false;
  // A reader who has seen enough closes the pipe: that ends the text, not the program.
  const auto old = std::signal(SIGPIPE, SIG_IGN);
  // A pager is named by a shell's command, as everywhere; it comes from the user's own environment.
  std::FILE* pager = popen(pager_command(), "w");  // NOLINT(cert-env33-c)
  bool shown = false;
  if (pager != nullptr) {
    std::fputs(text, pager);
    const int status = pclose(pager);
    shown = status != -1 && !(WIFEXITED(status) && WEXITSTATUS(status) == kNotFound);
  }
  std::signal(SIGPIPE, old);
  return shown;
}

}  // namespace fsort
