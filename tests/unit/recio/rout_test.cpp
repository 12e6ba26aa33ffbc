// Record output: options, writing, the end of the output, late failures.

#include "recio_fixture.h"

namespace fsort::test {
namespace {

const char* const kWriteTitle = "Error writing record to output\n";

class RoutTest : public RecioTest {
 protected:
  RoutState& state() { return instance().rout; }
  std::string out_argument() { return ">" + folder().path("out"); }
  Texts full_disk() {
    return {with_system_text("Space exhausted while writing output file", kErrorDiskFull), kWriteTitle};
  }
};

class RoutInit : public RoutTest {};

TEST_F(RoutInit, WritesToStandardOutputWhenNoFileIsNamed) {
  set_up({});
  EXPECT_EQ(description().output_named, 0);
  EXPECT_EQ(state().output, std_output());
  EXPECT_EQ(state().obs, 60);
}

struct NameCase {
  const char* name;
  Texts arguments;
};

class RoutInitNames : public RecioTest, public ::testing::WithParamInterface<NameCase> {};

TEST_P(RoutInitNames, AreTakenWithTheirOption) {
  set_up(GetParam().arguments);
  EXPECT_EQ(description().output_named, 1);
  EXPECT_STREQ(instance().rout.output_name, "dir\\out");
  EXPECT_EQ(instance().rout.output, nullptr);
}

INSTANTIATE_TEST_SUITE_P(Ways, RoutInitNames,
                         ::testing::Values(NameCase{"Attached", {">dir/out"}},
                                           NameCase{"Next", {">", "dir/out"}},
                                           NameCase{"Option", {"-out", "dir/out"}}),
                         [](const auto& p) { return std::string(p.param.name); });

struct RefusedName {
  const char* name;
  Texts arguments;
  const char* message;
};

class RoutInitRefuses : public RecioTest, public ::testing::WithParamInterface<RefusedName> {};

TEST_P(RoutInitRefuses, WithTheInitialisationTitle) {
  EXPECT_EQ(refused(GetParam().arguments), init_error(GetParam().message));
}

INSTANTIATE_TEST_SUITE_P(
    Names, RoutInitRefuses,
    ::testing::Values(
        RefusedName{"OptionAndSign", {"-out", "X", ">Y"}, "No more that one output file may be specified"},
        RefusedName{"SignTwice", {">X", ">Y"}, "No more that one output file may be specified"},
        RefusedName{"SecondWithoutName", {">X", "-out"}, "No more that one output file may be specified"},
        RefusedName{"SignAtTheEnd", {">"}, "-out or > require an argument"},
        RefusedName{"OptionAtTheEnd", {"-out"}, "-out or > require an argument"},
        RefusedName{"OptionBeforeOption", {"-out", "-q"}, "-out or > require an argument"},
        RefusedName{"EmptyNext", {">", ""}, "-out or > require an argument"},
        RefusedName{"AttachedHyphen", {">-x"}, "-out or > require an argument"},
        RefusedName{"AttachedParenthesis", {">(x"}, "-out or > require an argument"},
        RefusedName{"BufferTooLarge", {"-obs", "65536"}, "Argument \"65536\" too large"}),
    [](const auto& p) { return std::string(p.param.name); });

TEST_F(RoutInit, AcceptsANameOf128Characters) {
  const std::string name(128, 'n');
  set_up({">" + name});
  EXPECT_EQ(state().output_name, name);
}

TEST_F(RoutInit, RefusesANameOf129Characters) {
  const std::string name(129, 'n');
  EXPECT_EQ(refused({">" + name}), init_error(name + ":file name too long"));
}

struct BufferCase {
  const char* name;
  Texts arguments;
  std::uint16_t kb;
};

class RoutInitBuffers : public RecioTest, public ::testing::WithParamInterface<BufferCase> {};

TEST_P(RoutInitBuffers, HaveTheSizeThatTheOptionsSay) {
  set_up(GetParam().arguments);
  EXPECT_EQ(instance().rout.obs, GetParam().kb);
}

INSTANTIATE_TEST_SUITE_P(
    Options, RoutInitBuffers,
    ::testing::Values(BufferCase{"NoOption", {}, 60}, BufferCase{"OwnOption", {"-obs", "8"}, 8},
                      BufferCase{"CommonOption", {"-bs", "16"}, 16},
                      BufferCase{"OwnBeforeCommon", {"-obs", "8", "-bs", "16"}, 8},
                      BufferCase{"ZeroIs60", {"-obs", "0"}, 60},
                      BufferCase{"ZeroIs60BesideACommonOne", {"-obs", "0", "-bs", "16"}, 60},
                      BufferCase{"TooLargeIsCut", {"-obs", "5000"}, 1024}),
    [](const auto& p) { return std::string(p.param.name); });

TEST_F(RoutInit, LeavesABufferOptionWithoutOperandToBeReported) {
  ArgVector args{"-obs"};
  ASSERT_EQ(init(args), 0);
  EXPECT_EQ(args.left(), Texts{"-obs"});
}

TEST_F(RoutInit, ReportsThatItsBuffersCannotBeHad) {
  // The record buffer and two input buffers come first.
  faults().fail(OsCall::kHeapAlloc, 4, kErrorNotEnoughMemory);
  EXPECT_EQ(refused({}), init_error("Couldn't allocate output buffer"));
}

void other_windup(Instance* /*instance*/) {}

TEST_F(RoutInit, ReportsThatItsWindupCannotBeRegistered) {
  for (int i = 2; i < kMaxWindups; ++i) ASSERT_EQ(ExitRegister(other_windup), 0);
  EXPECT_EQ(refused({}), init_error("Couldn't register io windup"));
}

TEST_F(RoutInit, ReleasesAnOutputThatAnEarlierStartLeftOpen) {
  set_up({out_argument()});
  ASSERT_EQ(write("a\n"), 0);
  EXPECT_EQ(faults().open_files(), 1u);
  set_up({out_argument()});
  EXPECT_EQ(faults().open_files(), 0u);
  EXPECT_EQ(folder().content("out"), "a\n");
  ASSERT_EQ(write("b\n"), 0);
  ASSERT_EQ(end_output(), 0);
  EXPECT_EQ(folder().content("out"), "b\n");
}

class RoutWrite : public RoutTest {};

TEST_F(RoutWrite, WritesRecordsByteForByte) {
  set_up({out_argument()});
  const std::string zero("x\0y\r\n", 5);
  ASSERT_EQ(write("b\n"), 0);
  ASSERT_EQ(write(zero), 0);
  ASSERT_EQ(write("no line break"), 0);
  ASSERT_EQ(end_output(), 0);
  EXPECT_EQ(folder().content("out"), "b\n" + zero + "no line break");
}

TEST_F(RoutWrite, OpensTheFileOnTheFirstRecordAndClosesItAtTheEnd) {
  set_up({out_argument()});
  EXPECT_FALSE(rout_is_open());
  EXPECT_EQ(folder().content("out"), "<missing>");
  ASSERT_EQ(write("a\n"), 0);
  EXPECT_TRUE(rout_is_open());
  EXPECT_EQ(faults().open_files(), 1u);
  ASSERT_EQ(end_output(), 0);
  EXPECT_FALSE(rout_is_open());
  EXPECT_EQ(faults().open_files(), 0u);
  EXPECT_EQ(folder().content("out"), "a\n");
}

TEST_F(RoutWrite, DoesNotCreateTheFileWhenNoRecordComes) {
  set_up({out_argument()});
  EXPECT_EQ(end_output(), 0);
  EXPECT_EQ(folder().content("out"), "<missing>");
}

TEST_F(RoutWrite, LeavesAnExistingFileUnchangedWhenNoRecordComes) {
  folder().make("out", "old");
  set_up({out_argument()});
  EXPECT_EQ(end_output(), 0);
  run_windups();
  EXPECT_EQ(folder().content("out"), "old");
}

TEST_F(RoutWrite, ReplacesAnExistingFileOnTheFirstRecord) {
  folder().make("out", "something longer than the new content\n");
  set_up({out_argument()});
  ASSERT_EQ(write("a\n"), 0);
  ASSERT_EQ(end_output(), 0);
  EXPECT_EQ(folder().content("out"), "a\n");
}

TEST_F(RoutWrite, AppendsARecordThatComesAfterTheEnd) {
  set_up({out_argument()});
  ASSERT_EQ(write("a\n"), 0);
  ASSERT_EQ(end_output(), 0);
  ASSERT_EQ(end_output(), 0);
  ASSERT_EQ(write("b\n"), 0);
  ASSERT_EQ(write("c\n"), 0);
  ASSERT_EQ(end_output(), 0);
  EXPECT_EQ(folder().content("out"), "a\nb\nc\n");
}

TEST_F(RoutWrite, WritesTheSameBytesWhateverTheBufferSize) {
  const std::string content = pattern_bytes(300000);
  for (const char* kb : {"1", "2", "60", "1024"}) {
    set_up({"-obs", kb, out_argument()});
    std::size_t at = 0;
    for (std::size_t size = 1; at < content.size(); size = size * 3 % 1409 + 1) {
      ASSERT_EQ(write(content.substr(at, size)), 0);
      at += size;
    }
    ASSERT_EQ(end_output(), 0);
    EXPECT_EQ(folder().content("out"), content) << kb;
    run_windups();
  }
}

TEST_F(RoutWrite, WritesRecordsThatFillTheBufferExactlyOrExceedIt) {
  const std::string content = pattern_bytes(1023 + 1 + 1024 + 5000 + 7);
  set_up({"-obs", "1", out_argument()});
  std::size_t at = 0;
  for (const std::size_t size : std::initializer_list<std::size_t>{1023, 1, 1024, 5000, 7}) {
    ASSERT_EQ(write(content.substr(at, size)), 0);
    at += size;
  }
  ASSERT_EQ(end_output(), 0);
  EXPECT_EQ(folder().content("out"), content);
}

TEST_F(RoutWrite, MovesTheStreamAsAWriteDoesWhenTheRecordFitsTheBuffer) {
  set_up({"-obs", "1", out_argument()});
  ASSERT_EQ(write("a\n"), 0);
  const Stream* s = state().output;
  EXPECT_EQ(s->pos, 2u);
  EXPECT_EQ(s->cnt, 1022u);
  ASSERT_EQ(write("bcd\n"), 0);
  EXPECT_EQ(s->pos, 6u);
  EXPECT_EQ(s->cnt, 1018u);
  // The record that fills the buffer sends it off.
  ASSERT_EQ(write(std::string(1018, 'x')), 0);
  EXPECT_EQ(s->pos, 1024u);
  EXPECT_EQ(s->cnt, 1024u);
}

TEST_F(RoutWrite, FlushesStandardOutputAndNeverClosesIt) {
  std::fflush(stdout);
  {
    const StdRedirect redirect(Standard::kOutput, OpenFile::to_write(folder().path("std")));
    finit();
    set_up({});
    ASSERT_EQ(write("b\n"), 0);
    ASSERT_EQ(end_output(), 0);
    EXPECT_EQ(folder().content("std"), "b\n");
    EXPECT_EQ(state().output, std_output());
    ASSERT_EQ(write("c\n"), 0);
    ASSERT_EQ(end_output(), 0);
    EXPECT_TRUE(is_std_open(Standard::kOutput));
  }
  EXPECT_EQ(folder().content("std"), "b\nc\n");
}

TEST_F(RoutWrite, WritesIntoAPipe) {
  const Pipe pipe;
  std::fflush(stdout);
  {
    const StdRedirect redirect(Standard::kOutput, pipe.writer);
    finit();
    set_up({});
    ASSERT_EQ(write("b\n"), 0);
    ASSERT_EQ(write("a\n"), 0);
    ASSERT_EQ(end_output(), 0);
  }
  EXPECT_EQ(pipe.reader.read(8), "b\na\n");
}

TEST_F(RoutWrite, ReportsAPipeWhoseReaderHasClosed) {
  Pipe pipe;
  std::fflush(stdout);
  std::int32_t status = 0;
  {
    const StdRedirect redirect(Standard::kOutput, pipe.writer);
    pipe.writer.close();
    pipe.reader.close();
    finit();
    set_up({});
    EXPECT_EQ(write("b\n"), 0);
    status = end_output();
  }
  EXPECT_EQ(status, 1);
  EXPECT_EQ(shown_texts(), (Texts{with_system_text("Space exhausted while writing output file", kErrorNoData),
                                  kWriteTitle}));
}

TEST_F(RoutWrite, ReportsAFolderThatIsMissing) {
  set_up({">" + folder().path("nodir/out")});
  EXPECT_EQ(write("a\n"), 1);
  EXPECT_EQ(shown_texts(), (Texts{with_system_text("Opening output file", kErrorPathNotFound), kWriteTitle}));
  EXPECT_FALSE(rout_is_open());
}

TEST_F(RoutWrite, ReportsADirectory) {
  set_up({">."});
  EXPECT_EQ(write("a\n"), 1);
  EXPECT_EQ(shown_texts(), (Texts{with_system_text("Opening output file", kErrorAccessDenied), kWriteTitle}));
}

TEST_F(RoutWrite, ReportsAFileInUseAndLeavesItsContent) {
  folder().make("out", "old");
  Stream* other = fstdio_fopen(folder().path("out").c_str(), "a");
  ASSERT_NE(other, nullptr);
  set_up({out_argument()});
  EXPECT_EQ(write("a\n"), 1);
  EXPECT_EQ(shown_texts(),
            (Texts{with_system_text("Opening output file", kErrorSharingViolation), kWriteTitle}));
  EXPECT_EQ(fstdio_fclose(other), 0);
  EXPECT_EQ(folder().content("out"), "old");
}

TEST_F(RoutWrite, ReportsAFullDeviceAtTheEndOfASmallOutput) {
  faults().limit_disk(0);
  set_up({out_argument()});
  EXPECT_EQ(write("a\n"), 0);
  EXPECT_EQ(write("b\n"), 0);
  EXPECT_EQ(write("c\n"), 0);
  EXPECT_EQ(end_output(), 1);
  EXPECT_EQ(shown_texts(), full_disk());
  EXPECT_FALSE(rout_is_open());
  EXPECT_EQ(end_output(), 0);
}

TEST_F(RoutWrite, ReportsAFullDiskWhileWriting) {
  set_up({"-obs", "1", out_argument()});
  faults().limit_disk(3000);
  int written = 0;
  while (written < 1000 && write(std::string(100, 'a')) == 0) ++written;
  EXPECT_LT(written, 1000);
  EXPECT_EQ(shown_texts(), full_disk());
}

TEST_F(RoutWrite, IsNotRepeatedByTheWindupWhenItsFailureHasBeenShown) {
  set_up({"-obs", "1", out_argument()});
  faults().limit_disk(3000);
  while (write(std::string(100, 'a')) == 0) continue;
  clear_displayed();
  run_windups();
  EXPECT_EQ(shown_texts(), Texts());
  EXPECT_EQ(faults().open_files(), 0u);
}

TEST_F(RoutWrite, RepeatsAFailureAtTheEndForACallerThatIgnoredIt) {
  set_up({"-obs", "1", out_argument()});
  faults().limit_disk(3000);
  while (write(std::string(100, 'a')) == 0) continue;
  clear_displayed();
  EXPECT_EQ(end_output(), 1);
  EXPECT_EQ(shown_texts(), full_disk());
}

TEST_F(RoutWrite, LeavesAFailedStreamUnclosedUntilTheWindup) {
  set_up({out_argument()});
  faults().limit_disk(0);
  ASSERT_EQ(write("a\n"), 0);
  ASSERT_EQ(end_output(), 1);
  EXPECT_EQ(faults().open_files(), 1u);
  run_windups();
  EXPECT_EQ(faults().open_files(), 0u);
}

TEST_F(RoutWrite, MayBeRetriedOnTheSameFileAfterAFullDisk) {
  set_up({out_argument()});
  faults().limit_disk(0);
  ASSERT_EQ(write("a\n"), 0);
  ASSERT_EQ(end_output(), 1);
  faults().clear();
  set_up({out_argument()});
  EXPECT_EQ(write("b\n"), 0);
  EXPECT_EQ(end_output(), 0);
  EXPECT_EQ(folder().content("out"), "b\n");
}

// A broken pipe counts as a success that moved nothing, which is the end of the file.
TEST_F(RoutWrite, ReportsAnUnexpectedEndOfTheOutput) {
  set_up({out_argument()});
  faults().fail(OsCall::kWrite, 1, kErrorBrokenPipe);
  ASSERT_EQ(write("a\n"), 0);
  EXPECT_EQ(end_output(), 1);
  EXPECT_EQ(shown_texts(), (Texts{"Unexpected end of file\n", kWriteTitle}));
  EXPECT_EQ(faults().open_files(), 0u);
}

TEST_F(RoutWrite, ReportsAnEarlyEndOfTheOutputAlsoWhenLaterWritesSucceed) {
  set_up({"-obs", "1", out_argument()});
  faults().fail(OsCall::kWrite, 1, kErrorBrokenPipe);
  for (int i = 0; i < 50; ++i) ASSERT_EQ(write(std::string(100, 'a')), 0);
  EXPECT_EQ(end_output(), 1);
  EXPECT_EQ(shown_texts(), (Texts{"Unexpected end of file\n", kWriteTitle}));
}

TEST_F(RoutWrite, ReportsAWriteThatFailsForNoReasonOfTheFile) {
  set_up({});
  ffreebuf(state().output_buffers);
  state().output_buffers = nullptr;
  faults().fail(OsCall::kHeapAlloc, 1, kErrorNotEnoughMemory, Lasting::kForGood);
  EXPECT_EQ(write("a\n"), 1);
  EXPECT_EQ(shown_texts(), (Texts{"Programming error in rout_write\n", kWriteTitle}));
}

TEST_F(RoutWrite, ReportsAWriteThatFailsBehindTheEndFlag) {
  set_up({});
  ffreebuf(state().output_buffers);
  state().output_buffers = nullptr;
  faults().fail(OsCall::kHeapAlloc, 1, kErrorNotEnoughMemory, Lasting::kForGood);
  ASSERT_EQ(write("a\n"), 1);
  clear_displayed();
  std_output()->flags |= kStreamEof;
  EXPECT_EQ(write("a\n"), 1);
  EXPECT_EQ(shown_texts(), (Texts{"Unexpected end of file\n", kWriteTitle}));
}

TEST_F(RoutWrite, RefusesARecordThatIsNowhere) {
  set_up({out_argument()});
  EXPECT_EQ(rout_write(3, nullptr), 1);
  EXPECT_EQ(shown_texts(), (Texts{"Programming error in rout_write\n", kWriteTitle}));
  EXPECT_EQ(folder().content("out"), "<missing>");
}

TEST_F(RoutWrite, ReportsAFileThatCannotBeClosed) {
  set_up({out_argument()});
  ASSERT_EQ(write("a\n"), 0);
  faults().fail(OsCall::kClose, 1, kErrorIoDevice);
  EXPECT_EQ(end_output(), 1);
  EXPECT_EQ(
      shown_texts(),
      (Texts{with_system_text("Error attempting to close record output file", kErrorIoDevice), kWriteTitle}));
  EXPECT_EQ(state().output, nullptr);
  EXPECT_FALSE(rout_is_open());
}

TEST_F(RoutWrite, FailsOnAnInstanceThatWasNeverSetUp) {
  EXPECT_EQ(rout_write(1, reinterpret_cast<const std::uint8_t*>("x")), 1);
  EXPECT_EQ(shown_texts(), (Texts{with_system_text("Opening output file", kErrorPathNotFound), kWriteTitle}));
  EXPECT_EQ(rout_write(0, nullptr), 0);
}

TEST_F(RoutWrite, ReplacesTheFileThatItsRecordsWereReadFrom) {
  const std::string a = folder().make("a", "b\na\n");
  set_up({"<" + a, ">" + a});
  EXPECT_EQ(read_records(), (Texts{"b\n", "a\n"}));
  ASSERT_EQ(write("a\n"), 0);
  ASSERT_EQ(write("b\n"), 0);
  ASSERT_EQ(end_output(), 0);
  EXPECT_EQ(folder().content("a"), "a\nb\n");
}

class RoutWindup : public RoutTest {};

TEST_F(RoutWindup, WritesOutWhatIsStillInTheBuffers) {
  set_up({out_argument()});
  ASSERT_EQ(write("a\n"), 0);
  run_windups();
  EXPECT_EQ(folder().content("out"), "a\n");
  EXPECT_EQ(faults().open_files(), 0u);
}

TEST_F(RoutWindup, MayRunTwice) {
  set_up({out_argument()});
  ASSERT_EQ(write("a\n"), 0);
  rout_windup(&instance());
  rout_windup(&instance());
  EXPECT_EQ(state().output_buffers, nullptr);
  EXPECT_EQ(folder().content("out"), "a\n");
}

TEST_F(RoutWindup, ShowsAFailureThatNobodyHasBeenToldOf) {
  set_up({out_argument()});
  faults().limit_disk(0);
  ASSERT_EQ(write("a\n"), 0);
  run_windups();
  EXPECT_EQ(shown_texts(), (Texts{full_disk().front(), "Error During Windup\n"}));
  EXPECT_EQ(faults().open_files(), 0u);
  EXPECT_EQ(state().output_buffers, nullptr);
}

}  // namespace
}  // namespace fsort::test
