// Processing of bins: thresholds, emission, output order, and the shortcuts against the plain levels.
#include "engine/sort_bin.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "engine/array_sort.h"
#include "engine/compare.h"
#include "engine/order.h"
#include "engine_fixture.h"

namespace fsort::test {
namespace {

class SortBin : public EngineFixture {
 protected:
  Texts sort_again(const Texts& options, const Texts& records, bool plain) {
    instance().driver.plain_levels = plain ? 1 : 0;
    RecordsInOut::next = 0;
    RecordsInOut::out.clear();
    Texts out = sort(options, records);
    run_windups();
    instance().driver.plain_levels = 0;
    return out;
  }
  // Lines that "-v" shows for levels below the root.
  std::size_t levels_shown(const Texts& options, Texts records) {
    clear_displayed();
    RecordsInOut::in = std::move(records);
    RecordsInOut::next = 0;
    Texts all = options;
    all.push_back("-v");
    EXPECT_EQ(init_exactly(all), 0);
    EXPECT_EQ(fsort_call(), 0);
    run_windups();
    const Texts& shown = displayed();
    return static_cast<std::size_t>(std::count_if(shown.begin(), shown.end(),
                                                  [](const std::string& t) { return t.starts_with("k="); })) -
           1;
  }
};

Texts same_first_letter(int count) {
  Texts records;
  for (int i = 0; i < count; ++i) records.push_back("a" + std::to_string(1000 + i * 7 % 1000) + "\n");
  return records;
}

TEST_F(SortBin, WithHighestRank255ABinOf31RecordsIsListSortedAnd32AreDistributedAgain) {
  EXPECT_EQ(levels_shown({"-k", "0-255"}, same_first_letter(31)), 0u);
  EXPECT_GE(levels_shown({"-k", "0-255"}, same_first_letter(32)), 1u);
}

TEST_F(SortBin, WithHighestRank30TheBoundaryLiesBetween5And6Records) {
  // 31 values: '0' to 'N'; the bin of all records is that of the first byte.
  const auto records = [](int count) {
    Texts all;
    for (int i = 0; i < count; ++i) all.push_back(std::string("0") + static_cast<char>('1' + i) + "\n");
    return all;
  };
  const Texts options = {"-k", "'0'-'N'", "-fs",
                         "1",  "-rs",     "1000"};  // an estimate of one record: one-byte root
  EXPECT_EQ(levels_shown(options, records(5)), 0u);
  EXPECT_EQ(levels_shown(options, records(6)), 1u);
}

TEST_F(SortBin, ABinOfOneRecordIsOutputWithoutAnotherPass) {
  EXPECT_EQ(levels_shown({}, {"abcdefgh\n"}), 0u);
  EXPECT_EQ(RecordsInOut::out, Texts{"abcdefgh\n"});
}

TEST_F(SortBin, ABinWhoseKeysAreUsedUpIsOutputWithoutAnotherPass) {
  Texts records;
  for (int i = 0; i < 100; ++i) records.push_back("a" + std::to_string(i) + "\n");
  EXPECT_EQ(levels_shown({"-k", "-c", "0-0"}, records), 0u);
  EXPECT_EQ(RecordsInOut::out.size(), 100u);
}

TEST_F(SortBin, AnEndedKeySortsFirstWhenAscendingAndLastWhenDescending) {
  EXPECT_EQ(sort({}, {"ab\n", "a\n", "b\n", "\n"}), (Texts{"\n", "a\n", "ab\n", "b\n"}));
}
TEST_F(SortBin, AnEndedKeySortsLastWhenDescending) {
  EXPECT_EQ(sort({"-i"}, {"ab\n", "a\n", "b\n", "\n"}), (Texts{"b\n", "ab\n", "a\n", "\n"}));
}

TEST_F(SortBin, NoRecordsGiveNoOutput) { EXPECT_EQ(sort({}, {}), Texts{}); }

TEST_F(SortBin, UniqueLeavesExactlyOneOfEqualRecordsWhereTheListSortFinishes) {
  EXPECT_EQ(sort({"-u"}, {"aa\n", "ab\n", "aa\n", "aa\n"}), (Texts{"aa\n", "ab\n"}));
}
TEST_F(SortBin, UniqueLeavesExactlyOneOfEqualRecordsWhereABinWithNoKeyLeftIsEmitted) {
  EXPECT_EQ(sort({"-u", "-k", "-c", "0-0"}, {"a1", "b1", "a2", "b2", "a3"}), (Texts{"a3", "b2"}));
}

TEST_F(SortBin, EqualRecordsOfOnePassLeaveInReverseOrderOfArrival) {
  EXPECT_EQ(sort({"-k", "-c", "0-0"}, {"a1", "b1", "a2", "b2", "a3"}), (Texts{"a3", "a2", "a1", "b2", "b1"}));
}

// k records "a\x01<i>" under a two-byte key: one pass below 20 of them, two from 20 on.
Texts parity_records(int count) {
  Texts records;
  for (int i = 1; i <= count; ++i) records.push_back("a\x01" + std::to_string(i));
  return records;
}

TEST_F(SortBin, NineteenEqualRecordsLeaveReversedAndTwentyInOrderOfArrival) {
  Texts expected = parity_records(19);
  std::reverse(expected.begin(), expected.end());
  EXPECT_EQ(sort({"-k", "-c", "0-1"}, parity_records(19)), expected);
}
TEST_F(SortBin, TwentyEqualRecordsLeaveInOrderOfArrival) {
  EXPECT_EQ(sort({"-k", "-c", "0-1"}, parity_records(20)), parity_records(20));
}
TEST_F(SortBin, OfNineteenEqualRecordsTheLastSurvivesUnique) {
  EXPECT_EQ(sort({"-u", "-k", "-c", "0-1"}, parity_records(19)), Texts{parity_records(19).back()});
}
TEST_F(SortBin, OfTwentyEqualRecordsTheFirstSurvivesUnique) {
  EXPECT_EQ(sort({"-u", "-k", "-c", "0-1"}, parity_records(20)), Texts{parity_records(20).front()});
}

// One random sort, by the shortcuts and by plain levels.
struct Shortcut {
  const char* name;
  Texts options;
  const char* alphabet;
  std::size_t longest;
};

class ShortcutsAgainstPlainLevels : public SortBin, public ::testing::WithParamInterface<Shortcut> {
 protected:
  Texts sort_with(bool plain, const Texts& records) { return sort_again(GetParam().options, records, plain); }
};

TEST_P(ShortcutsAgainstPlainLevels, GiveTheSameRecordsInTheSameOrderByteForByte) {
  std::mt19937 random(20260101);
  const std::string alphabet = GetParam().alphabet;
  for (const int count : {2, 5, 6, 11, 12, 19, 20, 21, 32, 33, 100, 222, 1000, 5000}) {
    for (int round = 0; round < 6; ++round) {
      Texts records;
      const std::string prefix(random() % 3 == 0 ? random() % 30 : 0, alphabet[0]);
      const std::size_t longest = 1 + random() % GetParam().longest;
      for (int i = 0; i < count; ++i) {
        std::string text = prefix;
        for (std::size_t n = random() % (longest + 1); n > 0; --n)
          text += alphabet[random() % alphabet.size()];
        records.push_back(text + "|" + std::to_string(i) + "\n");
      }
      ASSERT_EQ(sort_with(false, records), sort_with(true, records)) << count << " records, round " << round;
    }
  }
}

// Groups of records that begin apart and go on alike for whole cache words: what they share is skipped, and
// the passes over it are counted.
TEST_P(ShortcutsAgainstPlainLevels, GroupsThatShareLongPartsKeepTheirOrderByteForByte) {
  std::mt19937 random(20260202);
  const std::string alphabet = GetParam().alphabet;
  const auto letter = [&] { return alphabet[random() % alphabet.size()]; };
  for (const std::size_t shared : {6U, 7U, 8U, 9U, 14U, 15U, 16U, 17U, 21U, 24U}) {
    for (const int count : {5, 8, 19, 40, 300}) {
      Texts starts;
      for (int g = 0; g < 3; ++g) {
        std::string start(1, letter());
        for (std::size_t n = 0; n < shared; ++n) start += n % 5 == 0 ? letter() : alphabet[0];
        starts.push_back(start);
      }
      Texts records;
      for (int i = 0; i < count; ++i) {
        std::string text = starts[random() % starts.size()];
        for (std::size_t n = random() % 4; n > 0; --n) text += letter();
        if (random() % 8 == 0) text.resize(1 + random() % text.size());
        records.push_back(text + "|" + std::to_string(i) + "\n");
      }
      ASSERT_EQ(sort_with(false, records), sort_with(true, records)) << count << " records, " << shared;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    KeyKinds, ShortcutsAgainstPlainLevels,
    ::testing::Values(
        Shortcut{"DefaultKey", {"-k", "' '-'{'", "-c", "0-"}, "ab", 12},
        Shortcut{"Descending", {"-i", "-k", "' '-'{'"}, "abc", 6},
        Shortcut{"Unique", {"-u", "-k", "'a'-'c'"}, "abc", 4},
        Shortcut{"AllBytes", {"-k", "0-255", "-c", "0-9"}, "ab\x01\xff", 12},
        Shortcut{"AllBytesOpen", {"-u", "-k", "0-255"}, "ab\xff", 3},
        Shortcut{"SmallTableSeveralBytesAPass", {"-mcf", "-k", "'a'-'b'"}, "ab", 14},
        Shortcut{"Backwards", {"-mcf", "-k", "'a'-'c'", "-c", "5-0", "-k"}, "abc", 9},
        Shortcut{"TwoKeysOneDescending",
                 {"-mcf", "-k", "'a'-'c'", "-i", "-c", "0-1", "-k", "'a'-'c'", "-c", "2-"},
                 "abc",
                 6},
        Shortcut{"KeysThatShareAWord",
                 {"-mcf", "-k", "'a'-'c'", "-c", "0-2", "-k", "'a'-'c'", "-c", "3-20"},
                 "abc",
                 24},
        Shortcut{"ShortKeysThatLeaveRoomInTheirWord",
                 {"-mcf", "-k", "'a'-'c'", "-c", "0-2", "-k", "'a'-'c'", "-c", "3-4"},
                 "abc",
                 9},
        Shortcut{"KeysOfLettersThatShareAWord",
                 {"-mcf", "-k", "'a'-'z'", "-c", "0-4", "-k", "'a'-'z'", "-c", "5-20"},
                 "ab",
                 24},
        Shortcut{"Numbers", {"-n"}, "0123-.", 5}, Shortcut{"NumbersDescending", {"-i", "-n"}, "012-.", 5},
        Shortcut{"NumbersWithTwoDecimals", {"-n", "-d", "2"}, "012-.", 6},
        Shortcut{"NumbersUnique", {"-u", "-n"}, "01-.", 4},
        Shortcut{"SignGovernsRest",
                 {"-mcf", "-s", "'a'-'b'", "-c", "0-0", "-k", "'a'-'d'", "-c", "1-"},
                 "abcd",
                 6},
        Shortcut{
            "SignGovernsNumber", {"-mcf", "-s", "'a'-'d'", "-c", "0-0", "-n", "-c", "1-"}, "abcd012-", 7},
        Shortcut{"LettersThenNumberThenLetters",
                 {"-mcf", "-k", "'0'-'2'", "-c", "0-0", "-n", "-c", "1-3", "-k", "'0'-'9'", "-i", "-c", "2-"},
                 "012-",
                 7}),
    [](const ::testing::TestParamInfo<Shortcut>& info) { return info.param.name; });

// Records that are the same are written without another look at each. Some are the same in their key only:
// they differ behind the byte that ends it, behind its last column, or in the blanks in front of it.
TEST_F(SortBin, RecordsOfEqualKeysLeaveWithTheirOwnBytes) {
  const std::string line(61, 'q');
  const std::string ended = line + "\x01";
  const Texts sets[] = {
      {line + "\n"},
      {ended + "x\n", ended + "y\n"},
      {ended + "12345678\n", ended + "1234567x\n"},
      {line + "\n", line.substr(0, 60) + "\n"},
      {"  " + line + "\n", line + "qq\n"},
      {"  " + line + "\n", line + "\x01q\n", line + "\n"},
  };
  const Texts all_options[] = {{"-k"}, {"-k", "-b", "' '"}, {"-k", "-c", "0-39"}, {"-i"},
                               {"-u"}, {"-k", "-c", "2-"}};
  std::mt19937 random(20260303);
  for (const Texts& options : all_options) {
    for (const Texts& set : sets) {
      Texts records;
      for (int i = 0; i < 300; ++i) records.push_back(set[random() % set.size()]);
      ASSERT_EQ(sort_again(options, records, false), sort_again(options, records, true))
          << options.back() << ", " << set.front();
    }
  }
}

TEST_F(SortBin, ManyRecordsWithALongCommonPrefixTakeTheSameOrderByBothWays) {
  Texts records;
  for (int i = 0; i < 3000; ++i) records.push_back(std::string(301, 'p') + std::to_string(i % 7) + "\n");
  for (int i = 0; i < 3000; ++i) records[static_cast<std::size_t>(i)] += std::to_string(i);
  // A memory so small that the bin does not fit the array sort: the prefix is skipped on the list.
  const Texts options = {"-m", "1600", "-k", "-c", "0-301"};
  const Texts skipped = sort_again(options, records, false);
  EXPECT_EQ(skipped, sort_again(options, records, true));
  EXPECT_EQ(skipped.size(), 3000u);
}

TEST_F(SortBin, RecordsNearTheLongestLengthNeedNoDepth) {
  Texts records;
  for (int i = 0; i < 25; ++i) records.push_back(std::string(40000, 'x') + static_cast<char>('a' + i % 3));
  const Texts out = sort({"-m", "200m"}, records);
  std::sort(records.begin(), records.end());
  EXPECT_EQ(out, records);
}

// --- comparison
// --------------------------------------------------------------------------------------------------

TEST_F(SortBin, OfTwoKeysEqualUpToTheEndOfOneTheShorterSortsFirstAscendingAndLastDescending) {
  EXPECT_EQ(sort({}, {"xab\n", "xa\n"}), (Texts{"xa\n", "xab\n"}));
}
TEST_F(SortBin, OfTwoKeysEqualUpToTheEndOfOneTheShorterSortsLastDescending) {
  EXPECT_EQ(sort({"-i"}, {"xa\n", "xab\n"}), (Texts{"xab\n", "xa\n"}));
}

TEST_F(SortBin, ThreeRecordsOfEqualKeysLeaveInTheOrderYielded) {
  EXPECT_EQ(sort({"-k", "-c", "0-1"}, {"ab1", "ab2", "ab3"}), (Texts{"ab3", "ab2", "ab1"}));
}
TEST_F(SortBin, UniqueLetsOnlyTheFirstYieldedOfThreeEqualRecordsOut) {
  EXPECT_EQ(sort({"-u", "-k", "-c", "0-1"}, {"ab1", "ab2", "ab3"}), Texts{"ab3"});
}

TEST_F(SortBin, ASignByteInTheLowerHalfInvertsTheKeysItGovernsAndOneInTheUpperHalfDoesNot) {
  EXPECT_EQ(sort({"-s", "'-'", "'+'", "-c", "0-0", "-k", "-c", "1-1"}, {"-1", "+1", "-3", "+2", "-2"}),
            (Texts{"-3", "-2", "-1", "+1", "+2"}));
}
TEST_F(SortBin, ASignByteInsideALaterKeyInvertsInTheListSortToo) {
  EXPECT_EQ(sort({"-k", "-c", "0-0", "-s", "'-'", "'+'", "-c", "1-1", "-k", "-c", "2-2"},
                 {"a-1", "a-2", "a+1", "a+2"}),
            (Texts{"a-2", "a-1", "a+1", "a+2"}));
}

}  // namespace
}  // namespace fsort::test
