// Reads a sort command into the tree that the oracle judges by, for commands written by hand.
//
// It reads well-formed commands only; what a malformed one must say is the business of the tests that give
// it.
#pragma once

#include <string>
#include <vector>

#include "support/oracle_sort.h"

namespace fsort_test {

[[nodiscard]] SortSpec read_spec(const std::string& command);

}  // namespace fsort_test
