// Quotes around character constants, given back where a shell has taken them.
#include "shell_quotes.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace fsort_tool {
namespace {

using Arguments = std::vector<std::string>;

// The arguments behind the command name.
Arguments restored(Arguments typed) {
  typed.insert(typed.begin(), "fsort");
  Arguments result = restore_quotes(typed);
  EXPECT_FALSE(result.empty());
  EXPECT_EQ(result.front(), "fsort");
  result.erase(result.begin());
  return result;
}

TEST(RestoreQuotes, QuotesASingleCharacterBehindAnOptionOfByteValues) {
  EXPECT_EQ(restored({"-t", ";"}), (Arguments{"-t", "';'"}));
  EXPECT_EQ(restored({"-b", " ", "_"}), (Arguments{"-b", "' '", "'_'"}));
  EXPECT_EQ(restored({"-k", "a", "b"}), (Arguments{"-k", "'a'", "'b'"}));
  EXPECT_EQ(restored({"-n", "x"}), (Arguments{"-n", "'x'"}));
}

TEST(RestoreQuotes, QuotesMinusAndPlusAsSigns) {
  EXPECT_EQ(restored({"-s", "-", "+", "-c", "0-0"}), (Arguments{"-s", "'-'", "'+'", "-c", "0-0"}));
}

TEST(RestoreQuotes, QuotesBothEndsOfACharacterRange) {
  EXPECT_EQ(restored({"-k", "a-z", "-r", "A-Z"}), (Arguments{"-k", "'a'-'z'", "-r", "'A'-'Z'"}));
}

TEST(RestoreQuotes, QuotesEscapesAndTheBackslashItself) {
  EXPECT_EQ(restored({"-t", "\\t"}), (Arguments{"-t", "'\\t'"}));
  EXPECT_EQ(restored({"-t", "\\\\"}), (Arguments{"-t", "'\\\\'"}));
  EXPECT_EQ(restored({"-t", "\\"}), (Arguments{"-t", "'\\\\'"}));
  EXPECT_EQ(restored({"-t", "\\q"}), (Arguments{"-t", "\\q"}));
}

TEST(RestoreQuotes, TakesOptionsInAnyCase) { EXPECT_EQ(restored({"-T", ","}), (Arguments{"-T", "','"})); }

TEST(RestoreQuotes, LeavesNumbersAndQuotedConstantsAloneAndGoesOnBehindThem) {
  EXPECT_EQ(restored({"-t", "9", "';'", "0x2c", ","}), (Arguments{"-t", "9", "';'", "0x2c", "','"}));
  EXPECT_EQ(restored({"-k", "0-255"}), (Arguments{"-k", "0-255"}));
  EXPECT_EQ(restored({"-k", "5"}), (Arguments{"-k", "5"}));
  EXPECT_EQ(restored({"-k", "1-z"}), (Arguments{"-k", "1-z"}));
}

TEST(RestoreQuotes, LeavesBracketsAndAngleBracketsToTheGrammar) {
  EXPECT_EQ(restored({"(", "-k", ")", "-c", "2-5"}), (Arguments{"(", "-k", ")", "-c", "2-5"}));
  EXPECT_EQ(restored({"-k", "(", "-k", ")"}), (Arguments{"-k", "(", "-k", ")"}));
  EXPECT_EQ(restored({"-k", ">", "b"}), (Arguments{"-k", ">", "b"}));
  EXPECT_EQ(restored({"-k", "<a.txt"}), (Arguments{"-k", "<a.txt"}));
}

TEST(RestoreQuotes, LeavesOperandsOfOtherOptionsAlone) {
  EXPECT_EQ(restored({"-in", "a", "-out", "b"}), (Arguments{"-in", "a", "-out", "b"}));
  EXPECT_EQ(restored({"-w", "."}), (Arguments{"-w", "."}));
  EXPECT_EQ(restored({"-t", ";", "-w", "."}), (Arguments{"-t", "';'", "-w", "."}));
  EXPECT_EQ(restored({"a", ";"}), (Arguments{"a", ";"}));
}

TEST(RestoreQuotes, StopsAtTheFirstArgumentThatIsNoByteValue) {
  EXPECT_EQ(restored({"-t", ";", "name", ","}), (Arguments{"-t", "';'", "name", ","}));
  EXPECT_EQ(restored({"-t", "", ";"}), (Arguments{"-t", "", ";"}));
}

TEST(RestoreQuotes, LeavesNamesOfMacrosAlone) {
  EXPECT_EQ(restored({"-#define", "x", "'a'", "-#end", "-k", "x", "y"}),
            (Arguments{"-#define", "x", "'a'", "-#end", "-k", "x", "y"}));
  EXPECT_EQ(restored({"-#define", "x", "'a'", "-#end", "-k", "y", "x"}),
            (Arguments{"-#define", "x", "'a'", "-#end", "-k", "'y'", "x"}));
}

TEST(RestoreQuotes, LeavesLettersAloneWhenAnIncludeFileMayDefineThem) {
  EXPECT_EQ(restored({"-#include", "keys", "-k", "x"}), (Arguments{"-#include", "keys", "-k", "x"}));
  EXPECT_EQ(restored({"-#include", "keys", "-k", "a-z"}), (Arguments{"-#include", "keys", "-k", "a-z"}));
  EXPECT_EQ(restored({"-#include", "keys", "-t", ";"}), (Arguments{"-#include", "keys", "-t", "';'"}));
}

TEST(RestoreQuotes, KeepsTheNumberOfArguments) {
  EXPECT_EQ(restore_quotes({"fsort"}), Arguments{"fsort"});
  EXPECT_EQ(restored({"-t", ";", ",", "-k", "-f", "1"}).size(), 6U);
}

}  // namespace
}  // namespace fsort_tool
