// Calling out: what is in force during a callback, what is kept of its result, and the countdown of yields.
#include "entry/callbacks.h"

#include "entry_harness.h"

namespace fsort::test {

namespace {

int yields = 0;
std::uint32_t yield_result = 1;
std::vector<int> yield_points;  // file records seen before each yield call
int points = 0;

std::uint32_t count_yield() {
  ++yields;
  yield_points.push_back(points);
  return yield_result;
}

class Callbacks : public EntryTest {
 protected:
  void SetUp() override {
    EntryTest::SetUp();
    yields = 0;
    points = 0;
    yield_points.clear();
    make(show, count_yield);
    ASSERT_TRUE(instance_enter(subject, frame_, EntryKind::plain));
  }
  void TearDown() override {
    instance_leave(frame_);
    EntryTest::TearDown();
  }

  static void pass_points(int count) {
    for (int i = 0; i < count; ++i) {
      UserYield();
      ++points;
    }
  }

 private:
  EntryFrame frame_;
};

Instance* in_force = nullptr;

void note_at_display(const char*) { in_force = current_instance; }

TEST_F(Callbacks, DisplayRunsInTheCallersInstanceAndPutsTheOwnOneBack) {
  Instance* own = current_instance;
  in_force = own;
  at_display = note_at_display;
  EXPECT_EQ(UserDisplay("text\n"), 0);
  EXPECT_EQ(in_force, nullptr);
  EXPECT_EQ(current_instance, own);
  EXPECT_EQ(shown, Texts{"text\n"});
  EXPECT_STREQ(own->entry.display_text, "text\n");
}

std::int32_t answer_four(std::uint64_t* length, const void** record) {
  in_force = current_instance;
  *length = 4;
  *record = "four";
  return 44;
}

TEST_F(Callbacks, ReadGoesThroughTheSlotsAndKeepsItsResult) {
  Instance* own = current_instance;
  in_force = own;
  own->entry.user_read = reinterpret_cast<ReadFunction>(answer_four);
  std::uint64_t length = 0;
  const std::uint8_t* record = nullptr;
  EXPECT_EQ(UserRead(&length, &record), 44);
  EXPECT_EQ(length, 4u);
  EXPECT_EQ(own->entry.user_status, 44);
  EXPECT_EQ(own->entry.read_length, &length);
  EXPECT_EQ(own->entry.read_record, &record);
  EXPECT_EQ(in_force, nullptr);
  EXPECT_EQ(current_instance, own);
}

std::int32_t answer_length(std::uint64_t length, const void*) { return -static_cast<std::int32_t>(length); }

TEST_F(Callbacks, WriteGoesThroughTheSlotsAndKeepsItsResult) {
  EntryState& e = current_instance->entry;
  e.user_write = reinterpret_cast<WriteFunction>(answer_length);
  const auto* record = reinterpret_cast<const std::uint8_t*>("abc");
  EXPECT_EQ(UserWrite(3, record), -3);
  EXPECT_EQ(e.user_status, -3);
  EXPECT_EQ(e.write_length, 3u);
  EXPECT_EQ(e.write_record, record);
}

TEST_F(Callbacks, YieldIsCalledAtTheFirstPoint) {
  pass_points(1);
  EXPECT_EQ(yields, 1);
}

TEST_F(Callbacks, AYieldThatReturns3IsCalledAgainAfterExactlyThreeFurtherPoints) {
  yield_result = 3;
  pass_points(11);
  EXPECT_EQ(yield_points, (std::vector<int>{0, 3, 6, 9}));
}

TEST_F(Callbacks, AYieldThatReturns1IsCalledAtEveryPoint) {
  yield_result = 1;
  pass_points(11);
  EXPECT_EQ(yields, 11);
}

// Kept on purpose: a callback that returns 0 is called again only after 4294967295 further points.
TEST_F(Callbacks, KeptOnPurposeACallbackThatReturns0IsCalledAgainOnlyAfter4294967295FurtherPoints) {
  yield_result = 0;
  pass_points(11);
  EXPECT_EQ(yields, 1);
  EXPECT_EQ(current_instance->entry.yield_count, 0xFFFFFFFFu - 9u);
  current_instance->entry.yield_count = 1;
  pass_points(1);
  EXPECT_EQ(yields, 2);
}

TEST_F(Callbacks, WithoutAYieldFunctionTheCountStandsStill) {
  current_instance->entry.user_yield = nullptr;
  pass_points(3);
  EXPECT_EQ(current_instance->entry.yield_count, 1u);
}

// --- in a whole sort
// ------------------------------------------------------------------------------------------

class YieldingSorts : public EntryTest {
 protected:
  // A sort of five lines with files on both sides: six reads, the end among them, and five writes.
  int yields_with(std::uint32_t result) {
    write_file("in", "e\nd\nc\nb\na\n");
    yields = 0;
    yield_result = result;
    make(show, count_yield);
    EXPECT_EQ(start("<in >out -q"), 0);
    EXPECT_EQ(read_file("out"), "a\nb\nc\nd\ne\n");
    return yields;
  }
};

TEST_F(YieldingSorts, AResultOf3GivesFourCallsInElevenPoints) { EXPECT_EQ(yields_with(3), 4); }
TEST_F(YieldingSorts, AResultOf1GivesElevenCallsInElevenPoints) { EXPECT_EQ(yields_with(1), 11); }
TEST_F(YieldingSorts, AResultOf0GivesOneCall) { EXPECT_EQ(yields_with(0), 1); }

TEST_F(YieldingSorts, CallbackRecordsAreNoYieldPoints) {
  given = {"b", "a"};
  yields = 0;
  yield_result = 1;
  make(show, count_yield);
  EXPECT_EQ(start("-q", read_given, take_record), 0);
  EXPECT_EQ(yields, 0);
}

fsort_handle other = nullptr;

std::uint32_t sort_fixed_inside() {
  if (yields++ == 0) {
    write_file("fixed", "zzyy");
    other = FsortCreate(nullptr, nullptr);
    EXPECT_EQ(FsortStart(other, nullptr, nullptr, "<fixed >fixed_out -rf 2 -q"), 0);
    FsortDestroy(other);
  }
  return 1;
}

// Kept on purpose: the reader of files belongs to the process, the latest command line that named one wins.
TEST_F(YieldingSorts, KeptOnPurposeTheReaderOfFilesBelongsToTheProcess) {
  write_file("in", "b\na\n\n");
  yields = 0;
  make(show, sort_fixed_inside);
  EXPECT_EQ(start("<in -q", nullptr, take_record), 0);
  EXPECT_EQ(read_file("fixed_out"), "yyzz");
  // The sort asked for lines. From the first yield on its bytes were taken by the reader of fixed records,
  // in the size of this instance's record buffer: more than the file has, so they are dropped as the rest.
  EXPECT_EQ(taken, Texts{});
}

}  // namespace

}  // namespace fsort::test
