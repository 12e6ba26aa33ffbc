// Whole sorts of the fuzzing targets. See the header.
#include "fuzz/sort_harness.h"

#include "entry/instance.h"
#include "entry/start_arguments.h"

namespace fsort::fuzz {
namespace {

// Callbacks have no argument of their own, so the running sort stands here.
struct Running {
  fsort_handle handle = nullptr;
  const Texts* records = nullptr;
  std::size_t next = 0;
  std::size_t exit_at = SIZE_MAX;
  SortResult result;
};
Running running;

void show(const char* text) { running.result.texts.emplace_back(text); }

std::int32_t give_record(std::uint64_t* length, const void** record) {
  *length = 0;
  *record = nullptr;
  if (running.next == running.exit_at) FsortExit(running.handle, kExitCode);
  if (running.next == running.records->size()) return 0;
  const std::string& data = (*running.records)[running.next++];
  *length = data.size();
  *record = data.data();
  return 0;
}

std::int32_t take_record(std::uint64_t length, const void* record) {
  running.result.records.emplace_back(static_cast<const char*>(record), static_cast<std::size_t>(length));
  return 0;
}

template <typename Start>
SortResult run(bool plain_levels, Start start) {
  running.handle = FsortCreate(show, nullptr);
  claim(running.handle != nullptr, "an instance can be made");
  auto* instance = reinterpret_cast<Instance*>(running.handle);
  instance->driver.plain_levels = plain_levels ? 1 : 0;
  running.result.status = start();
  running.result.work_files = instance->sublist.file_counter;
  FsortDestroy(running.handle);
  SortResult result = std::move(running.result);
  running = {};
  return result;
}

}  // namespace

SortResult sort_by_arguments(const Texts& arguments, bool plain_levels) {
  std::vector<const char*> pointers = {"fsort"};
  for (const std::string& argument : arguments) pointers.push_back(argument.c_str());
  running = {};
  return run(plain_levels, [&] {
    return start_arguments(running.handle, static_cast<std::int32_t>(pointers.size()), pointers.data());
  });
}

SortResult sort_by_callbacks(const std::string& command, const Texts& records, bool plain_levels,
                             std::size_t exit_at) {
  running = {};
  running.records = &records;
  running.exit_at = exit_at;
  return run(plain_levels,
             [&] { return FsortStart(running.handle, give_record, take_record, command.c_str()); });
}

}  // namespace fsort::fuzz
