// The record pipe: the mailbox itself, sorts fed and drained by other threads, and how waits end.
#include "entry/pipe.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>

#include "entry_harness.h"

namespace fsort::test {

namespace {

const std::uint8_t* bytes(const char* text) { return reinterpret_cast<const std::uint8_t*>(text); }

void wait_a_little() { std::this_thread::sleep_for(std::chrono::milliseconds(20)); }

class Pipe : public EntryTest {};

TEST_F(Pipe, SendOnAnEmptyPipeReturnsAtOnceAndLeavesTheFlagAt1) {
  EntryFrame frame;
  ASSERT_TRUE(instance_enter(subject, frame, EntryKind::plain));
  RecordPipe& pipe = record().entry.pipe;
  EXPECT_EQ(pipe_send(&pipe, 5, bytes("hello")), 0);
  EXPECT_EQ(pipe.flag, 1u);
  EXPECT_EQ(pipe.length, 5u);
  instance_leave(frame);
}

TEST_F(Pipe, RetrieveHandsBackExactlyTheLengthAndAddressThatWereSent) {
  const char text[] = "hello";
  FsortSend(subject, 0x123456789, text);
  std::uint64_t length = 0;
  const void* record_out = nullptr;
  FsortRetrieve(subject, &length, &record_out);
  EXPECT_EQ(length, 0x123456789u);
  EXPECT_EQ(record_out, text);
  EXPECT_EQ(record().entry.pipe.flag, 0u);
}

TEST_F(Pipe, TheSortsOwnFunctionsPassAddressesThroughOutsideASort) {
  EntryFrame frame;
  ASSERT_TRUE(instance_enter(subject, frame, EntryKind::plain));
  EntryState& e = record().entry;
  e.pipe_ptr = &e.pipe;
  const std::uint8_t* text = bytes("same");
  EXPECT_EQ(fsort_send(4, text), 0);
  std::uint64_t length = 0;
  const std::uint8_t* out = nullptr;
  EXPECT_EQ(fsort_retrieve(&length, &out), 0);
  EXPECT_EQ(length, 4u);
  EXPECT_EQ(out, text);
  instance_leave(frame);
}

TEST_F(Pipe, ASecondSendDoesNotReturnBeforeARetrieve) {
  FsortSend(subject, 1, "a");
  std::atomic<bool> returned{false};
  std::thread sender([&returned] {
    FsortSend(subject, 1, "b");
    returned = true;
  });
  wait_a_little();
  EXPECT_FALSE(returned);
  std::uint64_t length = 0;
  const void* out = nullptr;
  FsortRetrieve(subject, &length, &out);
  EXPECT_EQ(std::memcmp(out, "a", 1), 0);
  sender.join();
  FsortRetrieve(subject, &length, &out);
  EXPECT_EQ(std::memcmp(out, "b", 1), 0);
}

TEST_F(Pipe, ARetrieveWaitsForASend) {
  std::uint64_t length = 0;
  const void* out = nullptr;
  std::thread receiver([&] { FsortRetrieve(subject, &length, &out); });
  wait_a_little();
  FsortSend(subject, 3, "abc");
  receiver.join();
  EXPECT_EQ(length, 3u);
}

// A system whose yields and sleeps are counted while it lives.
class CountedWaits {
 public:
  CountedWaits() : real_(os), table_(*os) {
    table_.yield_thread = [] {
      ++yields;
      instance_->real_->yield_thread();
    };
    table_.sleep_condition_variable = [](ConditionVariable* condition, CriticalSection* lock,
                                         std::uint32_t ms) {
      ++sleeps;
      const bool woken = instance_->real_->sleep_condition_variable(condition, lock, ms);
      if (woken) ++wakes;
      return woken;
    };
    yields = sleeps = wakes = 0;
    instance_ = this;
    os = &table_;
  }
  ~CountedWaits() { os = real_; }
  CountedWaits(const CountedWaits&) = delete;
  CountedWaits& operator=(const CountedWaits&) = delete;

