// Input files: their names, their estimated size, and the one byte source that they make together.
//
//     command line      <a  -in b c
//     file_names        [0] c   [1] b   [2] a       reversed: the current file is the last one still listed
//     files_left        2 while a is read, 0 while c is read
//
// One pair of buffers serves all files. It belongs to the stream that it is attached to; between two files,
// and only then, `input_buffers` holds it.
//
// Counting the files opens each of them once, so a name that cannot be opened is reported before a single
// record is read. The first one stays open (`first`) while the others are counted.
//
// Kept on purpose: a read that the end of a file cuts off starts over in the next file, and the bytes that it
// had from the ended one are dropped. A line or a record header therefore never holds bytes of two files
// unless its reader puts them together itself (read_text.cpp does).
//
// Raise safety: a stream is taken out of the state before it is closed, and buffers are put into the state
// before anything that may raise, so the windup can run at any point.
#include <cstring>

#include "cmdline/arg.h"
#include "platform/heap.h"
#include "platform/os.h"
#include "recio/readers.h"
#include "recio/recio_access.h"
#include "recio/rin.h"
#include "recio/rio.h"
#include "stream/nt_error.h"
#include "support/exit.h"
#include "support/osdll.h"

namespace fsort {
namespace {

constexpr std::uint64_t kPipeEstimate = 0xA00000;  // 10 MiB: nothing is known about a pipe
constexpr std::uint64_t kCharDeviceEstimate = 2048;
constexpr std::uint16_t kConsoleBufferKb = 1;
constexpr std::uint32_t kKilobyte = 1024;
constexpr int kInputBuffers = 2;
constexpr std::uint64_t kNoLength = ~static_cast<std::uint64_t>(0);

struct NameList {
  const char* names[kMaxInputFiles];  // in command-line order
  std::uint16_t count;
};

void add_name(NameList& list, const char* name) {
  if (list.count == kMaxInputFiles) osdll_error("Too many input file names");
  list.names[list.count++] = name;
}

// Takes the operands behind "-in" at `index`; result: the index of the first argument not taken. "<name" adds
// its name also inside the list and ">" ends it: these two say themselves what they are. The option goes even
// when it names nothing; left behind it would be read as "-i" with more letters, and turn the order around.
std::uint32_t take_name_list(NameList& list, std::int32_t argc, const char** argv, std::uint32_t index) {
  arg_blank(argv, index++);
  for (; arg_operand(argc, argv, index) && argv[index][0] != '>'; ++index) {
    add_name(list, argv[index][0] == '<' ? argv[index] + 1 : argv[index]);
    arg_blank(argv, index);
  }
  return index;
}

void take_names(NameList& list, std::int32_t argc, const char** argv) {
  const auto count = static_cast<std::uint32_t>(argc < 1 ? 0 : argc);
  std::uint32_t i = 1;
  while (i < count) {
    if (argv[i][0] == '<') {
      add_name(list, argv[i] + 1);
      arg_blank(argv, i++);
    } else if (std::strcmp(argv[i], "-in") == 0) {
      i = take_name_list(list, argc, argv, i);
    } else {
      ++i;
    }
  }
}

// Copies the names into one allocation and lists them in reverse.
void store_names(RinState& st, const NameList& list) {
  std::size_t bytes = 0;
  for (std::uint16_t i = 0; i < list.count; ++i) bytes += std::strlen(list.names[i]) + 1;
  st.name_store = static_cast<char*>(heap_alloc(bytes));
  if (st.name_store == nullptr) osdll_error("Couldn't get memory for file name list");
  char* to = st.name_store;
  for (std::uint16_t i = 0; i < list.count; ++i) {
    rio_fname(list.names[i], to, kNoNameLimit);
    st.file_names[list.count - 1 - i] = to;
    to += std::strlen(to) + 1;
  }
}

// Makes the file of this index the current input; result: its stream, never null.
Stream* rin_open(std::uint16_t index) {
  RinState& st = rin_st();
  const char* name = st.file_names[index];
  Stream* const s = name[0] == '-' ? std_input() : fstdio_fopen(name, "r");
  if (s == nullptr) osdll_error("File open failed on %s:\n%s", name, ntstrerror(last_os_error()));
  st.input = s;
  return s;
}

// Closes what may be closed; false when that failed.
bool close_stream(Stream* s) {
  if (s == nullptr || s == std_input() || (s->flags & kStreamError) != 0) return true;
  return fstdio_fclose(s) == 0;
}

void raise_close_failure() { osdll_perror("Error attempting to close input file"); }

void rin_close() {
  RinState& st = rin_st();
  Stream* const s = st.input;
  st.input = nullptr;
  if (!close_stream(s)) raise_close_failure();
}

// Takes the buffers back from the current input.
void detach_buffers(RinState& st) {
  if (st.input == nullptr) return;
  const BufferChain chain = fdetachbuf(st.input);
  if (chain != nullptr) st.input_buffers = chain;
}

void attach_buffers(RinState& st) {
  const BufferChain chain = st.input_buffers;
  st.input_buffers = nullptr;
  fattachbuf(st.input, chain);
}

void make_buffers(RinState& st, int count) {
  st.input_buffers = fmakebuf(st.ibs * kKilobyte, count);
  if (st.input_buffers == nullptr) osdll_error("Couldn't allocate memory for input file buffer");
  attach_buffers(st);
}

// What the inputs are, all together.
struct InputKinds {
  bool all_consoles;
  bool all_files;
};

// Estimated bytes of the current input.
std::uint64_t estimate(const Stream* s, InputKinds& kinds) {
  const std::uint32_t type = os->get_file_type(s->handle);
  kinds.all_consoles = kinds.all_consoles && type == kFileTypeChar;
  kinds.all_files = kinds.all_files && type == kFileTypeDisk;
  if (type == kFileTypePipe) return kPipeEstimate;
  if (type == kFileTypeChar) return kCharDeviceEstimate;
  const std::uint64_t bytes = filelength(s->handle);
  if (bytes == kNoLength) osdll_perror("error getting length of input file(2)");
  return bytes;
}

// Opens and counts every file, leaves the first one open as the input. The sum stays at its maximum instead
// of wrapping around when the lengths of several inputs are unknown.
std::uint64_t count_files(RinState& st, std::uint16_t count, InputKinds& kinds) {
  std::uint64_t sum = 0;
  kinds = {true, true};
  for (std::uint16_t index = count; index-- > 0;) {
    const Stream* const s = rin_open(index);
    const std::uint64_t bytes = estimate(s, kinds);
    sum = bytes > kNoLength - sum ? kNoLength : sum + bytes;
    if (index == count - 1) {
      st.first = st.input;
      st.input = nullptr;
    } else {
      rin_close();
    }
  }
  st.input = st.first;
  st.first = nullptr;
  return sum;
}

// Value of "-ibs n" (both consumed) or else of "-bs n" (left in place); 0 when neither gives one.
std::uint16_t buffer_kb(std::int32_t argc, const char** argv) {
  std::uint16_t kb = 0;
  const std::uint32_t ibs = arg_find(argc, argv, "-ibs");
  if (ibs != kArgNotFound && arg_operand(argc, argv, ibs + 1)) {
    arg_value(argv[ibs + 1], &kb, kScaleKilo);
    arg_blank(argv, ibs);
    arg_blank(argv, ibs + 1);
  }
  const std::uint32_t bs = arg_find(argc, argv, "-bs");
  if (kb == 0 && bs != kArgNotFound && arg_operand(argc, argv, bs + 1)) {
    arg_value(argv[bs + 1], &kb, kScaleKilo);
  }
  return kb;
}

}  // namespace

void rin_init(RecordDescription* description, std::int32_t argc, const char** argv) {
  RinState& st = rin_st();
  if (!rin_release()) raise_close_failure();
  NameList list{};
  take_names(list, argc, argv);
  description->input_named = list.count != 0 ? 1 : 0;
  if (list.count == 0) {
    st.file_names[0] = "-";
    list.count = 1;
  } else {
    store_names(st, list);
  }

  InputKinds kinds{};
  description->input_size = count_files(st, list.count, kinds);
  st.total_bytes = description->input_size;
  st.total_known = kinds.all_files ? 1 : 0;

  st.ibs = buffer_kb(argc, argv);
  if (st.ibs == 0) st.ibs = kinds.all_consoles ? kConsoleBufferKb : kDefaultBufferKb;
  if (st.ibs > kMaxBufferKb) st.ibs = kMaxBufferKb;
  make_buffers(st, kInputBuffers);
  st.files_left = static_cast<std::uint16_t>(list.count - 1);
  if (ExitRegister(rin_windup) != 0) osdll_error("Couldn't register input windup");
}

bool rin_release() {
  RinState& st = rin_st();
  detach_buffers(st);
  Stream* const input = st.input;
  Stream* const first = st.first;
  ffreebuf(st.input_buffers);
  heap_free(st.name_store);
  st = RinState{};
  const bool closed = close_stream(input);
  return close_stream(first) && closed;
}

void rin_windup(Instance* /*instance*/) {
  if (!rin_release()) raise_close_failure();
}

std::uint64_t rin_cnt() {
  const RinState& st = rin_st();
  while (st.input != nullptr) {
    const std::uint64_t n = fcnt(st.input);
    if (n != 0) return n;
    if (next_file() == 0) break;
  }
  return 0;
}

std::uint64_t rin_read(std::uint64_t n, void* target) {
  const RinState& st = rin_st();
  while (st.input != nullptr) {
    const std::uint64_t before = st.input->pos;
    if (fstdio_fread(target, n, 1, st.input) == 1) return n;
    if (st.input->pos != before) report_tail(TailKind::short_record, st.input->pos - before);
    if (next_file() == 0) break;
  }
  return 0;
}

int next_file() {
  RinState& st = rin_st();
  if (st.input == nullptr) return 0;
  const std::uint32_t flags = st.input->flags;
  if ((flags & kStreamEof) == 0) {
    if ((flags & kStreamError) != 0) osdll_perror("Error reading input file(1)");
    osdll_error("Programming error in rin_read");
  }
  if (st.files_left == 0) {
    if (!rin_release()) raise_close_failure();
    return 0;
  }
  detach_buffers(st);
  rin_close();
  --st.files_left;
  rin_open(st.files_left);
  attach_buffers(st);
  return 1;
}

Stream* rin_stream() { return rin_st().input; }

const char* rin_name() { return rin_st().file_names[rin_st().files_left]; }

std::uint16_t rin_files_left() { return rin_st().files_left; }

const RinState& rin_state() { return rin_st(); }

void rin_read_singly() {
  RinState& st = rin_st();
  detach_buffers(st);
  ffreebuf(st.input_buffers);
  make_buffers(st, 1);
}

}  // namespace fsort
