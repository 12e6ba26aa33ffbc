// Writing beside a file and replacing it: see safe_output.h.
#include "safe_output.h"

#include <algorithm>
#include <vector>

#include "file_names.h"
#include "unfinished_files.h"

namespace fsort_tool {
namespace {

constexpr int kMostTries = 1000;

struct State {
  bool every_output = false;
  std::vector<fsort::NamedFile> inputs;
  std::string target;   // the file to be replaced, links followed
  std::string made;     // the new one; empty: none
  std::string refused;  // why there is none although there should be
};

State& state() {
  static State made;
  return made;
}

bool same_file(const fsort::NamedFile& a, const fsort::NamedFile& b) {
  return a.kind == fsort::NamedKind::regular && b.kind == a.kind && a.device == b.device &&
         a.number == b.number;
}

std::string make_beside(const std::string& target, bool is_private) {
  const std::size_t folder = target.find_last_of("/\\:");
  const std::string start = folder == std::string::npos ? "" : target.substr(0, folder + 1);
  const std::string own = start + ".fsort-" + std::to_string(fsort::kSystemOs.get_current_thread_id()) + "-";
  for (int i = 1; i <= kMostTries; ++i) {
    std::string name = own + std::to_string(i) + ".tmp";
    if (fsort::program_make_new(name.c_str(), is_private)) return name;
    if (fsort::kSystemOs.get_last_error() != fsort::kErrorFileExists) break;
  }
  return {};
}

}  // namespace

void safe_output_begin(bool every_output) {
  state() = State{};
  state().every_output = every_output;
  safe_output_note_input(fsort::program_standard_file(fsort::kStdInput));
}

bool is_standard_output(const fsort::NamedFile& file) {
  return same_file(file, fsort::program_standard_file(fsort::kStdOutput));
}

void safe_output_note_input(const fsort::NamedFile& file) { state().inputs.push_back(file); }

bool safe_output_wanted(const fsort::NamedFile& target) {
  State& s = state();
  if (target.kind == fsort::NamedKind::other || is_standard_output(target)) return false;
  return s.every_output || std::any_of(s.inputs.begin(), s.inputs.end(), [&](const fsort::NamedFile& input) {
           return same_file(input, target);
         });
}

std::string safe_output_make(const char* target) {
  State& s = state();
  const bool replaces = fsort::program_file(target).kind == fsort::NamedKind::regular;
  s.target = real_name(target);
  s.made = make_beside(s.target, replaces);
  if (s.made.empty()) {
    s.refused = shown_name(target) + ": no new file can be made beside it, so it was left as it was: " +
                system_text(fsort::kSystemOs.get_last_error());
  } else {
    unfinished_add(s.made, nullptr, Until::deleted);
  }
  return s.made;
}

std::string safe_output_end(bool good) {
  State& s = state();
  if (s.made.empty()) return s.refused;
  // Without the lock: the disk may be slow, and an end from outside must not wait for it.
  const bool ready = good && fsort::program_make_ready(s.made.c_str(), s.target.c_str());
  const FilesLock lock;
  std::string wrong;
  if (!ready || !fsort::program_replace(s.made.c_str(), s.target.c_str())) {
    if (good) {
      wrong = shown_name(s.target) +
              ": the sorted file could not take its place: " + system_text(fsort::kSystemOs.get_last_error());
    }
    static_cast<void>(fsort::kSystemOs.delete_file(s.made.c_str()));
  }
  unfinished_forget(s.made);
  s.made.clear();
  return wrong;
}

}  // namespace fsort_tool
