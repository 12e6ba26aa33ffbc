// Initialisation of a sort: global options, the modules below, the memory plan.
//
// The plan. The input's size (-fs) over the record size (-rs) estimates the record count; records cost their
// bytes, their header and 9 more in memory. Memory (-m, else that estimate, at most what the machine has) is
// cut into segments. From the segments follow: when a bin is worth subdividing (subdivide_kb), and how much
// of the data stack one frame spans (frame_limit).
#include <cstring>

#include "cmdline/arg.h"
#include "engine/array_sort.h"
#include "engine/descent.h"
#include "engine/distribute.h"
#include "engine/driver.h"
#include "engine/engine_access.h"
#include "engine/environment.h"
#include "engine/key_view.h"
#include "engine/output_check.h"
#include "engine/report.h"
#include "engine/tuning.h"
#include "platform/os.h"
#include "sublist/sublist.h"
#include "support/error.h"
#include "support/exit.h"

namespace fsort {

namespace {

constexpr std::int16_t kQuiet = -1;
constexpr std::int16_t kVerbose = 100;
constexpr std::uint64_t kMaxRecordCount = 0xFFFFFFFF;
constexpr std::uint32_t kOldSystemMajor = 4;
constexpr std::uint64_t kOldSystemKb = 4096;
constexpr std::uint64_t kReservedKb = 32768;  // left to everything else on the machine
constexpr std::uint64_t kKilo = 1024;

struct Vector {
  std::int32_t argc;
  const char** argv;
  ReadFunction input;
  WriteFunction output;
};

// Takes an option without operand; true when it was there.
bool take_flag(const Vector& v, const char* name) {
  const std::uint32_t at = arg_find(v.argc, v.argv, name);
  if (at == kArgNotFound) return false;
  arg_blank(v.argv, at);
  return true;
}

// Takes an option and its operand, if it has one; true when the operand was there.
bool take_operand(const Vector& v, const char* name, const char** operand) {
  const std::uint32_t at = arg_find(v.argc, v.argv, name);
  if (at == kArgNotFound) return false;
  arg_blank(v.argv, at);
  if (!arg_operand(v.argc, v.argv, at + 1)) return false;
  *operand = v.argv[at + 1];
  arg_blank(v.argv, at + 1);
  return true;
}

void reset(const Vector& v) {
  array_sort_free();
  hint_rings_free();
  descent_free();
  levels_drop();
  DriverState& d = driver_st();
  // Stacks of an earlier start that failed hold its whole memory.
  if (d.data_stack != nullptr) stk_free(d.data_stack);
  if (d.sublist_stack != nullptr) stk_free(d.sublist_stack);
  const std::uint8_t plain_levels = d.plain_levels;
  const std::uint8_t check_wanted = d.check.wanted;
  output_check_free();
  d = DriverState{};
  d.plain_levels = plain_levels;
  d.check.wanted = check_wanted;
  d.segment_kb = kDefaultSegmentKb;
  d.subdivide_kb = kMinSubdivideKb;
  d.input = v.input;
  d.output = v.output;
  sort_st() = SortState{};
}

// -u, -v, -l, -fs, -rs, -m. Result: the record-size estimate.
std::uint16_t take_options(const Vector& v) {
  DriverState& d = driver_st();
  const char* operand = nullptr;
  std::uint16_t record_size = 0;
  d.unique = take_flag(v, "-u") ? 1 : 0;
  const bool verbose = arg_find(v.argc, v.argv, "-v") != kArgNotFound;
  if (verbose) d.verbosity = kVerbose;
  if (take_operand(v, "-v", &operand)) {
    std::uint16_t level = 0;
    arg_value(operand, &level, kScaleBytes);
    d.verbosity = static_cast<std::int16_t>(level);
  }
  if (take_operand(v, "-l", &operand)) arg_lvalue(operand, &d.segment_kb, kScaleKilo);
  if (d.segment_kb > kMaxSegmentKb) ErrorReturn(kErrorCode, "Segment length too large");
  std::uint32_t size_kb = 0;
  if (take_operand(v, "-fs", &operand)) arg_lvalue(operand, &size_kb, kScaleKilo);
  d.file_kb = size_kb;
  if (take_operand(v, "-rs", &operand)) arg_value(operand, &record_size, kScaleBytes);
  std::uint32_t memory_kb = 0;
  if (take_operand(v, "-m", &operand)) arg_lvalue(operand, &memory_kb, kScaleKilo);
  d.memory_kb = memory_kb;
  d.memory_given = memory_kb != 0 ? 1 : 0;
  return record_size != 0 ? record_size : kDefaultRecordSize;
}

// From the estimates to bytes of record memory expected.
void estimate(std::uint16_t record_size) {
  DriverState& d = driver_st();
  if (d.file_kb == 0) d.file_kb = kDefaultFileKb;
  d.record_count = d.file_kb * kKilo / record_size;
  if (d.record_count > kMaxRecordCount) d.record_count = kMaxRecordCount;
  const std::uint64_t cost = std::uint64_t{record_size} + key_record_header_bytes() + kRecordOverhead;
  d.file_kb = d.record_count * cost / kKilo;
  d.data_left = d.file_kb * kKilo;
}

// Segments, budget and thresholds.
void plan_memory() {
  DriverState& d = driver_st();
  if (d.memory_given == 0) {
    d.memory_kb = d.file_kb + 1;
    d.machine_kb = os_memsize();
    if (d.machine_kb >= 1 && d.machine_kb < d.memory_kb) d.memory_kb = d.machine_kb;
  }
  const std::uint64_t wanted = d.memory_kb / d.segment_kb + kMinSegments;
  const std::int64_t got =
      stk_init(static_cast<std::uint32_t>(d.segment_kb * kKilo), static_cast<std::int64_t>(wanted));
  if (got < static_cast<std::int64_t>(kMinSegments)) ErrorReturn(kErrorCode, "Insufficient memory available");
  const auto segments = static_cast<std::uint64_t>(got);
  d.memory_kb = segments * d.segment_kb;
  const std::uint64_t levels = d.file_kb / d.segment_kb / d.segment_kb + 1;
  d.subdivide_kb = static_cast<std::int64_t>(segments * segments / levels + 1);
  if (d.subdivide_kb < kMinSubdivideKb) d.subdivide_kb = kMinSubdivideKb;
  const std::uint64_t segment_bytes = d.segment_kb * kKilo;
  d.frame_limit = segments >= kFramesPerPlan ? segments * segment_bytes / kFramesPerPlan : segment_bytes;
}

int initialise(Vector& v) {
  DriverState& d = driver_st();
  if (take_flag(v, "-q")) d.verbosity = kQuiet;
  if (take_flag(v, "-h")) {
    osdll_display("%s", kUsageText1);
    osdll_display("%s", kUsageText2);
    trap_leave_set();
    return 1;
  }
  const std::uint16_t record_size = take_options(v);
  if (ExitRegister(fsort_windup) != 0) ErrorReturn(kErrorCode, "Couldn't register fsort_windup");
  sublist_init(v.argc, v.argv);
  key_view_init();
  output_check_begin();
  // Made before the allocator knows its segment size: an empty stack then counts nothing as used.
  d.sublist_stack = stk_alloc();
  d.data_stack = stk_alloc();
  if (d.sublist_stack == nullptr || d.data_stack == nullptr) {
    ErrorReturn(kErrorCode, "Insufficient memory available");
  }
  const std::uint64_t segment_bytes = d.segment_kb * kKilo;
  if (segment_bytes < environment_bytes(1)) ErrorReturn(kErrorCode, "Segment length too small");
  const std::uint64_t bins = (segment_bytes - kEnvironmentHeadBytes) / sizeof(Sublist);
  d.bins_per_segment = static_cast<std::uint32_t>(bins < kMaxBins ? bins : kMaxBins);
  estimate(record_size);
  plan_memory();
  chkcmd(v.argc, v.argv);
  if (d.verbosity > 0) osdll_display("Segment length = %u\r\n", d.segment_kb);
  return 0;
}

}  // namespace

int fsort_init(ReadFunction input, WriteFunction output, std::int32_t argc, const char** argv) {
  Vector v{argc, argv, input, output};
  reset(v);
  return trap_run(kTrapLevel, "Error detected in fsort initialization", initialise, v);
}

void chkcmd(std::int32_t argc, const char* const* argv) {
  // Arguments come from a vector of at most kArgumentTextBytes of text, so this room suffices for all of them
  // and the words between; a longer list from elsewhere is cut.
  constexpr std::size_t kRoom = 16384;
  constexpr std::size_t kLongestJoint = sizeof(" are invalid arguments");
  char text[kRoom];
  std::size_t at = 0;
  std::int32_t left = 0;
  for (std::int32_t i = 1; i < argc; ++i) left += argv[i][0] != '\0' ? 1 : 0;
  if (left == 0) return;
  const char* const ending = left == 1 ? " is an invalid argument" : " are invalid arguments";
  std::int32_t shown = 0;
  for (std::int32_t i = 1; i < argc; ++i) {
    const std::size_t length = std::strlen(argv[i]);
    if (length == 0) continue;
    const char* joint = shown == 0 ? "" : shown == left - 1 ? " and " : ",";
    if (at + std::strlen(joint) + length + kLongestJoint > kRoom) break;
    const std::size_t joint_length = std::strlen(joint);
    std::memcpy(text + at, joint, joint_length);
    at += joint_length;
    std::memcpy(text + at, argv[i], length);
    at += length;
    ++shown;
  }
  text[at] = '\0';
  osdll_error("%s%s", text, ending);
}

const DriverState& driver_state() { return driver_st(); }

void levels_drop() {
  DriverState& d = driver_st();
  Environment* root = d.environment;
  d.environment = nullptr;
  environment_cleanup(root);
}

void fsort_windup(Instance* /*instance*/) {
  levels_drop();
  DriverState& d = driver_st();
  if (d.data_stack != nullptr) stk_free(d.data_stack);
  d.data_stack = nullptr;
  if (d.sublist_stack != nullptr) stk_free(d.sublist_stack);
  d.sublist_stack = nullptr;
  array_sort_free();
  hint_rings_free();
  descent_free();
  output_check_free();
}

std::uint64_t os_memsize() {
  if ((os->get_version() & 0xFF) < kOldSystemMajor) return kOldSystemKb;
  MemoryStatus status{};
  status.length = sizeof(status);
  os->global_memory_status(&status);
  const std::uint64_t total_kb = status.total_phys / kKilo;
  return total_kb < kReservedKb ? total_kb / 2 : total_kb - kReservedKb;
}

}  // namespace fsort
