// Looking at a sort without sorting: the description of a command line, records with their keys, their order.
#include "inspect/inspect.h"

#include <gtest/gtest.h>

#include "support/inspector.h"
#include "support/temp_folder.h"

namespace fsort::test {
namespace {

class Inspect : public ::testing::Test {
 protected:
  // A sort of a file that holds `content`, with an output that must never come into being.
  Inspector look(const std::string& content, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"-in", folder_.make("in", content), "-out", folder_.path("out")});
    return Inspector(arguments);
  }
  void TearDown() override { EXPECT_EQ(folder_.content("out"), "<missing>"); }

  TempFolder folder_;
};

TEST_F(Inspect, TellsTheRecordTypeAndItsLimits) {
  Inspector text(look("a\n", {"-rt", "80"}));
  EXPECT_EQ(text.sort().kind, RecordKind::text);
  EXPECT_EQ(text.sort().max_record, 80U);
  Inspector fixed(look("a\n", {"-rf", "7"}));
  EXPECT_EQ(fixed.sort().kind, RecordKind::fixed);
  EXPECT_EQ(fixed.sort().max_record, 7U);
  Inspector variable(look("a\n", {"-rv", "2-3", "100"}));
  EXPECT_EQ(variable.sort().kind, RecordKind::variable);
  EXPECT_EQ(variable.sort().header_length, 4U);
  EXPECT_EQ(variable.sort().length_high, 2U);
  EXPECT_EQ(variable.sort().length_low, 3U);
  EXPECT_EQ(variable.sort().length_width, 2U);
}

TEST_F(Inspect, TellsFilesInTheOrderOfReading) {
  const std::string other = folder_.make("other", "b\n");
  Inspector i(look("a\n", {"-in", other}));
  ASSERT_EQ(i.status(), 0);
  ASSERT_EQ(i.sort().input_count, 2);
  EXPECT_TRUE(std::string(i.sort().inputs[0]).ends_with("in"));
  EXPECT_TRUE(std::string(i.sort().inputs[1]).ends_with("other"));
  EXPECT_TRUE(std::string(i.sort().output).ends_with("out"));
}

TEST_F(Inspect, TellsThePlanThatASortWouldHave) {
  Inspector i(look("a\n", {"-u", "-m", "4m", "-l", "64", "-wb", "8", "-rb", "4", "-ibs", "3", "-obs", "5",
                           "-w", "spool"}));
  ASSERT_EQ(i.status(), 0);
  const InspectedSort& s = i.sort();
  EXPECT_TRUE(s.unique);
  EXPECT_TRUE(s.memory_given);
  EXPECT_EQ(s.segment_kb, 64U);
  EXPECT_EQ(s.memory_kb % 64, 0U);
  EXPECT_GE(s.memory_kb, 4096U);
  EXPECT_EQ(s.write_block_kb, 8);
  EXPECT_EQ(s.read_block_kb, 4);
  EXPECT_EQ(s.input_buffer_kb, 3);
  EXPECT_EQ(s.output_buffer_kb, 5);
  EXPECT_EQ(std::string(s.work_directory, s.work_directory_chars), "spool\\");
}

TEST_F(Inspect, CountsANumberAsOneKeyAndNamesTheSignThatGovernsIt) {
  Inspector i(look("-1;2\n", {"-t", "';'", "-k", "-c", "5", "-s", "'-'", "'+'", "-c", "0", "-n", "-d", "2",
                              "-i", "-f", "1", "-k", "-c", "3-1"}));
  ASSERT_EQ(i.status(), 0) << Inspector::texts();
  const InspectedSort& s = i.sort();
  ASSERT_EQ(s.key_count, 4);
  EXPECT_EQ(s.keys[0].kind, kKeyCharacter);
  EXPECT_EQ(s.keys[0].governor, kNoKey);
  EXPECT_EQ(s.keys[1].kind, kKeyGoverning);
  EXPECT_EQ(s.keys[2].kind, kKeySign);
  EXPECT_EQ(s.keys[2].entries, 3);
  EXPECT_EQ(s.keys[2].decimals, 2);
  EXPECT_EQ(s.keys[2].field, 1);
  EXPECT_EQ(s.keys[2].governor, 1);
  EXPECT_EQ(s.keys[2].descending, 1);
  EXPECT_EQ(s.keys[3].direction, kBackward);
  EXPECT_EQ(s.keys[3].start, 3);
  EXPECT_EQ(s.keys[3].governor, 1);
  EXPECT_EQ(s.field_count, 2);
}

