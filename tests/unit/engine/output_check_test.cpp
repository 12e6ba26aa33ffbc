// The check of the output: silent on every good sort, and it tells each way in which one can be wrong.
#include "engine/output_check.h"

#include <random>
#include <tuple>

#include "engine_fixture.h"
#include "keys/record.h"
#include "support/temp_folder.h"

namespace fsort::test {
namespace {

constexpr std::size_t kRecords = 12000;

class OutputCheckTest : public EngineFixture {
 protected:
  void want() {
    driver().check.wanted = 1;
    current_instance->record.summing = &record_summing();
  }
  static DriverState& driver() { return current_instance->driver; }
  static bool same_records() {
    const RecordSum& in = current_instance->record.sum;
    const RecordSum& out = driver().check.sum;
    return in.count == out.count && in.low == out.low && in.high == out.high;
  }

  // Reads the records and puts them out in this order, without a sort; a byte of the first one is `changed`
  // on its way out. Result: number of the misplaced one.
  std::uint64_t misplaced_in(const Texts& options, const Texts& records, bool changed = false) {
    start(options, records);
    OutputCheck& check = driver().check;
    std::string out;
    out.reserve(records.size() * kMostBytes);
    while (const std::uint8_t* record = rec_input_of_sort()()) {
      out.append(reinterpret_cast<const char*>(record) + current_instance->sort.header_bytes,
                 reinterpret_cast<const char*>(record) + rec_total_length(record));
      if (changed) out[0] = '!';
      output_check_later(check, cursor_of(out), record, 0, 0);
    }
    output_check_waiting(check, cursor_of(out));
    EXPECT_EQ(check.count, records.size());
    return check.misplaced;
  }

  // Each record leaves by itself, its memory goes when the next one is read.
  std::uint64_t misplaced_by_other_ways(const Texts& options, const Texts& records) {
    start(options, records);
    const RecordInput input = rec_input_of_sort();
    OutputCheck& check = driver().check;
    for (std::size_t i = 0; i < records.size(); ++i) {
      std::uint8_t* const record = input();
      output_check_record(check, record);
      output_check_keep(check);
      std::fill_n(record, rec_total_length(record), std::uint8_t{0xA5});
    }
    EXPECT_TRUE(same_records());
    return check.misplaced;
  }

  // The same for whole records of these words.
  std::uint64_t misplaced_in_words(const Texts& options, const std::vector<std::uint64_t>& words) {
    const Texts records(words.size(), "a\n");
    start(options, records);
    const std::string out = "a\na\na\n";
    OutputCheck& check = driver().check;
    for (const std::uint64_t word : words)
      output_check_later(check, cursor_of(out), rec_input_of_sort()(), word, 2);
    output_check_waiting(check, cursor_of(out));
    EXPECT_TRUE(same_records());
    return check.misplaced;
  }

  // Whole records of these words, each of a bin of its own.
  std::uint64_t misplaced_among_bins(const Texts& records, const std::vector<std::uint64_t>& words) {
    start({}, records);
    const RecordInput input = rec_input_of_sort();
    OutputCheck& check = driver().check;
    for (std::size_t i = 0; i < records.size(); ++i) {
      output_check_later(check, nullptr, input(), words[i], 2);
      output_check_waiting(check, cursor_of(records[i]));
      output_check_keep(check);
    }
    EXPECT_TRUE(same_records());
    return check.misplaced;
  }

  // The records of two bytes leave as whole ones.
  std::uint64_t misplaced_among_whole(const Texts& records) {
    start({}, records);
    const RecordInput input = rec_input_of_sort();
    OutputCheck& check = driver().check;
    std::string out;
    for (const std::string& text : records) {
      out += text;
      const bool whole = text.size() == 2;
      const std::uint64_t word = whole ? static_cast<std::uint64_t>(text[0]) << 56 : 0;
      output_check_later(check, nullptr, input(), word, whole ? 2 : 0);
    }
    output_check_waiting(check, cursor_of(out));
    EXPECT_TRUE(same_records());
    return check.misplaced;
  }

 private:
  static constexpr std::size_t kMostBytes = 200;

