// Columns and groups to positions, and the rows of each kind of key.
#include "keys/key_emit.h"

#include "keys_fixture.h"

namespace fsort::test {
namespace {

class KeyNested : public KeysFixture, public ::testing::WithParamInterface<KeyCase> {};

TEST_P(KeyNested, MapsColumns) { EXPECT_EQ(parse(GetParam().command), GetParam().expected); }

const KeyCase kRegions[] = {
    {"ForwardInForward", "( -c 2-3 ) -c 10-19", "char f0 s12 l2 >"},
    {"BackwardInForward", "( -c 1-0 ) -c 2-5", "char f0 s3 l2 <"},
    {"ForwardInBackward", "( -c 0-1 ) -c 7-4", "char f0 s7 l2 <"},
    {"BackwardInBackwardRunsForward", "( -c 1-0 ) -c 7-4", "char f0 s6 l2 >"},
    {"OpenEndTakesTheRestOfTheRegion", "( -c 2- ) -c 10-19", "char f0 s12 l8 >"},
    {"OpenEndInAnOpenRegion", "( -c 2- ) -c 10-", "char f0 s12 lopen >"},
    {"OpenStartIsTheRegionsLastByte", "( -c -0 ) -c 0-1", "char f0 s1 l2 <"},
    {"OpenStartStopsAtItsEnd", "( -c -1 ) -c 10-13", "char f0 s13 l3 <"},
    {"OpenStartInABackwardRegion", "( -c -0 ) -c 7-4", "char f0 s4 l4 >"},
    {"OpenStartInAnOpenRegionIsTheFieldsEnd", "( -c -0 ) -f 0", "char f0 sopen lopen <"},
    {"OpenStartInAnOpenRegionFromAColumn", "( -c -0 ) -c 2-", "char f0 sopen lopen <"},
    {"OpenStartInAnOpenRegionTwiceRunsForwardFromTheFieldsStart", "( ( -c -0 ) -c -0 ) -f 0",
     "char f0 s0 lopen >"},
    {"OpenColumnsInAnOpenRegion", "( -c - ) -f 0", "char f0 sopen lopen >"},
    {"FirstByteOfARegionThatBeginsAtTheEnd", "( -c 0 ) -c -", "char f0 sopen l1 >"},
    {"ExactFit", "( -c 0-9 ) -c 10-19", "char f0 s10 l10 >"},
    {"StartBeyondAllRecordsStaysBelowTheOpenMark", "( -c 65000- ) -c 60000-", "char f0 s65534 lopen >"},
    {"ThreeLevels", "( ( ( -c 1 ) -c 3-0 ) -c 1-5 ) -c 10-19", "char f0 s13 l1 <"},
    {"ClosedEndBeyondTheRegion", "( -c 2-10 ) -c 10-19", "Field does not include subfield\n"},
    {"OpenEndBeyondTheRegion", "( -c 10- ) -c 10-19", "Field does not include subfield\n"},
    {"ClosedBackwardStartBeyondTheRegion", "( -c 10-2 ) -c 10-19", "Field does not include subfield\n"},
    {"OpenBackwardStartBelowItsEnd", "( -c -4 ) -c 0-3", "Field does not include subfield\n"},
    {"OpenColumnsInAClosedRegion", "( -c - ) -c 0-3", "Field does not include subfield\n"},
    {"LaterByteOfARegionThatBeginsAtTheEndIsBeyondAllRecords", "( -c 1 ) -c -", "char f0 s65534 l1 >"},
    {"LaterByteBackwardFromTheEnd", "( ( -k -c 1 ) -c -0 ) -f 0", "Field does not include subfield\n"},
};
INSTANTIATE_TEST_SUITE_P(Regions, KeyNested, ::testing::ValuesIn(kRegions), case_name);

class KeyEmit : public KeysFixture {};

TEST_F(KeyEmit, NumericKeySkipsBlanksByDefault) {
  EXPECT_FALSE(init("-n -c 0-9").caught);
  const Sequence& sign = *key_entry(0).sequence;
  EXPECT_EQ(sign.flags(' ') & kBlankInSequence, kBlankInSequence);
  EXPECT_EQ(sign.flags(9) & kBlankInSequence, 0);
}

TEST_F(KeyEmit, LocalBlanksReplaceTheNumericDefault) {
  EXPECT_FALSE(init("-n -b '*' -c 0-9").caught);
  const Sequence& sign = *key_entry(0).sequence;
  EXPECT_EQ(sign.flags('*') & kBlankInSequence, kBlankInSequence);
  EXPECT_EQ(sign.flags(' ') & kBlankInSequence, 0);
}

TEST_F(KeyEmit, BlankMarkLeavesTheRankOfASignByteAlone) {
  EXPECT_FALSE(init("-n").caught);
  const Sequence& sign = *key_entry(0).sequence;
  EXPECT_EQ(sign.flags(32), kBlankInSequence);  // 31 digits: in the sequence, and a blank
  EXPECT_EQ(sign.value[32], sign.rank(32) + 1);
}

TEST_F(KeyEmit, DigitSequenceGetsNoBlankMarks) {
  EXPECT_FALSE(init("-n -b '5' -c 0-9").caught);
  EXPECT_EQ(key_entry(1).sequence->flags('5'), 0);
}

TEST_F(KeyEmit, IntegerAndFractionShareTheSequence) {
  EXPECT_FALSE(init("-n 'a'-'j' -c 0-9 -n -c 10").caught);
  EXPECT_EQ(rank_text(*key_entry(1).sequence), "abcdefghij");
  EXPECT_EQ(key_entry(1).sequence, key_entry(2).sequence);
  EXPECT_EQ(key_entry(4).sequence, instance().sequence.numeric_table);
  EXPECT_EQ(key_entry(5).sequence, instance().sequence.numeric_table);
}

TEST_F(KeyEmit, EachNumericKeyHasItsOwnSignTable) {
  EXPECT_FALSE(init("-n -c 0-9 -n -c 10-19").caught);
  EXPECT_NE(key_entry(0).sequence, key_entry(3).sequence);
}

TEST_F(KeyEmit, LocalBlanksGoIntoTheSharedDefaultTableForAllItsKeys) {
  EXPECT_FALSE(init("-k -c 0 -k -b 32 -c 1").caught);
  EXPECT_EQ(key_entry(0).sequence, key_entry(1).sequence);
  EXPECT_EQ(key_entry(0).sequence->flags(' '), kBlankInSequence);
}

TEST_F(KeyEmit, BlankRangeThatIsNoRangeMarksNothing) {
  EXPECT_FALSE(init("-k -b 5x -c 0").caught);
  for (unsigned b = 0; b < kByteValues; ++b) {
    EXPECT_EQ(key_entry(0).sequence->flags(static_cast<std::uint8_t>(b)) & kBlankInSequence, 0) << b;
  }
}

TEST_F(KeyEmit, BlanksOfOneKeyDoNotReachTheNext) {
  EXPECT_FALSE(init("-k 'a'-'z' -b 32 -c 0 -k 'a'-'z' -c 1").caught);
  EXPECT_EQ(key_entry(0).sequence->flags(32) & kBlankInSequence, kBlankInSequence);
  EXPECT_EQ(key_entry(1).sequence->flags(32) & kBlankInSequence, 0);
}

TEST_F(KeyEmit, FieldListsOfOneKeyShareItsSequence) {
  EXPECT_FALSE(init("-k 'a'-'z' -c 0 -c 1").caught);
  EXPECT_EQ(key_entry(0).sequence, key_entry(1).sequence);
}

TEST_F(KeyEmit, SequenceDoesNotCarryOverToTheNextKey) {
  EXPECT_FALSE(init("-k 'a'-'z' -c 0 -k -c 1").caught);
  EXPECT_EQ(rank_text(*key_entry(0).sequence), "abcdefghijklmnopqrstuvwxyz");
  EXPECT_EQ(key_entry(1).sequence, instance().sequence.default_table);
}

}  // namespace
}  // namespace fsort::test
