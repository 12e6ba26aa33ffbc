// Finding options, telling operands, applying functions to ranges.
#include <bitset>

#include "cmdline/arg.h"
#include "support/instance_fixture.h"

namespace fsort {
namespace {

using test::ArgVector;

std::bitset<256> g_called;
std::uint32_t g_calls;

void note(std::uint8_t value) {
  g_called.set(value);
  ++g_calls;
}

class ArgInvoke : public test::InstanceFixture {
 protected:
  void SetUp() override {
    InstanceFixture::SetUp();
    g_called.reset();
    g_calls = 0;
  }
  static std::uint32_t invoke(ArgVector& args, std::uint32_t index) {
    return arg_invoke(args.argc(), args.argv(), index, note);
  }
};

TEST(ArgFind, NeverMatchesTheCommandName) {
  ArgVector args{"a", "fsort"};
  EXPECT_EQ(arg_find(args.argc(), args.argv(), "fsort"), 2u);
  ArgVector none{"a"};
  EXPECT_EQ(arg_find(none.argc(), none.argv(), "fsort"), kArgNotFound);
}

TEST(ArgFind, GivesTheFirstOfSeveral) {
  ArgVector args{"x", "-u", "-u"};
  EXPECT_EQ(arg_find(args.argc(), args.argv(), "-u"), 2u);
}

TEST(ArgFind, MatchesTheWholeArgumentOnly) {
  ArgVector args{"-wb", "-W", "-"};
  EXPECT_EQ(arg_find(args.argc(), args.argv(), "-w"), kArgNotFound);
  EXPECT_EQ(kArgNotFound, 0xFFFFFFFFu);
}

TEST(ArgOperand, RefusesWhatLiesOutsideTheArguments) {
  ArgVector args{"name"};
  EXPECT_TRUE(arg_operand(args.argc(), args.argv(), 1));
  EXPECT_FALSE(arg_operand(args.argc(), args.argv(), 2));
  EXPECT_FALSE(arg_operand(0, args.argv(), 0));
  EXPECT_FALSE(arg_operand(-1, args.argv(), 0));
}

TEST(ArgOperand, RefusesOptionsGroupsAndEmptyArguments) {
  ArgVector args{"-k", "(", "", "name", ")", "<in", ">out"};
  const auto operand = [&](std::uint32_t i) { return arg_operand(args.argc(), args.argv(), i); };
  EXPECT_FALSE(operand(1));
  EXPECT_FALSE(operand(2));
  EXPECT_FALSE(operand(3));
  EXPECT_TRUE(operand(4));
  EXPECT_TRUE(operand(5));
  EXPECT_TRUE(operand(6));
  EXPECT_TRUE(operand(7));
}

TEST(ArgOperand, IsFalseOutsideTheVector) {
  ArgVector args{"a"};
  EXPECT_TRUE(arg_operand(args.argc(), args.argv(), 1));
  EXPECT_FALSE(arg_operand(args.argc(), args.argv(), 2));
  EXPECT_FALSE(arg_operand(args.argc(), args.argv(), kArgNotFound));
  EXPECT_FALSE(arg_operand(0, args.argv(), 0));
}

TEST(ArgBlank, ReplacesTheArgumentByTheEmptyString) {
  ArgVector args{"-u", "a"};
  arg_blank(args.argv(), 1);
  EXPECT_EQ(args.at(1), "");
  EXPECT_EQ(args.at(2), "a");
}

TEST_F(ArgInvoke, CallsOnceForEachValueOfEachRange) {
  ArgVector args{"'a'-'c'", "9", "0x20", "-x"};
  EXPECT_EQ(invoke(args, 1), 4u);
  EXPECT_EQ(g_calls, 5u);
  for (const unsigned value : {97u, 98u, 99u, 9u, 32u}) EXPECT_TRUE(g_called.test(value)) << value;
}

TEST_F(ArgInvoke, ClampsTheEndTo255) {
  ArgVector args{"200-300"};
  EXPECT_EQ(invoke(args, 1), 2u);
  EXPECT_EQ(g_calls, 56u);
  EXPECT_TRUE(g_called.test(200) && g_called.test(255) && !g_called.test(199));
}

TEST_F(ArgInvoke, TakesAnOpenEndAs255) {
  ArgVector args{"254-"};
  EXPECT_EQ(invoke(args, 1), 2u);
  EXPECT_EQ(g_calls, 2u);
}

TEST_F(ArgInvoke, CallsNothingForAnOpenStart) {
  ArgVector args{"-5"};
  EXPECT_EQ(invoke(args, 1), 1u);
  EXPECT_EQ(g_calls, 0u);
}

TEST_F(ArgInvoke, ConsumesADescendingRangeWithoutACall) {
  ArgVector args{"5-3", "300", "7"};
  EXPECT_EQ(invoke(args, 1), 4u);
  EXPECT_EQ(g_calls, 1u);
  EXPECT_TRUE(g_called.test(7));
}

TEST_F(ArgInvoke, StopsAtAnEmptyArgument) {
  ArgVector args{"1", "", "2"};
  EXPECT_EQ(invoke(args, 1), 2u);
  EXPECT_EQ(g_calls, 1u);
}

TEST_F(ArgInvoke, StopsAtLettersOptionsGroupsAndNonRanges) {
  for (const char* stop : {"a", "Z-1", "-k", "(", "08", "1-2-3", "<in"}) {
    ArgVector args{"1", stop, "2"};
    EXPECT_EQ(invoke(args, 1), 2u) << stop;
  }
  EXPECT_EQ(g_calls, 7u);
}

TEST_F(ArgInvoke, GivesAnIndexBehindTheVectorBack) {
  ArgVector args{"1"};
  EXPECT_EQ(invoke(args, 2), 2u);
  EXPECT_EQ(g_calls, 0u);
}

}  // namespace
}  // namespace fsort
