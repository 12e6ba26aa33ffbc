// A fixture that runs the driver over records in memory, without the entry layer and without files.
//
// Records go in through a read function and come out through a write function; the command line is an
// argument vector. Tests may stop after fsort_init and look at the plan, levels and bins themselves.
#pragma once

#include <cstdint>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "engine/driver.h"
#include "engine/engine_state.h"
#include "support/instance_fixture.h"
#include "support/stkavl.h"

namespace fsort::test {

// True when the whole text has the form of the pattern.
inline bool matches(const std::string& text, const std::string& pattern) {
  return std::regex_match(text, std::regex(pattern));
}

// Source and sink of the running sort; plain statics because the engine's functions take no context.
struct RecordsInOut {
  static inline Texts in;
  static inline std::size_t next = 0;
  static inline Texts out;

  static std::int32_t read(std::uint64_t* length, const std::uint8_t** record) {
    if (next == in.size()) {
      *length = 0;
      *record = nullptr;
      return 0;
    }
    const std::string& text = in[next++];
    *length = text.size();
    *record = reinterpret_cast<const std::uint8_t*>(text.data());
    return 0;
  }
  static std::int32_t write(std::uint64_t length, const std::uint8_t* record) {
    out.emplace_back(reinterpret_cast<const char*>(record), length);
    return 0;
  }
};

class EngineFixture : public InstanceFixture {
 protected:
  void SetUp() override {
    InstanceFixture::SetUp();
    stack_init(kStackReserveBytes);  // as every start of a sort does
    RecordsInOut::in.clear();
    RecordsInOut::out.clear();
    RecordsInOut::next = 0;
  }

  // fsort_init with the given options; "-q" is added.
  int init(Texts options) {
    options.insert(options.begin(), "-q");
    return init_exactly(std::move(options));
  }
  int init_exactly(Texts options) {
    args_.push_back(std::make_unique<ArgVector>(options));
    return fsort_init(RecordsInOut::read, RecordsInOut::write, args_.back()->argc(), args_.back()->argv());
  }

  // Everything displayed, as one text.
  static std::string shown() {
    std::string all;
    for (const std::string& text : displayed()) all += text;
    return all;
  }

  // A whole sort; result: the records in output order. Fails the test when the sort fails.
  Texts sort(Texts options, Texts records) {
    RecordsInOut::in = std::move(records);
    EXPECT_EQ(init(std::move(options)), 0) << shown();
    EXPECT_EQ(fsort_call(), 0) << shown();
    return RecordsInOut::out;
  }

 private:
  std::vector<std::unique_ptr<ArgVector>> args_;
};

}  // namespace fsort::test
