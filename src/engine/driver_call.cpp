// The run of a sort: plan and make the root level, distribute all input, process the bins, end the output.
#include "engine/array_sort.h"
#include "engine/descent.h"
#include "engine/distribute.h"
#include "engine/driver.h"
#include "engine/engine_access.h"
#include "engine/key_view.h"
#include "engine/plan.h"
#include "engine/report.h"
#include "engine/sort_bin.h"
#include "keys/record.h"
#include "platform/os.h"
#include "recio/rout.h"
#include "support/error.h"

namespace fsort {

namespace {

struct Nothing {};

// The first level, which takes all input.
Environment* make_root() {
  DriverState& d = driver_st();
  Plan p;
  plan(&p, 0, 0, d.record_count, d.file_kb, false);
  Environment* root = environment_make(nullptr, p.step_count, p.steps, static_cast<std::uint16_t>(p.bins));
  if (root == nullptr) ErrorReturn(kErrorCode, kPathologicalText);
  SortState& s = sort_st();
  s.current = root;
  s.newest = root;
  d.environment = root;
  return root;
}

void push_or_fail(Stack* stack) {
  if (!stk_push(stack)) ErrorReturn(kErrorCode, "Insufficient memory available");
}

// Ends the output file, so that it is complete and closed when the sort returns. A caller's own write
// function is not told: its end is the return.
void end_output() {
  if (!rout_is_open()) return;
  if (rout_write(0, nullptr) != 0) ErrorReturn(kErrorCode, "Error trying to write record from fsort");
}

int run(Nothing& /*none*/) {
  DriverState& d = driver_st();
  push_or_fail(d.sublist_stack);
  Environment* root = make_root();
  d.data_memory_kb = d.memory_kb - d.segment_kb;
  sort_st().free_data_kb = d.data_memory_kb;
  const std::int64_t start = d.verbosity > 0 ? display_in(0, 0, 0, d.record_count, root, false) : os->clock();
  const std::int64_t wall = os->time();
  push_or_fail(d.data_stack);
  d.frame_floor = stk_frames(d.data_stack) - 1;
  d.reading_input = 1;
  distribute(rec_input_of_sort(), d.record_count);
  d.reading_input = 0;
  d.data_left = 0;
  tsort();
  while (stk_frames(d.data_stack) != 0) stk_pop_release(d.data_stack);
  stk_pop_release(d.sublist_stack);
  d.environment = nullptr;
  array_sort_free();
  hint_rings_free();
  descent_free();
  end_output();
  if (d.verbosity >= 0) {
    display_out(start);
    display_etime(os->time() - wall);
  }
  return 0;
}

}  // namespace

int fsort_call() {
  Nothing none;
  const int status = trap_run(kTrapLevel, "Error detected in fsort call", run, none);
  // No work file outlives the sort, however it ended; its memory waits for the windup.
  levels_drop();
  return status;
}

}  // namespace fsort
