// Keys in words, out of command lines as a sort reads them.
#include "key_words.h"

#include <gtest/gtest.h>

#include <memory>

#include "support/temp_folder.h"

namespace fsort_tool {
namespace {

class KeyWords : public ::testing::Test {
 protected:
  // The words of all keys of a command line.
  std::vector<std::vector<std::string>> words(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"fsort", "-in", folder_.make("in", "a\n")});
    const Inspection inspection(arguments);
    EXPECT_EQ(inspection.status(), 0) << Inspection::take_messages();
    std::vector<std::vector<std::string>> keys;
    for (std::size_t k = 0; k < inspection.sort().key_count; ++k) {
      keys.push_back(key_words(inspection.sort(), k));
    }
    return keys;
  }
  std::string first_line(const std::vector<std::string>& arguments) { return words(arguments).at(0).at(0); }
  // The sequence of a character key over the whole record.
  std::string order(std::vector<std::string> ranges) {
    ranges.insert(ranges.begin(), "-k");
    std::string line = words(ranges).at(0).at(1);
    const std::string front = "order ";
    const std::string back = "; any other byte ends the key";
    EXPECT_TRUE(line.starts_with(front) && line.ends_with(back)) << line;
    return line.substr(front.size(), line.size() - front.size() - back.size());
  }

  fsort::test::TempFolder folder_;
};

TEST_F(KeyWords, TellWhereCharactersLie) {
  EXPECT_EQ(first_line({}), "characters: the whole record, ascending");
  EXPECT_EQ(first_line({"-i"}), "characters: the whole record, descending");
  EXPECT_EQ(first_line({"-k", "-c", "0-3"}), "characters: bytes 0 to 3 of the record, ascending");
  EXPECT_EQ(first_line({"-k", "-c", "5"}), "characters: byte 5 of the record, ascending");
  EXPECT_EQ(first_line({"-k", "-c", "5-"}), "characters: the record from byte 5 on, ascending");
  EXPECT_EQ(first_line({"-k", "-c", "7-4"}), "characters: bytes 7 to 4 of the record, backward, ascending");
  EXPECT_EQ(first_line({"-k", "-i", "-f", "2"}), "characters: field 2, descending");
  EXPECT_EQ(first_line({"-k", "-f", "2", "-c", "1-2"}), "characters: bytes 1 to 2 of field 2, ascending");
  EXPECT_EQ(first_line({"(", "-k", "-c", "-0", ")", "-f", "0"}),
            "characters: field 0 from its last byte backward, ascending");
}

TEST_F(KeyWords, TellHowNumbersAreRead) {
  const auto keys = words({"-n", "'a'-'j'", "-d", "2", "-b", "'*'", "-f", "3", "-n", "-d", "0", "-c", "4-9"});
  ASSERT_EQ(keys.size(), 2U);
  EXPECT_EQ(keys[0],
            (std::vector<std::string>{"number in field 3, ascending",
                                      "digits 'a'-'j'; at most 2 decimals count", "'*' skipped in front"}));
  EXPECT_EQ(keys[1][0], "number in field 0, from byte 4 on, at most 6 digits, ascending");
  EXPECT_EQ(keys[1][1], "digits '0'-'9'; no decimals count");
}

TEST_F(KeyWords, TellSequencesByTheRangesThatMakeThem) {
  EXPECT_EQ(order({}), "'\\t' ' '-'~'");
  EXPECT_EQ(order({"0-255"}), "0-255");
  EXPECT_EQ(order({"'a'-'z'"}), "'a'-'z'");
  EXPECT_EQ(order({"'z'-'a'"}), "'z'-'a'");
  EXPECT_EQ(order({"'a'-'z'", "-r", "'A'-'Z'"}), "'A'-'Z'='a'-'z'");
  EXPECT_EQ(order({"'0'-'9'", "'a'-'z'"}), "'0'-'9' 'a'-'z'");
  EXPECT_EQ(order({"'b'", "'a'", "'c'"}), "'b'-'a' 'c'");
}

TEST_F(KeyWords, EndALongSequenceWithDots) {
  std::vector<std::string> ranges;
  for (int byte = 40; byte < 80; byte += 2) ranges.push_back(std::to_string(byte));
  EXPECT_TRUE(order(ranges).ends_with(" ...")) << order(ranges);
}

TEST_F(KeyWords, TakeDelimitersOutOfSequences) {
  EXPECT_EQ(words({"-t", "';'", "-k", "-f", "1"}).at(0).at(1),
            "order '\\t' ' '-':' '<'-'~'; any other byte ends the key");
}

TEST_F(KeyWords, TellWhatSignsTurnAround) {
  const auto keys = words({"-s", "'-'", "'+'", "-c", "0", "-k", "-c", "1-9", "-n", "-c", "10"});
  ASSERT_EQ(keys.size(), 3U);
  EXPECT_EQ(keys[0], (std::vector<std::string>{
                         "sign: byte 0 of the record, ascending", "order '-' '+'; any other byte comes first",
                         "where it is '-' or another byte, keys 2 to 3 run the other way"}));
  EXPECT_EQ(keys[1].back(), "governed by key 1");
  const auto descending = words({"-s", "'-'", "'+'", "-i", "-c", "0", "-k", "-c", "1-9"});
  EXPECT_EQ(descending[0][1], "order '-' '+'; any other byte comes last");
  EXPECT_EQ(descending[0][2], "where it is '+', key 2 runs the other way");
  EXPECT_EQ(words({"-s", "'-'", "'+'", "-c", "0"}).at(0).at(2), "it governs no key");
}

// Which way a governed key runs in two records is what the comparison of them says.
TEST_F(KeyWords, TellTheDirectionThatGovernedKeysHaveInARecord) {
  const std::string in = folder_.make("in", "ay1\nay2\nbx1\nbx2\naz1\naz2\n");
  const Inspection inspection({"fsort", "-in", in, "-s", "'a'", "'b'", "-c", "0", "-s", "'x'-'y'", "-c", "1",
                               "-k", "'0'-'9'", "-c", "2"});
  ASSERT_EQ(inspection.status(), 0) << Inspection::take_messages();
  const auto records = std::make_unique<fsort::InspectedRecord[]>(2);
  std::uint64_t count = 0;
  while (fsort::inspect_read(inspection.handle(), inspection.sort(), &records[0], &count) ==
         fsort::RecordFate::filled) {
    ASSERT_EQ(fsort::inspect_read(inspection.handle(), inspection.sort(), &records[1], &count),
              fsort::RecordFate::filled);
    std::uint32_t entry = 0;
    const int order = fsort::inspect_compare(inspection.handle(), records[0], records[1], &entry);
    EXPECT_EQ(entry, 2U);
    const std::vector<std::string> found = record_words(inspection, records[0], 3);
    EXPECT_EQ(found[2].find("descending here") != std::string::npos, order > 0) << found[2];
  }
  EXPECT_EQ(count, 6U);
}

}  // namespace
}  // namespace fsort_tool
