// Record options, reading into record memory, writing.
#include "keys/record.h"

#include <cstring>

#include "keys_fixture.h"
#include "support/exit.h"

namespace fsort::test {
namespace {

class RecInit : public KeysFixture {};

TEST_F(RecInit, TakesTheModes) {
  EXPECT_FALSE(init("-mfr -mcf").caught);
  EXPECT_EQ(instance().record.missing_fields, 1);
  EXPECT_EQ(instance().record.column_mode, kColumnToFieldEnd);
  EXPECT_EQ(left(), Texts{});
}

TEST_F(RecInit, RecordEndWinsWhenBothColumnModesAreGiven) {
  EXPECT_FALSE(init("-mcr -mcf").caught);
  EXPECT_EQ(instance().record.column_mode, kColumnToRecordEnd);
}

TEST_F(RecInit, ModesAreOffWithoutOptions) {
  EXPECT_FALSE(init("").caught);
  EXPECT_EQ(instance().record.missing_fields, 0);
  EXPECT_EQ(instance().record.column_mode, kColumnFail);
}

TEST_F(RecInit, OptionsMayFollowTheKeys) {
  EXPECT_FALSE(init("-k -f 1 -mcf -t ';' '|' -b 32").caught);
  EXPECT_EQ(left(), Texts{});
  EXPECT_EQ(instance().record.byte_class[';'], kClassDelimiter);
  EXPECT_EQ(instance().record.byte_class['|'], kClassDelimiter);
  EXPECT_EQ(instance().record.byte_class[32], kClassBlank);
  EXPECT_EQ(instance().record.byte_class[9], 0);
}

TEST_F(RecInit, TabIsTheOnlyDelimiterWhenFieldsAreUsedWithoutOption) {
  EXPECT_FALSE(init("-k -f 1").caught);
  for (unsigned b = 0; b < kByteValues; ++b) {
    EXPECT_EQ(instance().record.byte_class[b], b == 9 ? kClassDelimiter : 0) << b;
  }
}

TEST_F(RecInit, NothingDelimitsWhenRecordsAreNotSplit) {
  EXPECT_FALSE(init("-k -c 1").caught);
  EXPECT_EQ(instance().record.byte_class[9], 0);
  EXPECT_EQ(key_entry(0).sequence->flags(9), 0);
  EXPECT_EQ(instance().record.field_start, nullptr);
}

TEST_F(RecInit, DelimitersEndEveryKey) {
  EXPECT_FALSE(init("-t ',' '0' -k -f 1 -k 'a'-'z' ',' -f 2 -n -f 3").caught);
  EXPECT_EQ(key_entry(0).sequence->value[','], 0);
  EXPECT_EQ(key_entry(1).sequence->value[','], 0);
  EXPECT_EQ(key_entry(3).sequence->value['0'], 0);
}

// The sign byte is a digit count: with TAB (9) taken out, every number of eight digits would be "ended".
TEST_F(RecInit, DelimitersLeaveSignTablesAlone) {
  EXPECT_FALSE(init("-n -f 0").caught);
  EXPECT_EQ(key_entry(0).sequence->flags(9), 0);
  EXPECT_NE(key_entry(0).sequence->value[9], 0);
  EXPECT_EQ(key_entry(1).sequence->flags(9), kNotInSequence);
}

TEST_F(RecInit, DerivesClassesAfterAllMarksAreSet) {
  EXPECT_FALSE(init("-t 'm' -k 'a'-'z' -f 0").caught);
  EXPECT_EQ(key_entry(0).sequence->value['m'], 0);
  EXPECT_EQ(key_entry(0).sequence->value['n'], 14);
}

TEST_F(RecInit, FullWindupListIsReported) {
  const auto nothing = [](Instance*) {};
  for (int i = 0; i < kMaxWindups; ++i) ASSERT_EQ(ExitRegister(nothing), 0);
  EXPECT_EQ(init("").text(), "Couldn't register record windup\n");
}

TEST_F(RecInit, FieldArraysWithoutMemoryAreReported) {
  for (const int nth : {2, 3}) {  // after the default sequence
    const FailingHeap heap(nth);
    EXPECT_EQ(init("-k -f 1").text(), "Failed to get memory for tab pointer array\n");
    run_windups();
  }
}

TEST_F(RecInit, WindupFreesTheFieldArraysAndMayRunTwice) {
  EXPECT_FALSE(init("-k -f 3").caught);
  EXPECT_NE(instance().record.field_start, nullptr);
  rec_windup(&instance());
  EXPECT_EQ(instance().record.field_start, nullptr);
  EXPECT_EQ(instance().record.field_end, nullptr);
  rec_windup(&instance());
}

TEST_F(RecInit, SecondStartReleasesWhatTheFirstLeft) {
  EXPECT_FALSE(init("-mfr -t ',' -b 32 -k -f 3").caught);
  EXPECT_FALSE(init("-k -f 1").caught);
  EXPECT_EQ(instance().record.missing_fields, 0);
  EXPECT_EQ(instance().record.byte_class[','], 0);
  EXPECT_EQ(instance().record.byte_class[32], 0);
}

class RecInput : public KeysFixture {
 protected:
  struct Source {
    std::uint64_t length = 0;
    const std::uint8_t* data = nullptr;
    std::int32_t status = 0;
  };
  static Source& source() {
    static Source s;
    return s;
  }
  static std::int32_t give(std::uint64_t* length, const std::uint8_t** record) {
    *length = source().length;
    *record = source().data;
    return source().status;
  }
  // Reads what `s` gives; the record or null, and the text of an error.
  std::uint8_t* read(Source s, std::string* text) { return read(plainly, s, text); }
  // The same in a way of one's choice.
  std::uint8_t* read(std::uint8_t* (*way)(), Source s, std::string* text) {
    source() = s;
    instance().driver.input = give;
    std::uint8_t* record = nullptr;
    const Raised r = raised([&] { record = way(); });
    *text = r.caught ? r.text() : "";
    return record;
  }
  static std::uint8_t* plainly() { return rec_input(); }
  static std::uint8_t* with_a_sum() { return summed(kSumByProducts); }
  static std::uint8_t* with_the_sum_of_this_processor() { return summed(record_summing()); }
  static std::uint8_t* summed(const RecordSumming& summing) {
    current_instance->record.summing = &summing;
    const RecordInput input = rec_input_of_sort();
    EXPECT_NE(input, rec_input);
    return input();
  }
  static std::uint8_t* into_own_memory() {
    static std::uint8_t room[kRecordOverhead + kMaxTotalLength];
    return rec_input_into(room + kRecordOverhead) ? room + kRecordOverhead : nullptr;
  }
};

constexpr char kReadFault[] = "Error encountered on reading record\n";

TEST_F(RecInput, LaysOutLengthOffsetsFrameDataAndZero) {
  EXPECT_FALSE(init("-k -c 1 -k -c 3-").caught);
  const std::uint8_t* record = build("abcdef");
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(rec_total_length(record), 7 + 6);
  EXPECT_EQ(rec_key_offset(record, 0), 7 + 1);
  EXPECT_EQ(rec_key_offset(record, 1), 7 + 3);
  EXPECT_EQ(record[6], 0);  // frame number: no frame was pushed
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(record + 7), 7), std::string("abcdef\0", 7));
}

