// Sublist arrays and taking the records of a bin from memory.
#include <cstring>
#include <memory>
#include <vector>

#include "keys/record.h"
#include "sublist/sublist.h"
#include "support/instance_fixture.h"
#include "support/record_links.h"

namespace fsort {
namespace {

// An array with room for its bins, filled with a pattern first.
class ArrayStore {
 public:
  explicit ArrayStore(std::uint16_t bins) : words_((sizeof(SublistArray) + bins * sizeof(Sublist)) / 8) {
    std::memset(words_.data(), 0xA5, words_.size() * 8);
  }
  SublistArray* array() { return reinterpret_cast<SublistArray*>(words_.data()); }

 private:
  std::vector<std::uint64_t> words_;
};

// Records of these total lengths on a bin's list, the first one first.
class RecordStore {
 public:
  RecordStore(Sublist& bin, const std::vector<std::uint16_t>& lengths) {
    for (const std::uint16_t length : lengths) {
      blocks_.push_back(std::make_unique<std::uint8_t[]>(kRecordLinkBytes + length + 1u));
      records_.push_back(blocks_.back().get() + kRecordLinkBytes);
      store_le(records_.back(), length);
      bin.mem_bytes += length + 9u;
      ++bin.mem_count;
    }
    const std::uint8_t* next = nullptr;
    for (std::size_t i = records_.size(); i-- > 0;) {
      // Some with a hint: it must not get into the address.
      record_set_next_hinted(records_[i], next, i % 2 == 0 ? records_[i] - 64 * i : nullptr);
      next = records_[i];
    }
    bin.head = records_.empty() ? nullptr : records_[0];
  }
  [[nodiscard]] std::uint8_t* record(std::size_t i) const { return records_[i]; }

 private:
  std::vector<std::unique_ptr<std::uint8_t[]>> blocks_;
  std::vector<std::uint8_t*> records_;
};

class SublistMemory : public test::InstanceFixture {
 protected:
  void SetUp() override {
    InstanceFixture::SetUp();
    sublist_array_init(3, store_.array());
    for (int i = 0; i < 3; ++i) bin(i) = empty_bin();
  }
  static Sublist empty_bin() {
    Sublist bin{};
    bin.run_pos = kNoRun;
    return bin;
  }
  Sublist& bin(int i) { return store_.array()->bins()[i]; }
  ArrayStore store_{3};
};

TEST_F(SublistMemory, ArrayInitClearsTheHeaderAndNumbersTheBins) {
  ArrayStore store(5);
  sublist_array_init(5, store.array());
  const SublistArray& array = *store.array();
  EXPECT_EQ(array.file, nullptr);
  EXPECT_EQ(array.file_state, 0u);
  EXPECT_EQ(array.file_exists, 0);
  EXPECT_EQ(array.order_state, 0u);
  EXPECT_EQ(array.count, 5);
  for (std::uint16_t i = 0; i < 5; ++i) EXPECT_EQ(array.bins()[i].order, i);
}

TEST_F(SublistMemory, InputTakesRecordsFromTheFrontAndKeepsTheCountsExact) {
  const RecordStore records(bin(1), {20, 7, 65535, 300});
  sublist_input_init(store_.array(), 1);
  std::uint64_t bytes = 20 + 7 + 65535 + 300 + 4 * 9;
  EXPECT_EQ(bin(1).mem_bytes, bytes);
  const std::uint64_t charges[] = {29, 16, 65544, 309};
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(sublist_input(), records.record(i));
    bytes -= charges[i];
    EXPECT_EQ(bin(1).mem_bytes, bytes);
    EXPECT_EQ(bin(1).mem_count, 3 - i);
  }
  EXPECT_EQ(sublist_input(), nullptr);
  EXPECT_EQ(sublist_input(), nullptr) << "an empty bin stays empty";
  EXPECT_EQ(bin(1).mem_bytes, 0u);
  EXPECT_EQ(bin(1).head, nullptr);
}

TEST_F(SublistMemory, InputOfAnEmptyBinIsNull) {
  sublist_input_init(store_.array(), 0);
  EXPECT_EQ(sublist_input(), nullptr);
}

TEST_F(SublistMemory, DelinkTakesRecordsFromTheFrontAndKeepsTheCountsExact) {
  const RecordStore records(bin(2), {12, 34});
  sublist_delink_init(store_.array(), 2, 0);
  EXPECT_EQ(sublist_delink(), records.record(0));
  EXPECT_EQ(bin(2).mem_bytes, 43u);
  EXPECT_EQ(bin(2).mem_count, 1u);
  EXPECT_EQ(sublist_delink(), records.record(1));
  EXPECT_EQ(bin(2).mem_bytes, 0u);
  EXPECT_EQ(bin(2).mem_count, 0u);
  EXPECT_EQ(sublist_delink(), nullptr);
}

TEST_F(SublistMemory, ABinMayBeDelinkedWhileAnotherIsRead) {
  const RecordStore read(bin(0), {10, 11});
  const RecordStore delinked(bin(2), {12, 13});
  sublist_input_init(store_.array(), 0);
  EXPECT_EQ(sublist_input(), read.record(0));
  sublist_delink_init(store_.array(), 2, 0);
  EXPECT_EQ(sublist_delink(), delinked.record(0));
  EXPECT_EQ(sublist_input(), read.record(1));
  EXPECT_EQ(sublist_delink(), delinked.record(1));
}

TEST_F(SublistMemory, RecordsOfABinArePushableAgainWhileItIsRead) {
  const RecordStore records(bin(1), {10, 11});
  sublist_input_init(store_.array(), 1);
  std::uint8_t* first = sublist_input();
  record_set_next(first, bin(0).head);
  bin(0).head = first;
  EXPECT_EQ(sublist_input(), records.record(1)) << "relinking what was taken does not touch the rest";
}

TEST_F(SublistMemory, MovedArrayIsFollowedByWhatNamedIt) {
  ArrayStore moved(3);
  SublistState& s = instance().sublist;
  SublistArray* array = moved.array();
  sublist_array_init(3, array);
  sublist_array_ufptr(array);
  EXPECT_EQ(s.open_input, nullptr) << "its file is closed: nothing names it";
  EXPECT_EQ(s.open_output, nullptr);
  array->file_state = 1;
  sublist_array_ufptr(array);
  EXPECT_EQ(s.open_input, array);
  EXPECT_EQ(s.reading_array, array);
  EXPECT_EQ(s.open_output, nullptr);
  array->file_state = 2;
  s.open_input = nullptr;
  sublist_array_ufptr(array);
  EXPECT_EQ(s.open_output, array);
  EXPECT_EQ(s.open_input, nullptr);
  s.open_output = nullptr;  // no file is really open here
}

TEST_F(SublistMemory, PreloadBoundaryAndFlagAreKeptForTheReader) {
  SublistState& s = instance().sublist;
  sublist_array_preload(17);
  EXPECT_EQ(s.preload_boundary, 17);
  s.preload_done = 1;
  EXPECT_TRUE(sublist_preload_done());
  sublist_clear_preload_done();
  EXPECT_FALSE(sublist_preload_done());
  s.longest_written = 99;
  EXPECT_EQ(sublist_longest_written(), 99);
}

}  // namespace
}  // namespace fsort
