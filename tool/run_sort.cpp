// One sort: an instance, its messages to standard error, its status as the exit status.
#include "run_sort.h"

#include <cstdio>

#include "entry/start_arguments.h"
#include "fsort.h"

namespace fsort_tool {
namespace {

constexpr int kExitFailure = 1;

// Messages byte for byte, at once: a reader of standard error sees them even when the process is stopped.
void show(const char* text) {
  std::fputs(text, stderr);
  std::fflush(stderr);
}

}  // namespace

int run_sort(const Request& request) {
  std::vector<const char*> vector;
  vector.reserve(request.sort_arguments.size() + 1);
  for (const std::string& argument : request.sort_arguments) vector.push_back(argument.c_str());
  const auto count = static_cast<std::int32_t>(vector.size());
  vector.push_back(nullptr);

  fsort_handle handle = FsortCreate(show, nullptr);
  if (handle == nullptr) {
    show("fsort: not enough memory\n");
    return kExitFailure;
  }
  const std::int32_t status = fsort::start_arguments(handle, count, vector.data());
  FsortDestroy(handle);
  return status;
}

}  // namespace fsort_tool
