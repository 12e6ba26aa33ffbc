// FsortRead and FsortWrite, and the files that a command line names, seen through the exported functions.
#include <array>
#include <cstdlib>
#include <optional>

#include "entry/init_command.h"
#include "entry/start_arguments.h"
#include "entry_harness.h"
#include "support/std_handles.h"

namespace fsort::test {

namespace {

class RecordsThroughExports : public EntryTest {
 protected:
  // Gives the process other standard streams for the life of a test.
  void redirect(Standard which, const OpenFile& target) {
    redirects_[static_cast<std::size_t>(which)].emplace(which, target);
  }
  void redirect_input(const std::string& name) { redirect(Standard::kInput, OpenFile::to_read(name)); }
  void TearDown() override {
    for (auto& redirect : redirects_) redirect.reset();
    EntryTest::TearDown();
  }

 private:
  std::array<std::optional<StdRedirect>, 2> redirects_;
};

std::int32_t pass_read(std::uint64_t* length, const void** record) {
  return FsortRead(subject, length, record);
}
std::int32_t pass_write(std::uint64_t length, const void* record) {
  return FsortWrite(subject, length, record);
}

const std::string kLines = "pear\nfig\napple\nquince\n";
const std::string kSortedLines = "apple\nfig\npear\nquince\n";

TEST_F(RecordsThroughExports, AReadFunctionMayPassTheFileOn) {
  write_file("in", kLines);
  EXPECT_EQ(start("<in >out -q", pass_read), 0);
  EXPECT_EQ(read_file("out"), kSortedLines);
}

TEST_F(RecordsThroughExports, AWriteFunctionMayPassTheRecordsOn) {
  write_file("in", kLines);
  EXPECT_EQ(start("<in >out -q", nullptr, pass_write), 0);
  EXPECT_EQ(read_file("out"), kSortedLines);
}

TEST_F(RecordsThroughExports, ARecordWrittenAfterTheEndIsAppended) {
  write_file("in", kLines);
  ASSERT_EQ(start("<in >out -q", nullptr, pass_write), 0);
  EXPECT_EQ(FsortWrite(subject, 0, nullptr), 0);
  EXPECT_EQ(FsortWrite(subject, 4, "end\n"), 0);
  EXPECT_EQ(FsortWrite(subject, 0, nullptr), 0);
  EXPECT_EQ(read_file("out"), kSortedLines + "end\n");
}

std::int32_t late_status = -1;
std::uint64_t late_length = 7;
const void* late_record = "";

std::int32_t read_late(std::uint64_t length, const void* record) {
  late_length = 7;
  late_record = "";
  late_status = FsortRead(subject, &late_length, &late_record);
  return take_record(length, record);
}

TEST_F(RecordsThroughExports, ReadingAfterTheEndOfTheInputGivesTheEndAgain) {
  write_file("in", kLines);
  EXPECT_EQ(start("<in -q", nullptr, read_late), 0);
  EXPECT_EQ(taken.size(), 4u);
  EXPECT_EQ(late_status, 0);
  EXPECT_EQ(late_length, 0u);
  EXPECT_EQ(late_record, nullptr);
}

TEST_F(RecordsThroughExports, WithoutAnyFileEverNamedThereIsNothingToReadOrWrite) {
  file_read = nullptr;
  file_write = nullptr;
  std::uint64_t length = 7;
  const void* out = "";
  EXPECT_EQ(FsortRead(subject, &length, &out), 1);
  EXPECT_EQ(length, 0u);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(FsortWrite(subject, 1, "x"), 1);
}

TEST_F(RecordsThroughExports, AFreshInstanceHasNoInputEvenIfAnotherNamedOne) {
  write_file("in", kLines);
  ASSERT_EQ(start("<in >out -q"), 0);
  fsort_handle fresh = FsortCreate(show, nullptr);
  std::uint64_t length = 7;
  const void* out = "";
  EXPECT_EQ(FsortRead(fresh, &length, &out), 0);
  EXPECT_EQ(length, 0u);
  EXPECT_EQ(out, nullptr);
  FsortDestroy(fresh);
}

TEST_F(RecordsThroughExports, AnEmptyInputLeavesAnExistingOutputAlone) {
  write_file("in", "");
  write_file("out", "old");
  EXPECT_EQ(start("<in >out -q"), 0);
  EXPECT_EQ(read_file("out"), "old");
  make();
  EXPECT_EQ(start("<in >new -q"), 0);
  EXPECT_FALSE(exists("new"));
}

TEST_F(RecordsThroughExports, AFileMayBeSortedIntoItself) {
  write_file("a", "b\na\n");
  EXPECT_EQ(start("<a >a -q"), 0);
  EXPECT_EQ(read_file("a"), "a\nb\n");
}

TEST_F(RecordsThroughExports, OutputBuffersOfAllSizesGiveTheSameFile) {
  std::string lines;
  for (std::int64_t i = 0; i < 300000; ++i) {
    char line[48];
    std::snprintf(line, sizeof line, "%08d and what follows the key\n",
                  static_cast<int>((i * 7919) % 10000019));
    lines += line;
  }
  ASSERT_GT(lines.size(), 9u << 20);
  write_file("in", lines);
  std::string first;
  for (const char* size : {"1", "1024", "0", "5000"}) {
    make();
    EXPECT_EQ(start(std::string("<in >out -q -obs ") + size), 0);
    const std::string bytes = read_file("out");
    EXPECT_EQ(bytes.size(), lines.size()) << size;
    if (first.empty()) first = bytes;
    EXPECT_TRUE(bytes == first) << size;
  }
}

TEST_F(RecordsThroughExports, InputAndOutputOperatorsMixWithTheirOptions) {
  write_file("a", "d\nb\n");
  write_file("b", "c\na\n");
  EXPECT_EQ(start("-in a b >out -q"), 0);
  EXPECT_EQ(read_file("out"), "a\nb\nc\nd\n");
  make();
  EXPECT_EQ(start("-in b <a -out out2 -q"), 0);
  EXPECT_EQ(read_file("out2"), "a\nb\nc\nd\n");
  make();
  EXPECT_EQ(start("-rt <a >out3 -q"), 0);
  EXPECT_EQ(read_file("out3"), "b\nd\n");
}

TEST_F(RecordsThroughExports, NamesInDoubleQuotesMayHoldBlanks) {
  write_file("my file", "b\na\n");
  EXPECT_EQ(start("\"<my file\" \">my out\" -q"), 0);
  EXPECT_EQ(read_file("my out"), "a\nb\n");
}

// --- standard input
// ------------------------------------------------------------------------------------------------

TEST_F(RecordsThroughExports, AHyphenAsInputIsTheStandardInput) {
  write_file("stream", "b\na\n");
  redirect_input("stream");
  make();
  EXPECT_EQ(start("<- >out -q"), 0);
  EXPECT_EQ(read_file("out"), "a\nb\n");
}

TEST_F(RecordsThroughExports, AnEmptyDeviceAsStandardInputIsAnEmptyInput) {
  redirect_input(kNullDevice);
  make();
  EXPECT_EQ(start("<- -q", nullptr, take_record), 0);
  EXPECT_EQ(taken, Texts{});
}

TEST_F(RecordsThroughExports, APipeAsStandardInputIsReadToItsEnd) {
  redirect(Standard::kInput, pipe_with("b\na\n"));
  make();
  EXPECT_EQ(start("<- >out -q"), 0);
  EXPECT_EQ(read_file("out"), "a\nb\n");
}

TEST_F(RecordsThroughExports, AClosedStandardInputIsNoCrash) {
  redirect(Standard::kInput, OpenFile());
  make();
  const std::int32_t status = start("<- -q", nullptr, take_record);
  EXPECT_EQ(taken, Texts{});
  if (status != 0) {
    ASSERT_FALSE(shown.empty());
    EXPECT_EQ(shown.front(), "Programming error in rin_read\n");
  }
}

// --- the tool's entry
// -----------------------------------------------------------------------------------------------

TEST_F(RecordsThroughExports, AnArgumentVectorSortsStandardInputToStandardOutput) {
  write_file("stream", kLines);
  redirect_input("stream");
  redirect(Standard::kOutput, OpenFile::to_write("sorted"));
  make();
  const char* arguments[] = {"fsort", "-q", nullptr};
  EXPECT_EQ(start_arguments(subject, 2, arguments), 0);
  EXPECT_EQ(read_file("sorted"), kSortedLines);
}

TEST_F(RecordsThroughExports, AnArgumentVectorIsTakenAsItIsSplit) {
  write_file("my file", kLines);
  const char* arguments[] = {"fsort", "<my file", ">my out", "-q", nullptr};
  EXPECT_EQ(start_arguments(subject, 4, arguments), 0);
  EXPECT_EQ(read_file("my out"), kSortedLines);
  EXPECT_EQ(entry_lock_depth(), 0u);
}

TEST_F(RecordsThroughExports, AnArgumentVectorReportsItsFaults) {
  const char* arguments[] = {"fsort", "zz", nullptr};
  redirect_input(kNullDevice);
  make();
  shown.clear();
  EXPECT_EQ(start_arguments(subject, 2, arguments), 1);
  EXPECT_EQ(shown, (Texts{"zz is an invalid argument\n", kInitTitle}));
  EXPECT_EQ(start_arguments(nullptr, 2, arguments), 1);
}

TEST_F(RecordsThroughExports, AnEmptyArgumentVectorIsAPlainSort) {
  write_file("stream", kLines);
  redirect_input("stream");
  redirect(Standard::kOutput, OpenFile::to_write("sorted"));
  make();
  EXPECT_EQ(start_arguments(subject, 0, nullptr), 0);
  EXPECT_EQ(read_file("sorted"), kSortedLines);
}

}  // namespace

}  // namespace fsort::test
