// Looking at a sort from outside; see sort_view.h.
#include "entry/sort_view.h"

#include "entry/entry_access.h"
#include "entry/entry_switch.h"

namespace fsort {

bool sort_view(SortView* view) {
  const Instance* instance = current_instance;
  if (instance == nullptr) return false;
  const RinState& rin = instance->rin;
  *view = {rin.input != nullptr ? rin.input->handle : nullptr, rin.total_bytes, rin.total_known,
           instance->record.records_read, instance->sort.records_written};
  return true;
}

SortFacts sort_facts(fsort_handle handle) {
  const Instance* instance = instance_of(handle);
  const RecordSum& in = instance->record.sum;
  const OutputCheck& check = instance->driver.check;
  SortFacts facts{};
  facts.records_read = instance->record.records_read;
  facts.records_written = instance->sort.records_written;
  facts.record_bytes = instance->read.max_record;
  facts.output_name = instance->rout.output_name;
  facts.quiet = instance->driver.verbosity < 0 ? 1 : 0;
  facts.unique = instance->driver.unique;
  const bool same = in.count == check.sum.count && in.low == check.sum.low && in.high == check.sum.high;
  facts.same_records = same ? 1 : 0;
  facts.misplaced = check.misplaced;
  return facts;
}

}  // namespace fsort
