// What a fuzzing target runs in: a simulated system, an instance, and claims that end the process.
//
//   World world(seed);                       files in memory, transfers that complete late; counts what is
//   alive world.sim().make_file("in", text);
//   {
//     LiveInstance instance;                 as FsortCreate makes one, without the entry layer
//     const Raised r = raised([&] { ... });  the engine's raises come back here
//     claim(r.status == 0, "it can be read");
//   }                                        windups run; traps and windups left are claimed to be none
//
// Nothing may go over from one input to the next: World claims at its end that no memory, file, event or
// request is left, that no buffer was touched while the system worked on it, and that no file lies about that
// the target did not make or allow.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <type_traits>

#include "fuzz/fuzz_bytes.h"
#include "support/instance_fixture.h"
#include "support/sim_os.h"

namespace fsort::fuzz {

using test::ArgVector;
using test::displayed;
using test::Raised;
using test::raised;

// Ends the process with `text` unless `holds`: a find.
void claim(bool holds, const std::string& text);
// The same where the text takes long to make.
template <typename Text>
void claim(bool holds, Text&& text) requires(std::is_invocable_v<Text>) {
  if (!holds) claim(false, text());
}

// Regions as blocks of the heap: a sanitizer then knows their ends, and no page is touched that nobody uses.
class RegionsOfTheHeap {
 public:
  RegionsOfTheHeap();
  ~RegionsOfTheHeap();
  RegionsOfTheHeap(const RegionsOfTheHeap&) = delete;
  RegionsOfTheHeap& operator=(const RegionsOfTheHeap&) = delete;

 private:
  const OsTable* below_;
  OsTable table_;
};

class World {
 public:
  // The lowest bits of `seed` also choose how late transfers complete.
  explicit World(std::uint8_t seed);
  ~World();
  World(const World&) = delete;
  World& operator=(const World&) = delete;

  test::SimOs& sim() { return sim_; }
  void make_file(const std::string& name, const std::string& content);
  // A file of this name may be there at the end.
  void allow_file(const std::string& name) { allowed_.insert(test::SimDisk::plain(name)); }
  // Any file may be there at the end.
  void allow_any_file() { any_file_ = true; }
  // From now on the content of each work file passes through `damage` when it is opened to be read.
  void damage_work_files(void (*damage)(std::string* content));

 private:
  struct Calls;
  RegionsOfTheHeap regions_;  // behind the simulation
  test::SimOs sim_;
  OsTable table_;
  const OsTable* below_;
  std::set<std::string> allowed_;
  bool any_file_ = false;
  void (*damage_)(std::string*) = nullptr;
};

// A live instance that is the current one.
class LiveInstance {
 public:
  LiveInstance();
  ~LiveInstance();
  LiveInstance(const LiveInstance&) = delete;
  LiveInstance& operator=(const LiveInstance&) = delete;
  Instance& record() { return *instance_; }

 private:
  Instance* instance_;
};

}  // namespace fsort::fuzz
