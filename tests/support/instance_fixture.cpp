#include "support/instance_fixture.h"

#include <utility>

#include "stream/stream.h"
#include "support/dsnt.h"
#include "support/exit.h"
#include "support/osdll.h"

namespace fsort::test {

namespace {

Texts g_displayed;

struct RaisedCall {
  int (*body)(void*);
  void* argument;
  bool finished;
};

int raised_body(RaisedCall& call) {
  const int status = call.body(call.argument);
  call.finished = true;
  return status;
}

}  // namespace

const Texts& displayed() { return g_displayed; }

void clear_displayed() { g_displayed.clear(); }

std::int32_t record_display(const char* text) {
  g_displayed.emplace_back(text);
  return 0;
}

ArgVector::ArgVector(std::initializer_list<std::string> arguments) : texts_{"fsort"} {
  texts_.insert(texts_.end(), arguments.begin(), arguments.end());
  point();
}

ArgVector::ArgVector(const Texts& arguments) : texts_{"fsort"} {
  texts_.insert(texts_.end(), arguments.begin(), arguments.end());
  point();
}

void ArgVector::point() {
  for (const std::string& text : texts_) pointers_.push_back(text.c_str());
  pointers_.push_back(nullptr);
}

Texts ArgVector::left() const {
  Texts rest;
  for (std::size_t i = 1; i < texts_.size(); ++i) {
    if (pointers_[i][0] != '\0') rest.emplace_back(pointers_[i]);
  }
  return rest;
}

Raised detail::raised_run(int (*body)(void*), void* argument) {
  const std::size_t before = g_displayed.size();
  RaisedCall call{body, argument, false};
  const int status = trap_run(kTrapLevel, kRaisedTitle, raised_body, call);
  Raised result{status, !call.finished, Texts()};
  const auto first = g_displayed.begin() + static_cast<std::ptrdiff_t>(before);
  result.texts.assign(first, g_displayed.end());
  const std::string title = std::string(kRaisedTitle) + "\n";
  if (result.caught && !result.texts.empty() && result.texts.back() == title) result.texts.pop_back();
  return result;
}

void InstanceFixture::SetUp() {
  clear_displayed();
  ASSERT_EQ(current_instance, nullptr) << "an earlier test left its instance current";
  instance_ = DSAlloc();
  ASSERT_NE(instance_, nullptr);
  current_instance = instance_;
  osdll_display_register(record_display);
  finit();
  ErrorInit();
}

void InstanceFixture::run_windups() { ExitWindup(); }

void InstanceFixture::TearDown() {
  if (instance_ == nullptr) return;
  current_instance = instance_;
  EXPECT_EQ(trap_depth(), expected_traps_left_) << "traps left set";
  const std::size_t before = g_displayed.size();
  run_windups();
  const Texts shown(g_displayed.begin() + static_cast<std::ptrdiff_t>(before), g_displayed.end());
  EXPECT_EQ(shown, expected_windup_texts_) << "displayed by windups";
  EXPECT_EQ(instance_->exit.windup_count, expected_windups_left_) << "windups left registered";
  fwindup();
  DSFree(instance_);
  instance_ = nullptr;
  current_instance = nullptr;
}

}  // namespace fsort::test
