// Watching the files of the sort: see os_layer.h.
#include "os_layer.h"

#include "entry/sort_view.h"
#include "file_names.h"
#include "platform/os.h"
#include "platform/program.h"
#include "progress.h"
#include "safe_output.h"
#include "unfinished_files.h"

namespace fsort_tool {
namespace {

using fsort::Handle;

const fsort::OsTable* beneath = nullptr;
fsort::OsTable layer;
Handle output = nullptr;  // of the output file, while it is open

// A call of create_file.
struct Opening {
  const char* name;
  std::uint32_t access;
  std::uint32_t share;
  void* security;
  std::uint32_t disposition;
  std::uint32_t attributes;
  Handle template_file;

  Handle pass(const char* under) const {
    return beneath->create_file(under, access, share, security, disposition, attributes, template_file);
  }
};

Handle create_work_file(const Opening& o) {
  const FilesLock lock;
  const Handle handle = o.pass(o.name);
  if (handle != fsort::kInvalidHandle) unfinished_add(o.name, handle, Until::deleted);
  return handle;
}

// True when the old file, if there is one, may be overwritten; false with the system's code.
bool may_overwrite(const Opening& o, const fsort::NamedFile& target) {
  if (target.kind == fsort::NamedKind::none) return true;
  const Handle old = beneath->create_file(o.name, o.access, o.share, nullptr, fsort::kOpenExisting,
                                          fsort::kFlagSequentialScan, nullptr);
  if (old == fsort::kInvalidHandle) return false;
  return beneath->close_handle(old);
}

Handle create_safe_output(const Opening& o, const fsort::NamedFile& target) {
  const FilesLock lock;
  if (!may_overwrite(o, target)) return fsort::kInvalidHandle;
  const std::string name = safe_output_make(o.name);
  if (name.empty()) return fsort::kInvalidHandle;
  const Handle handle = o.pass(name.c_str());
  if (handle != fsort::kInvalidHandle) unfinished_open_again(name, handle);
  return handle;
}

// The lock is not held while a pipe or a device is opened: that may wait for whoever reads it.
Handle create_output(const Opening& o) {
  const fsort::NamedFile target = fsort::program_file(o.name);
  if (target.kind == fsort::NamedKind::other || is_standard_output(target)) return o.pass(o.name);
  if (safe_output_wanted(target)) return create_safe_output(o, target);
  const FilesLock lock;
  const Handle handle = o.pass(o.name);
  if (handle != fsort::kInvalidHandle) unfinished_add(real_name(o.name), handle, Until::closed);
  return handle;
}

Handle open_work_file(const Opening& o) {
  const FilesLock lock;
  const Handle handle = o.pass(o.name);
  if (handle != fsort::kInvalidHandle) unfinished_open_again(o.name, handle);
  return handle;
}

Handle open_existing(const Opening& o) {
  constexpr std::uint32_t kWorkFileFlags = fsort::kFlagNoBuffering | fsort::kFlagOverlapped;
  if ((o.attributes & kWorkFileFlags) != 0) return open_work_file(o);
  const Handle handle = o.pass(o.name);
  const bool input = handle != fsort::kInvalidHandle && (o.access & fsort::kGenericWrite) == 0;
  if (input) safe_output_note_input(fsort::program_file(o.name));
  return handle;
}

Handle create_file(const char* name, std::uint32_t access, std::uint32_t share, void* security,
                   std::uint32_t disposition, std::uint32_t attributes, Handle template_file) {
  const Opening o{name, access, share, security, disposition, attributes, template_file};
  if (disposition == fsort::kCreateNew) return create_work_file(o);
  if (disposition != fsort::kCreateAlways) return open_existing(o);
  output = create_output(o);
  return output;
}

bool read_file(Handle file, void* data, std::uint32_t count, std::uint32_t* done,
               fsort::Overlapped* overlapped) {
  const bool good = beneath->read_file(file, data, count, done, overlapped);
  wait_if_ending();
  fsort::SortView view;
  if (overlapped == nullptr && fsort::sort_view(&view) && view.input == file) {
    progress_read(view, good ? *done : 0, file == beneath->get_std_handle(fsort::kStdInput));
  }
  return good;
}

bool write_file(Handle file, const void* data, std::uint32_t count, std::uint32_t* done,
                fsort::Overlapped* overlapped) {
  const bool good = beneath->write_file(file, data, count, done, overlapped);
  wait_if_ending();
  const bool standard = file == beneath->get_std_handle(fsort::kStdOutput);
  fsort::SortView view;
  if (good && (file == output || standard) && fsort::sort_view(&view))
    progress_written(view, *done, standard);
  return good;
}

bool get_overlapped_result(Handle file, fsort::Overlapped* overlapped, std::uint32_t* done, bool wait) {
  const bool good = beneath->get_overlapped_result(file, overlapped, done, wait);
  wait_if_ending();
  return good;
}

bool close_handle(Handle handle) {
  const FilesLock lock;
  const bool good = beneath->close_handle(handle);
  unfinished_closed(handle);
  if (handle == output) output = nullptr;
  fsort::SortView view;
  if (fsort::sort_view(&view) && view.input == nullptr) progress_input_over();
  return good;
}

bool delete_file(const char* name) {
  const FilesLock lock;
  const bool good = beneath->delete_file(name);
  unfinished_forget(name);
  return good;
}

}  // namespace

void os_layer_install() {
  beneath = fsort::os;
  layer = *beneath;
  layer.create_file = create_file;
  layer.read_file = read_file;
  layer.write_file = write_file;
  layer.get_overlapped_result = get_overlapped_result;
  layer.close_handle = close_handle;
  layer.delete_file = delete_file;
  fsort::os = &layer;
}

}  // namespace fsort_tool
