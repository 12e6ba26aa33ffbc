// The simulated system. See the header.
//
// A transfer is carried out either inside the call that issues it or later, from the request kept in
// `requests_`. A write takes its bytes from the buffer only when it is carried out, as hardware would: a
// buffer that was changed meanwhile is noted and does reach the file. A request stays in `requests_`, and its
// buffer under guard, until its result is fetched, even if it was carried out long before: nobody outside can
// know that it was.
#include "support/sim_os.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace fsort::test {

namespace {

constexpr std::uint32_t kSectorBytes = 512;
constexpr std::uint32_t kErrorInvalidFunction = 1;
constexpr std::uint32_t kErrorIncomplete = 996;
constexpr std::uint64_t kStatusPending = 0x103;
constexpr std::uint32_t kSeekFailed = 0xFFFFFFFF;
constexpr std::uint64_t kTenThousand = 10000;
constexpr std::uint64_t kDefaultMemory = 256 << 20;
constexpr std::size_t kMostViolations = 20;

SimOs* current = nullptr;

// The code that a call of the simulation left; the table's underneath when there is none.
struct LastError {
  bool own = false;
  std::uint32_t code = 0;
};
thread_local LastError last;

bool fail(std::uint32_t code) {
  last = {true, code};
  return false;
}

bool overlap(const void* a, std::size_t a_size, const void* b, std::size_t b_size) {
  const auto first = reinterpret_cast<std::uintptr_t>(a);
  const auto second = reinterpret_cast<std::uintptr_t>(b);
  return first < second + b_size && second < first + a_size;
}

std::uint64_t offset_of(const Overlapped& record) {
  return std::uint64_t{record.offset_high} << 32 | record.offset_low;
}

// The code of a failure on purpose: one of those that the real system gives for such a call.
std::uint32_t failure_code(SimTrouble kind, std::uint64_t draw) {
  static const std::map<SimTrouble, std::vector<std::uint32_t>> codes = {
      {SimTrouble::kOpen, {kErrorTooManyOpenFiles, kErrorAccessDenied, kErrorSharingViolation}},
      {SimTrouble::kRead, {23, 30, 995, kErrorIoDevice}},
      {SimTrouble::kWrite, {29, 995, kErrorDiskFull, kErrorIoDevice}},
      {SimTrouble::kClose, {kErrorIoDevice, kErrorDiskFull}},
      {SimTrouble::kSetEnd, {kErrorDiskFull, kErrorIoDevice}},
      {SimTrouble::kDelete, {kErrorAccessDenied, kErrorSharingViolation}},
      {SimTrouble::kEvent, {kErrorNotEnoughMemory}},
      {SimTrouble::kHeap, {kErrorNotEnoughMemory}},
      {SimTrouble::kRegion, {kErrorNotEnoughMemory}},
  };
  const auto found = codes.find(kind);
  return found != codes.end() ? found->second[draw % found->second.size()] : kErrorIoDevice;
}

}  // namespace

