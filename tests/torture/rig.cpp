// One fault and everything around it. See the header.
#include "torture/rig.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <memory>
#include <thread>

#include "entry/instance.h"
#include "entry/start_arguments.h"
#include "fsort.h"
#include "platform/os.h"
#include "support/key_gen.h"

namespace fsort_test {
namespace {

namespace fs = std::filesystem;
using fsort::Handle;
using fsort::test::FaultOs;
using fsort::test::Lasting;
using fsort::test::OsCall;
using Records = std::vector<std::string>;

// --- records and texts on their way ------------------------------------------------------------------------

// What the callbacks of a sort work on; they have no argument of their own.
struct Traffic {
  const Records* input = nullptr;
  std::size_t next = 0;
  Records output;
  Texts texts;
  std::function<void()> in_the_middle;
};

Traffic tortured;
Traffic neighbour;

std::int32_t give(Traffic* traffic, std::uint64_t* length, const void** record) {
  *length = 0;
  *record = nullptr;
  if (traffic->next == traffic->input->size() / 2 && traffic->in_the_middle) {
    const std::function<void()> action = std::move(traffic->in_the_middle);
    traffic->in_the_middle = nullptr;
    action();
  }
  if (traffic->next == traffic->input->size()) return 0;
  const std::string& data = (*traffic->input)[traffic->next++];
  *length = data.size();
  *record = data.data();
  return 0;
}

void show(const char* text) { tortured.texts.emplace_back(text); }
std::int32_t give_tortured(std::uint64_t* length, const void** record) {
  return give(&tortured, length, record);
}
std::int32_t take_tortured(std::uint64_t length, const void* record) {
  tortured.output.emplace_back(static_cast<const char*>(record), length);
  return 0;
}
void show_neighbour(const char* text) { neighbour.texts.emplace_back(text); }
std::int32_t give_neighbour(std::uint64_t* length, const void** record) {
  return give(&neighbour, length, record);
}
std::int32_t take_neighbour(std::uint64_t length, const void* record) {
  neighbour.output.emplace_back(static_cast<const char*>(record), length);
  return 0;
}

// The other ends of a pipe, on threads of their own. Output is retrieved only when a second record has been
// sent: before that nothing tells the two directions apart.
class Peers {
 public:
  Peers(fsort_handle handle, const Scenario& scenario) : handle_(handle) {
    if (scenario.input == Side::pipe) {
      const bool both = scenario.output == Side::pipe;
      first_ = std::thread([this, &scenario, both] { send(scenario.set.records, both); });
    } else if (scenario.output == Side::pipe) {
      second_ = std::thread([this] { retrieve(); });
    }
  }
  // What came out of the pipe. To be called when the sort is over.
  Records finish() {
    if (first_.joinable()) first_.join();
    if (second_.joinable()) second_.join();
    return std::move(records_);
  }

 private:
  void send(const Records& records, bool retrieve_too) {
    for (std::size_t i = 0; i < records.size(); ++i) {
      FsortSend(handle_, records[i].size(), records[i].data());
      if (i == 1 && retrieve_too) second_ = std::thread([this] { retrieve(); });
    }
    FsortSend(handle_, 0, nullptr);
  }
  void retrieve() {
    for (;;) {
      std::uint64_t length = 0;
      const void* record = nullptr;
      FsortRetrieve(handle_, &length, &record);
      if (length == 0) return;
      records_.emplace_back(static_cast<const char*>(record), length);
    }
  }

