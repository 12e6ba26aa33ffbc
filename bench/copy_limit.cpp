// The least that sorting a file can cost: reads the input once and writes it once.
//
//   copy_limit IN OUT            one read and one write
//   copy_limit IN OUT THROUGH    two of each, through a work file, which is deleted
//
// Plain reads and writes of one large aligned buffer, as a program does them that has to look at the data.
#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>

namespace {

constexpr std::size_t kBufferBytes = std::size_t{1} << 20;
constexpr mode_t kMode = 0644;
alignas(4096) char buffer[kBufferBytes];

bool write_all(int fd, std::size_t bytes) {
  for (std::size_t done = 0; done < bytes;) {
    const ssize_t part = ::write(fd, buffer + done, bytes - done);
    if (part < 0) return false;
    done += static_cast<std::size_t>(part);
  }
  return true;
}

bool copy(const char* from, const char* to) {
  const int in = ::open(from, O_RDONLY | O_CLOEXEC);
  const int out = ::open(to, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kMode);
  if (in < 0 || out < 0) return false;
  ssize_t part = 0;
  while ((part = ::read(in, buffer, kBufferBytes)) > 0) {
    if (!write_all(out, static_cast<std::size_t>(part))) return false;
  }
  ::close(in);
  return ::close(out) == 0 && part == 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3 || argc > 4) {
    std::fprintf(stderr, "usage: copy_limit IN OUT [THROUGH]\n");
    return 2;
  }
  const char* through = argc > 3 ? argv[3] : nullptr;
  const bool good = through == nullptr
                        ? copy(argv[1], argv[2])
                        : copy(argv[1], through) && copy(through, argv[2]) && ::unlink(through) == 0;
  if (!good) std::perror("copy_limit");
  return good ? 0 : 1;
}
