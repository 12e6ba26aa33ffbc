// Fields, keys and numbers of one record.
#include "keys/rec_fill.h"

#include <algorithm>
#include <random>

#include "keys_fixture.h"
#include "support/reference_keys.h"

namespace fsort::test {
namespace {

class RecFill : public KeysFixture {
 protected:
  // Text of entry `entry` from its first byte on, in the record built from `data`; or the error's text.
  std::string text_from(const std::string& command, const std::string& data, std::uint32_t entry = 0) {
    const Raised r = init(command);
    if (r.caught) return r.text();
    const std::uint8_t* record = build(data);
    const std::string result = record == nullptr ? read_error() : from(record, entry);
    restart();
    return result;
  }
  // The number at the start of `data` under `command`: sign byte, integer digits on, fraction on.
  std::string number(const std::string& command, const std::string& data) {
    const Raised r = init(command);
    if (r.caught) return r.text();
    const std::uint8_t* record = build(data);
    std::string result = read_error();
    if (record != nullptr) {
      result = std::to_string(sign(record, 0)) + " [" + from(record, 1) + "] [" + from(record, 2) + "]";
    }
    restart();
    return result;
  }
};

TEST_F(RecFill, RecordWithTooFewFieldsIsRefused) {
  EXPECT_EQ(text_from("-k -f 2", "a\tb"), "a\tb\nNot enough fields in record\n");
}

TEST_F(RecFill, LineWithTooFewFieldsIsShownWithItsLineBreak) {
  EXPECT_EQ(text_from("-t ',' -k -f 2", "a,b\n"), "a,b\n\nNot enough fields in record\n");
}

TEST_F(RecFill, MissingFieldIsEmptyAtTheRecordsEndWhenAllowed) {
  EXPECT_EQ(text_from("-mfr -k -f 2", "a\tb"), "");
  EXPECT_EQ(text_from("-mfr -k -f 1", "a\tb"), "b");
}

TEST_F(RecFill, TrailingDelimiterBeginsNoFieldAtTheRecordsEnd) {
  EXPECT_EQ(text_from("-t ',' -k -f 1", "a,"), "a,\nNot enough fields in record\n");
  EXPECT_EQ(text_from("-t ',' -k -f 1", "a,\n"), "\n");
}

TEST_F(RecFill, BlanksInFrontOfFieldsAreSkipped) {
  EXPECT_FALSE(init("-t ',' -b 32 -k -f 0-1").caught);
  const std::uint8_t* record = build(" x , y");
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(place(record, 0), 1);
  EXPECT_EQ(instance().record.field_end[0], key_record_header_bytes() + 3);  // the blank belongs to the field
  EXPECT_EQ(place(record, 1), 5);
}

TEST_F(RecFill, FieldsAreFoundBehindOneDelimiterOrSeveral) {
  EXPECT_EQ(text_from("-t ',' -k -f 2", "a,bb,ccc,d"), "ccc,d");
  EXPECT_EQ(text_from("-t ',' ';' -k -f 2", "a;bb,ccc,d"), "ccc,d");
  EXPECT_EQ(text_from("-t ',' -k -f 2", "a,,ccc"), "ccc");
  EXPECT_EQ(text_from("-t ',' -k -f 1", ",,"), ",");
}

TEST_F(RecFill, BlanksUpToTheEndMakeAnEmptyField) {
  EXPECT_EQ(text_from("-t ',' -b 32 -k -f 1", "a,   "), "");
}

TEST_F(RecFill, StartBeyondAShortFieldIsRefused) {
  EXPECT_EQ(text_from("-t ',' -k -f 0 -c 3-", "ab,cdef"), "ab,cdef\nField too short\n");
  EXPECT_EQ(text_from("-k -c 5-", "abc\n"), "abc\n\nField too short\n");
}

TEST_F(RecFill, LongRecordIsShownWholeInFrontOfTheMessage) {
  const std::string line(5000, 'q');
  EXPECT_EQ(text_from("-k -c 6000-", line), line + "\nField too short\n");
}

TEST_F(RecFill, StartBeyondAShortFieldMovesToTheFieldsEnd) {
  EXPECT_EQ(text_from("-mcf -t ',' -k -f 0 -c 3-", "ab,cdef"), ",cdef");
}

TEST_F(RecFill, StartBeyondAShortFieldIsClampedToTheRecordsEnd) {
  EXPECT_EQ(text_from("-mcr -t ',' -k -f 0 -c 4-", "ab,cdef"), "def");
  EXPECT_EQ(text_from("-mcr -t ',' -k -f 0 -c 40-", "ab,cdef"), "");
  EXPECT_EQ(text_from("-mfr -t ',' -k -f 0 -c 40-", "ab,cdef"), "");
}

TEST_F(RecFill, StartAtTheFieldsEndIsLegal) {
  EXPECT_EQ(text_from("-k -c 3-", "abc"), "");
  EXPECT_EQ(text_from("-t ',' -k -f 0 -c 2-", "ab,c"), ",c");
}

TEST_F(RecFill, OpenStartIsTheFieldsLastByte) {
  EXPECT_EQ(text_from("-t ',' ( -k -c -0 ) -f 0", "xab,1"), "b,1");
  EXPECT_EQ(text_from("-k -c -", "abc\n"), "\n");
}

TEST_F(RecFill, OpenStartInAnEmptyFirstFieldNeverReadsTheHeader) {
  EXPECT_EQ(text_from("-t ',' -k -f 0 -c -", ",x"), ",x");
  EXPECT_FALSE(init("-t ',' ( -k -c -0 ) -f 0").caught);
  const std::uint8_t* record = build(",x");
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(place(record, 0), -1);  // in front of the data: the backward key has ended
}

TEST_F(RecFill, NumberWithAnOpenStartInAnEmptyFirstFieldIsZero) {
  EXPECT_EQ(number("-t ',' -n -f 0 -c -", ",7"), "1 [,7] [,7]");
}

TEST_F(RecFill, KeySkipsItsOwnBlanksUpToTheFieldsEnd) {
  EXPECT_EQ(text_from("-k -b 32 -c 0-", "   c"), "c");
  EXPECT_EQ(text_from("-t ',' -k -b 32 -f 0", "   ,c"), ",c");
}

// Kept on purpose: only a range's end counts, so after -f 1-0 alone field 1 is not split off and is empty in
// every record.
TEST_F(RecFill, FieldThatWasNotSplitOffIsEmptyAtTheRecordsEnd) {
  EXPECT_FALSE(init("-t ',' -k -f 1-0").caught);
  const std::uint8_t* record = build("a,z\n");
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(from(record, 0), "");
  EXPECT_EQ(from(record, 1), "a,z\n");
}

TEST_F(RecFill, NumberIsReadBehindBlanksSignAndZeros) {
  EXPECT_EQ(number("-n", "  -0012.50"), "-3 [12.50] [50]");
}

TEST_F(RecFill, ZeroIsPositiveWithAnEmptyFraction) {
  EXPECT_EQ(number("-n", "000"), "1 [] []");
  EXPECT_EQ(number("-n", ".00"), "1 [.00] []");
  EXPECT_EQ(number("-n", "-0.000"), "1 [.000] []");
  EXPECT_EQ(number("-n", "0-"), "1 [-] []");
  EXPECT_EQ(number("-n", "-"), "1 [] []");
  EXPECT_EQ(number("-n", "abc"), "1 [abc] []");
}

TEST_F(RecFill, ZeroInAFieldPointsAtTheFieldsEnd) {
  EXPECT_EQ(number("-t ';' -n -f 0", "0;5"), "1 [;5] [;5]");
}

TEST_F(RecFill, TrailingMinusNegates) { EXPECT_EQ(number("-n", "12-"), "-3 [12-] [-]"); }

TEST_F(RecFill, SignsInFront) {
  EXPECT_EQ(number("-n", "+5"), "2 [5] []");
  EXPECT_EQ(number("-n", "-5"), "-2 [5] []");
  EXPECT_EQ(number("-n", "--5"), "1 [-5] []");
}

TEST_F(RecFill, FractionBelowOne) {
  EXPECT_EQ(number("-n", "-.5"), "-1 [.5] [5]");
  EXPECT_EQ(number("-n", "0.05"), "1 [.05] [05]");
}

TEST_F(RecFill, CommaIsADecimalPoint) { EXPECT_EQ(number("-n", "1,5"), "2 [1,5] [5]"); }

TEST_F(RecFill, ThirtyOneDigitsAreAccepted) {
  const std::string digits(31, '9');
  EXPECT_EQ(number("-n", digits), "32 [" + digits + "] []");
  EXPECT_EQ(number("-n", "-000" + digits), "-32 [" + digits + "] []");
}

TEST_F(RecFill, ThirtyTwoDigitsAreRefused) {
  const std::string digits(32, '9');
  EXPECT_EQ(number("-n", digits), digits + "\nNumeric field too long\n");
}

// Kept on purpose: the scans of a number end at the first byte that is no digit, not at the end of its column
// or field.
TEST_F(RecFill, NumericScanIsNotBoundedByItsColumn) {
  EXPECT_EQ(number("-n -c 0-3", "2023-05-01"), "-5 [2023-05-01] [-05-01]");
  EXPECT_EQ(number("-mcf -n -c 0-3", "20230115"), "9 [20230115] []");
  const std::string digits(32, '7');
  EXPECT_EQ(number("-n -c 0-3", digits), digits + "\nNumeric field too long\n");
}

// Kept on purpose: a comma or point after the digits is stepped over even where it delimits fields.
TEST_F(RecFill, NumericScanStepsOverADelimiterThatIsAPoint) {
  EXPECT_EQ(number("-t ',' -n -f 0", "12,5"), "3 [12,5] [5]");
  EXPECT_EQ(number("-t '.' -n -f 0", "10.2.0.0"), "3 [10.2.0.0] [2.0.0]");
}

TEST_F(RecFill, OwnDigitSequence) {
  EXPECT_EQ(number("-n 'a'-'j'", "ba.cx"), "3 [ba.cx] [cx]");
  EXPECT_EQ(number("-n 'a'-'j'", "00ba"), "3 [ba] []");  // only the digit 0 is a leading zero
}

TEST_F(RecFill, ScansEndAtTheRecordsEndWhateverTheSequence) {
  EXPECT_EQ(number("-n 0-255", "ab"), "3 [ab] []");
  const std::string digits(40, '1');
  EXPECT_EQ(number("-n 0-255", digits), digits + "\nNumeric field too long\n");
}

// Sixteen bytes are looked at together: numbers that end there, one short of there, one behind.
TEST_F(RecFill, NumberMayBeLongerThanWhatIsLookedAtTogether) {
  for (std::size_t digits = 12; digits <= 18; ++digits) {
    const std::string integer(digits, '7');
    const std::string sign_byte = std::to_string(digits + 1);
    EXPECT_EQ(number("-n", integer), sign_byte + " [" + integer + "] []");
    EXPECT_EQ(number("-n", integer + ";"), sign_byte + " [" + integer + ";] [;]");
    EXPECT_EQ(number("-n", integer + ".25"), sign_byte + " [" + integer + ".25] [25]");
    EXPECT_EQ(number("-n", integer + "-"), "-" + sign_byte + " [" + integer + "-] [-]");
    EXPECT_EQ(number("-n", integer + ".-;"), "-" + sign_byte + " [" + integer + ".-;] [-;]");
    const std::string fraction = std::string(digits - 2, '3') + "-";
    EXPECT_EQ(number("-n", "5." + fraction), "-2 [5." + fraction + "] [" + fraction + "]");
  }
}

TEST_F(RecFill, NumberEndsWithTheRecordWhereverThatIs) {
  for (std::size_t front = 0; front <= 40; ++front) {
    const std::string text(front, 'x');
    EXPECT_FALSE(init("-t ';' -n -f 1").caught);
    const std::uint8_t* record = build(text + ";-12.5");
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(sign(record, 0), -3) << front;
    EXPECT_EQ(from(record, 1), "12.5");
    EXPECT_EQ(from(record, 2), "5");
    restart();
  }
}

TEST_F(RecFill, NumberBetweenOneSignAndAnotherIsNegative) {
  EXPECT_EQ(number("-n", "+12-"), "-3 [12-] [-]");
  EXPECT_EQ(number("-n", "-12-"), "-3 [12-] [-]");
  EXPECT_EQ(number("-n", "-0.0-"), "1 [.0-] []");
  EXPECT_EQ(number("-n", "--5"), "1 [-5] []");
}

TEST_F(RecFill, DigitThatDelimitsEndsANumber) {
  EXPECT_EQ(number("-t '5' -n -f 0", "12534567890123456"), "3 [12534567890123456] [534567890123456]");
}

TEST_F(RecFill, FieldsAreFoundWhereverTheRecordEnds) {
  for (std::size_t length = 0; length <= 70; ++length) {
    const std::string field(length, 'q');
    EXPECT_EQ(text_from("-t ';' -k -f 2", field + ";b;c"), "c") << length;
    EXPECT_EQ(text_from("-t ';' -k -f 2", "a;" + field + ";"),
              "a;" + field + ";\nNot enough fields in record\n");
    EXPECT_EQ(text_from("-t ';' -k -f 1", "a;" + field + ";c"), field + ";c");
  }
}

TEST_F(RecFill, EachNumericKeyHasItsSignByteInTheHeader) {
  EXPECT_FALSE(init("-n -c 0- -k -c 1 -n -c 4-").caught);
  const std::uint8_t* record = build("123 -45.6");
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(key_count(), 7);
  EXPECT_EQ(rec_key_offset(record, 0), 2 * 8);
  EXPECT_EQ(rec_key_offset(record, 4), 2 * 8 + 1);
  EXPECT_EQ(sign(record, 0), 4);
  EXPECT_EQ(sign(record, 4), -3);
  EXPECT_EQ(from(record, 3), "23 -45.6");
  EXPECT_EQ(from(record, 5), "45.6");
  EXPECT_EQ(from(record, 6), "6");
}

// Kept on purpose: a numeric key always takes three words, so with -d 0 the next entry never gets an offset
// of its own.
TEST_F(RecFill, EntryBehindANumberWithoutFractionHasTheFractionsPlace) {
  EXPECT_FALSE(init("-n -d 0 -c 0-0 -k -c 2-2").caught);
  const std::uint8_t* record = build("5a2");
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(from(record, 2), "a2");
}

TEST_F(RecFill, NumberWithoutFractionAtTheTablesEndLeavesTheSignBytesAlone) {
  EXPECT_FALSE(init("-n -c 0-4 -n -d 0 -c 6-10").caught);
  const std::uint8_t* record = build("00022 00002");
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(key_count(), 5);
  EXPECT_EQ(sign(record, 0), 3);
  EXPECT_EQ(sign(record, 3), 2);
}

TEST_F(RecFill, HeaderBytesThatNoKeyWritesAreZero) {
  EXPECT_FALSE(init("-n -d 0 -c 0 -n -d 0 -c 2").caught);
  make_memory();
  ASSERT_TRUE(stk_push(instance().driver.data_stack));
  std::uint8_t* dirty = stk_space(instance().driver.data_stack, 4096);
  std::fill(dirty, dirty + 4096, std::uint8_t{0xEE});
  stk_pop_release(instance().driver.data_stack);
  const std::uint8_t* record = build("5 7");
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(sign(record, 0), 2);
  EXPECT_EQ(record[11], 0);  // the second number's sign byte: its entry was passed over
}

TEST_F(RecFill, FillingAgainGivesTheSameHeader) {
  for (const char* command : {"-k -c 1 3-2", "-t ',' -k -f 1-2", "-t ',' -b 32 -n -f 0 -k -b 32 -f 1"}) {
    EXPECT_FALSE(init(command).caught);
    std::uint8_t* record = build("12 ,  x,yz,");
    ASSERT_NE(record, nullptr);
    const std::string before(reinterpret_cast<char*>(record), rec_total_length(record) + 1u);
    std::fill(record + 2, record + key_record_header_bytes(), std::uint8_t{0xEE});
    EXPECT_FALSE(raised([&] { rec_fill(record); }).caught);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(record), rec_total_length(record) + 1u), before) << command;
    restart();
  }
}

