// The simulated system that other tests stand on: it must notice what it promises to notice.
#include "support/sim_os.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>

#include "platform/heap.h"
#include "support/temp_folder.h"

namespace fsort::test {
namespace {

using Texts = std::vector<std::string>;

// A read or write in flight on a heap block, whose result is fetched at the end unless a test spoils it.
class InFlight : public testing::TestWithParam<bool> {
 protected:
  InFlight() : sim_(std::make_unique<SimOs>(1)) {
    sim_->set_lateness(100, 0);
    sim_->make_file("f", pattern_bytes(4000));
    file_ = os->create_file("f", kGenericRead | kGenericWrite, 0, nullptr, kOpenExisting, kFlagOverlapped,
                            nullptr);
    record_ = static_cast<Overlapped*>(heap_alloc(sizeof(Overlapped)));
    *record_ = Overlapped{};
    record_->event = os->create_event(nullptr, false, false, nullptr);
    data_ = static_cast<char*>(heap_alloc(kBytes));
    std::memset(data_, 7, kBytes);
    issue(data_);
  }
  ~InFlight() override { sim_->give_back_memory(); }
  bool issue(char* data) {
    std::uint32_t done = 0;
    const bool at_once = GetParam() ? os->write_file(file_, data, 1000, &done, record_)
                                    : os->read_file(file_, data, 1000, &done, record_);
    EXPECT_FALSE(at_once);
    EXPECT_EQ(os->get_last_error(), kErrorIoPending);
    return at_once;
  }
  std::uint32_t fetch() {
    std::uint32_t done = 0;
    return os->get_overlapped_result(file_, record_, &done, true) ? done : 0;
  }
  // What was noted after `spoil` and, unless the request is gone with it, fetching the result.
  Texts noted(const std::function<void()>& spoil, bool gone = false) {
    spoil();
    EXPECT_EQ(gone ? 1000u : fetch(), 1000u);
    return sim_->violations();
  }
  // What the file holds where the write went.
  [[nodiscard]] std::string written() const { return sim_->content("f").substr(0, 1000); }

