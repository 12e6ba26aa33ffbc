// An error in a clean-up ended the clean-ups behind it as well: when closing the output failed while a handle
// was destroyed, the input file stayed open and buffers stayed allocated for the rest of the process.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "fsort.h"
#include "platform/os.h"
#include "support/fault_os.h"
#include "support/temp_folder.h"

namespace fsort_test {
namespace {

using fsort::test::FaultOs;
using fsort::test::Lasting;
using fsort::test::OsCall;

std::vector<std::string> texts;
void show(const char* text) { texts.emplace_back(text); }

// Ends the sort when a part of the output lies in an open file and the input has not come to its end.
std::int32_t refuse(std::uint64_t, const void*) { return 1; }

TEST(WindupThatFails, LeavesNothingOpenAndNothingAllocated) {
  const fsort::test::TempFolder folder;
  std::string lines;
  for (int i = 0; i < 1500; ++i)
    lines += std::to_string(10000 + i * 7919 % 9973) + std::string(40, 'x') + "\n";
  folder.make("in", lines);
  folder.make("bad", "short\n");
  texts.clear();
  FaultOs faults;
  const fsort_handle handle = FsortCreate(show, nullptr);
  // The second file's record ends the sort with input, work file and buffers in use.
  const std::string command = "-q -l 7 -m 1 -w " + folder.path("") + " <" + folder.path("in") + " <" +
                              folder.path("bad") + " -k -c 20-";
  EXPECT_EQ(FsortStart(handle, nullptr, refuse, command.c_str()), 1);
  texts.clear();
  faults.fail(OsCall::kClose, 1, fsort::kErrorIoDevice, Lasting::kForGood);
  FsortDestroy(handle);
  ASSERT_EQ(texts.size(), 2u);
  EXPECT_TRUE(texts[0].starts_with("Error attempting to close input file:"));
  EXPECT_EQ(texts[1], "Error During Windup\n");
  EXPECT_TRUE(faults.clean()) << faults.alive();
}

}  // namespace
}  // namespace fsort_test
