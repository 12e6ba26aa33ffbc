// Options of the work files, set-up and clean-up of the sublist module.
//
// The two block buffers serve whatever work file is open: one for reading, one for writing. The module holds
// a buffer while no file does (work_file.cpp moves them).
#include <cstring>

#include "cmdline/arg.h"
#include "keys/record.h"
#include "platform/os.h"
#include "stream/stream.h"
#include "sublist/sublist.h"
#include "sublist/sublist_access.h"
#include "sublist/work_file.h"
#include "sublist/work_name.h"
#include "support/error.h"
#include "support/exit.h"

namespace fsort {
namespace {

constexpr std::uint32_t kKilobyte = 1024;
constexpr int kBuffersEach = 2;

// Takes a block-size option; its value in KB within the limits, or the default when it is not given.
std::uint16_t take_block_size(std::int32_t argc, const char** argv, const char* option, const char* message) {
  const std::uint32_t at = arg_find(argc, argv, option);
  if (at == kArgNotFound) return kDefaultBlockKb;
  arg_blank(argv, at);
  if (!arg_operand(argc, argv, at + 1)) ErrorReturn(kErrorCode, message);
  std::uint16_t size_kb = 0;
  arg_value(argv[at + 1], &size_kb, kScaleKilo);
  arg_blank(argv, at + 1);
  if (size_kb < kMinBlockKb) return kMinBlockKb;
  return size_kb > kMaxBlockKb ? kMaxBlockKb : size_kb;
}

// Takes -w; the directory it names (empty: the current one), or null when it is not given.
const char* take_directory(std::int32_t argc, const char** argv) {
  const std::uint32_t at = arg_find(argc, argv, "-w");
  if (at == kArgNotFound) return nullptr;
  arg_blank(argv, at);
  if (!arg_operand(argc, argv, at + 1)) return "";
  const char* directory = argv[at + 1];
  arg_blank(argv, at + 1);
  return directory;
}

void reset(SublistState& s) {
  s.empty = Sublist{};
  s.empty.run_pos = kNoRun;
  s.file_counter = 0;
  s.reading = nullptr;
  s.reading_array = nullptr;
  s.reading_bin = 0;
  s.preload_boundary = 0;
  s.preload_done = 0;
  s.delinked = nullptr;
  s.longest_written = 0;
}

}  // namespace

void sublist_init(std::int32_t argc, const char** argv) {
  sublist_windup(current_instance);  // what an earlier start of this instance left
  SublistState& s = sublist_st();
  work_name_prefix(s, take_directory(argc, argv), sublist_instance_number());
  s.write_block_kb = take_block_size(argc, argv, "-wb", "-wb switch must specify block size in K");
  s.read_block_kb = take_block_size(argc, argv, "-rb", "-rb switch must specify block size in K");
  reset(s);
  if (ExitRegister(sublist_windup) != 0) ErrorReturn(kErrorCode, "Couldn't register sublist_windup");
  rec_init(argc, argv);
  s.input_buffer = fmakebuf(s.read_block_kb * kKilobyte, kBuffersEach);
  if (s.input_buffer == nullptr) ErrorReturn(kErrorCode, "Couldn't get memory for workfile input buffer");
  s.output_buffer = fmakebuf(s.write_block_kb * kKilobyte, kBuffersEach);
  if (s.output_buffer == nullptr) ErrorReturn(kErrorCode, "Couldn't get memory for workfile output buffer");
}

const SublistState& sublist_state() { return sublist_st(); }

void sublist_windup(Instance* instance) {
  SublistState& s = instance->sublist;
  // Levels are cleaned up after this windup and delete their files then: they must find them closed.
  if (s.open_input != nullptr) work_file_drop(s, s.open_input);
  if (s.open_output != nullptr) work_file_drop(s, s.open_output);
  BufferChain input = s.input_buffer;
  BufferChain output = s.output_buffer;
  s.input_buffer = nullptr;
  s.output_buffer = nullptr;
  if (input != nullptr) ffreebuf(input);
  if (output != nullptr) ffreebuf(output);
}

}  // namespace fsort
