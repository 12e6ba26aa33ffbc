// Sorts a vector of strings from C++.
//
// The callbacks of the engine are plain functions without a pointer of the caller's, so the sort in progress
// stands in a variable of the thread: callbacks run on the thread that called FsortStart. An exception must
// not leave a callback. It is kept, the callback answers 1, which ends the sort, and sort_strings throws it
// again when FsortStart has returned.
#include <cstddef>
#include <cstdint>
#include <exception>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "fsort.h"

namespace {

struct Destroy {
  void operator()(fsort_handle handle) const { FsortDestroy(handle); }
};
using Handle = std::unique_ptr<fsort_instance, Destroy>;

struct Job {
  const std::vector<std::string>* input;
  std::vector<std::string> output;
  std::size_t next = 0;
  std::exception_ptr fault;
};

thread_local Job* job = nullptr;

std::int32_t read_string(std::uint64_t* length, const void** record) {
  *length = 0;
  *record = nullptr;
  if (job->next == job->input->size()) return 0;
  const std::string& text = (*job->input)[job->next++];
  *length = text.size();
  *record = text.data();
  return 0;
}

std::int32_t write_string(std::uint64_t length, const void* record) {
  try {
    job->output.emplace_back(static_cast<const char*>(record), static_cast<std::size_t>(length));
    return 0;
  } catch (...) {
    job->fault = std::current_exception();
    return 1;
  }
}

// The strings in the order that the keys say; none of them may be empty, for length 0 is the end of the
// input.
std::vector<std::string> sort_strings(const std::vector<std::string>& strings, const std::string& keys) {
  const Handle handle(FsortCreate(nullptr, nullptr));
  if (!handle) throw std::bad_alloc();
  Job mine{&strings, {}, 0, nullptr};
  job = &mine;
  const std::int32_t status = FsortStart(handle.get(), read_string, write_string, ("-q " + keys).c_str());
  job = nullptr;
  if (mine.fault) std::rethrow_exception(mine.fault);
  if (status != 0) throw std::runtime_error(FsortMessage(handle.get()));
  return mine.output;
}

}  // namespace

int main() {
  const std::vector<std::string> words = {"pear 12", "fig -3", "apple 7.5", "quince 100"};
  for (const std::string& word : sort_strings(words, "-t ' ' -n -f 1")) std::cout << word << '\n';
  if (sort_strings(words, "-i").front() != "quince 100") return 1;
  try {
    sort_strings(words, "-zz");
  } catch (const std::runtime_error& error) {
    std::cout << error.what();
    return 0;
  }
  return 1;
}
