// Names of work files.
#include "sublist/work_name.h"

#include <map>
#include <string>

#include "platform/os.h"
#include "support/instance_fixture.h"

namespace fsort {
namespace {

using test::Raised;
using test::raised;
using test::Texts;

std::map<std::string, std::string> g_environment;

const char* fake_env(const char* name) {
  const auto found = g_environment.find(name);
  return found == g_environment.end() ? nullptr : found->second.c_str();
}

class WorkName : public test::InstanceFixture {
 protected:
  void SetUp() override {
    g_environment.clear();
    table_ = kSystemOs;
    table_.get_env = fake_env;
    os = &table_;
    InstanceFixture::SetUp();
  }
  void TearDown() override {
    InstanceFixture::TearDown();
    os = &kSystemOs;
  }
  // The name of file 7 with this -w directory (null: not given) in instance number 42.
  std::string name_in(const char* directory) {
    work_name_prefix(state_, directory, 42);
    return mk_name(state_, 7);
  }
  Raised prefix(const char* directory) {
    return raised([&] { work_name_prefix(state_, directory, 42); });
  }
  SublistState state_{};

 private:
  OsTable table_{};
};

TEST_F(WorkName, TrailingSeparatorsBecomeOneBackslash) {
  for (const char* directory : {"spool", "spool/", "spool\\", "spool\\/\\//", "spool////"}) {
    EXPECT_EQ(name_in(directory), "spool\\wk24.007") << directory;
  }
  EXPECT_EQ(name_in("/a/b"), "/a/b\\wk24.007") << "separators inside stay";
}

TEST_F(WorkName, RootDirectoryKeepsItsSeparator) {
  EXPECT_EQ(name_in("/"), "\\wk24.007");
  EXPECT_EQ(name_in("c:\\"), "c:\\wk24.007");
}

TEST_F(WorkName, EmptyDirectoryIsTheCurrentOne) { EXPECT_EQ(name_in(""), "wk24.007"); }

TEST_F(WorkName, WithoutTheOptionTheEnvironmentNamesTheDirectory) {
  EXPECT_EQ(name_in(nullptr), "wk24.007") << "nothing set: the current directory";
  g_environment["TMP"] = "third";
  EXPECT_EQ(name_in(nullptr), "third\\wk24.007");
  g_environment["TMPDIR"] = "second/";
  EXPECT_EQ(name_in(nullptr), "second\\wk24.007");
  g_environment["TEMP"] = "first";
  EXPECT_EQ(name_in(nullptr), "first\\wk24.007");
  EXPECT_EQ(name_in(""), "wk24.007") << "the option wins, even without a name";
}

TEST_F(WorkName, OptionDirectoryOf130CharactersIsAcceptedAnd131Refused) {
  const std::string longest(130, 'd');
  EXPECT_EQ(name_in(longest.c_str()), longest + "\\wk24.007");
  static const std::string too_long(131, 'd');
  EXPECT_EQ(prefix(too_long.c_str()).texts, Texts{"Temporary directory name too long\n"});
}

TEST_F(WorkName, EnvironmentDirectoryOf125CharactersIsAcceptedAnd126Refused) {
  g_environment["TEMP"] = std::string(125, 'd');
  EXPECT_EQ(name_in(nullptr), std::string(125, 'd') + "\\wk24.007");
  g_environment["TEMP"] = std::string(126, 'd');
  EXPECT_EQ(prefix(nullptr).texts, Texts{"Name of directory too long. Check environment variables\n"});
}

TEST_F(WorkName, InstanceNumberGivesItsFiveLowestDigitsLowestFirst) {
  const std::pair<std::uint64_t, const char*> cases[] = {
      {94123456789, "wk98765.001"},
      {12345, "wk54321.001"},
      {100000, "wk00000.001"},
      {70, "wk07.001"},
      {5, "wk5.001"},
      {0, "wk.001"},
  };
  for (const auto& [number, name] : cases) {
    work_name_prefix(state_, "", number);
    EXPECT_STREQ(mk_name(state_, 1), name) << number;
  }
}

TEST_F(WorkName, InstanceNumberIsTheAddressOfTheCurrentInstance) {
  EXPECT_EQ(sublist_instance_number(), reinterpret_cast<std::uintptr_t>(&instance()));
}

TEST_F(WorkName, FileNumberIsWrittenOverTheRightEndOfThreeZeros) {
  work_name_prefix(state_, "", 0);
  const std::pair<std::uint32_t, const char*> cases[] = {
      {7, "wk.007"},   {42, "wk.042"},    {123, "wk.123"},     {0, "wk.000"},
      {9, "wk.009"},   {10, "wk.010"},    {99, "wk.099"},      {100, "wk.100"},
      {999, "wk.999"}, {1234, "wk.1234"}, {65535, "wk.65535"}, {4294967295u, "wk.4294967295"}};
  for (const auto& [number, name] : cases) EXPECT_STREQ(mk_name(state_, number), name);
  EXPECT_STREQ(mk_name(state_, 7), "wk.007") << "a longer number before leaves nothing behind";
}

TEST_F(WorkName, LongestNameFitsItsArea) {
  const std::string directory(130, 'd');
  work_name_prefix(state_, directory.c_str(), 99999);
  const std::string name = mk_name(state_, 4294967295u);
  EXPECT_EQ(name, directory + "\\wk99999.4294967295");
  EXPECT_LT(name.size(), sizeof state_.path);
}

std::string digits_of(std::uint32_t value, std::uint32_t base) {
  std::string area(40, '#');
  const std::uint32_t count = pitoa(value, area.data(), base);
  EXPECT_EQ(area.substr(count), std::string(40 - count, '#')) << "no terminator is written";
  return area.substr(0, count);
}

TEST(Pitoa, WritesTheDigitsWithoutATerminator) {
  EXPECT_EQ(digits_of(7, 10), "7");
  EXPECT_EQ(digits_of(42, 10), "42");
  EXPECT_EQ(digits_of(1230, 10), "1230");
  EXPECT_EQ(digits_of(4294967295u, 10), "4294967295");
}

TEST(Pitoa, WritesNothingForZero) { EXPECT_EQ(digits_of(0, 10), ""); }

TEST(Pitoa, WritesOtherBases) {
  EXPECT_EQ(digits_of(10, 2), "1010");
  EXPECT_EQ(digits_of(0xBEEF, 16), "beef");
}

}  // namespace
}  // namespace fsort