  fsort_handle handle_;
  std::thread first_, second_;
  Records records_;
};

// When an action runs in the life of a neighbour.
enum class When { in_its_sort, before_its_sort };

// A sort of two dozen short lines through functions; `action` runs in its middle, or between its creation and
// its start. Result: what is wrong.
std::string small_sort(When when, const std::function<void()>& action) {
  static const Records kLines = [] {
    Records lines;
    for (int i = 0; i < 24; ++i) lines.push_back(std::to_string(1000 + i * 7919 % 97) + " line\n");
    return lines;
  }();
  neighbour = Traffic{};
  neighbour.input = &kLines;
  const fsort_handle handle = FsortCreate(show_neighbour, nullptr);
  if (when == When::in_its_sort)
    neighbour.in_the_middle = action;
  else if (action)
    action();
  const std::int32_t status = FsortStart(handle, give_neighbour, take_neighbour, "-q -l 20 -m 60");
  FsortDestroy(handle);
  Records right = kLines;
  std::sort(right.begin(), right.end());
  if (status != 0 || !neighbour.texts.empty())
    return "status " + std::to_string(status) + ", " + join(neighbour.texts);
  return neighbour.output == right ? "" : "wrong output";
}

// --- files -------------------------------------------------------------------------------------------------

// A file opened outside the engine and outside the fault layer, in the place of a standard handle.
class StandardFile {
 public:
  StandardFile(FaultOs* faults, std::int32_t which, const std::string& name) {
    const bool input = which == fsort::kStdInput;
    handle_ = fsort::kSystemOs.create_file(
        name.c_str(), input ? fsort::kGenericRead : fsort::kGenericWrite, input ? fsort::kShareRead : 0,
        nullptr, input ? fsort::kOpenExisting : fsort::kCreateAlways, fsort::kFlagSequentialScan, nullptr);
    faults->replace_std_handle(which, handle_);
  }
  ~StandardFile() {
    if (handle_ != fsort::kInvalidHandle) static_cast<void>(fsort::kSystemOs.close_handle(handle_));
  }
  StandardFile(const StandardFile&) = delete;
  StandardFile& operator=(const StandardFile&) = delete;

