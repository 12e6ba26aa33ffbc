// Life of an instance: creation, how often a handle can be started, what a start forgets, destruction.
#include <cstring>

#include "entry/callbacks.h"
#include "entry_harness.h"
#include "support/dsnt.h"
#include "support/exit.h"
#include "support/osdll.h"

namespace fsort::test {

namespace {

class InstanceLife : public EntryTest {
 protected:
  static std::uint32_t trap_depth_after() { return record().error.trap_depth; }
};

TEST_F(InstanceLife, AFreshInstanceIsEmptyButForItsCallbacks) {
  const EntryState& e = record().entry;
  EXPECT_EQ(e.user_display, show);
  EXPECT_EQ(e.user_yield, nullptr);
  EXPECT_EQ(e.yield_count, 1u);
  EXPECT_EQ(e.msg_len, 0u);
  EXPECT_EQ(e.pipe.flag, 0u);
  EXPECT_NE(e.stack_reserve, nullptr);
  EXPECT_NE(e.entry_mark, nullptr);
  EXPECT_EQ(record().error.trap_depth, 0u);
  EXPECT_EQ(record().exit.windup_count, 0);
  EXPECT_EQ(record().display.display_function, UserDisplay);
  EXPECT_EQ(current_instance, nullptr);
  EXPECT_EQ(entry_lock_depth(), 0u);
}

TEST_F(InstanceLife, NullHandlesAreHarmless) {
  std::uint64_t length = 7;
  const void* bytes = "x";
  EXPECT_EQ(FsortStart(nullptr, nullptr, nullptr, ""), 1);
  EXPECT_STREQ(FsortMessage(nullptr), "");
  EXPECT_EQ(FsortRead(nullptr, &length, &bytes), 1);
  EXPECT_EQ(FsortWrite(nullptr, 1, "x"), 1);
  FsortSend(nullptr, 1, "x");
  FsortRetrieve(nullptr, &length, &bytes);
  FsortExit(nullptr, 3);
  FsortDestroy(nullptr);
  EXPECT_EQ(entry_lock_depth(), 0u);
}

// --- memory ---------------------------------------------------------------------------------------------

OsTable failing;
int allocations_left = 0;
void* last_block = nullptr;

void* counted_alloc(std::size_t size) {
  if (allocations_left == 0) return nullptr;
  --allocations_left;
  last_block = kSystemOs.heap_alloc(size);
  return last_block;
}

class InstanceMemory : public ::testing::Test {
 protected:
  void SetUp() override {
    failing = kSystemOs;
    failing.heap_alloc = counted_alloc;
    shown.clear();
    os = &failing;
  }
  void TearDown() override { os = &kSystemOs; }
};

TEST_F(InstanceMemory, WithoutARecordThereIsNoHandleAndTheLockIsNotTaken) {
  allocations_left = 0;
  EXPECT_EQ(FsortCreate(show, nullptr), nullptr);
  EXPECT_EQ(shown, Texts{});
  EXPECT_EQ(entry_lock_depth(), 0u);
}

// Kept on purpose: when the reserve cannot be had, the record is not freed.
TEST_F(InstanceMemory, KeptOnPurposeWhenTheReserveCannotBeHadTheRecordIsNotFreed) {
  allocations_left = 1;
  EXPECT_EQ(FsortCreate(show, nullptr), nullptr);
  EXPECT_EQ(shown, Texts{"Failed to allocated memory for fsort stack\n"});
  EXPECT_EQ(entry_lock_depth(), 0u);
  EXPECT_EQ(current_instance, nullptr);
  auto* record = static_cast<Instance*>(last_block);
  EXPECT_EQ(record->entry.user_display, show);  // still there: it was not freed
  DSFree(record);
}

// --- several starts on one handle -------------------------------------------------------------------------

TEST_F(InstanceLife, ASecondFullSortOnAHandleFails) {
  write_file("in", "b\na\n");
  EXPECT_EQ(sorted("b\na\n"), "a\nb\n");
  EXPECT_EQ(record().exit.windup_count, 8);
  expect_failure("<in >out -q", {"Couldn't register sublist_windup\n", kInitTitle});
  expect_failure("<in >out -q", {"Couldn't register function read_windup\n", kIoTitle});
  destroy();
}

TEST_F(InstanceLife, ABadArgumentCostsAHandleItsSort) {
  write_file("in", "b\na\n");
  expect_failure("<in >out -q zz", {"zz is an invalid argument\n", kInitTitle});
  expect_failure("<in >out -q", {"Couldn't register sublist_windup\n", kInitTitle});
}

TEST_F(InstanceLife, ABadKeyListCostsAHandleItsSort) {
  write_file("in", "b\na\n");
  EXPECT_EQ(start("<in >out -q -k 'a'"), 1);
  expect_failure("<in >out -q", {"Couldn't register record windup\n", kInitTitle});
}

TEST_F(InstanceLife, FourMissingFilesLeaveRoomForASort) {
  for (int i = 0; i < 4; ++i) EXPECT_EQ(start("<nofile >out"), 1);
  EXPECT_EQ(sorted("b\na\n"), "a\nb\n");
}

TEST_F(InstanceLife, FiveMissingFilesDoNot) {
  write_file("in", "b\na\n");
  for (int i = 0; i < 5; ++i) EXPECT_EQ(start("<nofile >out"), 1);
  expect_failure("<in >out -q", {"Couldn't register stack windup\n", kInitTitle});
}

TEST_F(InstanceLife, TheUsageTextOnceLeavesRoomForASort) {
  write_file("in", "b\na\n");
  EXPECT_EQ(start("<in >out -h"), 1);
  EXPECT_EQ(sorted("b\na\n"), "a\nb\n");
}

TEST_F(InstanceLife, TheUsageTextTwiceDoesNot) {
  write_file("in", "b\na\n");
  EXPECT_EQ(start("<in >out -h"), 1);
  EXPECT_EQ(start("<in >out -h"), 1);
  expect_failure("<in >out -q", {"Couldn't register key_windup\n", kInitTitle});
}

TEST_F(InstanceLife, FortyFailingStartsOverrunNothing) {
  const Texts missing{"File open failed on nofile:\n" + system_text(kErrorFileNotFound) + "\n", kIoTitle};
  for (int i = 0; i < 12; ++i) expect_failure("<nofile >out", missing);
  for (int i = 12; i < 40; ++i) {
    expect_failure("<nofile >out", {"Couldn't register function read_windup\n", kIoTitle});
  }
}

TEST_F(InstanceLife, FortyStartsWithoutAnInputOverrunNothing) {
  for (int i = 0; i < 40; ++i) EXPECT_EQ(start(""), 1);
  EXPECT_LE(record().error.trap_depth, 2u);
}

TEST_F(InstanceLife, EveryStartBeginsWithoutTrapsOfEarlierOnes) {
  write_file("in", "b\na\n");
  EXPECT_EQ(start(std::string(600, 'x')), 1);
  EXPECT_EQ(trap_depth_after(), 0u);
  EXPECT_EQ(start(""), 1);
  EXPECT_EQ(trap_depth_after(), 1u);
  EXPECT_EQ(start("-#end"), 1);
  EXPECT_EQ(trap_depth_after(), 1u);
  EXPECT_EQ(start("<nofile >out"), 1);
  EXPECT_EQ(trap_depth_after(), 1u);
  EXPECT_EQ(start("<in >out -h"), 1);
  EXPECT_EQ(trap_depth_after(), 2u);
  make();
  EXPECT_EQ(start("<in >out zz"), 1);
  EXPECT_EQ(trap_depth_after(), 1u);
  make();
  EXPECT_EQ(start("<in >out -q"), 0);
  EXPECT_EQ(trap_depth_after(), 1u);
}

// --- destruction ----------------------------------------------------------------------------------------

void failing_windup(Instance*) { osdll_error("a windup failed"); }
int windups_run = 0;
void counting_windup(Instance*) { ++windups_run; }

TEST_F(InstanceLife, AfterAFailingWindupTheOthersRunAndTheInstanceIsDestroyedAllTheSame) {
  EntryFrame frame;
  ASSERT_TRUE(instance_enter(subject, frame, EntryKind::plain));
  windups_run = 0;
  EXPECT_EQ(ExitRegister(counting_windup), 0);
  EXPECT_EQ(ExitRegister(failing_windup), 0);
  EXPECT_EQ(ExitRegister(counting_windup), 0);
  instance_leave(frame);
  destroy();
  EXPECT_EQ(shown, (Texts{"a windup failed\n", "Error During Windup\n"}));
  EXPECT_EQ(windups_run, 2);
}

void destroy_again(const char*) {
  FsortDestroy(subject);
  EXPECT_EQ(FsortStart(subject, nullptr, nullptr, ""), 1);
  FsortExit(subject, 5);
}

TEST_F(InstanceLife, ACallbackDuringDestructionCanNeitherDestroyNorStartNorAbort) {
  EntryFrame frame;
  ASSERT_TRUE(instance_enter(subject, frame, EntryKind::plain));
  EXPECT_EQ(ExitRegister(failing_windup), 0);
  instance_leave(frame);
  at_display = destroy_again;
  destroy();
  EXPECT_EQ(shown, (Texts{"a windup failed\n", "Error During Windup\n"}));
}

TEST_F(InstanceLife, TheOutputIsCompleteAndClosedBeforeTheInstanceIsDestroyed) {
  std::string lines;
  for (int i = 0; i < 20000; ++i) lines += std::to_string(100000 - i) + "\n";
  write_file("in", lines);
  ASSERT_EQ(start("<in >out -q"), 0);
  EXPECT_EQ(std::filesystem::file_size("out"), lines.size());
  Handle exclusive =
      os->create_file("out", kGenericRead | kGenericWrite, 0, nullptr, kOpenExisting, 0, nullptr);
  EXPECT_NE(exclusive, kInvalidHandle);
  os->close_handle(exclusive);
}

}  // namespace

}  // namespace fsort::test
