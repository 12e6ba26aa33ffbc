// Input files: names, size estimate, buffers, moving from file to file.
#include <filesystem>

#include "recio_fixture.h"

namespace fsort::test {
namespace {

class RinTest : public RecioTest {
 protected:
  RinState& state() { return instance().rin; }
  // What `function` raises, as displayed.
  template <class Function>
  Texts raised_texts(Function&& function) {
    return raised(function).texts;
  }
};

const std::string kNullInput = std::string("<") + kNullDevice;

class RinInit : public RinTest {};

TEST_F(RinInit, ReadsStandardInputWhenNoInputIsNamed) {
  const StdRedirect redirect(Standard::kInput, OpenFile::to_read(folder().make("in", "b\na\n")));
  finit();
  set_up({});
  EXPECT_EQ(description().input_named, 0);
  EXPECT_EQ(rin_stream(), std_input());
  EXPECT_EQ(description().input_size, 4u);
  EXPECT_EQ(state().ibs, 60);
  EXPECT_EQ(read_records(), (Texts{"b\n", "a\n"}));
}

TEST_F(RinInit, TakesBuffersOf1KbWhenEveryInputIsACharacterDevice) {
  const StdRedirect redirect(Standard::kInput, OpenFile::to_read(kNullDevice));
  finit();
  set_up({});
  EXPECT_EQ(state().ibs, 1);
  EXPECT_EQ(description().input_size, 2048u);
  EXPECT_EQ(read_records(), Texts());
  EXPECT_EQ(status(), 0);
  set_up({kNullInput, kNullInput});
  EXPECT_EQ(state().ibs, 1);
  EXPECT_EQ(description().input_size, 4096u);
}

TEST_F(RinInit, TakesBuffersOf60KbWhenOneInputIsNoCharacterDevice) {
  set_up({kNullInput, input("in", "a\n")});
  EXPECT_EQ(state().ibs, 60);
  EXPECT_EQ(description().input_size, 2050u);
  EXPECT_EQ(read_records(), Texts{"a\n"});
}

TEST_F(RinInit, ReadsAPipeAndCountsItAs10MiB) {
  const StdRedirect redirect(Standard::kInput, pipe_with("b\na\nx"));
  finit();
  set_up({"<-"});
  EXPECT_EQ(description().input_named, 1);
  EXPECT_EQ(description().input_size, 0xA00000u);
  EXPECT_EQ(state().ibs, 60);
  EXPECT_EQ(read_records(), (Texts{"b\n", "a\n"}));
  EXPECT_EQ(status(), 0);
}

TEST_F(RinInit, TakesEveryNameThatBeginsWithAHyphenForStandardInput) {
  const StdRedirect redirect(Standard::kInput, OpenFile::to_read(folder().make("in", "b\n")));
  finit();
  set_up({"<-x"});
  EXPECT_EQ(rin_stream(), std_input());
  EXPECT_EQ(read_records(), Texts{"b\n"});
}

TEST_F(RinInit, ReadsFilesAndStandardInputInTheOrderNamed) {
  const StdRedirect redirect(Standard::kInput, OpenFile::to_read(folder().make("std", "s\n")));
  finit();
  set_up({input("f1", "a\n"), "<-", input("f2", "b\n")});
  EXPECT_EQ(read_records(), (Texts{"a\n", "s\n", "b\n"}));
}

TEST_F(RinInit, NeverCrashesOnAClosedStandardInput) {
  const StdRedirect redirect(Standard::kInput, OpenFile());
  finit();
  set_up({"<-"});
  EXPECT_EQ(read_records(), Texts());
  EXPECT_EQ(status(), 1);
  EXPECT_EQ(shown_texts(),
            (Texts{"Programming error in rin_read\n", "Error detected reading text record\n"}));
}

TEST_F(RinInit, ReadsFilesInTheOrderNamedWithBothWaysOfNaming) {
  const std::string a = input("a", "a\n");
  const std::string b = folder().make("b", "b\n");
  const std::string c = folder().make("c", "c\n");
  const std::string d = input("d", "d\n");
  set_up({"-in", c, b, a, d});
  EXPECT_EQ(read_records(), (Texts{"c\n", "b\n", "a\n", "d\n"}));
  set_up({d, "-in", b, a, c});
  EXPECT_EQ(read_records(), (Texts{"d\n", "b\n", "a\n", "c\n"}));
}

TEST_F(RinInit, EndsTheListOfNamesAtAnOptionAnOutputNameOrAParenthesis) {
  const std::string a = folder().make("a", "a\n");
  const std::string b = folder().make("b", "b\n");
  const std::string out = ">" + folder().path("out");
  for (const std::string& end : {std::string("-q"), std::string("(k"), out}) {
    ArgVector args{"-in", a, end, b};
    ASSERT_EQ(init(args), 0);
    EXPECT_EQ(args.left(), end == out ? Texts{b} : (Texts{end, b}));
    EXPECT_EQ(read_records(), Texts{"a\n"});
  }
}

TEST_F(RinInit, ConsumesAnInOptionThatNamesNothingAndKnowsNoInputThen) {
  set_up({"-in"});
  EXPECT_EQ(description().input_named, 0);
  EXPECT_EQ(rin_stream(), std_input());
}

TEST_F(RinInit, AcceptsSixteenNames) {
  Texts arguments;
  Texts records;
  for (int i = 0; i < 16; ++i) {
    records.push_back(std::string(1, static_cast<char>('p' - i)) + "\n");
    arguments.push_back(input("f" + std::to_string(i), records.back()));
  }
  set_up(arguments);
  EXPECT_EQ(description().input_size, 32u);
  EXPECT_EQ(read_records(), records);
}

TEST_F(RinInit, RefusesTheSeventeenthName) {
  const std::string name = folder().make("f", "a\n");
  EXPECT_EQ(refused(Texts(17, "<" + name)), init_error("Too many input file names"));
  Texts list(18, name);
  list[0] = "-in";
  EXPECT_EQ(refused(list), init_error("Too many input file names"));
}

TEST_F(RinInit, SumsTheSizesOfAllFiles) {
  set_up({input("f1", std::string(1000, 'a')), input("f2", ""), input("f3", std::string(234, 'b'))});
  EXPECT_EQ(description().input_size, 1234u);
}

TEST_F(RinInit, KeepsOnlyTheFirstNamedFileOpen) {
  set_up({input("f1", "a\n"), input("f2", "b\n"), input("f3", "c\n")});
  EXPECT_EQ(faults().open_files(), 1u);
  EXPECT_EQ(rin_files_left(), 2);
  EXPECT_EQ(read_records(), (Texts{"a\n", "b\n", "c\n"}));
  EXPECT_EQ(faults().open_files(), 0u);
}

TEST_F(RinInit, ReportsAFileThatIsMissingBeforeAnythingIsRead) {
  const std::string missing = folder().path("nofile");
  const Texts expected{with_system_text("File open failed on " + shown(missing), kErrorFileNotFound),
                       kInitTitle};
  EXPECT_EQ(refused({"<" + missing}), expected);
  EXPECT_EQ(refused({input("f1", "a\n"), "<" + missing, input("f3", "c\n")}), expected);
  EXPECT_EQ(faults().open_files(), 0u);
}

TEST_F(RinInit, ShowsSlashesOfANameAsBackslashes) {
  const std::string missing = folder().path("nodir") + "/no\\file";
  EXPECT_EQ(
      refused({"<" + missing}),
      (Texts{with_system_text("File open failed on " + shown(missing), kErrorPathNotFound), kInitTitle}));
}

TEST_F(RinInit, TakesALoneLessThanSignForTheEmptyName) {
  EXPECT_EQ(refused({"<", folder().make("in", "a\n")}),
            (Texts{with_system_text("File open failed on ", kErrorPathNotFound), kInitTitle}));
}

TEST_F(RinInit, RefusesADirectory) {
  EXPECT_EQ(refused({"<."}),
            (Texts{with_system_text("File open failed on .", kErrorAccessDenied), kInitTitle}));
}

TEST_F(RinInit, ShowsALongNameWhole) {
  const std::string name(480, 'n');
  EXPECT_EQ(refused({"<" + name}).front().rfind("File open failed on " + name + ":\n", 0), 0u);
}

TEST_F(RinInit, ReportsALengthThatCannotBeFound) {
  // A position of all ones without an error, as no real file has.
  static OsTable table;
  const OsTable* const before = os;
  table = *os;
  table.set_file_pointer = [](Handle, std::int32_t, std::int32_t* high, std::uint32_t) -> std::uint32_t {
    *high = -1;
    return 0xFFFFFFFF;
  };
  table.get_last_error = []() -> std::uint32_t { return 0; };
  const std::string in = input("in", "a\n");
  os = &table;
  const Texts texts = refused({in});
  os = before;
  ASSERT_EQ(texts.size(), 2u);
  EXPECT_EQ(texts[0], with_system_text("error getting length of input file(2)", last_os_error()));
  EXPECT_EQ(texts[1], kInitTitle);
}

TEST_F(RinInit, ReportsThatTheNameListCannotBeHad) {
  const std::string in = input("in", "a\n");
  faults().fail(OsCall::kHeapAlloc, 2, kErrorNotEnoughMemory);
  EXPECT_EQ(refused({in}), init_error("Couldn't get memory for file name list"));
}

TEST_F(RinInit, ReportsThatItsBuffersCannotBeHad) {
  const std::string in = input("in", "a\n");
  faults().fail(OsCall::kHeapAlloc, 4, kErrorNotEnoughMemory);
  EXPECT_EQ(refused({in}), init_error("Couldn't allocate memory for input file buffer"));
  EXPECT_EQ(faults().open_files(), 0u);
}

TEST_F(RinInit, ReportsThatAStreamCannotBeHad) {
  const std::string in = input("in", "a\n");
  faults().fail(OsCall::kHeapAlloc, 3, kErrorNotEnoughMemory);
  EXPECT_EQ(refused({in}),
            (Texts{with_system_text("File open failed on " + shown(in.substr(1)), kErrorNotEnoughMemory),
                   kInitTitle}));
}

void other_windup(Instance* /*instance*/) {}

TEST_F(RinInit, ReportsThatItsWindupCannotBeRegistered) {
  for (int i = 1; i < kMaxWindups; ++i) ASSERT_EQ(ExitRegister(other_windup), 0);
  EXPECT_EQ(refused({input("in", "a\n")}), init_error("Couldn't register input windup"));
}

struct BufferCase {
  const char* name;
  Texts arguments;
  std::uint16_t kb;
};

class RinInitBuffers : public RecioTest, public ::testing::WithParamInterface<BufferCase> {};

TEST_P(RinInitBuffers, HaveTheSizeThatTheOptionsSay) {
  Texts arguments = GetParam().arguments;
  arguments.push_back(input("in", "a\n"));
  set_up(arguments);
  EXPECT_EQ(instance().rin.ibs, GetParam().kb);
  EXPECT_EQ(rin_stream()->bufsize, GetParam().kb * 1024u);
}

INSTANTIATE_TEST_SUITE_P(
    Options, RinInitBuffers,
    ::testing::Values(BufferCase{"NoOption", {}, 60}, BufferCase{"OwnOption", {"-ibs", "8"}, 8},
                      BufferCase{"CommonOption", {"-bs", "16"}, 16},
                      BufferCase{"OwnBeforeCommon", {"-bs", "16", "-ibs", "8"}, 8},
                      BufferCase{"TooLargeIsCut", {"-ibs", "2000"}, 1024},
                      BufferCase{"Megabyte", {"-ibs", "1m"}, 1024},
                      BufferCase{"ZeroIsNoValue", {"-ibs", "0"}, 60},
                      BufferCase{"CommonZeroIsNoValue", {"-bs", "0"}, 60},
                      BufferCase{"ZeroAsksTheCommonOption", {"-ibs", "0", "-bs", "16"}, 16}),
    [](const auto& p) { return std::string(p.param.name); });

TEST_F(RinInit, LeavesABufferOptionWithoutOperandToBeReported) {
  ArgVector args{"-ibs", input("in", "a\n")};
  ASSERT_EQ(init(args), 0);
  EXPECT_EQ(args.left(), Texts{"-ibs"});
  EXPECT_EQ(state().ibs, 60);
}

TEST_F(RinInit, RefusesABufferSizeBeyond16Bits) {
  EXPECT_EQ(refused({"-ibs", "65536"}), init_error("Argument \"65536\" too large"));
}

TEST_F(RinInit, MovesOnlyTwoBuffersThroughAllFiles) {
  set_up({input("f1", "a\n"), input("f2", "b\n"), input("f3", "c\n")});
  const std::uint64_t made = faults().calls(OsCall::kEvent);
  EXPECT_EQ(read_records().size(), 3u);
  EXPECT_EQ(faults().calls(OsCall::kEvent), made);
  EXPECT_EQ(made, 4u);  // two for the input and two for the output
}

TEST_F(RinInit, ReadsEveryRecordWithASingleBuffer) {
  set_up(
      {"-ibs", "1", input("f1", std::string(900, 'a') + "\n"), input("f2", std::string(500, 'b') + "\nc\n")});
  rin_read_singly();
  EXPECT_EQ(read_records(), (Texts{std::string(900, 'a') + "\n", std::string(500, 'b') + "\n", "c\n"}));
}

TEST_F(RinInit, ReportsThatASingleBufferCannotBeHad) {
  set_up({input("in", "a\n")});
  faults().fail(OsCall::kHeapAlloc, 1, kErrorNotEnoughMemory);
  EXPECT_EQ(raised_texts([&] { rin_read_singly(); }),
            Texts{"Couldn't allocate memory for input file buffer\n"});
}

TEST_F(RinInit, ReleasesWhatAnEarlierStartLeft) {
  const std::string in = input("in", "a\nb\n");
  set_up({in, in});
  const std::size_t blocks = faults().heap_blocks();
  set_up({in, in});
  EXPECT_EQ(faults().heap_blocks(), blocks);
  EXPECT_EQ(faults().open_files(), 1u);
}

TEST_F(RinInit, DoesNotOverflowTheSumOfUnknownLengths) {
  // A socket-like handle type whose length nobody knows.
  static OsTable table;
  const OsTable* const before = os;
  table = *os;
  table.get_file_type = [](Handle) -> std::uint32_t { return kFileTypeUnknown; };
  table.set_file_pointer = [](Handle, std::int32_t, std::int32_t*, std::uint32_t) -> std::uint32_t {
    return 0xFFFFFFFF;
  };
  table.get_last_error = []() -> std::uint32_t { return kErrorInvalidHandle; };
  const std::string in = input("in", "a\n");
  os = &table;
  ArgVector args{in, in, in};
  EXPECT_EQ(init(args), 0);
  os = before;
  EXPECT_EQ(description().input_size, ~std::uint64_t{0});
}

class NextFile : public RinTest {};

TEST_F(NextFile, SkipsEmptyFiles) {
  set_up({input("f1", ""), input("f2", ""), input("f3", "c\n"), input("f4", "")});
  EXPECT_EQ(read_records(), Texts{"c\n"});
  EXPECT_EQ(status(), 0);
}

TEST_F(NextFile, GivesEverythingBackAtTheEndOfTheLastFile) {
  set_up({input("f1", "a\n")});
  EXPECT_EQ(read_records(), Texts{"a\n"});
  EXPECT_EQ(rin_stream(), nullptr);
  EXPECT_EQ(state().input_buffers, nullptr);
  EXPECT_EQ(state().name_store, nullptr);
  EXPECT_EQ(faults().open_files(), 0u);
}

TEST_F(NextFile, SaysThatNothingIsLeftOnceTheInputIsOver) {
  set_up({input("f1", "a\n")});
  EXPECT_EQ(read_records(), Texts{"a\n"});
  char byte = 0;
  EXPECT_EQ(rin_cnt(), 0u);
  EXPECT_EQ(rin_read(1, &byte), 0u);
  EXPECT_EQ(next_file(), 0);
}

TEST_F(NextFile, ReportsAnInputThatHasNotEnded) {
  set_up({input("f1", "a\n")});
  EXPECT_EQ(raised_texts([] { next_file(); }), Texts{"Programming error in rin_read\n"});
}

TEST_F(NextFile, ReportsAnInputWhoseErrorFlagIsSet) {
  set_up({input("f1", "a\n")});
  rin_stream()->flags |= kStreamError;
  EXPECT_EQ(raised_texts([] { next_file(); }),
            Texts{with_system_text("Error reading input file(1)", last_os_error())});
  rin_stream()->flags &= ~kStreamError;
}

TEST_F(NextFile, ReportsAFileThatCannotBeClosed) {
  set_up({input("f1", "a\n"), input("f2", "b\n")});
  faults().fail(OsCall::kClose, 1, kErrorIoDevice);
  EXPECT_EQ(read_records(), Texts{"a\n"});
  EXPECT_EQ(status(), 1);
  EXPECT_EQ(shown_texts(), (Texts{with_system_text("Error attempting to close input file", kErrorIoDevice),
                                  "Error detected reading text record\n"}));
}

TEST_F(NextFile, ReportsTheLastFileWhenItCannotBeClosed) {
  set_up({input("f1", "a\n")});
  faults().fail(OsCall::kClose, 1, kErrorIoDevice);
  EXPECT_EQ(read_records(), Texts{"a\n"});
  EXPECT_EQ(status(), 1);
  EXPECT_EQ(shown_texts().front(), with_system_text("Error attempting to close input file", kErrorIoDevice));
}

TEST_F(NextFile, ReportsAFileThatWentAwaySinceItWasCounted) {
  set_up({input("f1", "a\n"), input("f2", "b\n")});
  ASSERT_TRUE(std::filesystem::remove(folder().path("f2")));
  EXPECT_EQ(read_records(), Texts{"a\n"});
  EXPECT_EQ(status(), 1);
  EXPECT_EQ(shown_texts(),
            (Texts{with_system_text("File open failed on " + shown(folder().path("f2")), kErrorFileNotFound),
                   "Error detected reading text record\n"}));
}

TEST_F(NextFile, ReportsAFailedReadAsAProgrammingError) {
  set_up({input("f1", "a\n")});
  faults().fail(OsCall::kRead, 1, kErrorIoDevice, Lasting::kForGood);
  EXPECT_EQ(raised_texts([] { static_cast<void>(rin_cnt()); }), Texts{"Programming error in rin_read\n"});
}

class RinRead : public RinTest {};

TEST_F(RinRead, StartsOverInTheNextFileWhenAFileEndsFirst) {
  set_up({input("f1", "abc"), input("f2", "defgh")});
  std::string target(4, '.');
  EXPECT_EQ(rin_read(4, target.data()), 4u);
  EXPECT_EQ(target, "defg");
  EXPECT_EQ(rin_files_left(), 0);
}

TEST_F(RinRead, YieldsNothingWhenTheLastFileEndsFirst) {
  set_up({input("f1", "abc")});
  std::string target(4, '.');
  EXPECT_EQ(rin_read(4, target.data()), 0u);
}

class RinWindup : public RinTest {};

TEST_F(RinWindup, MayRunTwice) {
  set_up({input("f1", "a\n"), input("f2", "b\n")});
  rin_windup(&instance());
  EXPECT_EQ(faults().open_files(), 0u);
  rin_windup(&instance());
  EXPECT_EQ(rin_stream(), nullptr);
}

TEST_F(RinWindup, GivesBuffersWithReadsInFlightBack) {
  faults().defer_overlapped(true);
  set_up({"-ibs", "1", input("f1", std::string(10000, 'a'))});
  EXPECT_EQ(rin_cnt(), 1024u);
  rin_windup(&instance());
  EXPECT_EQ(faults().deferred(), 0u);
}

TEST_F(RinWindup, ReportsAFileThatCannotBeClosedAndHasGivenTheRestBack) {
  set_up({input("f1", "a\n")});
  faults().fail(OsCall::kClose, 1, kErrorIoDevice);
  EXPECT_EQ(raised_texts([this] { rin_windup(&instance()); }),
            Texts{with_system_text("Error attempting to close input file", kErrorIoDevice)});
  EXPECT_EQ(state().name_store, nullptr);
}

}  // namespace
}  // namespace fsort::test