// The functions that the table points to.
struct SimOs::Calls {
  static Handle create_file(const char* name, std::uint32_t access, std::uint32_t share, void*,
                            std::uint32_t disposition, std::uint32_t attributes, Handle) {
    current->tick();
    return current->open(name, access, share, disposition, attributes);
  }
  static bool read_file(Handle file, void* data, std::uint32_t count, std::uint32_t* done,
                        Overlapped* overlapped) {
    Request request;
    request.file = file;
    request.data = static_cast<unsigned char*>(data);
    request.count = count;
    request.record = overlapped;
    return current->transfer(std::move(request), done, overlapped != nullptr);
  }
  static bool write_file(Handle file, const void* data, std::uint32_t count, std::uint32_t* done,
                         Overlapped* overlapped) {
    Request request;
    request.file = file;
    request.data = static_cast<unsigned char*>(const_cast<void*>(data));  // never written through
    request.count = count;
    request.record = overlapped;
    request.write = true;
    return current->transfer(std::move(request), done, overlapped != nullptr);
  }
  static bool get_overlapped_result(Handle file, Overlapped* record, std::uint32_t* done, bool wait) {
    current->tick();
    return current->result(file, record, done, wait);
  }
  static Handle create_event(void*, bool, bool, const char*) {
    current->tick();
    if (current->strikes(SimTrouble::kEvent)) return nullptr;
    Handle event = current->new_handle();
    current->events_.insert(event);
    return event;
  }
  static bool close_handle(Handle handle) {
    current->tick();
    return current->close(handle);
  }
  static std::uint32_t set_file_pointer(Handle file, std::int32_t low, std::int32_t* high,
                                        std::uint32_t origin) {
    current->tick();
    return current->seek(file, low, high, origin);
  }
  static bool set_end_of_file(Handle handle) {
    current->tick();
    Open* file = current->find(handle);
    if (file == nullptr) return false;
    if ((file->access & kGenericWrite) == 0) return fail(kErrorAccessDenied);
    if (file->file->type != kFileTypeDisk) return fail(kErrorInvalidFunction);
    current->forbid("the end of a file was moved", [handle](const Request& r) { return r.file == handle; });
    if (current->strikes(SimTrouble::kSetEnd)) return false;
    file->file->bytes.resize(file->pointer);
    return true;
  }
  static bool flush_file_buffers(Handle handle) {
    current->tick();
    const Open* file = current->find(handle);
    if (file == nullptr || current->strikes(SimTrouble::kFlush)) return false;
    return (file->access & kGenericWrite) != 0 || fail(kErrorAccessDenied);
  }
  static std::uint32_t get_file_type(Handle handle) {
    const Open* file = current->find(handle);
    return file != nullptr ? file->file->type : kFileTypeUnknown;
  }
  static Handle get_std_handle(std::int32_t which) {
    if (which > kStdInput || which < kStdError) {
      fail(kErrorInvalidHandle);
      return kInvalidHandle;
    }
    const auto found = current->standard_.find(which);
    return found != current->standard_.end() ? found->second : nullptr;
  }
  static bool delete_file(const char* name) {
    current->tick();
    return current->remove(name);
  }
  static std::uint32_t get_last_error() { return last.own ? last.code : current->real_->get_last_error(); }
  static std::uint32_t format_message(std::uint32_t flags, const void* source, std::uint32_t code,
                                      std::uint32_t language, char* text, std::uint32_t size,
                                      void* arguments) {
    last = {};
    return current->real_->format_message(flags, source, code, language, text, size, arguments);
  }
  static bool get_version_ex(VersionInfo* info) {
    const std::uint32_t size = info->size;
    *info = VersionInfo{};
    info->size = size;
    info->major = 10;
    info->platform_id = current->overlapped_ ? 2 : 1;
    return true;
  }
  static void global_memory_status(MemoryStatus* status) {
    *status = MemoryStatus{};
    status->length = sizeof(MemoryStatus);
    status->total_phys = current->memory_;
    status->avail_phys = current->memory_;
  }
  static void* heap_alloc(std::size_t size) {
    if (current->strikes(SimTrouble::kHeap)) return nullptr;
    void* block = current->real_->heap_alloc(size);
    if (block != nullptr) current->heap_[block] = size;
    return block;
  }
  static void heap_free(void* block) {
    const auto found = current->heap_.find(block);
    if (found != current->heap_.end()) {
      current->release_memory(block, found->second);
      current->heap_.erase(found);
    }
    current->real_->heap_free(block);
  }
  static void* region_alloc(std::size_t size) {
    if (current->strikes(SimTrouble::kRegion)) return nullptr;
    void* region = current->real_->region_alloc(size);
    if (region != nullptr) current->regions_[region] = size;
    return region;
  }
  static void region_free(void* region, std::size_t size) {
    const auto found = current->regions_.find(region);
    if (found != current->regions_.end()) {
      if (found->second != size) current->violation("a region was given back with another size");
      current->release_memory(region, size);
      current->regions_.erase(found);
    }
    current->real_->region_free(region, size);
  }
};