// --- random key lists and records against the reference -------------------------------------------------

class RandomKeys : public RecFill {
 protected:
  std::size_t pick(std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n - 1)(random_); }
  template <std::size_t N>
  std::string one_of(const char* const (&choices)[N]) {
    return choices[pick(N)];
  }

  // Columns of a key; the last choice begins at the field's end, those of kBackward are for groups only.
  std::string columns(bool nested) {
    static const char* const kAny[] = {"-c 0-3",   "-c 1",   "-c 0",      "-c 2-", "-c 3-0", "-c 5-2",
                                       "-c 0-1 4", "-c 1-6", "-c 7-7 0-", "",      "-c 4-4", "-c -"};
    static const char* const kBackward[] = {"-c -0", "-c -1"};
    return nested && pick(4) == 0 ? one_of(kBackward) : one_of(kAny);
  }
  // Regions of a group have a place of their own: KeyNested tests those that hang on the field's end.
  std::string region() {
    static const char* const kClosed[] = {"-c 0-3",   "-c 1",   "-c 2-", "-c 5-2",
                                          "-c 0-1 4", "-c 1-6", "",      "-c 0-9"};
    return one_of(kClosed);
  }
  std::string options(bool numeric) {
    static const char* const kPlain[] = {"", "", "", "-i", "-b 32", "-b 32 '-'", "-i -b 9"};
    static const char* const kDecimals[] = {"", "-d 2", "-d 0", "-d 1"};
    return one_of(kPlain) + " " + (numeric ? one_of(kDecimals) : "");
  }
  std::string key(bool nested, int depth) {
    static const char* const kFields[] = {"", "-f 0", "-f 1", "-f 2", "-f 0-1", "-f 2-1", "-f 1 0"};
    static const char* const kSequences[] = {"",          "", "", "'a'-'z'", "0-255", "'z'-'a' -r 'A'-'Z'",
                                             "32-127 0-8"};
    const std::string fields = nested || !split_ ? "" : one_of(kFields);
    const std::size_t kind = pick(depth > 0 ? 10 : 8);
    if (kind < 4)
      return "-k " + one_of(kSequences) + " " + options(false) + " " + fields + " " + columns(nested);
    if (kind < 7) {
      return (pick(6) == 0 ? "-n 'a'-'j' " : "-n ") + options(true) + " " + fields + " " + columns(nested);
    }
    if (kind == 7) return "-s '-' '+' " + fields + " " + columns(nested) + " " + key(nested, depth);
    return "( " + key(true, depth - 1) + " " + key(true, depth - 1) + " ) " + fields + " " + region();
  }
  std::string command() {
    static const char* const kModes[] = {"", "-mfr", "-mcf", "-mcr", "-mfr -mcf", "-mfr -mcr", "-mcf -mcr"};
    static const char* const kDelimiters[] = {"", "-t ','", "-t ';' ','", "-t '.'", "-t 32"};
    split_ = pick(3) != 0;
    std::string text = one_of(kModes) + " " + (split_ ? one_of(kDelimiters) : "");
    if (pick(4) == 0) text += " -b 32";
    if (pick(4) == 0) text += " -i";
    for (std::size_t keys = pick(3) + 1; keys > 0; --keys) text += " " + key(false, 2);
    return text;
  }
  std::string data() {
    static const char kBytes[] = "0123456789.,-+ \tabcxyzAZ;\n";
    std::string text(pick(48) + 1, ' ');
    for (char& c : text) {
      c = pick(40) == 0 ? static_cast<char>(pick(256)) : kBytes[pick(sizeof kBytes - 1)];
    }
    return text;
  }

  std::mt19937 random_{20240607};
  bool split_ = false;
};

