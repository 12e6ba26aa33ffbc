// A sort that is looked at and not run: the handle, what the engine said, and what stays of the description.
#pragma once

#include <string>
#include <vector>

#include "inspect/inspect.h"
#include "request.h"

namespace fsort_tool {

class Inspection {
 public:
  // Reads the sort command line as a sort would. What the engine says is kept, not shown.
  explicit Inspection(const std::vector<std::string>& sort_arguments);
  ~Inspection();
  Inspection(const Inspection&) = delete;
  Inspection& operator=(const Inspection&) = delete;

  // 0, or 1 when the command line is wrong or its input cannot be opened; only the messages count then.
  [[nodiscard]] int status() const { return status_; }
  [[nodiscard]] fsort_handle handle() const { return handle_; }
  [[nodiscard]] const fsort::InspectedSort& sort() const { return sort_; }

  // What the engine has said since the last call.
  static std::string take_messages();
  // What is to be said, since the last call, of bytes that no record is made of.
  static std::string take_notes();

  // Names as they are shown: separators of this system, and what is meant by "-".
  [[nodiscard]] const std::string& input_name(std::size_t file) const { return inputs_.at(file); }
  [[nodiscard]] const std::vector<std::string>& input_names() const { return inputs_; }
  [[nodiscard]] std::string output_name() const { return output_; }
  // "record 4, byte 52 of prices.txt"
  [[nodiscard]] std::string place(const fsort::InspectedRecord& record) const;
  // The number, from 1, of the key that an entry of the key table belongs to.
  [[nodiscard]] std::size_t key_number(std::uint32_t entry) const;

 private:
  std::vector<const char*> arguments_;
  fsort_handle handle_;
  fsort::InspectedSort sort_;
  int status_;
  std::vector<std::string> inputs_;
  std::string output_;
};

// Writes to standard error, at once.
void show_error(const std::string& text);

// Shows what the engine said of a command line that it did not take, with a hint. Result: the exit status, 1.
int refuse(const Request& request);

}  // namespace fsort_tool
