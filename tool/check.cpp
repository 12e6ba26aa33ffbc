// --check; see check.h.
#include "check.h"

#include <memory>
#include <string>

#include "inspection.h"
#include "key_words.h"

namespace fsort_tool {
namespace {

using fsort::CheckReport;
using fsort::CheckVerdict;
using fsort::InspectedRecord;

// The place of a record and its first `keys` keys.
std::string record_text(const Inspection& inspection, const InspectedRecord& record, std::size_t keys) {
  std::string text = "  " + inspection.place(record) + "\n";
  const std::vector<std::string> words = record_words(inspection, record, keys);
  for (std::size_t k = 0; k < keys; ++k) text += "    key " + std::to_string(k + 1) + "   " + words[k] + "\n";
  return text;
}

std::string order_text(const Inspection& inspection, const CheckReport& report) {
  const std::string later = std::to_string(report.later->number);
  const std::string earlier = std::to_string(report.earlier->number);
  std::size_t keys = inspection.sort().key_count;
  std::string text = "fsort: record " + later;
  if (report.equal) {
    text += " is out of order: its keys equal those of record " + earlier + ", and -u keeps one\n";
  } else {
    std::uint32_t entry = 0;
    static_cast<void>(fsort::inspect_compare(inspection.handle(), *report.earlier, *report.later, &entry));
    keys = inspection.key_number(entry);
    text += " is out of order: it sorts before record " + earlier + " by key " + std::to_string(keys) + "\n";
  }
  return text + record_text(inspection, *report.earlier, keys) + record_text(inspection, *report.later, keys);
}

std::string count_text(std::uint64_t records) {
  return "fsort: " + std::to_string(records) + (records == 1 ? " record" : " records") + " in order\n";
}

}  // namespace

int check(const Request& request) {
  const Inspection inspection(request.sort_arguments);
  if (inspection.status() != 0) return refuse(request);
  Inspection::take_messages();  // what -v says about memory
  const auto records = std::make_unique<InspectedRecord[]>(2);
  CheckReport report{};
  switch (fsort::inspect_check(inspection.handle(), inspection.sort(), records.get(), &report)) {
    case CheckVerdict::in_order:
      if (inspection.sort().verbosity >= 0) show_error(Inspection::take_notes());
      if (inspection.sort().verbosity > 0) show_error(count_text(report.records));
      return 0;
    case CheckVerdict::out_of_order:
      show_error(order_text(inspection, report));
      return 1;
    case CheckVerdict::faulty:
      show_error(Inspection::take_messages() + "fsort: " + inspection.place(*report.later) + "\n");
      return 1;
    case CheckVerdict::unreadable:
      show_error(Inspection::take_messages() + "fsort: behind record " + std::to_string(report.records) +
                 "\n");
      return 1;
  }
  return 1;
}

}  // namespace fsort_tool