std::string reference_text(const fsort_test::ReferenceRow& row) {
  KeyEntry e{};
  e.field = static_cast<std::uint16_t>(row.field);
  e.start = static_cast<std::uint16_t>(row.start);
  e.length = static_cast<std::uint16_t>(row.length);
  e.direction = row.step > 0 ? kForward : kBackward;
  e.count = static_cast<std::uint8_t>(row.count);
  e.type = static_cast<std::int32_t>(row.type);
  e.descending = row.descending ? 1 : 0;
  return entry_text(e);
}

// The reference computes positions in wide numbers. Regions whose place or length does not fit 16 bits have
// tests of their own (KeyNested) and are left out here.
bool fits(const fsort_test::ReferenceRow& row) {
  constexpr int kCountedFromTheEnd = 60000;
  return row.length > 0 && row.start >= 0 && (row.start < kCountedFromTheEnd || row.start == kOpenStart);
}

TEST_F(RandomKeys, TablesAndOffsetsAreThoseOfTheReference) {
  int compared = 0;
  for (int round = 0; round < 4000; ++round) {
    const std::string line = command();
    SCOPED_TRACE(line);
    const std::string made = parse(line);
    std::string expected;
    std::unique_ptr<fsort_test::ReferenceKeys> reference;
    try {
      reference = std::make_unique<fsort_test::ReferenceKeys>(words(line));
      for (const auto& row : reference->rows())
        expected += (expected.empty() ? "" : " | ") + reference_text(row);
    } catch (const fsort_test::ReferenceFault& fault) {
      expected = std::string(fault.what()) + "\n";
    }
    if (reference && !std::all_of(reference->rows().begin(), reference->rows().end(), fits)) {
      restart();
      continue;
    }
    // Such a region may also stand in front of the fault that the reference found.
    if (!reference && made == "Field does not include subfield\n") {
      restart();
      continue;
    }
    ASSERT_EQ(made, expected);
    for (int i = 0; reference && i < 20; ++i) {
      const std::string text = data();
      SCOPED_TRACE(::testing::PrintToString(text));
      const std::uint8_t* record = build(text);
      try {
        const fsort_test::ReferenceRecord places = reference->fill(text);
        ASSERT_NE(record, nullptr) << read_error();
        for (std::uint16_t k = 0; k < key_count(); ++k) {
          if (places.sign_count[k] != 0) {
            ASSERT_EQ(sign(record, k), places.sign_count[k]) << "entry " << k;
          } else if (place(record, k) != places.offset[k]) {
            // Only a forward key with an open start in an empty first field lies elsewhere: at its end.
            ASSERT_EQ(key_entry(k).start, kOpenStart) << "entry " << k;
            ASSERT_EQ(places.offset[k], -1) << "entry " << k;
          }
          ++compared;
        }
      } catch (const fsort_test::ReferenceFault& fault) {
        ASSERT_EQ(read_error(), std::string(fault.what()) + "\n");
      }
    }
    restart();
  }
  EXPECT_GT(compared, 50000);
}

}  // namespace
}  // namespace fsort::test
