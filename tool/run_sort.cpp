// One sort: an instance, its messages to standard error, its status as the exit status.
#include "run_sort.h"

#include <cstdio>

#include "entry/start_arguments.h"
#include "fsort.h"
#include "os_layer.h"
#include "platform/program.h"
#include "safe_output.h"
#include "unfinished_files.h"

namespace fsort_tool {
namespace {

constexpr int kExitFailure = 1;

// Messages byte for byte, at once: a reader of standard error sees them even when the process is stopped.
void show(const char* text) {
  std::fputs(text, stderr);
  std::fflush(stderr);
}

// Called on a thread of its own.
void on_event(fsort::ProgramEvent event) {
  if (event == fsort::ProgramEvent::end) unfinished_remove_all();
}

}  // namespace

int run_sort(const Request& request) {
  std::vector<const char*> vector;
  vector.reserve(request.sort_arguments.size() + 1);
  for (const std::string& argument : request.sort_arguments) vector.push_back(argument.c_str());
  const auto count = static_cast<std::int32_t>(vector.size());
  vector.push_back(nullptr);

  safe_output_begin(request.atomic);
  os_layer_install();
  static_cast<void>(fsort::program_watch(on_event, 0));  // without it a signal ends the process at once
  fsort_handle handle = FsortCreate(show, nullptr);
  if (handle == nullptr) {
    show("fsort: not enough memory\n");
    return kExitFailure;
  }
  const std::int32_t status = fsort::start_arguments(handle, count, vector.data());
  FsortDestroy(handle);
  const std::string wrong = safe_output_end(status == 0);
  if (wrong.empty()) return status;
  show(("fsort: " + wrong + "\n").c_str());
  return status == 0 ? kExitFailure : status;
}

}  // namespace fsort_tool