SimOs::SimOs(std::uint64_t seed) : real_(os), table_(*os), random_(seed), memory_(kDefaultMemory) {
  table_.create_file = Calls::create_file;
  table_.read_file = Calls::read_file;
  table_.write_file = Calls::write_file;
  table_.get_overlapped_result = Calls::get_overlapped_result;
  table_.create_event = Calls::create_event;
  table_.close_handle = Calls::close_handle;
  table_.set_file_pointer = Calls::set_file_pointer;
  table_.set_end_of_file = Calls::set_end_of_file;
  table_.flush_file_buffers = Calls::flush_file_buffers;
  table_.finish_writes = nullptr;  // no write is taken on credit
  table_.get_file_type = Calls::get_file_type;
  table_.get_std_handle = Calls::get_std_handle;
  table_.delete_file = Calls::delete_file;
  table_.format_message = Calls::format_message;
  table_.get_last_error = Calls::get_last_error;
  table_.get_version_ex = Calls::get_version_ex;
  table_.global_memory_status = Calls::global_memory_status;
  table_.heap_alloc = Calls::heap_alloc;
  table_.heap_free = Calls::heap_free;
  table_.region_alloc = Calls::region_alloc;
  table_.region_free = Calls::region_free;
  if (current != nullptr) {
    std::fprintf(stderr, "two SimOs objects at a time\n");
    std::abort();
  }
  current = this;
  last = {};
  os = &table_;
}

SimOs::~SimOs() {
  os = real_;
  current = nullptr;
}

// --- set-up and findings ---------------------------------------------------------------------------------

void SimOs::trouble(SimTrouble kind, int of_ten_thousand) {
  chances_[static_cast<std::size_t>(kind)] = of_ten_thousand;
}

void SimOs::set_lateness(int late, int early) {
  late_ = late;
  early_ = early;
}

void SimOs::make_file(const std::string& name, const std::string& content) {
  disk_.make(name)->bytes.write(0, content.data(), static_cast<std::uint32_t>(content.size()));
}

std::string SimOs::content(const std::string& name) const {
  const auto file = disk_.find(name);
  return file != nullptr ? file->bytes.text() : "<missing>";
}

std::vector<std::string> SimOs::names() const {
  std::vector<std::string> all = disk_.names();
  all.erase(std::remove_if(all.begin(), all.end(),
                           [this](const std::string& name) { return undeleted_.count(name) != 0; }),
            all.end());
  return all;
}

void SimOs::set_standard(std::int32_t which, std::uint32_t type, const std::string& content) {
  Open standard;
  standard.file = std::make_shared<SimFile>();
  standard.file->type = type;
  standard.file->end_is_error = type == kFileTypePipe && percent(50);
  standard.file->bytes.write(0, content.data(), static_cast<std::uint32_t>(content.size()));
  standard.access = which == kStdInput ? kGenericRead : kGenericWrite;
  if (const auto old = standard_.find(which); old != standard_.end()) open_.erase(old->second);
  Handle handle = new_handle();
  open_[handle] = standard;
  standard_[which] = handle;
}

std::string SimOs::written_to(std::int32_t which) const {
  const auto found = standard_.find(which);
  return found != standard_.end() ? open_.at(found->second).file->bytes.text() : "";
}

bool SimOs::clean() const {
  return requests_.empty() && open_files() == 0 && events_.empty() && heap_.empty() && regions_.empty();
}

std::string SimOs::alive() const {
  std::string text = std::to_string(open_files()) + " files, " + std::to_string(events_.size()) +
                     " events, " + std::to_string(regions_.size()) + " regions, " +
                     std::to_string(requests_.size()) + " requests in flight, heap blocks of";
  for (const auto& [block, size] : heap_) text += " " + std::to_string(size);
  return text;
}

void SimOs::give_back_memory() {
  requests_.clear();
  for (const auto& [block, size] : heap_) real_->heap_free(block);
  for (const auto& [region, size] : regions_) real_->region_free(region, size);
  heap_.clear();
  regions_.clear();
}

void SimOs::violation(const std::string& text) {
  if (violations_.size() < kMostViolations) violations_.push_back(text);
}

bool SimOs::strikes(SimTrouble kind) {
  last = {};
  const int chance = chances_[static_cast<std::size_t>(kind)];
  if (chance == 0 || below(kTenThousand) >= static_cast<std::uint64_t>(chance)) return false;
  ++counts_.troubles;
  fail(failure_code(kind, below(kTenThousand)));
  return true;
}

