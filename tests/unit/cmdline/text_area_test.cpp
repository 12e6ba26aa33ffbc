// The two measures of the text buffer of an expansion.
#include "cmdline/text_area.h"

#include <memory>
#include <string>

#include "support/instance_fixture.h"

namespace fsort {
namespace {

using test::Raised;
using test::raised;
using test::Texts;

class TextAreaTest : public test::InstanceFixture {
 protected:
  TextArea& area(std::uint32_t size) {
    store_ = std::make_unique<char[]>(size);
    area_ = TextArea{.base = store_.get(), .size = size, .used = 0, .left = size};
    return area_;
  }
  Raised store(const char* token) {
    return raised([&] { static_cast<void>(text_store(area_, token)); });
  }
  Raised scan(std::uint32_t length) {
    return raised([&] { text_charge_scan(area_, length); });
  }

 private:
  std::unique_ptr<char[]> store_;
  TextArea area_{};
};

TEST_F(TextAreaTest, AcceptsAnExactFit) {
  TextArea& a = area(6);
  EXPECT_STREQ(text_store(a, "ab"), "ab");
  EXPECT_STREQ(text_store(a, "cd"), "cd");
  EXPECT_EQ(a.left, 0u);
  EXPECT_EQ(store("").texts, Texts{"Command line buffer overflow\n"});
}

TEST_F(TextAreaTest, RefusesOneByteTooMany) {
  area(5);
  EXPECT_FALSE(store("ab").caught);
  EXPECT_EQ(store("c2").texts, Texts{"Command line buffer overflow\n"});
}

TEST_F(TextAreaTest, ScanFailsWhenTheCountReachesZero) {
  area(4);
  EXPECT_EQ(scan(4).texts, Texts{"Too many characters in command line\n"});
  EXPECT_FALSE(scan(3).caught);
  EXPECT_EQ(scan(1).texts, Texts{"Too many characters in command line\n"});
}

TEST_F(TextAreaTest, ScanFailsOnAnAreaFilledToTheBrim) {
  area(3);
  EXPECT_FALSE(store("ab").caught);
  EXPECT_EQ(scan(1).texts, Texts{"Too many characters in command line\n"});
}

TEST_F(TextAreaTest, ScanTakesTheLengthFromTheCountAndOneByteMoreFromTheRoom) {
  TextArea& a = area(100);
  text_charge_scan(a, 5);
  EXPECT_EQ(a.left, 95u);
  EXPECT_EQ(a.used, 6u);
}

// Kept on purpose: the two measures disagree for include files.
TEST_F(TextAreaTest, NothingIsStoredBeyondTheEndWhateverTheCountSays) {
  TextArea& a = area(8);
  text_charge_scan(a, 1);
  text_charge_scan(a, 1);
  text_charge_scan(a, 1);
  EXPECT_EQ(a.left, 5u);
  EXPECT_EQ(a.used, 6u);
  EXPECT_EQ(store("ab").texts, Texts{"Too many characters in command line\n"});
  EXPECT_EQ(scan(2).texts, Texts{"Too many characters in command line\n"});
  EXPECT_FALSE(store("a").caught);
}

}  // namespace
}  // namespace fsort
