// Fuzzes the command splitter, the expansion of macros and include files, and the reading of numbers and
// ranges.
//
//   byte 0   seed of the simulated system
//   byte 1   sizes of the argument area
//   then     the command; behind lines "%%" the include files "1", "2", ...
//
// Claims: splitting stays in its bounds and gives what the reference engine's splitter gives. An expansion
// says 1 and shows its title, or its arguments lie ended in the area, options in lower case, behind as many
// as fit. A range is one for the reference too, and its faults have the same text. No file is left open.
#include <array>
#include <cstring>
#include <memory>
#include <optional>

#include "cmdline/arg.h"
#include "cmdline/cl_expand.h"
#include "cmdline/cl_split.h"
#include "fuzz/fuzz_world.h"
#include "support/reference_arguments.h"

namespace fsort::fuzz {
namespace {

constexpr const char* kTitle = "Error detected while expanding command line\n";
constexpr std::array<std::uint32_t, 5> kSlots = {kArgumentSlots, 1, 2, 7, 40};
constexpr std::array<std::uint32_t, 5> kTextBytes = {kArgumentTextBytes, 1, 6, 64, 300};

std::string lowered(std::string text) {
  if (text.empty() || text[0] != '-') return text;
  for (char& c : text) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return text;
}

Texts split(const std::string& command) {
  const auto argv = std::make_unique<const char*[]>(kMaxSplitArguments);
  const auto text = std::make_unique<char[]>(kSplitTextBytes);
  // A block of the exact size, so that a read beyond the zero is seen.
  const auto copy = std::make_unique<char[]>(command.size() + 1);
  std::memcpy(copy.get(), command.c_str(), command.size() + 1);
  std::int32_t count = 0;
  cl_parse(&count, argv.get(), copy.get(), text.get());
  Texts arguments(argv.get(), argv.get() + count);
  Texts options;
  for (const std::string& argument : arguments) options.push_back(lowered(argument));
  claim(options == fsort_test::split_command(command), "both splitters agree");
  return arguments;
}

void check_range(const std::string& argument) {
  Range range{};
  bool is_range = false;
  const Raised r = raised([&] { is_range = arg_range(argument.c_str(), &range); });
  std::string fault;
  std::optional<std::pair<int, int>> right;
  try {
    right = fsort_test::read_range(argument);
  } catch (const fsort_test::ReferenceFault& refused) {
    fault = std::string(refused.what()) + "\n";
  }
  claim(r.text() == fault, [&] { return argument + ": " + r.text() + " instead of " + fault; });
  if (r.caught) return;
  claim(is_range == right.has_value(), "whether it is a range: " + argument);
  if (!is_range) return;
  claim(range.start == right->first && range.end == right->second, "the range " + argument);
}

void note_byte(std::uint8_t) {}

void check_arguments(const Texts& arguments) {
  ArgVector args(arguments);
  for (const std::string& argument : arguments) {
    check_range(argument);
    const char* behind = nullptr;
    std::uint32_t value = 0;
    (void)raised([&] { behind = arg_lvalue(argument.c_str(), &value, kScaleKilo); });
    const char* end = argument.c_str() + argument.size();
    claim(behind == nullptr || (behind >= argument.c_str() && behind <= end), "a number ends in its text");
  }
  for (std::int32_t i = 1; i < args.argc(); ++i) {
    std::uint32_t next = 0;
    const auto first = static_cast<std::uint32_t>(i);
    const Raised r = raised([&] { next = arg_invoke(args.argc(), args.argv(), first, note_byte); });
    claim(r.caught || (next >= first && next <= static_cast<std::uint32_t>(args.argc())), "arg_invoke ends");
  }
}

Texts expand(const Texts& arguments, std::uint32_t slots, std::uint32_t bytes) {
  ArgVector args(arguments);
  const auto out = std::make_unique<const char*[]>(std::size_t{slots} + 1);
  const auto text = std::make_unique<char[]>(bytes);
  auto count = static_cast<std::int32_t>(slots);
  const int status = cl_copy(&count, out.get(), args.argc(), args.argv(), bytes, text.get());
  if (status != 0) {
    claim(status == 1 && displayed().size() >= 2 && displayed().back() == kTitle, "an error has its title");
    return {};
  }
  claim(displayed().empty(), "without an error nothing is shown");
  claim(count >= 0 && static_cast<std::uint32_t>(count) <= slots, "no more arguments than slots");
  claim(out[static_cast<std::size_t>(count)] == nullptr, "a null pointer ends the arguments");
  Texts expanded;
  for (std::int32_t i = 0; i < count; ++i) {
    const char* argument = out[static_cast<std::size_t>(i)];
    const bool inside = argument >= text.get() && argument < text.get() + bytes;
    claim(inside &&
              std::memchr(argument, 0, static_cast<std::size_t>(text.get() + bytes - argument)) != nullptr,
          "an argument lies ended in the area");
    expanded.emplace_back(argument);
    claim(expanded.back() == lowered(expanded.back()), "options are in lower case");
  }
  return expanded;
}

void run(FuzzBytes in) {
  World world(in.byte());
  const std::uint8_t sizes = in.byte();
  const std::uint32_t slots = kSlots[sizes % kSlots.size()];
  const std::uint32_t bytes = kTextBytes[sizes / kSlots.size() % kTextBytes.size()];
  const Texts sections = in.sections();
  for (std::size_t i = 1; i < sections.size(); ++i) world.make_file(std::to_string(i), sections[i]);
  std::string command = sections[0].substr(0, sections[0].find('\0')).substr(0, kMaxCommandChars);
  if (!command.empty() && command.back() == '\n') command.pop_back();
  LiveInstance instance;
  const Texts arguments = split(command);
  const Texts expanded = expand(arguments, slots, bytes);
  claim(world.sim().open_files() == 0, "include files are closed");
  check_arguments(expanded);
}

}  // namespace
}  // namespace fsort::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fsort::fuzz::run({data, size});
  return 0;
}
