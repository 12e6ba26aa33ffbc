// Whole sorts in memory so small that levels are compacted under their processor, frames number more than a
// byte holds and work files more than three digits.
#include <cstdio>

#include "levels_fixture.h"

namespace fsort::test {
namespace {

std::uint32_t most_frames = 0;        // of the data stack whenever a record was written
std::string watched_folder;           // the work directory
std::size_t files_at_last_write = 0;  // in it when the last record was written

std::int32_t watching_write(std::uint64_t length, const std::uint8_t* record) {
  most_frames = std::max(most_frames, stk_frames(current_instance->driver.data_stack));
  if (RecordsInOut::out.size() + 1 == RecordsInOut::in.size()) {
    const std::filesystem::directory_iterator all(watched_folder);
    files_at_last_write = static_cast<std::size_t>(std::distance(begin(all), end(all)));
  }
  return RecordsInOut::write(length, record);
}

class SpillingLevels : public EngineFixture {
 protected:
  Texts sort_watched(const Texts& options, const Texts& records, bool plain_levels = false) {
    most_frames = 0;
    watched_folder = folder_.path("");
    files_at_last_write = SIZE_MAX;
    RecordsInOut::in = records;
    instance().driver.plain_levels = plain_levels ? 1 : 0;
    Texts all = {"-w", folder_.path(""), "-wb", "2", "-rb", "2"};
    all.insert(all.end(), options.begin(), options.end());
    EXPECT_EQ(init(all), 0) << shown();
    instance().driver.output = watching_write;
    EXPECT_EQ(fsort_call(), 0) << shown();
    EXPECT_TRUE(std::filesystem::is_empty(folder_.path("")));
    return RecordsInOut::out;
  }
  // Lines of letters 'a', 'b', ... that are the digits of (i * 7919) % modulus, the low one first.
  static Texts digit_lines(int count, int base, int digits, int modulus) {
    Texts lines;
    for (int i = 0; i < count; ++i) {
      std::string line;
      int value = i * 7919 % modulus;
      for (int d = 0; d < digits; ++d, value /= base) line += static_cast<char>('a' + value % base);
      lines.push_back(line + "\n");
    }
    return lines;
  }
  static Texts sorted(Texts lines) {
    std::sort(lines.begin(), lines.end());
    return lines;
  }
  TempFolder folder_;
};

TEST_F(SpillingLevels, CompactingMovesTheLevelThatIsBeingWorkedOn) {
  for (const char* segment : {"10", "20"}) {
    RecordsInOut::out.clear();
    RecordsInOut::next = 0;
    const Texts lines = digit_lines(20000, 3, 12, 400009);
    EXPECT_EQ(sort_watched({"-l", segment, "-m", "1"}, lines), sorted(lines));
    EXPECT_GT(instance().sort.levels_moved, 0u) << "-l " << segment;
    run_windups();
  }
}

TEST_F(SpillingLevels, CompactingUnderUniqueLosesAndDoublesNothing) {
  Texts lines = digit_lines(20000, 2, 12, 4096);
  const Texts out = sort_watched({"-u", "-l", "20", "-m", "1"}, lines);
  EXPECT_GT(instance().sort.levels_moved, 0u);
  lines = sorted(lines);
  lines.erase(std::unique(lines.begin(), lines.end()), lines.end());
  EXPECT_EQ(out, lines);
}

TEST_F(SpillingLevels, MoreThanNineHundredNinetyNineWorkFilesInOneSort) {
  const Texts lines = digit_lines(200000, 2, 19, 400009);
  EXPECT_EQ(sort_watched({"-l", "7", "-m", "1"}, lines, true), sorted(lines));
  EXPECT_GT(instance().sublist.file_counter, 999u);
  EXPECT_LE(files_at_last_write, 20u) << "a level that is done has deleted its file";
}

TEST_F(SpillingLevels, MoreThan255FramesOfRecordMemory) {
  // One level a byte or two of the common prefix, each with two frames, while the records are on work files.
  Texts lines;
  for (int i = 0; i < 2000; ++i) {
    char tail[8];
    std::snprintf(tail, sizeof tail, "%04d\n", i * 7 % 2000);
    lines.push_back(std::string(300, 'a') + tail);
  }
  EXPECT_EQ(sort_watched({"-l", "20", "-m", "1"}, lines, true), sorted(lines));
  EXPECT_GT(most_frames, 255u);
  EXPECT_GT(instance().sublist.file_counter, 1u);
}

}  // namespace
}  // namespace fsort::test