  void start(const Texts& options, const Texts& records) {
    run_windups();  // of the sort before
    want();
    RecordsInOut::in = records;
    RecordsInOut::next = 0;
    EXPECT_EQ(init(options), 0) << shown();
    EXPECT_TRUE(stk_push(driver().data_stack));
  }
  static const std::uint8_t* cursor_of(const std::string& out) {
    return reinterpret_cast<const std::uint8_t*>(out.data()) + out.size();
  }
};

Texts random_records(unsigned seed) {
  std::mt19937 random(seed);
  Texts records;
  for (int i = 0; i < static_cast<int>(kRecords); ++i) {
    std::string text = std::to_string(static_cast<int>(random() % 4001) - 2000);
    if (random() % 3 == 0) text += "." + std::to_string(random() % 100);
    text += ";" + std::string(random() % 20, static_cast<char>('a' + random() % 3));
    text += ";" + std::string(1, random() % 2 != 0 ? '+' : '-') + std::to_string(random() % 30);
    records.push_back(text + "\n");
  }
  return records;
}

// Keys, -u or not, with so little memory that work files are needed or not.
using SortKind = std::tuple<Texts, bool, bool>;

class OutputCheckOfSorts : public OutputCheckTest, public ::testing::WithParamInterface<SortKind> {};

TEST_P(OutputCheckOfSorts, FindsNothingWrong) {
  const auto& [keys, unique, spilling] = GetParam();
  want();
  Texts options = keys;
  if (unique) options.insert(options.begin(), "-u");
  if (spilling) options.insert(options.begin(), {"-m", "200", "-l", "16"});
  const Texts out = sort(options, random_records(7));
  EXPECT_EQ(driver().check.misplaced, 0u);
  EXPECT_EQ(driver().check.sum.count, out.size());
  EXPECT_EQ(current_instance->sort.records_written, out.size());
  EXPECT_EQ(current_instance->record.records_read, kRecords);
  EXPECT_EQ(same_records(), out.size() == kRecords);
  EXPECT_EQ(spilling, current_instance->sublist.file_counter != 0);
}

INSTANTIATE_TEST_SUITE_P(
    AllKindsOfKeys, OutputCheckOfSorts,
    ::testing::Combine(::testing::Values(Texts{}, Texts{"-i"}, Texts{"-t", "59", "-n", "-f", "0"},
                                         Texts{"-t", "59", "-n", "-i", "-f", "0", "-k", "-f", "1"},
                                         Texts{"-t", "59", "-k", "-f", "1", "-n", "-d", "1", "-f", "0"},
                                         Texts{"-t", "59", "-k", "-i", "-f", "1", "-c", "0-2", "-f", "2"},
                                         Texts{"-t", "59", "-k", "'0'-'9'", "-f", "2", "-c", "1-"}),
                       ::testing::Bool(), ::testing::Bool()));

TEST_F(OutputCheckTest, TakesRecordsInOrderWithEqualsAmongThem) {
  EXPECT_EQ(misplaced_in({}, {"a\n", "b\n", "b\n", "c\n"}), 0u);
}

TEST_F(OutputCheckTest, TellsARecordThatComesTooLateByItsFirstBytes) {
  EXPECT_EQ(misplaced_in({}, {"a\n", "c\n", "b\n", "a\n"}), 3u);
}

TEST_F(OutputCheckTest, TellsARecordThatComesTooLateByBytesFarBehind) {
  const std::string front(100, 'x');
  EXPECT_EQ(misplaced_in({}, {front + "a\n", front + "c\n", front + "b\n"}), 3u);
}

TEST_F(OutputCheckTest, TellsARecordThatComesTooLateByALaterKey) {
  EXPECT_EQ(misplaced_in({"-t", "59", "-k", "-f", "1", "-k", "-i", "-f", "0"}, {"a;x\n", "b;x\n"}), 2u);
}

TEST_F(OutputCheckTest, TellsNegativeNumbersInTheOrderOfTheirDigits) {
  EXPECT_EQ(misplaced_in({"-n"}, {"-1\n", "-2\n", "3\n"}), 2u);
}

TEST_F(OutputCheckTest, TellsDescendingRecordsThatAscend) {
  EXPECT_EQ(misplaced_in({"-i"}, {"b\n", "a\n", "c\n"}), 3u);
}

// Records of a number and enough bytes behind it for the digits to be looked at in a step.
Texts numbers(const Texts& values) {
  Texts records;
  for (const std::string& value : values) records.push_back(value + ";some more text\n");
  return records;
}
const Texts kNumber = {"-t", "59", "-n", "-f", "0"};
const Texts kNumberDescending = {"-t", "59", "-n", "-i", "-f", "0"};

TEST_F(OutputCheckTest, TakesNumbersInTheirOrder) {
  const Texts values = {"-3456", "-3455.5", "-3455.4", "-12", "-1", "0",  "0.1",
                        "0.2",   "7",       "12",      "13",  "13", "200"};
  EXPECT_EQ(misplaced_in(kNumber, numbers(values)), 0u);
  EXPECT_EQ(misplaced_in(kNumberDescending, numbers(Texts(values.rbegin(), values.rend()))), 0u);
}

TEST_F(OutputCheckTest, TellsANumberThatComesTooLateBehindEqualSigns) {
  EXPECT_EQ(misplaced_in(kNumber, numbers({"11", "13", "12", "14"})), 3u);
  EXPECT_EQ(misplaced_in(kNumber, numbers({"-14", "-12", "-13", "-11"})), 3u);
  EXPECT_EQ(misplaced_in(kNumberDescending, numbers({"14", "12", "13", "11"})), 3u);
  EXPECT_EQ(misplaced_in(kNumberDescending, numbers({"-11", "-13", "-12", "-14"})), 3u);
}

TEST_F(OutputCheckTest, TellsANumberThatComesTooLateByItsSign) {
  EXPECT_EQ(misplaced_in(kNumber, numbers({"-2", "5", "-1"})), 3u);
  EXPECT_EQ(misplaced_in(kNumberDescending, numbers({"5", "-2", "4"})), 3u);
  EXPECT_EQ(misplaced_in(kNumber, numbers({"5", "17", "4"})), 3u) << "its digits are fewer";
}

TEST_F(OutputCheckTest, TellsANumberThatComesTooLateByItsFraction) {
  EXPECT_EQ(misplaced_in(kNumber, numbers({"12.5", "12.25", "13"})), 2u);
  EXPECT_EQ(misplaced_in(kNumber, numbers({"-12.5", "-12.75", "-11"})), 2u);
  EXPECT_EQ(misplaced_in(kNumberDescending, numbers({"-12.75", "-12.5", "-13"})), 2u);
}

// Behind a number the sign of which turned its digits round, a key runs as it is written.
TEST_F(OutputCheckTest, TellsEqualNumbersInTheWrongOrderOfTheNextKey) {
  const Texts keys = {"-t", "59", "-n", "-f", "0", "-k", "-f", "1"};
  EXPECT_EQ(misplaced_in(keys, {"-2;a;text text text\n", "-2;b;text text text\n", "-2;a;text text text\n"}),
            3u);
  EXPECT_EQ(misplaced_in(keys, {"2;a;text text text\n", "2;b;text text text\n", "2;a;text text text\n"}), 3u);
}

TEST_F(OutputCheckTest, TellsARecordThatComesTooLateBehindAnyNumberOfEqualBytes) {
  for (std::size_t n = 0; n < 70; ++n) {
    const std::string front(n, 'x');
    for (const std::string& end : {std::string("\n"), std::string(20, 'e') + "\n"}) {
      EXPECT_EQ(misplaced_in({}, {front + "a" + end, front + "c" + end, front + "b" + end}), 3u) << n;
      EXPECT_EQ(misplaced_in({"-i"}, {front + "b" + end, front + "a" + end, front + "c" + end}), 3u) << n;
      EXPECT_EQ(misplaced_in({}, {front + "a" + end, front + "\n"}), 2u) << n << ", the shorter one";
    }
  }
}

TEST_F(OutputCheckTest, TellsARecordThatComesTooLateByAKeyWalkedBackwards) {
  EXPECT_EQ(misplaced_in({"-k", "-c", "3-0"}, {"zyxa\n", "aaab\n", "aabb\n", "abab\n"}), 4u);
}

TEST_F(OutputCheckTest, TellsARecordThatComesTooLateByKeysOfEveryByte) {
  const std::string rest = std::string("\0\xff", 2) + std::string(20, 'r') + "\n";
  const Texts keys = {"-k", "0-255"};
  EXPECT_EQ(misplaced_in(keys, {"\x7f" + rest, "\x80" + rest, "\xff" + rest, "\x81" + rest}), 4u);
  EXPECT_EQ(misplaced_in(keys, {rest, rest + "\n", rest}), 3u) << "the shorter one";
}

TEST_F(OutputCheckTest, TellsARecordThatComesTooLateBehindOneSignThatGovernsTheRest) {
  const Texts keys = {"-s", "'-'", "'+'", "-c", "0", "-k", "-c", "1-"};
  const std::string rest = " and more bytes\n";
  EXPECT_EQ(misplaced_in(keys, {"-c" + rest, "-b" + rest, "+a" + rest, "+b" + rest}), 0u);
  EXPECT_EQ(misplaced_in(keys, {"-b" + rest, "-c" + rest, "+a" + rest}), 2u);
  EXPECT_EQ(misplaced_in(keys, {"-b" + rest, "+b" + rest, "+a" + rest}), 3u);
}

TEST_F(OutputCheckTest, TellsARecordThatWentAnotherWayAndCameTooLate) {
  EXPECT_EQ(misplaced_by_other_ways({}, {"a\n", "c\n", "d\n", "b\n"}), 4u);
  EXPECT_EQ(misplaced_by_other_ways({}, {"a\n", "b\n", "c\n", "d\n"}), 0u);
}

TEST_F(OutputCheckTest, TellsEqualKeysFarBehindAndInNumbersWhereOneOfEachIsWanted) {
  const std::string front(40, 'x');
  EXPECT_EQ(misplaced_in({"-u"}, {front + "a\n", front + "b\n", front + "b\n"}), 3u);
  EXPECT_EQ(
      misplaced_in({"-u", "-t", "59", "-n", "-f", "0"}, {"1;aaaaaaaaaaaaaaaa\n", "+1;bbbbbbbbbbbbbbbb\n"}),
      2u);
}

TEST_F(OutputCheckTest, TellsEqualKeysWhereOneOfEachIsWanted) {
  EXPECT_EQ(misplaced_in({"-u"}, {"a\n", "b\n", "b\n"}), 3u);
}

TEST_F(OutputCheckTest, TellsAMisplacedRecordBehindManyThatWereCheckedBefore) {
  Texts records;
  for (std::uint32_t i = 0; i < 3 * kWaitingRecords; ++i) records.push_back(std::to_string(10000 + i) + "\n");
  std::swap(records[kWaitingRecords - 1], records[kWaitingRecords]);
  EXPECT_EQ(misplaced_in({}, records), kWaitingRecords + 1);
}

TEST_F(OutputCheckTest, FindsTheRecordsReadInTheBytesPutOut) {
  EXPECT_EQ(misplaced_in({}, {"a\n", "b\n", "c\n"}), 0u);
  EXPECT_TRUE(same_records());
}

TEST_F(OutputCheckTest, SumsTheBytesPutOutAndNotTheRecords) {
  EXPECT_EQ(misplaced_in({}, {"a\n", "b\n", "c\n"}, true), 0u);
  EXPECT_FALSE(same_records());
}

// Whole records (array_entry.h): their words are all that is looked at.
TEST_F(OutputCheckTest, TakesWholeRecordsInTheOrderOfTheirWords) {
  EXPECT_EQ(misplaced_in_words({}, {5, 5, 7}), 0u);
}

TEST_F(OutputCheckTest, TellsAWholeRecordThatComesTooLateByItsWord) {
  EXPECT_EQ(misplaced_in_words({}, {5, 7, 6}), 3u);
}

// Among whole records: those that are not are compared with the ones beside them as they lie in memory.
TEST_F(OutputCheckTest, TellsARecordThatComesTooLateBehindAWholeOneAndInFrontOfOne) {
  EXPECT_EQ(misplaced_among_whole({"b\n", "aaaaaaaaaaaaaaaaaa\n", "c\n"}), 2u);
  EXPECT_EQ(misplaced_among_whole({"b\n", "caaaaaaaaaaaaaaaaa\n", "c\n"}), 3u);
  EXPECT_EQ(misplaced_among_whole({"b\n", "caaaaaaaaaaaaaaaaa\n", "d\n"}), 0u);
}

// Words of different bins stand behind different key bytes.
TEST_F(OutputCheckTest, HoldsAWholeRecordAgainstTheBytesOfOneOfAnotherBin) {
  EXPECT_EQ(misplaced_among_bins({"b\n", "c\n"}, {7, 6}), 0u);
  EXPECT_EQ(misplaced_among_bins({"c\n", "b\n"}, {6, 7}), 2u);
}

TEST_F(OutputCheckTest, TellsADescendingWholeRecordThatAscends) {
  EXPECT_EQ(misplaced_in_words({"-i"}, {7, 6, 7}), 3u);
}

TEST_F(OutputCheckTest, TellsEqualWholeRecordsWhereOneOfEachIsWanted) {
  EXPECT_EQ(misplaced_in_words({"-u"}, {5, 7, 7}), 3u);
}

}  // namespace
}  // namespace fsort::test
