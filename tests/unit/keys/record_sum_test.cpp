// The checksum of a set of records, by each way there is to it: it tells sets apart that are not the same,
// and nothing but the records goes into it.
#include "keys/record_sum.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/temp_folder.h"

namespace fsort::test {
namespace {

using Records = std::vector<std::string>;

const std::uint8_t* bytes_of(const std::string& text) {
  return reinterpret_cast<const std::uint8_t*>(text.data());
}

bool same(const RecordSum& a, const RecordSum& b) {
  return a.count == b.count && a.low == b.low && a.high == b.high;
}

class RecordSumTest : public ::testing::TestWithParam<bool> {
 protected:
  [[nodiscard]] static const RecordSumming& summing() { return GetParam() ? kSumByRounds : kSumByProducts; }
  static void add(RecordSum& sum, const std::string& record) {
    summing().add(sum, bytes_of(record), static_cast<std::uint32_t>(record.size()));
  }
  [[nodiscard]] static RecordSum sum_of(const Records& records) {
    RecordSum sum{};
    for (const std::string& record : records) add(sum, record);
    return sum;
  }
};

// A hundred records of all lengths up to 300, every one with bytes of its own.
Records some_records() {
  Records records;
  for (std::uint32_t n = 0; n < 300; n += 3) {
    std::string record = pattern_bytes(n + 1);
    record[n / 2] = static_cast<char>(n);
    records.push_back(record);
  }
  return records;
}

TEST_P(RecordSumTest, DoesNotDependOnTheOrder) {
  const Records records = some_records();
  EXPECT_TRUE(same(sum_of(records), sum_of(Records(records.rbegin(), records.rend()))));
  EXPECT_EQ(sum_of(records).count, records.size());
}

TEST_P(RecordSumTest, OfARowIsThatOfItsRecordsOneByOne) {
  const Records records = some_records();
  std::string row;
  std::vector<std::uint16_t> lengths;
  for (const std::string& record : records) {
    row += record;
    lengths.push_back(static_cast<std::uint16_t>(record.size()));
  }
  RecordSum sum{};
  summing().add_row(sum, bytes_of(row), lengths.data(), static_cast<std::uint32_t>(lengths.size()));
  EXPECT_TRUE(same(sum, sum_of(records)));
}

TEST_P(RecordSumTest, OfARowCountsRecordsOfNoBytes) {
  const std::uint16_t lengths[] = {0, 3, 0};
  RecordSum sum{};
  summing().add_row(sum, bytes_of("abc"), lengths, 3);
  EXPECT_TRUE(same(sum, sum_of({"", "abc", ""})));
  EXPECT_FALSE(same(sum, sum_of({"abc"})));
}

TEST_P(RecordSumTest, TakesNoByteFromBesideTheRecord) {
  for (std::uint32_t n = 0; n <= 130; ++n) {
    const std::string record = pattern_bytes(n);
    const std::string one = std::string(40, 'a') + record + std::string(40, 'b');
    const std::string two = std::string(40, 'c') + record + std::string(40, 'd');
    RecordSum first{};
    RecordSum second{};
    summing().add(first, bytes_of(one) + 40, n);
    summing().add(second, bytes_of(two) + 40, n);
    EXPECT_TRUE(same(first, second)) << n;
    // Exactly as large as the record: a sanitizer sees what is read beside it.
    RecordSum third{};
    const std::vector<std::uint8_t> alone(record.begin(), record.end());
    summing().add(third, alone.data(), n);
    EXPECT_TRUE(same(first, third)) << n;
  }
}

TEST_P(RecordSumTest, ChangesWithEveryBitOfARecordOfAnyLength) {
  for (std::uint32_t n = 0; n <= 130; ++n) {
    std::string record = pattern_bytes(n);
    const RecordSum right = sum_of({record});
    for (std::uint32_t bit = 0; bit < 8 * n; ++bit) {
      const char was = record[bit / 8];
      record[bit / 8] = static_cast<char>(was ^ 1 << bit % 8);
      const RecordSum wrong = sum_of({record});
      EXPECT_TRUE(wrong.low != right.low && wrong.high != right.high) << n << " bytes, bit " << bit;
      record[bit / 8] = was;
    }
  }
}

TEST_P(RecordSumTest, ChangesWithTheLengthOfARecordOfTheSameByte) {
  for (const char byte : {'\0', 'a'}) {
    Records records;
    for (std::uint32_t n = 0; n <= 130; ++n) {
      records.emplace_back(n, byte);
      for (std::uint32_t shorter = 0; shorter < n; ++shorter) {
        EXPECT_FALSE(same(sum_of({records[shorter]}), sum_of({records[n]}))) << shorter << " and " << n;
      }
    }
  }
}

TEST_P(RecordSumTest, TellsALostRecord) {
  const Records records = some_records();
  for (std::size_t i = 0; i < records.size(); ++i) {
    Records less = records;
    less.erase(less.begin() + static_cast<std::ptrdiff_t>(i));
    EXPECT_NE(sum_of(less).low, sum_of(records).low) << i;
    EXPECT_NE(sum_of(less).high, sum_of(records).high) << i;
  }
}

TEST_P(RecordSumTest, TellsARecordThatStandsInForAnother) {
  const Records records = some_records();
  for (std::size_t i = 1; i < records.size(); ++i) {
    Records doubled = records;
    doubled[i] = doubled[i - 1];
    EXPECT_EQ(sum_of(doubled).count, sum_of(records).count);
    EXPECT_FALSE(same(sum_of(doubled), sum_of(records))) << i;
  }
}

TEST_P(RecordSumTest, TwoEqualRecordsAreNotTheSameAsNone) {
  const RecordSum sum = sum_of({"abc", "abc"});
  EXPECT_TRUE(sum.low != 0 && sum.high != 0);
}

TEST_P(RecordSumTest, TellsTwoPiecesOfARecordThatChangedPlaces) {
  const std::string record = pattern_bytes(112);
  for (std::size_t a = 0; a < 112; a += 8) {
    for (std::size_t b = a + 8; b < 112; b += 8) {
      std::string changed = record;
      changed.replace(a, 8, record, b, 8);
      changed.replace(b, 8, record, a, 8);
      ASSERT_NE(changed, record);
      EXPECT_FALSE(same(sum_of({changed}), sum_of({record}))) << a << " and " << b;
    }
  }
}

TEST_P(RecordSumTest, TellsTwoRecordsThatChangedAPiece) {
  const std::string one = pattern_bytes(112);
  for (std::size_t at = 0; at < 112; ++at) {
    for (const std::size_t piece : {std::size_t{1}, std::size_t{16}, std::size_t{56}}) {
      // The two differ in the piece and in one byte elsewhere: else they only changed places.
      std::string two = one;
      for (std::size_t i = at; i < std::min(at + piece, one.size()); ++i) two[i] = static_cast<char>(~one[i]);
      two[(at + 60) % 112] ^= 1;
      std::string one_changed = one;
      std::string two_changed = two;
      one_changed.replace(at, piece, two, at, piece);
      two_changed.replace(at, piece, one, at, piece);
      EXPECT_FALSE(same(sum_of({one_changed, two_changed}), sum_of({one, two}))) << at << ", " << piece;
    }
  }
}

// By rounds only where the processor has the instruction for them.
std::vector<bool> ways() {
  return &record_summing() == &kSumByRounds ? std::vector<bool>{false, true} : std::vector<bool>{false};
}

INSTANTIATE_TEST_SUITE_P(EachWay, RecordSumTest, ::testing::ValuesIn(ways()),
                         [](const auto& way) { return std::string(way.param ? "ByRounds" : "ByProducts"); });

}  // namespace
}  // namespace fsort::test
