// The entries that copy into a buffer of the caller.
#include "entry/vb_entries.h"

#include "entry/init_command.h"
#include "entry_harness.h"

namespace fsort::test {

namespace {

class VbEntries : public EntryTest {
 protected:
  void SetUp() override {
    EntryTest::SetUp();
    file_read = nullptr;
  }
  void TearDown() override {
    file_read = nullptr;
    EntryTest::TearDown();
  }
};

TEST_F(VbEntries, RetrieveCopiesTheRecordAndReturnsItsLength) {
  char buffer[8] = "#######";
  FsortSend(subject, 3, "abc");
  EXPECT_EQ(FsortRetrieveVB(subject, buffer), 3);
  EXPECT_STREQ(buffer, "abc####");
}

TEST_F(VbEntries, RetrieveOfTheEndCopiesNothing) {
  char buffer[4] = "###";
  FsortSend(subject, 0, nullptr);
  EXPECT_EQ(FsortRetrieveVB(subject, buffer), 0);
  EXPECT_STREQ(buffer, "###");
}

std::int32_t read_well(std::uint64_t* length, const std::uint8_t** record) {
  *length = 2;
  *record = reinterpret_cast<const std::uint8_t*>("ok");
  return 0;
}

std::int32_t read_badly(std::uint64_t* length, const std::uint8_t** record) {
  *length = 0x100000003;
  *record = reinterpret_cast<const std::uint8_t*>("bad");
  return 5;
}

std::int32_t read_nothing(std::uint64_t*, const std::uint8_t**) { return 1; }

// Kept on purpose: a status of 0 is taken as the failure case: -1 at once, with the entry lock still held and
// the instance still current.
TEST_F(VbEntries, KeptOnPurposeAStatusOf0IsTakenAsTheFailureCase) {
  char buffer[4] = "###";
  file_read = read_well;
  EXPECT_EQ(FsortReadVB(subject, buffer), -1);
  EXPECT_STREQ(buffer, "###");
  EXPECT_EQ(entry_lock_depth(), 1u);
  EXPECT_EQ(current_instance, instance_of(subject));
  current_instance = nullptr;
  release_lock();
  destroy();  // nothing of the instance is in progress
}

TEST_F(VbEntries, AnyOtherStatusCopiesTheRecordAndReturnsTheLowHalfOfItsLength) {
  char buffer[8] = "#######";
  file_read = read_badly;
  EXPECT_EQ(FsortReadVB(subject, buffer), 3);
  EXPECT_STREQ(buffer, "bad####");
  EXPECT_EQ(entry_lock_depth(), 0u);
  EXPECT_EQ(current_instance, nullptr);
}

TEST_F(VbEntries, AReaderThatStoredNothingGivesNothing) {
  char buffer[4] = "###";
  file_read = read_nothing;
  EXPECT_EQ(FsortReadVB(subject, buffer), 0);
  EXPECT_STREQ(buffer, "###");
}

TEST_F(VbEntries, WithoutAReaderThereIsNothingToCopy) {
  char buffer[4] = "###";
  EXPECT_EQ(FsortReadVB(subject, buffer), 0);
  EXPECT_STREQ(buffer, "###");
  EXPECT_EQ(entry_lock_depth(), 0u);
}

TEST_F(VbEntries, NullHandlesAreHarmless) {
  char buffer[4] = "###";
  EXPECT_EQ(FsortRetrieveVB(nullptr, buffer), 0);
  EXPECT_EQ(FsortReadVB(nullptr, buffer), -1);
  EXPECT_EQ(FsortMessageVB(nullptr, buffer), 0);
  EXPECT_STREQ(buffer, "###");
}

}  // namespace

}  // namespace fsort::test