// --- files -----------------------------------------------------------------------------------------------

// Never the same twice, so that a stale handle is told from every live one.
Handle SimOs::new_handle() {
  constexpr std::uintptr_t kFirst = 0x100;
  constexpr std::uintptr_t kStep = 4;
  return reinterpret_cast<Handle>(kFirst + kStep * static_cast<std::uintptr_t>(handles_made_++));
}

SimOs::Open* SimOs::find(Handle handle) {
  const auto found = open_.find(handle);
  if (found != open_.end()) return &found->second;
  if (closed_.count(handle) != 0) violation("a handle was used after it was closed");
  fail(kErrorInvalidHandle);
  return nullptr;
}

// True when no other open forbids this one.
bool SimOs::admit(const std::shared_ptr<SimFile>& file, std::uint32_t access, std::uint32_t share) const {
  return std::none_of(open_.begin(), open_.end(), [&](const auto& entry) {
    const Open& other = entry.second;
    if (other.file != file) return false;
    const bool written = ((access | other.access) & kGenericWrite) != 0;
    return written || (share & kShareRead) == 0 || (other.share & kShareRead) == 0;
  });
}

Handle SimOs::open(const std::string& name, std::uint32_t access, std::uint32_t share,
                   std::uint32_t disposition, std::uint32_t attributes) {
  const auto refuse = [](std::uint32_t code) {
    fail(code);
    return kInvalidHandle;
  };
  if (name.empty()) return refuse(kErrorPathNotFound);
  if (disk_.is_folder(name)) return refuse(kErrorAccessDenied);
  if (!disk_.has_folder_of(name)) return refuse(kErrorPathNotFound);
  std::shared_ptr<SimFile> file = disk_.find(name);
  if (disposition == kOpenExisting && file == nullptr) return refuse(kErrorFileNotFound);
  if (disposition == kCreateNew && file != nullptr) return refuse(kErrorFileExists);
  if (file != nullptr && !admit(file, access, share)) return refuse(kErrorSharingViolation);
  if (strikes(SimTrouble::kOpen)) return kInvalidHandle;
  if (file == nullptr) file = disk_.make(name);
  if (disposition == kCreateAlways) file->bytes.resize(0);
  Handle handle = new_handle();
  open_[handle] = {
      file, access, share, (attributes & kFlagOverlapped) != 0, (attributes & kFlagNoBuffering) != 0, 0};
  return handle;
}

bool SimOs::close(Handle handle) {
  if (events_.erase(handle) != 0) {
    closed_.insert(handle);
    forbid("an event was closed", [handle](const Request& r) { return r.event == handle; });
    return true;
  }
  if (find(handle) == nullptr) return false;
  for (const auto& [which, standard] : standard_) {
    if (standard != handle) continue;
    violation("a standard handle was closed");
    return true;
  }
  forbid("a file was closed", [handle](const Request& r) { return r.file == handle; });
  open_.erase(handle);
  closed_.insert(handle);
  return !strikes(SimTrouble::kClose);
}

std::uint32_t SimOs::seek(Handle handle, std::int32_t low, std::int32_t* high, std::uint32_t origin) {
  const auto refuse = [](std::uint32_t code) {
    fail(code);
    return kSeekFailed;
  };
  Open* file = find(handle);
  if (file == nullptr || strikes(SimTrouble::kSeek)) return kSeekFailed;
  if (file->file->type != kFileTypeDisk) return refuse(kErrorInvalidFunction);
  if (origin > kSeekEnd) return refuse(kErrorInvalidParameter);
  std::uint64_t start = 0;
  if (origin == kSeekCurrent) start = file->pointer;
  if (origin == kSeekEnd) start = file->file->bytes.size();
  const std::uint64_t distance =
      std::uint64_t{static_cast<std::uint32_t>(*high)} << 32 | static_cast<std::uint32_t>(low);
  const std::uint64_t target = start + distance;  // wraps around where the sum is negative or too large
  if (static_cast<std::int64_t>(target) < 0) {
    const bool too_large = static_cast<std::int64_t>(distance) > 0;
    return refuse(too_large ? kErrorInvalidParameter : kErrorNegativeSeek);
  }
  if (file->unbuffered && target % kSectorBytes != 0) return refuse(kErrorInvalidParameter);
  file->pointer = target;
  *high = static_cast<std::int32_t>(target >> 32);
  fail(0);
  return static_cast<std::uint32_t>(target);
}

