// Making the pages: see reference.h.
#include "reference.h"

#include <string_view>

#include "options.h"
#include "pages.h"
#include "roff.h"

namespace fsort_tool {
namespace {

constexpr std::string_view kBegin = ".\\\" The list of options, made by scripts/gen_docs, begins here.\n";
constexpr std::string_view kEnd = ".\\\" The list of options ends here.\n";

// Said once in front of the list instead of on every page.
constexpr std::string_view kEverywhere = "Global option: write it before";

// The body of an option's page without the paragraph that many pages share.
std::string own_text(const Option& option) {
  const Page* page = find_option_page(option.page);
  std::string text(page_body(*page));
  const std::size_t shared = text.find(kEverywhere);
  if (shared == std::string::npos) return text;
  const std::size_t end = text.find("\n\n", shared);
  text.erase(shared, end == std::string::npos ? end : end + 2 - shared);
  return text;
}

// A link of a page leads from its folder; here it has to lead from docs/.
std::string with_links_from(std::string text, std::string_view folder) {
  for (std::size_t at = text.find("]("); at != std::string::npos; at = text.find("](", at + 2)) {
    const std::string_view target = std::string_view(text).substr(at + 2);
    if (target.starts_with("../")) {
      text.replace(at + 2, 3, "options/");
    } else if (target.substr(0, target.find(')')).ends_with(".md")) {
      text.insert(at + 2, folder);
    }
  }
  return text;
}

std::string in_table(std::string text) {
  for (std::size_t at = text.find('|'); at != std::string::npos; at = text.find('|', at + 2)) {
    text.insert(at, "\\");
  }
  return text;
}

std::string file_of(const Option& option) { return "options/" + std::string(option.page) + ".md"; }

std::string reference_entry(const Option& option) {
  const Page* page = find_option_page(option.page);
  const std::string folder = is_own(option) ? "options/tool/" : "options/";
  std::string text = "### `" + usage_of(option) + "`\n\n" + with_links_from(own_text(option), folder);
  while (text.ends_with('\n')) text.pop_back();
  text += "\n\n";
  const std::string standard = page_field(*page, "default");
  if (!standard.empty()) text += "Without it: " + standard + ".\n\n";
  return text + "    " + page_field(*page, "example") + "\n\n";
}

// "\fB-m\fR \fI<size in K>\fR"
std::string man_usage(const Option& option) {
  std::string text = "\\fB" + roff_literal(option.name) + "\\fR";
  if (option.operand.empty()) return text;
  const bool attached = option.operand.starts_with('=') || option.operand.starts_with("[=");
  return text + (attached ? "" : " ") + "\\fI" + roff_literal(option.operand) + "\\fR";
}

std::string man_entry(const Option& option) {
  const Page* page = find_option_page(option.page);
  std::string text = ".TP\n" + man_usage(option) + "\n" + roff_blocks(own_text(option), RoffPlace::item);
  const std::string standard = page_field(*page, "default");
  if (!standard.empty()) text += ".IP\n" + roff_text("Without it: " + standard + ".");
  return text;
}

std::string man_options() {
  std::string text;
  for (const GroupName& group : all_groups()) {
    text += ".SS \"" + std::string(group.title) + "\"\n";
    for (const Option& option : all_options()) {
      if (option.group == group.group) text += man_entry(option);
    }
  }
  return text;
}

}  // namespace

std::string option_reference() {
  std::string text =
      "<!-- Made by scripts/gen_docs from tool/options.cpp and docs/options. -->\n# Options\n\n"
      "All options of `fsort`, by what they are about. Those with two dashes are the tool's own and stand in "
      "front of\n"
      "the sort command line; all others are the sort command line's, in a program as at a shell. They are "
      "taken in\n"
      "upper and lower case. Global options, which are all but those of keys, stand in front of the keys or "
      "behind\n"
      "them, never between the arguments of a key. What `<range>` and `<size>` can be:\n"
      "[COMMAND-LINE.md](COMMAND-LINE.md).\n\n| option | what it does |\n|---|---|\n";
  for (const Option& option : all_options()) {
    text += "| [`" + in_table(usage_of(option)) + "`](" + file_of(option) + ") | " +
            std::string(option.summary) + " |\n";
  }
  text += "\n";
  for (const GroupName& group : all_groups()) {
    text += "## " + std::string(group.title) + "\n\n";
    for (const Option& option : all_options()) {
      if (option.group == group.group) text += reference_entry(option);
    }
  }
  text.pop_back();
  return text;
}

std::string keys_manual() {
  std::string text =
      "'\\\" t\n.\\\" Made by scripts/gen_docs from docs/KEYS.md and docs/COMMAND-LINE.md.\n"
      ".TH FSORT\\-KEYS 7 2026-11-21 \"fsort\" \"fsort manual\"\n.SH NAME\n"
      "fsort\\-keys \\- how fsort is told by what to sort\n.SH DESCRIPTION\n";
  text += roff_blocks(find_page("KEYS.md")->text, RoffPlace::page);
  text += ".SH \"The command line\"\n";
  text += roff_blocks(find_page("COMMAND-LINE.md")->text, RoffPlace::page);
  return text + ".SH \"SEE ALSO\"\n.BR fsort (1),\n.BR fsort (3)\n";
}

std::string with_option_list(const std::string& manual) {
  const std::size_t begin = manual.find(kBegin);
  const std::size_t end = manual.find(kEnd);
  if (begin == std::string::npos || end == std::string::npos || end < begin) return {};
  return manual.substr(0, begin) + std::string(kBegin) + man_options() + manual.substr(end);
}

}  // namespace fsort_tool
