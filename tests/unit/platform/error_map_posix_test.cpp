// Translation of errno into Windows codes.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <thread>

#include "platform/posix/posix_internal.h"

namespace fsort {
namespace {

struct Row {
  const char* name;
  int error;
  std::uint32_t code;
};

TEST(MapErrno, GivesTheCodeThatWindowsUsesForTheSameFailure) {
  const Row rows[] = {
      {"missing", ENOENT, 2},
      {"folder is a file", ENOTDIR, 3},
      {"process limit", EMFILE, 4},
      {"system limit", ENFILE, 4},
      {"permission", EACCES, 5},
      {"not permitted", EPERM, 5},
      {"is a folder", EISDIR, 5},
      {"bad descriptor", EBADF, 6},
      {"no memory", ENOMEM, 8},
      {"read-only", EROFS, 19},
      {"running program", ETXTBSY, 32},
      {"exists", EEXIST, 80},
      {"bad argument", EINVAL, 87},
      {"disk full", ENOSPC, 112},
      {"quota", EDQUOT, 112},
      {"file too large", EFBIG, 112},
      {"long name", ENAMETOOLONG, 206},
      {"no reader", EPIPE, 232},
      {"pipe has no position", ESPIPE, 1},
      {"device", EIO, 1117},
      {"anything else", ELOOP, 1117},
  };
  for (const Row& row : rows) EXPECT_EQ(posix::map_errno(row.error), row.code) << row.name;
}

TEST(MapErrno, GivesOnlyCodesThatHaveAText) {
  for (int error = 1; error < 134; ++error) {
    char text[160];
    EXPECT_NE(os->format_message(0x1200, nullptr, posix::map_errno(error), 0x400, text, sizeof text, nullptr),
              0u)
        << std::strerror(error);
  }
}

TEST(LastError, BelongsToTheThread) {
  posix::set_last_error(7);
  std::thread other([] {
    posix::set_last_error(9);
    EXPECT_EQ(os->get_last_error(), 9u);
  });
  other.join();
  EXPECT_EQ(os->get_last_error(), 7u);
}

}  // namespace
}  // namespace fsort
