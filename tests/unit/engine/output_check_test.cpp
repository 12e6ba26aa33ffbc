// The check of the output: silent on every good sort, and it tells each way in which one can be wrong.
#include "engine/output_check.h"

#include <random>
#include <tuple>

#include "engine_fixture.h"
#include "keys/record.h"
#include "support/temp_folder.h"

namespace fsort::test {
namespace {

constexpr std::size_t kRecords = 12000;

class OutputCheckTest : public EngineFixture {
 protected:
  void want() {
    driver().check.wanted = 1;
    current_instance->record.sum_read = 1;
  }
  static DriverState& driver() { return current_instance->driver; }
  static bool same_records() {
    const RecordSum& in = current_instance->record.sum;
    const RecordSum& out = driver().check.sum;
    return in.count == out.count && in.low == out.low && in.high == out.high;
  }

  // Reads the records and checks them in this order, without a sort. Result: number of the misplaced one.
  std::uint64_t misplaced_in(const Texts& options, const Texts& records) {
    want();
    RecordsInOut::in = records;
    EXPECT_EQ(init(options), 0) << shown();
    EXPECT_TRUE(stk_push(driver().data_stack));
    while (const std::uint8_t* record = rec_input()) {
      output_check_order(driver().check, current_instance->sort, record);
    }
    EXPECT_EQ(driver().check.count, records.size());
    return driver().check.misplaced;
  }
};

Texts random_records(unsigned seed) {
  std::mt19937 random(seed);
  Texts records;
  for (int i = 0; i < static_cast<int>(kRecords); ++i) {
    std::string text = std::to_string(static_cast<int>(random() % 4001) - 2000);
    if (random() % 3 == 0) text += "." + std::to_string(random() % 100);
    text += ";" + std::string(random() % 20, static_cast<char>('a' + random() % 3));
    text += ";" + std::string(1, random() % 2 != 0 ? '+' : '-') + std::to_string(random() % 30);
    records.push_back(text + "\n");
  }
  return records;
}

// Keys, -u or not, with so little memory that work files are needed or not.
using SortKind = std::tuple<Texts, bool, bool>;

class OutputCheckOfSorts : public OutputCheckTest, public ::testing::WithParamInterface<SortKind> {};

TEST_P(OutputCheckOfSorts, FindsNothingWrong) {
  const auto& [keys, unique, spilling] = GetParam();
  want();
  Texts options = keys;
  if (unique) options.insert(options.begin(), "-u");
  if (spilling) options.insert(options.begin(), {"-m", "200", "-l", "16"});
  const Texts out = sort(options, random_records(7));
  EXPECT_EQ(driver().check.misplaced, 0u);
  EXPECT_EQ(driver().check.sum.count, out.size());
  EXPECT_EQ(current_instance->sort.records_written, out.size());
  EXPECT_EQ(current_instance->record.records_read, kRecords);
  EXPECT_EQ(same_records(), out.size() == kRecords);
  EXPECT_EQ(spilling, current_instance->sublist.file_counter != 0);
}

INSTANTIATE_TEST_SUITE_P(
    AllKindsOfKeys, OutputCheckOfSorts,
    ::testing::Combine(::testing::Values(Texts{}, Texts{"-i"}, Texts{"-t", "59", "-n", "-f", "0"},
                                         Texts{"-t", "59", "-n", "-i", "-f", "0", "-k", "-f", "1"},
                                         Texts{"-t", "59", "-k", "-f", "1", "-n", "-d", "1", "-f", "0"},
                                         Texts{"-t", "59", "-k", "-i", "-f", "1", "-c", "0-2", "-f", "2"},
                                         Texts{"-t", "59", "-k", "'0'-'9'", "-f", "2", "-c", "1-"}),
                       ::testing::Bool(), ::testing::Bool()));

TEST_F(OutputCheckTest, TakesRecordsInOrderWithEqualsAmongThem) {
  EXPECT_EQ(misplaced_in({}, {"a\n", "b\n", "b\n", "c\n"}), 0u);
}

TEST_F(OutputCheckTest, TellsARecordThatComesTooLateByItsFirstBytes) {
  EXPECT_EQ(misplaced_in({}, {"a\n", "c\n", "b\n", "a\n"}), 3u);
}

TEST_F(OutputCheckTest, TellsARecordThatComesTooLateByBytesFarBehind) {
  const std::string front(100, 'x');
  EXPECT_EQ(misplaced_in({}, {front + "a\n", front + "c\n", front + "b\n"}), 3u);
}

TEST_F(OutputCheckTest, TellsARecordThatComesTooLateByALaterKey) {
  EXPECT_EQ(misplaced_in({"-t", "59", "-k", "-f", "1", "-k", "-i", "-f", "0"}, {"a;x\n", "b;x\n"}), 2u);
}

TEST_F(OutputCheckTest, TellsNegativeNumbersInTheOrderOfTheirDigits) {
  EXPECT_EQ(misplaced_in({"-n"}, {"-1\n", "-2\n", "3\n"}), 2u);
}

TEST_F(OutputCheckTest, TellsDescendingRecordsThatAscend) {
  EXPECT_EQ(misplaced_in({"-i"}, {"b\n", "a\n", "c\n"}), 3u);
}

TEST_F(OutputCheckTest, TellsEqualKeysWhereOneOfEachIsWanted) {
  EXPECT_EQ(misplaced_in({"-u"}, {"a\n", "b\n", "b\n"}), 3u);
}

TEST(RecordSumTest, DoesNotDependOnTheOrder) {
  RecordSum one{};
  RecordSum two{};
  const std::string a = "first";
  const std::string b(100, 'b');
  const auto add = [](RecordSum& sum, const std::string& text) {
    record_sum_add(sum, reinterpret_cast<const std::uint8_t*>(text.data()),
                   static_cast<std::uint32_t>(text.size()));
  };
  add(one, a);
  add(one, b);
  add(two, b);
  add(two, a);
  EXPECT_EQ(one.low, two.low);
  EXPECT_EQ(one.high, two.high);
  EXPECT_EQ(one.count, 2u);
}

TEST(RecordSumTest, ChangesWithEveryBitOfARecordOfAnyLengthAndWithTheLength) {
  for (std::uint32_t n = 0; n <= 130; ++n) {
    const std::string text = pattern_bytes(n + 1);
    std::string bytes = text;
    auto* data = reinterpret_cast<std::uint8_t*>(bytes.data());
    RecordSum right{};
    record_sum_add(right, data, n);
    for (std::uint32_t bit = 0; bit < 8 * n; ++bit) {
      data[bit / 8] ^= static_cast<std::uint8_t>(1u << bit % 8);
      RecordSum wrong{};
      record_sum_add(wrong, data, n);
      EXPECT_TRUE(wrong.low != right.low && wrong.high != right.high) << n << " bytes, bit " << bit;
      data[bit / 8] ^= static_cast<std::uint8_t>(1u << bit % 8);
    }
    RecordSum longer{};
    record_sum_add(longer, data, n + 1);
    EXPECT_NE(longer.low, right.low) << n;
  }
}

TEST(RecordSumTest, TwoEqualRecordsAreNotTheSameAsNone) {
  RecordSum sum{};
  const std::uint8_t data[] = {1, 2, 3};
  record_sum_add(sum, data, 3);
  record_sum_add(sum, data, 3);
  EXPECT_TRUE(sum.low != 0 && sum.high != 0);
}

}  // namespace
}  // namespace fsort::test
