// Expansion of a command line: macros, include files, limits.
#include "cmdline/cl_expand.h"

#include <memory>

#include "include_files.h"

namespace fsort {
namespace {

using test::Texts;

constexpr const char* kTitle = "Error detected while expanding command line\n";

struct Expanded {
  int status;
  Texts arguments;  // behind the command name
};

class ClCopy : public test::IncludeFixture {
 protected:
  // Expands "fsort" and the arguments with this capacity. The areas are heap blocks of the exact size, so
  // that a sanitizer sees any byte beyond.
  static Expanded expand(const Texts& arguments, std::int32_t slots = kArgumentSlots,
                         std::uint32_t bytes = kArgumentTextBytes) {
    test::ArgVector args(arguments);
    const auto out = std::make_unique<const char*[]>(static_cast<std::size_t>(slots) + 1);
    const auto text = std::make_unique<char[]>(bytes);
    std::int32_t count = slots;
    Expanded result{cl_copy(&count, out.get(), args.argc(), args.argv(), bytes, text.get()), {}};
    if (result.status != 0) return result;
    EXPECT_EQ(out[static_cast<std::size_t>(count)], nullptr);
    EXPECT_STREQ(out[0], "fsort");
    result.arguments.assign(out.get() + 1, out.get() + count);
    return result;
  }
  static Texts expanded(const Texts& arguments) {
    const Expanded result = expand(arguments);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(test::displayed(), Texts{});
    return result.arguments;
  }
  static void expect_failure(const Expanded& result, const std::string& message) {
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(test::displayed(), (Texts{message + "\n", kTitle}));
    EXPECT_EQ(test::open_files(), 0) << "include files are closed after an error";
    test::clear_displayed();
  }
};

TEST_F(ClCopy, OrdinaryArgumentsStayAsTheyAre) {
  EXPECT_EQ(expanded({"<in", "-k", "1-4", "'A b'", "X Y", "", "c"}),
            (Texts{"<in", "-k", "1-4", "'A b'", "X Y", "", "c"}));
}

TEST_F(ClCopy, LowersWhatBeginsWithAMinusAndNothingElse) {
  EXPECT_EQ(expanded({"-K", "Name", "-OUT", "My.TXT", "-'A'-'Z'", "'A'", "(", "-\xC9"}),
            (Texts{"-k", "Name", "-out", "My.TXT", "-'a'-'z'", "'A'", "(", "-\xC9"}));
}

TEST_F(ClCopy, DirectiveNamesAreMatchedBeforeLowering) {
  EXPECT_EQ(expanded({"-#DEFINE", "-#Include"}), (Texts{"-#define", "-#include"}));
}

TEST_F(ClCopy, MacroIsReplacedByItsBodyWhereverItIsUsed) {
  EXPECT_EQ(expanded({"-#define", "K", "-k", "-c", "0-1", "-#end", "<in", ">out", "K", "x", "K"}),
            (Texts{"<in", ">out", "-k", "-c", "0-1", "x", "-k", "-c", "0-1"}));
}

TEST_F(ClCopy, MacroNamesAreMatchedWithTheirCase) {
  EXPECT_EQ(expanded({"-#define", "K", "a", "-#end", "k", "K"}), (Texts{"k", "a"}));
}

TEST_F(ClCopy, MacroMayHaveAnEmptyBody) {
  EXPECT_EQ(expanded({"-#define", "X", "-#end", "a", "X", "b"}), (Texts{"a", "b"}));
}

TEST_F(ClCopy, DefineFollowedDirectlyByEndDefinesNothing) {
  EXPECT_EQ(expanded({"-#define", "-#end", "a"}), Texts{"a"});
}

TEST_F(ClCopy, LaterDefinitionWinsFromThenOn) {
  EXPECT_EQ(expanded({"-#define", "K", "a", "-#end", "K", "-#define", "K", "b", "-#end", "K"}),
            (Texts{"a", "b"}));
}

TEST_F(ClCopy, MacroInADefinitionIsExpandedAtDefinitionTime) {
  EXPECT_EQ(expanded({"-#define", "A", "1", "-#end", "-#define", "B", "A", "2", "-#end", "-#define", "A", "9",
                      "-#end", "B"}),
            (Texts{"1", "2"}));
}

TEST_F(ClCopy, MacroThatNamesItselfUsesItsEarlierBody) {
  EXPECT_EQ(expanded({"-#define", "X", "1", "-#end", "-#define", "X", "X", "2", "-#end", "X"}),
            (Texts{"1", "2"}));
}

TEST_F(ClCopy, MacroThatNamesItselfIsRefusedWhenUsed) {
  EXPECT_EQ(expanded({"-#define", "X", "a", "X", "-#end", "b"}), Texts{"b"});
  expect_failure(expand({"-#define", "X", "a", "X", "-#end", "X"}), "Macros cannot be recurrsive");
}

TEST_F(ClCopy, MacrosThatNameEachOtherAreRefusedWhenUsed) {
  expect_failure(expand({"-#define", "X", "Y", "-#end", "-#define", "Y", "X", "-#end", "Y"}),
                 "Macros cannot be recurrsive");
}

TEST_F(ClCopy, MacroIsUsableAgainAfterItsExpansion) {
  EXPECT_EQ(expanded({"-#define", "X", "a", "-#end", "-#define", "Y", "X", "X", "-#end", "Y", "Y"}),
            (Texts{"a", "a", "a", "a"}));
}

TEST_F(ClCopy, DefinitionInsideADefinitionTakesEffectWhenTheOuterIsExpanded) {
  EXPECT_EQ(expanded({"-#define", "OUTER", "-#define", "IN", "x", "-#end", "-#end", "IN", "OUTER", "IN"}),
            (Texts{"IN", "x"}));
}

TEST_F(ClCopy, NameBehindAnInnerDefineIsNotExpandedEither) {
  EXPECT_EQ(expanded({"-#define", "K", "a", "-#end", "-#define", "REDEFINE", "-#define", "K", "b", "-#end",
                      "-#end", "K", "REDEFINE", "K"}),
            (Texts{"a", "b"}));
}

TEST_F(ClCopy, DefinitionsLastForOneExpansionOnly) {
  EXPECT_EQ(expanded({"-#define", "K", "a", "-#end", "K"}), Texts{"a"});
  EXPECT_EQ(expanded({"K"}), Texts{"K"});
}

TEST_F(ClCopy, EndWithoutDefineIsRefused) {
  expect_failure(expand({"-#end"}), "-#endif with no corresponding -#define");
  expect_failure(expand({"-#DEFINE", "X", "-#end"}), "-#endif with no corresponding -#define");
  expect_failure(expand({"-#define", "X", "-#end", "-#end"}), "-#endif with no corresponding -#define");
}

TEST_F(ClCopy, OpenDefinitionAtTheEndIsRefused) {
  expect_failure(expand({"-#define", "X", "a"}), "Unbalanced -#define -#end pair");
  expect_failure(expand({"-#define", "X", "-#define", "Y", "-#end"}), "Unbalanced -#define -#end pair");
  expect_failure(expand({"-#define"}), "Unbalanced -#define -#end pair");
}

Texts with_macros(int count) {
  Texts arguments;
  for (int i = 0; i < count; ++i) {
    for (const std::string& token :
         {std::string("-#define"), "M" + std::to_string(i), std::string("-#end")}) {
      arguments.push_back(token);
    }
  }
  return arguments;
}

TEST_F(ClCopy, SixtyMacrosAreAcceptedAndTheNextIsRefused) {
  EXPECT_EQ(expanded(with_macros(60)), Texts{});
  expect_failure(expand(with_macros(61)), "Too many macros defined");
}

TEST_F(ClCopy, EverySlotMayBeUsed) {
  EXPECT_EQ(expand(Texts(9, "a"), 10).arguments, Texts(9, "a"));
  expect_failure(expand(Texts(10, "a"), 10), "Too many arguments generated");
}

TEST_F(ClCopy, DefinitionUsesItsSlotsForGood) {
  // The name of the command, three arguments and the two tokens of the definition.
  EXPECT_EQ(expand({"-#define", "K", "a", "-#end", "K", "b", "c"}, 6).arguments, (Texts{"a", "b", "c"}));
  expect_failure(expand({"-#define", "K", "a", "-#end", "K", "b", "c"}, 5), "Too many arguments generated");
}

TEST_F(ClCopy, DefinitionMovesEvenWhenOldAndNewPlaceOverlap) {
  EXPECT_EQ(expand({"-#define", "K", "a", "b", "c", "-#end", "K"}, 8).arguments, (Texts{"a", "b", "c"}));
  EXPECT_EQ(expand({"x", "-#define", "K", "-#end", "K"}, 3).arguments, Texts{"x"});
}

TEST_F(ClCopy, TextBufferMayBeFilledExactly) {
  EXPECT_EQ(expand({"abc", "de"}, 10, 6 + 4 + 3).arguments, (Texts{"abc", "de"}));
  expect_failure(expand({"abc", "de"}, 10, 6 + 4 + 2), "Command line buffer overflow");
}

TEST_F(ClCopy, ArgumentWithBlanksStaysOneWhereAnIncludeFileSplitsIt) {
  EXPECT_EQ(expanded({"a b c"}), Texts{"a b c"});
  EXPECT_EQ(expanded({"-#include", file("a b c\n")}), (Texts{"a", "b", "c"}));
}

TEST_F(ClCopy, IncludeFileMayDefineMacrosAndIncludeOthers) {
  const std::string inner = file("-#define K -k -c 0-1\n-#end\n");
  const std::string outer = file("-#include " + inner + "\nK -U\n");
  EXPECT_EQ(expanded({"-#include", outer, "K"}), (Texts{"-k", "-c", "0-1", "-u", "-k", "-c", "0-1"}));
  EXPECT_EQ(test::open_files(), 0);
}

TEST_F(ClCopy, IncludeInADefinitionHappensWhenTheMacroIsExpanded) {
  const std::string name = file("early\n");
  EXPECT_EQ(expanded({"-#define", "K", "-#include", name, "-#end"}), Texts{});
  write(name, "late\n");
  EXPECT_EQ(expanded({"-#define", "K", "-#include", name, "-#end", "K"}), Texts{"late"});
}

TEST_F(ClCopy, LastIncludeLineWithoutLineBreakIsIgnored) {
  EXPECT_EQ(expanded({"-#include", file("-c 0-2\n-u")}), (Texts{"-c", "0-2"}));
}

TEST_F(ClCopy, IncludeWithoutAFileNameIsRefused) {
  expect_failure(expand({"-#include"}), "Include must be followed by a file name");
  expect_failure(expand({"-#include", file("-u\n-#include\n")}), "Include must be followed by a file name");
  // The name is looked for where the directive stands, not behind the macro's use.
  expect_failure(expand({"-#define", "K", "-#include", "-#end", "K", "name"}),
                 "Include must be followed by a file name");
}

TEST_F(ClCopy, IncludeFileThatCannotBeOpenedIsRefused) {
  expect_failure(expand({"-#include", "no/such/include/file"}), "Couldn't open include file");
  expect_failure(expand({"-#include", file("-#include no/such/include/file\n")}),
                 "Couldn't open include file");
}

TEST_F(ClCopy, IncludeFileThatCannotBeReadIsRefused) {
  const std::string name = file("-u\n");
  test::g_fail_reads = true;
  expect_failure(expand({"-#include", name}), "Couldn't open include file");
}

TEST_F(ClCopy, SevenNestedIncludesWorkAndTheEighthIsRefused) {
  std::string name = file("leaf\n");
  for (int level = 2; level <= 7; ++level) name = file("-#include " + name + "\n");
  EXPECT_EQ(expanded({"-#include", name}), Texts{"leaf"});
  expect_failure(expand({"-#include", file("-#include " + name + "\n")}), "Command nesting too deep");
}

TEST_F(ClCopy, MacrosAndIncludesShareTheNestingDepth) {
  Texts arguments;
  const auto define = [&](const std::string& name, const Texts& body) {
    arguments.insert(arguments.end(), {"-#define", name});
    arguments.insert(arguments.end(), body.begin(), body.end());
    arguments.emplace_back("-#end");
  };
  // Each names the next before that one exists, so nothing is expanded at definition time.
  for (char c = 'A'; c < 'G'; ++c) define(std::string(1, c), {std::string(1, static_cast<char>(c + 1))});
  define("G", {"-#include", file("leaf\n")});
  Texts seven = arguments;
  seven.emplace_back("B");
  EXPECT_EQ(expanded(seven), Texts{"leaf"});
  Texts eight = arguments;
  eight.emplace_back("A");
  expect_failure(expand(eight), "Command nesting too deep");
}

TEST_F(ClCopy, FileThatIncludesItselfIsRefused) {
  const std::string name = file("");
  write(name, "-#include " + name + "\n");
  expect_failure(expand({"-#include", name}), "Command nesting too deep");
}

TEST_F(ClCopy, IncludeTokensCostTheirTextTwice) {
  const std::string name = file("abcd\n");
  // Command name 6, scan 5, stored 5.
  EXPECT_EQ(expand({"-#include", name}, 10, 16).arguments, Texts{"abcd"});
  expect_failure(expand({"-#include", name}, 10, 15), "Too many characters in command line");
  expect_failure(expand({"-#include", name}, 10, 10), "Too many characters in command line");
}

TEST_F(ClCopy, ManyDroppedIncludeTokensEndWithAnErrorInsideTheBuffer) {
  std::string content;
  for (int i = 0; i < 700; ++i) content += "-#define -#end\n";
  expect_failure(expand({"-#include", file(content)}), "Too many characters in command line");
}

TEST_F(ClCopy, ManyShortIncludeTokensEndWithAnErrorInsideTheBuffer) {
  std::string content;
  for (int i = 0; i < 2044; ++i) content += "a\n";
  expect_failure(expand({"-#include", file(content)}), "Too many characters in command line");
}

TEST_F(ClCopy, ShortIncludeTokensFillTheBufferExactly) {
  std::string content;
  for (int i = 0; i < 2041; ++i) content += "a\n";
  // 6 for the command name and 4 for each token, of 8172.
  const Expanded result = expand({"-#include", file(content)});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.arguments, Texts(2041, "a"));
}

TEST_F(ClCopy, IncludeFilesStayOpenForNobodyAfterAnErrorInTheMiddle) {
  const std::string inner = file("-#end\nmore\n");
  expect_failure(expand({"-#include", file("-#include " + inner + "\nmore\n")}),
                 "-#endif with no corresponding -#define");
}

bool g_nested_done;
std::string g_nested_include;
int g_nested_status;

// Runs another expansion, with an include file of its own, while an error is being shown.
std::int32_t expanding_display(const char* text) {
  if (!g_nested_done) {
    g_nested_done = true;
    const char* argv[] = {"fsort", "-#include", g_nested_include.c_str(), nullptr};
    const char* out[21];
    char area[200];
    std::int32_t count = 20;
    g_nested_status = cl_copy(&count, out, 3, argv, sizeof area, area);
  }
  return test::record_display(text);
}

TEST_F(ClCopy, ExpansionInsideADisplayCallbackDisturbsNothing) {
  g_nested_done = false;
  g_nested_status = -1;
  g_nested_include = file("-u\n");
  const std::string name = file("-#end\n");
  osdll_display_register(expanding_display);
  const Expanded result = expand({"-#include", name});
  osdll_display_register(test::record_display);
  EXPECT_EQ(g_nested_status, 0);
  expect_failure(result, "-#endif with no corresponding -#define");
}

// Random command lines over the directives and a few names, with small and odd sizes: whatever they are, the
// result is 0 or 1 and no byte outside the areas is touched (sanitizer builds see it).
TEST_F(ClCopy, RandomTokensNeverLeaveTheAreas) {
  const char* const words[] = {"-#define", "-#define", "-#end", "-#end", "A",
                               "B",        "C",        "-X",    "",      "long-token"};
  std::uint32_t state = 12345;
  const auto random = [&](std::uint32_t n) {
    state = state * 1664525u + 1013904223u;
    return (state >> 16) % n;
  };
  int succeeded = 0;
  for (int round = 0; round < 3000; ++round) {
    Texts arguments;
    for (std::uint32_t i = random(25); i > 0; --i) arguments.emplace_back(words[random(10)]);
    test::clear_displayed();
    const Expanded result = expand(arguments, static_cast<std::int32_t>(1 + random(40)), 6 + random(200));
    if (result.status == 0) {
      ++succeeded;
      EXPECT_EQ(test::displayed(), Texts{});
    } else {
      ASSERT_EQ(test::displayed().size(), 2u);
      EXPECT_EQ(test::displayed()[1], kTitle);
    }
  }
  EXPECT_GT(succeeded, 100);
  EXPECT_LT(succeeded, 2900);
  test::clear_displayed();
}

}  // namespace
}  // namespace fsort
