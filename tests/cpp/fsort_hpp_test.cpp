// The C++ layer against the shared library: what comes out, what is thrown where, and that a sort ends well
// after it.
#include "fsort.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <list>
#include <sstream>
#include <thread>

#include "support/temp_folder.h"

namespace {

using Texts = std::vector<std::string>;

Texts numbers(int count) {
  Texts texts;
  for (int i = 0; i < count; ++i) texts.push_back(std::to_string(1000 + i * 7919 % count));
  return texts;
}
Texts in_order(Texts texts) {
  std::sort(texts.begin(), texts.end());
  return texts;
}

TEST(Sorted, GivesTheRecordsOfAnyRangeOfTextsInOrder) {
  EXPECT_EQ(fsort::sorted(Texts{"b", "a", "c"}), (Texts{"a", "b", "c"}));
  EXPECT_EQ(fsort::sorted(std::list<std::string_view>{"b", "a"}), (Texts{"a", "b"}));
  const std::array<const char*, 2> plain = {"b", "a"};
  EXPECT_EQ(fsort::sorted(plain), (Texts{"a", "b"}));
  const auto made =
      std::views::iota(0, 3) | std::views::transform([](int i) { return std::string(1, "cab"[i]); });
  EXPECT_EQ(fsort::sorted(made), (Texts{"a", "b", "c"}));
  std::istringstream words("pear apple fig");
  EXPECT_EQ(fsort::sorted(std::views::istream<std::string>(words)), (Texts{"apple", "fig", "pear"}));
  EXPECT_EQ(fsort::sorted(Texts{}), Texts{});
}
TEST(Sorted, TakesASortCommandLine) {
  EXPECT_EQ(fsort::sorted(Texts{"a", "c", "b", "c"}, "-q -u -i"), (Texts{"c", "b", "a"}));
  EXPECT_EQ(fsort::sorted(Texts{"10", "9", "-1"}, "-q -n"), (Texts{"-1", "9", "10"}));
}
TEST(Sorted, KeepsBytesOfEveryValue) {
  const std::string zero("b\0\n", 3);
  const std::string high = "a\xff";
  EXPECT_EQ(fsort::sorted(Texts{zero, high}, "-q -k 0-255"), (Texts{high, zero}));
}

TEST(Sort, CallsAReaderAndAWriterWithTheirOwnState) {
  Texts in = numbers(500);
  Texts out;
  std::size_t next = 0;
  EXPECT_TRUE(fsort::sort(
      "-q",
      [&]() -> std::optional<std::string_view> {
        if (next == in.size()) return std::nullopt;
        return in[next++];
      },
      [&](std::string_view record) { out.emplace_back(record); }));
  EXPECT_EQ(out, in_order(in));
}
TEST(Sort, EndsWhenTheWriterHasEnough) {
  Texts out;
  EXPECT_FALSE(fsort::sort("-q", numbers(100), [&](std::string_view record) {
    out.emplace_back(record);
    return out.size() < 3;
  }));
  EXPECT_EQ(out, (Texts{"1000", "1001", "1002"}));
}
TEST(Sort, SortsFilesAndSaysHowLongItTook) {
  const fsort::test::TempFolder folder;
  const std::string in = folder.make("in", "b\na\n");
  const std::string said = fsort::sort_files("<" + in + " >" + folder.path("out"));
  EXPECT_EQ(folder.content("out"), "a\nb\n");
  EXPECT_NE(said, "");
  EXPECT_EQ(fsort::sort_files("-q <" + in + " >" + folder.path("out")), "");
}

TEST(Errors, CarryTheMessagesAndTheStatus) {
  try {
    static_cast<void>(fsort::sorted(Texts{"a"}, "-q -zz"));
    FAIL() << "nothing was thrown";
  } catch (const fsort::error& e) {
    EXPECT_EQ(e.status(), 1);
    EXPECT_EQ(std::string(e.what()), "-zz is an invalid argument\nError detected in fsort initialization\n");
  }
  EXPECT_THROW(fsort::sort_files("-q <no-such-file-anywhere"), fsort::error);
  EXPECT_THROW(static_cast<void>(fsort::sorted(Texts{"a"}, std::string(FSORT_MAX_COMMAND + 1, ' '))),
               fsort::error);
}
TEST(Errors, OfARecordThatTheKeysDoNotFitCarryItsText) {
  try {
    static_cast<void>(fsort::sorted(Texts{"one field"}, "-q -t ';' -k -f 3"));
    FAIL() << "nothing was thrown";
  } catch (const fsort::error& e) {
    EXPECT_NE(std::string(e.what()).find("Not enough fields in record"), std::string::npos) << e.what();
  }
}
TEST(Errors, AnEmptyRecordIsRefused) {
  EXPECT_THROW(static_cast<void>(fsort::sorted(Texts{"a", "", "b"})), std::invalid_argument);
}

struct Mine {
  int number;
};

TEST(Exceptions, OfAReaderComeOutOfTheSortAtTheFirstTheMiddleAndTheLastCall) {
  for (const int at : {0, 50, 100}) {
    int calls = 0;
    const auto reader = [&]() -> std::optional<std::string_view> {
      if (calls == at) throw Mine{at};
      ++calls;
      return "record";
    };
    try {
      fsort::sort("-q", reader, [](std::string_view) {});
      FAIL() << at;
    } catch (const Mine& mine) {
      EXPECT_EQ(mine.number, at);
    }
    EXPECT_EQ(fsort::sorted(Texts{"b", "a"}), (Texts{"a", "b"})) << "the next sort is a whole one";
  }
}
TEST(Exceptions, OfAWriterComeOutOfTheSortAtTheFirstTheMiddleAndTheLastCall) {
  for (const std::size_t at : {1U, 50U, 100U}) {
    std::size_t calls = 0;
    EXPECT_THROW(fsort::sort("-q", numbers(100),
                             [&](std::string_view) {
                               if (++calls == at) throw Mine{1};
                             }),
                 Mine);
    EXPECT_EQ(calls, at);
    EXPECT_EQ(fsort::sorted(Texts{"b", "a"}), (Texts{"a", "b"}));
  }
}
TEST(Exceptions, OfARangeComeOutOfTheSort) {
  const auto broken = std::views::iota(0, 10) | std::views::transform([](int i) {
                        if (i == 7) throw Mine{i};
                        return std::to_string(i);
                      });
  EXPECT_THROW(static_cast<void>(fsort::sorted(broken)), Mine);
}

TEST(Instances, SortInsideEachOthersCallables) {
  Texts inner;
  Texts outer;
  fsort::sort("-q", Texts{"b", "a"}, [&](std::string_view record) {
    outer.emplace_back(record);
    for (const std::string& text : fsort::sorted(Texts{"2", "1"})) inner.push_back(outer.back() + text);
  });
  EXPECT_EQ(outer, (Texts{"a", "b"}));
  EXPECT_EQ(inner, (Texts{"a1", "a2", "b1", "b2"}));
}
TEST(Instances, OfAnInnerSortThatFailsLeaveTheOuterOneAlone) {
  Texts outer;
  fsort::sort("-q", Texts{"b", "a"}, [&](std::string_view record) {
    outer.emplace_back(record);
    EXPECT_THROW(static_cast<void>(fsort::sorted(Texts{"x"}, "-zz")), fsort::error);
  });
  EXPECT_EQ(outer, (Texts{"a", "b"}));
}
TEST(Instances, OnManyThreadsSortTheirOwnRecords) {
  std::vector<std::thread> threads;
  std::vector<Texts> results(6);
  for (std::size_t i = 0; i < results.size(); ++i) {
    threads.emplace_back([&results, i] { results[i] = fsort::sorted(numbers(200 + static_cast<int>(i))); });
  }
  for (std::thread& thread : threads) thread.join();
  for (std::size_t i = 0; i < results.size(); ++i)
    EXPECT_EQ(results[i], in_order(numbers(200 + static_cast<int>(i)))) << i;
}
TEST(Instances, CanBeMoved) {
  fsort::instance first;
  const fsort_handle handle = first.get();
  fsort::instance second = std::move(first);
  EXPECT_EQ(second.get(), handle);
  Texts out;
  const Texts in = {"b", "a"};
  std::size_t next = 0;
  second.start(
      "-q",
      [&]() -> std::optional<std::string_view> {
        if (next == in.size()) return std::nullopt;
        return in[next++];
      },
      [&](std::string_view record) { out.emplace_back(record); });
  EXPECT_EQ(out, (Texts{"a", "b"}));
}
TEST(Instances, TakeRecordsFromAnotherThreadThroughThePipe) {
  fsort::instance sorter;
  const Texts in = numbers(300);
  std::thread peer([&] {
    for (const std::string& record : in) sorter.send(record);
    sorter.end_of_input();
  });
  Texts out;
  sorter.start_from_pipe("-q", [&](std::string_view record) { out.emplace_back(record); });
  peer.join();
  EXPECT_EQ(out, in_order(in));
}
TEST(Instances, GiveRecordsToAnotherThreadThroughThePipe) {
  fsort::instance sorter;
  const Texts in = numbers(300);
  Texts out;
  std::thread peer([&] {
    while (const auto record = sorter.retrieve()) out.emplace_back(*record);
  });
  std::size_t next = 0;
  sorter.start_to_pipe("-q", [&]() -> std::optional<std::string_view> {
    if (next == in.size()) return std::nullopt;
    return in[next++];
  });
  peer.join();
  EXPECT_EQ(out, in_order(in));
}

}  // namespace
