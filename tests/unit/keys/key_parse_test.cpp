// The key grammar, one line a claim: command, then the key table it makes or the message it ends with.
#include "keys/key_parse.h"

#include "keys_fixture.h"
#include "support/exit.h"

namespace fsort::test {
namespace {

class KeyGrammar : public KeysFixture, public ::testing::WithParamInterface<KeyCase> {};

TEST_P(KeyGrammar, BuildsTable) { EXPECT_EQ(parse(GetParam().command), GetParam().expected); }

const KeyCase kTables[] = {
    {"EmptyKeyListIsTheWholeRecord", "", "char f0 s0 lopen >"},
    {"GlobalInvertAloneIsTheWholeRecordDownward", "-i", "char f0 s0 lopen > down"},
    {"ColumnsWithoutKeyLetterAreACharacterKey", "-c 2-3", "char f0 s2 l2 >"},
    {"LocalOptionWithoutKeyLetter", "-f 1 -c 0", "char f1 s0 l1 >"},
    {"FieldAndColumns", "-k -f 2 -c 0-3", "char f2 s0 l4 >"},
    {"DescendingColumnsRunBackward", "-k -c 7-4", "char f0 s7 l4 <"},
    {"OpenEndOfColumns", "-k -c 5-", "char f0 s5 lopen >"},
    {"OpenColumnsOnBothSidesBeginAtTheEnd", "-k -c -", "char f0 sopen lopen >"},
    {"OneColumn", "-k -c 4", "char f0 s4 l1 >"},
    {"SeveralColumnRangesMakeOneEntryEach", "-k -c 0-1 7 3-2",
     "char f0 s0 l2 > | char f0 s7 l1 > | char f0 s3 l2 <"},
    {"EachFieldTakesAllColumnRanges", "-k -f 1-2 4 -c 0 9-",
     "char f1 s0 l1 > | char f1 s9 lopen > | char f2 s0 l1 > | char f2 s9 lopen > | "
     "char f4 s0 l1 > | char f4 s9 lopen >"},
    {"DescendingFieldsStepDown", "-k -f 3-1", "char f3 s0 lopen > | char f2 s0 lopen > | char f1 s0 lopen >"},
    {"SeveralFieldListsOfOneKey", "-k -f 1 -c 0 -f 2 -c 3", "char f1 s0 l1 > | char f2 s3 l1 >"},
    {"FurtherColumnsKeepTheFieldList", "-k -f 1 -c 0 -c 3", "char f1 s0 l1 > | char f1 s3 l1 >"},
    {"NextKeyBeginsAgainAtFieldZero", "-k -f 1 -c 0 -k -c 3", "char f1 s0 l1 > | char f0 s3 l1 >"},
    {"EachKeyLetterAloneIsTheWholeRecord", "-k -c 0 -k", "char f0 s0 l1 > | char f0 s0 lopen >"},
    {"FieldsWithoutRangesAreFieldZero", "-k -f -c 1", "char f0 s1 l1 >"},
    {"ColumnsWithoutRangesAreTheWholeField", "-k -f 1 -c", "char f1 s0 lopen >"},
    {"SequenceThenFieldList", "-k 'a'-'z' 'A'-'Z' -c 0-3", "char f0 s0 l4 >"},
    {"LocalInvert", "-k -i -c 0", "char f0 s0 l1 > down"},
    {"LocalInvertTwiceIsTheSameAsOnce", "-k -i -i -c 0", "char f0 s0 l1 > down"},
    {"LocalInvertIsForOneFieldList", "-k -i -c 0 -c 1", "char f0 s0 l1 > down | char f0 s1 l1 >"},
    {"GlobalInvertTurnsAllKeys", "-i -k -c 0 -n -d 0 -c 1",
     "char f0 s0 l1 > down | sign f0 s1 l1 > n1 down | int f0 s1 l1 >"},
    {"LocalInvertUnderGlobalInvertAscends", "-i -k -c 0 -k -i -c 1",
     "char f0 s0 l1 > down | char f0 s1 l1 >"},
    {"OptionArgumentIsJudgedByItsSecondCharacter", "-k -ix -c 0", "char f0 s0 l1 > down"},
    {"NumericKeyTakesThreeEntries", "-n -c 0-9", "sign f0 s0 l1 > n2 | int f0 s0 l10 > | frac f0 s0 l255 >"},
    {"DecimalCountIsTheFractionsLength", "-n -d 2 -c 0-9",
     "sign f0 s0 l1 > n2 | int f0 s0 l10 > | frac f0 s0 l2 >"},
    {"DecimalCountZeroMakesNoFraction", "-n -d 0 -c 0-9", "sign f0 s0 l1 > n1 | int f0 s0 l10 >"},
    {"DecimalCount256KeepsItsLowByte", "-n -d 256 -c 0-9", "sign f0 s0 l1 > n1 | int f0 s0 l10 >"},
    {"DecimalCount255IsAsGoodAsNone", "-n -d 255 -c 0-9",
     "sign f0 s0 l1 > n2 | int f0 s0 l10 > | frac f0 s0 l255 >"},
    {"DecimalCountIsForOneFieldList", "-n -d 1 -c 0 -c 1",
     "sign f0 s0 l1 > n2 | int f0 s0 l1 > | frac f0 s0 l1 > | "
     "sign f0 s1 l1 > n2 | int f0 s1 l1 > | frac f0 s1 l255 >"},
    {"NumericInvertStandsInTheSignAlone", "-n -i -c 0-9",
     "sign f0 s0 l1 > n2 down | int f0 s0 l10 > | frac f0 s0 l255 >"},
    {"NumericWholeRecord", "-n", "sign f0 s0 l1 > n2 | int f0 s0 lopen > | frac f0 s0 l255 >"},
    {"SignGovernsTheKeysThatFollow", "-s '-' '+' -c 0 -k -c 1 -k -c 2",
     "govern f0 s0 l1 > n2 | char f0 s1 l1 > | char f0 s2 l1 >"},
    {"SignGovernsAllEntriesOfANumericKey", "-s '-' '+' -c 0 -n -d 1 -c 1-9",
     "govern f0 s0 l1 > n3 | sign f0 s1 l1 > n2 | int f0 s1 l9 > | frac f0 s1 l1 >"},
    {"SignWithoutFollowerGovernsNothing", "-s '-' '+' -c 0", "govern f0 s0 l1 >"},
    {"SignKeepsItsColumns", "-s '-' '+' -c 0-4 -k -c 5", "govern f0 s0 l5 > n1 | char f0 s5 l1 >"},
    {"GovernedKeysDoNotInheritTheGlobalInvert", "-i -s '-' '+' -c 0 -k -c 1",
     "govern f0 s0 l1 > n1 down | char f0 s1 l1 >"},
    {"GovernedKeysMayInvertThemselves", "-s '-' '+' -c 0 -k -i -c 1",
     "govern f0 s0 l1 > n1 | char f0 s1 l1 > down"},
    {"SignsNest", "-s '-' '+' -c 0 -s '<' '>' -c 1 -k -c 2",
     "govern f0 s0 l1 > n2 | govern f0 s1 l1 > n1 | char f0 s2 l1 >"},
    {"LastSignOfSeveralRegionsGoverns", "-s '-' '+' -c 0 3 -k -c 1",
     "govern f0 s0 l1 > | govern f0 s3 l1 > n1 | char f0 s1 l1 >"},
    {"SignWithoutSequenceTakesTheDefault", "-s -c 0 -k -c 1", "govern f0 s0 l1 > n1 | char f0 s1 l1 >"},
    {"GroupAddressesItsRegion", "( -c 2-3 ) -f 1 -c 10-19", "char f1 s12 l2 >"},
    {"GroupIsRepeatedForEachRegion", "( -c 0 ) -f 1 2 -c 4-5 8-9",
     "char f1 s4 l1 > | char f1 s8 l1 > | char f2 s4 l1 > | char f2 s8 l1 >"},
    {"GroupWithSeveralKeys", "( -k -c 1 -n -d 0 -c 2-3 ) -c 10-19",
     "char f0 s11 l1 > | sign f0 s12 l1 > n1 | int f0 s12 l2 >"},
    {"GroupWithoutFieldListIsTheWholeRecord", "( -c 2-3 )", "char f0 s2 l2 >"},
    {"EmptyGroupIsItsWholeRegion", "( ) -c 4-7", "char f0 s4 l4 >"},
    {"EmptyGroupBehindAKeyAddsNothing", "-k -c 0 ( ) -c 4-7", "char f0 s0 l1 >"},
    {"GroupsNest", "( ( -c 1 ) -c 2-5 ) -c 10-19", "char f0 s13 l1 >"},
    {"GroupInverts", "( -k -c 1 ) -i -c 10-19", "char f0 s11 l1 > down"},
    {"GroupMembersInvertAgainstTheGlobalFlag", "-i ( -k -i -c 1 -k -c 2 ) -c 10-19",
     "char f0 s11 l1 > | char f0 s12 l1 > down"},
    {"KeyBehindAGroup", "( -c 0 ) -f 1 -k -f 2", "char f1 s0 l1 > | char f2 s0 lopen >"},
    {"ColumnsBehindAGroupKeepTheFieldList", "( -c 0 ) -f 1 -c 4-5 -c 8-9",
     "char f1 s4 l1 > | char f1 s8 l1 >"},
    {"SignInsideAGroup", "( -s '-' '+' -c 0 -k -c 1- ) -f 1", "govern f1 s0 l1 > n1 | char f1 s1 lopen >"},
    {"ThirtyTwoEntriesFit", "-k -f 0-31 -c 0-0",
     "char f0 s0 l1 > | char f1 s0 l1 > | char f2 s0 l1 > | char f3 s0 l1 > | char f4 s0 l1 > | "
     "char f5 s0 l1 > | char f6 s0 l1 > | char f7 s0 l1 > | char f8 s0 l1 > | char f9 s0 l1 > | "
     "char f10 s0 l1 > | char f11 s0 l1 > | char f12 s0 l1 > | char f13 s0 l1 > | char f14 s0 l1 > | "
     "char f15 s0 l1 > | char f16 s0 l1 > | char f17 s0 l1 > | char f18 s0 l1 > | char f19 s0 l1 > | "
     "char f20 s0 l1 > | char f21 s0 l1 > | char f22 s0 l1 > | char f23 s0 l1 > | char f24 s0 l1 > | "
     "char f25 s0 l1 > | char f26 s0 l1 > | char f27 s0 l1 > | char f28 s0 l1 > | char f29 s0 l1 > | "
     "char f30 s0 l1 > | char f31 s0 l1 >"},
};
INSTANTIATE_TEST_SUITE_P(Grammar, KeyGrammar, ::testing::ValuesIn(kTables), case_name);

class KeyGrammarFault : public KeysFixture, public ::testing::WithParamInterface<KeyCase> {};

TEST_P(KeyGrammarFault, IsRaised) { EXPECT_EQ(parse(GetParam().command), GetParam().expected); }

const KeyCase kFaults[] = {
    {"GroupNeverClosed", "( -k", "Unbalanced parenthesis in command line\n"},
    {"InnerGroupNeverClosed", "( ( -k ) -c 0", "Unbalanced parenthesis in command line\n"},
    {"SignSequenceWithThreeValues", "-s 'a'-'c' -c 0-0 -k -c 1-",
     "Sign sequences must have even number of values\n"},
    {"DecimalsWithoutNumber", "-n -d -c 0", "-d switch requires numeric parameter\n"},
    {"DecimalsAtTheEnd", "-n -d", "-d switch requires numeric parameter\n"},
    {"DecimalsAsRange", "-n -d 1-2", "Invalid value for decimal count\n"},
    {"DecimalsWithOpenStart", "-n -d -5", "Invalid value for decimal count\n"},
    {"DecimalsWithOpenEnd", "-n -d 5-", "Invalid value for decimal count\n"},
    {"FieldsInAGroup", "( -k -f 1 ) -c 0-3", "Nested fields cannot contain -f parameters\n"},
    {"OpenFieldRangeEnd", "-k -f 1-", "Field range end must be specified\n"},
    {"OpenFieldRangeStart", "-k -f -1", "Field range start must be specified\n"},
    {"OpenFieldRangeOnBothSides", "-k -f -", "Field range end must be specified\n"},
    {"OpenColumnStartOutsideAGroup", "-k -c -5", "Unnested -c switch must specify starting position\n"},
    {"ThirtyThirdEntry", "-k -f 0-32 -c 0", "Too many key fields used\n"},
    {"EleventhNumericKeyNeedsTheThirtyThirdEntry", "-n -f 0-10 -c 0", "Too many key fields used\n"},
    {"ColumnNumberTooLarge", "-k -c 65536", "Argument \"65536\" too large\n"},
    {"CharacterConstantNotClosed", "-k 'a", "Invalid character constant\n"},
    {"UnknownEscape", "-k '\\q'", "Invalid \\character in key\n"},
};
INSTANTIATE_TEST_SUITE_P(Faults, KeyGrammarFault, ::testing::ValuesIn(kFaults), case_name);

class KeyInit : public KeysFixture {};

TEST_F(KeyInit, FieldCountIsOneMoreThanTheHighestFieldRangeEnd) {
  EXPECT_EQ(parse("-k -f 2 -c 0-3"), "char f2 s0 l4 >");
  EXPECT_EQ(instance().key.field_count, 3);
}

TEST_F(KeyInit, FieldCountIsZeroWithoutFieldOption) {
  EXPECT_EQ(parse("-k -c 0-3"), "char f0 s0 l4 >");
  EXPECT_EQ(instance().key.field_count, 0);
}

// Kept on purpose: only a range's end counts, so after -f 1-0 alone field 1 is not split off.
TEST_F(KeyInit, FieldCountLooksAtTheEndOfADescendingFieldRange) {
  EXPECT_EQ(parse("-k -f 1-0"), "char f1 s0 lopen > | char f0 s0 lopen >");
  EXPECT_EQ(instance().key.field_count, 1);
}

TEST_F(KeyInit, HeaderHoldsFrameByteSignBytesAndOffsetWords) {
  EXPECT_FALSE(init("-k -c 0 -n -c 1-3 -n -d 0 -c 4").caught);
  EXPECT_EQ(key_count(), 6);
  EXPECT_EQ(instance().key.offset_area_bytes, 14);
  EXPECT_EQ(key_record_header_bytes(), 1 + 2 + 14);
}

TEST_F(KeyInit, EmptyKeyListUsesTheSharedDefaultSequence) {
  EXPECT_FALSE(init("").caught);
  EXPECT_EQ(key_entry(0).sequence, instance().sequence.default_table);
  EXPECT_NE(key_entry(0).sequence, nullptr);
}

TEST_F(KeyInit, BlanksEverythingFromTheFirstKeyToTheLast) {
  EXPECT_FALSE(init("-i -k 'a'-'z' -r 'A'-'Z' -i -f 0 -c 0-1 ( -n -d 2 -c 0 ) -c 1-2").caught);
  EXPECT_EQ(left(), Texts{});
}

TEST_F(KeyInit, LeavesWhatFitsNowhere) {
  EXPECT_EQ(parse("-k -zz -yy"), "char f0 s0 lopen >");
  EXPECT_EQ(left(), (Texts{"-zz", "-yy"}));
}

TEST_F(KeyInit, LeavesTheArgumentThatIsNoRange) {
  EXPECT_EQ(parse("-k -f x"), "char f0 s0 lopen >");
  EXPECT_EQ(left(), (Texts{"x"}));
}

// An option that another module took is empty by now and ends the key list.
TEST_F(KeyInit, EmptyArgumentBetweenKeysEndsTheKeyList) {
  ArgVector arguments{"-k", "-c", "0-0", "", "-k", "-c", "1-1"};
  const Raised r = raised([&] { rec_init(arguments.argc(), arguments.argv()); });
  EXPECT_FALSE(r.caught);
  EXPECT_EQ(table_text(), "char f0 s0 l1 >");
  EXPECT_EQ(arguments.left(), (Texts{"-k", "-c", "1-1"}));
}

TEST_F(KeyInit, EmptyArgumentEndsLocalOptions) {
  ArgVector arguments{"-k", "", "-c", "1-1"};
  const Raised r = raised([&] { rec_init(arguments.argc(), arguments.argv()); });
  EXPECT_FALSE(r.caught);
  EXPECT_EQ(table_text(), "char f0 s0 lopen >");
  EXPECT_EQ(arguments.left(), (Texts{"-c", "1-1"}));
}

TEST_F(KeyInit, SkipsEmptyArgumentsInFrontOfTheKeyList) {
  ArgVector arguments{"", "-i", "", "-k", "-c", "1-1"};
  const Raised r = raised([&] { rec_init(arguments.argc(), arguments.argv()); });
  EXPECT_FALSE(r.caught);
  EXPECT_EQ(table_text(), "char f0 s1 l1 > down");
}

// The sign's own key list has begun, so what follows it is a whole-record key even though it is empty.
TEST_F(KeyInit, EmptyArgumentBehindASignIsAGovernedWholeRecordKey) {
  ArgVector arguments{"-s", "'-'", "'+'", "-c", "0-0", ""};
  const Raised r = raised([&] { rec_init(arguments.argc(), arguments.argv()); });
  EXPECT_FALSE(r.caught);
  EXPECT_EQ(table_text(), "govern f0 s0 l1 > n1 | char f0 s0 lopen >");
}

TEST_F(KeyInit, LeavesGlobalBlanksToTheRecordOptions) {
  EXPECT_EQ(parse("-b 32 'x' -k -c 1"), "char f0 s1 l1 >");
  EXPECT_EQ(left(), Texts{});
  EXPECT_EQ(instance().record.byte_class[32], kClassBlank);
  EXPECT_EQ(instance().record.byte_class['x'], kClassBlank);
}

TEST_F(KeyInit, BlanksEndAtTheFirstArgumentThatIsNoRange) {
  for (const std::string other : {"x", "/", "~", ":"}) {
    EXPECT_EQ(parse("-k -b 32 " + other), "char f0 s0 lopen >");
    EXPECT_EQ(left(), Texts{other});
    EXPECT_EQ(key_entry(0).sequence->flags(32), kBlankInSequence);
    EXPECT_EQ(key_entry(0).sequence->flags('x'), 0);
  }
}

TEST_F(KeyInit, LocalOptionActsByItsSecondCharacterWhateverFollows) {
  EXPECT_EQ(parse("-k -bx 32 -c 0"), "char f0 s0 l1 >");
  EXPECT_EQ(key_entry(0).sequence->flags(32), kBlankInSequence);
}

TEST_F(KeyInit, NestedEmptyGroupsEndInsteadOfExpandingForEver) {
  std::string command = "-k -c 0 ";
  for (int i = 0; i < 60; ++i) command += "( ";
  for (int i = 0; i < 60; ++i) command += ") -c 0-1 0-1 ";
  EXPECT_EQ(parse(command), "Too many key fields used\n");
}

TEST_F(KeyInit, GroupsNestedTooDeepAreRefused) {
  std::string deep, shallow;
  for (int i = 0; i < 256; ++i) shallow = "( " + shallow + " )";
  EXPECT_EQ(parse(shallow), "char f0 s0 lopen >");
  run_windups();
  deep = "( " + shallow + " )";
  EXPECT_EQ(parse(deep), "Too many key fields used\n");
}

TEST_F(KeyInit, FullWindupListIsReported) {
  const auto nothing = [](Instance*) {};
  for (int i = 0; i < kMaxWindups - 1; ++i) ASSERT_EQ(ExitRegister(nothing), 0);
  EXPECT_EQ(parse(""), "Couldn't register key_windup\n");
}

TEST_F(KeyInit, WindupFreesEveryTableAndMayRunTwice) {
  EXPECT_FALSE(init("-k 'a'-'z' -c 0 -k -c 1 -n -c 2").caught);
  EXPECT_NE(instance().sequence.tables, nullptr);
  key_windup(&instance());
  EXPECT_EQ(instance().sequence.tables, nullptr);
  EXPECT_EQ(instance().sequence.default_table, nullptr);
  EXPECT_EQ(instance().sequence.numeric_table, nullptr);
  key_windup(&instance());
}

TEST_F(KeyInit, SecondStartReleasesWhatTheFirstLeft) {
  EXPECT_FALSE(init("-k 'a'-'z' -f 1 -n -f 2").caught);
  EXPECT_EQ(parse("-k -f 0"), "char f0 s0 lopen >");
  EXPECT_EQ(instance().key.field_count, 1);
}

}  // namespace
}  // namespace fsort::test
