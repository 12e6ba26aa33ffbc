// The caller's read and write functions were called through the engine's own function types, in which a
// record is an address of bytes and not const void*. That is undefined, and a build with clang's checks of
// function types ended at the first record.
#include <cstring>
#include <string>
#include <vector>

#include "unit/entry/entry_harness.h"

namespace fsort::test {
namespace {

std::vector<std::string> taken;
int given = 0;

std::int32_t give(std::uint64_t* length, const void** record) {
  static const char* const kRecords[] = {"b", "a"};
  *length = given < 2 ? 1 : 0;
  *record = given < 2 ? kRecords[given] : nullptr;
  ++given;
  return 0;
}

// Says that there is a record and does not say where.
std::int32_t give_no_address(std::uint64_t* length, const void**) {
  *length = 3;
  return 0;
}

std::int32_t take(std::uint64_t length, const void* record) {
  taken.emplace_back(static_cast<const char*>(record), static_cast<std::size_t>(length));
  return 0;
}

class CallbacksInTheirOwnType : public EntryTest {
 protected:
  void SetUp() override {
    EntryTest::SetUp();
    taken.clear();
    given = 0;
    make(show);
  }
};

TEST_F(CallbacksInTheirOwnType, PassRecordsAsTheCallerDeclaresThem) {
  EXPECT_EQ(FsortStart(subject, give, take, "-q"), 0);
  EXPECT_EQ(taken, (std::vector<std::string>{"a", "b"}));
}

TEST_F(CallbacksInTheirOwnType, AReadFunctionThatStoresNoAddressIsRefused) {
  EXPECT_EQ(FsortStart(subject, give_no_address, take, "-q"), 1);
  ASSERT_FALSE(shown.empty());
  EXPECT_EQ(shown[0], "Error encountered on reading record\n");
}

}  // namespace
}  // namespace fsort::test