TEST_F(Inspect, ShowsWhatIsWrongWithACommandLineAsASortDoes) {
  Inspector i(look("a\n", {"-x", "-y"}));
  EXPECT_EQ(i.status(), 1);
  EXPECT_EQ(Inspector::texts(), "-x and -y are invalid arguments\nError detected in fsort initialization\n");
}

TEST_F(Inspect, GivesRecordsWithNumberPlaceAndBytes) {
  const std::string other = folder_.make("other", "cd\ne\n");
  Inspector i(look("ab\n\nc", {"-in", other}));
  ASSERT_EQ(i.read(), RecordFate::filled);
  EXPECT_EQ(i.data(), "ab\n");
  EXPECT_EQ(i.record().number, 1U);
  EXPECT_EQ(i.record().position, 0U);
  ASSERT_EQ(i.read(), RecordFate::filled);
  EXPECT_EQ(i.data(), "\n");
  EXPECT_EQ(i.record().position, 3U);
  // A line that goes on in the next file begins where the rest of it lies in the first.
  ASSERT_EQ(i.read(), RecordFate::filled);
  EXPECT_EQ(i.data(), "ccd\n");
  EXPECT_EQ(i.record().file, 0);
  EXPECT_EQ(i.record().position, 4U);
  ASSERT_EQ(i.read(), RecordFate::filled);
  EXPECT_EQ(i.record().number, 4U);
  EXPECT_EQ(i.record().file, 1);
  EXPECT_EQ(i.record().position, 3U);
  EXPECT_EQ(i.read(), RecordFate::end);
  EXPECT_EQ(i.read(), RecordFate::end);
}

TEST_F(Inspect, PlacesFixedRecordsBehindTheRestOfAFileThatIsDropped) {
  const std::string other = folder_.make("other", "ccccdddd");
  Inspector i(look("aaaabbb", {"-in", other, "-rf", "4"}));
  ASSERT_EQ(i.read(), RecordFate::filled);
  ASSERT_EQ(i.read(), RecordFate::filled);
  EXPECT_EQ(i.data(), "cccc");
  EXPECT_EQ(i.record().file, 1);
  EXPECT_EQ(i.record().position, 0U);
  ASSERT_EQ(i.read(), RecordFate::filled);
  EXPECT_EQ(i.record().position, 4U);
  EXPECT_EQ(i.read(), RecordFate::end);
}

TEST_F(Inspect, ReadsTheSameRecordsWithOneBuffer) {
  std::string content;
  for (int n = 0; n < 3000; ++n) content += "line " + std::to_string(n) + "\n";
  Inspector i(look(content, {"-ibs", "1"}));
  ASSERT_EQ(inspect_singly(i.handle()), 0);
  std::string found;
  while (i.read() == RecordFate::filled) {
    EXPECT_EQ(i.record().position, found.size());
    found += i.data();
  }
  EXPECT_EQ(found, content);
}

TEST_F(Inspect, GivesTheBytesOfKeysAndWhatEndsThem) {
  Inspector i(look("abc;d\xC3zz\n", {"-t", "';'", "-k", "-f", "0", "-c", "1-", "-c", "2-0", "-f", "1"}));
  ASSERT_EQ(i.status(), 0) << Inspector::texts();
  ASSERT_EQ(i.read(), RecordFate::filled);
  KeyValue v = i.key(0);
  EXPECT_EQ(i.bytes(v.bytes), "bc");
  EXPECT_EQ(v.bytes.first, 1);
  EXPECT_EQ(v.bytes.end, KeyEnd::byte);
  EXPECT_EQ(v.bytes.end_byte, ';');
  v = i.key(1);
  EXPECT_EQ(i.bytes(v.bytes), "cba");
  EXPECT_EQ(v.bytes.end, KeyEnd::length);
  v = i.key(2);
  EXPECT_EQ(i.bytes(v.bytes), "d");
  EXPECT_EQ(v.bytes.end_byte, 0xC3);
}

