// The table of options: true about the engine, and complete with the pages of docs/options.
#include "options.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "fsort.h"
#include "pages.h"
#include "support/temp_folder.h"

namespace fsort_tool {
namespace {

namespace fs = std::filesystem;

std::string said;  // by the engine in the latest sort

void note(const char* text) { said += text; }

int32_t no_record(uint64_t* length, const void** record) {
  *length = 0;
  *record = nullptr;
  return 0;
}

int32_t drop_record(uint64_t, const void*) { return 0; }

// Sorts nothing with a command line. Result: what the engine said.
std::string answer_to(const std::string& command) {
  said.clear();
  fsort_handle handle = FsortCreate(note, nullptr);
  FsortStart(handle, no_record, drop_record, command.c_str());
  FsortDestroy(handle);
  return said;
}

bool is_refused(const std::string& answer) { return answer.find("invalid argument") != std::string::npos; }

// The files that the examples name, in a folder that becomes the current one.
class ExampleFiles {
 public:
  ExampleFiles() : before_(fs::current_path()) {
    std::string line = "+123456789";
    for (int field = 0; field < 5; ++field) line += ",12345678901234567890;1\t12345678901234567890";
    line += '\n';
    for (const char* name : {"in", "a.txt", "b.txt", "a.csv", "log.txt"}) folder_.make(name, line + line);
    // 80 bytes each as fixed records; the first two are the length of what follows.
    const std::string record = std::string("\0\x4e", 2) + std::string(78, '7');
    folder_.make("data", record + record);
    folder_.make("keys.fso", "-k -c 0-3\n");
    fs::current_path(folder_.path("."));
  }
  ~ExampleFiles() { fs::current_path(before_); }
  ExampleFiles(const ExampleFiles&) = delete;
  ExampleFiles& operator=(const ExampleFiles&) = delete;

