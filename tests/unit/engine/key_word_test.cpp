// Key words against the byte-by-byte definition of a class value.
#include "engine/key_word.h"

#include <gtest/gtest.h>

#include <random>

#include "engine/array_entry.h"
#include "engine/key_view.h"
#include "engine_fixture.h"
#include "keys/record.h"

namespace fsort::test {
namespace {

class KeyWords : public EngineFixture {
 protected:
  // The records of a sort that has begun with these options.
  std::vector<const std::uint8_t*> records_of(const Texts& options, const Texts& texts) {
    RecordsInOut::in = texts;
    RecordsInOut::next = 0;
    EXPECT_EQ(init(options), 0) << shown();
    EXPECT_TRUE(stk_push(instance().driver.data_stack));
    std::vector<const std::uint8_t*> records;
    while (const std::uint8_t* record = rec_input()) records.push_back(record);
    return records;
  }
  [[nodiscard]] const SortState& state() { return instance().sort; }

  // Values of one key from `position` on, the ended one included where a byte ends it.
  std::vector<std::uint16_t> values_of(const std::uint8_t* record, std::uint32_t key, std::int32_t position) {
    const KeyView& view = state().keys[key];
    std::vector<std::uint16_t> values;
    for (; !key_at_end(view, position); position += view.step) {
      values.push_back(getvalue(record, view, key, position, state().header_bytes));
      if (values.back() == 0) break;
    }
    return values;
  }
  static std::uint64_t packed(std::vector<std::uint16_t> values, WordShape shape) {
    values.resize(shape.values);
    std::uint64_t word = 0;
    for (std::size_t i = 0; i < values.size(); ++i)
      word |= std::uint64_t{values[i]} << (64 - shape.width * (i + 1));
    return word;
  }
  // Compares the words of all places of all keys; result: how many.
  int check_all(const Texts& options, const Texts& texts) {
    int checked = 0;
    for (const std::uint8_t* record : records_of(options, texts)) {
      for (std::uint32_t key = 0; key < state().key_count; ++key) checked += check_key(record, key);
    }
    run_windups();
    return checked;
  }
  int check_key(const std::uint8_t* record, std::uint32_t key) {
    const KeyView& view = state().keys[key];
    const WordShape shape = word_shape(view);
    int checked = 0;
    for (std::int32_t position = 0; !key_at_end(view, position); position += view.step) {
      std::vector<std::uint16_t> values = values_of(record, key, position);
      EXPECT_EQ(key_word(state(), record, key, position), packed(values, shape))
          << "key " << key << " at " << position;
      for (std::uint32_t next = key; state().keys[next].spans != 0;) {
        const std::vector<std::uint16_t> more = values_of(record, ++next, 0);
        values.insert(values.end(), more.begin(), more.end());
      }
      EXPECT_EQ(entry_word(state(), record, key, position), packed(values, entry_shape(view)))
          << "spanning, key " << key << " at " << position;
      ++checked;
      if (values_of(record, key, position).front() == 0) break;
    }
    return checked;
  }
};

Texts random_lines(const std::string& alphabet, std::size_t longest) {
  std::mt19937 random(4711);
  Texts lines;
  for (int i = 0; i < 400; ++i) {
    std::string line;
    for (std::size_t n = random() % (longest + 1); n > 0; --n) line += alphabet[random() % alphabet.size()];
    lines.push_back(line + "\n");
  }
  return lines;
}

TEST_F(KeyWords, OfTheDefaultTableAreItsValuesUpToTheFirstByteWithoutAClass) {
  EXPECT_GT(check_all({}, random_lines("ab ~!\t\x01\x1f\x7f\xff zZ", 20)), 1000);
}
TEST_F(KeyWords, OfATableOfAllBytesHoldSevenValues) {
  EXPECT_GT(check_all({"-k", "0-255"}, random_lines("a\xff\xfe b\x01", 20)), 1000);
}
TEST_F(KeyWords, OfATableOfAllBytesEndWithTheColumnAndWithTheRecord) {
  const std::string bytes("\x00\x01\x7f\x80\xff", 5);
  EXPECT_GT(check_all({"-k", "0-255", "-c", "0-6"}, random_lines(bytes, 20)), 1000);
  EXPECT_GT(check_all({"-mcf", "-k", "0-255", "-c", "1-9"}, random_lines(bytes, 14)), 1000);
  EXPECT_GT(
      check_all({"-mcf", "-k", "0-255", "-c", "3-3", "-k", "0-255", "-c", "0-1"}, random_lines(bytes, 6)),
      500);
  static_cast<void>(records_of({"-mcf", "-k", "0-255", "-c", "1-9", "-k", "0-255", "-c", "0-1"}, {}));
  EXPECT_EQ(state().keys[0].mapping, kMapBySpread);
  EXPECT_EQ(state().keys[0].spans, 0) << "values of nine bits";
}
TEST_F(KeyWords, OfATableOfAllBytesThatMayBeginInFrontOfTheRecordLookAtEachByte) {
  EXPECT_GT(check_all({"-mcf", "-k", "0-255", "(", "-c", "-", ")", "-f", "0"}, random_lines("ab\xff", 4)),
            100);
  static_cast<void>(records_of({"-mcf", "-k", "0-255", "(", "-c", "-", ")", "-f", "0"}, {}));
  EXPECT_EQ(state().keys[0].mapping, kMapByBytes);
}
TEST_F(KeyWords, OfAllBytesButInAnotherOrderLookAtEachByte) {
  EXPECT_GT(check_all({"-k", "'a'", "0-96", "98-255"}, random_lines("ab\xff", 20)), 1000);
  static_cast<void>(records_of({"-k", "'a'", "0-96", "98-255"}, {}));
  EXPECT_EQ(state().keys[0].mapping, kMapByBytes);
}
TEST_F(KeyWords, OfATableThatFoldsCaseAreThoseOfTheTable) {
  EXPECT_GT(check_all({"-k", "'a'-'z'", "-r", "'A'-'Z'"}, random_lines("abcABCzZ-", 20)), 1000);
}
TEST_F(KeyWords, OfALongRunBesideSingleBytesTakeBoth) {
  EXPECT_GT(check_all({"-k", "'.'", "'a'-'z'", "'0'-'9'", "'A'-'F'"}, random_lines("az.09AFG", 20)), 1000);
}
TEST_F(KeyWords, OfARunThatReachesTheHighestByteEndBehindIt) {
  EXPECT_GT(check_all({"-k", "100-255"}, random_lines("\xff\xfe\x64\x63\x80", 20)), 1000);
}
TEST_F(KeyWords, OfADescendingRangeAreThoseOfTheTable) {
  EXPECT_GT(check_all({"-k", "'z'-'a'"}, random_lines("abcxyz", 20)), 1000);
}
TEST_F(KeyWords, OfKeysWalkedBackwardsRunBackwards) {
  EXPECT_GT(check_all({"-mcf", "-k", "-c", "9-0"}, random_lines("abc", 20)), 1000);
}
TEST_F(KeyWords, OfColumnsEndWithTheColumn) {
  EXPECT_GT(check_all({"-mcf", "-k", "-c", "2-5"}, random_lines("abc", 20)), 500);
}
TEST_F(KeyWords, OfNumbersGoOnFromTheDigitsToTheFraction) {
  EXPECT_GT(check_all({"-n"}, random_lines("0123456789.-", 12)), 1000);
  static_cast<void>(records_of({"-n"}, {"1.5\n"}));
  EXPECT_EQ(state().keys[0].spans, 0) << "the sign turns what follows";
  EXPECT_EQ(state().keys[1].spans, 1);
  EXPECT_EQ(state().keys[2].spans, 0) << "there is no next key";
}
TEST_F(KeyWords, OfEntriesHoldSixteenDigitsAndTheFractionAmongThem) {
  static_cast<void>(records_of({"-n"}, {"1.5\n"}));
  EXPECT_EQ(state().keys[0].narrow, 0) << "the sign has more values";
  EXPECT_EQ(state().keys[1].narrow, 1);
  EXPECT_EQ(state().keys[1].digits, 1);
  EXPECT_EQ(state().keys[2].narrow, 1);
  run_windups();
  const std::vector<const std::uint8_t*> records =
      records_of({"-n"}, {"1234567.89\n", "12345678901234567\n"});
  EXPECT_EQ(entry_word(state(), records[0], 1, 0), 0x234567809A000000U);
  EXPECT_EQ(entry_word(state(), records[1], 1, 0), 0x23456789A1234567U);
}
TEST_F(KeyWords, OfNumbersOfAnyLengthAreThoseOfTheirDigits) {
  EXPECT_GT(check_all({"-n"}, random_lines("0123456789", 24)), 1000);
  EXPECT_GT(check_all({"-n"}, random_lines("01.", 24)), 1000);
  EXPECT_GT(check_all({"-mcf", "-n", "-d", "3", "-c", "0-9"}, random_lines("0123456789.", 24)), 1000);
  EXPECT_GT(check_all({"-mcf", "-n", "-c", "0-7"}, random_lines("123456789.", 30)), 1000);
}
TEST_F(KeyWords, OfOwnDigitsAreNarrowByTheirOwnTable) {
  const Texts options = {"-n", "'a'-'l'"};
  static_cast<void>(records_of(options, {}));
  EXPECT_EQ(state().keys[1].narrow, 1);
  EXPECT_EQ(state().keys[1].digits, 0);
  run_windups();
  EXPECT_GT(check_all(options, random_lines("abcdefghijklmno.", 30)), 1000);
  EXPECT_GT(check_all({"-mcf", "-n", "'a'-'l'", "-c", "0-7"}, random_lines("abcdefghijklm", 30)), 1000);
  EXPECT_GT(check_all({"-n", "'0'-'7'"}, random_lines("0123456789.", 24)), 1000);
  EXPECT_GT(check_all({"-n", "'9'-'0'"}, random_lines("0123456789.", 24)), 1000);
  EXPECT_GT(check_all({"-n", "'0'-'9'", "'a'-'e'"}, random_lines("0189abcdefg.", 24)), 1000);
}
TEST_F(KeyWords, OfEntriesAreWideWhereOneOfTheSpannedKeysHasSixteenClasses) {
  const Texts options = {"-mcf", "-k", "'0'-'9'", "-c", "0-3", "-k", "'a'-'p'", "-c", "2-"};
  static_cast<void>(records_of(options, {}));
  EXPECT_EQ(state().keys[0].spans, 1);
  EXPECT_EQ(state().keys[0].narrow, 0);
  EXPECT_EQ(state().keys[1].narrow, 0);
  run_windups();
  EXPECT_GT(check_all(options, random_lines("0189apq", 24)), 1000);
  run_windups();
  static_cast<void>(records_of({"-mcf", "-k", "'0'-'9'", "-c", "0-3", "-k", "'a'-'o'", "-c", "2-"}, {}));
  EXPECT_EQ(state().keys[0].narrow, 1);
  EXPECT_EQ(state().keys[0].digits, 0) << "the next key's are letters";
  run_windups();
  static_cast<void>(records_of({"-mcf", "-k", "'a'-'o'", "-c", "0-3", "-k", "'0'-'9'", "-c", "2-"}, {}));
  EXPECT_EQ(state().keys[0].narrow, 1);
  EXPECT_EQ(state().keys[1].digits, 0) << "the key before has letters";
  run_windups();
  static_cast<void>(records_of({"-mcf", "-k", "'a'-'p'", "-c", "0-3", "-k", "'0'-'9'", "-c", "2-"}, {}));
  EXPECT_EQ(state().keys[1].narrow, 0);
}
TEST_F(KeyWords, OfKeysOfOneByteAreItsValue) {
  const Texts options = {"-mcf", "-k", "-c", "1", "-k", "'0'-'9'", "-i", "-c", "3-3"};
  EXPECT_GT(check_all(options, random_lines("ab09\n", 6)), 400);
}
TEST_F(KeyWords, OfASingleKeyOfDigitsStayWideForTheLinesTheyStandFor) {
  static_cast<void>(records_of({"-k", "'0'-'9'"}, {}));
  EXPECT_EQ(state().keys[0].narrow, 0);
  EXPECT_TRUE(whole_possible(state(), 0, 0));
}
TEST_F(KeyWords, OfKeysInOneDirectionGoOnFromOneToTheNext) {
  const Texts options = {"-mcf", "-k",  "'a'-'c'", "-c",      "0-2", "-k",
                         "-c",   "3-4", "-k",      "'x'-'z'", "-c",  "1-"};
  EXPECT_GT(check_all(options, random_lines("abcxyz", 14)), 1000);
  static_cast<void>(records_of(options, {}));
  EXPECT_EQ(state().keys[0].spans, 1);
  EXPECT_EQ(state().keys[1].spans, 1);
}
TEST_F(KeyWords, OfKeysInDifferentDirectionsDoNotGoOn) {
  static_cast<void>(records_of({"-mcf", "-k", "-c", "0-2", "-k", "-i", "-c", "3-4"}, {}));
  EXPECT_EQ(state().keys[0].spans, 0);
}

TEST_F(KeyWords, SayOfALineThatItIsWholeWhenTheyHoldAllOfIt) {
  const Texts lines = {"\n", "a\n", "abcdefg\n", "abcdefgh\n", "ab\x01\n", "a\tb\n", "ab"};
  const std::vector<const std::uint8_t*> records = records_of({}, lines);
  ASSERT_TRUE(whole_possible(state(), 0, 0));
  std::vector<bool> whole;
  for (const std::uint8_t* record : records)
    whole.push_back(is_whole(state(), record, 0, key_word(state(), record, 0, 0)));
  EXPECT_EQ(whole, (std::vector<bool>{true, true, true, false, false, false, false}));
}
TEST_F(KeyWords, NeverSayItWhenBytesShareAClassOrOtherKeysFollow) {
  static_cast<void>(records_of({"-k", "'a'-'z'", "-r", "'A'-'Z'"}, {}));
  EXPECT_FALSE(whole_possible(state(), 0, 0));
  run_windups();
  static_cast<void>(records_of({"-k", "-k"}, {}));
  EXPECT_FALSE(whole_possible(state(), 0, 0));
}
TEST_F(KeyWords, NeverSayItOfALineWhoseKeyBeginsBehindBlanks) {
  const std::vector<const std::uint8_t*> records = records_of({"-k", "-b", "' '"}, {"  a\n", "a\n"});
  ASSERT_EQ(records.size(), 2U);
  EXPECT_FALSE(is_whole(state(), records[0], 0, key_word(state(), records[0], 0, 0)));
  EXPECT_TRUE(is_whole(state(), records[1], 0, key_word(state(), records[1], 0, 0)));
}

}  // namespace
}  // namespace fsort::test