bool SimOs::remove(const std::string& name) {
  const auto file = disk_.find(name);
  if (file == nullptr) return fail(disk_.has_folder_of(name) ? kErrorFileNotFound : kErrorPathNotFound);
  const bool open =
      std::any_of(open_.begin(), open_.end(), [&](const auto& entry) { return entry.second.file == file; });
  if (open) return fail(kErrorSharingViolation);
  if (strikes(SimTrouble::kDelete)) {
    undeleted_.insert(SimDisk::plain(name));
    return false;
  }
  disk_.remove(name);
  return true;
}

// --- transfers -------------------------------------------------------------------------------------------

template <typename Condition>
void SimOs::forbid(const char* what, Condition touches) {
  const auto gone = std::remove_if(requests_.begin(), requests_.end(), touches);
  if (gone == requests_.end()) return;
  violation(std::string(what) + " while a request was in flight");
  requests_.erase(gone, requests_.end());
}

void SimOs::release_memory(void* start, std::size_t size) {
  forbid("memory was given back", [start, size](const Request& r) {
    return overlap(start, size, r.data, r.count) || overlap(start, size, r.record, sizeof(Overlapped));
  });
}

// What the buffer holds must be what it held when the system last looked at it.
void SimOs::check_guard(const Request& r) {
  if (std::memcmp(r.data, r.guard.data(), r.count) != 0) {
    violation(std::string("the buffer of a ") + (r.write ? "write" : "read") + " in flight was changed");
  }
  if (r.record->event != r.event || offset_of(*r.record) != r.offset) {
    violation("the record of a request in flight was changed");
  }
}

SimOs::Outcome SimOs::read_now(const Open& from, const Request& r, std::uint32_t count) {
  SimFile& file = *from.file;
  if (file.type == kFileTypeDisk) {
    const std::uint32_t done = file.bytes.read(r.offset, r.data, count);
    if (done == 0 && count != 0 && r.record != nullptr) return {false, kErrorHandleEof, 0};
    return {true, 0, done};
  }
  // A pipe or a terminal gives what is there, which may be less than is asked for.
  const auto most = static_cast<std::uint32_t>(std::min<std::uint64_t>(count, 1 + below(3000)));
  const std::uint32_t done = file.bytes.read(from.pointer, r.data, most);
  if (done == 0 && file.end_is_error) return {false, kErrorBrokenPipe, 0};
  return {true, 0, done};
}

SimOs::Outcome SimOs::carry_out(const Request& r) {
  Open& file = open_.at(r.file);
  std::uint32_t count = r.count;
  if (strikes(r.write ? SimTrouble::kWrite : SimTrouble::kRead)) {
    const Outcome failed{false, last.code, 0};
    if (r.write) file.file->bytes.write(r.offset, r.data, static_cast<std::uint32_t>(below(count + 1)));
    if (!r.write && count != 0) r.data[below(count)] ^= 0x55;
    return failed;
  }
  const std::uint32_t unit = file.unbuffered ? kSectorBytes : 1;
  if (count > unit && strikes(r.write ? SimTrouble::kShortWrite : SimTrouble::kShortRead)) {
    count = unit * static_cast<std::uint32_t>(1 + below((count - 1) / unit));
  }
  if (!r.write) return read_now(file, r, count);
  const std::uint64_t at = file.file->type == kFileTypeDisk ? r.offset : file.file->bytes.size();
  file.file->bytes.write(at, r.data, count);
  return {true, 0, count};
}

void SimOs::complete(Request* request) {
  const auto is_older = [request](const Request& r) { return &r < request && !r.completed; };
  if (std::any_of(requests_.begin(), requests_.end(), is_older)) ++counts_.out_of_order;
  check_guard(*request);
  request->outcome = carry_out(*request);
  request->completed = true;
  request->guard.assign(request->data, request->data + request->count);
  request->record->internal = request->outcome.code;
  request->record->internal_high = request->outcome.done;
}

