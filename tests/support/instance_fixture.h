// A live instance for unit tests, without the entry layer.
//
// InstanceFixture makes a zero-filled instance current, as FsortCreate does: the display function is
// registered (it records every text), the standard streams are filled, the error state is empty. At
// tear-down the windups run, and the test fails when a windup displayed something or stayed registered, or
// when a trap was left set, unless the test said that it expects so.
//
//   TEST_F(RinInit, RefusesSeventeenNames) {
//     ArgVector args{"<a", "<b"};
//     const Raised r = raised([&] { rin_init(args.argc(), args.argv(), &description); });
//     EXPECT_EQ(r.text(), "Too many input file names\n");
//     EXPECT_EQ(args.left(), Texts{});
//   }
//
// A raise is a long jump. The function given to raised() must therefore hold no object with a destructor in
// a local at the place where the raise happens; objects of the test itself, reached by reference, are safe.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <type_traits>
#include <vector>

#include "entry/instance.h"
#include "support/error.h"

namespace fsort::test {

using Texts = std::vector<std::string>;

// Every text handed to the display function since the test began (or since clear_displayed).
[[nodiscard]] const Texts& displayed();
void clear_displayed();
// The display function that the fixture registers.
std::int32_t record_display(const char* text);

// A writable argument vector: element 0 is the command name, a null pointer ends it.
class ArgVector {
 public:
  ArgVector(std::initializer_list<std::string> arguments);
  explicit ArgVector(const Texts& arguments);

  [[nodiscard]] std::int32_t argc() const { return static_cast<std::int32_t>(texts_.size()); }
  [[nodiscard]] const char** argv() { return pointers_.data(); }
  // The argument at `index`, as it stands now ("" when it was consumed).
  [[nodiscard]] std::string at(std::size_t index) const { return pointers_.at(index); }
  // The arguments behind the command name that nobody has consumed.
  [[nodiscard]] Texts left() const;

  ArgVector(const ArgVector&) = delete;
  ArgVector& operator=(const ArgVector&) = delete;

 private:
  void point();
  Texts texts_;
  std::vector<const char*> pointers_;
};

// What a guarded call did.
struct Raised {
  int status;   // 0 (or the function's own int result) without an error, 1 after one
  bool caught;  // an error came back to the trap that raised() set
  Texts texts;  // all texts displayed meanwhile, without the title of that trap

  // The first text displayed, "" when there was none. Ends in a line break as displayed.
  [[nodiscard]] std::string text() const { return texts.empty() ? std::string() : texts.front(); }
};

// The title of the trap that raised() sets; never part of the texts it returns.
inline constexpr const char* kRaisedTitle = "Raised in a test";

namespace detail {
Raised raised_run(int (*body)(void*), void* argument);
}

// Runs `function` under a trap. It takes nothing and returns nothing or an int.
template <class Function>
Raised raised(Function&& function) {
  using Plain = std::remove_reference_t<Function>;
  const auto body = [](void* raw) -> int {
    auto& call = *static_cast<Plain*>(raw);
    if constexpr (std::is_same_v<std::invoke_result_t<Plain&>, int>) {
      return call();
    } else {
      call();
      return 0;
    }
  };
  return detail::raised_run(body, &function);
}

class InstanceFixture : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Runs the windups now (again at tear-down, where the list is then empty).
  void run_windups();
  // The record of this test, for white-box checks.
  [[nodiscard]] Instance& instance() { return *instance_; }

  // Expectations for tear-down; the defaults are what a test that leaves no trace needs.
  Texts expected_windup_texts_;          // displayed while the windups ran
  std::uint16_t expected_windups_left_;  // registered after the run (an error in a windup ends the run)
  std::uint32_t expected_traps_left_;    // stale traps that a body left set on purpose

  InstanceFixture() : expected_windups_left_(0), expected_traps_left_(0), instance_(nullptr) {}

 private:
  Instance* instance_;
};

}  // namespace fsort::test
