#include "support/fault_os.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace fsort::test {

namespace {

FaultOs* current = nullptr;

// The code that a call of this layer left; the real table's own when there is none.
struct LastError {
  bool own = false;
  std::uint32_t code = 0;
};
thread_local LastError last;

void leave(std::uint32_t code) { last = {true, code}; }
void pass_through() { last = {}; }

std::size_t index(OsCall kind) { return static_cast<std::size_t>(kind); }

}  // namespace

// The functions that the table points to. Each counts, fails when a rule says so, and else calls the real
// one.
struct FaultOs::Calls {
  using Guard = std::lock_guard<std::mutex>;

  static Handle create_file(const char* name, std::uint32_t access, std::uint32_t share, void* security,
                            std::uint32_t disposition, std::uint32_t attributes, Handle template_file) {
    if (current->strikes(OsCall::kOpen)) return kInvalidHandle;
    Handle file =
        current->real_->create_file(name, access, share, security, disposition, attributes, template_file);
    if (file == kInvalidHandle) {
      leave(current->real_->get_last_error());
      return file;
    }
    const Guard guard(current->mutex_);
    current->files_.insert(file);
    return file;
  }

  static bool read_file(Handle file, void* data, std::uint32_t count, std::uint32_t* done,
                        Overlapped* overlapped) {
    return current->guarded_transfer(OsCall::kRead, {file, data, nullptr, count, overlapped}, done);
  }

  static bool write_file(Handle file, const void* data, std::uint32_t count, std::uint32_t* done,
                         Overlapped* overlapped) {
    return current->guarded_transfer(OsCall::kWrite, {file, nullptr, data, count, overlapped}, done);
  }

  static bool get_overlapped_result(Handle file, Overlapped* overlapped, std::uint32_t* done, bool wait) {
    if (current->strikes(OsCall::kResult)) {
      // It is reported as failed, but the system must be done with the buffer all the same; a request that
      // was put off here is dropped.
      if (!current->holds(overlapped)) {
        static_cast<void>(current->real_->get_overlapped_result(file, overlapped, done, true));
      }
      const Guard guard(current->mutex_);
      current->deferred_.remove_if([overlapped](const Request& r) { return r.overlapped == overlapped; });
      return false;
    }
    Outcome outcome{};
    {
      const Guard guard(current->mutex_);
      const auto pending =
          std::find_if(current->deferred_.begin(), current->deferred_.end(),
                       [overlapped](const Request& r) { return r.overlapped == overlapped; });
      if (pending != current->deferred_.end()) {
        outcome = current->carry_out_whole(*pending);
        current->deferred_.erase(pending);
      } else if (const auto found = current->completed_.find(overlapped);
                 found != current->completed_.end()) {
        outcome = found->second;
        current->completed_.erase(found);
      } else {
        return current->real_->get_overlapped_result(file, overlapped, done, wait);
      }
    }
    *done = outcome.done;
    if (!outcome.ok) leave(outcome.code);
    return outcome.ok;
  }

  static Handle create_event(void* security, bool manual_reset, bool initial_state, const char* name) {
    if (current->strikes(OsCall::kEvent)) return nullptr;
    Handle event = current->real_->create_event(security, manual_reset, initial_state, name);
    const Guard guard(current->mutex_);
    if (event != nullptr) ++current->events_[event];
    return event;
  }

  static bool close_handle(Handle handle) {
    bool is_event = false;
    {
      const Guard guard(current->mutex_);
      const auto event = current->events_.find(handle);
      is_event = event != current->events_.end();
      if (is_event && --event->second == 0) current->events_.erase(event);
      current->files_.erase(handle);
    }
    if (is_event) return current->real_->close_handle(handle);
    if (!current->strikes(OsCall::kClose)) return current->real_->close_handle(handle);
    static_cast<void>(current->real_->close_handle(handle));
    return false;
  }

  static std::uint32_t set_file_pointer(Handle file, std::int32_t low, std::int32_t* high,
                                        std::uint32_t origin) {
    if (current->strikes(OsCall::kSeek)) return 0xFFFFFFFF;
    return current->real_->set_file_pointer(file, low, high, origin);
  }

  static bool set_end_of_file(Handle file) {
    return !current->strikes(OsCall::kSetEnd) && current->real_->set_end_of_file(file);
  }

  static bool flush_file_buffers(Handle file) {
    return !current->strikes(OsCall::kFlush) && current->real_->flush_file_buffers(file);
  }

  static Handle get_std_handle(std::int32_t which) {
    pass_through();
    const Guard guard(current->mutex_);
    const auto found = current->std_handles_.find(which);
    return found != current->std_handles_.end() ? found->second : current->real_->get_std_handle(which);
  }

  static std::uint32_t get_file_type(Handle file) {
    pass_through();
    return current->real_->get_file_type(file);
  }