void SimOs::complete_one_of_them() {
  std::vector<Request*> waiting;
  for (Request& r : requests_) {
    if (!r.completed) waiting.push_back(&r);
  }
  if (waiting.empty()) return;
  complete(waiting[below(waiting.size())]);
  ++counts_.early;
}

void SimOs::tick() {
  while (!requests_.empty() && percent(early_)) complete_one_of_them();
  last = {};
}

// The rules of the system for the arguments; false with the code set when one is broken.
bool SimOs::acceptable(const Open& file, const Request& r, bool overlapped) {
  if ((file.access & (r.write ? kGenericWrite : kGenericRead)) == 0) return fail(kErrorAccessDenied);
  if (file.overlapped && !overlapped) return fail(kErrorInvalidParameter);
  const bool aligned = r.offset % kSectorBytes == 0 && r.count % kSectorBytes == 0 &&
                       reinterpret_cast<std::uintptr_t>(r.data) % kSectorBytes == 0;
  return !file.unbuffered || aligned || fail(kErrorInvalidParameter);
}

// The buffer must lie in one piece of memory and be nobody else's.
void SimOs::check_memory(const Request& r) {
  const auto touches = [&](const Request& other) {
    return overlap(r.data, r.count, other.data, other.count) ||
           (r.record != nullptr && r.record == other.record);
  };
  forbid("a buffer or its record was used again", touches);
  const auto next = heap_.upper_bound(r.data);
  if (next == heap_.begin()) return;
  const auto& [block, size] = *std::prev(next);
  const auto* end = static_cast<unsigned char*>(block) + size;
  if (r.data < end && r.data + r.count > end) violation("a transfer leaves its heap block");
}

void SimOs::put_in_flight(Request r) {
  ++counts_.late;
  if (!r.write) {
    for (std::uint32_t i = 0; i < r.count; ++i) r.data[i] = static_cast<unsigned char>(0xA5 + i);
  }
  r.guard.assign(r.data, r.data + r.count);
  r.record->internal = kStatusPending;
  r.record->internal_high = 0;
  requests_.push_back(std::move(r));
  counts_.most_in_flight = std::max<std::uint64_t>(counts_.most_in_flight, requests_.size());
}

bool SimOs::transfer(Request r, std::uint32_t* done, bool overlapped) {
  tick();
  *done = 0;
  Open* file = find(r.file);
  if (file == nullptr) return false;
  r.offset = overlapped ? offset_of(*r.record) : file->pointer;
  r.event = overlapped ? r.record->event : nullptr;
  if (!acceptable(*file, r, overlapped)) return false;
  check_memory(r);
  ++counts_.transfers;
  if (overlapped && file->overlapped && percent(late_)) {
    put_in_flight(std::move(r));
    return fail(kErrorIoPending);
  }
  const Outcome outcome = carry_out(r);
  *done = outcome.done;
  if (!overlapped || file->file->type != kFileTypeDisk) {
    file->pointer += outcome.done;
  } else if (!file->overlapped && percent(50)) {
    file->pointer = r.offset + outcome.done;  // as the real system does for a handle that is not overlapped
  }
  if (outcome.ok) return true;
  return fail(outcome.code);
}

bool SimOs::result(Handle file, Overlapped* record, std::uint32_t* done, bool wait) {
  if (find(file) == nullptr) return false;
  const auto request = std::find_if(requests_.begin(), requests_.end(),
                                    [record](const Request& r) { return r.record == record; });
  if (request == requests_.end()) {
    violation("the result of a request was asked for that is not in flight");
    return fail(kErrorInvalidParameter);
  }
  if (request->file != file) violation("the result of a request was asked for through another handle");
  if (!request->completed && !wait) return fail(kErrorIncomplete);
  while (!request->completed && percent(30)) complete_one_of_them();
  if (!request->completed) complete(&*request);
  check_guard(*request);
  const Outcome outcome = request->outcome;
  requests_.erase(request);
  if (outcome.ok || percent(50)) *done = outcome.done;
  return outcome.ok || fail(outcome.code);
}

}  // namespace fsort::test
