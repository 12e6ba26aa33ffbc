// Error traps: nesting, display, traps left set, raises while an error is shown.
#include "support/error.h"

#include "memory_faults.h"
#include "support/osdll.h"

namespace fsort::test {
namespace {

class ErrorTrap : public SupportTest {};

struct None {};

int raise_fault(None&) { ErrorReturn(kErrorCode, "fault"); }
int leave_set(None&) {
  trap_leave_set();
  return 0;
}

TEST_F(ErrorTrap, AnswersWhatTheBodyReturned) {
  for (const int status : {0, 1, 7, -3}) {
    int argument = status;
    EXPECT_EQ(trap_run(
                  kTrapLevel, "Title", +[](int& s) { return s; }, argument),
              status);
  }
  EXPECT_EQ(trap_depth(), 0u);
  EXPECT_TRUE(displayed().empty());
}

TEST_F(ErrorTrap, StoresLevelAndTitleAndCountsWhileTheBodyRuns) {
  ErrorState* state = &instance().error;
  const int status = trap_run(
      2, "Title",
      +[](ErrorState*& e) {
        EXPECT_EQ(e->trap_depth, 1u);
        EXPECT_EQ(e->trap_result, 0);
        EXPECT_EQ(e->frames[0].level, 2);
        EXPECT_STREQ(e->frames[0].message, "Title");
        return 0;
      },
      state);
  EXPECT_EQ(status, 0);
}

TEST_F(ErrorTrap, ShowsTheTextThenItsTitleAndAnswersOne) {
  None none;
  EXPECT_EQ(trap_run(kTrapLevel, "Fsort Initialization", raise_fault, none), 1);
  EXPECT_EQ(displayed(), (Texts{"fault\n", "Fsort Initialization\n"}));
  EXPECT_EQ(trap_depth(), 0u);
  EXPECT_EQ(instance().error.trap_result, 1);
  EXPECT_EQ(instance().error.pending_messages, 0u);
}

struct Nested {
  int inner_status = -1;
  std::size_t shown_inside = 0;
  std::uint32_t depth_after = 0;
};

TEST_F(ErrorTrap, ErrorInANestedTrapShowsTextAndInnerTitleAndFailsTheInnerFunctionOnly) {
  Nested nested;
  const int status = trap_run(
      kTrapLevel, "Outer",
      +[](Nested& n) {
        None none;
        n.inner_status = trap_run(kTrapLevel, "Inner", raise_fault, none);
        n.shown_inside = displayed().size();
        n.depth_after = trap_depth();
        return 0;
      },
      nested);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(nested.inner_status, 1);
  EXPECT_EQ(nested.shown_inside, 2u);
  EXPECT_EQ(nested.depth_after, 1u);
  EXPECT_EQ(displayed(), (Texts{"fault\n", "Inner\n"}));
}

TEST_F(ErrorTrap, EachFurtherRaiseAddsItsOwnTextAndTitle) {
  None none;
  const int status = trap_run(
      kTrapLevel, "Error detected in fsort call",
      +[](None& n) -> int {
        if (trap_run(kTrapLevel, "Error detected reading text record", raise_fault, n) != 0) {
          ErrorReturn(kErrorCode, "Error encountered on reading record");
        }
        return 0;
      },
      none);
  EXPECT_EQ(status, 1);
  EXPECT_EQ(displayed(), (Texts{"fault\n", "Error detected reading text record\n",
                                "Error encountered on reading record\n", "Error detected in fsort call\n"}));
}

TEST_F(ErrorTrap, ErrorDisplayTwiceAfterOneFailureShowsTheMessagesOnce) {
  None none;
  EXPECT_EQ(trap_run(kTrapLevel, "Title", raise_fault, none), 1);
  ASSERT_EQ(displayed().size(), 2u);
  ErrorDisplay();
  ErrorDisplay();
  EXPECT_EQ(displayed().size(), 2u);
  EXPECT_FALSE(error_displaying());
}

TEST_F(ErrorTrap, CanBeSetAgainAndAgain) {
  None none;
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(trap_run(kTrapLevel, "Title", raise_fault, none), 1);
  EXPECT_EQ(displayed().size(), 2000u);
  EXPECT_EQ(trap_depth(), 0u);
}

TEST_F(ErrorTrap, SecondHalfStoresNothingWhenAnErrorCameBack) {
  None none;
  EXPECT_EQ(trap_run(kTrapLevel, "Title", leave_set, none), 0);
  EXPECT_EQ(_ErrorTrap(5, "Other", 1), 1);
  EXPECT_STREQ(instance().error.frames[0].message, "Title");
  EXPECT_EQ(_ErrorTrap(5, "Other", 0), 0);
  EXPECT_STREQ(instance().error.frames[0].message, "Other");
  EXPECT_EQ(instance().error.frames[0].level, 5);
  ErrorInit();
  EXPECT_EQ(trap_depth(), 0u);
}

TEST_F(ErrorTrap, HigherLevelCatchesTheCodeToo) {
  None none;
  EXPECT_EQ(trap_run(2, "Level two", raise_fault, none), 1);
  EXPECT_EQ(displayed(), (Texts{"fault\n", "Level two\n"}));
}

TEST_F(ErrorTrap, RaisePassesATrapWhoseLevelIsBelowTheCode) {
  None none;
  const int status = trap_run(
      kTrapLevel, "Outer", +[](None& n) { return trap_run(0, "Level zero", raise_fault, n); }, none);
  EXPECT_EQ(status, 1);
  // The depth is not changed by the jump, so the display begins at the passed trap.
  EXPECT_EQ(displayed(), (Texts{"fault\n", "Level zero\n"}));
  EXPECT_EQ(trap_depth(), 1u);
  expected_traps_left_ = 1;
}

int nest(int& levels) {
  if (levels == 0) return 0;
  levels -= 1;
  return trap_run(kTrapLevel, "Nested", nest, levels);
}

int nest_and_raise(int& levels) {
  if (levels == 0) ErrorReturn(kErrorCode, "fault");
  levels -= 1;
  return trap_run(kTrapLevel, "Nested", nest_and_raise, levels);
}

TEST_F(ErrorTrap, SixteenTrapsNestAndTheInnermostCatches) {
  int levels = 16;
  EXPECT_EQ(nest_and_raise(levels), 1);
  EXPECT_EQ(displayed(), (Texts{"fault\n", "Nested\n"}));
}

TEST_F(ErrorTrap, SeventeenthTrapIsRaisedToTheSixteenth) {
  int levels = 17;
  EXPECT_EQ(nest(levels), 1);
  EXPECT_EQ(displayed(), (Texts{"Too many nested error traps\n", "Nested\n"}));
}

TEST_F(ErrorTrap, LeftSetKeepsItsPlaceAndIsMarkedStale) {
  None none;
  EXPECT_EQ(trap_run(kTrapLevel, "Left set", leave_set, none), 0);
  EXPECT_EQ(trap_depth(), 1u);
  EXPECT_EQ(instance().error.frames[0].stale, 1);
  EXPECT_EQ(trap_run(kTrapLevel, "Above", raise_fault, none), 1);
  EXPECT_EQ(displayed(), (Texts{"fault\n", "Above\n"}));
  EXPECT_EQ(trap_depth(), 1u);
  trap_reset();
  EXPECT_EQ(trap_depth(), 0u);
}

TEST_F(ErrorTrap, TwoTrapsLeftSetByNestedFunctionsCountAsTwo) {
  None none;
  const int status = trap_run(
      kTrapLevel, "Outer",
      +[](None& n) {
        EXPECT_EQ(trap_run(kTrapLevel, "Inner", leave_set, n), 0);
        EXPECT_EQ(trap_depth(), 2u);
        trap_leave_set();
        return 1;
      },
      none);
  EXPECT_EQ(status, 1);
  EXPECT_EQ(trap_depth(), 2u);
  EXPECT_EQ(instance().error.frames[0].stale, 1);
  EXPECT_EQ(instance().error.frames[1].stale, 1);
  trap_reset();
}

TEST_F(ErrorTrap, PopTakesOneOffEvenWhenADeeperTrapWasLeftSet) {
  None none;
  EXPECT_EQ(
      trap_run(
          kTrapLevel, "Outer", +[](None& n) { return trap_run(kTrapLevel, "Inner", leave_set, n); }, none),
      0);
  EXPECT_EQ(trap_depth(), 1u);
  EXPECT_EQ(instance().error.frames[0].stale, 1) << "its function has returned";
  trap_reset();
}

TEST_F(ErrorTrap, WishToStaySetIsForgottenByAnError) {
  None none;
  EXPECT_EQ(trap_run(
                kTrapLevel, "Title",
                +[](None&) -> int {
                  trap_leave_set();
                  ErrorReturn(kErrorCode, "fault");
                },
                none),
            1);
  EXPECT_EQ(trap_run(
                kTrapLevel, "Next", +[](None&) { return 0; }, none),
            0);
  EXPECT_EQ(trap_depth(), 0u);
}

TEST_F(ErrorTrap, RaiseOutsideEveryTrapEndsTheProcessWithAMessage) {
  EXPECT_DEATH(ErrorReturn(kErrorCode, "lost text"), "outside every error trap: lost text");
}

#if !defined(NDEBUG)  // the check is an assertion
TEST_F(ErrorTrap, RaiseNeverJumpsToAStaleTrap) {
  None none;
  EXPECT_EQ(trap_run(kTrapLevel, "Left set", leave_set, none), 0);
  EXPECT_DEATH(ErrorReturn(kErrorCode, "fault"), "stale|outside every error trap");
  trap_reset();
}
#endif

TEST_F(ErrorTrap, ResetForgetsTrapsAndPendingMessages) {
  None none;
  EXPECT_EQ(trap_run(kTrapLevel, "Left set", leave_set, none), 0);
  EXPECT_EQ(trap_run(kTrapLevel, "Left set too", leave_set, none), 0);
  instance().error.pending_messages = 2;
  trap_reset();
  EXPECT_EQ(trap_depth(), 0u);
  ErrorDisplay();
  EXPECT_TRUE(displayed().empty());
}

TEST_F(ErrorTrap, RaiseWithoutATextShowsNothing) {
  None none;
  EXPECT_EQ(trap_run(
                kTrapLevel, "Title", +[](None&) -> int { ErrorReturn(kErrorCode, nullptr); }, none),
            1);
  EXPECT_TRUE(displayed().empty());
}

// Display functions that raise, as a callback does that aborts the sort.
int g_calls;

std::int32_t display_always_raising(const char* text) {
  record_display(text);
  ++g_calls;
  EXPECT_TRUE(error_displaying());
  osdll_error("aborted");
}

std::int32_t display_raising_once(const char* text) {
  record_display(text);
  if (++g_calls == 1) osdll_error("aborted");
  return 0;
}

std::int32_t display_raising_without_text(const char* text) {
  record_display(text);
  ++g_calls;
  ErrorReturn(kErrorCode, nullptr);
}

class RaiseWhileShowing : public SupportTest {
 protected:
  void SetUp() override {
    SupportTest::SetUp();
    g_calls = 0;
  }
  void TearDown() override {
    osdll_display_register(record_display);
    SupportTest::TearDown();
  }
};

TEST_F(RaiseWhileShowing, EndsAfterTheSecondTextWhenEveryDisplayRaises) {
  None none;
  osdll_display_register(display_always_raising);
  EXPECT_EQ(trap_run(kTrapLevel, "Title", raise_fault, none), 1);
  EXPECT_EQ(displayed(), (Texts{"fault\n", "aborted\n"}));
  EXPECT_EQ(trap_depth(), 0u);
  EXPECT_FALSE(error_displaying());
  EXPECT_EQ(trap_run(kTrapLevel, "Title", raise_fault, none), 1);
  EXPECT_EQ(g_calls, 4) << "a later error is shown in the same way";
}

TEST_F(RaiseWhileShowing, ShowsTheNewTextAndTheTitleInsteadOfTheRest) {
  None none;
  osdll_display_register(display_raising_once);
  EXPECT_EQ(trap_run(kTrapLevel, "Title", raise_fault, none), 1);
  EXPECT_EQ(displayed(), (Texts{"fault\n", "aborted\n", "Title\n"}));
}

TEST_F(RaiseWhileShowing, WithoutATextEndsTheDisplay) {
  None none;
  osdll_display_register(display_raising_without_text);
  EXPECT_EQ(trap_run(kTrapLevel, "Title", raise_fault, none), 1);
  EXPECT_EQ(displayed(), (Texts{"fault\n"}));
  EXPECT_EQ(g_calls, 1);
}

std::int32_t display_with_inner_trap(const char* text) {
  record_display(text);
  if (++g_calls > 1) return 0;
  None none;
  EXPECT_EQ(trap_run(kTrapLevel, "Inner", raise_fault, none), 1);
  EXPECT_TRUE(error_displaying());
  return 0;
}

TEST_F(RaiseWhileShowing, BelongsToTheInnerTrapWhenTheCallbackSetOne) {
  None none;
  osdll_display_register(display_with_inner_trap);
  EXPECT_EQ(trap_run(
                kTrapLevel, "Title", +[](None&) -> int { ErrorReturn(kErrorCode, "outer"); }, none),
            1);
  EXPECT_EQ(displayed(), (Texts{"outer\n", "fault\n", "Inner\n", "Title\n"}));
}

#ifdef NDEBUG
TEST_F(ErrorTrap, ReleaseBuildPassesAStaleTrapOverToTheLiveOneBelow) {
  None none;
  const int status = trap_run(
      kTrapLevel, "Live",
      +[](None& n) -> int {
        (void)trap_run(kTrapLevel, "Left set", leave_set, n);
        ErrorReturn(kErrorCode, "fault");
      },
      none);
  EXPECT_EQ(status, 1);
  EXPECT_EQ(displayed(), (Texts{"fault\n", "Left set\n"}));
  trap_reset();
}
#endif

}  // namespace
}  // namespace fsort::test
