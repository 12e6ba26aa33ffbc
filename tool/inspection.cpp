// A sort that is looked at; see inspection.h.
#include "inspection.h"

#include <cstdio>
#include <utility>

#include "file_names.h"
#include "hints.h"
#include "notes.h"

namespace fsort_tool {
namespace {

// The display function of a handle has no argument of its own to tell it where texts go.
std::string messages;

void keep_message(const char* text) { messages += text; }

std::string notes;

void keep_note(const fsort::InputTail& tail) { notes += note_of_tail(tail); }

constexpr fsort::InputWatch kWatch{keep_note, 0};

}  // namespace

void show_error(const std::string& text) {
  std::fputs(text.c_str(), stderr);
  std::fflush(stderr);
}

int refuse(const Request& request) {
  const std::string said = Inspection::take_messages();
  show_error(said + hint_line(request.sort_arguments, said));
  return 1;
}

Inspection::Inspection(const std::vector<std::string>& sort_arguments)
    : handle_(nullptr), sort_{}, status_(1) {
  messages.clear();
  notes.clear();
  for (const std::string& argument : sort_arguments) arguments_.push_back(argument.c_str());
  const auto count = static_cast<std::int32_t>(arguments_.size());
  arguments_.push_back(nullptr);
  handle_ = FsortCreate(keep_message, nullptr);
  if (handle_ == nullptr) {
    messages = "fsort: not enough memory\n";
    return;
  }
  status_ = fsort::inspect_open(handle_, count, arguments_.data(), &sort_, &kWatch);
  if (status_ != 0) return;
  for (std::size_t i = 0; i < sort_.input_count; ++i) {
    const std::string name = sort_.inputs[i];
    inputs_.push_back(name.starts_with("-") ? "standard input" : shown_name(name));
  }
  output_ = sort_.output == nullptr ? "standard output" : shown_name(sort_.output);
}

Inspection::~Inspection() { FsortDestroy(handle_); }

std::string Inspection::take_messages() { return std::exchange(messages, {}); }

std::string Inspection::take_notes() { return std::exchange(notes, {}); }

std::string Inspection::place(const fsort::InspectedRecord& record) const {
  return "record " + std::to_string(record.number) + ", byte " + std::to_string(record.position) + " of " +
         input_name(record.file);
}

std::size_t Inspection::key_number(std::uint32_t entry) const {
  std::size_t number = 0;
  while (number < sort_.key_count && sort_.keys[number].entry <= entry) ++number;
  return number;
}

}  // namespace fsort_tool
