// A whole system of its own behind the seam: files in memory, transfers that complete late.
//
// While a SimOs object lives, every file, event, heap block and region of the engine is the simulation's. An
// overlapped transfer may stay in flight until somebody waits for it, or complete during any other call, in
// any order; it may be cut short or fail. What happens follows from one seed and nothing else. It needs the
// standard library only, so it runs wherever the engine does.
//
//   SimOs sim(seed);
//   sim.make_file("in", text);
//   sim.trouble(SimTrouble::kWrite, 50);   // one write in two hundred fails
//   ... run a sort ...
//   EXPECT_EQ(sim.violations(), Texts{});
//   EXPECT_TRUE(sim.clean()) << sim.alive();
//
// Memory in flight. From the call that issues a request until the call that fetches its result the buffer
// and the request record belong to the system. A violation is noted when meanwhile
//   - the buffer changes (a write's bytes are kept, a read's buffer is filled with rubbish, both are
//     compared), or a second request is issued on it or on its record;
//   - a heap block or region that holds the buffer or the record is given back;
//   - the event or the file of the request is closed, or the file's end is moved;
//   - the result is asked for through another handle.
// The rubbish also makes a reader that does not wait give wrong output. A handle used after it was closed, a
// transfer that leaves its heap block and a standard handle that is closed are violations as well.
//
// One object at a time. It counts what is made while it lives: let it come before the instance whose traces
// it is to find, and go after it. Transfers are made by one thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "platform/os.h"
#include "support/sim_disk.h"

namespace fsort::test {

enum class SimTrouble : std::size_t {
  kOpen,        // create_file fails
  kRead,        // a read fails, its buffer then holds anything
  kWrite,       // a write fails, having stored any part of its bytes
  kShortRead,   // a read moves some bytes, not all (never none)
  kShortWrite,  // likewise a write
  kEvent,       // create_event gives none
  kClose,       // close_handle fails (the file is closed nevertheless)
  kSeek,        // set_file_pointer fails
  kSetEnd,      // set_end_of_file fails
  kFlush,       // flush_file_buffers fails
  kDelete,      // delete_file fails; the file stays
  kHeap,        // heap_alloc gives none
  kRegion,      // region_alloc gives none
  kKinds        // their number
};

// What a simulation did, for tests that ask whether anything happened at all.
struct SimCounts {
  std::uint64_t transfers = 0;
  std::uint64_t late = 0;            // still in flight when the call returned
  std::uint64_t early = 0;           // completed before somebody waited
  std::uint64_t out_of_order = 0;    // completed while an older one was still in flight
  std::uint64_t most_in_flight = 0;  // at any moment
  std::uint64_t troubles = 0;        // calls and transfers that failed or were cut short on purpose
};

class SimOs {
 public:
  explicit SimOs(std::uint64_t seed);  // puts itself in place of the table in force
  ~SimOs();
  SimOs(const SimOs&) = delete;
  SimOs& operator=(const SimOs&) = delete;

  // How many of ten thousand calls (of transfers, for reads and writes) of this kind go wrong.
  void trouble(SimTrouble kind, int of_ten_thousand);
  void no_trouble() { chances_ = {}; }
  // Percent of the overlapped transfers that stay in flight, and of the calls during which one completes.
  void set_lateness(int late, int early);
  // False: get_version_ex reports a system without overlapped transfers.
  void set_overlapped(bool available) { overlapped_ = available; }
  void set_memory(std::uint64_t total_phys) { memory_ = total_phys; }

  void make_folder(const std::string& name) { disk_.make_folder(name); }
  void make_file(const std::string& name, const std::string& content);
  [[nodiscard]] std::string content(const std::string& name) const;  // "<missing>" when there is none
  // All files but those whose deletion failed on purpose.
  [[nodiscard]] std::vector<std::string> names() const;
  // Makes a standard handle a disk file, character device or pipe with this content (to be read) or an empty
  // one (to be written), instead of what it was before.
  void set_standard(std::int32_t which, std::uint32_t type, const std::string& content);
  [[nodiscard]] std::string written_to(std::int32_t which) const;

