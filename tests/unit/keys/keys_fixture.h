// What the tests of the keys share: a key list parsed from one line of text, the key table as one line of
// text, and records built in real record memory from strings.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "keys/key_table.h"
#include "keys/record.h"
#include "keys/sequence.h"
#include "platform/os.h"
#include "support/bytes.h"
#include "support/instance_fixture.h"
#include "support/stack.h"

namespace fsort::test {

// The words of a command, separated by single blanks.
inline Texts words(const std::string& command) {
  Texts result;
  std::size_t at = 0;
  while (at < command.size()) {
    const std::size_t end = std::min(command.find(' ', at), command.size());
    if (end > at) result.push_back(command.substr(at, end - at));
    at = end + 1;
  }
  return result;
}

inline std::string number_or_open(std::uint16_t value) {
  return value == 65535 ? "open" : std::to_string(value);
}

// One entry: kind, field, start, length, direction (> or <), governed entries, "down" for -i.
inline std::string entry_text(const KeyEntry& e) {
  static const char* const kKinds[] = {"?", "group", "char", "?", "govern", "sign", "int", "frac"};
  std::string text = kKinds[e.type];
  text += " f" + std::to_string(e.field) + " s" + number_or_open(e.start) + " l" + number_or_open(e.length);
  text += e.direction == kForward ? " >" : e.direction == kBackward ? " <" : " ?";
  if (e.count != 0) text += " n" + std::to_string(e.count);
  if (e.descending != 0) text += " down";
  return text;
}

// The whole key table, entries separated by " | ".
inline std::string table_text() {
  std::string text;
  for (std::uint16_t i = 0; i < key_count(); ++i) text += (i == 0 ? "" : " | ") + entry_text(key_entry(i));
  return text;
}

// Bytes in rank order, "a=b" for equal ranks; bytes outside the sequence are left out.
inline std::string rank_text(const Sequence& table) {
  std::string text;
  for (unsigned rank = 0; rank < kByteValues; ++rank) {
    bool first = true;
    for (unsigned b = 0; b < kByteValues; ++b) {
      const auto byte = static_cast<std::uint8_t>(b);
      if ((table.flags(byte) & kNotInSequence) != 0 || table.rank(byte) != rank) continue;
      if (!first) text += '=';
      text += static_cast<char>(byte);
      first = false;
    }
  }
  return text;
}

// Heap that refuses the n-th allocation from now on; the system's heap again when it goes out of scope.
class FailingHeap {
 public:
  explicit FailingHeap(int nth) : saved_(os), table_(*os) {
    countdown() = nth;
    system() = os->heap_alloc;
    table_.heap_alloc = [](std::size_t size) -> void* {
      return --countdown() == 0 ? nullptr : system()(size);
    };
    os = &table_;
  }
  ~FailingHeap() { os = saved_; }
  FailingHeap(const FailingHeap&) = delete;
  FailingHeap& operator=(const FailingHeap&) = delete;

 private:
  static int& countdown() {
    static int n = 0;
    return n;
  }
  static void* (*&system())(std::size_t) {
    static void* (*function)(std::size_t) = nullptr;
    return function;
  }
  const OsTable* saved_;
  OsTable table_;
};

class KeysFixture : public InstanceFixture {
 protected:
  // Runs rec_init over the words of `command`.
  Raised init(const std::string& command) {
    arguments_ = std::make_unique<ArgVector>(words(command));
    ArgVector& arguments = *arguments_;
    return raised([&] { rec_init(arguments.argc(), arguments.argv()); });
  }
  // The same, and the key table it makes, or the first text displayed.
  std::string parse(const std::string& command) {
    const Raised r = init(command);
    return r.caught ? r.text() : table_text();
  }
  [[nodiscard]] Texts left() const { return arguments_->left(); }

  // Makes record memory: `segments` of 128 KB.
  void make_memory(std::int64_t segments = 64) {
    const Raised r = raised([&] { EXPECT_GE(stk_init(128 * 1024, segments), segments); });
    ASSERT_FALSE(r.caught);
    DriverState& d = instance().driver;
    d.segment_kb = 128;
    d.frame_limit = std::uint64_t{1} << 40;
    d.data_stack = stk_alloc();
    ASSERT_NE(d.data_stack, nullptr);
    d.input = next_text;
  }

  // The record built from `data` through rec_input; null after an error, whose text `read_error()` gives.
  std::uint8_t* build(const std::string& data) {
    if (instance().driver.data_stack == nullptr) make_memory();
    source() = data;
    std::uint8_t* record = nullptr;
    const Raised r = raised([&] { record = rec_input(); });
    error_ = r.caught ? r.text() : "";
    return record;
  }
  [[nodiscard]] const std::string& read_error() const { return error_; }

  // Offset of an entry's first byte in the data (-1: the header's last byte), after build().
  static int place(const std::uint8_t* record, std::uint32_t entry) {
    return rec_key_offset(record, entry) - key_record_header_bytes();
  }
  // The data from an entry's first byte on.
  static std::string from(const std::uint8_t* record, std::uint32_t entry) {
    const char* text = reinterpret_cast<const char*>(record);
    return {text + rec_key_offset(record, entry), text + rec_total_length(record)};
  }
  // The sign byte that a numeric key's first entry points at.
  static int sign(const std::uint8_t* record, std::uint32_t entry) {
    return static_cast<std::int8_t>(record[rec_key_offset(record, entry)]);
  }

  // Releases records, tables and windups, so that the next rec_init starts afresh.
  void restart() {
    free_stack();
    run_windups();
  }

  void TearDown() override {
    free_stack();
    InstanceFixture::TearDown();
  }

 private:
  void free_stack() {
    Stack*& stack = instance().driver.data_stack;
    if (stack != nullptr) stk_free(stack);
    stack = nullptr;
  }
  static std::string& source() {
    static std::string text;
    return text;
  }
  static std::int32_t next_text(std::uint64_t* length, const std::uint8_t** record) {
    *length = source().size();
    *record = reinterpret_cast<const std::uint8_t*>(source().data());
    return 0;
  }

  std::unique_ptr<ArgVector> arguments_;
  std::string error_;
};

// A row of a table of cases, named by the claim it proves.
struct KeyCase {
  const char* name;
  const char* command;
  const char* expected;
};

inline std::string case_name(const ::testing::TestParamInfo<KeyCase>& info) { return info.param.name; }

}  // namespace fsort::test
