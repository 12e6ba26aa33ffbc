// A live instance, a folder for files, counted system resources, and short ways to set up and read records.
//
// The test fails at its end when a heap block, a file or an event is still alive.
#pragma once

#include <array>
#include <string>
#include <utility>

#include "recio/readers.h"
#include "recio/rin.h"
#include "recio/rio.h"
#include "recio/rout.h"
#include "stream/nt_error.h"
#include "support/fault_os.h"
#include "support/instance_fixture.h"
#include "support/std_handles.h"
#include "support/temp_folder.h"

namespace fsort::test {

inline constexpr const char* kInitTitle = "Error detected during i/o initialization\n";

// `path` as messages show it.
inline std::string shown(std::string path) {
  for (char& c : path) {
    if (c == '/') c = '\\';
  }
  return path;
}

// "<text>:" and the system's text of `code`, as a raise displays them.
inline std::string with_system_text(const std::string& text, std::uint32_t code) {
  return text + ":\n" + ntstrerror(code) + "\n";
}

class RecioTest : public InstanceFixture {
 protected:
  void TearDown() override {
    faults_.clear();
    InstanceFixture::TearDown();
    osdll_drop_error_text();
    EXPECT_TRUE(faults_.clean()) << faults_.alive();
  }

  FaultOs& faults() { return faults_; }
  const TempFolder& folder() { return folder_; }
  RecordDescription& description() { return description_; }

  int init(ArgVector& args) { return rio_init(&description_, args.argc(), args.argv()); }
  // Sets everything up from these arguments and expects that nobody complains and nothing is left over.
  void set_up(const Texts& arguments) {
    ArgVector args(arguments);
    ASSERT_EQ(init(args), 0) << (displayed().empty() ? "" : displayed().front());
    EXPECT_EQ(args.left(), Texts());
  }
  // What is displayed by a set-up that fails.
  Texts refused(const Texts& arguments) {
    clear_displayed();
    ArgVector args(arguments);
    EXPECT_EQ(init(args), 1);
    return displayed();
  }
  // The texts of a set-up error.
  static Texts init_error(const std::string& text) { return {text + "\n", kInitTitle}; }

  // Makes a file; result: the argument that names it as input.
  std::string input(const std::string& name, const std::string& content) {
    return "<" + folder_.make(name, content);
  }

  // Records up to the end of the input, or up to an error, which is told by status().
  Texts read_records() {
    Texts records;
    status_ = 0;
    while (records.size() < kMostRecords) {
      std::uint64_t length = 77;
      const std::uint8_t* record = kUnset;
      status_ = description_.reader(&length, &record);
      if (length == 0) {
        EXPECT_EQ(record, nullptr);
        break;
      }
      EXPECT_EQ(status_, 0);
      records.emplace_back(reinterpret_cast<const char*>(record), length);
    }
    EXPECT_LT(records.size(), kMostRecords);
    return records;
  }
  [[nodiscard]] std::int32_t status() const { return status_; }
  // The texts displayed by read_records() and by writes.
  static const Texts& shown_texts() { return displayed(); }

  std::int32_t write(const std::string& record) {
    return description_.writer(record.size(), reinterpret_cast<const std::uint8_t*>(record.data()));
  }
  std::int32_t end_output() { return description_.writer(0, nullptr); }

 private:
  static constexpr std::size_t kMostRecords = 1000000;
  static constexpr std::uint8_t kNoRecord = 0;
  static constexpr const std::uint8_t* kUnset = &kNoRecord;

  FaultOs faults_;
  TempFolder folder_;
  RecordDescription description_{};
  std::int32_t status_ = 0;
};

// Sum of many texts.
inline std::string joined(const Texts& texts) {
  std::string sum;
  for (const std::string& text : texts) sum += text;
  return sum;
}

}  // namespace fsort::test