TEST_F(RecInput, IntoMemoryOfTheCallersLaysOutTheSame) {
  EXPECT_FALSE(init("-t 'c' -k -f 1 -n -f 0").caught);
  const std::uint8_t* record = build("-1bcdef");
  ASSERT_NE(record, nullptr);
  std::uint8_t room[64] = {};
  source() = {7, reinterpret_cast<const std::uint8_t*>("-1bcdef"), 0};
  instance().driver.input = give;
  ASSERT_TRUE(rec_input_into(room + kRecordOverhead));
  EXPECT_EQ(std::memcmp(room + kRecordOverhead, record, rec_total_length(record) + std::size_t{1}), 0);
  source() = Source{};
  EXPECT_FALSE(rec_input_into(room + kRecordOverhead));
}

TEST_F(RecInput, EveryWayOfReadingRefusesTheSame) {
  EXPECT_FALSE(init("").caught);
  make_memory();
  const std::string data(70000, 'x');
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(data.data());
  for (auto* way : {plainly, with_a_sum, with_the_sum_of_this_processor, into_own_memory}) {
    std::string text;
    EXPECT_EQ(read(way, {.length = 3, .data = bytes, .status = 1}, &text), nullptr);
    EXPECT_EQ(text, kReadFault) << "a function that fails";
    EXPECT_EQ(read(way, {.length = 65531, .data = bytes}, &text), nullptr);
    EXPECT_EQ(text, kReadFault) << "a record that is too long";
    EXPECT_EQ(read(way, {.length = 3, .data = nullptr}, &text), nullptr);
    EXPECT_EQ(text, kReadFault) << "no data";
    EXPECT_EQ(read(way, {}, &text), nullptr);
    EXPECT_EQ(text, "") << "the end";
  }
}

