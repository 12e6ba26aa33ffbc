// Which outputs are written in safety, and what becomes of old and new file.
#include "safe_output.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "support/temp_folder.h"
#include "unfinished_files.h"

namespace fsort_tool {
namespace {

namespace fs = std::filesystem;

class SafeOutput : public ::testing::Test {
 protected:
  std::string path(const char* name) const { return folder.path(name); }

  static void put(const std::string& name, const std::string& text) {
    std::ofstream(name, std::ios::binary) << text;
  }

  std::size_t files() const {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(path("")), fs::directory_iterator()));
  }

  std::string make(const std::string& target) {
    const FilesLock lock;
    return safe_output_make(target.c_str());
  }

  fsort::test::TempFolder folder;
};

TEST_F(SafeOutput, IsForInputsByAnyNameAndNotForOtherFiles) {
  put(path("input"), "x");
  put(path("other"), "x");
  fs::create_hard_link(path("input"), path("link"));
  safe_output_begin(false);
  safe_output_note_input(fsort::program_file(path("input").c_str()));
  EXPECT_TRUE(safe_output_wanted(fsort::program_file(path("input").c_str())));
  EXPECT_TRUE(safe_output_wanted(fsort::program_file(path("link").c_str())));
  EXPECT_FALSE(safe_output_wanted(fsort::program_file(path("other").c_str())));
  EXPECT_FALSE(safe_output_wanted(fsort::program_file(path("missing").c_str())));
}

TEST_F(SafeOutput, AskedForIsForEveryFileAndForNothingElse) {
  put(path("other"), "x");
  safe_output_begin(true);
  EXPECT_TRUE(safe_output_wanted(fsort::program_file(path("other").c_str())));
  EXPECT_TRUE(safe_output_wanted(fsort::program_file(path("missing").c_str())));
  EXPECT_FALSE(safe_output_wanted(fsort::program_file(path("").c_str()))) << "a folder";
}

TEST_F(SafeOutput, TakesThePlaceOfTheOldFileAtAGoodEnd) {
  put(path("out"), "old");
  safe_output_begin(true);
  const std::string made = make(path("out"));
  ASSERT_FALSE(made.empty());
  put(made, "new");
  EXPECT_EQ(folder.content("out"), "old");
  EXPECT_EQ(safe_output_end(true), "");
  EXPECT_EQ(folder.content("out"), "new");
  EXPECT_EQ(files(), 1u);
}

TEST_F(SafeOutput, IsRemovedAfterAFailure) {
  put(path("out"), "old");
  safe_output_begin(true);
  put(make(path("out")), "new");
  EXPECT_EQ(safe_output_end(false), "");
  EXPECT_EQ(folder.content("out"), "old");
  EXPECT_EQ(files(), 1u);
}

TEST_F(SafeOutput, NamesThatAreTakenArePassedOver) {
  put(path("out"), "old");
  safe_output_begin(true);
  const std::string first = make(path("out"));
  ASSERT_EQ(safe_output_end(false), "");
  put(first, "somebody else's");
  const std::string second = make(path("out"));
  EXPECT_NE(second, first);
  put(second, "new");
  ASSERT_EQ(safe_output_end(true), "");
  EXPECT_EQ(folder.content(fs::path(first).filename().string()), "somebody else's");
  EXPECT_EQ(folder.content("out"), "new");
}

TEST_F(SafeOutput, SaysWhyItCouldNotTakeThePlace) {
  put(path("out"), "old");
  safe_output_begin(true);
  const std::string made = make(path("out"));
  ASSERT_FALSE(made.empty());
  ASSERT_TRUE(fs::remove(made));
  EXPECT_NE(safe_output_end(true).find("the sorted file could not take its place: "), std::string::npos);
  EXPECT_EQ(folder.content("out"), "old");
  EXPECT_EQ(files(), 1u);
}

TEST_F(SafeOutput, SaysThatNoFileCanBeMade) {
  safe_output_begin(true);
  EXPECT_EQ(make(path("missing_folder/out")), "");
  EXPECT_NE(safe_output_end(false).find("no new file can be made beside it"), std::string::npos);
}

}  // namespace
}  // namespace fsort_tool
