// Switching instances, the list of exports in progress, the entry lock and attaching to a process.
#include "entry/entry_switch.h"

#include <thread>

#include "entry/vb_entries.h"
#include "entry_harness.h"

namespace fsort::test {

namespace {

class EntrySwitch : public EntryTest {};

TEST_F(EntrySwitch, EnteringMakesTheInstanceCurrentAndLeavingPutsThePreviousOneBack) {
  fsort_handle second = FsortCreate(nullptr, nullptr);
  EntryFrame a;
  EntryFrame b;
  ASSERT_TRUE(instance_enter(subject, a, EntryKind::plain));
  EXPECT_EQ(current_instance, instance_of(subject));
  EXPECT_EQ(entry_lock_depth(), 1u);
  ASSERT_TRUE(instance_enter(second, b, EntryKind::plain));
  EXPECT_EQ(current_instance, instance_of(second));
  EXPECT_EQ(instance_of(second)->entry.prev_instance, instance_of(subject));
  EXPECT_EQ(entry_lock_depth(), 2u);
  instance_leave(b);
  EXPECT_EQ(current_instance, instance_of(subject));
  instance_leave(a);
  EXPECT_EQ(current_instance, nullptr);
  EXPECT_EQ(entry_lock_depth(), 0u);
  FsortDestroy(second);
}

TEST_F(EntrySwitch, ANullHandleTakesNothing) {
  EntryFrame frame;
  EXPECT_FALSE(instance_enter(nullptr, frame, EntryKind::start));
  EXPECT_EQ(entry_lock_depth(), 0u);
}

TEST_F(EntrySwitch, OnlyMarkedEntriesNoteTheirFrame) {
  EntryFrame frame;
  record().entry.entry_mark = nullptr;
  ASSERT_TRUE(instance_enter(subject, frame, EntryKind::plain));
  instance_leave(frame);
  EXPECT_EQ(record().entry.entry_mark, nullptr);
  ASSERT_TRUE(instance_enter(subject, frame, EntryKind::marked));
  instance_leave(frame);
  EXPECT_EQ(record().entry.entry_mark, &frame);
}

TEST_F(EntrySwitch, FramesTellWhatElseIsInProgressOnTheInstance) {
  fsort_handle second = FsortCreate(nullptr, nullptr);
  EntryFrame a;
  EntryFrame b;
  EntryFrame c;
  EXPECT_EQ(entry_frame_top(), nullptr);
  ASSERT_TRUE(instance_enter(subject, a, EntryKind::plain));
  ASSERT_TRUE(instance_enter(second, b, EntryKind::plain));
  EXPECT_EQ(entry_frame_top(), &b);
  EXPECT_FALSE(entry_frame_shared(a));
  EXPECT_FALSE(entry_frame_accompanied(a));
  ASSERT_TRUE(instance_enter(subject, c, EntryKind::plain));
  EXPECT_TRUE(entry_frame_shared(c));
  a.kind = EntryKind::pipe;
  EXPECT_FALSE(entry_frame_shared(c));
  EXPECT_TRUE(entry_frame_accompanied(c));
  instance_leave(c);
  instance_leave(b);
  instance_leave(a);
  current_instance = nullptr;  // two entries into one instance share one memory of what was current before
  FsortDestroy(second);
}

TEST_F(EntrySwitch, ACallOfAnotherThreadInsideTheSameInstanceOverlaysThisOne) {
  EntryFrame own;
  EntryFrame foreign;
  ASSERT_TRUE(instance_enter(subject, own, EntryKind::start));
  ASSERT_TRUE(instance_enter(subject, foreign, EntryKind::plain));
  EXPECT_FALSE(entry_frames_overlaid());
  foreign.thread = own.thread + 1;
  EXPECT_TRUE(entry_frames_overlaid());
  foreign.kind = EntryKind::pipe;
  EXPECT_FALSE(entry_frames_overlaid());
  foreign.kind = EntryKind::plain;
  own.kind = EntryKind::pipe;
  EXPECT_FALSE(entry_frames_overlaid());
  own.kind = EntryKind::start;
  own.thread = foreign.thread;
  foreign.thread = entry_lock_owner();  // now the foreign frame lies below: it is the one that waits
  EXPECT_FALSE(entry_frames_overlaid());
  instance_leave(foreign);
  instance_leave(own);
  current_instance = nullptr;  // as above
}

// --- the lock
// ------------------------------------------------------------------------------------------------

TEST(EntryLock, CountsItsDepthAndKnowsItsOwner) {
  EXPECT_EQ(entry_lock_depth(), 0u);
  entry_lock_enter();
  entry_lock_enter();
  EXPECT_EQ(entry_lock_depth(), 2u);
  EXPECT_EQ(entry_lock_owner(), os->get_current_thread_id());
  entry_lock_leave();
  entry_lock_leave();
  EXPECT_EQ(entry_lock_depth(), 0u);
}

TEST(EntryLock, IsGivenBackEntirelyHoweverOftenItWasEntered) {
  for (int i = 0; i < 3; ++i) entry_lock_enter();
  const std::uint32_t depth = entry_lock_give_back();
  EXPECT_EQ(depth, 3u);
  std::uint32_t seen = 0;
  std::thread([&seen] {
    entry_lock_enter();
    seen = entry_lock_depth();
    entry_lock_leave();
  }).join();
  EXPECT_EQ(seen, 1u);
  entry_lock_take_again(depth);
  EXPECT_EQ(entry_lock_depth(), 3u);
  EXPECT_EQ(entry_lock_owner(), os->get_current_thread_id());
  for (int i = 0; i < 3; ++i) entry_lock_leave();
}

TEST(EntryLock, GivingBackWhatIsNotHeldIsNothing) {
  EXPECT_EQ(entry_lock_give_back(), 0u);
  entry_lock_take_again(0);
  EXPECT_EQ(entry_lock_depth(), 0u);
}

// --- the library
// -----------------------------------------------------------------------------------------------

int initialised = 0;
int deleted = 0;

TEST(DllEntryPoint, InitialisesTheLockOnAttachAndDeletesItOnDetachOnceEach) {
  static OsTable counting = kSystemOs;
  counting.initialize_critical_section = [](CriticalSection* lock) {
    ++initialised;
    kSystemOs.initialize_critical_section(lock);
  };
  counting.delete_critical_section = [](CriticalSection* lock) {
    ++deleted;
    kSystemOs.delete_critical_section(lock);
  };
  os = &counting;
  EXPECT_EQ(DllEntryPoint(kProcessAttach), 1);  // attached already: nothing to do
  EXPECT_EQ(initialised, 0);
  EXPECT_EQ(DllEntryPoint(kProcessDetach), 1);
  EXPECT_EQ(DllEntryPoint(kProcessDetach), 1);
  EXPECT_EQ(deleted, 1);
  EXPECT_EQ(DllEntryPoint(kProcessAttach), 1);
  EXPECT_EQ(initialised, 1);
  EXPECT_EQ(DllEntryPoint(2), 1);  // a thread comes
  EXPECT_EQ(DllEntryPoint(3), 1);  // a thread goes
  EXPECT_EQ(initialised, 1);
  EXPECT_EQ(deleted, 1);
  entry_lock_enter();
  EXPECT_EQ(DllEntryPoint(kProcessDetach), 1);  // held: it stays
  EXPECT_EQ(deleted, 1);
  entry_lock_leave();
  os = &kSystemOs;
}

fsort_handle made_before_main = FsortCreate(nullptr, nullptr);

TEST(LibraryAttach, ComesBeforeTheInitialisersOfTheProgram) {
  ASSERT_NE(made_before_main, nullptr);
  EXPECT_STREQ(FsortMessage(made_before_main), "");
  FsortDestroy(made_before_main);
  made_before_main = nullptr;
}

}  // namespace

}  // namespace fsort::test