  static bool delete_file(const char* name) {
    return !current->strikes(OsCall::kDelete) && current->real_->delete_file(name);
  }

  static std::uint32_t format_message(std::uint32_t flags, const void* source, std::uint32_t code,
                                      std::uint32_t language, char* text, std::uint32_t size,
                                      void* arguments) {
    if (current->strikes(OsCall::kMessage)) return 0;
    return current->real_->format_message(flags, source, code, language, text, size, arguments);
  }

  static std::uint32_t get_last_error() { return last.own ? last.code : current->real_->get_last_error(); }

  static bool get_version_ex(VersionInfo* info) {
    return !current->strikes(OsCall::kVersion) && current->real_->get_version_ex(info);
  }

  static void global_memory_status(MemoryStatus* status) {
    current->real_->global_memory_status(status);
    const Guard guard(current->mutex_);
    if (current->memory_ != 0) status->total_phys = current->memory_;
  }

  static void* heap_alloc(std::size_t size) {
    if (current->strikes(OsCall::kHeapAlloc)) return nullptr;
    void* block = current->real_->heap_alloc(size);
    const Guard guard(current->mutex_);
    if (block != nullptr) current->heap_[block] = size;
    return block;
  }

  static void heap_free(void* block) {
    {
      const Guard guard(current->mutex_);
      current->heap_.erase(block);
    }
    current->real_->heap_free(block);
  }

  static void* region_alloc(std::size_t size) {
    if (current->strikes(OsCall::kRegionAlloc)) return nullptr;
    void* region = current->real_->region_alloc(size);
    const Guard guard(current->mutex_);
    if (region != nullptr) current->regions_[region] = size;
    return region;
  }

  static void region_free(void* region, std::size_t size) {
    {
      const Guard guard(current->mutex_);
      const auto found = current->regions_.find(region);
      if (found != current->regions_.end()) {
        if (found->second != size) {
          std::fprintf(stderr, "region given back with %zu bytes, taken with %zu\n", size, found->second);
          std::abort();
        }
        current->regions_.erase(found);
      }
    }
    current->real_->region_free(region, size);
  }
};

FaultOs::FaultOs() : real_(os), table_(*os) {
  table_.create_file = Calls::create_file;
  table_.read_file = Calls::read_file;
  table_.write_file = Calls::write_file;
  table_.get_overlapped_result = Calls::get_overlapped_result;
  table_.create_event = Calls::create_event;
  table_.close_handle = Calls::close_handle;
  table_.set_file_pointer = Calls::set_file_pointer;
  table_.set_end_of_file = Calls::set_end_of_file;
  table_.flush_file_buffers = Calls::flush_file_buffers;
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
    std::fprintf(stderr, "two FaultOs objects at a time\n");
    std::abort();
  }
  current = this;
  pass_through();
  os = &table_;
}

FaultOs::~FaultOs() {
  complete_deferred();
  os = real_;
  current = nullptr;
}

void FaultOs::set_rule(OsCall kind, std::uint64_t n, Rule rule) {
  const Calls::Guard guard(mutex_);
  rule.set = true;
  rule.at = calls_[index(kind)] + n;
  rules_[index(kind)] = rule;
  struck_ = false;
}

void FaultOs::fail(OsCall kind, std::uint64_t n, std::uint32_t code, Lasting lasting) {
  Rule rule;
  rule.code = code;
  rule.lasting = lasting;
  set_rule(kind, n, rule);
}

void FaultOs::shorten(OsCall kind, std::uint64_t n, Lasting lasting) {
  Rule rule;
  rule.half = true;
  rule.lasting = lasting;
  set_rule(kind, n, rule);
}

void FaultOs::clear() {
  const Calls::Guard guard(mutex_);
  rules_ = {};
  struck_ = false;
  read_limit_ = write_limit_ = 0;
  disk_limited_ = defer_ = false;
  memory_ = 0;
  std_handles_.clear();
}

FaultOs::Strike FaultOs::strike(OsCall kind) {
  const Calls::Guard guard(mutex_);
  const std::uint64_t call = ++calls_[index(kind)];
  const Rule& rule = rules_[index(kind)];
  const bool hit = rule.set && (rule.lasting == Lasting::kForGood ? call >= rule.at : call == rule.at);
  pass_through();
  if (!hit) return Strike::kNone;
  struck_ = true;
  if (rule.half) return Strike::kHalf;
  leave(rule.code);
  return Strike::kFail;
}

bool FaultOs::guarded_transfer(OsCall kind, Request request, std::uint32_t* done) {
  *done = 0;
  const Strike strike = this->strike(kind);
  if (strike == Strike::kFail) return false;
  if (strike == Strike::kHalf) request.count -= request.count / 2;
  return transfer(request, done);
}

