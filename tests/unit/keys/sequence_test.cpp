// Collating sequences: reading, the shared tables, sign tables, classes.
#include "keys/sequence.h"

#include <algorithm>

#include "keys_fixture.h"

namespace fsort::test {
namespace {

constexpr std::uint32_t kAlphabet = 26;

class SeqFill : public KeysFixture {
 protected:
  // Reads a sequence from the words of `text`; table() is what it made.
  std::string fill(const std::string& text) {
    ArgVector arguments(words(text));
    table_ = nullptr;
    const Raised r = raised([&] { next_ = seq_fill(arguments.argc(), arguments.argv(), 1, &table_); });
    return r.caught ? r.text() : rank_text(*table_);
  }
  [[nodiscard]] const Sequence& table() const { return *table_; }
  [[nodiscard]] std::uint32_t next() const { return next_; }
  void TearDown() override {
    seq_free_all(instance().sequence);
    KeysFixture::TearDown();
  }
  Sequence* table_ = nullptr;
  std::uint32_t next_ = 0;
};

TEST_F(SeqFill, StepBackMakesLettersOfBothCasesEqual) {
  fill("'a'-'z' -r 'A'-'Z'");
  EXPECT_EQ(table().rank('a'), 0);
  EXPECT_EQ(table().rank('A'), 0);
  EXPECT_EQ(table().rank('z'), kAlphabet - 1);
  EXPECT_EQ(table().rank('Z'), kAlphabet - 1);
  EXPECT_EQ(table().max_rank, kAlphabet - 1);
}

TEST_F(SeqFill, DescendingRangeRanksItsStartFirst) {
  EXPECT_EQ(fill("'z'-'a'"), "zyxwvutsrqponmlkjihgfedcba");
}

TEST_F(SeqFill, OneValueIsRefused) { EXPECT_EQ(fill("'a'"), "Collating sequence has only one value\n"); }

TEST_F(SeqFill, OneRankForTwoBytesIsRefused) {
  EXPECT_EQ(fill("'a' -r 'b'"), "Collating sequence has only one value\n");
}

TEST_F(SeqFill, RangeBeyondTheByteValuesIsRefusedWithItsText) {
  EXPECT_EQ(fill("250-260"), "Invalid range for collating sequence - 250-260\n");
}

TEST_F(SeqFill, DescendingRangeBeyondTheByteValuesIsRefused) {
  EXPECT_EQ(fill("256-0"), "Invalid range for collating sequence - 256-0\n");
}

TEST_F(SeqFill, OpenRangesAreRefused) {
  EXPECT_EQ(fill("'a' 200-"), "Invalid range for collating sequence - 200-\n");
}

TEST_F(SeqFill, OperandThatIsNoRangeIsRefused) {
  EXPECT_EQ(fill("abc"), "Invalid range for collating sequence - abc\n");
}

TEST_F(SeqFill, LongInvalidRangeIsShownWhole) {
  const std::string text(400, 'x');
  EXPECT_EQ(fill(text), "Invalid range for collating sequence - " + text + "\n");
}

TEST_F(SeqFill, RangesContinueTheRanks) { EXPECT_EQ(fill("'x' 'a'-'c' '9'-'7'"), "xabc987"); }

TEST_F(SeqFill, LaterRangeMovesAByte) {
  fill("'a'-'c' 'a'");
  EXPECT_EQ(rank_text(table()), "bca");
  EXPECT_EQ(table().max_rank, 3);
}

TEST_F(SeqFill, EndsAtTheFirstOtherArgument) {
  fill("'a'-'c' -c 0-3");
  EXPECT_EQ(next(), 2u);
}

TEST_F(SeqFill, ReadsNothingWhenNoOperandFollows) {
  ArgVector arguments{"-c", "0"};
  const Raised r = raised([&] { next_ = seq_fill(arguments.argc(), arguments.argv(), 1, &table_); });
  EXPECT_FALSE(r.caught);
  EXPECT_EQ(next(), 1u);
  EXPECT_EQ(table_, nullptr);
}

TEST_F(SeqFill, ReadsNothingAtTheEnd) {
  ArgVector arguments{"-k"};
  const Raised r = raised([&] { next_ = seq_fill(arguments.argc(), arguments.argv(), 2, &table_); });
  EXPECT_FALSE(r.caught);
  EXPECT_EQ(next(), 2u);
  EXPECT_EQ(table_, nullptr);
}

TEST_F(SeqFill, All256ValuesAreRanked) {
  fill("0-255");
  EXPECT_EQ(table().max_rank, 255);
  EXPECT_EQ(table().rank(0), 0);
  EXPECT_EQ(table().rank(255), 255);
}

// Kept on purpose: the running rank is eight bits wide and wraps, so the 257th value takes rank 0 again.
TEST_F(SeqFill, Value257TakesRankZeroAgain) {
  fill("0-255 'a'-'b'");
  EXPECT_EQ(table().rank('a'), 0);
  EXPECT_EQ(table().rank('b'), 1);
  EXPECT_EQ(table().max_rank, 255);
}

TEST_F(SeqFill, FillsTheTableThatIsThereAlready) {
  ArgVector arguments{"'c'", "'a'"};
  Sequence* given = seq_alloc();
  Sequence* table = given;
  const Raised r =
      raised([&] { return static_cast<int>(seq_fill(arguments.argc(), arguments.argv(), 1, &table)); });
  EXPECT_EQ(r.status, 3);
  EXPECT_EQ(table, given);
  EXPECT_EQ(rank_text(*table), "ca");
}

TEST_F(SeqFill, BytesNotNamedKeepRankZeroAndStayOutside) {
  fill("'a'-'c'");
  EXPECT_EQ(table().flags('d'), kNotInSequence);
  EXPECT_EQ(table().rank('d'), 0);
}

class SequenceTables : public SeqFill {
 protected:
  template <class Function>
  const Sequence& make(Function function) {
    const Raised r = raised([&] { table_ = function(); });
    EXPECT_FALSE(r.caught);
    return *table_;
  }
};

TEST_F(SequenceTables, DefaultRanksTabThenPrintableAscii) {
  seq_init(kKeyCharacter);
  const Sequence& t = make([] { return key_seq_default(); });
  EXPECT_EQ(t.rank(9), 0);
  EXPECT_EQ(t.rank(32), 1);
  EXPECT_EQ(t.rank(126), 95);
  EXPECT_EQ(t.max_rank, 95);
  for (unsigned b = 0; b < kByteValues; ++b) {
    const bool member = b == 9 || (b >= 32 && b <= 126);
    EXPECT_EQ(t.flags(static_cast<std::uint8_t>(b)), member ? 0 : kNotInSequence) << b;
  }
}

TEST_F(SequenceTables, DefaultOfAnotherTypeRanksEveryByteByItsValue) {
  seq_init(kKeyGoverning);
  const Sequence& t = make([] { return key_seq_default(); });
  for (unsigned b = 0; b < kByteValues; ++b) {
    EXPECT_EQ(t.rank(static_cast<std::uint8_t>(b)), b);
    EXPECT_EQ(t.flags(static_cast<std::uint8_t>(b)), 0);
  }
  EXPECT_EQ(t.max_rank, 255);
}

TEST_F(SequenceTables, NumericRanksTheDigits) {
  seq_init(kKeyCharacter);
  const Sequence& t = make([] { return key_seq_num(); });
  EXPECT_EQ(rank_text(t), "0123456789");
  EXPECT_EQ(t.max_rank, 9);
}

TEST_F(SequenceTables, SharedTablesAreMadeOnce) {
  seq_init(kKeyCharacter);
  const Sequence* first = &make([] { return key_seq_default(); });
  EXPECT_EQ(&make([] { return key_seq_default(); }), first);
  const Sequence* digits = &make([] { return key_seq_num(); });
  EXPECT_EQ(&make([] { return key_seq_num(); }), digits);
  EXPECT_NE(first, digits);
}

TEST_F(SequenceTables, SignTableOfLengthThree) {
  const Sequence& t = make([] { return key_seq_sign(3); });
  for (unsigned i = 0; i < 4; ++i) {
    EXPECT_EQ(t.rank(static_cast<std::uint8_t>(252 + i)), i);
    EXPECT_EQ(t.rank(static_cast<std::uint8_t>(1 + i)), 4 + i);
    EXPECT_EQ(t.flags(static_cast<std::uint8_t>(252 + i)), 0);
    EXPECT_EQ(t.flags(static_cast<std::uint8_t>(1 + i)), 0);
  }
  EXPECT_EQ(t.flags(0), kNotInSequence);
  EXPECT_EQ(t.flags(5), kNotInSequence);
  EXPECT_EQ(t.flags(251), kNotInSequence);
  EXPECT_EQ(t.max_rank, 7);
}

TEST_F(SequenceTables, SignTableOfAnOpenRegionHolds32Digits) {
  const Sequence& t = make([] { return key_seq_sign(kOpenLength); });
  EXPECT_EQ(t.max_rank, 65);
  EXPECT_EQ(t.rank(static_cast<std::uint8_t>(-33)), 0);
  EXPECT_EQ(t.rank(33), 65);
}

TEST_F(SequenceTables, SignTableBeyond127BytesIsThatOfAnOpenRegion) {
  for (const unsigned length : {128u, 200u, 254u, 255u, 1000u, 65534u}) {
    const Sequence& t = make([&] { return key_seq_sign(static_cast<std::uint16_t>(length)); });
    EXPECT_EQ(t.max_rank, 65) << length;
    EXPECT_EQ(t.rank(1), 33) << length;
  }
}

TEST_F(SequenceTables, SignTableRanksNeverExceedTheHighest) {
  for (unsigned length = 1; length <= 300; ++length) {
    const Sequence& t = make([&] { return key_seq_sign(static_cast<std::uint16_t>(length)); });
    unsigned highest = 0;
    for (unsigned b = 0; b < kByteValues; ++b)
      highest = std::max<unsigned>(highest, t.rank(static_cast<std::uint8_t>(b)));
    EXPECT_EQ(highest, t.max_rank) << length;
  }
}

TEST_F(SequenceTables, SignTableOfLength127UsesAllRanks) {
  const Sequence& t = make([] { return key_seq_sign(127); });
  EXPECT_EQ(t.max_rank, 255);
  EXPECT_EQ(t.rank(255), 127);
  EXPECT_EQ(t.rank(1), 128);
}

TEST_F(SequenceTables, FreshTableHasNothingInTheSequence) {
  const Sequence& t = make([] { return seq_alloc(); });
  for (unsigned b = 0; b < kByteValues; ++b) {
    EXPECT_EQ(t.rank(static_cast<std::uint8_t>(b)), 0);
    EXPECT_EQ(t.flags(static_cast<std::uint8_t>(b)), kNotInSequence);
  }
}

TEST_F(SequenceTables, NoMemoryIsReported) {
  const FailingHeap heap(1);
  const Raised r = raised([&] { table_ = seq_alloc(); });
  EXPECT_EQ(r.text(), "Couldn't get memory for sequence table\n");
}

TEST_F(SequenceTables, EveryFailingAllocationOfAKeyListIsReportedAndLeavesNothing) {
  int nth = 1;
  for (;; ++nth) {
    const FailingHeap heap(nth);
    const std::string result = parse("-k 'a'-'z' -c 0 -k -c 1 -n -d 0 -c 2");
    run_windups();
    if (result != "Couldn't get memory for sequence table\n") {
      EXPECT_EQ(result, "char f0 s0 l1 > | char f0 s1 l1 > | sign f0 s2 l1 > n1 | int f0 s2 l1 >");
      break;
    }
  }
  EXPECT_EQ(nth, 5);  // own, default, sign and digit tables
}

TEST_F(SequenceTables, ClassIsZeroOutsideTheSequenceAndRankPlusOneInside) {
  fill("'a'-'c' -r 'x'");
  table_->mark('b', kBlankInSequence);
  table_->mark('c', kNotInSequence);
  sequence_finish_all();
  EXPECT_EQ(table().value['a'], 1);
  EXPECT_EQ(table().value['x'], 1);
  EXPECT_EQ(table().value['b'], 2);
  EXPECT_EQ(table().value['c'], 0);
  EXPECT_EQ(table().value['d'], 0);
  EXPECT_EQ(table().bounded, 0);
}

TEST_F(SequenceTables, ClassOfRank255IsNotCut) {
  fill("0-255");
  sequence_finish_all();
  EXPECT_EQ(table().value[255], 256);
}

TEST_F(SequenceTables, TableThatRanksByteZeroIsBounded) {
  fill("0-127");
  sequence_finish_all();
  EXPECT_EQ(table().bounded, 1);
}

TEST_F(SequenceTables, DelimiterZeroMakesATableUnboundedAgain) {
  fill("0-127");
  table_->mark(0, kNotInSequence);
  sequence_finish_all();
  EXPECT_EQ(table().bounded, 0);
}

}  // namespace
}  // namespace fsort::test
