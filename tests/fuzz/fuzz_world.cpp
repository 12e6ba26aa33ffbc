// The simulated system, instances and claims of the fuzzing targets. See the header.
#include "fuzz/fuzz_world.h"

#include <cstdio>
#include <cstdlib>

#include "stream/stream.h"
#include "support/dsnt.h"
#include "support/exit.h"
#include "support/osdll.h"

namespace fsort::fuzz {
namespace {

// What one block or region may take. A command line may ask for all the memory there is; what happens then is
// the same as with less, and the fuzzer has work for the memory of the machine.
constexpr std::size_t kMostBytes = std::size_t{64} << 20;

World* current = nullptr;

}  // namespace

void claim(bool holds, const std::string& text) {
  if (holds) return;
  std::fprintf(stderr, "fuzz: not so: %s\n", text.c_str());
  std::abort();
}

RegionsOfTheHeap::RegionsOfTheHeap() : below_(os), table_(*os) {
  table_.region_alloc = [](std::size_t size) -> void* {
    constexpr std::size_t kPageBytes = 4096;
    return std::aligned_alloc(kPageBytes, (size + kPageBytes - 1) / kPageBytes * kPageBytes);
  };
  table_.region_free = [](void* region, std::size_t) { std::free(region); };
  os = &table_;
}

RegionsOfTheHeap::~RegionsOfTheHeap() { os = below_; }

// The functions that stand in front of the simulation's.
struct World::Calls {
  static void* heap_alloc(std::size_t size) {
    return size > kMostBytes ? nullptr : current->below_->heap_alloc(size);
  }
  static void* region_alloc(std::size_t size) {
    return size > kMostBytes ? nullptr : current->below_->region_alloc(size);
  }
  static Handle create_file(const char* name, std::uint32_t access, std::uint32_t share, void* security,
                            std::uint32_t disposition, std::uint32_t attributes, Handle file) {
    test::SimOs& sim = current->sim_;
    const std::string plain = test::SimDisk::plain(name);
    const bool work = plain.find("\\wk") != std::string::npos && disposition == kOpenExisting;
    if (current->damage_ != nullptr && work && (access & kGenericWrite) == 0) {
      std::string content = sim.content(plain);
      current->damage_(&content);
      sim.make_file(plain, content);
    }
    return current->below_->create_file(name, access, share, security, disposition, attributes, file);
  }
};

World::World(std::uint8_t seed) : sim_(seed), table_(*os), below_(os) {
  static constexpr int kLateness[][2] = {{0, 0}, {100, 0}, {75, 15}, {100, 60}};
  sim_.set_lateness(kLateness[seed % 4][0], kLateness[seed % 4][1]);
  table_.heap_alloc = Calls::heap_alloc;
  table_.region_alloc = Calls::region_alloc;
  table_.create_file = Calls::create_file;
  os = &table_;
  current = this;
}

World::~World() {
  osdll_drop_error_text();
  test::clear_displayed();
  claim(sim_.violations().empty(), [&] { return sim_.violations().front(); });
  claim(sim_.clean(), [&] { return "nothing is left behind, but there are " + sim_.alive(); });
  for (const std::string& name : sim_.names()) {
    claim(any_file_ || allowed_.count(name) != 0, "no file is left behind: " + name);
  }
  os = below_;
  current = nullptr;
}

void World::make_file(const std::string& name, const std::string& content) {
  sim_.make_file(name, content);
  allow_file(name);
}

void World::damage_work_files(void (*damage)(std::string* content)) { damage_ = damage; }

LiveInstance::LiveInstance() : instance_(DSAlloc()) {
  claim(instance_ != nullptr, "an instance can be made");
  test::clear_displayed();
  current_instance = instance_;
  osdll_display_register(test::record_display);
  finit();
  ErrorInit();
}

LiveInstance::~LiveInstance() {
  current_instance = instance_;
  claim(trap_depth() == 0, "no trap is left set");
  const std::size_t before = displayed().size();
  ExitWindup();
  claim(displayed().size() == before, [] { return "windups are silent: " + displayed().back(); });
  claim(instance_->exit.windup_count == 0, "no windup is left registered");
  fwindup();
  DSFree(instance_);
  current_instance = nullptr;
}

}  // namespace fsort::fuzz