  [[nodiscard]] const std::vector<std::string>& violations() const { return violations_; }
  [[nodiscard]] const SimCounts& counts() const { return counts_; }
  [[nodiscard]] std::size_t in_flight() const { return requests_.size(); }
  // Files open, the standard handles aside.
  [[nodiscard]] std::size_t open_files() const { return open_.size() - standard_.size(); }
  // True when nothing that was made since the object came is alive; alive() lists it as text.
  [[nodiscard]] bool clean() const;
  [[nodiscard]] std::string alive() const;
  // Frees the memory that is alive, where somebody left it on purpose. Nobody may still know of it.
  void give_back_memory();

 private:
  struct Calls;  // the table's functions
  struct Open {
    std::shared_ptr<SimFile> file;
    std::uint32_t access = 0;
    std::uint32_t share = 0;
    bool overlapped = false;
    bool unbuffered = false;
    std::uint64_t pointer = 0;
  };
  struct Outcome {
    bool ok = false;
    std::uint32_t code = 0;
    std::uint32_t done = 0;
  };
  struct Request {
    Handle file = nullptr;
    unsigned char* data = nullptr;
    std::uint32_t count = 0;
    bool write = false;
    std::uint64_t offset = 0;
    Overlapped* record = nullptr;
    Handle event = nullptr;
    std::vector<unsigned char> guard;  // what the buffer must hold
    bool completed = false;
    Outcome outcome;
  };

  std::uint64_t below(std::uint64_t n) { return random_() % n; }
  bool percent(int chance) { return below(100) < static_cast<std::uint64_t>(chance); }
  bool strikes(SimTrouble kind);
  void violation(const std::string& text);
  Handle new_handle();
  Open* find(Handle handle);
  bool admit(const std::shared_ptr<SimFile>& file, std::uint32_t access, std::uint32_t share) const;
  Handle open(const std::string& name, std::uint32_t access, std::uint32_t share, std::uint32_t disposition,
              std::uint32_t attributes);
  bool close(Handle handle);
  std::uint32_t seek(Handle handle, std::int32_t low, std::int32_t* high, std::uint32_t origin);
  bool remove(const std::string& name);

  // Lets requests in flight complete, as the system may during any call.
  void tick();
  void complete(Request* request);
  void complete_one_of_them();
  bool transfer(Request request, std::uint32_t* done, bool overlapped);
  bool acceptable(const Open& file, const Request& request, bool overlapped);
  void check_memory(const Request& request);
  void put_in_flight(Request request);
  bool result(Handle file, Overlapped* record, std::uint32_t* done, bool wait);
  Outcome carry_out(const Request& request);
  Outcome read_now(const Open& from, const Request& request, std::uint32_t count);
  void check_guard(const Request& request);
  // Notes a violation for every request in flight that `touches` says so of, and forgets the request.
  template <typename Condition>
  void forbid(const char* what, Condition touches);
  void release_memory(void* start, std::size_t size);

  const OsTable* real_;
  OsTable table_;
  std::mt19937_64 random_;
  SimDisk disk_;
  std::array<int, static_cast<std::size_t>(SimTrouble::kKinds)> chances_{};
  int late_ = 75;
  int early_ = 15;
  bool overlapped_ = true;
  std::uint64_t memory_ = 0;
  std::uint64_t handles_made_ = 0;
  std::map<Handle, Open> open_;
  std::set<Handle> events_;
  std::set<Handle> closed_;
  std::map<std::int32_t, Handle> standard_;
  std::vector<Request> requests_;  // oldest first
  std::map<void*, std::size_t> heap_;
  std::map<void*, std::size_t> regions_;
  std::set<std::string> undeleted_;
  std::vector<std::string> violations_;
  SimCounts counts_;
};

}  // namespace fsort::test
