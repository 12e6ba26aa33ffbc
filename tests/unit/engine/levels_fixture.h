// A sort stopped right after the input has been distributed: the root level holds its records, nothing is
// processed yet. Tests relieve memory, preload or process by hand.
#pragma once

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>

#include "engine/distribute.h"
#include "engine/environment.h"
#include "engine/key_view.h"
#include "engine/order.h"
#include "engine/plan.h"
#include "engine/relief.h"
#include "engine_fixture.h"
#include "keys/record.h"
#include "sublist/work_file.h"
#include "support/record_links.h"
#include "support/temp_folder.h"

namespace fsort::test {

class Levels : public EngineFixture {
 protected:
  // fsort_init with small buffers and a work directory of the test's own, the two frames that a sort begins
  // with, and the root level.
  Environment* start(Texts options) {
    options.insert(options.end(), {"-w", folder_.path(""), "-wb", "2", "-rb", "2"});
    // The key list ends the vector.
    std::rotate(options.begin(), options.end() - 6, options.end());
    EXPECT_EQ(init(std::move(options)), 0) << shown();
    EXPECT_TRUE(stk_push(levels()));
    Plan p{};
    plan(&p, 0, 0, driver().record_count, driver().file_kb, false);
    Environment* root = environment_make(nullptr, p.step_count, p.steps, static_cast<std::uint16_t>(p.bins));
    EXPECT_NE(root, nullptr);
    sort_state().current = root;
    sort_state().newest = root;
    driver().environment = root;
    EXPECT_TRUE(stk_push(data()));
    return root;
  }
  // Distributes more records into the current level.
  void feed(const Texts& records) {
    RecordsInOut::in = records;
    RecordsInOut::next = 0;
    distribute(rec_input, records.size());
  }
  [[nodiscard]] Stack* levels() { return instance().driver.sublist_stack; }
  [[nodiscard]] Stack* data() { return instance().driver.data_stack; }
  [[nodiscard]] DriverState& driver() { return instance().driver; }
  [[nodiscard]] SortState& sort_state() { return instance().sort; }
  [[nodiscard]] std::size_t files_in_folder() const {
    const std::filesystem::directory_iterator all(folder_.path(""));
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
  }
  // The only bin of the level that holds records whose list begins with this text, or had when it was fed.
  static Sublist& holding(Environment* level) {
    const auto count = level->array.count;
    Sublist* bins = level->array.bins();
    for (std::uint32_t i = 0; i < count; ++i) {
      if (bins[i].mem_count + bins[i].file_count != 0 || bins[i].child != nullptr) return bins[i];
    }
    ADD_FAILURE() << "no bin holds anything";
    return bins[0];
  }
  // The bin of the current level into which this record falls.
  Sublist& bin_of(const std::string& record) { return level()->array.bins()[index_of(record)]; }
  std::uint16_t index_of(const std::string& record) {
    const PlanStep& step = level()->steps[0];
    const KeyEntry& entry = instance().key.entries[step.key];
    const auto at = static_cast<std::int32_t>(entry.start) + step.position;
    const auto byte = static_cast<std::uint8_t>(record.at(static_cast<std::size_t>(at)));
    return step.table[byte];
  }
  [[nodiscard]] Environment* level() { return sort_state().current; }
  static Texts texts_of(const Sublist& bin, std::uint32_t header = 5) {
    Texts texts;
    for (const std::uint8_t* r = bin.head; r != nullptr; r = record_next(r)) {
      texts.emplace_back(reinterpret_cast<const char*>(r) + header, rec_total_length(r) - header);
    }
    return texts;
  }

  TempFolder folder_;
};

}  // namespace fsort::test
