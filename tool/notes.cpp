// The texts of the notes: see notes.h.
#include "notes.h"

#include "file_names.h"
#include "platform/program.h"
#include "progress.h"

namespace fsort_tool {
namespace {

std::string note(const std::string& name, const std::string& what) {
  return "fsort: note: " + name + ": " + what + "\n";
}

std::string counted(std::uint64_t bytes) { return std::to_string(bytes) + (bytes == 1 ? " byte" : " bytes"); }

}  // namespace

std::string note_of_tail(const fsort::InputTail& tail) {
  const std::string name = tail.name[0] == '-' ? "standard input" : shown_name(tail.name);
  const std::string at = " at byte " + std::to_string(tail.position);
  const std::string line = tail.bytes == 0
                               ? "the line that goes on here does not end "
                               : "the last line (" + counted(tail.bytes) + at + ") has no line break ";
  switch (tail.kind) {
    case fsort::TailKind::dropped_line:
      return note(name, line + "and was left out; --complete supplies one");
    case fsort::TailKind::continued_line:
      return note(name, line + "and goes on in the next file; --complete supplies one");
    case fsort::TailKind::short_record:
      return note(name,
                  "the last bytes (" + counted(tail.bytes) + at + ") are no whole record and were left out");
    case fsort::TailKind::completed_line:  // as it was asked for
      break;
  }
  return {};
}

std::string note_of_untouched(const char* output_name) {
  const fsort::NamedFile file = fsort::program_file(output_name);
  if (output_name[0] == 0 || file.kind != fsort::NamedKind::regular) return {};
  return note(shown_name(output_name),
              "no record came, so it was left as it was (" + counted(file.bytes) + ")");
}

}  // namespace fsort_tool