  static constexpr std::size_t kBytes = 2000;
  std::unique_ptr<SimOs> sim_;
  Handle file_ = nullptr;
  Overlapped* record_ = nullptr;
  char* data_ = nullptr;
};

INSTANTIATE_TEST_SUITE_P(Of, InFlight, testing::Bool(),
                         [](const auto& write) { return write.param ? "AWrite" : "ARead"; });

TEST_P(InFlight, ItIsDoneOnlyWhenItIsWaitedFor) {
  EXPECT_EQ(sim_->in_flight(), 1u);
  if (GetParam()) {
    EXPECT_EQ(written(), pattern_bytes(1000));
  } else {
    EXPECT_NE(std::string(data_, 1000), pattern_bytes(1000)) << "rubbish until then";
  }
  EXPECT_EQ(noted([] {}), Texts{});
  EXPECT_EQ(GetParam() ? written() : std::string(data_, 1000),
            GetParam() ? std::string(1000, '\7') : pattern_bytes(1000));
  heap_free(data_);
  os->close_handle(record_->event);
  heap_free(record_);
  os->close_handle(file_);
  EXPECT_TRUE(sim_->clean()) << sim_->alive();
  EXPECT_EQ(sim_->violations(), Texts{});
}

TEST_P(InFlight, AChangeOfTheBufferIsNoted) {
  const std::string kind = GetParam() ? "write" : "read";
  EXPECT_EQ(noted([this] { data_[999] ^= 1; }), Texts{"the buffer of a " + kind + " in flight was changed"});
}

TEST_P(InFlight, AChangeAfterItCompletedUnseenIsNotedToo) {
  sim_->set_lateness(100, 99);
  static_cast<void>(os->flush_file_buffers(file_));
  EXPECT_EQ(sim_->counts().early, 1u);
  sim_->set_lateness(100, 0);
  EXPECT_EQ(noted([this] { data_[0] ^= 1; }).size(), 1u);
}

TEST_P(InFlight, AChangeOutsideTheBufferIsNot) {
  EXPECT_EQ(noted([this] { data_[1000] ^= 1; }), Texts{});
}

TEST_P(InFlight, GivingTheBufferBackIsNoted) {
  EXPECT_EQ(noted([this] { heap_free(data_); }, true),
            Texts{"memory was given back while a request was in flight"});
}

TEST_P(InFlight, GivingTheRecordBackIsNoted) {
  EXPECT_EQ(noted([this] { heap_free(record_); }, true),
            Texts{"memory was given back while a request was in flight"});
}

TEST_P(InFlight, ClosingTheEventIsNoted) {
  EXPECT_EQ(noted([this] { os->close_handle(record_->event); }, true),
            Texts{"an event was closed while a request was in flight"});
}

TEST_P(InFlight, ClosingTheFileIsNoted) {
  EXPECT_EQ(noted([this] { os->close_handle(file_); }, true),
            Texts{"a file was closed while a request was in flight"});
}

TEST_P(InFlight, MovingTheEndOfTheFileIsNoted) {
  EXPECT_EQ(noted([this] { os->set_end_of_file(file_); }, true),
            Texts{"the end of a file was moved while a request was in flight"});
}

TEST_P(InFlight, IssuingItsRecordOrItsBufferAgainIsNoted) {
  EXPECT_EQ(noted([this] { issue(data_ + 1000); }),
            Texts{"a buffer or its record was used again while a request was in flight"});
}

TEST_P(InFlight, WaitingThroughAnotherHandleIsNoted) {
  sim_->make_file("g", "");
  Handle other = os->create_file("g", kGenericRead, kShareRead, nullptr, kOpenExisting, 0, nullptr);
  std::swap(file_, other);
  EXPECT_EQ(noted([] {}), Texts{"the result of a request was asked for through another handle"});
}

TEST_P(InFlight, AskingWithoutWaitingLeavesItInFlight) {
  std::uint32_t done = 0;
  EXPECT_FALSE(os->get_overlapped_result(file_, record_, &done, false));
  EXPECT_EQ(os->get_last_error(), 996u);
  EXPECT_EQ(noted([] {}), Texts{});
  EXPECT_FALSE(os->get_overlapped_result(file_, record_, &done, false));
  EXPECT_EQ(sim_->violations(), Texts{"the result of a request was asked for that is not in flight"});
}

TEST(SimOs, NotesHandlesUsedAfterTheirCloseAndTransfersBeyondTheirBlock) {
  SimOs sim(1);
  sim.make_file("f", pattern_bytes(4000));
  Handle file = os->create_file("f", kGenericRead, kShareRead, nullptr, kOpenExisting, 0, nullptr);
  char* block = static_cast<char*>(heap_alloc(4000));
  std::uint32_t done = 0;
  EXPECT_TRUE(os->read_file(file, block, 4000, &done, nullptr));
  EXPECT_EQ(sim.violations(), Texts{});
  os->close_handle(file);
  EXPECT_FALSE(os->read_file(file, block, 1, &done, nullptr));
  EXPECT_EQ(sim.violations(), Texts{"a handle was used after it was closed"});
  heap_free(block);
}

TEST(SimOs, RefusesUnbufferedTransfersOffTheSectors) {
  SimOs sim(1);
  sim.make_file("f", pattern_bytes(4096));
  Handle file =
      os->create_file("f", kGenericRead, kShareRead, nullptr, kOpenExisting, kFlagNoBuffering, nullptr);
  alignas(512) static char data[1024];
  std::uint32_t done = 0;
  EXPECT_TRUE(os->read_file(file, data, 512, &done, nullptr));
  EXPECT_FALSE(os->read_file(file, data, 500, &done, nullptr));
  EXPECT_EQ(os->get_last_error(), kErrorInvalidParameter);
  EXPECT_FALSE(os->read_file(file, data + 1, 512, &done, nullptr));
  std::int32_t high = 0;
  EXPECT_EQ(os->set_file_pointer(file, 100, &high, kSeekBegin), 0xFFFFFFFF);
  EXPECT_EQ(os->get_last_error(), kErrorInvalidParameter);
  os->close_handle(file);
}

// What a seed gives: the sizes of forty reads, some late, some short, some failed.
std::string history(std::uint64_t seed) {
  SimOs sim(seed);
  sim.set_lateness(50, 30);
  sim.trouble(SimTrouble::kRead, 2000);
  sim.trouble(SimTrouble::kShortRead, 3000);
  sim.make_file("f", pattern_bytes(4096));
  Handle file =
      os->create_file("f", kGenericRead, kShareRead, nullptr, kOpenExisting, kFlagOverlapped, nullptr);
  std::string text;
  for (int i = 0; i < 40; ++i) {
    Overlapped record{};
    char data[700];
    std::uint32_t done = 0;
    bool ok = os->read_file(file, data, sizeof data, &done, &record);
    const bool late = !ok && os->get_last_error() == kErrorIoPending;
    if (late) ok = os->get_overlapped_result(file, &record, &done, true);
    text += (late ? "late " : "") + std::to_string(ok ? done : os->get_last_error() + 10000) + "\n";
  }
  EXPECT_GT(sim.counts().troubles, 5u);
  os->close_handle(file);
  return text;
}

TEST(SimOs, GivesTheSameForTheSameSeedOnly) {
  const std::string first = history(7);
  EXPECT_EQ(first, history(7));
  EXPECT_NE(first, history(8));
}

}  // namespace
}  // namespace fsort::test
