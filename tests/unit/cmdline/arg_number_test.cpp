// Numbers, character constants and ranges.
#include <string>

#include "cmdline/arg.h"
#include "support/instance_fixture.h"

namespace fsort {
namespace {

using test::Raised;
using test::raised;

class ArgLvalue : public test::InstanceFixture {};
class ArgValue : public test::InstanceFixture {};
class ArgRange : public test::InstanceFixture {};

struct NumberCase {
  const char* text;
  int scale;
  std::uint32_t value;
  const char* rest;
};

TEST_F(ArgLvalue, ReadsEveryForm) {
  const NumberCase cases[] = {
      {"0", 0, 0, ""},         {"123", 0, 123, ""},    {"123abc", 0, 123, "abc"},
      {"12-34", 0, 12, "-34"}, {"0x1F", 0, 31, ""},    {"0X1f", 0, 31, ""},
      {"0xfg", 0, 15, "g"},    {"0x", 0, 0, ""},       {"017", 0, 15, ""},
      {"08", 0, 0, "8"},       {"0778", 0, 63, "8"},   {"'a'", 0, 97, ""},
      {"'''", 0, 39, ""},      {"'\"'x", 0, 34, "x"},  {"'\xE9'", 0, 0xE9, ""},
      {"'\\n'", 0, 10, ""},    {"'\\\\'", 0, 92, ""},  {"'\\b'", 0, 8, ""},
      {"'\\f'", 0, 12, ""},    {"'\\r'", 0, 13, ""},   {"'\\t'", 0, 9, ""},
      {"'\\v'", 0, 11, ""},    {"", 0, 0, ""},         {"x12", 0, 0, "x12"},
      {"-5", 0, 0, "-5"},      {"\xB2", 0, 0, "\xB2"},
  };
  for (const NumberCase& c : cases) {
    std::uint32_t value = 77;
    EXPECT_STREQ(arg_lvalue(c.text, &value, c.scale), c.rest) << c.text;
    EXPECT_EQ(value, c.value) << c.text;
  }
}

TEST_F(ArgLvalue, BringsSuffixedNumbersToTheScaleAskedFor) {
  const NumberCase cases[] = {
      {"2k", 0, 2048, ""},    {"2K", 0, 2048, ""},
      {"3000", 1, 3000, ""},  {"1m", 1, 1024, ""},
      {"1500k", 2, 1, ""},    {"1G", 1, 1048576, ""},
      {"3g", 3, 3, ""},       {"1023k", 2, 0, ""},
      {"5k", 1, 5, ""},       {"3g", 0, 3221225472u, ""},
      {"1kk", 0, 1024, "k"},  {"010k", 0, 8, "k"},
      {"0x1k", 0, 1, "k"},    {"'a'k", 1, 97, "k"},
      {"1048576k", 3, 1, ""}, {"4194303k", 0, 4294966272u, ""},
  };
  for (const NumberCase& c : cases) {
    std::uint32_t value = 77;
    EXPECT_STREQ(arg_lvalue(c.text, &value, c.scale), c.rest) << c.text << " in scale " << c.scale;
    EXPECT_EQ(value, c.value) << c.text << " in scale " << c.scale;
  }
}

TEST_F(ArgLvalue, SaturatesInsteadOfWrappingAround) {
  const NumberCase cases[] = {
      {"4294967295", 0, 4294967295u, ""},
      {"4294967296", 0, 4294967295u, ""},
      {"4294967300", 1, 4294967295u, ""},
      {"4096g", 1, 4294967295u, ""},
      {"4095g", 1, 4293918720u, ""},
      {"4g", 0, 4294967295u, ""},
      {"99999999999999999999999", 0, 4294967295u, ""},
      {"99999999999999999999999k", 3, 4294967295u, ""},
      {"18446744073709551616k", 3, 4294967295u, ""},
      {"4294967296k", 2, 4194304, ""},
      {"0xFFFFFFFFFFFFFFFFFF", 0, 4294967295u, ""},
      {"0777777777777777777777777", 0, 4294967295u, ""},
  };
  for (const NumberCase& c : cases) {
    std::uint32_t value = 77;
    EXPECT_STREQ(arg_lvalue(c.text, &value, c.scale), c.rest) << c.text << " in scale " << c.scale;
    EXPECT_EQ(value, c.value) << c.text << " in scale " << c.scale;
  }
}

Raised read_raising(const char* text) {
  std::uint32_t value = 0;
  return raised([&] { arg_lvalue(text, &value, kScaleBytes); });
}

TEST_F(ArgLvalue, RefusesUnknownEscapes) {
  for (const char* text : {"'\\q'", "'\\q", "'\\''", "'\\0'", "'\\N'"}) {
    EXPECT_EQ(read_raising(text).texts, test::Texts{"Invalid \\character in key\n"}) << text;
  }
}

TEST_F(ArgLvalue, RefusesConstantsThatAreNotClosed) {
  for (const char* text : {"'", "'a", "'ab'", "''", "'\\", "'\\n", "'\\nn'"}) {
    // On the heap with its exact size, so that a sanitizer sees a read beyond the end.
    const std::string copy(text);
    EXPECT_EQ(read_raising(copy.c_str()).texts, test::Texts{"Invalid character constant\n"}) << text;
  }
}

TEST_F(ArgValue, Accepts65535AndRefuses65536) {
  std::uint16_t value = 0;
  EXPECT_STREQ(arg_value("65535x", &value, kScaleBytes), "x");
  EXPECT_EQ(value, 65535);
  const Raised r = raised([&] { arg_value("65536", &value, kScaleBytes); });
  EXPECT_EQ(r.texts, test::Texts{"Argument \"65536\" too large\n"});
  EXPECT_EQ(value, 65535) << "a refused number is not stored";
}

TEST_F(ArgValue, RefusesUnitsThatExceedSixteenBitsAndShowsTheWholeText) {
  std::uint16_t value = 0;
  const Raised bytes = raised([&] { arg_value("64k", &value, kScaleBytes); });
  EXPECT_EQ(bytes.texts, test::Texts{"Argument \"64k\" too large\n"});
  const Raised range = raised([&] { arg_value("70000-70001", &value, kScaleBytes); });
  EXPECT_EQ(range.texts, test::Texts{"Argument \"70000-70001\" too large\n"});
  const Raised wrapped = raised([&] { arg_value("4294967301", &value, kScaleBytes); });
  EXPECT_EQ(wrapped.texts, test::Texts{"Argument \"4294967301\" too large\n"});
  EXPECT_STREQ(arg_value("64k", &value, kScaleKilo), "");
  EXPECT_EQ(value, 64);
}

TEST_F(ArgValue, ShowsALongArgumentUncut) {
  static const std::string text = "1" + std::string(400, '0');
  std::uint16_t value = 0;
  const Raised r = raised([&] { arg_value(text.c_str(), &value, kScaleBytes); });
  EXPECT_EQ(r.texts, test::Texts{"Argument \"" + text + "\" too large\n"});
}

struct RangeCase {
  const char* text;
  std::uint16_t start;
  std::uint16_t end;
};

TEST_F(ArgRange, AcceptsEveryForm) {
  const RangeCase cases[] = {
      {"7", 7, 7},           {"3-9", 3, 9},         {"9-3", 9, 3},
      {"3-", 3, kRangeOpen}, {"-5", kRangeOpen, 5}, {"-", kRangeOpen, kRangeOpen},
      {"'a'-'z'", 97, 122},  {"'-'-'\\t'", 45, 9},  {"-'z'", kRangeOpen, 122},
      {"0x10-020", 16, 16},  {"1k-2K", 1024, 2048}, {"65535", 65535, 65535},
  };
  for (const RangeCase& c : cases) {
    Range range{1, 1};
    EXPECT_TRUE(arg_range(c.text, &range)) << c.text;
    EXPECT_EQ(range.start, c.start) << c.text;
    EXPECT_EQ(range.end, c.end) << c.text;
  }
}

TEST_F(ArgRange, RefusesWhatIsNotWhollyARange) {
  for (const char* text :
       {"", "08", "-k", "-Z", "-{", "{", "a", "abc", "5-k", "1-2-3", "--5", "5x", "1,2", "(", "<in"}) {
    Range range{0, 0};
    EXPECT_FALSE(arg_range(text, &range)) << text;
  }
}

TEST_F(ArgRange, RefusesNumbersBeyondSixteenBits) {
  Range range{0, 0};
  const Raised r = raised([&] { static_cast<void>(arg_range("1-65536", &range)); });
  EXPECT_EQ(r.texts, test::Texts{"Argument \"65536\" too large\n"});
}

}  // namespace
}  // namespace fsort
