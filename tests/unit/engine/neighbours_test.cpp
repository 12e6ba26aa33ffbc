// The order of neighbours, which knows no key words, is that of the comparison that does.
#include "engine/neighbours.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>

#include "engine/compare.h"
#include "engine_fixture.h"

namespace fsort::test {
namespace {

struct Keys {
  const char* name;
  Texts options;
  std::string letters;  // that the records are made of
};

std::string name_of(const testing::TestParamInfo<Keys>& keys) { return keys.param.name; }

// Records with much in common: one is the other with its end, or a byte of it, another one.
Texts alike(const std::string& letters, std::size_t count) {
  std::mt19937 random(11);
  const auto letter = [&] { return letters[random() % letters.size()]; };
  Texts records = {"-12.5;a"};
  while (records.size() < count) {
    std::string text = records[random() % records.size()];
    switch (random() % 4) {
      case 0:
        text.resize(random() % (text.size() + 1));
        break;
      case 1:
        text[random() % text.size()] = letter();
        break;
      default:
        for (std::size_t n = random() % 30; n > 0; --n) text += letter();
    }
    text.resize(std::min<std::size_t>(text.size(), 90));
    if (!text.empty()) records.push_back(text);
  }
  return records;
}

class Neighbours : public EngineFixture {
 protected:
  void begin(const Texts& options, const Texts& texts) {
    RecordsInOut::in = texts;
    RecordsInOut::next = 0;
    EXPECT_EQ(init(options), 0) << shown();
    EXPECT_TRUE(stk_push(instance().driver.data_stack));
    neighbour_keys_init(state(), keys_.data());
    while (const std::uint8_t* record = rec_input()) records_.push_back(record);
    ASSERT_EQ(records_.size(), texts.size());
  }
  [[nodiscard]] int order(std::size_t a, std::size_t b) {
    return compare_neighbours(state(), keys_.data(), records_[a], records_[b], 0, state().written_descending);
  }
  // Of two records alone.
  int order_of(const Texts& options, const std::string& a, const std::string& b) {
    records_.clear();
    begin(options, {a, b});
    const int found = order(0, 1);
    EXPECT_EQ(order(1, 0), -found);
    run_windups();
    return found;
  }
  [[nodiscard]] const SortState& state() { return instance().sort; }
  [[nodiscard]] const std::vector<const std::uint8_t*>& records() const { return records_; }
  [[nodiscard]] const NeighbourKey& key(std::uint32_t index) const { return keys_[index]; }

