// A handle that looks at a sort without sorting, for tests: every text that it shows is kept.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "inspect/inspect.h"

namespace fsort::test {

inline std::string inspector_texts;

class Inspector {
 public:
  explicit Inspector(std::vector<std::string> arguments) : arguments_(std::move(arguments)) {
    inspector_texts.clear();
    handle_ = FsortCreate([](const char* text) { inspector_texts += text; }, nullptr);
    pointers_.push_back("fsort");
    for (const std::string& argument : arguments_) pointers_.push_back(argument.c_str());
    pointers_.push_back(nullptr);
    status_ =
        inspect_open(handle_, static_cast<std::int32_t>(pointers_.size() - 1), pointers_.data(), &sort_);
  }
  ~Inspector() { FsortDestroy(handle_); }
  Inspector(const Inspector&) = delete;
  Inspector& operator=(const Inspector&) = delete;

  [[nodiscard]] std::int32_t status() const { return status_; }
  [[nodiscard]] const InspectedSort& sort() const { return sort_; }
  [[nodiscard]] fsort_handle handle() const { return handle_; }
  [[nodiscard]] static const std::string& texts() { return inspector_texts; }

  // The next record goes into one of two places in turn; the one before it stays.
  RecordFate read() {
    latest_ = 1 - latest_;
    return inspect_read(handle_, sort_, &records_[latest_], &count_);
  }
  [[nodiscard]] const InspectedRecord& record() const { return records_[latest_]; }
  [[nodiscard]] const InspectedRecord& before() const { return records_[1 - latest_]; }
  [[nodiscard]] std::string data() const {
    return {reinterpret_cast<const char*>(record().data), record().length};
  }
  [[nodiscard]] KeyValue key(std::uint16_t k) const { return inspect_key(handle_, record(), sort_.keys[k]); }
  // The bytes of the latest record that count, from left to right as they compare.
  [[nodiscard]] std::string bytes(const KeyBytes& region) const {
    std::string text;
    for (std::uint32_t i = 0; i < region.count; ++i) {
      text += static_cast<char>(record().data[region.first + static_cast<std::int32_t>(i) * region.step]);
    }
    return text;
  }
  CheckVerdict check(CheckReport* report) { return inspect_check(handle_, sort_, records_.get(), report); }

 private:
  std::vector<std::string> arguments_;
  std::vector<const char*> pointers_;
  fsort_handle handle_ = nullptr;
  std::int32_t status_ = 1;
  InspectedSort sort_{};
  std::unique_ptr<InspectedRecord[]> records_ = std::make_unique<InspectedRecord[]>(2);
  std::size_t latest_ = 1;
  std::uint64_t count_ = 0;
};

}  // namespace fsort::test
