// A system table in front of the real one that counts, fails and delays calls.
//
// While a FaultOs object lives, everything the engine asks of the system goes through it. It
//   - counts what is alive: heap blocks, regions, file handles, events;
//   - counts the calls of each kind, and fails the n-th one from now with a chosen code, once or for good;
//   - shortens transfers, ends the disk after so many bytes, puts overlapped transfers off until somebody
//     waits for them;
//   - replaces a standard handle or the amount of memory that the system reports.
//
//   FaultOs faults;
//   faults.fail(OsCall::kWrite, 2, kErrorDiskFull, Lasting::kForGood);
//   ... run a sort ...
//   EXPECT_TRUE(faults.clean()) << faults.alive();
//
// A loop over "fail the 1st, 2nd, 3rd ... call until the task succeeds" asks struck(): false means that the
// task made fewer calls than that, so the loop has covered them all.
//
// One object at a time. It counts what is made while it lives: let it come before the instance whose traces
// it is to find, and go after it. Calls may come from several threads.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <mutex>
#include <set>
#include <string>

#include "platform/os.h"

namespace fsort::test {

enum class OsCall : std::size_t {
  kOpen,         // create_file
  kRead,         // read_file
  kWrite,        // write_file
  kResult,       // get_overlapped_result
  kEvent,        // create_event
  kClose,        // close_handle of a file (the file is closed nevertheless)
  kSeek,         // set_file_pointer
  kSetEnd,       // set_end_of_file
  kFlush,        // flush_file_buffers
  kDelete,       // delete_file
  kMessage,      // format_message
  kHeapAlloc,    // heap_alloc
  kRegionAlloc,  // region_alloc
  kVersion,      // get_version_ex
  kKinds         // their number
};

enum class Lasting { kOnce, kForGood };

class FaultOs {
 public:
  FaultOs();   // puts itself in front of the table in force
  ~FaultOs();  // takes itself away; requests put off are carried out first
  FaultOs(const FaultOs&) = delete;
  FaultOs& operator=(const FaultOs&) = delete;

  // Fails the n-th call of `kind` from now (n = 1 is the next one) with the Windows code; `kForGood`: that
  // one and all later ones. One rule a kind; a new rule replaces the old one.
  void fail(OsCall kind, std::uint64_t n, std::uint32_t code, Lasting lasting = Lasting::kOnce);
  // Makes the n-th read or write from now move half of what it was asked to (a transfer of one byte is left
  // alone); `kForGood`: that one and all later ones. Takes the place of the kind's other rule.
  void shorten(OsCall kind, std::uint64_t n, Lasting lasting = Lasting::kOnce);
  // Removes all rules, limits and replacements; counts stay.
  void clear();
  // True when a rule has failed or shortened a call since the latest fail(), shorten() or clear().
  [[nodiscard]] bool struck() const;
  // Calls of a kind since the object came.
  [[nodiscard]] std::uint64_t calls(OsCall kind) const;

  // Largest transfer that a read or write carries out; the rest is not transferred (0: no limit).
  void limit_read(std::uint32_t bytes);
  void limit_write(std::uint32_t bytes);
  // Writes beyond this many bytes in all fail with 112 (as a full disk does).
  void limit_disk(std::uint64_t bytes);
  // Overlapped transfers are not carried out at once: they report 997 and touch their buffer only when they
  // are waited for, or by complete_deferred().
  void defer_overlapped(bool on);
  // Carries out all requests put off, as the system may at any time; result: their number.
  std::size_t complete_deferred();
  [[nodiscard]] std::size_t deferred() const;

  // What get_std_handle answers for `which` from now on.
  void replace_std_handle(std::int32_t which, Handle handle);
  // What global_memory_status reports as physical memory (0: the truth).
  void replace_memory(std::uint64_t total_phys);

  [[nodiscard]] std::size_t heap_blocks() const;
  [[nodiscard]] std::size_t heap_bytes() const;  // sum of the sizes of the live blocks
  [[nodiscard]] std::size_t regions() const;
  [[nodiscard]] std::size_t open_files() const;
  [[nodiscard]] std::size_t events() const;
  // True when nothing that was made since the object came is alive; alive() lists it as text.
  [[nodiscard]] bool clean() const;
  [[nodiscard]] std::string alive() const;
  // Gives back the heap blocks that are alive, for a test in which nobody else can any more.
  void free_heap_blocks();

 private:
  struct Rule {
    bool set = false;
    bool half = false;     // the call is shortened, it does not fail
    std::uint64_t at = 0;  // the call, counted from the object's beginning, that fails
    std::uint32_t code = 0;
    Lasting lasting = Lasting::kOnce;
  };
  struct Request {
    Handle file;
    void* read_to;           // null for a write
    const void* write_from;  // null for a read
    std::uint32_t count;
    Overlapped* overlapped;
  };
  struct Outcome {
    bool ok;
    std::uint32_t code;
    std::uint32_t done;
  };
  struct Calls;  // the table's functions

  enum class Strike { kNone, kFail, kHalf };

  // Counts a call and says what is to happen to it.
  Strike strike(OsCall kind);
  // The same where a call can only fail (its code is then the thread's last error).
  bool strikes(OsCall kind) { return strike(kind) == Strike::kFail; }
  // Carries a read or write out, shortened or failed when a rule says so.
  bool guarded_transfer(OsCall kind, Request request, std::uint32_t* done);
  void set_rule(OsCall kind, std::uint64_t n, Rule rule);
  Outcome carry_out(const Request& request);
  // The same, waiting for a request that the system takes its time for.
  Outcome carry_out_whole(const Request& request);
  // True when the request is one of this layer's own, deferred or completed by it.
  bool holds(const Overlapped* overlapped) const;
  bool transfer(const Request& request, std::uint32_t* done);

  mutable std::mutex mutex_;
  const OsTable* real_;
  OsTable table_;
  std::array<Rule, static_cast<std::size_t>(OsCall::kKinds)> rules_;
  std::array<std::uint64_t, static_cast<std::size_t>(OsCall::kKinds)> calls_{};
  bool struck_ = false;
  std::uint32_t read_limit_ = 0;
  std::uint32_t write_limit_ = 0;
  bool disk_limited_ = false;
  std::uint64_t disk_left_ = 0;
  bool defer_ = false;
  std::uint64_t memory_ = 0;
  std::map<std::int32_t, Handle> std_handles_;
  std::list<Request> deferred_;
  std::map<Overlapped*, Outcome> completed_;
  std::map<void*, std::size_t> heap_;
  std::map<void*, std::size_t> regions_;
  std::set<Handle> files_;
  std::map<Handle, std::size_t> events_;  // a platform may hand out one event many times
};

}  // namespace fsort::test
