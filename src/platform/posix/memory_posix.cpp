// Memory of a POSIX system: how much this process may use, and regions for record memory.
//
// The engine plans its memory from `total_phys`. On a machine shared by containers the machine's memory is
// the wrong answer, so total_phys is the lowest of
//   - the physical memory,
//   - memory.max (version 2) or memory.limit_in_bytes (version 1) of this process's control group and of all
//     groups above it, since a limit anywhere above holds too,
//   - the address-space limit of the process.
//
// Regions are mapped, not taken from the heap: they go back to the system at once when a sort ends. From
// 2 MiB on they start on a 2 MiB boundary and ask for huge pages, because the engine touches record memory
// in no order and a page-table miss for every record costs more than the comparison.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "platform/posix/posix_internal.h"

namespace fsort::posix {

namespace {

constexpr std::uint64_t kNoLimit = ~static_cast<std::uint64_t>(0);
constexpr std::size_t kHugePageBytes = 2u << 20;
constexpr std::uint64_t kVirtualBytes = 1ull << 47;
constexpr std::size_t kMembershipBytes = 8192;
constexpr std::size_t kGroupPathBytes = 4096;
constexpr char kMemoryController[] = "memory";

// Reads a small file as text; false when it cannot be read.
bool read_text_file(const char* path, char* text, std::size_t size) {
  const int fd = open(path, O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  const std::int64_t n = read_next(fd, text, static_cast<std::uint32_t>(size - 1), true);
  close(fd);
  if (n < 0) return false;
  text[n] = 0;
  return true;
}

// The number at the start of the file; kNoLimit for a missing file and for the text "max".
std::uint64_t limit_in_file(const char* path) {
  char text[32];
  if (!read_text_file(path, text, sizeof text)) return kNoLimit;
  if (text[0] < '0' || text[0] > '9') return kNoLimit;
  std::uint64_t value = 0;
  for (const char* p = text; *p >= '0' && *p <= '9'; ++p) {
    const auto digit = static_cast<std::uint64_t>(*p - '0');
    if (value > (kNoLimit - digit) / 10) return kNoLimit;
    value = value * 10 + digit;
  }
  return value;
}

// The lowest limit of `group` and of every group above it.
std::uint64_t limit_along(const char* mount, const char* group, const char* file) {
  char folder[kGroupPathBytes];
  std::uint64_t lowest = kNoLimit;
  const int length = std::snprintf(folder, sizeof folder, "%s%s", mount, group);
  if (length < 0 || static_cast<std::size_t>(length) >= sizeof folder) return kNoLimit;
  const std::size_t mount_length = std::strlen(mount);
  for (;;) {
    char path[kGroupPathBytes + 64];
    std::snprintf(path, sizeof path, "%s/%s", folder, file);
    lowest = std::min(lowest, limit_in_file(path));
    char* slash = std::strrchr(folder + mount_length, '/');
    if (slash == nullptr) return lowest;
    *slash = 0;
  }
}

// True when the comma-separated list [first, last) names the memory controller.
bool lists_memory(const char* first, const char* last) {
  const std::size_t name_length = sizeof kMemoryController - 1;
  while (first < last) {
    const char* comma = std::find(first, last, ',');
    const auto length = static_cast<std::size_t>(comma - first);
    if (length == name_length && std::memcmp(first, kMemoryController, length) == 0) return true;
    first = comma < last ? comma + 1 : last;
  }
  return false;
}

// The limit of one membership line, "number:controllers:group".
std::uint64_t limit_of_line(const char* root, char* line) {
  char* controllers = std::strchr(line, ':');
  char* group = controllers != nullptr ? std::strchr(controllers + 1, ':') : nullptr;
  if (group == nullptr) return kNoLimit;
  const bool unified = group == controllers + 1;
  if (unified) return limit_along(root, group + 1, "memory.max");
  if (!lists_memory(controllers + 1, group)) return kNoLimit;
  char mount[kGroupPathBytes / 2];
  std::snprintf(mount, sizeof mount, "%s/%s", root, kMemoryController);
  return limit_along(mount, group + 1, "memory.limit_in_bytes");
}

std::uint64_t address_space_limit() {
  struct rlimit limit;
  if (getrlimit(RLIMIT_AS, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) return kNoLimit;
  return limit.rlim_cur;
}

void* map_pages(std::size_t size) {
  void* pages = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return pages == MAP_FAILED ? nullptr : pages;
}

std::size_t round_to_pages(std::size_t size) {
  const auto page = static_cast<std::size_t>(getpagesize());
  return (size + page - 1) / page * page;
}

}  // namespace

std::uint64_t cgroup_memory_limit(const char* root, const char* membership) {
  char text[kMembershipBytes];
  if (!read_text_file(membership, text, sizeof text)) return kNoLimit;
  std::uint64_t lowest = kNoLimit;
  for (char* line = text; line != nullptr;) {
    char* end = std::strchr(line, '\n');
    if (end != nullptr) *end = 0;
    lowest = std::min(lowest, limit_of_line(root, line));
    line = end != nullptr ? end + 1 : nullptr;
  }
  return lowest;
}

void global_memory_status(MemoryStatus* status) {
  struct sysinfo info;
  std::memset(&info, 0, sizeof info);
  sysinfo(&info);
  const std::uint64_t unit = info.mem_unit != 0 ? info.mem_unit : 1;
  const std::uint64_t installed = info.totalram * unit;
  std::uint64_t usable = std::min(installed, cgroup_memory_limit("/sys/fs/cgroup", "/proc/self/cgroup"));
  usable = std::min(usable, address_space_limit());
  status->total_phys = usable;
  status->avail_phys = std::min(usable, (info.freeram + info.bufferram) * unit);
  status->total_page_file = usable + info.totalswap * unit;
  status->avail_page_file = status->avail_phys + info.freeswap * unit;
  status->total_virtual = std::min(kVirtualBytes, address_space_limit());
  status->avail_virtual = status->total_virtual;
  status->memory_load =
      usable == 0 ? 0 : static_cast<std::uint32_t>(100 - status->avail_phys / (usable / 100 + 1));
}

void* region_alloc(std::size_t size) {
  if (size == 0 || size > static_cast<std::size_t>(kVirtualBytes)) return nullptr;
  const std::size_t bytes = round_to_pages(size);
  if (bytes < kHugePageBytes) return map_pages(bytes);
  // Map one huge page more than needed and give back what lies before and behind the aligned part.
  auto* mapped = static_cast<std::uint8_t*>(map_pages(bytes + kHugePageBytes));
  if (mapped == nullptr) return map_pages(bytes);
  const std::size_t misfit = reinterpret_cast<std::uintptr_t>(mapped) % kHugePageBytes;
  const std::size_t before = misfit == 0 ? 0 : kHugePageBytes - misfit;
  if (before != 0) munmap(mapped, before);
  munmap(mapped + before + bytes, kHugePageBytes - before);
  static_cast<void>(madvise(mapped + before, bytes, MADV_HUGEPAGE));  // a hint: refusal changes nothing
  return mapped + before;
}

void region_free(void* region, std::size_t size) {
  if (region != nullptr) munmap(region, round_to_pages(size));
}

}  // namespace fsort::posix
