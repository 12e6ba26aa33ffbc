// The verdict on a checked output: see verify.h.
//
// With -u the output is a part of the input, so it cannot have the same sum; what can be said is that it is
// no longer, not empty unless the input was, and strictly ascending.
#include "verify.h"

#include "progress.h"

namespace fsort_tool {

std::string verify_fault(const fsort::SortFacts& facts) {
  const std::string in = shown_count(facts.records_read);
  const std::string out = shown_count(facts.records_written);
  if (facts.misplaced != 0) {
    return "verify: record " + shown_count(facts.misplaced) +
           " of the output does not belong behind the one before";
  }
  const bool all = facts.unique == 0;
  const bool counts = all ? facts.records_written == facts.records_read
                          : facts.records_written <= facts.records_read &&
                                (facts.records_written != 0) == (facts.records_read != 0);
  if (!counts) return "verify: " + in + " records were read and " + out + " written";
  if (all && facts.same_records == 0) return "verify: the records written are not those that were read";
  return {};
}

std::string verify_statement(const fsort::SortFacts& facts) {
  if (facts.unique == 0)
    return "verified: " + shown_count(facts.records_written) + " records, those read, in order";
  return "verified: " + shown_count(facts.records_written) + " of " + shown_count(facts.records_read) +
         " records, in order, no two with equal keys; what -u left out is not looked at";
}

}  // namespace fsort_tool
