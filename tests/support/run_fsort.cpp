// One sort through the library. See the header.
#include "support/run_fsort.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "entry/instance.h"
#include "entry/sort_view.h"
#include "entry/start_arguments.h"
#include "fsort.h"
#include "support/key_gen.h"
#include "support/temp_folder.h"

namespace fsort_test {
namespace {

// The callbacks have no argument of their own, so what they work on stands here while a sort runs.
struct Traffic {
  const std::vector<std::string>* input = nullptr;
  std::size_t next = 0;
  SortRun* run = nullptr;
};
Traffic traffic;

void take_text(const char* text) { traffic.run->texts.emplace_back(text); }

std::int32_t give_record(std::uint64_t* length, const void** record) {
  *length = 0;
  *record = nullptr;
  if (traffic.next == traffic.input->size()) return 0;
  const std::string& data = (*traffic.input)[traffic.next++];
  *length = data.size();
  *record = data.data();
  return 0;
}

std::int32_t take_record(std::uint64_t length, const void* record) {
  traffic.run->records.emplace_back(static_cast<const char*>(record), length);
  return 0;
}

// Thousands of small files are written; a folder in memory, where there is one, saves half a minute.
std::filesystem::path folder_of_folders() {
  std::error_code ignored;
  const std::filesystem::path in_memory = "/dev/shm";
  if (std::getenv("TMPDIR") == nullptr && std::filesystem::is_directory(in_memory, ignored)) return in_memory;
  return std::filesystem::temp_directory_path();
}

void write_file(const std::string& name, const std::vector<std::string>& records) {
  std::ofstream file(name, std::ios::binary | std::ios::trunc);
  for (const std::string& record : records)
    file.write(record.data(), static_cast<std::streamsize>(record.size()));
}

std::string read_file(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string input_name() { return test_folder() + "in"; }
std::string output_name() { return test_folder() + "out"; }

std::vector<std::string> with_files(const SortRequest& request, bool both) {
  std::vector<std::string> arguments = request.arguments;
  if (both || request.output == Route::file) arguments.insert(arguments.begin(), ">" + output_name());
  if (both || request.input == Route::file) arguments.insert(arguments.begin(), "<" + input_name());
  return arguments;
}

}  // namespace

const std::string& test_folder() {
  static const fsort::test::TempFolder folder(folder_of_folders());
  static const std::string path = folder.path("");
  return path;
}

bool needs_argument_vector(const SortRequest& request) {
  return request.by_arguments || join(with_files(request, false)).size() > FSORT_MAX_COMMAND;
}

SortRun run_fsort(const SortRequest& request) {
  SortRun run;
  traffic = {&request.records, 0, &run};
  run.by_arguments = needs_argument_vector(request);
  run.input_was_file = run.by_arguments || request.input == Route::file;
  const bool output_is_file = run.by_arguments || request.output == Route::file;
  if (run.input_was_file) write_file(input_name(), request.records);
  if (output_is_file) std::filesystem::remove(output_name());
  const std::vector<std::string> arguments = with_files(request, run.by_arguments);
  const fsort_handle handle = FsortCreate(take_text, nullptr);
  reinterpret_cast<fsort::Instance*>(handle)->driver.plain_levels = request.plain_levels ? 1 : 0;
  if (run.by_arguments) {
    std::vector<const char*> pointers = {"fsort"};
    for (const std::string& argument : arguments) pointers.push_back(argument.c_str());
    const fsort::SortExtras extras{nullptr, static_cast<std::uint8_t>(request.checked ? 1 : 0)};
    run.status =
        fsort::start_arguments(handle, static_cast<std::int32_t>(pointers.size()), pointers.data(), extras);
  } else {
    run.status = FsortStart(handle, run.input_was_file ? nullptr : give_record,
                            output_is_file ? nullptr : take_record, join(arguments).c_str());
  }
  if (output_is_file) {
    run.bytes = read_file(output_name());
  } else {
    for (const std::string& record : run.records) run.bytes += record;
  }
  run.work_files = reinterpret_cast<fsort::Instance*>(handle)->sublist.file_counter;
  const fsort::SortFacts facts = fsort::sort_facts(handle);
  run.same_records = facts.same_records != 0;
  run.misplaced = facts.misplaced;
  FsortDestroy(handle);
  traffic = {};
  return run;
}

}  // namespace fsort_test
