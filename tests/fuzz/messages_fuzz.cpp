// Fuzzes the messages: formatting, raising through nested traps, display, the message buffer, system texts.
//
//   byte 0    seed of the simulated system
//   then      steps: a byte that chooses one, its numbers, and a text up to the next line break
//
// Claims: a text arrives whole and once, whatever its length and bytes, with the titles of the traps it
// passes; the text of a system error stays in the size it is given and is ended; the message buffer holds the
// beginning of what a display callback would have been shown, 256 characters at most.
#include <array>
#include <cstring>
#include <memory>
#include <string>
#include <utility>

#include "engine/driver.h"
#include "fsort.h"
#include "fuzz/fuzz_world.h"
#include "keys/record.h"
#include "stream/io_buffer.h"
#include "stream/nt_error.h"
#include "support/osdll.h"

namespace fsort::fuzz {
namespace {

constexpr std::uint32_t kMostTraps = 15;  // one is the frame of raised()
constexpr std::size_t kMessageTextBytes = 160;

struct Nested {
  std::uint32_t traps;
  const char* text;
};

int raise_nested(Nested& nested) {
  if (nested.traps == 0) osdll_error("%s", nested.text);
  --nested.traps;
  return trap_run(kTrapLevel, "title", raise_nested, nested);
}

std::string message_of(const std::string& text) { return text.substr(0, text.find('\0')) + "\n"; }

void check_raise(FuzzBytes* in) {
  Nested nested{in->below(kMostTraps), nullptr};
  const std::uint32_t times = 1 + in->below(40);
  const std::string part = in->line();
  std::string text;
  for (std::uint32_t i = 0; i < times; ++i) text += part;
  nested.text = text.c_str();
  const std::uint32_t traps = nested.traps;
  const Raised r = raised([&] { return raise_nested(nested); });
  Texts right{message_of(text)};
  if (traps != 0) right.emplace_back("title\n");
  claim(r.status == 1 && r.texts == right,
        [&] { return "the message is shown with its title: " + r.text(); });
}

void check_display(FuzzBytes* in) {
  const std::string first = in->line();
  const std::string second = in->line();
  const std::size_t before = displayed().size();
  (void)osdll_display("%s-%u-%s", first.c_str(), 7u, second.c_str());
  claim(displayed().size() == before + 1, "one text is shown");
  claim(displayed().back() == std::string(first.c_str()) + "-7-" + second.c_str(), "a text is shown whole");
}

void check_system_text(FuzzBytes* in) {
  const std::uint32_t code = in->below(2) != 0 ? in->below(1200) : in->below(0xFFFFFFFF);
  const std::uint32_t size = in->below(200);
  const auto text = std::make_unique<char[]>(size);
  if (size != 0) std::memset(text.get(), '#', size);
  const std::uint32_t length = os->format_message(0x1200, nullptr, code, 0x400, text.get(), size, nullptr);
  if (length == 0) {
    claim(size == 0 || text[0] == '#', "a text that does not fit leaves its place alone");
  } else {
    claim(length < size && std::strlen(text.get()) == length, "a text fits with its zero");
    claim(std::strcmp(text.get() + length - 2, "\r\n") == 0, "a text ends its line");
  }
  const std::string name = in->line();
  const std::size_t shown = std::strlen(ntstrerror(code));
  claim(shown < kMessageTextBytes, "a system text fits its area");
  fs_errno = code;
  const Raised r = raised([&] { osdll_perror(name.c_str()); });
  claim(r.text() == std::string(name.c_str()) + ":\n" + ntstrerror(code) + "\n",
        "a system error has its text");
}

void check_arguments(FuzzBytes* in) {
  Texts arguments;
  for (std::uint32_t n = in->below(12); n > 0; --n) arguments.push_back(message_of(in->line()));
  for (std::string& argument : arguments) argument.pop_back();
  ArgVector args(arguments);
  const Texts left = args.left();
  std::string right;
  for (std::size_t i = 0; i < left.size(); ++i) {
    right += (i == 0 ? "" : i + 1 == left.size() ? " and " : ",") + left[i];
  }
  right += left.size() == 1 ? " is an invalid argument\n" : " are invalid arguments\n";
  const Raised r = raised([&] { chkcmd(args.argc(), args.argv()); });
  claim(r.caught != left.empty(), "what is left is refused");
  claim(left.empty() || r.text() == right, [&] { return "it is named: " + r.text() + " not " + right; });
}

Texts g_shown;
void show(const char* text) { g_shown.emplace_back(text); }

// What the steps run in.
void furnish(World& world) {
  world.sim().set_memory(std::uint64_t{1} << 22);
  world.sim().set_standard(kStdInput, kFileTypePipe, "b\na\n");
  world.sim().set_standard(kStdOutput, kFileTypePipe, "");
  world.allow_any_file();
}

// The same command that fails, once with a display callback and once with the buffer. Each sort has a world
// of its own: the first one leaves nothing on standard input, and may leave a file that the second one would
// read.
void check_buffer(FuzzBytes* in, std::uint8_t seed) {
  const std::string command = in->take(in->below(FSORT_MAX_COMMAND + 20));
  const auto status_and_message = [&](fsort_display_fn display) {
    World world(seed);
    furnish(world);
    fsort_handle handle = FsortCreate(display, nullptr);
    const std::int32_t status = FsortStart(handle, nullptr, nullptr, command.c_str());
    const std::string message = FsortMessage(handle);
    FsortDestroy(handle);
    return std::pair(status, message);
  };
  g_shown.clear();
  const auto [status, nothing] = status_and_message(show);
  std::string all;
  for (const std::string& text : g_shown) all += text;
  const auto [same_status, message] = status_and_message(nullptr);
  claim(same_status == status, "both sorts end alike");
  claim(message.size() <= FSORT_MAX_MESSAGE, "a message has at most 256 characters");
  if (status == 0) return;  // the times of two sorts differ
  const std::size_t common = FSORT_MAX_MESSAGE - 1;
  claim(message.substr(0, common) == all.substr(0, common), "the buffer holds the beginning: " + message);
}

void run(FuzzBytes in) {
  const std::uint8_t seed = in.byte();
  static constexpr std::array<void (*)(FuzzBytes*), 4> kSteps = {check_raise, check_display,
                                                                 check_system_text, check_arguments};
  while (!in.empty()) {
    const std::uint32_t step = in.below(kSteps.size() + 1);
    if (step == kSteps.size()) {
      check_buffer(&in, seed);
      continue;
    }
    World world(seed);
    furnish(world);
    LiveInstance instance;
    kSteps[step](&in);
  }
}

}  // namespace
}  // namespace fsort::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fsort::fuzz::run({data, size});
  return 0;
}
