// What the readers tell of the ends of files, and lines that get their line break.
#include "recio_fixture.h"

namespace fsort::test {
namespace {

std::vector<std::string> told;

void note(const InputTail& tail) {
  const char* const kinds[] = {"dropped", "continued", "completed", "short"};
  std::string name = tail.name;
  name = name.substr(name.find_last_of("\\/") + 1);
  told.push_back(std::string(kinds[static_cast<int>(tail.kind)]) + " " + name + " " +
                 std::to_string(tail.position) + "+" + std::to_string(tail.bytes));
}

class InputWatchTest : public RecioTest {
 protected:
  void watch(bool complete) {
    told.clear();
    watch_ = {note, static_cast<std::uint8_t>(complete ? 1 : 0)};
    current_instance->read.watch = &watch_;
  }

 private:
  InputWatch watch_{};
};

TEST_F(InputWatchTest, HearsOfTheLineThatIsDropped) {
  set_up({input("in", "b\na\nxyz")});
  watch(false);
  EXPECT_EQ(read_records(), (Texts{"b\n", "a\n"}));
  EXPECT_EQ(told, Texts{"dropped in 4+3"});
}

TEST_F(InputWatchTest, HearsOfALineThatGoesOnThroughSeveralFiles) {
  set_up({input("f1", "a\nb"), input("f2", ""), input("f3", "c"), input("f4", "d\ne\n")});
  watch(false);
  EXPECT_EQ(read_records(), (Texts{"a\n", "bcd\n", "e\n"}));
  EXPECT_EQ(told, (Texts{"continued f1 2+1", "continued f2 0+0", "continued f3 0+1"}));
}

TEST_F(InputWatchTest, HearsThatALineIsDroppedBehindEmptyFiles) {
  set_up({input("f1", "a\nb"), input("f2", ""), input("f3", "")});
  watch(false);
  EXPECT_EQ(read_records(), Texts{"a\n"});
  EXPECT_EQ(told, (Texts{"continued f1 2+1", "continued f2 0+0", "dropped f3 0+0"}));
}

TEST_F(InputWatchTest, HearsOfNothingWhereNothingIsLeftOver) {
  set_up({input("f1", "a\n"), input("f2", ""), input("f3", "c\n")});
  watch(false);
  EXPECT_EQ(read_records(), (Texts{"a\n", "c\n"}));
  EXPECT_EQ(told, Texts());
}

TEST_F(InputWatchTest, CompletesTheLastLineOfEachFile) {
  set_up({input("f1", "a\nb"), input("f2", ""), input("f3", "c\n"), input("f4", "d")});
  watch(true);
  EXPECT_EQ(read_records(), (Texts{"a\n", "b\n", "c\n", "d\n"}));
  EXPECT_EQ(told, (Texts{"completed f1 2+1", "completed f4 0+1"}));
}

TEST_F(InputWatchTest, CompletesALineThatFillsTheRecordBuffer) {
  const std::string longest(511, 'x');
  set_up({input("in", longest)});
  watch(true);
  EXPECT_EQ(read_records(), Texts{longest + "\n"});
}

TEST_F(InputWatchTest, HearsOfShortFixedRecordsOfEachFile) {
  set_up({"-rf", "2", input("f1", "aabbc"), input("f2", "ddeef")});
  watch(true);
  EXPECT_EQ(read_records(), (Texts{"aa", "bb", "dd", "ee"}));
  EXPECT_EQ(told, (Texts{"short f1 4+1", "short f2 4+1"}));
}

TEST_F(InputWatchTest, HearsNothingOfAFileWithoutAByteBehindAShortRecord) {
  set_up({"-rf", "4", input("f1", "aaaabb"), input("f2", ""), input("f3", "cccc")});
  watch(false);
  EXPECT_EQ(read_records(), (Texts{"aaaa", "cccc"}));
  EXPECT_EQ(told, Texts{"short f1 4+2"});
}

}  // namespace
}  // namespace fsort::test
