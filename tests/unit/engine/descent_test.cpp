// Levels made at once and filled in one descent hold what one pass for each level leaves in them.
//
// The judge is memory relief itself without its shortcut (plain_levels): the same records, one level and one
// pass at a time. Both trees are written out bin by bin and compared.
#include "engine/descent.h"

#include "engine/relief_levels.h"
#include "engine/tuning.h"
#include "levels_fixture.h"
#include "support/fault_os.h"

namespace fsort::test {
namespace {

// A level and all below it, one line for each bin that holds or held anything.
void dump(Environment* level, const std::string& indent, Texts& lines) {
  const SublistArray& array = level->array;
  lines.push_back(indent + "level " + std::to_string(array.count) + " bins, order " +
                  std::to_string(array.order_state));
  for (std::uint32_t i = 0; i < array.count; ++i) {
    const Sublist& bin = array.bins()[i];
    if (bin.mem_count == 0 && bin.file_count == 0 && bin.child == nullptr && bin.mem_bytes == 0) continue;
    std::string line = indent + "bin " + std::to_string(i);
    for (const std::uint64_t n :
         {std::uint64_t{bin.key}, std::uint64_t{bin.position}, std::uint64_t{bin.order},
          std::uint64_t{bin.mem_count}, bin.mem_bytes, std::uint64_t{bin.file_count}, bin.file_bytes}) {
      line += " " + std::to_string(n);
    }
    lines.push_back(line);
    if (bin.child != nullptr) dump(bin.child, indent + " ", lines);
  }
}

std::uint32_t depth_of(Environment* level) {
  std::uint32_t deepest = 0;
  for (std::uint32_t i = 0; i < level->array.count; ++i) {
    Environment* child = level->array.bins()[i].child;
    if (child != nullptr) deepest = std::max(deepest, depth_of(child));
  }
  return deepest + 1;
}

// Records of equal length that share `shared` bytes and then count.
Texts alike(std::size_t shared, int count, std::size_t length) {
  Texts records;
  for (int i = 0; i < count; ++i) {
    const std::string digits = std::to_string(100000 + i * 7919 % 10007);
    const std::string text = "a-prefix-that-goes-on-and-on-and-on-and-on-and-on-and-on-and-on-and-on-and-on-";
    records.push_back(text.substr(0, shared) + digits + std::string(length - shared - digits.size(), '.'));
  }
  return records;
}

// Records that leave what the others share at each of its bytes, now early and now late, and some that are
// cut off there.
Texts leaving(std::size_t shared, std::size_t length) {
  const std::string base = alike(shared, 1, length)[0];
  Texts records;
  for (std::size_t i = 0; i < shared; ++i) {
    const std::size_t at = 1 + i * 23 % shared;
    std::string other = base;
    other[at] = at % 2 != 0 ? 'A' : 'z';
    records.insert(records.end(), 2, other);
    std::string late = base;
    late[length - 12 - at % 8] = '!';
    records.push_back(late);
    if (i % 3 == 0) records.push_back(base.substr(0, at));
  }
  return records;
}

class Descents : public Levels, public testing::WithParamInterface<Texts> {
 protected:
  // The tree after the records of each batch were relieved.
  Texts relieve(bool plain, const std::vector<Texts>& batches, std::uint32_t frame = 0) {
    driver().plain_levels = plain ? 1 : 0;
    Texts options{"-m", "20000"};
    options.insert(options.end(), GetParam().begin(), GetParam().end());
    start(options);
    driver().subdivide_kb = 5;
    Texts lines;
    for (const Texts& batch : batches) {
      feed(batch);
      empty_frames(frame);
      dump(level(), "", lines);
      EXPECT_EQ(driver().depth, 0);
    }
    deepest_ = depth_of(level());
    levels_drop();
    return lines;
  }
  void expect_the_same(const std::vector<Texts>& batches, std::uint32_t frame = 0) {
    const Texts plain = relieve(true, batches, frame);
    const std::uint32_t deepest = deepest_;
    EXPECT_EQ(relieve(false, batches, frame), plain);
    EXPECT_EQ(deepest_, deepest);
  }
  std::uint32_t deepest_ = 0;
};

INSTANTIATE_TEST_SUITE_P(Of, Descents,
                         testing::Values(Texts{}, Texts{"-i"}, Texts{"-u"}, Texts{"-k", "0-255"},
                                         Texts{"-mcr", "-k", "-c", "0-9", "-k", "-c", "50-90"},
                                         Texts{"-mcr", "-k", "-i", "-c", "90-0", "-k"},
                                         Texts{"-mcr", "-u", "-k", "-c", "0-3"},
                                         Texts{"-mcr", "-s", "0-255", "-c", "1-1", "-k", "-c", "2-60"},
                                         Texts{"-n", "-i"}),
                         [](const auto& info) { return "Keys" + std::to_string(info.index); });

TEST_P(Descents, ALongCommonPrefixGetsItsLevelsAtOnce) { expect_the_same({alike(60, 400, 100)}); }

TEST_P(Descents, LaterRecordsLeaveThePrefixAtEachOfItsBytes) {
  expect_the_same({alike(60, 400, 100), leaving(60, 100), alike(30, 300, 100), leaving(60, 100)});
}

TEST_P(Descents, ARecordMayEndWhereOthersHoldAZeroByte) {
  Texts with_zero = alike(60, 400, 100);
  for (std::string& record : with_zero) record[5] = '\0';
  Texts mixed;
  for (std::size_t i = 0; i < 20; ++i) {
    mixed.push_back(with_zero[i]);
    mixed.push_back(with_zero[i].substr(0, 5));
  }
  expect_the_same({with_zero, mixed});
}

TEST_P(Descents, RecordsOfFramesThatStayAreHandedDownAndKept) {
  expect_the_same({alike(60, 300, 100), leaving(60, 100)}, 1);
}

TEST_P(Descents, ManyRecordsGetHintsOnTheirWay) {
  expect_the_same({alike(20, 3 * static_cast<int>(kHintMinRecords), 40), leaving(20, 40)});
}

TEST_P(Descents, TheHintsOfOneDescentServeTheNext) {
  Texts records = alike(20, static_cast<int>(kHintMinRecords) + 1, 40);
  for (std::size_t i = 0, n = records.size(); i < n; ++i) records.push_back("b" + records[i].substr(1));
  expect_the_same({records});
}

TEST_P(Descents, ASampleMayBeFullBeforeTheListEnds) {
  expect_the_same({alike(60, 3 * static_cast<int>(kReliefSample) - 1, 100)});
}

TEST_P(Descents, APrefixLongerThanTheRememberedPathIsFollowedToItsEnd) {
  Texts records;
  for (int i = 0; i < 200; ++i) {
    records.push_back(std::string(kPathLevels + 20, 'a') + std::to_string(1000 + i * 7 % 200));
  }
  expect_the_same({records});
}

class Descent : public Levels {
 protected:
  // The records of a level and of all below it, as their bins list them.
  static void gather(Environment& from, Texts& lines) {
    for (std::uint32_t i = 0; i < from.array.count; ++i) {
      const Sublist& bin = from.array.bins()[i];
      const Texts texts = texts_of(bin);
      lines.insert(lines.end(), texts.begin(), texts.end());
      if (bin.child != nullptr) gather(*bin.child, lines);
    }
  }
  // All that is in the tree after the records of one bin went down to the deepest levels.
  Texts descended(bool hints) {
    start({"-m", "20000"});
    driver().subdivide_kb = 5;
    feed(alike(20, 3 * static_cast<int>(kHintMinRecords), 40));
    Sublist& bin = bin_of("a");
    bin.child = make_child(level(), bin, place_of(sort_state(), bin));
    grow_levels(bin.child, bin);
    FaultOs faults;
    if (!hints) faults.fail(OsCall::kHeapAlloc, 1, kErrorNotEnoughMemory, Lasting::kForGood);
    descend(&bin, bin.child);
    EXPECT_EQ(faults.struck(), !hints);
    EXPECT_EQ(sort_state().descent_rings != nullptr, hints);
    faults.clear();
    Texts lines;
    dump(level(), "", lines);
    gather(*bin.child, lines);
    descent_free();
    run_windups();
    return lines;
  }
};

TEST_F(Descent, WithoutMemoryForHintsRecordsComeToTheSamePlaces) {
  const Texts hinted = descended(true);
  EXPECT_GT(hinted.size(), 3 * kHintMinRecords);
  EXPECT_EQ(descended(false), hinted);
}

TEST_F(Descent, AllLevelsOfAPrefixExistAfterOneSample) {
  start({"-m", "20000"});
  driver().subdivide_kb = 5;
  feed(alike(60, 400, 100));
  Sublist& bin = bin_of("a");
  const Place place = place_of(sort_state(), bin);
  bin.child = make_child(level(), bin, place);
  ASSERT_NE(bin.child, nullptr);
  grow_levels(bin.child, bin);
  EXPECT_EQ(bin.mem_count, 400u) << "growing moves no record";
  EXPECT_GE(depth_of(bin.child), 59u);
  descend(&bin, bin.child);
  EXPECT_EQ(bin.mem_count, 0u);
  EXPECT_EQ(bin.mem_bytes, 0u);
  EXPECT_EQ(bin.head, nullptr);
}

TEST_F(Descent, WithoutMemoryForMoreLevelsThereAreAsManyAsFit) {
  start({"-m", "1"});
  driver().subdivide_kb = 5;
  feed(alike(60, 400, 100));
  empty_frames(0);
  const std::uint32_t levels_that_fit = depth_of(level());
  EXPECT_GT(levels_that_fit, 2u);
  EXPECT_LE(stk_segments(levels()), kLevelSegments + 1);
  Texts lines;
  dump(level(), "", lines);
  EXPECT_EQ(driver().depth, 0);
  std::uint64_t on_files = 0;
  for (Environment* at = level(); at != nullptr;) {
    Environment* next = nullptr;
    for (std::uint32_t i = 0; i < at->array.count; ++i) {
      on_files += at->array.bins()[i].file_count;
      if (at->array.bins()[i].child != nullptr) next = at->array.bins()[i].child;
    }
    at = next;
  }
  EXPECT_EQ(on_files, 400u);
}

TEST_F(Descent, ShownLevelsAreMadeOneByOne) {
  start({"-v"});
  driver().verbosity = 100;
  driver().subdivide_kb = 5;
  feed(alike(12, 400, 100));
  clear_displayed();
  empty_frames(0);
  const auto shown_levels = std::count_if(displayed().begin(), displayed().end(), [](const std::string& t) {
    return t.find("Subdivide") != std::string::npos;
  });
  EXPECT_EQ(static_cast<std::uint32_t>(shown_levels) + 1, depth_of(level()));
}

}  // namespace
}  // namespace fsort::test
