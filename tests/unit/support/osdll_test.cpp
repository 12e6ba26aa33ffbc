// Messages: formatting into fixed buffers, longer texts whole, display and registration.
#include "support/osdll.h"

#include "memory_faults.h"
#include "stream/io_buffer.h"
#include "stream/nt_error.h"

namespace fsort::test {
namespace {

class Messages : public SupportTest {
 protected:
  void TearDown() override {
    osdll_display_register(record_display);
    SupportTest::TearDown();
  }
};

TEST_F(Messages, ErrorFormatsAndRaises) {
  const Raised r = raised([] { osdll_error("Argument \"%s\" is number %d of %lu", "-k", 3, 7ul); });
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.texts, Texts{"Argument \"-k\" is number 3 of 7\n"});
}

TEST_F(Messages, ErrorTextsAreNeverCut) {
  for (const std::size_t length : {0u, 1u, 254u, 255u, 256u, 257u, 510u, 511u, 512u, 513u, 5000u, 70000u}) {
    const std::string text(length, 'e');
    const Raised r = raised([&] { osdll_error("%s!", text.c_str()); });
    EXPECT_EQ(r.texts, Texts{text + "!\n"}) << length;
  }
}

TEST_F(Messages, ErrorTextReturnedAsItStandsIsShownWhole) {
  const std::string text(3000, 't');
  const Raised r = raised([&] { ErrorReturn(kErrorCode, text.c_str()); });
  EXPECT_EQ(r.texts, Texts{text + "\n"});
}

TEST_F(Messages, LongErrorTextIsCutToTheBufferWhenThereIsNoMemory) {
  const std::string text(300, 'e');
  const Raised r = raised([&] {
    MemoryFaults::allow_heap(0);
    osdll_error("%s", text.c_str());
  });
  EXPECT_EQ(r.texts, Texts{std::string(255, 'e') + "\n"});
}

TEST_F(Messages, LongDisplayIsCutToTheBufferWhenThereIsNoMemory) {
  MemoryFaults::allow_heap(0);
  osdll_display("%s", std::string(600, 'd').c_str());
  EXPECT_EQ(displayed(), Texts{std::string(511, 'd')});
}

TEST_F(Messages, LongErrorTextMayQuoteTheOneRaisedBefore) {
  static const char* previous;
  osdll_display_register(+[](const char* text) {
    previous = text;
    record_display(text);
    if (displayed().size() == 1) osdll_error("again: %s", previous);
    return 0;
  });
  const std::string text(2000, 'e');
  const Raised r = raised([&] { osdll_error("%s", text.c_str()); });
  EXPECT_EQ(r.texts, (Texts{text + "\n", "again: " + text + "\n\n"}));
}

TEST_F(Messages, PerrorShowsNameLineBreakAndSystemText) {
  for (const std::uint32_t code : {kErrorFileNotFound, kErrorAccessDenied, kErrorDiskFull}) {
    fs_errno = code;
    const std::string expected = std::string("Opening output file:\n") + ntstrerror(code) + "\n";
    const Raised r = raised([] { osdll_perror("Opening output file"); });
    EXPECT_EQ(r.texts, Texts{expected});
  }
}

TEST_F(Messages, PerrorShowsALongNameWhole) {
  fs_errno = kErrorPathNotFound;
  const std::string name = "File open failed on " + std::string(500, 'n');
  const Raised r = raised([&] { osdll_perror(name.c_str()); });
  EXPECT_EQ(r.texts, Texts{name + ":\n" + ntstrerror(kErrorPathNotFound) + "\n"});
}

TEST_F(Messages, DisplayTextsAreNeverCut) {
  for (const std::size_t length : {0u, 1u, 478u, 510u, 511u, 512u, 513u, 100000u}) {
    clear_displayed();
    const std::string text(length, 'd');
    osdll_display("%s", text.c_str());
    EXPECT_EQ(displayed(), Texts{text}) << length;
  }
}

TEST_F(Messages, DisplayAnswersWhatTheDisplayFunctionAnswers) {
  osdll_display_register(+[](const char* text) { return text[0] == 'x' ? -7 : 12; });
  EXPECT_EQ(osdll_display("x"), -7);
  EXPECT_EQ(osdll_display("y"), 12);
  EXPECT_EQ(osdll_display("%s", std::string(600, 'x').c_str()), -7);
}

TEST_F(Messages, DriverRegistersTheSameDisplayFunction) {
  fsort_display_register(+[](const char*) { return 3; });
  EXPECT_EQ(osdll_display("text"), 3);
}

TEST_F(Messages, LongTextIsFreedWhenTheDisplayFunctionJumpsAway) {
  const std::string text(2000, 'd');
  const std::size_t before = MemoryFaults::heap_blocks();
  osdll_display_register(+[](const char* shown) -> std::int32_t {
    record_display(shown);
    if (shown[0] == 'd') osdll_error("aborted");
    return 0;
  });
  const Raised r = raised([&] { osdll_display("%s", text.c_str()); });
  EXPECT_EQ(r.texts, (Texts{text, "aborted\n"}));
  EXPECT_EQ(MemoryFaults::heap_blocks(), before);
}

std::string g_seen_after;
// Not a temporary of the display call: that frame is jumped over.
const std::string g_inner_text(900, 'i');

std::int32_t display_nested(const char* text) {
  record_display(text);
  if (text[0] == 'o') {
    const Raised r = raised([] { osdll_display("%s", g_inner_text.c_str()); });
    EXPECT_EQ(r.status, 1);
    g_seen_after = text;
  } else if (text[0] == 'i') {
    ErrorReturn(kErrorCode, "inner aborted");
  }
  return 0;
}

TEST_F(Messages, LongTextStaysValidWhileADisplayInsideItsCallbackIsJumpedOutOf) {
  const std::size_t before = MemoryFaults::heap_blocks();
  osdll_display_register(display_nested);
  const std::string outer(800, 'o');
  osdll_display("%s", outer.c_str());
  EXPECT_EQ(g_seen_after, outer);
  EXPECT_EQ(MemoryFaults::heap_blocks(), before);
}

TEST_F(Messages, MemoryOfALongErrorIsGivenBackOnceItWasShown) {
  const std::size_t before = MemoryFaults::heap_blocks();
  const std::string text(4000, 'e');
  (void)raised([&] { osdll_error("%s", text.c_str()); });
  EXPECT_EQ(MemoryFaults::heap_blocks(), before);
}

TEST_F(Messages, PercentSignsInATextAreShownAsTheyAre) {
  const Raised r = raised([] { ErrorReturn(kErrorCode, "100%s %n %d"); });
  EXPECT_EQ(r.texts, Texts{"100%s %n %d\n"});
}

}  // namespace
}  // namespace fsort::test
