// The variable-length reader.
#include "recio_fixture.h"

namespace fsort::test {
namespace {

const char* const kReadTitle = "Error detected reading variable record\n";
const Texts kTooLong{"Variable length record too long\n", kReadTitle};
const Texts kShort{"Short variable length record detected\n", kReadTitle};

class ReadVariable : public RecioTest {};

std::string bytes(std::initializer_list<unsigned> values) {
  std::string text;
  for (const unsigned value : values) text += static_cast<char>(value);
  return text;
}

// A record of the default type: low-order byte first.
std::string record(std::size_t length, char fill) {
  return bytes({static_cast<unsigned>(length % 256), static_cast<unsigned>(length / 256)}) +
         std::string(length, fill);
}

TEST_F(ReadVariable, ReadsTheLengthAtBytes0And1WithByte1HighByDefault) {
  const Texts records{bytes({3, 0, 'a', 'b', 'c'}), bytes({1, 0, 'z'}), bytes({0, 0}), record(300, 'q')};
  set_up({"-rv", input("in", joined(records))});
  EXPECT_EQ(read_records(), records);
  EXPECT_EQ(status(), 0);
}

TEST_F(ReadVariable, ReadsABigEndianLength) {
  const Texts records{bytes({0, 3, 'a', 'b', 'c'}), bytes({1, 0}) + std::string(256, 'x')};
  set_up({"-rv", "0-1", "4096", input("in", joined(records))});
  EXPECT_EQ(read_records(), records);
}

TEST_F(ReadVariable, ReadsAOneByteLengthUnsigned) {
  const Texts records{bytes({3, 'a', 'b', 'c'}), bytes({200}) + std::string(200, 'x')};
  set_up({"-rv", "0", input("in", joined(records))});
  EXPECT_EQ(read_records(), records);
}

TEST_F(ReadVariable, ReadsALengthThatLiesBehindOtherBytes) {
  const Texts records{bytes({'k', 'k', 0, 2, 'a', 'b'}), bytes({'l', 'l', 0, 0})};
  set_up({"-rv", "2-3", input("in", joined(records))});
  EXPECT_EQ(read_records(), records);
}

TEST_F(ReadVariable, HandsOutARecordInPlaceAndMovesTheStream) {
  set_up({"-rv", input("in", record(3, 'a') + record(2, 'b'))});
  std::uint64_t length = 0;
  const std::uint8_t* first = nullptr;
  const std::uint8_t* second = nullptr;
  ASSERT_EQ(read_variable(&length, &first), 0);
  const Stream* s = rin_stream();
  EXPECT_EQ(s->ptr, first + 5);
  EXPECT_EQ(s->pos, 5u);
  EXPECT_EQ(s->cnt, 4u);
  ASSERT_EQ(read_variable(&length, &second), 0);
  EXPECT_EQ(second, first + 5);
  EXPECT_EQ(s->cnt, 0u);
}

TEST_F(ReadVariable, AcceptsARecordOfExactlyTheMaximum) {
  set_up({"-rv", input("in", record(509, 'a'))});
  EXPECT_EQ(read_records(), Texts{record(509, 'a')});
  EXPECT_EQ(status(), 0);
}

TEST_F(ReadVariable, RefusesARecordOneByteLongerThanTheMaximum) {
  set_up({"-rv", input("in", record(509, 'a') + record(510, 'b'))});
  EXPECT_EQ(read_records(), Texts{record(509, 'a')});
  EXPECT_EQ(status(), 1);
  EXPECT_EQ(shown_texts(), kTooLong);
}

TEST_F(ReadVariable, HoldsTheGivenMaximumAgainstTheWholeRecord) {
  const std::string largest = bytes({4094 / 256, 4094 % 256}) + std::string(4094, 'a');
  const std::string larger = bytes({4095 / 256, 4095 % 256}) + std::string(4095, 'b');
  set_up({"-rv", "0-1", "4096", input("in", largest + larger)});
  EXPECT_EQ(read_records(), Texts{largest});
  EXPECT_EQ(status(), 1);
  EXPECT_EQ(shown_texts(), kTooLong);
}

// -2 and the header length make 0: that must not pass for the end of the input.
TEST_F(ReadVariable, RefusesEveryNegativeLength) {
  const Texts headers{bytes({0xFE, 0xFF}), bytes({0xFF, 0xFF}), bytes({0x00, 0x80}), bytes({0xFF, 0x80})};
  for (const std::string& header : headers) {
    clear_displayed();
    set_up({"-rv", input("in", record(1, 'a') + header + record(3, 'b'))});
    EXPECT_EQ(read_records(), Texts{record(1, 'a')});
    EXPECT_EQ(status(), 1);
    EXPECT_EQ(shown_texts(), kTooLong);
    run_windups();
  }
}

TEST_F(ReadVariable, RefusesANegativeLengthInAHeaderThatStraddlesTheBuffer) {
  // 1,023 bytes of records, then a header whose first byte is the buffer's last.
  const Texts good{record(509, 'a'), record(508, 'b'), record(0, 'c')};
  const std::string content = joined(good);
  ASSERT_EQ(content.size(), 1023u);
  set_up({"-rv", "-ibs", "1", input("in", content + bytes({0xFE, 0xFF}) + record(3, 'e'))});
  EXPECT_EQ(read_records(), good);
  EXPECT_EQ(status(), 1);
  EXPECT_EQ(shown_texts(), kTooLong);
}

TEST_F(ReadVariable, ReportsARecordCutInItsBodyAtTheEndOfTheInput) {
  set_up({"-rv", input("in", record(2, 'a') + record(9, 'b').substr(0, 6))});
  EXPECT_EQ(read_records(), Texts{record(2, 'a')});
  EXPECT_EQ(status(), 1);
  EXPECT_EQ(shown_texts(), kShort);
}

TEST_F(ReadVariable, ReportsARecordCutInItsBodyAlsoWhenAnotherFileFollows) {
  set_up({"-rv", input("f1", record(9, 'b').substr(0, 6)), input("f2", record(20, 'c'))});
  EXPECT_EQ(read_records(), Texts());
  EXPECT_EQ(status(), 1);
  EXPECT_EQ(shown_texts(), kShort);
}

TEST_F(ReadVariable, ReportsARecordWhoseBodyWouldStartInTheNextFile) {
  set_up({"-rv", input("f1", record(2, 'a') + bytes({2, 0})), input("f2", record(2, 'c'))});
  EXPECT_EQ(read_records(), Texts{record(2, 'a')});
  EXPECT_EQ(status(), 1);
  EXPECT_EQ(shown_texts(), kShort);
}

TEST_F(ReadVariable, ReportsAStrayHeaderByteAtTheEndOfTheInput) {
  set_up({"-rv", input("in", record(2, 'a') + bytes({7}))});
  EXPECT_EQ(read_records(), Texts{record(2, 'a')});
  EXPECT_EQ(status(), 1);
  EXPECT_EQ(shown_texts(), kShort);
}

TEST_F(ReadVariable, DropsAStrayHeaderByteBeforeAnotherFile) {
  set_up({"-rv", input("f1", record(2, 'a') + bytes({7})), input("f2", record(1, 'b') + record(2, 'c'))});
  EXPECT_EQ(read_records(), (Texts{record(2, 'a'), record(1, 'b'), record(2, 'c')}));
  EXPECT_EQ(status(), 0);
}

TEST_F(ReadVariable, AcceptsAnEmptyBodyAtTheVeryEnd) {
  set_up(
      {"-rv", "-ibs", "1", input("in", record(509, 'a') + record(508, 'b') + bytes({0, 0}) + bytes({0, 0}))});
  EXPECT_EQ(read_records(), (Texts{record(509, 'a'), record(508, 'b'), bytes({0, 0}), bytes({0, 0})}));
  EXPECT_EQ(status(), 0);
}

TEST_F(ReadVariable, GivesTheSameRecordsWhateverTheBufferSize) {
  Texts records;
  for (std::size_t i = 0; i < 500; ++i)
    records.push_back(record(i * 37 % 509, static_cast<char>('a' + i % 26)));
  const std::string in = input("in", joined(records));
  for (const char* kb : {"1", "2", "3", "60"}) {
    set_up({"-rv", "-ibs", kb, in});
    EXPECT_EQ(read_records(), records) << kb;
    run_windups();
  }
}

TEST_F(ReadVariable, EndsAtOnceOnAnInstanceThatWasNeverSetUp) {
  std::uint64_t length = 1;
  const std::uint8_t* record = reinterpret_cast<const std::uint8_t*>("x");
  EXPECT_EQ(read_variable(&length, &record), 0);
  EXPECT_EQ(length, 0u);
  EXPECT_EQ(record, nullptr);
}

}  // namespace
}  // namespace fsort::test