TEST_F(RecInput, EveryWayOfReadingRefusesARecordShorterThanItsKey) {
  EXPECT_FALSE(init("-k -c 4").caught);
  make_memory();
  for (auto* way : {plainly, with_a_sum, with_the_sum_of_this_processor, into_own_memory}) {
    std::string text;
    const auto* bytes = reinterpret_cast<const std::uint8_t*>("abc");
    EXPECT_EQ(read(way, {.length = 3, .data = bytes}, &text), nullptr);
    EXPECT_EQ(text, "abc\nField too short\n");
  }
}

TEST_F(RecInput, EveryWayOfReadingBuildsTheSame) {
  for (const char* command : {"-mcr -k -c 2-3", "-t 'c' -k -f 0"}) {
    EXPECT_FALSE(init(command).caught);
    make_memory();
    for (const std::string& data : {std::string("abcdef"), std::string("ab")}) {
      const Source given{.length = data.size(), .data = reinterpret_cast<const std::uint8_t*>(data.data())};
      std::string first;
      for (auto* way : {plainly, with_a_sum, with_the_sum_of_this_processor, into_own_memory}) {
        std::string text;
        const std::uint8_t* record = read(way, given, &text);
        ASSERT_NE(record, nullptr) << text;
        const std::string built(reinterpret_cast<const char*>(record),
                                rec_total_length(record) + std::size_t{1});
        if (first.empty()) first = built;
        EXPECT_EQ(built, first) << command << " " << data;
        EXPECT_EQ(built.substr(key_record_header_bytes()), data + '\0');
      }
    }
    restart();
  }
}

TEST_F(RecInput, KeepsTheNumberOfTheDataFrame) {
  EXPECT_FALSE(init("-n").caught);
  make_memory();
  for (int i = 0; i < 3; ++i) ASSERT_TRUE(stk_push(instance().driver.data_stack));
  const std::uint8_t* record = build("12");
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(record[key_record_header_bytes() - 1], 2);
}

TEST_F(RecInput, FrameNumberSaturatesAt255) {
  EXPECT_FALSE(init("").caught);
  make_memory();
  for (int i = 0; i < 300; ++i) ASSERT_TRUE(stk_push(instance().driver.data_stack));
  const std::uint8_t* record = build("12");
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(record[4], 255);
}

TEST_F(RecInput, LengthZeroIsTheEnd) {
  EXPECT_FALSE(init("").caught);
  make_memory();
  std::string text;
  EXPECT_EQ(read({}, &text), nullptr);
  EXPECT_EQ(text, "");
}

TEST_F(RecInput, FailingInputFunctionIsReportedAndItsLengthIgnored) {
  EXPECT_FALSE(init("").caught);
  make_memory();
  std::string text;
  EXPECT_EQ(read({.length = 0, .data = nullptr, .status = 3}, &text), nullptr);
  EXPECT_EQ(text, kReadFault);
}

TEST_F(RecInput, LongestRecordFillsTheLengthWord) {
  EXPECT_FALSE(init("").caught);
  make_memory();
  const std::string data(65530, 'x');
  std::string text;
  const std::uint8_t* record =
      read({.length = data.size(), .data = reinterpret_cast<const std::uint8_t*>(data.data())}, &text);
  ASSERT_NE(record, nullptr) << text;
  EXPECT_EQ(rec_total_length(record), 65535);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(record + 5), 65531), data + '\0');
}

