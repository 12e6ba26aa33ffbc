// Appending to the key table.
#include "keys/key_table.h"

#include "keys_fixture.h"

namespace fsort::test {
namespace {

class KeyCreate : public KeysFixture {};

TEST_F(KeyCreate, AppendsEntriesInOrder) {
  Sequence table{};
  const Raised r = raised([&] {
    key_create(3, 4, kBackward, &table, 2, kKeyCharacter, 0, 1);
    key_create(5, kOpenLength, kForward, &table, 0, kKeyGoverning, 7, 0);
  });
  EXPECT_FALSE(r.caught);
  EXPECT_EQ(key_count(), 2);
  EXPECT_EQ(table_text(), "char f2 s3 l4 < down | govern f0 s5 lopen > n7");
  EXPECT_EQ(key_entry(1).sequence, &table);
}

TEST_F(KeyCreate, RefusesTheThirtyThirdEntry) {
  Sequence table{};
  auto create = [&] { key_create(0, 1, kForward, &table, 0, kKeyCharacter, 0, 0); };
  for (int i = 0; i < kMaxKeys; ++i) ASSERT_FALSE(raised(create).caught);
  EXPECT_EQ(raised(create).text(), "Too many key fields used\n");
  EXPECT_EQ(key_count(), kMaxKeys);
}

}  // namespace
}  // namespace fsort::test
