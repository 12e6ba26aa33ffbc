// A sort that has been initialised but not started, with arrays of bins whose records a test writes by hand,
// a work directory of its own and the fault-injecting table. What lies in a work file is read past the
// engine.
#pragma once

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "engine/record_memory.h"
#include "keys/record.h"
#include "stream/nt_error.h"
#include "sublist/sublist.h"
#include "sublist/work_file.h"
#include "sublist/work_name.h"
#include "support/fault_os.h"
#include "support/record_links.h"
#include "support/stack.h"
#include "support/temp_folder.h"
#include "unit/engine/engine_fixture.h"

namespace fsort::test {

// An array of empty bins. Its work file goes with it.
class TestArray {
 public:
  explicit TestArray(std::uint16_t bins) : words_((sizeof(SublistArray) + bins * sizeof(Sublist)) / 8) {
    sublist_array_init(bins, get());
    for (std::uint16_t i = 0; i < bins; ++i) {
      bin(i) = sublist_empty();
      bin(i).order = i;
    }
  }
  SublistArray* get() { return reinterpret_cast<SublistArray*>(words_.data()); }
  Sublist& bin(std::size_t i) { return get()->bins()[i]; }

 private:
  std::vector<std::uint64_t> words_;
};

// The system's text of a code, as messages of work files end in it.
inline std::string with_system_text(const std::string& message, std::uint32_t code) {
  return message + ":\n" + ntstrerror(code) + "\n";
}

class WorkFiles : public EngineFixture {
 protected:
  static constexpr std::uint32_t kHeader = 5;  // of a record under the default key

  void SetUp() override {
    faults_ = std::make_unique<FaultOs>();
    EngineFixture::SetUp();
    start({"-wb", "2", "-rb", "2"});
  }
  void TearDown() override {
    faults_->clear();
    for (const auto& array : arrays_) sublist_array_delete(array->get());
    EngineFixture::TearDown();
    arrays_.clear();
    EXPECT_TRUE(faults_->clean()) << faults_->alive();
    faults_.reset();
  }
  void start(Texts options) { start_in(folder_.path(""), std::move(options)); }
  void start_in(const std::string& directory, Texts options) {
    options.insert(options.end(), {"-w", directory});
    ASSERT_EQ(init(std::move(options)), 0) << shown();
    ASSERT_TRUE(stk_push(data()));
  }
  [[nodiscard]] Stack* data() { return instance().driver.data_stack; }
  [[nodiscard]] SublistState& state() { return instance().sublist; }
  FaultOs& faults() { return *faults_; }

  SublistArray* make_array(std::uint16_t bins) {
    arrays_.push_back(std::make_unique<TestArray>(bins));
    return arrays_.back()->get();
  }
  // Puts a record with these data bytes on the front of a bin's list.
  static std::uint8_t* push(SublistArray* array, std::size_t bin_index, const std::string& text) {
    const auto length = static_cast<std::uint16_t>(kHeader + text.size());
    std::uint8_t* record = fsort_alloc(length + 1u);
    store_le(record, length);
    store_le(record + 2, static_cast<std::uint16_t>(kHeader));
    record[4] = data_frame_number();
    std::memcpy(record + kHeader, text.data(), text.size());
    record[length] = 0;
    Sublist& bin = array->bins()[bin_index];
    record_set_next(record, bin.head);
    bin.head = record;
    ++bin.mem_count;
    bin.mem_bytes += rec_charge(record);
    return record;
  }
  // The same for several, so that the list holds them in the order given.
  static void push_list(SublistArray* array, std::size_t bin, const Texts& texts) {
    for (auto text = texts.rbegin(); text != texts.rend(); ++text) push(array, bin, *text);
  }
  static std::string text_of(const std::uint8_t* record) {
    return {reinterpret_cast<const char*>(record) + kHeader, rec_total_length(record) - std::size_t{kHeader}};
  }
  static Texts list_of(const Sublist& bin) {
    Texts texts;
    for (const std::uint8_t* r = bin.head; r != nullptr; r = record_next(r)) texts.push_back(text_of(r));
    return texts;
  }
  // Writes one record to the bin's run.
  static void write_one(SublistArray* array, std::uint16_t bin, const std::string& text) {
    push(array, bin, text);
    sublist_write(0, array, bin);
  }
  // Everything the bin still yields.
  static Texts read_bin(SublistArray* array, std::uint16_t bin) {
    Texts texts;
    sublist_input_init(array, bin);
    while (const std::uint8_t* record = sublist_input()) texts.push_back(text_of(record));
    return texts;
  }
  // Path of the work file with this number, as the file system has it.
  [[nodiscard]] std::string path_of(std::uint32_t number) {
    std::string name = mk_name(state(), number);
    std::replace(name.begin(), name.end(), '\\', '/');
    return name;
  }
  [[nodiscard]] std::string name_of(std::uint32_t number) {
    return std::filesystem::path(path_of(number)).filename().string();
  }
  [[nodiscard]] std::string content_of(std::uint32_t number) {
    return folder_.content(std::filesystem::path(path_of(number)).filename().string());
  }
  [[nodiscard]] std::size_t files_in_folder() const {
    const std::filesystem::directory_iterator all(folder_.path(""));
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
  }
  // Bytes of a little-endian number.
  static std::string le(std::uint64_t value, std::size_t bytes) {
    std::string text;
    for (std::size_t i = 0; i < bytes; ++i) text += static_cast<char>(value >> 8 * i & 0xFF);
    return text;
  }
  static std::string header(std::uint64_t previous, std::uint32_t length) {
    return le(previous, 8) + le(length, 4);
  }
  // A record as it stands on a work file.
  static std::string image(const std::string& text, bool last) {
    return le(kHeader + text.size(), 2) + le(kHeader, 2) + (last ? '\1' : '\0') + text;
  }

  TempFolder folder_;

 private:
  std::unique_ptr<FaultOs> faults_;
  std::vector<std::unique_ptr<TestArray>> arrays_;
};

}  // namespace fsort::test
