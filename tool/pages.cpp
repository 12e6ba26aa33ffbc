// Looking things up in the pages of the manual: see pages.h.
#include "pages.h"

#include <algorithm>

namespace fsort_tool {

extern const Page kPages[];
extern const std::size_t kPageCount;

namespace {

constexpr std::string_view kFence = "---\n";

// Where the body begins: behind the second "---".
std::size_t body_begin(std::string_view text) {
  if (!text.starts_with(kFence)) return 0;
  const std::size_t end = text.find("\n---\n", kFence.size() - 1);
  return end == std::string_view::npos ? 0 : end + kFence.size() + 1;
}

}  // namespace

std::span<const Page> all_pages() { return {kPages, kPageCount}; }

const Page* find_page(std::string_view name) {
  const std::span<const Page> pages = all_pages();
  const auto found = std::ranges::find(pages, name, &Page::name);
  return found == pages.end() ? nullptr : &*found;
}

const Page* find_option_page(std::string_view page) {
  return find_page("options/" + std::string(page) + ".md");
}

std::string page_field(const Page& page, std::string_view field) {
  const std::string_view head = page.text.substr(0, body_begin(page.text));
  const std::string label = "\n" + std::string(field) + ": ";
  const std::size_t found = head.find(label);
  if (found == std::string_view::npos) return {};
  const std::size_t begin = found + label.size();
  std::string_view value = head.substr(begin, head.find('\n', begin) - begin);
  if (value.size() >= 2 && value.front() == '"' && value.back() == '"')
    value = value.substr(1, value.size() - 2);
  return std::string(value);
}

std::string_view page_body(const Page& page) { return page.text.substr(body_begin(page.text)); }

std::string_view page_section(const Page& page, std::string_view heading) {
  const std::size_t found = page.text.find("\n" + std::string(heading) + "\n");
  if (found == std::string_view::npos) return {};
  const std::string_view rest = page.text.substr(found + 1);
  const std::string same_level = "\n" + std::string(heading.substr(0, heading.find(' ') + 1));
  const std::size_t next = rest.find(same_level);
  return next == std::string_view::npos ? rest : rest.substr(0, next + 1);
}

}  // namespace fsort_tool
