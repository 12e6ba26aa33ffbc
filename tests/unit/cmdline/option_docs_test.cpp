// The pages of docs/options: complete, well-formed, and true about who takes the option.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>

namespace {

namespace fs = std::filesystem;

const fs::path kRoot = fs::path(FSORT_TEST_DATA).parent_path();

std::string content_of(const fs::path& file) {
  std::ostringstream text;
  text << std::ifstream(file, std::ios::binary).rdbuf();
  return text.str();
}

std::string unquoted(const std::string& value) {
  return value.size() >= 2 && value.front() == '"' ? value.substr(1, value.size() - 2) : value;
}

// The lines "name: value" between the two "---" at the top.
std::map<std::string, std::string> front_matter(const fs::path& page) {
  std::istringstream text(content_of(page));
  std::map<std::string, std::string> fields;
  std::string line;
  std::getline(text, line);
  EXPECT_EQ(line, "---") << page;
  while (std::getline(text, line) && line != "---") {
    const std::size_t colon = line.find(": ");
    EXPECT_NE(colon, std::string::npos) << page << ": " << line;
    if (colon != std::string::npos) fields[line.substr(0, colon)] = unquoted(line.substr(colon + 2));
  }
  EXPECT_EQ(line, "---") << page << " has no end of its front matter";
  return fields;
}

std::map<std::string, std::map<std::string, std::string>> all_pages() {
  std::map<std::string, std::map<std::string, std::string>> pages;
  for (const auto& entry : fs::directory_iterator(kRoot / "docs" / "options")) {
    if (!entry.is_regular_file()) continue;  // the tool's own options are the tool's tests' business
    auto fields = front_matter(entry.path());
    const std::string option = fields["option"];
    EXPECT_TRUE(pages.emplace(option, fields).second) << option << " has two pages";
  }
  return pages;
}

TEST(OptionPages, ExistForEveryOption) {
  const auto pages = all_pages();
  for (const char* option :
       {"-rt",  "-rv", "-rf", "-w", "-wb", "-rb", "-u",  "-t",  "-i",  "-b",       "-mcf",  "-mcr",
        "-mfr", "-q",  "-v",  "-h", "-m",  "-l",  "-fs", "-rs", "-bs", "-ibs",     "-obs",  "-out",
        "-in",  "-k",  "-n",  "-s", "-d",  "-f",  "-c",  "-r",  "(",   "-#define", "-#end", "-#include"}) {
    EXPECT_EQ(pages.count(option), 1u) << option;
  }
  EXPECT_EQ(pages.size(), 36u);
}

TEST(OptionPages, HaveEveryField) {
  for (const auto& [option, fields] : all_pages()) {
    for (const char* field : {"option", "argument", "owner", "default", "see-also", "example"}) {
      EXPECT_EQ(fields.count(field), 1u) << option << " lacks " << field;
    }
    EXPECT_NE(fields.at("example").find(option), std::string::npos) << option << " is not in its example";
  }
}

TEST(OptionPages, NameASourceFileThatHandlesTheOption) {
  for (const auto& [option, fields] : all_pages()) {
    const fs::path owner = kRoot / fields.at("owner");
    ASSERT_TRUE(fs::exists(owner)) << option << ": " << owner;
    const std::string source = content_of(owner);
    // Local options are told apart by their letter alone.
    const bool by_name = source.find('"' + option) != std::string::npos;
    const bool by_letter =
        option.size() == 2 && source.find("case '" + option.substr(1) + "'") != std::string::npos;
    EXPECT_TRUE(by_name || by_letter) << option << " is not handled in " << owner;
  }
}

TEST(OptionPages, ReferToOptionsThatHaveAPage) {
  const auto pages = all_pages();
  for (const auto& [option, fields] : pages) {
    std::string list = fields.at("see-also");
    std::erase_if(list, [](char c) { return c == '[' || c == ']' || c == '"' || c == ','; });
    std::istringstream names(list);
    for (std::string name; names >> name;) {
      if (name == ")") name = "(";
      EXPECT_EQ(pages.count(name), 1u) << option << " refers to " << name;
    }
  }
}

}  // namespace
