// The comparison of two records in memory, by itself: where it begins, and whose directions count.
#include "engine/compare.h"

#include "engine/key_view.h"
#include "levels_fixture.h"

namespace fsort::test {
namespace {

class Compare : public Levels {
 protected:
  // Two records in record memory under this key list.
  void records(Texts keys, const std::string& a, const std::string& b) {
    start(std::move(keys));
    RecordsInOut::in = {a, b};
    RecordsInOut::next = 0;
    a_ = rec_input();
    b_ = rec_input();
    ASSERT_NE(a_, nullptr);
    ASSERT_NE(b_, nullptr);
  }
  [[nodiscard]] int from(std::uint16_t key, std::int32_t position) const {
    return compare(a_, b_, key, position);
  }
  // The same with the records the other way round.
  [[nodiscard]] int back(std::uint16_t key, std::int32_t position) const {
    return compare(b_, a_, key, position);
  }
  [[nodiscard]] int whole() const { return compare_whole(a_, b_); }
  [[nodiscard]] std::uint32_t deciding() const { return compare_deciding_entry(a_, b_); }

 private:
  const std::uint8_t* a_ = nullptr;
  const std::uint8_t* b_ = nullptr;
};

TEST_F(Compare, OfNegativeNumbersTurnsTheirDigitsRound) {
  records({"-n", "-c", "0-2"}, "-12", "-34");
  EXPECT_EQ(from(0, 0), 1);
  EXPECT_EQ(back(0, 0), -1);
}

// Behind the sign the records are in one half, and the directions in force are those of that half already.
TEST_F(Compare, FromBehindTheSignTakesTheDirectionsAsTheyAre) {
  records({"-n", "-c", "0-2"}, "-12", "-34");
  EXPECT_EQ(from(0, 1), -1);
  EXPECT_EQ(back(0, 1), 1);
}

TEST_F(Compare, BeginsAtThePositionThatItIsGiven) {
  records({"-k", "-c", "0-3"}, "zab1", "yab1");
  EXPECT_EQ(from(0, 0), 1);
  EXPECT_EQ(from(0, 1), 0);
  EXPECT_EQ(back(0, 1), 0);
}

TEST_F(Compare, GoesOnWithTheKeysBehindTheOneItIsGiven) {
  records({"-k", "-c", "0-1", "-i", "-c", "2-3"}, "aa11", "ab12");
  EXPECT_EQ(from(0, 0), -1);
  EXPECT_EQ(from(1, 0), 1) << "descending";
  EXPECT_EQ(from(1, 2), 0) << "behind the last byte of the last key";
}

TEST_F(Compare, OfWholeRecordsTakesTheDirectionsAsWrittenWhateverIsInForce) {
  records({"-n", "-c", "0-2", "-k", "-i", "-c", "3"}, "-12x", "-34x");
  EXPECT_EQ(whole(), 1);
  ikey(0);  // as in the bins of the negative half
  EXPECT_EQ(whole(), 1);
  EXPECT_EQ(from(0, 0), -1);
  ikey(0);
}

TEST_F(Compare, NamesTheEntryThatDecides) {
  records({"-n", "-c", "0-2", "-k", "-i", "-c", "3"}, "12 x", "12 y");
  EXPECT_EQ(whole(), 1);
  EXPECT_EQ(deciding(), 3U);
  records({"-k", "-c", "0"}, "ab", "ac");
  EXPECT_EQ(whole(), 0);
  EXPECT_EQ(deciding(), 1U) << "behind the last entry";
}

}  // namespace
}  // namespace fsort::test