TEST_F(RecInput, RecordThatExceedsTheLengthWordIsRefused) {
  EXPECT_FALSE(init("").caught);
  make_memory();
  const std::string data(70000, 'x');
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(data.data());
  for (const std::uint64_t length : {std::uint64_t{65531}, std::uint64_t{65535}, std::uint64_t{65536},
                                     std::uint64_t{1} << 32, ~std::uint64_t{0}}) {
    std::string text;
    EXPECT_EQ(read({.length = length, .data = bytes}, &text), nullptr) << length;
    EXPECT_EQ(text, kReadFault) << length;
  }
}

TEST_F(RecInput, NullDataWithALengthIsRefused) {
  EXPECT_FALSE(init("").caught);
  make_memory();
  std::string text;
  EXPECT_EQ(read({.length = 3, .data = nullptr}, &text), nullptr);
  EXPECT_EQ(text, kReadFault);
}

TEST_F(RecInput, ShortestRecordsAreBuiltWholeUnderEveryHeaderLength) {
  for (const char* command : {"", "-k -c 0 1", "-k -c 0 -k -c 0 -k -c 0 -k -c 0 -k -c 0 -k -c 0", "-n"}) {
    EXPECT_FALSE(init(command).caught);
    for (std::size_t length = 2; length <= 40; ++length) {
      const std::string data(length, 'q');
      const std::uint8_t* record = build(data);
      ASSERT_NE(record, nullptr) << command << ' ' << length << read_error();
      const std::uint16_t header = key_record_header_bytes();
      ASSERT_EQ(rec_total_length(record), header + length);
      ASSERT_EQ(std::string(reinterpret_cast<const char*>(record + header), length + 1), data + '\0');
      ASSERT_EQ(record[header - 1], 0);
    }
    restart();
  }
}

class RecOutput : public KeysFixture {
 protected:
  static std::string& written() {
    static std::string text;
    return text;
  }
  static std::int32_t accept(std::uint64_t length, const std::uint8_t* record) {
    written().assign(reinterpret_cast<const char*>(record), length);
    return 0;
  }
  static std::int32_t refuse(std::uint64_t, const std::uint8_t*) { return 9; }
};

TEST_F(RecOutput, HandsOverTheDataPart) {
  EXPECT_FALSE(init("-n -c 0-2 -k -c 3").caught);
  const std::uint8_t* record = build(std::string("123\0x", 5));
  ASSERT_NE(record, nullptr);
  instance().driver.output = accept;
  EXPECT_FALSE(raised([&] { rec_output(record); }).caught);
  EXPECT_EQ(written(), std::string("123\0x", 5));
}

TEST_F(RecOutput, FailingOutputFunctionIsReported) {
  EXPECT_FALSE(init("").caught);
  const std::uint8_t* record = build("x");
  ASSERT_NE(record, nullptr);
  instance().driver.output = refuse;
  EXPECT_EQ(raised([&] { rec_output(record); }).text(), "Error trying to write record from fsort\n");
}

class RecError : public KeysFixture {};

TEST_F(RecError, ShowsTheRecordInFrontOfTheMessage) {
  EXPECT_FALSE(init("").caught);
  const std::uint8_t* record = build("abc\n");
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(raised([&] { rec_error(record, "Field too short"); }).text(), "abc\n\nField too short\n");
}

TEST_F(RecError, ShowsALongRecordWhole) {
  EXPECT_FALSE(init("").caught);
  for (const std::size_t length : {250u, 256u, 300u, 512u, 20000u, 65530u}) {
    const std::string data(length, 'y');
    const std::uint8_t* record = build(data);
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(raised([&] { rec_error(record, "Field too short"); }).text(), data + "\nField too short\n");
  }
}

TEST_F(RecError, TextEndsAtTheRecordsFirstZeroByte) {
  EXPECT_FALSE(init("").caught);
  const std::uint8_t* record = build(std::string("ab\0cd", 5));
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(raised([&] { rec_error(record, "Field too short"); }).text(), "ab\nField too short\n");
}

}  // namespace
}  // namespace fsort::test
