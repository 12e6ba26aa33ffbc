// The message buffer of an instance without a display callback.
#include <cstddef>
#include <cstring>
#include <regex>

#include "entry/callbacks.h"
#include "entry/vb_entries.h"
#include "entry_harness.h"

namespace fsort::test {

namespace {

class MessageBuffer : public EntryTest {
 protected:
  void SetUp() override {
    EntryTest::SetUp();
    make(nullptr);
  }

  // Displays a text as the engine does, inside an export.
  static void display(const std::string& text) {
    EntryFrame frame;
    ASSERT_TRUE(instance_enter(subject, frame, EntryKind::plain));
    EXPECT_EQ(UserDisplay(text.c_str()), 0);
    instance_leave(frame);
  }
};

static_assert(offsetof(EntryState, msg_guard) == offsetof(EntryState, msg_buf) + kMessageBytes,
              "the byte that ends a full buffer lies behind it");

TEST_F(MessageBuffer, IsEmptyAfterCreation) { EXPECT_STREQ(FsortMessage(subject), ""); }

TEST_F(MessageBuffer, CollectsTextsOneAfterTheOther) {
  display("one\n");
  display("two\n");
  EXPECT_STREQ(FsortMessage(subject), "one\ntwo\n");
  EXPECT_EQ(record().entry.msg_len, 8u);
}

TEST_F(MessageBuffer, TwoTextsOf200CharactersFillItWithTheFirstAndTheBeginningOfTheSecond) {
  display(std::string(200, 'x'));
  std::string second;
  for (int i = 0; i < 200; ++i) second += static_cast<char>('a' + i % 26);
  display(second);
  const EntryState& e = record().entry;
  EXPECT_EQ(e.msg_len, 255u);
  EXPECT_EQ(std::string(e.msg_buf, 200), std::string(200, 'x'));
  EXPECT_EQ(std::string(e.msg_buf + 200, 55), second.substr(0, 55));
}

// Kept on purpose: one byte more than fits is copied either way.
TEST_F(MessageBuffer, KeptOnPurposeOneByteMoreThanFitsIsCopiedEitherWay) {
  display(std::string(200, 'x'));
  display(std::string(200, 'y'));
  const EntryState& e = record().entry;
  EXPECT_EQ(std::string(e.msg_buf + 200, 56), std::string(56, 'y'));
  EXPECT_EQ(e.msg_guard, 0);
  EXPECT_EQ(std::strlen(FsortMessage(subject)), 256u);
  display("Z");
  EXPECT_EQ(e.msg_buf[255], 'Z');
  EXPECT_EQ(e.msg_len, 255u);
  display("");
  EXPECT_EQ(std::strlen(FsortMessage(subject)), 255u);
}

TEST_F(MessageBuffer, ATextOfExactly255CharactersFitsWithItsTerminator) {
  display(std::string(255, 'x'));
  EXPECT_EQ(record().entry.msg_len, 255u);
  EXPECT_EQ(std::strlen(FsortMessage(subject)), 255u);
}

TEST_F(MessageBuffer, CopyIsAtMostTheCollectedCharactersAndATerminator) {
  display(std::string(200, 'x'));
  display(std::string(200, 'y'));
  char copy[257];
  std::memset(copy, '#', sizeof copy);
  EXPECT_EQ(FsortMessageVB(subject, copy), 255);
  EXPECT_EQ(std::string(copy), std::string(200, 'x') + std::string(55, 'y'));
  EXPECT_EQ(copy[256], '#');
}

TEST_F(MessageBuffer, CopyOfAnEmptyBufferIsEmpty) {
  char copy[4] = "###";
  EXPECT_EQ(FsortMessageVB(subject, copy), 0);
  EXPECT_STREQ(copy, "");
}

TEST_F(MessageBuffer, ReturnsTheTextAndTheTitleOfAFailure) {
  write_file("in", "a\n");
  EXPECT_EQ(start("<in >out zz"), 1);
  EXPECT_EQ(FsortMessage(subject), "zz is an invalid argument\n" + kInitTitle);
}

TEST_F(MessageBuffer, ASecondFailureShowsOnlyItsOwnTexts) {
  write_file("in", "a\n");
  EXPECT_EQ(start("<in >out zz"), 1);
  EXPECT_EQ(start("<in"), 1);
  EXPECT_STREQ(FsortMessage(subject), "Output function OR output file must be specified\n");
}

TEST_F(MessageBuffer, HoldsTheTwoTimingLinesOfAGoodSort) {
  write_file("in", "b\na\n");
  EXPECT_EQ(start("<in >out"), 0);
  const std::string lines = FsortMessage(subject);
  const std::regex timing("system time = [0-9]+:[0-9][0-9]\nelapsed time = [0-9]+:[0-9][0-9]\n");
  EXPECT_TRUE(std::regex_match(lines, timing)) << lines;
}

TEST_F(MessageBuffer, StaysEmptyWhenAGoodSortIsQuiet) {
  write_file("in", "b\na\n");
  EXPECT_EQ(start("<in >out -q"), 0);
  EXPECT_STREQ(FsortMessage(subject), "");
}

TEST_F(MessageBuffer, StaysEmptyWhenADisplayCallbackTakesTheTexts) {
  make();
  EXPECT_EQ(start("zz", read_given, take_record), 1);
  EXPECT_EQ(shown.size(), 2u);
  EXPECT_STREQ(FsortMessage(subject), "");
}

const char* message_inside = nullptr;

std::int32_t note_message(std::uint64_t* length, const void** record) {
  message_inside = FsortMessage(subject);
  *length = 0;
  *record = nullptr;
  return 0;
}

TEST_F(MessageBuffer, HasTheSameAddressInsideACallbackAndOutside) {
  const char* outside = FsortMessage(subject);
  EXPECT_EQ(start("-q", note_message, take_record), 0);
  EXPECT_EQ(message_inside, outside);
  EXPECT_EQ(FsortMessage(subject), outside);
}

}  // namespace

}  // namespace fsort::test
