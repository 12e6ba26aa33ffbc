// Faults and the messages that they may lead to. See the header.
//
// The table says by call what a failing sort may say: a text may only follow from the calls of its row,
// and it stands in front of the titles of its step, nothing else. A text that no row has fails the campaign.
#include "torture/injection.h"

#include <algorithm>

#include "platform/os.h"

namespace fsort_test {
namespace {

using fsort::test::Lasting;
using fsort::test::OsCall;

// The steps that a message can end; each has its titles.
enum class Step { expand, files, options, call, read, write, windup };

struct MessageRow {
  const char* text;  // "%s" stands for the name of an input file
  bool reason;       // the system's text follows
  std::vector<Step> steps;
  std::vector<OsCall> calls;
};

const std::vector<OsCall> kMakeBuffer = {OsCall::kHeapAlloc, OsCall::kEvent};
const std::vector<OsCall> kOpenStream = {OsCall::kOpen, OsCall::kHeapAlloc};

constexpr char kUnexpectedEnd[] = "Unexpected end of file on sio_read";

const std::vector<MessageRow>& messages() {
  static const std::vector<MessageRow> kRows = {
      {"Couldn't open include file",
       false,
       {Step::expand},
       {OsCall::kOpen, OsCall::kRead, OsCall::kHeapAlloc, OsCall::kEvent, OsCall::kSeek}},
      {"File open failed on %s", true, {Step::files, Step::read}, kOpenStream},
      {"Couldn't get memory for file name list", false, {Step::files}, {OsCall::kHeapAlloc}},
      {"Couldn't allocate memory for input file buffer", false, {Step::files}, kMakeBuffer},
      {"Couldn't allocate output buffer", false, {Step::files}, kMakeBuffer},
      {"Couldn't allocate memory for a record buffer",
       false,
       {Step::files, Step::read},
       {OsCall::kHeapAlloc}},
      {"Error attempting to close input file",
       true,
       {Step::files, Step::read, Step::windup},
       {OsCall::kClose}},
      {"Programming error in rin_read", false, {Step::read}, {OsCall::kRead, OsCall::kSeek}},
      {"Couldn't get memory for workfile input buffer", false, {Step::options}, kMakeBuffer},
      {"Couldn't get memory for workfile output buffer", false, {Step::options}, kMakeBuffer},
      {"Couldn't get memory for sequence table", false, {Step::options}, {OsCall::kHeapAlloc}},
      {"Failed to get memory for tab pointer array", false, {Step::options}, {OsCall::kHeapAlloc}},
      {"Insufficient memory available",
       false,
       {Step::options, Step::call},
       {OsCall::kHeapAlloc, OsCall::kRegionAlloc}},
      {"Failed to allocate any memory", false, {Step::options}, {OsCall::kRegionAlloc}},
      {"Unable to allocate memory for data", false, {Step::call}, {OsCall::kRegionAlloc}},
      {"This is a pathological case for fsort.\nTry one or more of the following:\n"
       "1. Reduce number of bytes in sorting keys\n2. Use -k switch to specify characters in keys\n"
       "3. Use -l switch to increase segment size\n4. Use -m switch to reduce memory reserved for data\n",
       false,
       {Step::call},
       {OsCall::kRegionAlloc}},
      {"Error trying to write record from fsort", false, {Step::call}, {OsCall::kHeapAlloc}},
      {"Couldn't open working file for writing", true, {Step::call}, kOpenStream},
      {"Couldn't open working file for appending",
       true,
       {Step::call},
       {OsCall::kOpen, OsCall::kHeapAlloc, OsCall::kSeek}},
      {"Couldn't open working file for reading", true, {Step::call}, kOpenStream},
      {"Space exhausted while writing work file",
       true,
       {Step::call},
       {OsCall::kWrite, OsCall::kResult, OsCall::kSeek}},
      {"Error attempting to close file:Check disk space", true, {Step::call}, {OsCall::kClose}},
      {"Programming error in sio_read", false, {Step::call}, {OsCall::kRead, OsCall::kResult, OsCall::kSeek}},
      {kUnexpectedEnd, false, {Step::call}, {OsCall::kRead}},
      {"Opening output file", true, {Step::write}, kOpenStream},
      {"Space exhausted while writing output file",
       true,
       {Step::write, Step::windup},
       {OsCall::kWrite, OsCall::kResult, OsCall::kSeek}},
      {"Error attempting to close record output file", true, {Step::write, Step::windup}, {OsCall::kClose}},
  };
  return kRows;
}

constexpr char kCallTitle[] = "Error detected in fsort call";

Texts titles(Step step, const std::string& reader) {
  switch (step) {
    case Step::expand:
      return {"Error detected while expanding command line"};
    case Step::files:
      return {"Error detected during i/o initialization"};
    case Step::options:
      return {"Error detected in fsort initialization"};
    case Step::call:
      return {kCallTitle};
    case Step::read:
      return {reader, "Error encountered on reading record", kCallTitle};
    case Step::write:
      return {"Error writing record to output", "Error trying to write record from fsort", kCallTitle};
    case Step::windup:
      return {"Error During Windup"};
  }
  return {};
}

// What the system says about the fault.
std::string reason(const Injection& fault) {
  if (fault.textless) return "";
  const std::uint32_t code = fault.half ? fsort::kErrorDiskFull : fault.code;
  char text[200];
  const std::uint32_t length =
      fsort::os->format_message(0x1200, nullptr, code, 0x400, text, sizeof text, nullptr);
  return std::string(text, length != 0 ? length - 1 : 0);
}

bool has(const std::vector<OsCall>& calls, OsCall call) {
  return std::find(calls.begin(), calls.end(), call) != calls.end();
}

// A write that was shortened is a full disk. A shortened read is continued where it broke off; only a work
// file that for good gives no whole sector cannot be, and seems to end there.
bool suits(const MessageRow& row, const Injection& fault) {
  if (!has(row.calls, fault.call)) return false;
  const bool no_whole_sector =
      fault.half && fault.call == OsCall::kRead && fault.lasting == Lasting::kForGood;
  if (row.text == std::string(kUnexpectedEnd)) return no_whole_sector;
  return !fault.half || fault.call == OsCall::kWrite;
}

bool is_message(const MessageRow& row, Step step, const Injection& fault, const std::string& name,
                const std::string& reader, const Texts& texts) {
  std::string first = row.text;
  if (const std::size_t at = first.find("%s"); at != std::string::npos) first.replace(at, 2, name);
  if (row.reason) first += ":\n" + reason(fault);
  Texts all = titles(step, reader);
  all.insert(all.begin(), first);
  for (std::string& text : all) text += "\n";
  return texts == all;
}

std::string find_message(bool windup, const Injection& fault, const Texts& inputs, const std::string& reader,
                         const Texts& texts) {
  for (const MessageRow& row : messages()) {
    if (!suits(row, fault)) continue;
    for (const Step step : row.steps) {
      if ((step == Step::windup) != windup) continue;
      const bool found = std::any_of(inputs.begin(), inputs.end(), [&](const std::string& name) {
        return is_message(row, step, fault, name, reader, texts);
      });
      if (found) return row.text;
    }
  }
  return "";
}

struct CallName {
  OsCall call;
  const char* name;
};

constexpr CallName kCallNames[] = {
    {OsCall::kOpen, "open"},
    {OsCall::kRead, "read"},
    {OsCall::kWrite, "write"},
    {OsCall::kResult, "wait for a transfer"},
    {OsCall::kEvent, "event"},
    {OsCall::kClose, "close"},
    {OsCall::kSeek, "seek"},
    {OsCall::kSetEnd, "extend or cut"},
    {OsCall::kFlush, "flush"},
    {OsCall::kDelete, "delete"},
    {OsCall::kHeapAlloc, "allocation"},
    {OsCall::kRegionAlloc, "allocation of segments"},
    {OsCall::kVersion, "version of the system"},
};

}  // namespace

std::string Injection::call_name() const {
  for (const CallName& row : kCallNames) {
    if (row.call == call) return row.name;
  }
  return "?";
}

std::string Injection::mode_name() const {
  return std::string(half ? "short" : "fails") + (lasting == Lasting::kOnce ? ", once" : ", for good");
}

std::string Injection::name() const {
  return call_name() + " " + std::to_string(n) + " " + mode_name() +
         (half ? "" : ", code " + std::to_string(code)) + (textless ? ", without a text" : "");
}

const std::vector<FaultKind>& fault_kinds() {
  static const std::vector<FaultKind> kKinds = [] {
    using fsort::kErrorAccessDenied, fsort::kErrorDiskFull, fsort::kErrorIoDevice,
        fsort::kErrorNotEnoughMemory, fsort::kErrorSharingViolation, fsort::kErrorTooManyOpenFiles,
        fsort::kErrorPathNotFound, fsort::kErrorWriteProtect, fsort::kErrorNegativeSeek,
        fsort::kErrorFileExists;
    constexpr std::uint32_t kBadSector = 23;
    const std::vector<std::pair<OsCall, std::vector<std::uint32_t>>> failing = {
        {OsCall::kOpen,
         {kErrorAccessDenied, kErrorTooManyOpenFiles, kErrorSharingViolation, kErrorPathNotFound,
          kErrorDiskFull}},
        {OsCall::kRead, {kErrorIoDevice, kBadSector, kErrorAccessDenied}},
        {OsCall::kWrite, {kErrorDiskFull, kErrorIoDevice, kErrorWriteProtect}},
        {OsCall::kResult, {kErrorIoDevice, kErrorDiskFull}},
        {OsCall::kEvent, {kErrorNotEnoughMemory}},
        {OsCall::kClose, {kErrorIoDevice, kErrorDiskFull}},
        {OsCall::kSeek, {kErrorIoDevice, kErrorNegativeSeek}},
        {OsCall::kSetEnd, {kErrorDiskFull, kErrorIoDevice}},
        {OsCall::kFlush, {kErrorIoDevice}},
        {OsCall::kDelete, {kErrorAccessDenied, kErrorSharingViolation}},
        {OsCall::kHeapAlloc, {kErrorNotEnoughMemory}},
        {OsCall::kRegionAlloc, {kErrorNotEnoughMemory}},
        {OsCall::kVersion, {kErrorAccessDenied}},
    };
    std::vector<FaultKind> kinds;
    for (const Lasting lasting : {Lasting::kOnce, Lasting::kForGood}) {
      for (const auto& [call, codes] : failing) kinds.push_back({call, lasting, false, codes});
      kinds.push_back({OsCall::kRead, lasting, true, {0}});
      kinds.push_back({OsCall::kWrite, lasting, true, {0}});
    }
    // A name that exists already is passed over; once only, for there is always a free one.
    kinds.push_back({OsCall::kOpen, Lasting::kOnce, false, {kErrorFileExists}});
    return kinds;
  }();
  return kKinds;
}

std::string allowed_failure(const Scenario& scenario, const Injection& fault, const Texts& inputs,
                            const Texts& texts) {
  return find_message(false, fault, inputs.empty() ? Texts{""} : inputs, scenario.title, texts);
}

std::string allowed_at_destruction(const Injection& fault, const Texts& texts) {
  return find_message(true, fault, {""}, "", texts);
}

bool allowed_at_creation(const Injection& fault, const Texts& texts) {
  if (fault.call != OsCall::kHeapAlloc) return false;
  return texts.empty() || texts == Texts{"Failed to allocated memory for fsort stack\n"};
}

}  // namespace fsort_test
