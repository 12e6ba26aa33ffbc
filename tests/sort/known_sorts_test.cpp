// Sorts with a known result, one claim each: command, input, and the exact output or message.
//
// Each runs by files on both sides and by callbacks on both sides. What succeeds is also judged by the oracle
// and compared with the reference engine, so the table proves those two as well.
#include <gtest/gtest.h>

#include <ostream>

#include "support/oracle_parse.h"
#include "support/record_gen.h"
#include "support/reference_engine.h"
#include "support/run_fsort.h"

namespace fsort_test {
namespace {

using namespace std::string_literals;

enum class Fault { none, command_line, sort };

struct KnownSort {
  const char* name;  // the claim
  std::string command;
  std::string input;
  std::string output;  // or the message
  Fault fault = Fault::none;
  std::size_t fixed = 0;  // size of fixed records; 0: lines
};
void PrintTo(const KnownSort& sort, std::ostream* out) { *out << sort.command; }

// Lines "a", byte 1, number: equal in the first two key bytes, ended by an out-of-sequence byte.
std::string counted_lines(int count) {
  std::string lines;
  for (int i = 1; i <= count; ++i) lines += "a\x01" + std::to_string(i) + "\n";
  return lines;
}
std::string counted_lines_reversed(int count) {
  std::string lines;
  for (int i = count; i >= 1; --i) lines += "a\x01" + std::to_string(i) + "\n";
  return lines;
}
std::string repeated(const std::string& text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += text;
  return all;
}

const KnownSort kWholeRecordsAndSequences[] = {
    {"NoKeySortsWholeLines", "", "b\na\nc\nab\n", "a\nab\nb\nc\n"},
    {"GlobalInvertSortsDownward", "-i", "b\na\nc\nab\n", "c\nb\nab\na\n"},
    {"TabRanksBelowBlank", "", "a\tb\na b\na\n", "a\na\tb\na b\n"},
    {"DescendingRangeRanksZFirst", "-k 'z'-'a'", "ab\nba\nzz\nb\n", "zz\nb\nba\nab\n"},
    {"BackStepRanksBothCasesAlike", "-k 'a'-'z' -r 'A'-'Z'", "ab\nB\naA\nAb\n", "aA\nAb\nab\nB\n"},
    {"DescendingColumnsReadBackwards", "-k -c 3-0", "abcd\nbbcd\nabce\nabcc\n", "abcc\nabcd\nbbcd\nabce\n"},
    {"LocalInvertTurnsOneKeyOnly", "-k -i -c 0-0 -k -c 1-1", "ba\nab\naa\nbb\n", "ba\nbb\naa\nab\n"},
    {"ReversalStopsAtTheKeyBorderInsideOnePlan", "-k 'a'-'b' -i -c 0-0 -k 'a'-'b' -c 1-1", "ba\nab\naa\nbb\n",
     "ba\nbb\naa\nab\n"},
    {"GlobalInvertReversesEveryKeyOfOnePlan", "-i -k 'a'-'b' -c 0-0 -k 'a'-'b' -c 1-1", "ba\nab\naa\nbb\n",
     "bb\nba\nab\naa\n"},
    {"LocalInvertUnderGlobalInvertAscends", "-i -k -c 0-0 -k -i -c 1-1", "ba\nab\naa\nbb\n",
     "ba\nbb\naa\nab\n"},
    {"OpenColumnRangeReachesTheEnd", "-k -c 1-", "xb\nya\nzc\n", "ya\nxb\nzc\n"},
    {"LocalBlanksAreSkippedInFront", "-k -b ' ' -c 0-", "  b\na\n   c\n", "a\n  b\n   c\n"},
    {"NonAsciiBytesEndADefaultKey", "-u",
     "\xc3\xa9"
     "1\n\xc3\xa9"
     "2\nab\n",
     "\xc3\xa9"
     "2\nab\n"},
    {"KeyOverAllBytesEndsWithTheRecord", "-u -k 0-255", "ab\nab\nab\n", "ab\n"},
    {"FixedBinaryRecordsSortByUnsignedBytes", "-rf 4 -k 0-255 -c 0-3",
     "\x00\x01zz\xff\x00zz\x80"
     "aaa"s,
     "\x00\x01zz\x80"
     "aaa\xff\x00zz"s,
     Fault::none, 4},
};

const KnownSort kFieldsAndGroups[] = {
    {"DelimiterSplitsFields", "-t ',' -k -f 1", "3,b\n1,c\n2,a\n", "2,a\n3,b\n1,c\n"},
    {"FieldRangeRunsDownward", "-t ',' -k -f 1-0", "a,z\nb,y\nc,y\n", "a,z\nb,y\nc,y\n"},
    {"TabIsTheDefaultDelimiter", "-k -f 1", "x\tb\ny\ta\n", "y\ta\nx\tb\n"},
    {"FieldsStartAfterGlobalBlanks", "-t ',' -b ' ' -k -f 1", "x,  b\ny,a\n", "y,a\nx,  b\n"},
    {"MissingFieldsAreEmpty", "-t ',' -mfr -k -f 2", "a,b,c\nd\ne,f,a\n", "d\ne,f,a\na,b,c\n"},
    {"ColumnsBeyondTheFieldAreEmpty", "-mcf -k -c 2-3", "abz\nab\na\nabaa\n", "a\nab\nabaa\nabz\n"},
    {"ColumnsBeyondTheFieldClampToTheRecord", "-mcr -k -c 2-", "a\nabz\naba\n", "a\naba\nabz\n"},
    {"GroupAddressesBytesOfItsRegion", "( -c 2-3 ) -c 1-4", "x00dc\nx00ab\nx00ca\n", "x00ab\nx00ca\nx00dc\n"},
    {"GroupReadsDescendingInnerColumnsBackwards", "( -k -c 1-0 ) -c 2-5", "00ab\n00ba\n00aa\n",
     "00aa\n00ba\n00ab\n"},
    {"GroupReadsAWholeFieldBackwards", "-t ',' ( -k -c -0 ) -f 0", "xa,1\nya,2\n", "xa,1\nya,2\n"},
    {"GroupReadsAClosedRegionBackwards", "( -k -c -0 ) -c 0-1", "ab\nba\nac\n", "ba\nab\nac\n"},
};

const KnownSort kNumbers[] = {
    {"NumbersSortByValue", "-n", "10\n9\n-1\n0\n-20\n.5\n-.5\n", "-20\n-1\n-.5\n0\n.5\n9\n10\n"},
    {"NumbersSortDownward", "-i -n", "17\n12\n3\n5\n-2\n-15\n-13\n", "17\n12\n5\n3\n-2\n-13\n-15\n"},
    {"NegativeFractionsBelowOneSortByValue", "-n", "-0.3\n-0.5\n-0.25\n", "-0.5\n-0.3\n-0.25\n"},
    {"NegativeFractionsBehindAnotherKeySortByValue", "-mcf -k -c 0-0 -n -c 2-9",
     "a -0.3\na -0.5\na 0\na -1\n", "a -1\na -0.5\na -0.3\na 0\n"},
    {"SignDigitAndFractionOfOnePlanSortByValue", "-n -c 0-0", "-1.3\n-1.5\n-2\n1.5\n1.3\n",
     "-2\n-1.5\n-1.3\n1.3\n1.5\n"},
    {"TrailingZerosSortAfterAndBeforeWhenNegative", "-n", "1.5\n1.50\n1\n1.0\n-1.5\n-1.50\n",
     "-1.50\n-1.5\n1\n1.0\n1.5\n1.50\n"},
    {"DecimalCountCutsTheComparison", "-n -d 2", "1.509\n1.501\n1.51\n1.5\n", "1.5\n1.501\n1.509\n1.51\n"},
    {"TrailingMinusMakesNegative", "-n", "5-\n3\n+4\n-6\n", "-6\n5-\n3\n+4\n"},
    {"LeadingZerosDoNotCount", "-n", "007\n7.0\n7\n08\n", "7\n007\n7.0\n08\n"},
    {"UniqueKeepsTheLastOfEachNumber", "-u -n", "+5\n5\n-0\n0\n.0\n000\n5.0\n", "000\n5\n5.0\n"},
    {"MinusAfterTheYearNegates", "-n -c 0-3", "2023-05-01\n2024-01-01\n", "2024-01-01\n2023-05-01\n"},
    {"MoreDigitsThanTheColumnHaveNoSignClass", "-mcf -n -c 0-3", "20230115\n20240115\n5\n",
     "20240115\n20230115\n5\n"},
    {"DelimiterCommaIsReadAsDecimalComma", "-t ',' -n -f 0", "12,5\n12,3\n", "12,3\n12,5\n"},
    {"DelimiterPointIsReadAsDecimalPoint", "-t '.' -n -f 0-3", "10.2.0.0\n10.10.0.0\n9.1.1.1\n",
     "9.1.1.1\n10.10.0.0\n10.2.0.0\n"},
    {"KeyAfterZeroDecimalsBeginsAtTheFraction", "-n -d 0 -c 0-0 -k -c 2-2", "5a2\n5b1\n", "5a2\n5b1\n"},
    {"OwnDigitSequenceSkipsOnlyTheCharacterZero", "-n 'a'-'j'", "ba\nj\nbb\n", "j\nba\nbb\n"},
    {"NumbersAreNotBoundedByTheirColumn", "-n -c 0-0", "12\n13\n2\n-12\n-13\n", "-13\n-12\n13\n12\n2\n"},
    {"NoDigitsIsZero", "-n", "3\n\n-1\nabc\n", "-1\nabc\n\n3\n"},
    {"CommaIsADecimalPoint", "-n", "1,000\n2\n1,5\n", "1,000\n1,5\n2\n"},
    {"ThirtyOneDigitsAreAccepted", "-n", "1234567890123456789012345678901\n2\n",
     "2\n1234567890123456789012345678901\n"},
    {"NumericColumnsOfOneHundredTwentySevenBytesSortByValue", "-mcf -n -c 0-126", "5\n-3\n12\n-12\n-1\n1\n",
     "-12\n-3\n-1\n1\n5\n12\n"},
    {"NumericColumnsOfOneHundredTwentyEightBytesSortByValue", "-mcf -n -c 0-127", "5\n-3\n12\n-12\n-1\n1\n",
     "-12\n-3\n-1\n1\n5\n12\n"},
    {"WideNumericColumnsSortByValue", "-mcf -n -c 0-199", "5\n-3\n12\n-12\n", "-12\n-3\n5\n12\n"},
};

const KnownSort kSigns[] = {
    {"SignGovernsTheKeysAfterIt", "-s '-' '+' -c 0-0 -k -c 1-1", "-1\n+1\n-3\n+2\n-2\n",
     "-3\n-2\n-1\n+1\n+2\n"},
    {"InvertedSignRunsFromGreatestToLeast", "-i -s '-' '+' -c 0-0 -k -c 1-1", "-1\n+1\n-3\n+2\n-2\n",
     "+2\n+1\n-1\n-2\n-3\n"},
    {"SignBehindAnotherKeySplitsAtTheSameClass", "-k -c 0-0 -s '-' '+' -c 1-1 -k -c 2-2",
     "a-1\na-2\na+1\na+2\n", "a-2\na-1\na+1\na+2\n"},
    {"ByteOutsideTheSignSequenceCountsAsLowest", "-s '-' '+' -c 0-0 -k -c 1-1", "x1\nx2\n-1\n",
     "x2\nx1\n-1\n"},
    {"SignGovernsANumberAsAWhole", "-mcf -s 'D' 'C' -c 0-0 -n -c 1-9", "D5\nC5\nD-3\nC-7\nD9\nC-9\n",
     "D9\nD5\nD-3\nC-9\nC-7\nC5\n"},
    {"GovernedKeyKeepsItsOwnInvert", "-s '-' '+' -c 0-0 -k -i -c 1-1", "-1\n-2\n+1\n+2\n",
     "-1\n-2\n+2\n+1\n"},
    {"SignIsOneByteWhateverItsColumnsSay", "-s '-' '+' -c 0-1 -k -c 2-2", "--1\n-+2\n+-3\n++4\n-+1\n--2\n",
     "--2\n-+2\n-+1\n--1\n+-3\n++4\n"},
    {"UniqueSignKeepsTheLastOfEachClass", "-u -s '-' '+' -c 0-0", "-1\n+2\n-3\n+4\n", "-3\n+4\n"},
};

const KnownSort kTies[] = {
    {"UniqueKeepsTheLastOfEachClass", "-u -k -c 0-0", "a1\nb1\na2\nb2\na3\n", "a3\nb2\n"},
    {"OnePassReversesEqualRecords", "-k -c 0-0", "a1\nb1\na2\nb2\na3\n", "a3\na2\na1\nb2\nb1\n"},
    {"UniqueComparesAllColumns", "-u -k -c 0-1", "ab1\nab2\nac1\n", "ab2\nac1\n"},
    {"NineteenEqualRecordsLeaveReversed", "-k -c 0-1", counted_lines(19), counted_lines_reversed(19)},
    {"TwentyEqualRecordsLeaveInInputOrder", "-k -c 0-1", counted_lines(20), counted_lines(20)},
    {"UniqueKeepsTheLastOfNineteen", "-u -k -c 0-1", counted_lines(19),
     "a\x01"
     "19\n"},
    {"UniqueKeepsTheFirstOfTwenty", "-u -k -c 0-1", counted_lines(20),
     "a\x01"
     "1\n"},
};

const KnownSort kMessages[] = {
    {"ConsumedOptionEndsTheKeyList", "-k -c 0-0 -u -k -c 1-1", "b1\na2\n",
     "-k,-c and 1-1 are invalid arguments", Fault::command_line},
    {"FieldTooShortShowsTheRecord", "-k -c 5-", "abc\n", "abc\n\nField too short", Fault::sort},
    {"NotEnoughFieldsShowsTheRecord", "-t ',' -k -f 2", "a,b\n", "a,b\n\nNot enough fields in record",
     Fault::sort},
    {"FieldThatWouldBeginAtTheRecordsEndIsMissing", "-rf 2 -t ',' -k -f 1", "a,",
     "a,\nNot enough fields in record", Fault::sort, 2},
    {"ThirtyTwoDigitsAreRefused", "-n", "12345678901234567890123456789012\n",
     "12345678901234567890123456789012\n\nNumeric field too long", Fault::sort},
    {"OneValueIsNoSequence", "-k 'a'", "a\n", "Collating sequence has only one value", Fault::command_line},
    {"SignSequenceMustBeEven", "-s 'a'-'c' -c 0-0 -k -c 1-", "a\n",
     "Sign sequences must have even number of values", Fault::command_line},
    {"SegmentOfSixKilobytesIsTooSmallForADefaultKey", "-l 6", "a\n", "Segment length too small", Fault::sort},
    {"SegmentLengthHasAnUpperLimit", "-l 4194304", "a\n", "Segment length too large", Fault::command_line},
    {"FieldRangeNeedsAnEnd", "-k -f 1-", "a\n", "Field range end must be specified", Fault::command_line},
    {"OneUnknownOptionIsNamed", "-zz", "a\n", "-zz is an invalid argument", Fault::command_line},
    {"TwoUnknownOptionsAreNamed", "-k -zz -yy", "a\n", "-zz and -yy are invalid arguments",
     Fault::command_line},
    {"UnbalancedParenthesisIsRefused", "( -k", "a\n", "Unbalanced parenthesis in command line",
     Fault::command_line},
    {"RecordLargerThanASegmentIsRefused", "-l 7 -rt 20000", std::string(8000, 'b') + "\n",
     "Unable to allocate memory for data", Fault::sort},
    {"SegmentOfNothingIsRefused", "-l 0", "b\na\n", "Segment length too small", Fault::command_line},
    {"WholeLongRecordIsShown", "-k -c 400-", std::string(300, 'x') + "\n",
     std::string(300, 'x') + "\n\nField too short", Fault::sort},
};

const KnownSort kMemory[] = {
    {"SegmentOfSevenKilobytesHoldsADefaultLevel", "-l 7", "b\na\n", "a\nb\n"},
    {"SegmentOfFiveKilobytesHoldsASmallLevel", "-l 5 -k 'a'-'z'", "b\na\n", "a\nb\n"},
    {"SegmentOfFourMegabytesSorts", "-l 4097", "b\na\n", "a\nb\n"},
    {"SixGigabytesOfMemorySort", "-m 6g", "b\na\n", "a\nb\n"},
    {"TwentyFiveEqualLinesOfFortyThousandBytesSort", "-rt 60000 -m 200m",
     repeated(std::string(39999, 'a') + "\n", 25), repeated(std::string(39999, 'a') + "\n", 25)},
};

class KnownSorts : public testing::TestWithParam<KnownSort> {};
class RefusedSorts : public testing::TestWithParam<KnownSort> {};

RecordSet set_of(const KnownSort& sort) {
  RecordSet set;
  set.type = sort.fixed > 0 ? RecordType::fixed : RecordType::text;
  set.size = sort.fixed;
  set.records = split_records(sort.input, set);
  return set;
}

void expect_result(const KnownSort& sort, const SortRun& run) {
  if (sort.fault == Fault::none) {
    EXPECT_EQ(run.bytes, sort.output);
    EXPECT_EQ(run.status, 0) << testing::PrintToString(run.texts);
    return;
  }
  const char* title = sort.fault == Fault::sort ? "Error detected in fsort call\n"
                                                : "Error detected in fsort initialization\n";
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.texts, (std::vector<std::string>{sort.output + "\n", title}));
  EXPECT_EQ(run.bytes, "");
}

SortRun run_by(const KnownSort& sort, Route route) {
  SortRequest request;
  if (!sort.command.empty()) request.arguments = {sort.command};
  request.records = set_of(sort).records;
  request.input = request.output = route;
  return run_fsort(request);
}

TEST_P(KnownSorts, GiveTheirResultByFiles) { expect_result(GetParam(), run_by(GetParam(), Route::file)); }
TEST_P(KnownSorts, GiveTheirResultByCallbacks) {
  expect_result(GetParam(), run_by(GetParam(), Route::callback));
}

TEST_P(RefusedSorts, GiveTheirMessageByFiles) { expect_result(GetParam(), run_by(GetParam(), Route::file)); }
TEST_P(RefusedSorts, GiveTheirMessageByCallbacks) {
  expect_result(GetParam(), run_by(GetParam(), Route::callback));
}

TEST_P(KnownSorts, AreForetoldByTheReferenceEngine) {
  const RecordSet set = set_of(GetParam());
  const ReferenceResult result =
      reference_sort(split_command(GetParam().command), set.records, ReferenceInput{});
  EXPECT_EQ(result.fault, "");
  EXPECT_EQ(concatenate(pick(set.records, result.order)), GetParam().output);
}

TEST_P(RefusedSorts, AreForetoldByTheReferenceEngine) {
  const ReferenceResult result =
      reference_sort(split_command(GetParam().command), set_of(GetParam()).records, ReferenceInput{});
  EXPECT_EQ(result.fault, GetParam().output);
  EXPECT_EQ(result.fault_in_call, GetParam().fault == Fault::sort);
}

TEST_P(KnownSorts, AreRightByTheOracle) {
  const RecordSet set = set_of(GetParam());
  EXPECT_EQ(judge(read_spec(GetParam().command), set.records, split_records(GetParam().output, set)), "");
}

TEST_P(KnownSorts, AreWrongByTheOracleWhenARecordIsLost) {
  const RecordSet set = set_of(GetParam());
  std::vector<std::string> output = split_records(GetParam().output, set);
  output.pop_back();
  EXPECT_NE(judge(read_spec(GetParam().command), set.records, output), "");
}

// Records equal over two key bytes: the first pass turns their order round; a second one, made from the
// threshold on, turns it back. The estimate of one record keeps a plan from taking both bytes at once.
TEST(ListSortThreshold, FollowsTheHighestClassOfTheKey) {
  struct Row {
    int highest;
    int threshold;
  };
  for (const Row row : {Row{30, 6}, Row{31, 12}, Row{72, 12}, Row{73, 18}, Row{90, 18}, Row{91, 20},
                        Row{128, 20}, Row{129, 32}, Row{255, 32}}) {
    const int first = row.highest < 97 ? 97 - row.highest : 0;
    SortRequest request;
    request.arguments = {"-fs 1 -rs 1000 -m 20000 -k " + std::to_string(first) + "-" +
                         std::to_string(first + row.highest) + " -c 0-1"};
    for (int i = 1; i < row.threshold; ++i) request.records.push_back("aa" + std::to_string(i) + "\n");
    std::vector<std::string> reversed(request.records.rbegin(), request.records.rend());
    EXPECT_EQ(run_fsort(request).records, reversed) << row.highest;
    request.records.push_back("aa" + std::to_string(row.threshold) + "\n");
    EXPECT_EQ(run_fsort(request).records, request.records) << row.highest;
    request.plain_levels = true;
    EXPECT_EQ(run_fsort(request).records, request.records) << row.highest;
  }
}

std::string name_of(const testing::TestParamInfo<KnownSort>& info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(OfWholeRecordsAndSequences, KnownSorts, testing::ValuesIn(kWholeRecordsAndSequences),
                         name_of);
INSTANTIATE_TEST_SUITE_P(OfFieldsAndGroups, KnownSorts, testing::ValuesIn(kFieldsAndGroups), name_of);
INSTANTIATE_TEST_SUITE_P(OfNumbers, KnownSorts, testing::ValuesIn(kNumbers), name_of);
INSTANTIATE_TEST_SUITE_P(OfSigns, KnownSorts, testing::ValuesIn(kSigns), name_of);
INSTANTIATE_TEST_SUITE_P(OfEqualRecords, KnownSorts, testing::ValuesIn(kTies), name_of);
INSTANTIATE_TEST_SUITE_P(WithTheirMessages, RefusedSorts, testing::ValuesIn(kMessages), name_of);
INSTANTIATE_TEST_SUITE_P(WithUnusualMemory, KnownSorts, testing::ValuesIn(kMemory), name_of);

}  // namespace
}  // namespace fsort_test
