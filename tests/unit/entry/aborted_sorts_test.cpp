// FsortExit from every place that a caller can call it from, and calls on a handle whose sort is running.
#include <atomic>
#include <thread>

#include "entry_harness.h"
#include "support/fault_os.h"

namespace fsort::test {

namespace {

std::int32_t exit_code = 0;
int calls = 0;
int exit_at = 1;

std::int32_t exit_from_read(std::uint64_t* length, const void** record) {
  if (++calls == exit_at) FsortExit(subject, exit_code);
  return read_given(length, record);
}

std::int32_t exit_from_write(std::uint64_t, const void*) {
  if (++calls == exit_at) FsortExit(subject, exit_code);
  return 0;
}

std::uint32_t exit_from_yield() {
  if (++calls == exit_at) FsortExit(subject, exit_code);
  return 1;
}

void exit_always(const char*) { FsortExit(subject, exit_code); }

class AbortedSorts : public EntryTest {
 protected:
  void SetUp() override {
    EntryTest::SetUp();
    given = {"c", "b", "a"};
    calls = 0;
    exit_at = 1;
    exit_code = 7;
  }
};

TEST_F(AbortedSorts, ExitFromAReadFunctionReturnsItsCode) {
  EXPECT_EQ(start("", exit_from_read, take_record), 7);
  EXPECT_EQ(shown, (Texts{kAborted, kCallTitle}));
}

TEST_F(AbortedSorts, ExitFromALaterReadReturnsItsCode) {
  exit_at = 4;  // the one that would have answered the end
  EXPECT_EQ(start("", exit_from_read, take_record), 7);
  EXPECT_EQ(taken, Texts{});
}

TEST_F(AbortedSorts, ExitWithCode0Returns1) {
  exit_code = 0;
  EXPECT_EQ(start("", exit_from_read, take_record), 1);
  EXPECT_EQ(shown, (Texts{kAborted, kCallTitle}));
}

TEST_F(AbortedSorts, ExitWithANegativeCodeReturnsIt) {
  exit_code = -5;
  EXPECT_EQ(start("", exit_from_read, take_record), -5);
}

TEST_F(AbortedSorts, ExitFromAWriteFunctionReturnsItsCode) {
  exit_at = 2;
  EXPECT_EQ(start("", read_given, exit_from_write), 7);
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(shown, (Texts{kAborted, kCallTitle}));
}

TEST_F(AbortedSorts, ExitFromAYieldFunctionReturnsItsCode) {
  make(show, exit_from_yield);
  write_file("in", "b\na\n");
  exit_at = 3;
  EXPECT_EQ(start("<in >out"), 7);
  EXPECT_EQ(shown, (Texts{kAborted, kCallTitle}));
}

TEST_F(AbortedSorts, ExitFromADisplayCallbackThatAlwaysCallsItTerminates) {
  exit_code = 5;
  at_display = exit_always;
  EXPECT_EQ(start("zz", read_given, take_record), 5);
  EXPECT_EQ(shown, (Texts{"zz is an invalid argument\n", kAborted}));
  make();
  EXPECT_EQ(start("", nullptr, nullptr), 5);
  EXPECT_EQ(shown, (Texts{"Input function OR input file must be specified\n", kAborted}));
}

void exit_at_segment_length(const char* text) {
  if (std::string_view(text) == "Segment length = 91\r\n") FsortExit(subject, 9);
}

TEST_F(AbortedSorts, ExitDuringInitialisationReturnsItsCodeToo) {
  at_display = exit_at_segment_length;
  EXPECT_EQ(start("-v", read_given, take_record), 9);
  EXPECT_EQ(shown, (Texts{"Segment length = 91\r\n", kAborted, kInitTitle}));
}

void exit_at_the_title(const char* text) {
  if (text == kInitTitle) FsortExit(subject, 4);
}

TEST_F(AbortedSorts, ExitWhileATitleIsShownReturnsItsCode) {
  at_display = exit_at_the_title;
  EXPECT_EQ(start("zz", read_given, take_record), 4);
  EXPECT_EQ(shown, (Texts{"zz is an invalid argument\n", kInitTitle, kAborted, kInitTitle}));
}

void exit_at_timing(const char* text) {
  if (std::string_view(text).substr(0, 11) == "system time") FsortExit(subject, 6);
}

TEST_F(AbortedSorts, ExitFromTheTimingLinesReturnsItsCode) {
  at_display = exit_at_timing;
  EXPECT_EQ(start("", read_given, take_record), 6);
  EXPECT_EQ(taken, (Texts{"a", "b", "c"}));
}

TEST_F(AbortedSorts, ExitOnAnIdleHandleHasNoEffect) {
  FsortExit(subject, 3);
  EXPECT_EQ(entry_lock_depth(), 0u);
  EXPECT_EQ(start("-q", read_given, take_record), 0);
  FsortExit(subject, 3);
  EXPECT_EQ(entry_lock_depth(), 0u);
}

// Kept on purpose: when it aborts, the lock that it took is not given back.
TEST_F(AbortedSorts, KeptOnPurposeWhenItAbortsTheLockThatItTookIsNotGivenBack) {
  EXPECT_EQ(start("", exit_from_read, take_record), 7);
  EXPECT_EQ(entry_lock_depth(), 1u);
  EXPECT_EQ(current_instance, nullptr);
  make();  // this thread can go on
  given_next = 0;
  EXPECT_EQ(start("-q", read_given, take_record), 0);
  EXPECT_EQ(entry_lock_depth(), 1u);
}

TEST_F(AbortedSorts, AnAbortDuringOneStartIsForgottenByTheNext) {
  at_display = exit_at_segment_length;
  EXPECT_EQ(start("-v", read_given, take_record), 9);
  at_display = nullptr;
  EXPECT_EQ(start(""), 1);
}

// --- statuses of callbacks ---------------------------------------------------------------------------------

std::int32_t refuse_to_read(std::uint64_t* length, const void** record) {
  *length = 5;
  *record = nullptr;
  ++calls;
  return 3;
}

std::int32_t refuse_the_second(std::uint64_t, const void*) { return ++calls == 2 ? 9 : 0; }

TEST_F(AbortedSorts, AReadStatusOtherThan0EndsTheSort) {
  expect_failure("", {kReadFailed, kCallTitle}, refuse_to_read, take_record);
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(record().entry.user_status, 3);
}

TEST_F(AbortedSorts, AWriteStatusOtherThan0EndsTheSortAtOnce) {
  expect_failure("", {kWriteFailed, kCallTitle}, read_given, refuse_the_second);
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(record().entry.user_status, 9);
}

// --- calls on the running handle ---------------------------------------------------------------------------

std::int32_t start_status = 0;

std::int32_t start_and_destroy_inside(std::uint64_t length, const void* record) {
  start_status = FsortStart(subject, read_given, take_record, "-q");
  FsortDestroy(subject);
  return take_record(length, record);
}

TEST_F(AbortedSorts, ARunningHandleCanNeitherBeStartedNorDestroyed) {
  EXPECT_EQ(start("-q", read_given, start_and_destroy_inside), 0);
  EXPECT_EQ(start_status, 1);
  EXPECT_EQ(taken, (Texts{"a", "b", "c"}));
  EXPECT_EQ(shown, Texts{});
  EXPECT_EQ(entry_lock_depth(), 0u);
}

void start_and_destroy_at_display(const char*) {
  start_status = FsortStart(subject, read_given, take_record, "-q");
  FsortDestroy(subject);
}

TEST_F(AbortedSorts, AHandleInTheMiddleOfAFailingWriteCanNeitherBeStartedNorDestroyed) {
  write_file("in", "a\n");
  {
    FaultOs faults;
    faults.limit_disk(0);
    ASSERT_EQ(start("<in >out -q"), 1);  // leaves an output that fails again
    make();
  }
  ASSERT_EQ(start("<in >nodir/o -q"), 1);
  at_display = start_and_destroy_at_display;
  start_status = 0;
  shown.clear();
  EXPECT_EQ(FsortWrite(subject, 1, "x"), 1);
  EXPECT_EQ(start_status, 1);
  EXPECT_EQ(shown, (Texts{"Opening output file:\n" + system_text(kErrorPathNotFound) + "\n",
                          "Error writing record to output\n"}));
  at_display = nullptr;
  EXPECT_EQ(entry_lock_depth(), 0u);
}

// --- an abort inside a call that a callback made
// -------------------------------------------------------------

std::int32_t forward_status = 0;

std::int32_t forward(std::uint64_t length, const void* record) {
  forward_status = FsortWrite(subject, length, record);
  return take_record(length, record);
}

TEST_F(AbortedSorts, AnAbortWhileAnErrorOfAForwardedWriteIsShownEndsThatWriteOnly) {
  given = {"a"};
  at_display = exit_always;
  EXPECT_EQ(start(">nodir/o", read_given, forward), 7);
  EXPECT_EQ(forward_status, 1);
  EXPECT_EQ(taken, Texts{"a"});  // the sort went on
}

// --- another thread
// -------------------------------------------------------------------------------------------

std::atomic<bool> inside{false};
std::thread other;

std::int32_t let_another_thread_abort(std::uint64_t* length, const void** record) {
  if (!inside.exchange(true)) other = std::thread([] { FsortExit(subject, 8); });
  return read_given(length, record);
}

TEST_F(AbortedSorts, ExitFromAnotherThreadWaitsForTheSortAndHasNoEffect) {
  inside = false;
  EXPECT_EQ(start("-q", let_another_thread_abort, take_record), 0);
  other.join();
  EXPECT_EQ(taken, (Texts{"a", "b", "c"}));
  EXPECT_EQ(shown, Texts{});
}

}  // namespace

}  // namespace fsort::test
