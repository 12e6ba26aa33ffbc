// Splitting of a command string into arguments.
#include "cmdline/cl_split.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace fsort {
namespace {

using Texts = std::vector<std::string>;

Texts split(const std::string& command) {
  // Exactly as large as promised, on the heap, so that a sanitizer sees any byte beyond.
  const auto pointers = std::make_unique<const char*[]>(kMaxSplitArguments);
  const auto text = std::make_unique<char[]>(kSplitTextBytes);
  std::int32_t count = -1;
  cl_parse(&count, pointers.get(), command.c_str(), text.get());
  return Texts(pointers.get(), pointers.get() + count);
}

struct SplitCase {
  const char* name;
  const char* command;
  Texts expected;
};

class ClParseTable : public testing::TestWithParam<SplitCase> {};

TEST_P(ClParseTable, SplitsAsExpected) { EXPECT_EQ(split(GetParam().command), GetParam().expected); }

INSTANTIATE_TEST_SUITE_P(
    Commands, ClParseTable,
    testing::Values(SplitCase{"KeepsSingleQuotesAndDropsDoubleQuotes",
                              "-k 1-4 'a b' \"x y\" c",
                              {"-k", "1-4", "'a b'", "x y", "c"}},
                    SplitCase{"EmptyStringHasNoArguments", "", {}},
                    SplitCase{"WhiteSpaceAloneHasNoArguments", " \t\r\n\v\f ", {}},
                    SplitCase{"TabSeparatesLikeABlank", "a\tb", {"a", "b"}},
                    SplitCase{"LineBreakInsideAnArgumentStaysInIt", "a\nb c", {"a\nb", "c"}},
                    SplitCase{"WhiteSpaceOfAnyKindIsSkippedBeforeAnArgument", "a \n\v b", {"a", "b"}},
                    SplitCase{"TrailingBlanksMakeNoArgument", "a   ", {"a"}},
                    SplitCase{"UnclosedDoubleQuoteRunsToTheEnd", "a \"b c", {"a", "b c"}},
                    SplitCase{"UnclosedSingleQuoteRunsToTheEnd", "'a b", {"'a b"}},
                    SplitCase{"EmptyDoubleQuotesMakeAnEmptyArgument", "a \"\" b", {"a", "", "b"}},
                    SplitCase{"QuotesMayOpenInsideAnArgument", "x\"y z\"w", {"xy zw"}},
                    SplitCase{"SingleQuoteInsideDoubleQuotesIsOrdinary", "\"it's here\"", {"it's here"}},
                    SplitCase{"DoubleQuoteInsideSingleQuotesIsKept", "'\"'", {"'\"'"}},
                    SplitCase{"BytesAbove127AreOrdinary", "\xE9\xA0 b", {"\xE9\xA0", "b"}}),
    [](const testing::TestParamInfo<SplitCase>& row) { return row.param.name; });

TEST(ClParse, PromisedSizesSufficeForTheMostArgumentsOfALongestCommand) {
  std::string command;
  while (command.size() < kMaxCommandChars) command += command.size() % 2 == 0 ? 'a' : ' ';
  EXPECT_EQ(split(command), Texts(256, "a"));
}

TEST(ClParse, PromisedSizesSufficeForEmptyArguments) {
  std::string command;
  while (command.size() + 3 <= kMaxCommandChars) command += "\"\" ";
  const Texts arguments = split(command);
  EXPECT_EQ(arguments.size(), kMaxCommandChars / 3);
  EXPECT_TRUE(std::all_of(arguments.begin(), arguments.end(), [](const auto& a) { return a.empty(); }));
}

TEST(ClParse, PromisedSizesSufficeForOneLongArgument) {
  EXPECT_EQ(split(std::string(kMaxCommandChars, 'x')), Texts{std::string(kMaxCommandChars, 'x')});
}

}  // namespace
}  // namespace fsort
