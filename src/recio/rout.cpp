// Record output: options, the writer, and the life of the output file.
//
//            rout_init          first record          length 0            record         length 0
//     named:  no stream  ->  open "w", buffers on  ->  closed, ended  ->  open "a"  ->  closed, ended
//     stdout: stream     ->  buffers on            ->  flushed        ->  buffers on ...
//
// A record that fits the current buffer with room to spare is copied there and nothing else happens: no call
// that can raise, so no trap. The record that fills the buffer, the first one, and the end go the trapped
// way.
//
// Late failures. The stream layer writes behind the caller, so the failure of a transfer may come to light
// only when the buffers are taken back at the end; an output smaller than two buffers is always written then.
// Ending the output therefore looks at the stream's flags after the last transfer and raises what a write
// would have raised. Without that a full disk would lose the whole output without a word.
//
// An error in a write is shown by rout_write. Whoever ignores it and ends the output is told again, because
// the output is not complete; only the windup, which comes after every failed sort, does not repeat it.
//
// Kept on purpose: a named file is neither created nor truncated before the first record comes, so an
// existing file stays as it is when the sort delivers nothing; a stream that failed is not closed at the end
// of output. Its handle is closed by the windup, otherwise a retry in the same process would find the file in
// use.
//
// A file that was ended is opened again only for appending: opening it as before would cut the records that
// it holds.
#include <cstring>

#include "cmdline/arg.h"
#include "recio/recio_access.h"
#include "recio/rin.h"
#include "recio/rio.h"
#include "recio/rout.h"
#include "support/bytes.h"
#include "support/error.h"
#include "support/exit.h"
#include "support/osdll.h"

