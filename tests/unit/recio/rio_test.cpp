// Record input and output as a whole, and file names.
#include <cstring>

#include "recio_fixture.h"

namespace fsort::test {
namespace {

class RioInit : public RecioTest {};

TEST_F(RioInit, ConsumesEveryArgumentOfRecordInputAndOutput) {
  const std::string a = folder().make("a", "a\n");
  set_up({"-rt", "600", "-in", a, a, "-out", folder().path("o"), "-bs", "4", "-ibs", "8", "-obs", "16"});
  EXPECT_EQ(instance().rin.ibs, 8);
  EXPECT_EQ(instance().rout.obs, 16);
  EXPECT_EQ(description().input_named, 1);
  EXPECT_EQ(description().output_named, 1);
}

TEST_F(RioInit, LetsTheCommonBufferSizeServeBothSides) {
  set_up({"-bs", "16", input("a", "a\n")});
  EXPECT_EQ(instance().rin.ibs, 16);
  EXPECT_EQ(instance().rout.obs, 16);
}

TEST_F(RioInit, LetsTheOwnBufferSizeOfOneSideStandBesideTheCommonOne) {
  set_up({"-bs", "16", "-ibs", "8", input("a", "a\n")});
  EXPECT_EQ(instance().rin.ibs, 8);
  EXPECT_EQ(instance().rout.obs, 16);
}

TEST_F(RioInit, ConsumesTheCommonBufferSizeOptionAlsoWithoutOperand) {
  set_up({"-bs"});
  EXPECT_EQ(instance().rout.obs, 60);
}

TEST_F(RioInit, LeavesASecondCommonBufferSizeToBeReported) {
  ArgVector args{"-bs", "4", "-bs", "8"};
  ASSERT_EQ(init(args), 0);
  EXPECT_EQ(args.left(), (Texts{"-bs", "8"}));
}

TEST_F(RioInit, AlwaysSuppliesReaderAndWriter) {
  set_up({});
  EXPECT_EQ(description().reader, read_text);
  EXPECT_EQ(description().writer, rout_write);
  EXPECT_EQ(description().input_named, 0);
  EXPECT_EQ(description().output_named, 0);
}

TEST_F(RioInit, ReadsBothFilesWhenTheOutputNameFollowsTheList) {
  const std::string a = folder().make("a", "a\n");
  const std::string b = folder().make("b", "b\n");
  ArgVector args{"-in", a, b, ">" + folder().path("out"), "-q"};
  ASSERT_EQ(init(args), 0);
  EXPECT_EQ(args.left(), Texts{"-q"});
  EXPECT_EQ(read_records(), (Texts{"a\n", "b\n"}));
}

// Every allocation and every opening fails in turn; each time all is given back before rio_init returns.
TEST_F(RioInit, GivesEverythingBackWheneverSomethingFails) {
  const Texts arguments{input("f1", "a\n"), input("f2", "b\n"), ">" + folder().path("out")};
  const std::size_t blocks = faults().heap_blocks();
  for (const OsCall call : {OsCall::kHeapAlloc, OsCall::kOpen, OsCall::kEvent, OsCall::kClose}) {
    bool struck = true;
    int failures = 0;
    for (std::uint64_t n = 1; struck; ++n) {
      faults().fail(call, n, kErrorNotEnoughMemory);
      ArgVector args(arguments);
      const int status = init(args);
      struck = faults().struck();
      faults().clear();
      EXPECT_EQ(status, struck ? 1 : 0);
      if (struck) {
        ++failures;
        EXPECT_EQ(displayed().back(), kInitTitle);
        EXPECT_EQ(faults().heap_blocks(), blocks);
        EXPECT_EQ(faults().open_files(), 0u);
        EXPECT_EQ(faults().events(), 0u);
      }
      run_windups();
    }
    EXPECT_GT(failures, 0);
  }
  EXPECT_EQ(folder().content("out"), "<missing>");
}

TEST_F(RioInit, LeavesNoTrapBehind) {
  set_up({});
  EXPECT_EQ(trap_depth(), 0u);
  EXPECT_EQ(refused({"-rf"}), init_error("-rf switch must specify record size"));
  EXPECT_EQ(trap_depth(), 0u);
}

void other_windup(Instance* /*instance*/) {}

TEST_F(RioInit, FailsCleanlyWhenOnlyTheReaderFindsRoomForItsWindup) {
  for (int i = 1; i < kMaxWindups; ++i) ASSERT_EQ(ExitRegister(other_windup), 0);
  EXPECT_EQ(refused({input("in", "a\n")}), init_error("Couldn't register input windup"));
  EXPECT_EQ(faults().open_files(), 0u);
}

class RioFname : public RecioTest {};

TEST_F(RioFname, TurnsSlashesIntoBackslashes) {
  char target[32];
  rio_fname("a/b\\c.d", target, sizeof target);
  EXPECT_STREQ(target, "a\\b\\c.d");
  rio_fname("", target, sizeof target);
  EXPECT_STREQ(target, "");
}

TEST_F(RioFname, RefusesANameOfTheLimitOrMore) {
  static char target[8];
  const Raised fits = raised([] { rio_fname("a/23456", target, sizeof target); });
  EXPECT_FALSE(fits.caught);
  EXPECT_STREQ(target, "a\\23456");
  const Raised longer = raised([] { rio_fname("a/234567", target, sizeof target); });
  EXPECT_EQ(longer.texts, Texts{"a/234567:file name too long\n"});
  EXPECT_STREQ(target, "a\\23456");
}

TEST_F(RioFname, HasNoLimitForInputNames) {
  static char target[1001];
  static const std::string name(1000, 'n');
  const Raised r = raised([] { rio_fname(name.c_str(), target, kNoNameLimit); });
  EXPECT_FALSE(r.caught);
  EXPECT_EQ(target, name);
}

}  // namespace
}  // namespace fsort::test