  static inline std::atomic<int> yields{0};
  static inline std::atomic<int> sleeps{0};
  static inline std::atomic<int> wakes{0};

 private:
  static inline CountedWaits* instance_ = nullptr;
  const OsTable* real_;
  OsTable table_;
};

TEST_F(Pipe, AWaitThatLastsYieldsAFewTimesThenSleepsAndIsWokenByTheSend) {
  destroy();
  {
    const CountedWaits counted;
    make();
    std::uint64_t length = 0;
    const void* out = nullptr;
    std::thread receiver([&] { FsortRetrieve(subject, &length, &out); });
    while (CountedWaits::sleeps == 0) wait_a_little();
    FsortSend(subject, 3, "abc");
    receiver.join();
    EXPECT_EQ(length, 3u);
    destroy();
  }
  EXPECT_EQ(CountedWaits::yields, 1 + 2 + 4 + 8 + 16);
  EXPECT_GE(CountedWaits::wakes, 1);
  make();
}

// --- feeding a sort
// ---------------------------------------------------------------------------------------------

constexpr int kRecords = 1000;

std::string key_of(int i) {
  char text[16];
  std::snprintf(text, sizeof text, "%06d", (i * 7919) % 100003);
  return text;
}

Texts all_keys() {
  Texts keys;
  for (int i = 0; i < kRecords; ++i) keys.push_back(key_of(i));
  std::sort(keys.begin(), keys.end());
  return keys;
}

// Sends all records from two buffers in turn, then the end. Every buffer is overwritten as soon as the rule
// allows it.
void send_all() {
  char buffers[2][16];
  for (int i = 0; i < kRecords; ++i) {
    char* buffer = buffers[i % 2];
    std::memset(buffer, '#', sizeof buffers[0]);
    std::memcpy(buffer, key_of(i).data(), 6);
    FsortSend(subject, 6, buffer);
  }
  FsortSend(subject, 0, nullptr);
}

TEST_F(Pipe, AProducerThreadFeedsASort) {
  std::thread producer(send_all);
  EXPECT_EQ(start("-q", FSORT_PIPE_INPUT, take_record), 0);
  producer.join();
  EXPECT_EQ(taken, all_keys());
  EXPECT_EQ(entry_lock_depth(), 0u);
}

TEST_F(Pipe, ARecordSentBeforeTheStartIsNotLost) {
  FsortSend(subject, 1, "b");
  std::thread producer([] {
    FsortSend(subject, 1, "c");
    FsortSend(subject, 1, "a");
    FsortSend(subject, 0, nullptr);
  });
  wait_a_little();  // the second send waits in the pipe when the sort starts
  EXPECT_EQ(start("-q", FSORT_PIPE_INPUT, take_record), 0);
  producer.join();
  EXPECT_EQ(taken, (Texts{"a", "b", "c"}));
}

TEST_F(Pipe, AnEndSentBeforeTheStartIsAnEmptyInput) {
  FsortSend(subject, 0, nullptr);
  EXPECT_EQ(start("-q", FSORT_PIPE_INPUT, take_record), 0);
  EXPECT_EQ(taken, Texts{});
}

TEST_F(Pipe, UntilAnEarlyRecordIsTakenThePipeCountsAsFull) {
  FsortSend(subject, 1, "x");
  EntryFrame frame;
  ASSERT_TRUE(instance_enter(subject, frame, EntryKind::plain));
  EntryState& e = record().entry;
  e.start_input = reinterpret_cast<ReadFunction>(FSORT_PIPE_INPUT);
  pipe_start(true);
  EXPECT_EQ(e.pipe.flag, 0u);
  EXPECT_EQ(e.pipe_kept, 1);
  instance_leave(frame);
  std::atomic<bool> returned{false};
  std::thread sender([&returned] {
    FsortSend(subject, 1, "y");
    returned = true;
  });
  wait_a_little();
  EXPECT_FALSE(returned);
  ASSERT_TRUE(instance_enter(subject, frame, EntryKind::plain));
  std::uint64_t length = 0;
  const std::uint8_t* out = nullptr;
  EXPECT_EQ(fsort_retrieve(&length, &out), 0);
  EXPECT_EQ(*out, 'x');
  instance_leave(frame);
  sender.join();
}

TEST_F(Pipe, ASendAfterTheSortHasEndedReturnsAtOnce) {
  FsortSend(subject, 0, nullptr);
  EXPECT_EQ(start("-q", FSORT_PIPE_INPUT, take_record), 0);
  FsortSend(subject, 1, "x");
  FsortSend(subject, 1, "y");
  EXPECT_EQ(record().entry.pipe.flag, 0u);
}

std::int32_t refuse(std::uint64_t, const void*) { return 1; }

TEST_F(Pipe, AFailingSortSendsItsProducerHome) {
  std::thread producer(send_all);
  EXPECT_EQ(start("-q -rf 3 zz", FSORT_PIPE_INPUT, take_record), 1);
  producer.join();
  make();
  std::thread again(send_all);
  EXPECT_EQ(start("-q", FSORT_PIPE_INPUT, refuse), 1);
  again.join();
}

// --- draining a sort
// -----------------------------------------------------------------------------------------------

// Retrieves to the end; each record is looked at only when the sort had time to run on.
Texts retrieve_all(bool slowly) {
  Texts records;
  for (;;) {
    std::uint64_t length = 7;
    const void* out = "";
    FsortRetrieve(subject, &length, &out);
    if (length == 0) {
      EXPECT_EQ(out, nullptr);
      return records;
    }
    if (slowly && records.size() % 100 == 0) wait_a_little();
    records.emplace_back(static_cast<const char*>(out), length);
  }
}

TEST_F(Pipe, AConsumerThreadDrainsASortAndMayCopyLate) {
  for (int i = 0; i < kRecords; ++i) given.push_back(key_of(i));
  Texts records;
  std::thread consumer([&records] { records = retrieve_all(true); });
  EXPECT_EQ(start("-q", read_given, FSORT_PIPE_OUTPUT), 0);
  consumer.join();
  EXPECT_EQ(records, all_keys());
}

TEST_F(Pipe, TheCallerMayDrainWhileAnotherThreadIsInsideTheSort) {
  for (int i = 0; i < kRecords; ++i) given.push_back(key_of(i));
  std::int32_t status = -1;
  std::thread sorter([&status] { status = FsortStart(subject, read_given, FSORT_PIPE_OUTPUT, "-q"); });
  EXPECT_EQ(retrieve_all(false), all_keys());
  sorter.join();
  EXPECT_EQ(status, 0);
}

TEST_F(Pipe, RecordsOfAllSizesArriveWhole) {
  for (std::size_t n = 1; n < 400; ++n) given.push_back(std::string(n, 'x'));
  Texts expected = given;
  Texts records;
  std::thread consumer([&records] { records = retrieve_all(false); });
  EXPECT_EQ(start("-q", read_given, FSORT_PIPE_OUTPUT), 0);
  consumer.join();
  std::sort(records.begin(), records.end());
  EXPECT_EQ(records, expected);
}

TEST_F(Pipe, AFailingSortTellsItsConsumerTheEnd) {
  Texts records{"not yet"};
  std::thread consumer([&records] { records = retrieve_all(false); });
  EXPECT_EQ(start("zz", read_given, FSORT_PIPE_OUTPUT), 1);
  consumer.join();
  EXPECT_EQ(records, Texts{});
}

TEST_F(Pipe, InputAndOutputMayBothBeThePipe) {
  Texts records;
  std::thread peer([&records] {
    send_all();
    records = retrieve_all(false);
  });
  EXPECT_EQ(start("-q", FSORT_PIPE_INPUT, FSORT_PIPE_OUTPUT), 0);
  peer.join();
  EXPECT_EQ(records, all_keys());
}

OsTable failing;
std::atomic<bool> refuse_memory{false};

TEST_F(Pipe, WithoutMemoryForTheCopyTheSortFails) {
  failing = kSystemOs;
  failing.heap_alloc = [](std::size_t size) -> void* {
    return refuse_memory ? nullptr : kSystemOs.heap_alloc(size);
  };
  os = &failing;
  given = {"b", "a"};
  at_display = nullptr;
  static auto read_then_refuse = [](std::uint64_t* length, const void** out) -> std::int32_t {
    const std::int32_t status = read_given(length, out);
    if (*length == 0) refuse_memory = true;
    return status;
  };
  Texts records{"not yet"};
  std::thread consumer([&records] { records = retrieve_all(false); });
  EXPECT_EQ(start("-q", +read_then_refuse, FSORT_PIPE_OUTPUT), 1);
  refuse_memory = false;
  consumer.join();
  EXPECT_EQ(records, Texts{});
  EXPECT_EQ(shown, (Texts{kWriteFailed, kCallTitle}));
  destroy();
  os = &kSystemOs;
}

// --- other threads while a pipe sort waits
// --------------------------------------------------------------------------

TEST_F(Pipe, AnotherThreadAbortsASortThatWaitsForARecord) {
  std::thread producer([] {
    FsortSend(subject, 1, "a");
    wait_a_little();
    FsortExit(subject, 7);
    FsortSend(subject, 1, "b");  // returns: the sort is over or about to be
  });
  EXPECT_EQ(start("-q", FSORT_PIPE_INPUT, take_record), 7);
  producer.join();
  EXPECT_EQ(shown, (Texts{kAborted, kCallTitle}));
  EXPECT_EQ(entry_lock_depth(), 0u);
}

TEST_F(Pipe, AnotherThreadAbortsASortThatWaitsForItsConsumer) {
  given = {"b", "a"};
  std::thread consumer([] {
    std::uint64_t length = 0;
    const void* out = nullptr;
    FsortRetrieve(subject, &length, &out);
    EXPECT_EQ(length, 1u);
    FsortRetrieve(subject, &length, &out);
    EXPECT_EQ(length, 1u);
    FsortExit(subject, 7);
  });
  given = {"d", "c", "b", "a"};
  EXPECT_EQ(start("-q", read_given, FSORT_PIPE_OUTPUT), 7);
  consumer.join();
  EXPECT_EQ(shown, (Texts{kAborted, kCallTitle}));
}

TEST_F(Pipe, AHandleWhoseSortWaitsCanBeNeitherStartedNorDestroyedByAnotherThread) {
  std::int32_t status = -1;
  std::thread producer([&status] {
    wait_a_little();
    status = FsortStart(subject, read_given, take_record, "");
    FsortDestroy(subject);
    FsortSend(subject, 1, "a");
    FsortSend(subject, 0, nullptr);
  });
  EXPECT_EQ(start("-q", FSORT_PIPE_INPUT, take_record), 0);
  producer.join();
  EXPECT_EQ(status, 1);
  EXPECT_EQ(taken, Texts{"a"});
}

TEST_F(Pipe, AnotherInstanceSortsToItsEndWhileAPipeSortWaits) {
  std::string sorted_meanwhile;
  write_file("in", "b\na\n");
  std::thread other([&sorted_meanwhile] {
    FsortSend(subject, 1, "z");
    wait_a_little();
    fsort_handle handle = FsortCreate(nullptr, nullptr);
    EXPECT_EQ(FsortStart(handle, nullptr, nullptr, "<in >out -q"), 0);
    FsortDestroy(handle);
    sorted_meanwhile = read_file("out");
    FsortSend(subject, 0, nullptr);
  });
  EXPECT_EQ(start("-q", FSORT_PIPE_INPUT, take_record), 0);
  other.join();
  EXPECT_EQ(sorted_meanwhile, "a\nb\n");
  EXPECT_EQ(taken, Texts{"z"});
}

TEST_F(Pipe, AProducerMayReadTheInputFileThroughTheHandle) {
  write_file("in", "b\nc\na\n");
  std::thread producer([] {
    std::string buffers[2];
    FsortSend(subject, 2, "d\n");  // returns when the sort or its early record has it
    for (int i = 0;; ++i) {
      std::uint64_t length = 0;
      const void* line = nullptr;
      while (instance_of(subject)->entry.running == 0) std::this_thread::yield();
      EXPECT_EQ(FsortRead(subject, &length, &line), 0);
      if (length == 0) break;
      buffers[i % 2].assign(static_cast<const char*>(line), length);
      FsortSend(subject, length, buffers[i % 2].data());
    }
    FsortSend(subject, 0, nullptr);
  });
  EXPECT_EQ(start("<in -q", FSORT_PIPE_INPUT, take_record), 0);
  producer.join();
  EXPECT_EQ(taken, (Texts{"a\n", "b\n", "c\n", "d\n"}));
}

fsort_handle outer = nullptr;
std::atomic<bool> waiting{false};

// A read function that waits on the pipe of another handle, where the abort of its own sort reaches it.
std::int32_t wait_on_another_pipe(std::uint64_t* length, const void** out) {
  waiting = true;
  FsortRetrieve(subject, length, out);
  return 0;
}

TEST_F(Pipe, AnAbortReachesASortWhoseCallbackWaitsOnAnotherPipe) {
  outer = FsortCreate(show, nullptr);
  waiting = false;
  std::thread peer([] {
    while (!waiting) std::this_thread::yield();
    FsortExit(outer, 9);
    FsortSend(subject, 1, "a");  // the wait ends well; the abort is noticed when the callback returns
  });
  EXPECT_EQ(FsortStart(outer, wait_on_another_pipe, take_record, "-q"), 9);
  peer.join();
  EXPECT_EQ(shown, (Texts{kAborted, kCallTitle}));
  EXPECT_EQ(taken, Texts{});
  FsortDestroy(outer);
}

std::int32_t wait_on_the_own_pipe(std::uint64_t* length, const void** out) {
  waiting = true;
  FsortRetrieve(subject, length, out);
  return 0;
}

TEST_F(Pipe, AnAbortEndsAWaitThatACallbackOfTheSameSortIsIn) {
  waiting = false;
  std::thread peer([] {
    while (!waiting) std::this_thread::yield();
    FsortExit(subject, 9);
  });
  EXPECT_EQ(start("-q", wait_on_the_own_pipe, take_record), 9);
  peer.join();
  EXPECT_EQ(shown, (Texts{kAborted, kCallTitle}));
}

TEST_F(Pipe, DestroyingSendsWaitingThreadsHome) {
  std::uint64_t length = 7;
  const void* out = "";
  std::thread consumer([&] { FsortRetrieve(subject, &length, &out); });
  wait_a_little();
  fsort_handle handle = subject;
  FsortDestroy(handle);
  subject = nullptr;
  consumer.join();
  EXPECT_EQ(length, 0u);
  EXPECT_EQ(out, nullptr);
}

TEST_F(Pipe, ALockLeftByAnAbortIsGivenBackInAWait) {
  static auto exit_at_once = [](std::uint64_t*, const void**) -> std::int32_t {
    FsortExit(subject, 3);
    return 0;
  };
  EXPECT_EQ(start("", +exit_at_once, take_record), 3);
  EXPECT_EQ(entry_lock_depth(), 1u);
  make();
  std::thread producer(send_all);
  EXPECT_EQ(start("-q", FSORT_PIPE_INPUT, take_record), 0);
  EXPECT_EQ(entry_lock_depth(), 1u);
  release_lock();
  producer.join();
  EXPECT_EQ(taken, all_keys());
}

}  // namespace

}  // namespace fsort::test