 private:
  std::array<NeighbourKey, kMaxKeys> keys_{};
  std::vector<const std::uint8_t*> records_;
};

class NeighboursByKeys : public Neighbours, public testing::WithParamInterface<Keys> {};

TEST_P(NeighboursByKeys, HaveTheOrderOfTheComparisonByWords) {
  const Keys& keys = GetParam();
  begin(keys.options, alike(keys.letters, 300));
  int found[3] = {};
  for (std::size_t a = 0; a < records().size(); ++a) {
    for (std::size_t b = 0; b < records().size(); ++b) {
      const int right = compare_whole(records()[a], records()[b]);
      ASSERT_EQ(order(a, b), right) << RecordsInOut::in[a] << " and " << RecordsInOut::in[b];
      ++found[right + 1];
    }
  }
  EXPECT_GT(found[0], 1000);
  EXPECT_EQ(found[2], found[0]);
  EXPECT_GE(found[1], 300);
}

INSTANTIATE_TEST_SUITE_P(
    AllKindsOfKeys, NeighboursByKeys,
    testing::Values(Keys{"WholeLines", {}, "ab\t~"}, Keys{"WholeLinesDescending", {"-i"}, "ab\n"},
                    Keys{"EveryByte", {"-k", "0-255"}, std::string("a\0\xff", 3)},
                    Keys{"WithoutByteZero", {"-k", "1-255"}, "a\x01\x80\xff"},
                    Keys{"ManyStretches", {"-k", "'a'-'c'", "'e'", "'g'-'m'", "'x'-'z'"}, "abegmxyf"},
                    Keys{"BytesOfOneClass", {"-k", "'a'-'z'", "-r", "'A'-'Z'"}, "abAB"},
                    Keys{"OfAFewBytes", {"-mcf", "-k", "-c", "2-5", "-i", "-c", "7-9"}, "ab"},
                    Keys{"OfManyBytes", {"-mcf", "-k", "-c", "0-19", "-i", "-c", "20-"}, "ab"},
                    Keys{"OfOneByte", {"-mcf", "-k", "-i", "-c", "0", "-c", "3"}, "ab"},
                    Keys{"WalkedBackwards", {"-mcf", "-k", "-c", "9-0", "-i", "-c", "12-8"}, "ab"},
                    Keys{"Fields", {"-mfr", "-t", "59", "-k", "-f", "1", "-i", "-f", "0"}, "ab;"},
                    Keys{"Numbers", {"-mfr", "-mcf", "-t", "59", "-n", "-f", "0"}, "0123-.;"},
                    Keys{"NumbersDescending",
                         {"-mfr", "-mcf", "-t", "59", "-n", "-i", "-f", "0", "-k", "-f", "1"},
                         "12-.;"},
                    Keys{"WholeNumbers",
                         {"-mfr", "-mcf", "-t", "59", "-k", "-f", "1", "-n", "-d", "0", "-f", "0"},
                         "12-;"},
                    Keys{"SignsThatGovern", {"-mcf", "-s", "'-'", "'1'", "-c", "0", "-k", "-c", "1-"}, "-12"},
                    Keys{"SignsThatGovernNumbers",
                         {"-mcf", "-s", "'a'-'d'", "-c", "0", "-n", "-i", "-c", "1-"},
                         "abcd12-"},
                    Keys{"SignsOfEveryByte",
                         {"-mcr", "-s", "0-255", "-c", "1", "-k", "-c", "2-60"},
                         std::string("a\0\xff", 3)}),
    name_of);

TEST_F(Neighbours, DoNotDifferByBytesBehindTheEndOfTheirKeys) {
  const Texts keys = {"-t", "59", "-k", "-f", "0"};
  EXPECT_EQ(order_of(keys, "height;1 and many bytes more", "height;2 and many bytes more"), 0);
  EXPECT_EQ(order_of(keys, "a field beyond a step;1", "a field beyond a step;2"), 0);
}

TEST_F(Neighbours, DifferBehindABytesThatLiesInNoStretch) {
  const Texts keys = {"-k", "'a'-'c'", "'e'", "'g'-'z'"};
  EXPECT_EQ(order_of(keys, "hhheheheheheheha and more", "hhhehehehehehehb and more"), -1);
  EXPECT_EQ(order_of(keys, "hhhdheheheheheha and more", "hhhdhehehehehehb and more"), 0) << "d ends the key";
}

TEST_F(Neighbours, DifferInEveryByteOfALongKey) {
  const std::string text(70, 'm');
  for (std::size_t at = 0; at < text.size(); ++at) {
    std::string later = text;
    later[at] = 'n';
    EXPECT_EQ(order_of({}, text, later), -1) << at;
    EXPECT_EQ(order_of({"-i"}, text, later), 1) << at;
    EXPECT_EQ(order_of({}, text.substr(0, at) + "\n", later), -1) << at;
  }
}

TEST_F(Neighbours, AreWalkedInStepsByEveryKeyOfManyBytesThatRunsForward) {
  begin({"-mcf", "-k", "1-255", "-c", "0-9", "-k", "0-255", "-c", "3-4", "-k", "-c", "9-0", "-k", "-c", "7"},
        {"a"});
  EXPECT_EQ(key(0).in_steps, 1);
  EXPECT_EQ(key(1).in_steps, 1);
  EXPECT_EQ(key(2).in_steps, 0);
  EXPECT_EQ(key(3).in_steps, 0);
}

// The processor's own way of looking at a step against the definition.
TEST_F(Neighbours, StopWithinAStepWhereTheyDifferOrMayEnd) {
  begin({"-k", "'a'-'f'", "'t'-'z'"}, {"a", "b"});
  std::mt19937 random(3);
  const std::string letters("afgstz\0\x80\xff\xe1\xf4", 11);
  int stopped = 0;
  for (int round = 0; round < 20000; ++round) {
    std::uint8_t a[kStepBytes];
    std::uint8_t b[kStepBytes];
    for (int i = 0; i < kStepBytes; ++i) {
      a[i] = static_cast<std::uint8_t>(letters[random() % letters.size()]);
      b[i] = random() % 8 != 0 ? a[i] : static_cast<std::uint8_t>(random());
    }
    std::uint32_t right = 0;
    for (std::uint32_t i = 0; i < kStepBytes; ++i) {
      const bool goes_on = (a[i] >= 'a' && a[i] <= 'f') || (a[i] >= 't' && a[i] <= 'z');
      if (a[i] != b[i] || !goes_on) right |= 1u << i;
    }
    ASSERT_EQ(step_stops(key(0).going_on, a, b), right);
    ASSERT_EQ(step_stops_by_bytes(key(0).going_on, a, b, kStepBytes), right);
    ASSERT_EQ(step_stops<8>(key(0).going_on, a, b) & 0xFFu, right & 0xFFu);
    if (right != 0) ++stopped;
  }
  EXPECT_GT(stopped, 10000);
}

TEST_F(Neighbours, StopNowhereInAStepOfBytesThatGoOn) {
  begin({}, {"a", "b"});
  for (int byte = 0; byte < 256; ++byte) {
    std::uint8_t step[kStepBytes];
    std::fill_n(step, kStepBytes, static_cast<std::uint8_t>(byte));
    const bool goes_on = key(0).value[byte] != 0;
    EXPECT_EQ(step_stops(key(0).going_on, step, step), goes_on ? 0u : 0xFFFFu) << byte;
  }
}

}  // namespace
}  // namespace fsort::test
