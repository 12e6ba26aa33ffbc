// Tokens from argument lists and include files.
#include "cmdline/token_source.h"

#include "include_files.h"

namespace fsort {
namespace {

using test::raised;
using test::Texts;

class GetToken : public test::IncludeFixture {
 protected:
  void SetUp() override {
    IncludeFixture::SetUp();
    area_ = TextArea{.base = text_, .size = sizeof text_, .used = 0, .left = sizeof text_};
  }
  Texts tokens_of(const std::string& content) {
    source_open_file(source_, file(content).c_str());
    Texts tokens;
    while (const char* token = gettoken(source_, area_)) tokens.emplace_back(token);
    return tokens;
  }
  TokenSource source_{};
  TextArea area_{};
  char text_[8192] = {};
};

TEST_F(GetToken, DeliversArgumentsWhole) {
  const char* arguments[] = {"a b", "", "# c"};
  source_open_list(source_, 3, arguments, nullptr);
  EXPECT_STREQ(gettoken(source_, area_), "a b");
  EXPECT_STREQ(gettoken(source_, area_), "");
  EXPECT_STREQ(gettoken(source_, area_), "# c");
  EXPECT_EQ(gettoken(source_, area_), nullptr);
  EXPECT_EQ(area_.left, area_.size) << "only include files are charged for scanning";
}

TEST_F(GetToken, EndOfAMacroBodyClearsItsActiveFlag) {
  Symbol macro{};
  macro.active = 1;
  const char* arguments[] = {"a"};
  source_open_list(source_, 1, arguments, &macro);
  EXPECT_STREQ(gettoken(source_, area_), "a");
  EXPECT_EQ(macro.active, 1u);
  EXPECT_EQ(gettoken(source_, area_), nullptr);
  EXPECT_EQ(macro.active, 0u);
}

TEST_F(GetToken, SplitsAFileAtWhiteSpace) {
  EXPECT_EQ(tokens_of("-k  1-4\t'a b'\r\n\n \v\f-u\n"), (Texts{"-k", "1-4", "'a", "b'", "-u"}));
  EXPECT_EQ(test::open_files(), 0) << "the end of the file closes it";
}

TEST_F(GetToken, NumberSignBeginsACommentOnlyAtTheStartOfAToken) {
  EXPECT_EQ(tokens_of("#all of it\n-q # -u\na#b #c\n-#x d\n"), (Texts{"-q", "a#b", "-#x", "d"}));
}

TEST_F(GetToken, LongTokenBecomesTwo) {
  EXPECT_EQ(tokens_of(std::string(80, 'x') + "\n"), (Texts{std::string(78, 'x'), "xx"}));
}

TEST_F(GetToken, TokenThatEndsWithItsPieceStaysWhole) {
  EXPECT_EQ(tokens_of(std::string(78, 'x') + "\ny\n"), (Texts{std::string(78, 'x'), "y"}));
  EXPECT_EQ(tokens_of(std::string(77, 'x') + "\ny\n"), (Texts{std::string(77, 'x'), "y"}));
}

// Kept on purpose: a comment ends with its piece, not with its line.
TEST_F(GetToken, CommentBeyond78CharactersIsReadAsTokens) {
  EXPECT_EQ(tokens_of("#" + std::string(77, 'c') + "tail more\nx\n"), (Texts{"tail", "more", "x"}));
}

// Kept on purpose: a last line without a line break is not delivered.
TEST_F(GetToken, LastLineWithoutALineBreakIsDropped) {
  EXPECT_EQ(tokens_of("-c 0-2\n-u"), (Texts{"-c", "0-2"}));
}

TEST_F(GetToken, EmptyFileHasNoTokens) { EXPECT_EQ(tokens_of(""), Texts{}); }

TEST_F(GetToken, FilesLargerThanABufferAreReadWhole) {
  std::string content;
  Texts expected;
  area_.size = area_.left = 1u << 30;  // charged only, nothing is stored here
  for (int i = 0; i < 4000; ++i) {
    expected.push_back("token" + std::to_string(i));
    content += expected.back() + (i % 3 == 0 ? "\n" : "\n\n");
  }
  EXPECT_EQ(tokens_of(content), expected);
}

TEST_F(GetToken, ZeroByteEndsItsPiece) {
  EXPECT_EQ(tokens_of(std::string("a b\0c d\ne\n", 10)), (Texts{"a", "b", "e"}));
}

TEST_F(GetToken, EveryFileTokenIsChargedWhileItIsScanned) {
  EXPECT_EQ(tokens_of("abc de\n"), (Texts{"abc", "de"}));
  EXPECT_EQ(area_.left, area_.size - 5);
  EXPECT_EQ(area_.used, 7u);
}

TEST_F(GetToken, FileThatCannotBeOpenedIsAnError) {
  const auto r = raised([&] { source_open_file(source_, "no/such/include/file"); });
  EXPECT_EQ(r.texts, Texts{"Couldn't open include file\n"});
  source_close(source_);
}

TEST_F(GetToken, ReadErrorDoesNotPassForTheEndOfTheFile) {
  source_open_file(source_, file("-u\n").c_str());
  test::g_fail_reads = true;
  const auto r = raised([&] { static_cast<void>(gettoken(source_, area_)); });
  EXPECT_EQ(r.texts, Texts{"Couldn't open include file\n"});
  test::g_fail_reads = false;
  EXPECT_EQ(test::open_files(), 1);
  source_close(source_);
  EXPECT_EQ(test::open_files(), 0);
  source_close(source_);  // nothing more to close
}

}  // namespace
}  // namespace fsort
