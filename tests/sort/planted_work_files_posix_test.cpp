// Whole sorts during which somebody else puts something in the place of their work files.
//
// The read function answers the end of the input only after the work files, which are closed or open just
// then, have been moved away and replaced. The sort must end with status 1 and a message, and whatever was
// put there, and what it leads to, must still be there unchanged.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

#include "fsort.h"
#include "support/temp_folder.h"

namespace fsort_test {
namespace {

using fsort::test::TempFolder;
using Names = std::vector<std::filesystem::path>;

constexpr int kLines = 20000;

std::vector<std::string> lines;
std::size_t next_line;
std::size_t taken;
std::string shown;
void (*plant)();  // what to do, and when
enum class When { kBeforeTheEndOfTheInput, kBeforeTheFirstOutput };
When plant_when;

void show(const char* text) { shown += text; }

std::int32_t give(std::uint64_t* length, const void** record) {
  *length = 0;
  *record = nullptr;
  if (next_line == lines.size()) {
    if (plant_when == When::kBeforeTheEndOfTheInput) plant();
    return 0;
  }
  *length = lines[next_line].size();
  *record = lines[next_line].data();
  ++next_line;
  return 0;
}

std::int32_t take(std::uint64_t, const void*) {
  if (taken++ == 0 && plant_when == When::kBeforeTheFirstOutput) plant();
  return 0;
}

const TempFolder* work_folder;
const TempFolder* other_folder;
Names planted;

// Moves each work file away and lets `put` make something under its name.
void replace_all(void (*put)(const std::filesystem::path& name)) {
  Names found;
  for (const auto& entry : std::filesystem::directory_iterator(work_folder->path("")))
    found.push_back(entry.path());
  for (const auto& name : found) {
    std::filesystem::rename(name, other_folder->path(name.filename().string()));
    put(name);
    planted.push_back(name);
  }
}

void plant_links() {
  replace_all([](const std::filesystem::path& name) {
    std::filesystem::create_symlink(other_folder->path("victim"), name);
  });
}

void plant_links_to_the_moved_files() {
  replace_all([](const std::filesystem::path& name) {
    std::filesystem::create_symlink(other_folder->path(name.filename().string()), name);
  });
}

void plant_pipes() {
  replace_all([](const std::filesystem::path& name) { ASSERT_EQ(mkfifo(name.c_str(), 0600), 0); });
}

void plant_files() {
  replace_all(
      [](const std::filesystem::path& name) { std::filesystem::copy(other_folder->path("victim"), name); });
}

class PlantedWorkFiles : public testing::Test {
 protected:
  void SetUp() override {
    lines.clear();
    for (int i = 0; i < kLines; ++i)
      lines.push_back(std::to_string(10000 + i * 7919 % 9973) + std::string(40, 'x'));
    work_folder = &work_;
    other_folder = &other_;
    other_.make("victim", kVictim);
  }
  void expect_stopped(void (*what)()) {
    expect_stopped(what, When::kBeforeTheEndOfTheInput, "Couldn't open working file for appending");
    expect_stopped(what, When::kBeforeTheFirstOutput, "Couldn't open working file for reading");
  }
  void expect_stopped(void (*what)(), When when, const std::string& message) {
    plant = what;
    plant_when = when;
    next_line = taken = 0;
    shown.clear();
    planted.clear();
    fsort_handle handle = FsortCreate(show, nullptr);
    const std::string command = "-q -m 300 -l 10 -w " + work_.path("");
    EXPECT_EQ(FsortStart(handle, give, take, command.c_str()), 1);
    FsortDestroy(handle);
    EXPECT_EQ(shown.substr(0, shown.find(".\r")), message + ":\nAccess is denied") << shown;
    EXPECT_FALSE(planted.empty());
    for (const auto& name : planted) {
      EXPECT_NE(std::filesystem::symlink_status(name).type(), std::filesystem::file_type::not_found) << name;
      if (what == plant_files) {
        EXPECT_EQ(work_.content(name.filename().string()), kVictim);
      }
      std::filesystem::remove(name);
    }
    EXPECT_TRUE(std::filesystem::is_empty(work_.path("")));
    EXPECT_EQ(other_.content("victim"), kVictim);
  }
  static constexpr const char* kVictim = "what somebody else would not like to lose";
  TempFolder work_;
  TempFolder other_;
};

TEST_F(PlantedWorkFiles, LinksToAnotherFileStopTheSortAndStay) { expect_stopped(plant_links); }

TEST_F(PlantedWorkFiles, LinksToTheFilesThemselvesStopTheSortAndStay) {
  expect_stopped(plant_links_to_the_moved_files);
}

TEST_F(PlantedWorkFiles, PipesStopTheSortAndStay) { expect_stopped(plant_pipes); }

TEST_F(PlantedWorkFiles, OtherFilesStopTheSortAndKeepTheirContent) { expect_stopped(plant_files); }

}  // namespace
}  // namespace fsort_test
