// What the tests of the entry layer share: a scratch folder that is the current one, whole sorts through the
// exported functions, and every displayed text in order.
//
// Callbacks are plain functions that find their data in the variables below. A callback that calls FsortExit
// must have no object with a destructor alive at that call.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "entry/entry_switch.h"
#include "entry/instance.h"
#include "entry/library.h"
#include "fsort.h"
#include "platform/os.h"
#include "support/temp_folder.h"

namespace fsort::test {

using Texts = std::vector<std::string>;

inline const std::string kInitTitle = "Error detected in fsort initialization\n";
inline const std::string kCallTitle = "Error detected in fsort call\n";
inline const std::string kIoTitle = "Error detected during i/o initialization\n";
inline const std::string kAborted = "Fsort aborted by caller\n";
inline const std::string kReadFailed = "Error encountered on reading record\n";
inline const std::string kWriteFailed = "Error trying to write record from fsort\n";

// Every text displayed since the test began, and what else to do at each.
inline Texts shown;
inline void (*at_display)(const char* text) = nullptr;

inline void show(const char* text) {
  shown.emplace_back(text);
  if (at_display != nullptr) at_display(text);
}

// The handle under test, for callbacks.
inline fsort_handle subject = nullptr;

// Records for read_given, and those that take_record took.
inline Texts given;
inline std::size_t given_next = 0;
inline Texts taken;

inline std::int32_t read_given(std::uint64_t* length, const void** record) {
  if (given_next == given.size()) {
    *length = 0;
    *record = nullptr;
    return 0;
  }
  *length = given[given_next].size();
  *record = given[given_next].data();
  ++given_next;
  return 0;
}

inline std::int32_t take_record(std::uint64_t length, const void* record) {
  taken.emplace_back(static_cast<const char*>(record), length);
  return 0;
}

// The system's text for an error code as messages carry it: without its last character.
inline std::string system_text(std::uint32_t code) {
  char text[512];
  const std::uint32_t length =
      os->format_message(0x1200, nullptr, code, 0x400, text, sizeof text, nullptr);  // as the engine asks
  return length == 0 ? std::string() : std::string(text, length - 1);
}

inline void write_file(const std::string& name, const std::string& bytes) {
  std::ofstream(name, std::ios::binary) << bytes;
}

inline std::string read_file(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  std::ostringstream bytes;
  bytes << file.rdbuf();
  return bytes.str();
}

inline bool exists(const std::string& name) { return std::filesystem::exists(name); }

class EntryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    before_ = std::filesystem::current_path();
    std::filesystem::current_path(folder_.path(""));
    shown.clear();
    at_display = nullptr;
    given.clear();
    given_next = 0;
    taken.clear();
    make();
  }

  void TearDown() override {
    at_display = nullptr;
    if (subject != nullptr) destroy();
    release_lock();
    EXPECT_EQ(current_instance, nullptr);
    current_instance = nullptr;  // whatever went wrong here shall not fail the next test
    std::filesystem::current_path(before_);
  }

  // A new instance under test, with a display callback unless told otherwise.
  void make(fsort_display_fn display = show, fsort_yield_fn yield = nullptr) {
    if (subject != nullptr) destroy();
    subject = FsortCreate(display, yield);
    ASSERT_NE(subject, nullptr);
  }

  void destroy() {
    FsortDestroy(subject);
    subject = nullptr;
  }

  // Starts a sort on the handle under test; the texts of this start alone are in `shown` afterwards.
  std::int32_t start(const std::string& command, fsort_read_fn input = nullptr,
                     fsort_write_fn output = nullptr) {
    shown.clear();
    return FsortStart(subject, input, output, command.c_str());
  }

  // Expects a start to fail with these texts, one display call each.
  void expect_failure(const std::string& command, const Texts& texts, fsort_read_fn input = nullptr,
                      fsort_write_fn output = nullptr) {
    EXPECT_EQ(start(command, input, output), 1) << command;
    EXPECT_EQ(shown, texts) << command;
  }

  // Sorts `input` as a file with the options; result: the output file.
  std::string sorted(const std::string& input, const std::string& options = "") {
    write_file("in", input);
    std::filesystem::remove("out");
    EXPECT_EQ(start("<in >out -q " + options), 0) << options;
    return read_file("out");
  }

  static Instance& record() { return *instance_of(subject); }

  // Takes back what aborted sorts left of the lock, so that the next test begins as a new process would.
  static void release_lock() {
    while (entry_lock_depth() != 0) entry_lock_leave();
  }

 private:
  TempFolder folder_;
  std::filesystem::path before_;
};

}  // namespace fsort::test
