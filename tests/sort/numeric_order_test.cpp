// Numbers and sign-governed keys sort by value, whichever method finishes them.
//
// The same records are sorted twice: once in groups so small that the list sort finishes them, once as one
// group so large that levels of bins do. The order asked for is that of the values as a C program reads them,
// not that of any key table, and both methods must give it.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "support/key_gen.h"
#include "support/run_fsort.h"

namespace fsort_test {
namespace {

constexpr std::size_t kWidth = 12;     // columns 1-12 hold the value
constexpr std::size_t kListGroup = 5;  // below every threshold of the list sort

struct Value {
  std::string text;
  double number;
};

struct Form {
  std::string key;  // for columns 1-12
  bool descending;
  bool global_invert;
  bool followed;  // a further key on the last column
  int decimals;   // digits after the point that count
  std::vector<Value> values;
  bool delimited = false;  // group, value and last letter are fields
};

// Every spelling of a number; none has a zero at the end of its fraction, which would make it another key.
std::vector<Value> spelled_numbers() {
  std::vector<Value> values;
  for (const double size :
       {0.125, 0.25, 0.5,  0.625, 0.75,   1.0,   1.25,  1.5,   2.0,   3.5,    9.0,    9.875,  10.0,
        11.0,  19.5, 20.0, 99.0,  99.125, 100.0, 101.0, 128.0, 999.0, 1000.0, 1234.5, 98765.0}) {
    std::string digits = testing::PrintToString(size);
    if (size < 1) digits.erase(0, 1);
    values.push_back({digits, size});
    values.push_back({"-" + digits, -size});
    values.push_back({(size < 10 ? "+0" : "+") + digits, size});
    values.push_back({(size < 10 ? "-00" : "  -") + digits, -size});
    values.push_back({digits + "-", -size});
    std::replace(digits.begin(), digits.end(), '.', ',');
    values.push_back({digits, size});
  }
  for (const char* zero : {"0", "-0", "+0", ".0", "-.0", "000", "", "-"}) values.push_back({zero, 0});
  return values;
}

std::vector<Value> signed_words(const std::string& letters) {
  std::vector<Value> values;
  const int half = static_cast<int>(letters.size()) / 2;
  for (int letter = 0; letter < 2 * half; ++letter) {
    for (int size = 1; size < 100; size += 3) {
      char text[16];
      std::snprintf(text, sizeof text, "%c%03d", letters[static_cast<std::size_t>(letter)], size);
      const int steps = letter < half ? letter - half : letter - half + 1;
      values.push_back({text, 1000.0 * steps + (letter < half ? -size : size)});
    }
  }
  return values;
}

std::vector<Value> signed_numbers() {
  std::vector<Value> values;
  for (const Value& value : spelled_numbers()) {
    if (value.number == 0) continue;
    values.push_back({"D" + value.text, -value.number});
    values.push_back({"C" + value.text, value.number});
  }
  for (Value& value : values) value.number += value.text[0] == 'D' ? -1e7 : 1e7;
  return values;
}

double cut(double number, int decimals) {
  const double scale = std::pow(10.0, decimals);
  return std::trunc(number * scale) / scale;
}

struct Line {
  std::string text;
  char group;
  double number;
  char last;
};

std::vector<Line> lines_of(const Form& form, bool small_groups) {
  std::vector<Line> lines;
  for (std::size_t i = 0; i < form.values.size(); ++i) {
    Line line;
    line.group = small_groups ? static_cast<char>('0' + i / kListGroup) : 'a';
    line.number = cut(form.values[i].number, form.decimals);
    line.last = static_cast<char>('p' + i * 7 % 11);
    std::string field = form.values[i].text;
    field.resize(kWidth, ' ');
    const std::string gap = form.delimited ? "!" : "";
    line.text = line.group + gap + field + gap + line.last + "\n";
    lines.push_back(line);
  }
  return lines;
}

// Group, number and last letter of each output line, with the signs that make them ascend.
std::vector<std::array<double, 3>> keys_of(const Form& form, const std::vector<Line>& lines,
                                           const std::vector<std::string>& output) {
  std::vector<std::array<double, 3>> keys;
  for (const std::string& text : output) {
    const auto line = std::find_if(lines.begin(), lines.end(), [&](const Line& l) { return l.text == text; });
    if (line == lines.end()) continue;
    const double whole = form.global_invert ? -1 : 1;
    keys.push_back({whole * line->group, (form.descending ? -1 : 1) * line->number,
                    form.followed ? whole * line->last : 0});
  }
  return keys;
}

std::vector<std::array<double, 3>> sorted_keys(const Form& form, bool behind_a_key, bool small_groups) {
  std::vector<Line> lines = lines_of(form, small_groups);
  if (!behind_a_key && small_groups) lines.resize(kListGroup);
  SortRequest request;
  request.arguments = {"-q"};
  if (form.delimited) request.arguments.push_back("-t '!'");
  if (form.global_invert) request.arguments.push_back("-i");
  if (behind_a_key) request.arguments.push_back(form.delimited ? "-k -f 0" : "-k -c 0-0");
  request.arguments.push_back(form.key);
  if (form.followed) request.arguments.push_back(form.delimited ? "-k -f 2" : "-k -c 13-13");
  for (const Line& line : lines) request.records.push_back(line.text);
  const SortRun run = run_fsort(request);
  EXPECT_EQ(run.status, 0) << testing::PrintToString(run.texts);
  EXPECT_EQ(run.records.size(), lines.size());
  return keys_of(form, lines, run.records);
}

void expect_by_value(const Form& form) {
  for (const bool behind_a_key : {false, true}) {
    std::vector<std::array<double, 3>> by_bins;
    for (const bool small_groups : {false, true}) {
      SCOPED_TRACE(form.key + (form.global_invert ? " globally inverted" : "") +
                   (form.followed ? " followed by a key" : "") +
                   (behind_a_key ? " behind a key" : " as first key") +
                   (small_groups ? " finished by the list sort" : " finished by bins"));
      std::vector<std::array<double, 3>> keys = sorted_keys(form, behind_a_key, small_groups);
      if (!behind_a_key) {
        for (auto& key : keys) key[0] = 0;
      }
      EXPECT_TRUE(std::is_sorted(keys.begin(), keys.end())) << testing::PrintToString(keys);
      if (!small_groups) by_bins = keys;
    }
    EXPECT_GT(by_bins.size(), 60u);
  }
}

// Local invert, global invert, and both, which cancel each other; alone and followed by a further key.
void expect_by_value_in_every_direction(const std::string& key, const std::string& columns, int decimals,
                                        const std::vector<Value>& values, bool may_be_followed,
                                        bool delimited = false) {
  for (const bool followed : {false, true}) {
    if (followed && !may_be_followed) continue;
    for (const bool local : {false, true}) {
      for (const bool global : {false, true}) {
        Form form;
        form.key = key + (local ? " -i" : "") + columns;
        form.global_invert = global;
        form.descending = local != global;
        form.followed = followed;
        form.decimals = decimals;
        form.values = values;
        form.delimited = delimited;
        expect_by_value(form);
      }
    }
  }
}

TEST(NumbersSortNumerically, WithAllDecimals) {
  expect_by_value_in_every_direction("-n", " -c 1-12", 3, spelled_numbers(), true);
}
TEST(NumbersSortNumerically, WithOneDecimal) {
  expect_by_value_in_every_direction("-n -d 1", " -c 1-12", 1, spelled_numbers(), true);
}
TEST(NumbersSortNumerically, WithTwoDecimals) {
  expect_by_value_in_every_direction("-n -d 2", " -c 1-12", 2, spelled_numbers(), true);
}
// Without fraction digits the key after it would begin at the fraction, so it stands last.
TEST(NumbersSortNumerically, WithoutDecimalsAsLastKey) {
  std::vector<Value> values = spelled_numbers();
  std::erase_if(values, [](const Value& value) { return std::abs(value.number) < 1 && value.number != 0; });
  expect_by_value_in_every_direction("-n -d 0", " -c 1-12", 0, values, false);
}
// A negative number below one has no digits left to tell it from others, but it is still below zero.
TEST(NumbersSortNumerically, WithoutDecimalsFractionsLieBesideZero) {
  Form form{"-n -d 0 -c 1-12",
            false,
            false,
            false,
            3,
            {{"-.5", -1}, {"0", 0}, {"-1", -2}, {".5", 0}, {"1", 1}},
            false};
  const auto keys = sorted_keys(form, true, true);
  EXPECT_TRUE(std::is_sorted(keys.begin(), keys.end())) << testing::PrintToString(keys);
}
TEST(NumbersSortNumerically, OverTheOpenColumnRange) {
  expect_by_value_in_every_direction("-n", " -c 1-", 3, spelled_numbers(), true);
}
TEST(NumbersSortNumerically, OverColumnsWiderThanASignedByte) {
  expect_by_value_in_every_direction("-n", " -c 1-200", 3, spelled_numbers(), true);
}
TEST(NumbersSortNumerically, InADelimitedField) {
  expect_by_value_in_every_direction("-n", " -f 1", 3, spelled_numbers(), true, true);
}
TEST(NumbersSortNumerically, WithAnOwnDigitSequence) {
  expect_by_value_in_every_direction("-n '0'-'9'", " -c 1-12", 3, spelled_numbers(), true);
}

TEST(SignsSortByValue, WithTwoClasses) {
  std::vector<Value> values = signed_words("-+");
  expect_by_value_in_every_direction("-s '-' '+'", " -c 1-1 -k -c 2-4", 3, values, false);
}
TEST(SignsSortByValue, WithFourClasses) {
  std::vector<Value> values = signed_words("abcd");
  expect_by_value_in_every_direction("-s 'a'-'d'", " -c 1-1 -k -c 2-4", 3, values, false);
}
TEST(SignsSortByValue, GoverningANumber) {
  expect_by_value_in_every_direction("-s 'D' 'C'", " -c 1-1 -n -c 2-12", 3, signed_numbers(), false);
}

}  // namespace
}  // namespace fsort_test
