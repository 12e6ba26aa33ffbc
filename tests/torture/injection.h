// One fault: which call of the system fails, how, and what the sort may say then.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "support/fault_os.h"
#include "torture/scenarios.h"

namespace fsort_test {

using Texts = std::vector<std::string>;

struct Injection {
  fsort::test::OsCall call = fsort::test::OsCall::kOpen;
  fsort::test::Lasting lasting = fsort::test::Lasting::kOnce;
  bool half = false;       // the transfer is shortened instead
  std::uint64_t n = 1;     // which call, from the creation of the handle on
  std::uint32_t code = 0;  // what the system says
  bool textless = false;   // the system has no text for the code

  [[nodiscard]] std::string call_name() const;
  [[nodiscard]] std::string mode_name() const;
  [[nodiscard]] std::string name() const;  // "write 3 fails with 112, once"
};

// A call, how it fails, and with which codes in turn.
struct FaultKind {
  fsort::test::OsCall call;
  fsort::test::Lasting lasting;
  bool half;
  std::vector<std::uint32_t> codes;
};

// All kinds of faults that the campaign makes.
[[nodiscard]] const std::vector<FaultKind>& fault_kinds();

// The message with which a start may fail under this fault, when `texts` are exactly that message and the
// titles of the steps that it ends; "" when they are not. `inputs`: names of the input files.
[[nodiscard]] std::string allowed_failure(const Scenario& scenario, const Injection& fault,
                                          const Texts& inputs, const Texts& texts);
// The same for the texts of the destruction of a handle.
[[nodiscard]] std::string allowed_at_destruction(const Injection& fault, const Texts& texts);
// The same for a handle that could not be created.
[[nodiscard]] bool allowed_at_creation(const Injection& fault, const Texts& texts);

}  // namespace fsort_test
