// Names that somebody may have meant.
#include "nearest.h"

#include <gtest/gtest.h>

#include <array>
#include <string_view>

namespace fsort_tool {
namespace {

TEST(EditDistance, CountsLettersPutInLeftOutExchangedAndSwapped) {
  EXPECT_EQ(edit_distance("same", "same"), 0U);
  EXPECT_EQ(edit_distance("", "abc"), 3U);
  EXPECT_EQ(edit_distance("out", "ot"), 1U);
  EXPECT_EQ(edit_distance("out", "outt"), 1U);
  EXPECT_EQ(edit_distance("out", "oat"), 1U);
  EXPECT_EQ(edit_distance("out", "otu"), 1U);
  EXPECT_EQ(edit_distance("progress", "porgres"), 2U);
}

TEST(EditDistance, DoesNotKnowUpperCase) { EXPECT_EQ(edit_distance("--Check", "--check"), 0U); }

TEST(Nearest, FindsASlipOfTheHandAndNothingElse) {
  constexpr std::array<std::string_view, 6> names = {"-u", "-out", "-in", "-k", "--progress", "--check"};
  EXPECT_EQ(nearest("-ou", names), "-out");
  EXPECT_EQ(nearest("-inn", names), "-in");
  EXPECT_EQ(nearest("--porgres", names), "--progress");
  EXPECT_EQ(nearest("--chek", names), "--check");
  EXPECT_EQ(nearest("-zzz", names), "");
  EXPECT_EQ(nearest("-x", names), "") << "every letter is one edit from every other";
  EXPECT_EQ(nearest("", names), "");
}

}  // namespace
}  // namespace fsort_tool
