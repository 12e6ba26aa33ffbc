// What a caller sees of a failure: the status, and every text in its own display call, in order.
#include "entry_harness.h"
#include "support/fault_os.h"

namespace fsort::test {

namespace {

class FailureMessages : public EntryTest {};

TEST_F(FailureMessages, AFullDiskIsReportedAtTheEnd) {
  write_file("in", "c\nb\na\n");
  FaultOs faults;
  faults.limit_disk(0);
  expect_failure("<in >out -q", {"Space exhausted while writing output file:\n" + system_text(112) + "\n",
                                 "Error writing record to output\n", kWriteFailed, kCallTitle});
}

TEST_F(FailureMessages, AnEmptyCommandMissesAnInput) {
  expect_failure("", {"Input function OR input file must be specified\n"});
}

TEST_F(FailureMessages, AnInputFileAloneMissesAnOutput) {
  write_file("in", "a\n");
  expect_failure("<in", {"Output function OR output file must be specified\n"});
}

TEST_F(FailureMessages, AnInputFunctionAloneMissesAnOutput) {
  expect_failure("", {"Output function OR output file must be specified\n"}, read_given);
}

TEST_F(FailureMessages, AnOutputFunctionAloneMissesAnInput) {
  expect_failure("", {"Input function OR input file must be specified\n"}, nullptr, take_record);
}

TEST_F(FailureMessages, ANullCommandIsAnEmptyOne) {
  EXPECT_EQ(FsortStart(subject, nullptr, nullptr, nullptr), 1);
  EXPECT_EQ(shown, Texts{"Input function OR input file must be specified\n"});
}

TEST_F(FailureMessages, FiveHundredAndElevenCharactersAreAccepted) {
  write_file("in", "b\na\n");
  std::string command = "<in >out -q";
  command.append(511 - command.size(), ' ');
  EXPECT_EQ(start(command), 0);
  EXPECT_EQ(read_file("out"), "a\nb\n");
}

TEST_F(FailureMessages, FiveHundredAndTwelveCharactersAreTooMany) {
  write_file("in", "b\na\n");
  std::string command = "<in >out -q";
  command.append(512 - command.size(), ' ');
  expect_failure(command, {"Command line too long\n", "Fsort Initialization\n"});
  EXPECT_FALSE(exists("out"));
}

TEST_F(FailureMessages, TheLongestCommandMayBeAllArguments) {
  std::string command;
  while (command.size() < 510) command += "x ";
  command += "x";
  EXPECT_EQ(start(command, read_given, take_record), 1);
  ASSERT_EQ(shown.size(), 2u);
  std::string list = "x";
  for (int i = 0; i < 254; ++i) list += ",x";
  EXPECT_EQ(shown[0], list + " and x are invalid arguments\n");
  EXPECT_EQ(shown[1], kInitTitle);
}

TEST_F(FailureMessages, ArgumentsThatNobodyTookAreNamed) {
  write_file("in", "a\n");
  expect_failure("<in >out zz", {"zz is an invalid argument\n", kInitTitle});
  make();
  expect_failure("<in >out a b", {"a and b are invalid arguments\n", kInitTitle});
  make();
  expect_failure("<in >out a b c", {"a,b and c are invalid arguments\n", kInitTitle});
  make();
  expect_failure("<in >out -Q1", {"-q1 is an invalid argument\n", kInitTitle});
  EXPECT_FALSE(exists("out"));
}

TEST_F(FailureMessages, ALongListOfArgumentsIsShownWhole) {
  std::string command;
  std::string list;
  for (int i = 10; i < 50; ++i) {
    const std::string word = "abcdefgh" + std::to_string(i);
    command += word + " ";
    list += i == 10 ? word : (i == 49 ? " and " : ",") + word;
  }
  write_file("in", "a\n");
  // 40 words of 10 characters with their blanks and the files: still one command line.
  expect_failure(command + "<in >out", {list + " are invalid arguments\n", kInitTitle});
}

TEST_F(FailureMessages, AMissingInputFileIsNamedWithBackslashes) {
  const std::uint32_t code = kErrorPathNotFound;
  EXPECT_EQ(start("<nodir/nofile >out"), 1);
  EXPECT_EQ(shown, (Texts{"File open failed on nodir\\nofile:\n" + system_text(code) + "\n", kIoTitle}));
  make();
  std::filesystem::create_directory("dir");
  EXPECT_EQ(start("<dir/nofile >out"), 1);
  EXPECT_EQ(shown,
            (Texts{"File open failed on dir\\nofile:\n" + system_text(kErrorFileNotFound) + "\n", kIoTitle}));
}

TEST_F(FailureMessages, ALongInputNameIsShownWhole) {
  const std::string name(480, 'n');
  EXPECT_EQ(start("<" + name + " >out"), 1);
  ASSERT_EQ(shown.size(), 2u);
  const std::string head = "File open failed on " + name + ":\n";
  EXPECT_EQ(shown[0].substr(0, head.size()), head);
  EXPECT_EQ(shown[1], kIoTitle);
}

TEST_F(FailureMessages, AnInputOperatorAloneNamesTheEmptyFile) {
  write_file("in", "a\n");
  expect_failure("< in >out", {"File open failed on :\n" + system_text(kErrorPathNotFound) + "\n", kIoTitle});
}

TEST_F(FailureMessages, AnOutputFileThatCannotBeMadeIsReportedAtTheFirstRecord) {
  write_file("in", "a\n");
  expect_failure("<in >nodir/o", {"Opening output file:\n" + system_text(kErrorPathNotFound) + "\n",
                                  "Error writing record to output\n", kWriteFailed, kCallTitle});
}

TEST_F(FailureMessages, ALineTooLongForTheRecordBufferIsRefused) {
  write_file("in", std::string(600, 'a'));
  expect_failure("<in >out",
                 {"Text record too long\n", "Error detected reading text record\n", kReadFailed, kCallTitle});
}

TEST_F(FailureMessages, ALineThatFitsButHasNoEndIsDropped) {
  write_file("in", std::string(511, 'a'));
  EXPECT_EQ(start("<in >out -q"), 0);
  EXPECT_FALSE(exists("out"));
}

TEST_F(FailureMessages, ALongLineInOneBufferIsKeptWhole) {
  const std::string line = std::string(600, 'a') + "\n";
  EXPECT_EQ(sorted(line), line);
}

TEST_F(FailureMessages, ARecordTooShortForItsKeyIsShownWhole) {
  write_file("in", "abc\n");
  expect_failure("<in >out -c 10-", {"abc\n\nField too short\n", kCallTitle});
  for (const std::size_t length : {std::size_t{5000}, std::size_t{20000}}) {
    const std::string line = std::string(length, 'x') + "\n";
    make();  // the handle before still has the file open
    write_file("in", line);
    expect_failure("<in >out -c 30000-", {line + "\nField too short\n", kCallTitle});
  }
}

TEST_F(FailureMessages, TheUsageTextIsTwoTextsWithoutATitle) {
  write_file("in", "a\n");
  EXPECT_EQ(start("<in >out -h zz"), 1);
  ASSERT_EQ(shown.size(), 2u);
  EXPECT_EQ(shown[0].size(), 478u);
  EXPECT_EQ(shown[1].size(), 305u);
}

TEST_F(FailureMessages, TheUsageTextNeedsAnInputFirst) {
  expect_failure("-h", {"Input function OR input file must be specified\n"});
}

TEST_F(FailureMessages, AStrayEndOfADefinitionIsReportedByTheExpansion) {
  const std::string title = "Error detected while expanding command line\n";
  expect_failure("-#end", {"-#endif with no corresponding -#define\n", title});
  make();
  expect_failure("-#DEFINE X -#end", {"-#endif with no corresponding -#define\n", title});
}

TEST_F(FailureMessages, MoreThanOneOutputFileIsRefused) {
  write_file("in", "a\n");
  const Texts texts{"No more that one output file may be specified\n", kIoTitle};
  expect_failure("<in -out X >Y", texts);
  make();
  expect_failure("<in >X >Y", texts);
  EXPECT_FALSE(exists("X") || exists("Y"));
}

TEST_F(FailureMessages, AnOutputOperatorNeedsAName) {
  write_file("in", "a\n");
  const Texts texts{"-out or > require an argument\n", kIoTitle};
  expect_failure("<in >", texts);
  make();
  expect_failure("<in >-x", texts);
}

TEST_F(FailureMessages, AnOutputNameOf129CharactersIsTooLong) {
  write_file("in", "a\n");
  EXPECT_EQ(start("<in -q >" + std::string(128, 'o')), 0);
  EXPECT_TRUE(exists(std::string(128, 'o')));
  make();
  expect_failure("<in >" + std::string(129, 'o'),
                 {std::string(129, 'o') + ":file name too long\n", kIoTitle});
}

TEST_F(FailureMessages, AnOutputFileThatIsBeingWrittenElsewhereKeepsItsContent) {
  write_file("in", "b\na\n");
  write_file("out", "old");
  Handle held = os->create_file("out", kGenericRead | kGenericWrite, 0, nullptr, kOpenExisting, 0, nullptr);
  ASSERT_NE(held, kInvalidHandle);
  EXPECT_EQ(start("<in >out"), 1);
  os->close_handle(held);
  EXPECT_EQ(shown, (Texts{"Opening output file:\n" + system_text(kErrorSharingViolation) + "\n",
                          "Error writing record to output\n", kWriteFailed, kCallTitle}));
  EXPECT_EQ(read_file("out"), "old");
}

TEST_F(FailureMessages, AnOutputBufferSizeBeyond16BitsIsRefused) {
  write_file("in", "a\n");
  expect_failure("<in >out -obs 65536", {"Argument \"65536\" too large\n", kIoTitle});
}

}  // namespace

}  // namespace fsort::test
