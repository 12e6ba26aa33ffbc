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
  return {instance->record.records_read, instance->sort.records_written, instance->read.max_record,
          instance->rout.output_name, static_cast<std::uint8_t>(instance->driver.verbosity < 0 ? 1 : 0)};
}

}  // namespace fsort
