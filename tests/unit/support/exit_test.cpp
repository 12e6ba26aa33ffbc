// The windup list: registration, order, errors inside a windup.
#include "support/exit.h"

#include "memory_faults.h"
#include "support/osdll.h"

namespace fsort::test {
namespace {

std::string g_order;
Instance* g_seen;

void windup_a(Instance* instance) {
  g_order += 'a';
  g_seen = instance;
}
void windup_b(Instance*) { g_order += 'b'; }
void windup_c(Instance*) { g_order += 'c'; }
void windup_raising(Instance*) {
  g_order += 'x';
  osdll_error("%s cannot be closed", "file");
}
void windup_registering(Instance*) {
  g_order += 'r';
  EXPECT_EQ(ExitRegister(windup_c), 0);
}

class ExitList : public SupportTest {
 protected:
  void SetUp() override {
    SupportTest::SetUp();
    g_order.clear();
    g_seen = nullptr;
  }
};

TEST_F(ExitList, RunsWindupsRegisteredFirstSecondThirdAsThirdSecondFirst) {
  EXPECT_EQ(ExitRegister(windup_a), 0);
  EXPECT_EQ(ExitRegister(windup_b), 0);
  EXPECT_EQ(ExitRegister(windup_c), 0);
  ExitWindup();
  EXPECT_EQ(g_order, "cba");
  EXPECT_EQ(g_seen, &instance());
  EXPECT_EQ(instance().exit.windup_count, 0);
  EXPECT_TRUE(displayed().empty());
}

TEST_F(ExitList, RefusesAThirteenthWindupAndLeavesTheListUnchanged) {
  for (int i = 0; i < 12; ++i) EXPECT_EQ(ExitRegister(i % 2 == 0 ? windup_a : windup_b), 0) << i;
  const ExitState before = instance().exit;
  EXPECT_NE(ExitRegister(windup_c), 0);
  EXPECT_EQ(instance().exit.windup_count, 12);
  for (int i = 0; i < 12; ++i) EXPECT_EQ(instance().exit.windups[i], before.windups[i]) << i;
  ExitWindup();
  EXPECT_EQ(g_order, "babababababa");
}

TEST_F(ExitList, RunsAWindupAsOftenAsItWasRegistered) {
  EXPECT_EQ(ExitRegister(windup_a), 0);
  EXPECT_EQ(ExitRegister(windup_a), 0);
  ExitWindup();
  EXPECT_EQ(g_order, "aa");
}

TEST_F(ExitList, EmptyListRunsNothing) {
  ExitWindup();
  EXPECT_EQ(g_order, "");
  EXPECT_EQ(trap_depth(), 0u);
}

TEST_F(ExitList, ErrorInsideAWindupIsShownUnderItsTitleAndEndsTheRun) {
  EXPECT_EQ(ExitRegister(windup_a), 0);
  EXPECT_EQ(ExitRegister(windup_raising), 0);
  EXPECT_EQ(ExitRegister(windup_b), 0);
  ExitWindup();
  EXPECT_EQ(g_order, "bx");
  EXPECT_EQ(displayed(), (Texts{"file cannot be closed\n", "Error During Windup\n"}));
  EXPECT_EQ(instance().exit.windup_count, 1);
  EXPECT_EQ(trap_depth(), 0u);
}

TEST_F(ExitList, WindupThatFailedIsNotRunAgain) {
  EXPECT_EQ(ExitRegister(windup_a), 0);
  EXPECT_EQ(ExitRegister(windup_raising), 0);
  ExitWindup();
  ExitWindup();
  EXPECT_EQ(g_order, "xa");
}

TEST_F(ExitList, WindupRegisteredByAWindupRunsNext) {
  EXPECT_EQ(ExitRegister(windup_a), 0);
  EXPECT_EQ(ExitRegister(windup_registering), 0);
  ExitWindup();
  EXPECT_EQ(g_order, "rca");
}

TEST_F(ExitList, WindupsRunAboveTrapsThatWereLeftSet) {
  struct None {
  } none;
  EXPECT_EQ(trap_run(
                kTrapLevel, "Left set",
                +[](None&) {
                  trap_leave_set();
                  return 0;
                },
                none),
            0);
  EXPECT_EQ(ExitRegister(windup_raising), 0);
  ExitWindup();
  EXPECT_EQ(displayed(), (Texts{"file cannot be closed\n", "Error During Windup\n"}));
  expected_traps_left_ = 1;
}

}  // namespace
}  // namespace fsort::test
