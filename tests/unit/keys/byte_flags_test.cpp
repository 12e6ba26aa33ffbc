// The blank flags of the key being emitted.
#include "keys/byte_flags.h"

#include "keys_fixture.h"

namespace fsort::test {
namespace {

TEST(ByteFlags, FillMarksExactlyTheFlaggedBytes) {
  Sequence table{};
  bflags_init();
  flags_blank(0);
  flags_blank(' ');
  flags_blank(255);
  bflags_fill(&table);
  for (unsigned b = 0; b < kByteValues; ++b) {
    const bool flagged = b == 0 || b == ' ' || b == 255;
    EXPECT_EQ(table.flags(static_cast<std::uint8_t>(b)), flagged ? kBlankInSequence : 0) << b;
  }
}

TEST(ByteFlags, FillKeepsTheNotInSequenceFlag) {
  Sequence table{};
  table.mark('x', kNotInSequence);
  bflags_init();
  flags_blank('x');
  bflags_fill(&table);
  EXPECT_EQ(table.flags('x'), kNotInSequence | kBlankInSequence);
}

TEST(ByteFlags, InitClearsAllFlags) {
  for (unsigned b = 0; b < kByteValues; ++b) flags_blank(static_cast<std::uint8_t>(b));
  bflags_init();
  Sequence table{};
  bflags_fill(&table);
  for (unsigned b = 0; b < kByteValues; ++b) EXPECT_EQ(table.flags(static_cast<std::uint8_t>(b)), 0) << b;
}

}  // namespace
}  // namespace fsort::test
