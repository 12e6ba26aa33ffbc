// Lines shown about a running sort, and fixed texts of the driver; see report.h.
#include "engine/report.h"

#include "engine/engine_access.h"
#include "platform/os.h"

namespace fsort {

const char* const kUsageText1 =
    "<fsort command> :=\n    fsort < <input file> ><output file> <command line>\n\n"
    "<command line> := [<global option>...] [<key field>...]\n\n"
    "<global option> :=\n    | [{-rt [<size>] | -rv [<range> [<size>] ] | -rf <size> }]\n"
    "    | [-w [<dir>]] [-u] [-t <range> ...] [-i][-b <range> ...] ]\n"
    "    | [-mcf] [-mcr] [-mfr] [-q] [-v]\n"
    "    | [-m <memory size>] [-l <mem segment size>]\n"
    "    | [-bs <buffer size>] [-ibs <buffer size>] [-obs <buffer_size>]\n"
    "    | [-wb <buffer size>] [-rb <buffer size>]\n";

const char* const kUsageText2 =
    "<key field> :=\n    | <key> [<field list>...]\n    | ( <key field> ...)\n\n"
    "<key> :=\n    | -k <range> ...\n    | -n <range> ... [-d <decimal count>]\n    | -s <range> ...\n\n"
    "<field list> := [<local options>] [-f <range>...] [-c <range>...]\n\n"
    "<local options> :=\n    | -i [<local options>]\n    | -b [<local options>]\n";

const char kPathologicalText[] =
    "This is a pathological case for fsort.\n"
    "Try one or more of the following:\n"
    "1. Reduce number of bytes in sorting keys\n"
    "2. Use -k switch to specify characters in keys\n"
    "3. Use -l switch to increase segment size\n"
    "4. Use -m switch to reduce memory reserved for data\n";

namespace {

constexpr std::int64_t kClockPerSecond = 1000;
constexpr std::int64_t kSecondsPerMinute = 60;

unsigned used_kb(const Stack* stack) {
  return static_cast<unsigned>(std::uint64_t{driver_st().segment_kb} * stk_segments(stack) -
                               stk_free_bytes(stack) / 1024);
}

}  // namespace

std::int64_t display_in(std::uint32_t key, std::int32_t digit, std::uint32_t bin, std::uint64_t records,
                        const Environment* environment, bool subdivide) {
  const DriverState& d = driver_st();
  const int indent = d.depth > 1 ? d.depth - 1 : 0;
  if (subdivide) osdll_display("%*sSubdivide\n", indent, "");
  const std::uint64_t unused = d.segment_kb * stk_unused() + stk_free_bytes(d.data_stack) / 1024;
  osdll_display("%*sk=%d, d=%d si=%d data=%uK sub=%uK unused=%uK #records=%lu bins=%u\n", indent, "",
                static_cast<int>(key), static_cast<int>(digit), static_cast<int>(bin), used_kb(d.data_stack),
                used_kb(d.sublist_stack), static_cast<unsigned>(unused), static_cast<unsigned long>(records),
                static_cast<unsigned>(environment->array.count));
  return os->clock();
}

void display_out(std::int64_t start) {
  const int depth = driver_st().depth > 0 ? driver_st().depth : 0;
  const auto seconds = static_cast<int>((os->clock() - start) / kClockPerSecond);
  osdll_display("%*ssystem time = %01i:%02i\n", depth, "", static_cast<int>(seconds / kSecondsPerMinute),
                static_cast<int>(seconds % kSecondsPerMinute));
}

void display_etime(std::int64_t seconds) {
  osdll_display("elapsed time = %01i:%02i\n", static_cast<int>(seconds / kSecondsPerMinute),
                static_cast<int>(seconds % kSecondsPerMinute));
}

}  // namespace fsort
