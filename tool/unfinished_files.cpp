// The list of files that an end from outside removes: see unfinished_files.h.
#include "unfinished_files.h"

#include <algorithm>
#include <atomic>
#include <vector>

#include "platform/program.h"

namespace fsort_tool {
namespace {

struct UnfinishedFile {
  std::string name;
  fsort::Handle handle;  // null while it is closed
  Until until;
};

// Made at the first use and kept until the process is gone: the end may come while it exits.
struct List {
  fsort::CriticalSection lock;
  std::vector<UnfinishedFile> files;
  std::atomic<bool> ending{false};

  List() : lock{} { fsort::kSystemOs.initialize_critical_section(&lock); }
};

List& list() {
  static auto* const made = new List;
  return *made;
}

UnfinishedFile* find(const std::string& name) {
  std::vector<UnfinishedFile>& files = list().files;
  const auto at =
      std::find_if(files.begin(), files.end(), [&](const UnfinishedFile& f) { return f.name == name; });
  return at == files.end() ? nullptr : &*at;
}

}  // namespace

FilesLock::FilesLock() { fsort::kSystemOs.enter_critical_section(&list().lock); }
FilesLock::~FilesLock() { fsort::kSystemOs.leave_critical_section(&list().lock); }

void unfinished_add(const std::string& name, fsort::Handle handle, Until until) {
  list().files.push_back({name, handle, until});
}

void unfinished_open_again(const std::string& name, fsort::Handle handle) {
  if (UnfinishedFile* file = find(name)) file->handle = handle;
}

void unfinished_closed(fsort::Handle handle) {
  std::vector<UnfinishedFile>& files = list().files;
  std::erase_if(files,
                [&](const UnfinishedFile& f) { return f.handle == handle && f.until == Until::closed; });
  for (UnfinishedFile& file : files) {
    if (file.handle == handle) file.handle = nullptr;
  }
}

void unfinished_forget(const std::string& name) {
  std::erase_if(list().files, [&](const UnfinishedFile& file) { return file.name == name; });
}

void unfinished_remove_all() {
  fsort::kSystemOs.enter_critical_section(&list().lock);
  list().ending = true;
  for (const UnfinishedFile& file : list().files) {
    if (file.handle != nullptr) fsort::program_abandon(file.handle);
    static_cast<void>(fsort::kSystemOs.delete_file(file.name.c_str()));
  }
  list().files.clear();
}

void wait_if_ending() {
  if (list().ending) fsort::kSystemOs.enter_critical_section(&list().lock);
}

}  // namespace fsort_tool
