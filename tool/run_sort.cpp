// One sort: an instance, its messages to standard error, its status as the exit status; around it the layer
// that watches its files (os_layer.h), an output in safety (safe_output.h), progress and notes.
#include "run_sort.h"

#include <cstdio>

#include "entry/sort_view.h"
#include "entry/start_arguments.h"
#include "fsort.h"
#include "hints.h"
#include "notes.h"
#include "os_layer.h"
#include "platform/program.h"
#include "progress.h"
#include "safe_output.h"
#include "unfinished_files.h"
#include "verify.h"

namespace fsort_tool {
namespace {

constexpr int kExitFailure = 1;

// What the engine said, for the hint beneath an error; a display function has no context of its own.
std::string engine_said;

void show(const char* text) {
  engine_said += text;
  progress_message(text);
}

// Collected while the sort runs, shown when it was good.
std::vector<std::string> notes;

void on_tail(const fsort::InputTail& tail) { notes.push_back(note_of_tail(tail)); }

// The process is to end; called on a thread of its own.
void on_end() {
  unfinished_remove_all();
  progress_withdraw();
}

// What a good sort has to say. A quiet one says nothing.
void show_notes(const fsort::SortFacts& facts) {
  if (facts.quiet != 0) return;
  if (facts.records_written == 0) notes.push_back(note_of_untouched(facts.output_name));
  for (const std::string& note : notes) progress_message(note.c_str());
}

// The sort's own status: 0 also when only its output is not in its place yet.
std::int32_t sort(const Request& request, fsort_handle handle) {
  std::vector<const char*> vector;
  vector.reserve(request.sort_arguments.size() + 1);
  for (const std::string& argument : request.sort_arguments) vector.push_back(argument.c_str());
  const auto count = static_cast<std::int32_t>(vector.size());
  vector.push_back(nullptr);
  const fsort::InputWatch watch{on_tail, static_cast<std::uint8_t>(request.complete ? 1 : 0)};
  const fsort::SortExtras extras{&watch, static_cast<std::uint8_t>(request.verify ? 1 : 0)};
  return fsort::start_arguments(handle, count, vector.data(), extras);
}

void say(const std::string& text) { progress_message(("fsort: " + text + "\n").c_str()); }

// Result: the status that the sort has by now.
std::int32_t show_verdict(const fsort::SortFacts& facts) {
  const std::string fault = verify_fault(facts);
  if (!fault.empty()) {
    say(fault);
    return kExitFailure;
  }
  if (facts.quiet == 0) say(verify_statement(facts));
  return 0;
}

}  // namespace

int run_sort(const Request& request) {
  safe_output_begin(request.atomic);
  os_layer_install();
  progress_begin(request.progress, on_end);
  fsort_handle handle = FsortCreate(show, nullptr);
  if (handle == nullptr) {
    progress_message("fsort: not enough memory\n");
    return kExitFailure;
  }
  std::int32_t status = sort(request, handle);
  const fsort::SortFacts facts = fsort::sort_facts(handle);
  if (status == 0) show_notes(facts);
  if (status == 0 && request.verify) status = show_verdict(facts);
  FsortDestroy(handle);
  if (status == kExitFailure) progress_message(hint_line(request.sort_arguments, engine_said).c_str());
  const std::string wrong = safe_output_end(status == 0);
  if (!wrong.empty()) {
    say(wrong);
    if (status == 0) status = kExitFailure;
  }
  progress_end(status == 0, facts.records_read, facts.records_written);
  return status;
}

}  // namespace fsort_tool
