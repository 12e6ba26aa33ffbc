// The fixed-length reader.
#include "recio_fixture.h"

namespace fsort::test {
namespace {

class ReadFixed : public RecioTest {};

TEST_F(ReadFixed, CutsTheInputIntoRecordsOfTheSize) {
  set_up({"-rf", "4", input("in", "AAAABB\nBCCCC")});
  EXPECT_EQ(read_records(), (Texts{"AAAA", "BB\nB", "CCCC"}));
  EXPECT_EQ(status(), 0);
}

TEST_F(ReadFixed, LosesAShortTailSilently) {
  set_up({"-rf", "4", input("in", "AAAABB")});
  EXPECT_EQ(read_records(), Texts{"AAAA"});
  EXPECT_EQ(status(), 0);
  EXPECT_EQ(shown_texts(), Texts());
}

TEST_F(ReadFixed, LosesAShortTailAtEveryChangeOfFile) {
  set_up({"-rf", "4", input("f1", "AAAABB"), input("f2", "DDDDCCCCE"), input("f3", "FFFF")});
  EXPECT_EQ(read_records(), (Texts{"AAAA", "DDDD", "CCCC", "FFFF"}));
  EXPECT_EQ(shown_texts(), Texts());
}

TEST_F(ReadFixed, HandsOutARecordInPlaceWhenTheBufferHoldsMore) {
  set_up({"-rf", "4", input("in", "AAAABBBB")});
  std::uint64_t length = 0;
  const std::uint8_t* first = nullptr;
  const std::uint8_t* second = nullptr;
  ASSERT_EQ(read_fixed(&length, &first), 0);
  const Stream* s = rin_stream();
  EXPECT_EQ(s->ptr, first + 4);
  EXPECT_EQ(s->pos, 4u);
  EXPECT_EQ(s->cnt, 4u);
  // The record that ends with the buffer is copied.
  ASSERT_EQ(read_fixed(&length, &second), 0);
  EXPECT_EQ(length, 4u);
  EXPECT_EQ(second, instance().read.record_buffer);
  EXPECT_EQ(s->pos, 8u);
  EXPECT_EQ(s->cnt, 0u);
}

TEST_F(ReadFixed, ReadsRecordsAcrossBuffersOfAnySize) {
  const std::string content = pattern_bytes(100 * 333);
  Texts records;
  for (std::size_t i = 0; i < 100; ++i) records.push_back(content.substr(i * 333, 333));
  const std::string in = input("in", content);
  for (const char* kb : {"1", "2", "60"}) {
    set_up({"-rf", "333", "-ibs", kb, in});
    EXPECT_EQ(read_records(), records) << kb;
    run_windups();
  }
}

TEST_F(ReadFixed, ReadsRecordsLargerThanTheBuffers) {
  const std::string content = pattern_bytes(3 * 5000);
  set_up({"-rf", "5000", "-ibs", "1", input("in", content)});
  EXPECT_EQ(read_records(),
            (Texts{content.substr(0, 5000), content.substr(5000, 5000), content.substr(10000)}));
}

TEST_F(ReadFixed, EndsAtOnceOnAnInstanceThatWasNeverSetUp) {
  std::uint64_t length = 1;
  const std::uint8_t* record = reinterpret_cast<const std::uint8_t*>("x");
  EXPECT_EQ(read_fixed(&length, &record), 0);
  EXPECT_EQ(length, 0u);
  EXPECT_EQ(record, nullptr);
}

TEST_F(ReadFixed, ShowsAReadErrorUnderItsTitle) {
  set_up({"-rf", "4", input("in", "AAAABBBB")});
  faults().fail(OsCall::kRead, 1, kErrorIoDevice, Lasting::kForGood);
  EXPECT_EQ(read_records(), Texts());
  EXPECT_EQ(status(), 1);
  EXPECT_EQ(shown_texts(),
            (Texts{"Programming error in rin_read\n", "Error detected reading fixed length record\n"}));
}

}  // namespace
}  // namespace fsort::test
