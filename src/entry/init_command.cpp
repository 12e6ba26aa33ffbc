// From the caller's arguments to an initialised sort. See init_command.h.
//
// Both entries end in the same call, fsort_init(input function, output function, vector). They differ in
// where the arguments come from (one string, or a vector that is already split), in the default of input and
// output (none, or the standard streams), and in how the estimates "-fs" and "-rs" are written.
//
// The final vector of InitCommand, front slots first; initcmd has one reserved slot less:
//
//   [fsort] ["-fs" or ""] [KB or ""] ["-rs" or ""] [bytes or ""] [the caller's arguments ...] null
//
// The estimates help the driver to plan memory. They are inserted only where the caller gave none, so an
// explicit value is never overridden; empty arguments are skipped by everyone.
#include "entry/init_command.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "cmdline/arg.h"
#include "cmdline/cl_expand.h"
#include "cmdline/cl_split.h"
#include "engine/driver.h"
#include "entry/callbacks.h"
#include "entry/entry_access.h"
#include "entry/pipe.h"
#include "recio/rio.h"

namespace fsort {

constinit ReadFunction file_read = nullptr;
constinit WriteFunction file_write = nullptr;

namespace {

constexpr std::int32_t kFrontSlots = 5;     // command name, "-fs", its value, "-rs", its value
constexpr std::int32_t kReservedSlots = 4;  // the same without the command name
constexpr std::uint32_t kFileSizeSlot = 1;
constexpr std::uint32_t kRecordSizeSlot = 3;
constexpr unsigned kKiloShift = 10;
constexpr std::uint64_t kMaxFileKb = 4294967295;  // what "-fs" can take; unknown sizes lie far above
constexpr std::size_t kNumberChars = 24;

// An argument vector under construction. The texts of the inserted values have their own room: the text area
// may be full to the last byte.
struct ArgumentVector {
  const char* slots[static_cast<std::uint32_t>(kFrontSlots) + kArgumentSlots + 1];
  char text[kArgumentTextBytes];
  char file_size[kNumberChars];
  char record_size[kNumberChars];
};

struct InitArguments {
  ReadFunction input;
  WriteFunction output;
  const char* command;
};

void insert_option(ArgumentVector& v, std::uint32_t slot, const char* name, const char* value) {
  v.slots[slot] = name;
  v.slots[slot + 1] = value;
}

bool lacks(const ArgumentVector& v, std::int32_t argc, const char* option) {
  return arg_find(argc, v.slots, option) == kArgNotFound;
}

// Splits and expands the command into the slots behind the front ones. Result: 0, or 1 after an error.
int expand_command(const char* command, ArgumentVector& v, std::int32_t* argc) {
  const char* split[kMaxSplitArguments];
  char split_text[kSplitTextBytes];
  std::int32_t split_count = 0;
  cl_parse(&split_count, split, command, split_text);
  *argc = static_cast<std::int32_t>(kArgumentSlots);
  if (cl_copy(argc, v.slots + kFrontSlots, split_count, split, kArgumentTextBytes, v.text) != 0) return 1;
  v.slots[0] = "fsort";
  for (std::int32_t i = 1; i < kFrontSlots; ++i) v.slots[i] = "";
  *argc += kFrontSlots;
  return 0;
}

void insert_estimates(const RecordDescription& d, ArgumentVector& v, std::int32_t argc) {
  if (d.input_size > 0 && lacks(v, argc, "-fs")) {
    const std::uint64_t kb = d.input_size >> kKiloShift;
    std::snprintf(v.file_size, sizeof v.file_size, "%" PRIu64, kb < kMaxFileKb ? kb : kMaxFileKb);
    insert_option(v, kFileSizeSlot, "-fs", v.file_size);
  }
  if (d.record_length > 0 && lacks(v, argc, "-rs")) {
    std::snprintf(v.record_size, sizeof v.record_size, "%u", static_cast<unsigned>(d.record_length));
    insert_option(v, kRecordSizeSlot, "-rs", v.record_size);
  }
}

ReadFunction choose_input(ReadFunction argument) {
  EntryState& e = entry_st();
  if (argument == pipe_input()) return fsort_retrieve;
  if (argument == nullptr) return e.user_yield != nullptr ? yielding_read : file_read;
  e.user_read = argument;
  return UserRead;
}

WriteFunction choose_output(WriteFunction argument) {
  EntryState& e = entry_st();
  if (argument == pipe_output()) return fsort_send;
  if (argument == nullptr) return e.user_yield != nullptr ? yielding_write : file_write;
  e.user_write = argument;
  return UserWrite;
}

int init_from_command(const InitArguments& a) {
  ArgumentVector v;
  std::int32_t argc = 0;
  if (expand_command(a.command, v, &argc) != 0) return 1;
  RecordDescription d{};
  if (rio_init(&d, argc, v.slots) != 0) return 1;
  if (d.input_named != 0) {
    insert_estimates(d, v, argc);
    file_read = d.reader;
  } else if (a.input == nullptr) {
    osdll_display("Input function OR input file must be specified\n");
    return 1;
  }
  const ReadFunction input = choose_input(a.input);
  if (d.output_named != 0) {
    file_write = d.writer;
  } else if (a.output == nullptr) {
    osdll_display("Output function OR output file must be specified\n");
    return 1;
  }
  const WriteFunction output = choose_output(a.output);
  return fsort_init(input, output, argc, v.slots);
}

// Kept on purpose: once past the length check the trap stays set whatever comes of it. On success the sort
// runs beneath it.
int init_command_body(InitArguments& a) {
  if (std::strlen(a.command) > kMaxCommandChars) osdll_error("Command line too long");
  const int status = init_from_command(a);
  trap_leave_set();
  return status;
}

// Kept on purpose: this entry states the size in whole KB plus one and with a suffix, InitCommand in whole KB
// and without. For a file below 1 KB that is "1k" here and "0" there, which the driver takes as unknown.
void insert_argument_estimates(const RecordDescription& d, ArgumentVector& v, std::int32_t argc) {
  if (lacks(v, argc, "-fs")) {
    const std::uint64_t kb = (d.input_size >> kKiloShift) + 1;
    std::snprintf(v.file_size, sizeof v.file_size, "%" PRIu64 "k", kb < kMaxFileKb ? kb : kMaxFileKb);
    insert_option(v, kFileSizeSlot, "-fs", v.file_size);
  }
  if (lacks(v, argc, "-rs")) {
    std::snprintf(v.record_size, sizeof v.record_size, "%u", static_cast<unsigned>(d.record_length));
    insert_option(v, kRecordSizeSlot, "-rs", v.record_size);
  }
}

}  // namespace

int InitCommand(ReadFunction input, WriteFunction output, const char* command) {
  InitArguments a{input, output, command};
  return trap_run(kTrapLevel, "Fsort Initialization", init_command_body, a);
}

// The expanded vector stands behind the reserved slots with its command name in the last of them; once the
// readers and the writer have looked at it, the reserved slots take the command name's place.
int initcmd(std::int32_t argc, const char* const* argv) {
  ArgumentVector v;
  const char** expanded = v.slots + kReservedSlots;
  std::int32_t count = static_cast<std::int32_t>(kArgumentSlots);
  if (cl_copy(&count, expanded, argc, argv, kArgumentTextBytes, v.text) != 0) return 1;
  if (count == 0) {  // even the command name was expanded away
    expanded[0] = "";
    expanded[1] = nullptr;
    count = 1;
  }
  RecordDescription d{};
  if (rio_init(&d, count, expanded) != 0) return 1;
  v.slots[0] = argv[0];
  for (std::int32_t i = 1; i <= kReservedSlots; ++i) v.slots[i] = "";
  count += kReservedSlots;
  insert_argument_estimates(d, v, count);
  return fsort_init(d.reader, d.writer, count, v.slots);
}

std::int32_t yielding_read(std::uint64_t* length, const std::uint8_t** record) {
  UserYield();
  return file_read(length, record);
}

std::int32_t yielding_write(std::uint64_t length, const std::uint8_t* record) {
  UserYield();
  return file_write(length, record);
}

}  // namespace fsort