namespace fsort {
namespace {

constexpr std::uint32_t kKilobyte = 1024;
constexpr int kOutputBuffers = 2;

enum class OutputFailure : std::uint8_t { kNone, kSpace, kEnd, kClose };

void raise_failure(OutputFailure failure) {
  switch (failure) {
    case OutputFailure::kNone:
      return;
    case OutputFailure::kSpace:
      osdll_perror("Space exhausted while writing output file");
    case OutputFailure::kEnd:
      osdll_error("Unexpected end of file");
    case OutputFailure::kClose:
      osdll_perror("Error attempting to close record output file");
  }
}

// What the flags of a stream say about the writes it has made.
OutputFailure write_failure(const Stream* s) {
  if ((s->flags & kStreamError) != 0) return OutputFailure::kSpace;
  if ((s->flags & kStreamEof) != 0) return OutputFailure::kEnd;
  return OutputFailure::kNone;
}

// Closes the stream that an earlier failure left unclosed, whatever comes of it.
void close_failed(RoutState& st) {
  if (st.unclosed == nullptr) return;
  const std::uint32_t code = fs_errno;
  static_cast<void>(fstdio_fclose(st.unclosed));
  st.unclosed = nullptr;
  fs_errno = code;
}

void rout_open() {
  RoutState& st = rout_st();
  Stream* s = st.output;
  if (s == nullptr) {
    s = fstdio_fopen(st.output_name, st.ended != 0 ? "a" : "w");
    if (s == nullptr) osdll_perror("Opening output file");
    st.output = s;
  }
  // Standard output keeps its flags from an earlier output; a failure then must not hide one to come.
  s->flags &= ~(kStreamError | kStreamEof);
  if (st.output_buffers != nullptr) fattachbuf(s, st.output_buffers);
  st.output_buffers = nullptr;
  st.reported = 0;
  st.output_open = 1;
}

// Writes out what is left and takes the output out of use before anything is said about it, so that nobody
// comes back to it. The buffers stay for the next opening.
OutputFailure end_output(RoutState& st) {
  if (st.output_open == 0) return OutputFailure::kNone;
  Stream* const s = st.output;
  if (st.reported != 0) fs_errno = st.failure_code;
  static_cast<void>(fstdio_fflush(s));  // its failure shows in the flags
  st.output_buffers = fdetachbuf(s);
  s->flags &= ~kStreamOwnBuffers;
  st.output_open = 0;
  const OutputFailure failure = write_failure(s);
  if (s == std_output()) return failure;

  st.output = nullptr;
  st.ended = 1;
  if (failure == OutputFailure::kSpace) {
    close_failed(st);
    st.unclosed = s;
    return failure;
  }
  const bool closed = fstdio_fclose(s) == 0;
  return failure == OutputFailure::kNone && !closed ? OutputFailure::kClose : failure;
}

void rout_close() { raise_failure(end_output(rout_st())); }

// Ends the output and gives everything back; result: the failure that nobody has been told of.
OutputFailure release(RoutState& st) {
  const bool reported = st.reported != 0;
  const OutputFailure failure = end_output(st);
  const std::uint32_t code = fs_errno;
  close_failed(st);
  ffreebuf(st.output_buffers);
  st = RoutState{};
  fs_errno = code;
  return reported && failure != OutputFailure::kClose ? OutputFailure::kNone : failure;
}

struct WriteCall {
  std::uint64_t length;
  const std::uint8_t* record;
};

int write_record(WriteCall& call) {
  RoutState& st = rout_st();
  if (call.length == 0) {
    rout_close();
    return 0;
  }
  if (call.record == nullptr) osdll_error("Programming error in rout_write");
  if (st.output_open == 0) rout_open();
  if (fstdio_fwrite(call.record, call.length, 1, st.output) == 1) return 0;
  st.reported = 1;
  st.failure_code = fs_errno;
  raise_failure(write_failure(st.output));
  osdll_error("Programming error in rout_write");
}

// Takes the name given at `index`; result: the index behind it.
std::uint32_t take_name(RoutState& st, std::int32_t argc, const char** argv, std::uint32_t index) {
  if (st.output_named != 0) ErrorReturn(kErrorCode, "No more that one output file may be specified");
  const bool attached = argv[index][0] == '>' && argv[index][1] != '\0';
  const char* const own_name[] = {argv[index] + 1};
  const bool operand = attached ? arg_operand(1, own_name, 0) : arg_operand(argc, argv, index + 1);
  if (!operand) osdll_error("-out or > require an argument");
  rio_fname(attached ? own_name[0] : argv[index + 1], st.output_name, kOutputNameChars);
  st.output = nullptr;
  st.output_named = 1;
  arg_blank(argv, index);
  if (!attached) arg_blank(argv, ++index);
  return index + 1;
}

void take_names(RoutState& st, std::int32_t argc, const char** argv) {
  const auto count = static_cast<std::uint32_t>(argc < 1 ? 0 : argc);
  std::uint32_t i = 1;
  while (i < count) {
    const bool names = argv[i][0] == '>' || std::strcmp(argv[i], "-out") == 0;
    i = names ? take_name(st, argc, argv, i) : i + 1;
  }
}

// Value of "-obs n" (both consumed) or else of "-bs n" (left in place); 0 when neither is there.
std::uint16_t buffer_kb(std::int32_t argc, const char** argv) {
  std::uint16_t kb = 0;
  const std::uint32_t obs = arg_find(argc, argv, "-obs");
  const std::uint32_t bs = arg_find(argc, argv, "-bs");
  if (obs != kArgNotFound && arg_operand(argc, argv, obs + 1)) {
    arg_value(argv[obs + 1], &kb, kScaleKilo);
    arg_blank(argv, obs);
    arg_blank(argv, obs + 1);
  } else if (bs != kArgNotFound && arg_operand(argc, argv, bs + 1)) {
    arg_value(argv[bs + 1], &kb, kScaleKilo);
  }
  return kb;
}

}  // namespace

void rout_init(RecordDescription* description, std::int32_t argc, const char** argv) {
  RoutState& st = rout_st();
  raise_failure(release(st));
  st.output = std_output();
  take_names(st, argc, argv);
  description->output_named = st.output_named;

  st.obs = buffer_kb(argc, argv);
  if (st.obs == 0) st.obs = kDefaultBufferKb;
  if (st.obs > kMaxBufferKb) st.obs = kMaxBufferKb;
  description->writer = rout_write;
  st.output_buffers = fmakebuf(st.obs * kKilobyte, kOutputBuffers);
  if (st.output_buffers == nullptr) osdll_error("Couldn't allocate output buffer");
  if (ExitRegister(rout_windup) != 0) osdll_error("Couldn't register io windup");
}

void rout_release() { static_cast<void>(release(rout_st())); }

void rout_windup(Instance* instance) { raise_failure(release(instance->rout)); }

std::int32_t rout_write(std::uint64_t length, const std::uint8_t* record) {
  const RoutState& st = rout_st();
  if (st.output_open != 0 && length != 0 && record != nullptr) {
    Stream* const s = st.output;
    if (length < s->cnt) {
      copy_bytes(s->ptr, record, length);
      s->ptr += length;
      s->pos += length;
      s->cnt -= length;
      return 0;
    }
  }
  WriteCall call{length, record};
  return trap_run(kTrapLevel, "Error writing record to output", write_record, call);
}

const RoutState& rout_state() { return rout_st(); }

bool rout_is_open() { return rout_st().output_open != 0; }

Stream* rout_stream() {
  const RoutState& st = rout_st();
  return st.output_open != 0 ? st.output : nullptr;
}

}  // namespace fsort
