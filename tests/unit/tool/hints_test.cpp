// Hints beneath an error.
#include "hints.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "argument_hints.h"
#include "markdown.h"
#include "pages.h"

namespace fsort_tool {
namespace {

using Arguments = std::vector<std::string>;

const std::string kTitle = "Error detected in fsort initialization\n";

TEST(RefusedArguments, AreThoseThatTheMessageNames) {
  EXPECT_EQ(refused_arguments("-x is an invalid argument"), (Arguments{"-x"}));
  EXPECT_EQ(refused_arguments("a and b are invalid arguments"), (Arguments{"a", "b"}));
  EXPECT_EQ(refused_arguments("-k,-c and 1-1 are invalid arguments"), (Arguments{"-k", "-c", "1-1"}));
  EXPECT_EQ(refused_arguments("-t,',',x and y are invalid arguments"), (Arguments{"-t", "','", "x", "y"}));
  EXPECT_EQ(refused_arguments("Field too short"), Arguments{});
}

TEST(HintFor, ReadsTheMessageAndNotTheRecordInFrontOfIt) {
  const std::string text = "-zz is an invalid argument\n\nField too short\nError detected in fsort call\n";
  EXPECT_TRUE(hint_for({"fsort", "-k"}, text).starts_with("a key begins behind the end of its field"))
      << text;
}

TEST(HintFor, ReadsTheMessageInFrontOfTheSystemsReason) {
  EXPECT_TRUE(
      hint_for({"fsort", "<"}, "File open failed on :\nno such file.\n" + kTitle).starts_with("there is no"));
  EXPECT_EQ(hint_for({"fsort", "<a"}, "File open failed on a:\nno such file.\n" + kTitle), "");
}

TEST(HintFor, ShowsTheOptionWithItsOperandAsTheyWereWritten) {
  EXPECT_EQ(hint_for({"fsort", "-q", "-RF", "x"}, "Invalid value for -rf switch\n" + kTitle),
            "\"-RF x\": expected the size of a record in bytes: -rf 80");
}

TEST(HintFor, SaysNothingAboutWhatItDoesNotKnow) {
  EXPECT_EQ(hint_for({"fsort"}, ""), "");
  EXPECT_EQ(hint_for({"fsort"}, "Couldn't register io windup\n" + kTitle), "");
  EXPECT_EQ(hint_for({"fsort", "-h"}, "<fsort command> :=\n"), "");
  EXPECT_EQ(hint_for({"fsort"}, "-zz is an invalid argument\n"), "") << "no title ends it";
}

TEST(HintFor, AnArgumentFromAnIncludeFileGetsItsHintToo) {
  EXPECT_EQ(hint_for({"fsort", "-#include", "f"}, "-ou is an invalid argument\n" + kTitle),
            "\"-ou\" is no option; -out <file> is near (fsort --help -out)");
}

TEST(HintLine, IsOneLine) {
  EXPECT_EQ(hint_line({"fsort"}, ""), "");
  EXPECT_EQ(hint_line({"fsort", "-zz"}, "-zz is an invalid argument\n" + kTitle),
            "fsort: hint: \"-zz\" is no option; fsort --help options lists them\n");
}

// The messages of a section of the manual's list.
std::vector<std::string> messages_of(std::string_view section) {
  std::vector<std::string> messages;
  for (const Block& block : parse_markdown(page_section(*find_page("MESSAGES.md"), section))) {
    for (std::size_t row = 1; row < block.rows.size(); ++row) {
      for (const Span& span : parse_spans(block.rows[row][0])) {
        if (span.style == Span::Style::code) messages.push_back(span.text);
      }
    }
  }
  return messages;
}

TEST(HintFor, HasSomethingToSayAboutEveryMessageOnACommandLine) {
  // Not a fault of the command line, or never shown.
  const std::set<std::string> others = {"Collating sequence has more than 256 values",
                                        "Couldn't get memory for sequence table",
                                        "Invalid value for -f switch",
                                        "Invalid -c switch value",
                                        "Invalid value for -c switch",
                                        "Failed to get memory for tab pointer array"};
  int hinted = 0;
  for (const char* section : {"## Command line", "## Keys"}) {
    const std::vector<std::string> messages = messages_of(section);
    ASSERT_GE(messages.size(), 10U) << section;
    for (const std::string& message : messages) {
      if (others.contains(message)) continue;
      EXPECT_NE(hint_for({"fsort"}, message + "\n" + kTitle), "") << message;
      hinted += 1;
    }
  }
  EXPECT_GT(hinted, 25);
}

}  // namespace
}  // namespace fsort_tool
