// The text reader.
#include "recio_fixture.h"

namespace fsort::test {
namespace {

const char* const kReadTitle = "Error detected reading text record\n";

class ReadText : public RecioTest {};

std::string line(std::size_t bytes, char fill) { return std::string(bytes - 1, fill) + "\n"; }

TEST_F(ReadText, KeepsCarriageReturnsAndZeroBytes) {
  const std::string zero("x\0y\n", 4);
  set_up({input("in", "b\r\n\n" + zero + "\xFF\n")});
  EXPECT_EQ(read_records(), (Texts{"b\r\n", "\n", zero, "\xFF\n"}));
  EXPECT_EQ(status(), 0);
}

TEST_F(ReadText, DoesNotDeliverALastLineWithoutALineBreak) {
  set_up({input("in", "b\na\nx")});
  EXPECT_EQ(read_records(), (Texts{"b\n", "a\n"}));
  EXPECT_EQ(status(), 0);
  EXPECT_EQ(shown_texts(), Texts());
}

TEST_F(ReadText, ContinuesALineInTheNextFile) {
  set_up({input("f1", "b"), input("f2", "a\nc\n")});
  EXPECT_EQ(read_records(), (Texts{"ba\n", "c\n"}));
}

TEST_F(ReadText, ContinuesALineThroughManyFiles) {
  set_up({input("f1", "a\nb"), input("f2", ""), input("f3", "c"), input("f4", "d\ne\n")});
  EXPECT_EQ(read_records(), (Texts{"a\n", "bcd\n", "e\n"}));
}

TEST_F(ReadText, HandsOutALineOfTheBufferInPlaceAndMovesTheStream) {
  set_up({input("in", "abc\nde\nf\n")});
  std::uint64_t length = 0;
  const std::uint8_t* first = nullptr;
  const std::uint8_t* second = nullptr;
  ASSERT_EQ(read_text(&length, &first), 0);
  const Stream* s = rin_stream();
  EXPECT_EQ(s->pos, 4u);
  EXPECT_EQ(s->cnt, 5u);
  EXPECT_EQ(s->ptr, first + 4);
  ASSERT_EQ(read_text(&length, &second), 0);
  EXPECT_EQ(length, 3u);
  EXPECT_EQ(second, first + 4);
  EXPECT_EQ(s->pos, 7u);
  EXPECT_EQ(s->cnt, 2u);
}

TEST_F(ReadText, KeepsALineInTheBufferThatIsLongerThanTheMaximum) {
  const std::string whole = line(601, 'a');
  set_up({input("in", whole)});
  EXPECT_EQ(read_records(), Texts{whole});
}

TEST_F(ReadText, FailsOnALineThatDoesNotFitTheBufferedDataAndIsLongerThanTheMaximum) {
  set_up({input("in", std::string(600, 'a'))});
  EXPECT_EQ(read_records(), Texts());
  EXPECT_EQ(status(), 1);
  EXPECT_EQ(shown_texts(), (Texts{"Text record too long\n", kReadTitle}));
}

TEST_F(ReadText, DropsAPartOf511BytesWithoutALineBreakSilently) {
  set_up({input("in", std::string(511, 'a'))});
  EXPECT_EQ(read_records(), Texts());
  EXPECT_EQ(status(), 0);
  EXPECT_EQ(shown_texts(), Texts());
}

// Buffers of 1,024 bytes: the second line is split 300 + 400, more than 511 bytes together.
TEST_F(ReadText, KeepsALineWhoseLastPieceIsLongerThanTheCapacityLeft) {
  const Texts lines{line(724, 'a'), line(700, 'b'), line(10, 'c')};
  set_up({"-ibs", "1", input("in", joined(lines))});
  EXPECT_EQ(read_records(), lines);
  EXPECT_EQ(status(), 0);
}

// Split 600 + 100: the first piece is too long already.
TEST_F(ReadText, FailsOnALineWhoseFirstPieceIsLongerThanTheMaximum) {
  const Texts lines{line(424, 'a'), line(700, 'b')};
  set_up({"-ibs", "1", input("in", joined(lines))});
  EXPECT_EQ(read_records(), Texts{lines[0]});
  EXPECT_EQ(status(), 1);
  EXPECT_EQ(shown_texts(), (Texts{"Text record too long\n", kReadTitle}));
}

TEST_F(ReadText, KeepsLinesOfEitherSplitUnderALargerMaximum) {
  const Texts lines{line(424, 'a'), line(700, 'b'), line(600, 'c'), line(900, 'd')};
  set_up({"-ibs", "1", "-rt", "1000", input("in", joined(lines))});
  EXPECT_EQ(read_records(), lines);
}

TEST_F(ReadText, KeepsALineOfManyPiecesUpToTheMaximum) {
  const std::string whole = line(20000, 'a');
  set_up({"-ibs", "1", "-rt", "20000", input("in", "x\n" + whole + "y\n")});
  EXPECT_EQ(read_records(), (Texts{"x\n", whole, "y\n"}));
}

TEST_F(ReadText, NeedsNoMoreThanOneTrapForALineOfManyPieces) {
  set_up({"-ibs", "1", "-rt", "65535", input("in", line(60000, 'a'))});
  EXPECT_EQ(trap_depth(), 0u);
  EXPECT_EQ(read_records().size(), 1u);
  EXPECT_EQ(trap_depth(), 0u);
}

TEST_F(ReadText, ReportsThatTheRecordBufferCannotGrow) {
  set_up({"-ibs", "1", input("in", line(724, 'a') + line(700, 'b'))});
  std::uint64_t length = 0;
  const std::uint8_t* record = nullptr;
  ASSERT_EQ(read_text(&length, &record), 0);
  faults().fail(OsCall::kHeapAlloc, 1, kErrorNotEnoughMemory);
  EXPECT_EQ(read_text(&length, &record), 1);
  EXPECT_EQ(length, 0u);
  EXPECT_EQ(record, nullptr);
  EXPECT_EQ(shown_texts(), (Texts{"Couldn't allocate memory for a record buffer\n", kReadTitle}));
}

TEST_F(ReadText, GivesTheSameRecordsWhateverTheBufferSize) {
  Texts lines;
  for (int i = 0; i < 1000; ++i) lines.push_back(line(37, static_cast<char>('a' + i % 26)));
  const std::string in = input("in", joined(lines));
  for (const char* kb : {"1", "2", "3", "60", "1024"}) {
    set_up({"-ibs", kb, in});
    EXPECT_EQ(read_records(), lines) << kb;
    run_windups();
  }
}

TEST_F(ReadText, StaysAtTheEndOnceItIsReached) {
  set_up({input("in", "a\n")});
  EXPECT_EQ(read_records(), Texts{"a\n"});
  EXPECT_EQ(read_records(), Texts());
  EXPECT_EQ(status(), 0);
}

TEST_F(ReadText, DeliversNothingOfAnEmptyInput) {
  set_up({input("in", "")});
  EXPECT_EQ(read_records(), Texts());
  EXPECT_EQ(status(), 0);
}

TEST_F(ReadText, EndsAtOnceOnAnInstanceThatWasNeverSetUp) {
  std::uint64_t length = 1;
  const std::uint8_t* record = reinterpret_cast<const std::uint8_t*>("x");
  EXPECT_EQ(read_text(&length, &record), 0);
  EXPECT_EQ(length, 0u);
  EXPECT_EQ(record, nullptr);
}

TEST_F(ReadText, TakesNothingFromABufferWhoseTransferFailed) {
  set_up({"-ibs", "1", input("in", line(500, 'a') + line(524, 'b') + line(300, 'c'))});
  faults().fail(OsCall::kRead, 2, kErrorIoDevice, Lasting::kForGood);
  EXPECT_EQ(read_records(), (Texts{line(500, 'a'), line(524, 'b')}));
  EXPECT_EQ(status(), 1);
  EXPECT_EQ(shown_texts(), (Texts{"Programming error in rin_read\n", kReadTitle}));
}

}  // namespace
}  // namespace fsort::test
