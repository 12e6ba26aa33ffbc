// Pages as text for a terminal, and the Markdown behind them.
#include "plain_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>

#include "markdown.h"
#include "pages.h"

namespace fsort_tool {
namespace {

TEST(PlainText, WrapsParagraphsAndItemsAndKeepsCode) {
  EXPECT_EQ(plain_text("# A page\n\nOne\ntwo.\n\n- first\n  goes on\n- second\n\n    code  stays\n    so\n"),
            "A PAGE\n\n  One two.\n\n  - first goes on\n  - second\n\n    code  stays\n    so\n");
}

TEST(PlainText, BreaksLinesBetweenWordsOnly) {
  const std::string text = plain_text(std::string(70, 'a') + " bbb `-k -c 0-9` " + std::string(90, 'c'));
  EXPECT_EQ(text, "  " + std::string(70, 'a') + " bbb\n  -k -c 0-9\n  " + std::string(90, 'c') + "\n");
}

TEST(PlainText, DropsMarksAndQuotesCodeThatReadsLikeWords) {
  EXPECT_EQ(plain_text("**Never** `-k`; `Field too short`, see [here](x.md)."),
            "  Never -k; \"Field too short\", see here.\n");
  EXPECT_EQ(plain_text("**Use `-k` now**"), "  Use -k now\n");
  EXPECT_EQ(plain_text("a ` b ** c [d"), "  a ` b ** c [d\n");
}

TEST(PlainText, LaysTablesOutInColumns) {
  EXPECT_EQ(plain_text("| a | long name |\n|---|---|\n| `x y` | 1 |\n| zzzz | \\| |\n"),
            "  a     long name\n  ----  ---------\n  x y   1\n  zzzz  |\n");
}

TEST(PlainText, ColumnsCountCharactersNotBytes) {
  EXPECT_EQ(columns_of("a\xc3\xa9\xe2\x88\x92"), 3U);
  EXPECT_EQ(plain_text("| \xc3\xa9 | b |\n|---|---|\n| cc | d |\n"), "  \xc3\xa9   b\n  --  -\n  cc  d\n");
}

TEST(PlainText, EveryPageOfTheManualFitsATerminal) {
  for (const Page& page : all_pages()) {
    std::istringstream lines(plain_text(page_body(page)));
    std::size_t count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
      if (line.starts_with("    ")) continue;  // code stands as it was written
      EXPECT_LE(columns_of(line), kTextWidth + 10) << page.name << ": " << line;
      EXPECT_EQ(line.find_first_of("\x1f"), std::string::npos) << page.name << ": " << line;
    }
    EXPECT_GE(count, 1U) << page.name;
  }
}

TEST(Markdown, KnowsItsBlocks) {
  const std::vector<Block> blocks =
      parse_markdown("## H\ntext\n1. one\n2. two\n\n```c\n# no heading\n```\n> q\n");
  ASSERT_EQ(blocks.size(), 6U);
  EXPECT_EQ(blocks[0].level, 2);
  EXPECT_EQ(blocks[1].text, "text");
  EXPECT_EQ(blocks[3].label, "2.");
  EXPECT_EQ(blocks[4].kind, Block::Kind::code);
  EXPECT_EQ(blocks[4].text, "# no heading\n");
  EXPECT_EQ(blocks[5].text, "q");
}

TEST(Pages, HaveFrontMatterBodyAndSections) {
  const Page page{"p", "---\noption: \"-x\"\ndefault: none\n---\nBody.\n\n## One\n\na\n\n## Two\n\nb\n"};
  EXPECT_EQ(page_field(page, "option"), "-x");
  EXPECT_EQ(page_field(page, "default"), "none");
  EXPECT_EQ(page_field(page, "owner"), "");
  EXPECT_TRUE(page_body(page).starts_with("Body.\n"));
  EXPECT_EQ(page_section(page, "## One"), "## One\n\na\n\n");
  EXPECT_EQ(page_section(page, "## Two"), "## Two\n\nb\n");
  EXPECT_EQ(page_section(page, "## Three"), "");
}

TEST(Pages, AreTheFilesOfTheManual) {
  ASSERT_NE(find_page("KEYS.md"), nullptr);
  EXPECT_TRUE(find_page("KEYS.md")->text.starts_with("# Keys"));
  EXPECT_EQ(find_page("none.md"), nullptr);
}

}  // namespace
}  // namespace fsort_tool