TEST_F(Inspect, GivesKeysThatRunToTheFrontOfTheRecord) {
  Inspector i(look("abc;x\n;x\n", {"-t", "';'", "(", "-c", "-0", ")", "-f", "0"}));
  ASSERT_EQ(i.status(), 0) << Inspector::texts();
  ASSERT_EQ(i.read(), RecordFate::filled);
  KeyValue v = i.key(0);
  EXPECT_EQ(i.bytes(v.bytes), "cba");
  EXPECT_EQ(v.bytes.first, 2);
  EXPECT_EQ(v.bytes.end, KeyEnd::record_end);
  // The last byte of a field without any, which is the record's first, lies in front of the record.
  ASSERT_EQ(i.read(), RecordFate::filled);
  v = i.key(0);
  EXPECT_EQ(v.bytes.count, 0U);
  EXPECT_EQ(v.bytes.first, -1);
  EXPECT_EQ(v.bytes.end, KeyEnd::record_end);
}

TEST_F(Inspect, GivesNumbersAsTheyCompare) {
  Inspector i(look("  -0012.50\n+3,\n0.0\n7-\n123456\n", {"-n", "-c", "0-4"}));
  ASSERT_EQ(i.read(), RecordFate::filled);
  KeyValue v = i.key(0);
  EXPECT_TRUE(v.negative);
  EXPECT_FALSE(v.upper_half);
  EXPECT_EQ(i.bytes(v.bytes), "12");
  EXPECT_EQ(v.digits, 2);
  EXPECT_EQ(i.bytes(v.fraction), "50");
  ASSERT_EQ(i.read(), RecordFate::filled);
  v = i.key(0);
  EXPECT_FALSE(v.negative);
  EXPECT_TRUE(v.upper_half);
  EXPECT_EQ(i.bytes(v.bytes), "3");
  EXPECT_EQ(v.fraction.count, 0U);
  ASSERT_EQ(i.read(), RecordFate::filled);
  v = i.key(0);
  EXPECT_EQ(v.digits, 0);
  EXPECT_EQ(v.bytes.count, 0U);
  ASSERT_EQ(i.read(), RecordFate::filled);
  EXPECT_TRUE(i.key(0).negative);
  ASSERT_EQ(i.read(), RecordFate::filled);
  v = i.key(0);
  EXPECT_TRUE(v.too_many);
  EXPECT_EQ(v.digits, 6);
}

TEST_F(Inspect, TellsAFaultyRecordsFieldsAndGoesOnBehindIt) {
  Inspector i(look("a;b\na;b;c;d\n", {"-t", "';'", "-k", "-f", "2"}));
  ASSERT_EQ(i.read(), RecordFate::faulty);
  EXPECT_EQ(i.data(), "a;b\n");
  EXPECT_EQ(i.record().fields_found, 2);
  EXPECT_EQ(i.record().fault, kNoKey);
  EXPECT_EQ(Inspector::texts(), "a;b\n\nNot enough fields in record\nError detected in fsort call\n");
  ASSERT_EQ(i.read(), RecordFate::filled);
  EXPECT_EQ(i.bytes(i.key(0).bytes), "c");
}

TEST_F(Inspect, TellsTheKeyThatARecordIsTooShortFor) {
  Inspector i(look("abcdef\n", {"-k", "-c", "0", "-n", "-c", "2", "-k", "-c", "8"}));
  ASSERT_EQ(i.read(), RecordFate::faulty);
  EXPECT_EQ(i.record().fault, i.sort().keys[2].entry);
  EXPECT_EQ(Inspector::texts(), "abcdef\n\nField too short\nError detected in fsort call\n");
}

TEST_F(Inspect, TellsTheNumberThatIsTooLong) {
  Inspector i(look("x;" + std::string(32, '1') + "\n", {"-t", "';'", "-k", "-f", "0", "-n", "-f", "1"}));
  ASSERT_EQ(i.read(), RecordFate::faulty);
  EXPECT_EQ(i.record().fault, i.sort().keys[1].entry);
  EXPECT_NE(Inspector::texts().find("Numeric field too long\n"), std::string::npos);
}

TEST_F(Inspect, TellsAnInputThatCannotBeReadOn) {
  Inspector i(look("ok\n" + std::string(3000, 'x'), {"-rt", "100", "-ibs", "1"}));
  ASSERT_EQ(i.read(), RecordFate::filled);
  EXPECT_EQ(i.read(), RecordFate::unreadable);
  EXPECT_EQ(Inspector::texts(),
            "Text record too long\nError detected reading text record\n"
            "Error encountered on reading record\nError detected in fsort call\n");
}

