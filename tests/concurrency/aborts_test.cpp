// Sorts ended from inside every kind of callback, at the first, the middle and the last call, while other
// threads sort; each thread's next sort must work.
//
// An abort from a callback never gives the lock back, so the thread that was aborted does (crew.h); between
// that and the abort it checks that the instance is as it should be.
#include <algorithm>

#include "concurrency/crew.h"
#include "support/temp_folder.h"

namespace fsort::test {
namespace {

class Aborts : public CrewTest {
 protected:
  // Starts the script's sort once: files with a yield function for its aborts, callbacks for all others.
  std::int32_t start(CallbackKind kind, int thread) {
    Script& s = script();
    const bool files = kind == CallbackKind::kYield;
    s.handle = FsortCreate(show, files ? yield_often : nullptr);
    if (!files) return FsortStart(s.handle, give, take, "-v");
    const std::string in = "in" + std::to_string(thread);
    std::string text;
    for (const std::string& line : s.input) text += line;
    folder_.make(in, text);
    command_[thread] = "-v <" + folder_.path(in) + " >" + folder_.path("out" + std::to_string(thread));
    return FsortStart(s.handle, nullptr, nullptr, command_[thread].c_str());
  }
  // How many calls of the kind an undisturbed sort makes.
  std::uint64_t count_calls(CallbackKind kind, int thread) {
    begin_script(kLines, 5);
    EXPECT_EQ(start(kind, thread), 0);
    FsortDestroy(script().handle);
    return script().calls[static_cast<std::size_t>(kind)];
  }
  void end_at(CallbackKind kind, Ending ending, std::uint64_t call, int thread) {
    Script& s = begin_script(kLines, 5);
    s.end_at = call;
    s.end_in = kind;
    s.ending = ending;
    s.code = 100 + thread;
    const std::int32_t status = start(kind, thread);
    EXPECT_EQ(status, ending == Ending::kExit ? s.code : 1);
    EXPECT_GE(s.calls[static_cast<std::size_t>(kind)], call);
    if (kind == CallbackKind::kWrite) {
      EXPECT_EQ(s.output.size(), call - 1);
    }
    FsortDestroy(s.handle);
    if (ending == Ending::kExit) give_back_what_an_abort_left();
  }
  void end_at_first_middle_and_last(CallbackKind kind, Ending ending) {
    on_threads(kThreads, [=, this](int thread) {
      const std::uint64_t calls = count_calls(kind, thread);
      ASSERT_GE(calls, 3u);
      for (std::uint64_t i = 0; i < rounds(4); ++i) {
        for (const std::uint64_t call : {std::uint64_t{1}, calls / 2, calls})
          end_at(kind, ending, call, thread);
        EXPECT_EQ(count_calls(kind, thread), calls) << "the next sort is a whole one";
      }
    });
  }

 private:
  static constexpr std::size_t kLines = 120;
  TempFolder folder_;
  std::string command_[kThreads];
};

TEST_F(Aborts, FromReadFunctionsEndTheirOwnSortOnly) {
  end_at_first_middle_and_last(CallbackKind::kRead, Ending::kExit);
}

TEST_F(Aborts, FromWriteFunctionsEndTheirOwnSortOnly) {
  end_at_first_middle_and_last(CallbackKind::kWrite, Ending::kExit);
}

TEST_F(Aborts, FromDisplayFunctionsEndTheirOwnSortOnly) {
  end_at_first_middle_and_last(CallbackKind::kDisplay, Ending::kExit);
}

TEST_F(Aborts, FromYieldFunctionsEndTheirOwnSortOnly) {
  end_at_first_middle_and_last(CallbackKind::kYield, Ending::kExit);
}

TEST_F(Aborts, ByTheStatusOfReadFunctionsEndTheirOwnSortOnly) {
  end_at_first_middle_and_last(CallbackKind::kRead, Ending::kStatus);
}

TEST_F(Aborts, ByTheStatusOfWriteFunctionsEndTheirOwnSortOnly) {
  end_at_first_middle_and_last(CallbackKind::kWrite, Ending::kStatus);
}

}  // namespace
}  // namespace fsort::test
