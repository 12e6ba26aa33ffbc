// Every message that a command line, an input or an output can bring about, as the caller sees it: each text
// in a display call of its own, the titles behind it in order, and the same through FsortMessage without a
// callback.
#include "entry_harness.h"

namespace fsort::test {

namespace {

const std::string kExpandTitle = "Error detected while expanding command line\n";
const std::string kTextTitle = "Error detected reading text record\n";
const std::string kVariableTitle = "Error detected reading variable record\n";

struct Message {
  const char* name;
  std::string options;  // behind "<in >out -q"
  std::string input;
  Texts texts;
};

std::string repeated(int count, const std::string& text) {
  std::string all;
  for (int i = 0; i < count; ++i) all += text;
  return all;
}

class EveryMessage : public EntryTest, public ::testing::WithParamInterface<Message> {
 protected:
  void write_files() {
    write_file("in", GetParam().input);
    write_file("again", "-#include again\n");
    write_file("wide", repeated(90, std::string(70, 'a') + "\n"));
    std::string macros;
    for (int i = 0; i < 61; ++i) macros += "-#define m" + std::to_string(i) + " a -#end\n";
    write_file("macros", macros);
    write_file("many", "-#define m\n" + repeated(64, "a\n") + "-#end\n" + repeated(40, "m\n"));
  }
  [[nodiscard]] std::string command() const { return "<in >out -q " + GetParam().options; }
  [[nodiscard]] std::string all_texts() const {
    std::string all;
    for (const std::string& text : GetParam().texts) all += text;
    return all;
  }
};

TEST_P(EveryMessage, ReachesTheDisplayCallbackTextByTextWithItsTitlesInOrder) {
  write_files();
  expect_failure(command(), GetParam().texts);
}

TEST_P(EveryMessage, ReachesTheMessageBufferUpToItsLength) {
  write_files();
  make(nullptr);
  EXPECT_EQ(FsortStart(subject, nullptr, nullptr, command().c_str()), 1);
  EXPECT_EQ(std::string(FsortMessage(subject)), all_texts().substr(0, 255));
}

Message key_fault(const char* name, const std::string& options, const std::string& text) {
  return {name, options, "a\n", {text + "\n", kInitTitle}};
}
Message io_fault(const char* name, const std::string& options, const std::string& text) {
  return {name, options, "a\n", {text + "\n", kIoTitle}};
}
Message expansion_fault(const char* name, const std::string& options, const std::string& text) {
  return {name, options, "a\n", {text + "\n", kExpandTitle}};
}
Message record_fault(const char* name, const std::string& options, const std::string& record,
                     const std::string& text) {
  return {name, options, record, {record + "\n" + text + "\n", kCallTitle}};
}

INSTANTIATE_TEST_SUITE_P(
    CommandLine, EveryMessage,
    ::testing::Values(expansion_fault("EndWithoutDefine", "-#end", "-#endif with no corresponding -#define"),
                      expansion_fault("DefineWithoutEnd", "-#define x a", "Unbalanced -#define -#end pair"),
                      expansion_fault("IncludeWithoutName", "-#include",
                                      "Include must be followed by a file name"),
                      expansion_fault("IncludeOfNoFile", "-#include nofile", "Couldn't open include file"),
                      expansion_fault("IncludeOfItself", "-#include again", "Command nesting too deep"),
                      expansion_fault("MacroInItself", "-#define x x -#end x", "Macros cannot be recurrsive"),
                      expansion_fault("TooManyMacros", "-#include macros", "Too many macros defined"),
                      expansion_fault("TooManyArguments", "-#include many", "Too many arguments generated"),
                      expansion_fault("TooMuchText", "-#include wide", "Too many characters in command line"),
                      key_fault("OneLeft", "zz", "zz is an invalid argument"),
                      key_fault("TwoLeft", "y zz", "y and zz are invalid arguments"),
                      key_fault("NumberTooLarge", "-rs 65536", "Argument \"65536\" too large"),
                      key_fault("UnknownEscape", "-k '\\q'", "Invalid \\character in key"),
                      key_fault("UnclosedCharacter", "-c 'a", "Invalid character constant")),
    [](const auto& tested) { return std::string(tested.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Files, EveryMessage,
    ::testing::Values(
        io_fault("TwoRecordTypes", "-rt -rf 4", "Only one record type permitted"),
        io_fault("TextSizeNoNumber", "-rt abc", "Invalid value for text record size"),
        io_fault("TextSizeRange", "-rt 5-9", "-rt record size cannot be a range"),
        io_fault("FixedWithoutSize", "-rf", "-rf switch must specify record size"),
        io_fault("FixedSizeNoNumber", "-rf x", "Invalid value for -rf switch"),
        io_fault("FixedSizeRange", "-rf 5-9", "-rf record size cannot be a range"),
        io_fault("FixedSizeZero", "-rf 0", "Illegal record size"),
        io_fault("LengthFieldOpen", "-rv 3-", "Position of record length not defined"),
        io_fault("LengthFieldBeyondRecord", "-rv 4096", "Record size field must be within the record length"),
        io_fault("SeventeenInputs", "-in " + repeated(16, "a "), "Too many input file names"),
        io_fault("InputMissing", "-in nofile", "File open failed on nofile:\n" + system_text(2)),
        io_fault("InputIsAFolder", "-in .", "File open failed on .:\n" + system_text(5)),
        io_fault("TwoOutputs", ">more", "No more that one output file may be specified"),
        io_fault("BufferSizeTooLarge", "-obs 65536", "Argument \"65536\" too large")),
    [](const auto& tested) { return std::string(tested.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Keys, EveryMessage,
    ::testing::Values(
        key_fault("OpenBracket", "( -k", "Unbalanced parenthesis in command line"),
        key_fault("OddSignSequence", "-s 'a'-'c' -c 0-0 -k -c 1-",
                  "Sign sequences must have even number of values"),
        key_fault("DecimalsWithoutCount", "-n -d", "-d switch requires numeric parameter"),
        key_fault("DecimalsAsRange", "-n -d 1-2", "Invalid value for decimal count"),
        key_fault("FieldInGroup", "( -k -f 1 ) -f 2", "Nested fields cannot contain -f parameters"),
        key_fault("FieldEndOpen", "-k -f 1-", "Field range end must be specified"),
        key_fault("FieldStartOpen", "-k -f -1", "Field range start must be specified"),
        key_fault("ColumnStartOpen", "-k -c -5", "Unnested -c switch must specify starting position"),
        key_fault("SubfieldOutside", "( -k -c 5-6 ) -c 0-3", "Field does not include subfield"),
        key_fault("ThirtyThreeKeys", repeated(33, "-k -c 0-0 "), "Too many key fields used"),
        key_fault("RangeBeyondBytes", "-k 250-260", "Invalid range for collating sequence - 250-260"),
        key_fault("SequenceOfOne", "-k 'a'", "Collating sequence has only one value")),
    [](const auto& tested) { return std::string(tested.param.name); });

INSTANTIATE_TEST_SUITE_P(
    DriverAndWorkFiles, EveryMessage,
    ::testing::Values(
        key_fault("SegmentTooLarge", "-l 4194304", "Segment length too large"),
        key_fault("SegmentOfNothing", "-l 0", "Segment length too small"),
        Message{"SegmentTooSmallForALevel", "-l 6", "a\n", {"Segment length too small\n", kCallTitle}},
        Message{"RecordBeyondASegment",
                "-l 7 -rt 20000",
                std::string(8000, 'b') + "\n",
                {"Unable to allocate memory for data\n", kCallTitle}},
        key_fault("WorkFolderTooLong", "-w " + std::string(131, 'w'), "Temporary directory name too long"),
        key_fault("WriteBlockWithoutSize", "-wb", "-wb switch must specify block size in K"),
        key_fault("ReadBlockWithoutSize", "-rb", "-rb switch must specify block size in K"),
        Message{"WorkFolderMissing",
                "-l 20 -m 1 -w nofolder",
                repeated(3000, "a line of text\nand one more line of text\n"),
                {"Couldn't open working file for writing:\n" + system_text(3) + "\n", kCallTitle}}),
    [](const auto& tested) { return std::string(tested.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Records, EveryMessage,
    ::testing::Values(
        record_fault("KeyBeyondTheRecord", "-k -c 5-", "abc\n", "Field too short"),
        record_fault("TooFewFields", "-t ',' -k -f 2", "a,b\n", "Not enough fields in record"),
        record_fault("ThirtyTwoDigits", "-n", std::string(32, '1') + "\n", "Numeric field too long"),
        Message{"LineTooLong",
                "",
                std::string(600, 'a'),
                {"Text record too long\n", kTextTitle, kReadFailed, kCallTitle}},
        Message{"VariableRecordTooLong",
                "-rv",
                std::string("\xff\x7f", 2) + "abc",
                {"Variable length record too long\n", kVariableTitle, kReadFailed, kCallTitle}},
        Message{"VariableRecordCutShort",
                "-rv",
                std::string("\x05\x00", 2) + "ab",
                {"Short variable length record detected\n", kVariableTitle, kReadFailed, kCallTitle}}),
    [](const auto& tested) { return std::string(tested.param.name); });

}  // namespace

}  // namespace fsort::test
