// The topics of --help: see help_topics.h.
//
//   a group of options (keys, files, ...)   its chapter, then its options with their summaries
//   options                                 all options
//   examples, topics                        a page of its own
//   an option                               its page of docs/options, with its default and an example
#include "help_topics.h"

#include <algorithm>
#include <vector>

#include "help_text.h"
#include "nearest.h"
#include "options.h"
#include "pages.h"
#include "plain_text.h"

namespace fsort_tool {
namespace {

constexpr std::size_t kUsageColumn = 32;  // where summaries begin

// Chapters that are whole pages; the section of a page is named behind it.
struct Chapter {
  std::string_view topic;
  std::string_view page;
  std::string_view section;
  std::string_view summary;
};

constexpr Chapter kChapters[] = {
    {"keys", "KEYS.md", "", "what is compared: keys, orders, sequences"},
    {"fields", "KEYS.md", "## Fields and short records", "delimiters, and records that lack a field"},
    {"records", "RECORDS.md", "", "text, fixed and variable records"},
    {"files", "help/files.md", "", "input, output, exit status"},
    {"memory", "help/memory.md", "", "memory and work files"},
    {"messages", "MESSAGES.md", "", "every message, its cause and its remedy"},
    {"command", "COMMAND-LINE.md", "", "how a command line is read: numbers, ranges, macros"},
    {"tool", "", "", "the options of the tool itself"},
    {"options", "", "", "all options"},
    {"examples", "help/examples.md", "", "command lines that work as they stand"},
    {"topics", "", "", "this list"},
};

// "  -m <size in K>                memory for the records"
std::string option_line(const Option& option) {
  std::string first = "  " + usage_of(option) + "  ";
  std::string text;
  if (columns_of(first) > kUsageColumn) {
    text = first.substr(0, first.find_last_not_of(' ') + 1) + "\n";
    first.clear();
  }
  first.append(kUsageColumn - columns_of(first), ' ');
  return text + wrapped(option.summary, kUsageColumn, first);
}

std::string group_options(const GroupName& group) {
  std::string text = std::string(group.title) + "\n";
  for (const Option& option : all_options()) {
    if (option.group == group.group) text += option_line(option);
  }
  return text;
}

std::string all_groups_text() {
  std::string text;
  for (const GroupName& group : all_groups()) text += group_options(group) + "\n";
  return text + "The page of an option:  fsort --help -k\n";
}

std::string topics_text() {
  std::string text = "Topics of fsort --help\n";
  for (const Chapter& chapter : kChapters) {
    std::string first = "  " + std::string(chapter.topic);
    first.append(kUsageColumn / 2 - first.size(), ' ');
    text += wrapped(chapter.summary, kUsageColumn / 2, first);
  }
  return text + "\nThe page of an option:  fsort --help -k\n";
}

std::string chapter_text(const Chapter& chapter) {
  std::string text;
  if (const Page* page = find_page(chapter.page); page != nullptr) {
    text = plain_text(chapter.section.empty() ? page->text : page_section(*page, chapter.section)) + "\n";
  }
  const auto groups = all_groups();
  const auto group = std::ranges::find(groups, chapter.topic, &GroupName::topic);
  if (group != groups.end()) text += group_options(*group);
  return text;
}

std::string option_text(const Option& option) {
  const Page* page = find_option_page(option.page);
  if (page == nullptr) return {};
  std::string text = usage_of(option) + "\n\n" + plain_text(page_body(*page));
  const std::string standard = page_field(*page, "default");
  if (!standard.empty()) text += "\n" + wrapped("Without it: " + standard, 2, "  ");
  return text + "\n" + wrapped("Example: " + page_field(*page, "example"), 2, "  ");
}

const Option* option_named(std::string_view topic) {
  const Option* option = find_option(topic);
  if (option == nullptr) option = find_option("-" + std::string(topic));
  if (option == nullptr) option = find_option("--" + std::string(topic));
  return option;
}

}  // namespace

std::optional<std::string> help_on(std::string_view topic) {
  if (topic.empty()) return short_help();
  if (topic == "options") return all_groups_text();
  if (topic == "topics") return topics_text();
  const std::string lower = lower_case(topic);
  const auto* chapter = std::ranges::find(kChapters, std::string_view(lower), &Chapter::topic);
  if (chapter != std::end(kChapters)) return chapter_text(*chapter);
  const Option* option = option_named(topic);
  if (option == nullptr) return std::nullopt;
  return option_text(*option);
}

std::string no_help_on(std::string_view topic) {
  std::vector<std::string_view> names;
  for (const Chapter& chapter : kChapters) names.push_back(chapter.topic);
  for (const Option& option : all_options()) names.push_back(option.name);
  const std::string_view near = nearest(topic, names);
  const std::string known = near.empty() ? "topics lists what there is" : std::string(near) + " is near";
  return "there is no help on \"" + std::string(topic) + "\"; --help " + known;
}

}  // namespace fsort_tool