FaultOs::Outcome FaultOs::carry_out(const Request& r) {
  Outcome outcome{false, 0, 0};
  if (r.read_to != nullptr) {
    const std::uint32_t count = read_limit_ != 0 ? std::min(r.count, read_limit_) : r.count;
    outcome.ok = real_->read_file(r.file, r.read_to, count, &outcome.done, r.overlapped);
  } else if (disk_limited_ && r.count > disk_left_) {
    return {false, kErrorDiskFull, 0};
  } else {
    const std::uint32_t count = write_limit_ != 0 ? std::min(r.count, write_limit_) : r.count;
    outcome.ok = real_->write_file(r.file, r.write_from, count, &outcome.done, r.overlapped);
    if (disk_limited_) disk_left_ -= outcome.done;
  }
  if (!outcome.ok) outcome.code = real_->get_last_error();
  return outcome;
}

FaultOs::Outcome FaultOs::carry_out_whole(const Request& r) {
  Outcome outcome = carry_out(r);
  if (outcome.ok || outcome.code != kErrorIoPending) return outcome;
  outcome.ok = real_->get_overlapped_result(r.file, r.overlapped, &outcome.done, true);
  outcome.code = outcome.ok ? 0 : real_->get_last_error();
  if (disk_limited_ && r.read_to == nullptr) disk_left_ -= outcome.done;
  return outcome;
}

bool FaultOs::holds(const Overlapped* overlapped) const {
  const Calls::Guard guard(mutex_);
  const auto same = [overlapped](const Request& r) { return r.overlapped == overlapped; };
  return std::any_of(deferred_.begin(), deferred_.end(), same) ||
         completed_.find(const_cast<Overlapped*>(overlapped)) != completed_.end();
}

bool FaultOs::transfer(const Request& request, std::uint32_t* done) {
  const Calls::Guard guard(mutex_);
  if (defer_ && request.overlapped != nullptr) {
    completed_.erase(request.overlapped);
    deferred_.push_back(request);
    leave(kErrorIoPending);
    return false;
  }
  const Outcome outcome = disk_limited_ ? carry_out_whole(request) : carry_out(request);
  *done = outcome.done;
  if (!outcome.ok) leave(outcome.code);
  return outcome.ok;
}

bool FaultOs::struck() const {
  const Calls::Guard guard(mutex_);
  return struck_;
}

std::uint64_t FaultOs::calls(OsCall kind) const {
  const Calls::Guard guard(mutex_);
  return calls_[index(kind)];
}

void FaultOs::limit_read(std::uint32_t bytes) { read_limit_ = bytes; }
void FaultOs::limit_write(std::uint32_t bytes) { write_limit_ = bytes; }

void FaultOs::limit_disk(std::uint64_t bytes) {
  disk_limited_ = true;
  disk_left_ = bytes;
}

void FaultOs::defer_overlapped(bool on) { defer_ = on; }

std::size_t FaultOs::complete_deferred() {
  const Calls::Guard guard(mutex_);
  const std::size_t number = deferred_.size();
  for (const Request& request : deferred_) completed_[request.overlapped] = carry_out_whole(request);
  deferred_.clear();
  return number;
}

std::size_t FaultOs::deferred() const {
  const Calls::Guard guard(mutex_);
  return deferred_.size();
}

void FaultOs::replace_std_handle(std::int32_t which, Handle handle) { std_handles_[which] = handle; }
void FaultOs::replace_memory(std::uint64_t total_phys) { memory_ = total_phys; }

std::size_t FaultOs::heap_blocks() const {
  const Calls::Guard guard(mutex_);
  return heap_.size();
}

std::size_t FaultOs::heap_bytes() const {
  const Calls::Guard guard(mutex_);
  std::size_t sum = 0;
  for (const auto& [block, size] : heap_) sum += size;
  return sum;
}

std::size_t FaultOs::regions() const {
  const Calls::Guard guard(mutex_);
  return regions_.size();
}

std::size_t FaultOs::open_files() const {
  const Calls::Guard guard(mutex_);
  return files_.size();
}

std::size_t FaultOs::events() const {
  const Calls::Guard guard(mutex_);
  std::size_t sum = 0;
  for (const auto& [event, count] : events_) sum += count;
  return sum;
}

bool FaultOs::clean() const {
  return heap_blocks() == 0 && regions() == 0 && open_files() == 0 && events() == 0 && deferred() == 0;
}

std::string FaultOs::alive() const {
  std::string text = std::to_string(open_files()) + " files, " + std::to_string(events()) + " events, " +
                     std::to_string(regions()) + " regions, " + std::to_string(deferred()) +
                     " requests in flight, heap blocks of";
  const Calls::Guard guard(mutex_);
  for (const auto& [block, size] : heap_) text += " " + std::to_string(size);
  return text;
}

void FaultOs::free_heap_blocks() {
  const Calls::Guard guard(mutex_);
  for (const auto& [block, size] : heap_) real_->heap_free(block);
  heap_.clear();
}

}  // namespace fsort::test
