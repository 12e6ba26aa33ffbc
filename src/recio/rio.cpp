// Record input and output as a whole: one call that sets up the readers, the input files and the output.
//
// The order matters to the command line: the record type's operands are taken first, then the input names,
// then the output name, and "-bs" last, because it is the default of both -ibs and -obs and both must still
// find it.
//
// An error half-way leaves streams, buffers and names that no windup knows yet (each module registers its own
// last). They are given back here, quietly: the error that brought us here is the one to be shown.
#include <cstring>

#include "cmdline/arg.h"
#include "recio/readers.h"
#include "recio/rin.h"
#include "recio/rio.h"
#include "recio/rout.h"
#include "support/error.h"
#include "support/osdll.h"

namespace fsort {
namespace {

struct InitCall {
  RecordDescription* description;
  std::int32_t argc;
  const char** argv;
};

// "-bs" goes in any case, its operand if it has one: both modules had their chance to read it.
void take_common_buffer_size(std::int32_t argc, const char** argv) {
  const std::uint32_t index = arg_find(argc, argv, "-bs");
  if (index == kArgNotFound) return;
  arg_blank(argv, index);
  if (arg_operand(argc, argv, index + 1)) arg_blank(argv, index + 1);
}

int init_all(InitCall& call) {
  read_init(call.description, call.argc, call.argv);
  rin_init(call.description, call.argc, call.argv);
  rout_init(call.description, call.argc, call.argv);
  take_common_buffer_size(call.argc, call.argv);
  return 0;
}

}  // namespace

int rio_init(RecordDescription* description, std::int32_t argc, const char** argv) {
  *description = RecordDescription{};
  InitCall call{description, argc, argv};
  if (trap_run(kTrapLevel, "Error detected during i/o initialization", init_all, call) == 0) return 0;
  read_release();
  static_cast<void>(rin_release());
  static_cast<void>(rout_release());
  return 1;
}

void rio_fname(const char* source, char* target, std::size_t limit) {
  const std::size_t length = std::strlen(source);
  if (length >= limit) osdll_error("%s:file name too long", source);
  for (std::size_t i = 0; i < length; ++i) target[i] = source[i] == '/' ? '\\' : source[i];
  target[length] = '\0';
}

}  // namespace fsort