TEST_F(Inspect, ComparesAndNamesTheEntryThatDecides) {
  Inspector i(look("a-3\na-2\n", {"-k", "-c", "0", "-n", "-c", "1-"}));
  ASSERT_EQ(i.read(), RecordFate::filled);
  ASSERT_EQ(i.read(), RecordFate::filled);
  std::uint32_t entry = 99;
  EXPECT_EQ(inspect_compare(i.handle(), i.before(), i.record(), &entry), -1);
  EXPECT_EQ(entry, 2U);  // the digits: both numbers are negative and have one of them
  EXPECT_EQ(inspect_compare(i.handle(), i.record(), i.record(), &entry), 0);
  EXPECT_EQ(entry, 4U);
}

TEST_F(Inspect, ChecksTheOrderOfAllRecords) {
  CheckReport report{};
  EXPECT_EQ(look("", {}).check(&report), CheckVerdict::in_order);
  EXPECT_EQ(report.records, 0U);
  EXPECT_EQ(look("a\nb\nb\nc\n", {}).check(&report), CheckVerdict::in_order);
  EXPECT_EQ(report.records, 4U);
  EXPECT_EQ(look("c\nb\nb\na\n", {"-i"}).check(&report), CheckVerdict::in_order);
  EXPECT_EQ(look("-12\n-3\n0\n5\n", {"-n"}).check(&report), CheckVerdict::in_order);
  EXPECT_EQ(look("5\n0\n-3\n-12\n", {"-i", "-n"}).check(&report), CheckVerdict::in_order);
}

TEST_F(Inspect, FindsTheFirstRecordOutOfOrder) {
  Inspector i(look("a\nc\nb\na\n", {}));
  CheckReport report{};
  ASSERT_EQ(i.check(&report), CheckVerdict::out_of_order);
  EXPECT_EQ(report.later->number, 3U);
  EXPECT_EQ(report.later->position, 4U);
  EXPECT_EQ(report.earlier->number, 2U);
  EXPECT_FALSE(report.equal);
}

TEST_F(Inspect, TakesEqualNeighboursForOutOfOrderOnlyWithU) {
  CheckReport report{};
  EXPECT_EQ(look("a1\na2\nb1\n", {"-c", "0"}).check(&report), CheckVerdict::in_order);
  Inspector i(look("a1\na2\nb1\n", {"-u", "-c", "0"}));
  ASSERT_EQ(i.check(&report), CheckVerdict::out_of_order);
  EXPECT_TRUE(report.equal);
  EXPECT_EQ(report.later->number, 2U);
}

TEST_F(Inspect, FindsNothingBehindAHandleThatIsNone) {
  Inspector i(look("a\n", {}));
  ASSERT_EQ(i.read(), RecordFate::filled);
  InspectedSort sort;
  const char* const arguments[] = {"fsort", nullptr};
  EXPECT_EQ(inspect_open(nullptr, 1, arguments, &sort), 1);
  EXPECT_EQ(inspect_singly(nullptr), 1);
  auto room = std::make_unique<InspectedRecord[]>(2);
  std::uint64_t records = 0;
  EXPECT_EQ(inspect_read(nullptr, i.sort(), room.get(), &records), RecordFate::unreadable);
  EXPECT_EQ(records, 0U);
  EXPECT_EQ(inspect_key(nullptr, i.record(), i.sort().keys[0]).bytes.count, 0U);
  std::uint32_t entry = 99;
  EXPECT_EQ(inspect_compare(nullptr, i.record(), i.record(), &entry), 0);
  EXPECT_EQ(entry, 0U);
  CheckReport report{};
  EXPECT_EQ(inspect_check(nullptr, i.sort(), room.get(), &report), CheckVerdict::unreadable);
  EXPECT_EQ(report.records, 0U);
}

TEST_F(Inspect, EndsACheckAtAFaultyRecord) {
  Inspector i(look("abcdef\nab\n", {"-k", "-c", "4"}));
  CheckReport report{};
  ASSERT_EQ(i.check(&report), CheckVerdict::faulty);
  EXPECT_EQ(report.later->number, 2U);
  EXPECT_EQ(Inspector::texts(), "ab\n\nField too short\nError detected in fsort call\n");
}

}  // namespace
}  // namespace fsort::test
