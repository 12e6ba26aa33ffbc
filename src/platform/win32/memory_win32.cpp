// Memory of a Windows system: how much this process may use, and regions for record memory.
//
// total_phys is the machine's memory, or what the job of the process allows when that is less: a container or
// a service host limits its programs by a job, and a plan for the whole machine would fail there.
#include <windows.h>

#include <algorithm>

#include "platform/win32/win32_internal.h"

namespace fsort::win32 {

namespace {

static_assert(sizeof(MemoryStatus) == sizeof(MEMORYSTATUS));
static_assert(offsetof(MemoryStatus, total_phys) == offsetof(MEMORYSTATUS, dwTotalPhys));

// The lowest memory limit of the job this process runs in; all ones when there is none.
std::uint64_t job_limit() {
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION info = {};
  std::uint64_t limit = ~static_cast<std::uint64_t>(0);
  if (QueryInformationJobObject(nullptr, JobObjectExtendedLimitInformation, &info, sizeof info, nullptr) ==
      0) {
    return limit;
  }
  const DWORD flags = info.BasicLimitInformation.LimitFlags;
  if ((flags & JOB_OBJECT_LIMIT_PROCESS_MEMORY) != 0) {
    limit = std::min<std::uint64_t>(limit, info.ProcessMemoryLimit);
  }
  if ((flags & JOB_OBJECT_LIMIT_JOB_MEMORY) != 0) {
    limit = std::min<std::uint64_t>(limit, info.JobMemoryLimit);
  }
  return limit;
}

}  // namespace

void global_memory_status(MemoryStatus* status) {
  GlobalMemoryStatus(reinterpret_cast<MEMORYSTATUS*>(status));
  status->total_phys = std::min(status->total_phys, job_limit());
}

void* region_alloc(std::size_t size) {
  if (size == 0) return nullptr;
  return VirtualAlloc(nullptr, size, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
}

void region_free(void* region, std::size_t) {
  if (region != nullptr) VirtualFree(region, 0, MEM_RELEASE);
}

}  // namespace fsort::win32
