// What is made from the table of options and the manual's pages, and whether it has been made anew.
#include "reference.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "options.h"
#include "roff.h"

namespace fsort_tool {
namespace {

std::string content_of(const std::string& name) {
  std::ifstream file(std::filesystem::path(FSORT_TEST_DATA).parent_path() / name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

TEST(Reference, OfOptionsIsNotStale) {
  EXPECT_EQ(content_of("docs/OPTIONS.md"), option_reference()) << "scripts/gen_docs makes it anew";
}

TEST(Reference, KeysManualIsNotStale) {
  EXPECT_EQ(content_of("man/fsort-keys.7"), keys_manual()) << "scripts/gen_docs makes it anew";
}

TEST(Reference, OptionListOfTheManualIsNotStale) {
  const std::string manual = content_of("man/fsort.1");
  ASSERT_FALSE(manual.empty());
  EXPECT_EQ(manual, with_option_list(manual)) << "scripts/gen_docs makes it anew";
}

TEST(Reference, NamesEveryOptionWithItsSummary) {
  const std::string text = option_reference();
  const std::string manual = with_option_list(content_of("man/fsort.1"));
  for (const Option& option : all_options()) {
    EXPECT_NE(text.find("### `" + usage_of(option) + "`\n"), std::string::npos) << option.name;
    EXPECT_NE(text.find(std::string(option.summary)), std::string::npos) << option.name;
    EXPECT_NE(manual.find(".TP\n\\fB" + roff_literal(option.name) + "\\fR"), std::string::npos)
        << option.name;
  }
}

TEST(Reference, LinksLeadToFiles) {
  const std::string text = option_reference();
  const auto docs = std::filesystem::path(FSORT_TEST_DATA).parent_path() / "docs";
  int links = 0;
  for (std::size_t at = text.find("]("); at != std::string::npos; at = text.find("](", at + 2)) {
    const std::string target = text.substr(at + 2, text.find(')', at) - at - 2);
    EXPECT_TRUE(std::filesystem::exists(docs / target)) << target;
    links += 1;
  }
  EXPECT_GT(links, 50);
}

TEST(Reference, AManualWithoutMarksIsLeftAlone) { EXPECT_EQ(with_option_list(".TH X 1\n"), ""); }

TEST(Roff, EscapesWhatTheFormatterWouldTake) {
  EXPECT_EQ(roff_text("a `-k 'x'` \\ \"b\" - c"), "a \\fB\\-k \\(aqx\\(aq\\fR \\e \\(dqb\\(dq - c\n");
  EXPECT_EQ(roff_text(".TH is no request"), "\\&.TH is no request\n");
  EXPECT_EQ(roff_text("'s no request"), "\\&'s no request\n");
  EXPECT_EQ(roff_text("\xc3\xa9 \xe2\x88\x92 \xf0\x9f\x98\x80"), "\\[u00E9] \\[u2212] \\[u1F600]\n");
  EXPECT_EQ(roff_text("**very `-k` so**"), "\\fIvery \\fB\\-k\\fI so\\fR\n");
}

TEST(Roff, SetsBlocks) {
  EXPECT_EQ(roff_blocks("# Page\n\nFirst.\n\nSecond.\n\n## Part\n\nThird.\n\n- a\n- b\n\n    -x\n",
                        RoffPlace::page),
            "First.\n.PP\nSecond.\n.SH \"Part\"\nThird.\n.RS\n.IP \\(bu 2\na\n.IP \\(bu 2\nb\n.RE\n"
            ".PP\n.in +4n\n.nf\n\\-x\n.fi\n.in\n");
  EXPECT_EQ(roff_blocks("One.\n\nTwo.\n", RoffPlace::item), "One.\n.IP\nTwo.\n");
  EXPECT_EQ(roff_blocks("| a | b |\n|---|---|\n| c | d |\n", RoffPlace::page),
            ".TS\ntab(@);\nlb lb\nl lx.\na@b\nc@T{\nd\nT}\n.TE\n");
}

}  // namespace
}  // namespace fsort_tool