 private:
  fs::path before_;
  fsort::test::TempFolder folder_;
};

TEST(OptionTable, EveryOptionOfASortCommandLineIsTakenAsItsPageShowsIt) {
  const ExampleFiles files;
  for (const Option& option : all_options()) {
    if (is_own(option)) continue;
    const Page* page = find_option_page(option.page);
    ASSERT_NE(page, nullptr) << option.name;
    std::string command = page_field(*page, "example");
    if (command.starts_with("cat big.txt | "))
      command = "fsort <in" + command.substr(command.find("fsort") + 5);
    ASSERT_TRUE(command.starts_with("fsort ")) << command;
    EXPECT_NE(command.find(option.name), std::string::npos) << command;
    said.clear();
    fsort_handle handle = FsortCreate(note, nullptr);
    const bool shows_grammar = option.name == "-h";
    const int32_t status = shows_grammar ? FsortStart(handle, no_record, drop_record, "-h")
                                         : FsortStart(handle, nullptr, nullptr, command.substr(6).c_str());
    FsortDestroy(handle);
    EXPECT_EQ(status, shows_grammar ? 1 : 0) << command << "\n" << said;
    EXPECT_FALSE(is_refused(said)) << command << "\n" << said;
  }
}

// Every name of up to three letters, and every option with a letter more or another last one.
std::set<std::string> names_to_try() {
  std::set<std::string> names;
  const std::string letters = "abcdefghijklmnopqrstuvwxyz0123456789#";
  for (const char a : letters) {
    names.insert({'-', a});
    for (const char b : letters) {
      names.insert({'-', a, b});
      for (const char c : letters) names.insert({'-', a, b, c});
    }
  }
  for (const char c : letters) {
    for (const Option& option : all_options()) {
      if (is_own(option) || !option.name.starts_with('-')) continue;
      names.insert(std::string(option.name) + c);
      names.insert(std::string(option.name.substr(0, option.name.size() - 1)) + c);
    }
  }
  return names;
}

// In a list of fields, which may begin without a key in front of it, some options are known by their letter
// alone: -ix is -i.
bool is_known_by_its_letter(const std::string& name) {
  return name.starts_with("-b") || name.starts_with("-d") || name.starts_with("-i");
}

TEST(OptionTable, TheEngineRefusesEveryNameThatIsNotInIt) {
  int refused = 0;
  for (const std::string& name : names_to_try()) {
    if (find_option(name) != nullptr || is_known_by_its_letter(name)) continue;
    EXPECT_TRUE(is_refused(answer_to("-q " + name))) << name;
    refused += 1;
  }
  EXPECT_GT(refused, 40000);
}

TEST(OptionTable, NamesEachOptionOnceAndGroupsStandTogether) {
  std::set<std::string_view> names;
  Group last = Group::keys;
  for (const Option& option : all_options()) {
    EXPECT_TRUE(names.insert(option.name).second) << option.name;
    EXPECT_GE(option.group, last) << option.name << " stands apart from its group";
    last = option.group;
    EXPECT_EQ(option.group == Group::tool, is_own(option)) << option.name;
  }
}

TEST(OptionTable, SummariesAreShortAndAreNoSentences) {
  for (const Option& option : all_options()) {
    EXPECT_GE(option.summary.size(), 8U) << option.name;
    EXPECT_LE(option.summary.size(), 75U) << option.name;
    EXPECT_NE(option.summary.back(), '.') << option.name;
  }
}

TEST(OptionTable, TenOptionsAreTheOnesUsedMost) {
  EXPECT_EQ(std::ranges::count_if(all_options(), [](const Option& option) { return option.often; }), 10);
}

TEST(OptionTable, OperandsHaveAKindAndOnlyThey) {
  for (const Option& option : all_options()) {
    EXPECT_EQ(option.operand.empty(), option.kind == Operand::none) << option.name;
    EXPECT_EQ(option.words.empty(), option.kind != Operand::word) << option.name;
  }
}

TEST(OptionTable, EveryRowHasItsPageAndThePageNamesTheSameOperand) {
  for (const Option& option : all_options()) {
    const Page* page = find_option_page(option.page);
    ASSERT_NE(page, nullptr) << option.name;
    EXPECT_EQ(page_field(*page, "option"), option.name);
    EXPECT_EQ(page_field(*page, "argument"), option.operand) << option.name;
    EXPECT_FALSE(page_field(*page, "example").empty()) << option.name;
    EXPECT_GT(page_body(*page).size(), 20U) << option.name;
  }
}

TEST(OptionTable, EveryPageOfAnOptionHasItsRow) {
  std::size_t pages = 0;
  for (const Page& page : all_pages()) {
    if (!page.name.starts_with("options/")) continue;
    EXPECT_NE(find_option(page_field(page, "option")), nullptr) << page.name;
    pages += 1;
  }
  EXPECT_EQ(pages, all_options().size());
}

TEST(OptionTable, PagesReferToOptionsThatExist) {
  for (const Option& option : all_options()) {
    std::string list = page_field(*find_option_page(option.page), "see-also");
    std::erase_if(list, [](char c) { return c == '[' || c == ']' || c == '"' || c == ','; });
    std::istringstream names(list);
    for (std::string name; names >> name;) {
      if (name == ")") continue;
      EXPECT_NE(find_option(name), nullptr) << option.name << " refers to " << name;
    }
  }
}

TEST(OptionTable, NamesAreFoundInAnyCase) {
  ASSERT_NE(find_option("-MFR"), nullptr);
  EXPECT_EQ(find_option("-MFR")->name, "-mfr");
  EXPECT_EQ(find_option("-zz"), nullptr);
  EXPECT_EQ(find_option(""), nullptr);
}

TEST(OptionTable, UsageJoinsNameAndOperandAsTheyAreWritten) {
  EXPECT_EQ(usage_of(*find_option("-q")), "-q");
  EXPECT_EQ(usage_of(*find_option("-rf")), "-rf <size>");
  EXPECT_EQ(usage_of(*find_option("--explain")), "--explain[=<records>]");
}

}  // namespace
}  // namespace fsort_tool