 private:
  Handle handle_;
};

std::vector<std::string> names_in(const std::string& folder) {
  std::vector<std::string> names;
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator(folder, ignored)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

// A name as the messages of input files show it.
std::string shown(std::string name) {
  std::replace(name.begin(), name.end(), '/', '\\');
  return name;
}

std::string quoted(const Texts& texts) {
  std::string all;
  for (const std::string& text : texts) all += "\n    \"" + text.substr(0, text.find('\n')) + "\"";
  return all;
}

constexpr const char* kInputNames[] = {"one", "two"};

}  // namespace

Rig::Rig(const Scenario& scenario) : scenario_(scenario) {
  const Records& all = scenario.set.records;
  const auto border = all.begin() + static_cast<std::ptrdiff_t>(scenario.first_file);
  if (scenario.passage == Passage::included) {
    input_contents_ = {concatenate({all.begin(), border}), concatenate({border, all.end()})};
    in_.make("keys", "# the keys\n" + scenario.keys + "\n");
  } else if (reads_file()) {
    input_contents_ = {concatenate(all)};
  }
  for (std::size_t i = 0; i < input_contents_.size(); ++i) in_.make(kInputNames[i], input_contents_[i]);
}

Texts Rig::input_names() const {
  Texts names;
  if (scenario_.input != Side::file) return names;
  for (std::size_t i = 0; i < input_contents_.size(); ++i) names.push_back(shown(in_.path(kInputNames[i])));
  return names;
}

std::string Rig::command() const {
  std::string text = "-q -w " + work_.path("") + " " + scenario_.options;
  if (scenario_.input == Side::file) {
    for (std::size_t i = 0; i < input_contents_.size(); ++i) text += " <" + in_.path(kInputNames[i]);
  }
  if (scenario_.output == Side::file) text += " >" + out_.path("out");
  return text +
         (scenario_.passage == Passage::included ? " -#include " + in_.path("keys") : " " + scenario_.keys);
}

std::vector<std::string> Rig::words() const {
  std::vector<std::string> list = {"fsort"};
  const std::string text = command();
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find(' ', at), text.size());
    if (end != at) list.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  return list;
}

std::int32_t Rig::start(void* raw) const {
  const auto handle = static_cast<fsort_handle>(raw);
  if (scenario_.passage == Passage::standard) {
    const std::vector<std::string> list = words();
    std::vector<const char*> pointers;
    for (const std::string& word : list) pointers.push_back(word.c_str());
    return fsort::start_arguments(handle, static_cast<std::int32_t>(pointers.size()), pointers.data());
  }
  const Side in = scenario_.input;
  const Side out = scenario_.output;
  return FsortStart(handle,
                    in == Side::function ? give_tortured
                    : in == Side::pipe   ? FSORT_PIPE_INPUT
                                         : nullptr,
                    out == Side::function ? take_tortured
                    : out == Side::pipe   ? FSORT_PIPE_OUTPUT
                                          : nullptr,
                    command().c_str());
}

void Rig::set_rule(FaultOs* faults, const Injection& fault) const {
  if (fault.half) {
    faults->shorten(fault.call, fault.n, fault.lasting);
  } else {
    faults->fail(fault.call, fault.n, fault.code, fault.lasting);
  }
  if (fault.textless) faults->fail(OsCall::kMessage, 1, 0, Lasting::kForGood);
}

void Rig::disturb(FaultOs* faults, const Injection* fault) {
  tortured = Traffic{};
  tortured.input = &scenario_.set.records;
  run_ = Run{};
  std::error_code ignored;
  fs::remove(out_.path("out"), ignored);
  std::unique_ptr<StandardFile> input, output;
  if (scenario_.passage == Passage::standard) {
    input = std::make_unique<StandardFile>(faults, fsort::kStdInput, in_.path(kInputNames[0]));
    output = std::make_unique<StandardFile>(faults, fsort::kStdOutput, out_.path("out"));
  }
  faults->defer_overlapped(scenario_.deferred);
  std::array<std::uint64_t, static_cast<std::size_t>(OsCall::kKinds)> before{};
  for (std::size_t i = 0; i < before.size(); ++i) before[i] = faults->calls(static_cast<OsCall>(i));
  if (fault != nullptr) set_rule(faults, *fault);
  const fsort_handle handle = FsortCreate(show, nullptr);
  run_.created = handle != nullptr;
  if (handle != nullptr) {
    Peers peers(handle, scenario_);
    run_.status = start(handle);
    run_.records = peers.finish();
    run_.work_files = names_in(work_.path("")).size();
  }
  run_.texts = std::move(tortured.texts);
  tortured.texts.clear();
  FsortDestroy(handle);
  run_.struck = faults->struck();
  run_.destruction_texts = std::move(tortured.texts);
  if (scenario_.output == Side::function) run_.records = std::move(tortured.output);
  faults->clear();
  if (fault != nullptr) return;
  for (std::size_t i = 0; i < before.size(); ++i) {
    calls_[i] = faults->calls(static_cast<OsCall>(i)) - before[i];
  }
}

std::string Rig::run_beside_neighbour(FaultOs* faults, const Injection* fault) {
  const bool pipe = scenario_.passage == Passage::pipe;
  const std::string wrong =
      small_sort(pipe ? When::before_its_sort : When::in_its_sort, [&] { disturb(faults, fault); });
  if (writes_file()) read_output();
  return wrong.empty() ? "" : "the neighbour: " + wrong;
}

void Rig::read_output() {
  const std::string bytes = out_.content("out");
  run_.records = bytes == "<missing>" ? Records{} : split_records(bytes, scenario_.set);
}

bool Rig::output_is_right() const {
  if (run_.records == right_) return true;
  return judge(scenario_.spec, scenario_.set.records, run_.records).empty();
}

std::string Rig::prepare() {
  FaultOs faults;
  std::string wrong = run_beside_neighbour(&faults, nullptr);
  if (run_.status != 0 || !run_.texts.empty())
    wrong += "status " + std::to_string(run_.status) + quoted(run_.texts);
  if (wrong.empty()) wrong = judge(scenario_.spec, scenario_.set.records, run_.records);
  right_ = run_.records;
  const bool spilled = calls(OsCall::kDelete) != 0;
  if (spilled != (scenario_.memory != Memory::roomy)) wrong += spilled ? "it spilled" : "it did not spill";
  if (!faults.clean()) wrong += "left: " + faults.alive();
  return wrong;
}

std::string Rig::judge_run(const Injection& fault, Result* result) const {
  if (!run_.created) {
    result->outcome = "no handle";
    result->message = run_.texts.empty() ? "(null handle)" : run_.texts.front();
    return allowed_at_creation(fault, run_.texts) ? "" : "no handle:" + quoted(run_.texts);
  }
  if (run_.work_files != 0 && fault.call != OsCall::kDelete) return "a work file outlived its sort";
  if (!run_.destruction_texts.empty()) {
    result->message = allowed_at_destruction(fault, run_.destruction_texts);
    if (result->message.empty()) return "at the destruction:" + quoted(run_.destruction_texts);
  }
  if (run_.status == 0) {
    result->outcome = run_.destruction_texts.empty() ? "no harm, right output" : "told at destruction";
    if (!run_.texts.empty()) return "a text in spite of success:" + quoted(run_.texts);
    // Nothing that the output needs may come to light only now.
    if (!result->message.empty() && result->message != "Error attempting to close input file")
      return "told too late:" + quoted(run_.destruction_texts);
    return output_is_right() ? "" : "FALSE SUCCESS: status 0 and a wrong output";
  }
  if (run_.status != 1) return "status " + std::to_string(run_.status);
  result->outcome = "reported";
  result->message = allowed_failure(scenario_, fault, input_names(), run_.texts);
  return result->message.empty() ? "not the message of this fault:" + quoted(run_.texts) : "";
}

std::string Rig::files_are_in_order(const Injection& fault) const {
  std::vector<std::string> wanted;
  if (scenario_.passage == Passage::included) wanted.emplace_back("keys");
  for (std::size_t i = 0; i < input_contents_.size(); ++i) {
    wanted.emplace_back(kInputNames[i]);
    if (in_.content(kInputNames[i]) != input_contents_[i]) return "the input was changed";
  }
  if (names_in(in_.path("")) != wanted) return "files beside the input:" + quoted(names_in(in_.path("")));
  const std::vector<std::string> out = names_in(out_.path(""));
  if (!out.empty() && (out != std::vector<std::string>{"out"} || !writes_file()))
    return "files beside the output:" + quoted(out);
  const std::vector<std::string> left = names_in(work_.path(""));
  if (left.empty()) return "";
  // A file that the system refused to delete stays; nothing can be done about that.
  std::error_code ignored;
  for (const std::string& name : left) fs::remove(work_.path(name), ignored);
  const bool excused =
      fault.call == OsCall::kDelete && (fault.lasting == Lasting::kForGood || left.size() == 1);
  return excused ? "" : "left in the work directory:" + quoted(left);
}

std::string Rig::next_sort(bool thorough) {
  if (!thorough) return small_sort(When::in_its_sort, nullptr);
  FaultOs faults;
  std::string wrong = run_beside_neighbour(&faults, nullptr);
  if (wrong.empty() && run_.status != 0) wrong = "status " + std::to_string(run_.status) + quoted(run_.texts);
  if (wrong.empty() && run_.records != right_) wrong = "another output";
  if (wrong.empty() && !faults.clean()) wrong = "left: " + faults.alive();
  return wrong;
}

Rig::Result Rig::strike(const Injection& fault, bool thorough) {
  Result result;
  {
    FaultOs faults;
    result.fault = run_beside_neighbour(&faults, &fault);
    result.struck = run_.struck;
    if (result.fault.empty()) result.fault = judge_run(fault, &result);
    if (result.fault.empty()) result.fault = files_are_in_order(fault);
    // Kept on purpose: the record of a handle that could not be completed is not freed.
    if (!run_.created && faults.heap_blocks() == 1 && faults.heap_bytes() == sizeof(fsort::Instance))
      faults.free_heap_blocks();
    if (result.fault.empty() && !faults.clean()) result.fault = "left: " + faults.alive();
  }
  if (result.fault.empty() && !result.struck && result.outcome != "no harm, right output")
    result.fault = "without a fault: " + result.outcome;
  if (!result.fault.empty()) return result;
  const std::string wrong = next_sort(thorough);
  if (!wrong.empty()) result.fault = "the next sort: " + wrong;
  return result;
}

}  // namespace fsort_test
