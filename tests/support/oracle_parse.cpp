// Sort command to oracle tree. See the header.
#include "support/oracle_parse.h"

#include <cctype>
#include <cstdlib>
#include <map>

namespace fsort_test {
namespace {

// Arguments end at blanks outside quotes; single quotes stay, since they mark characters.
std::vector<std::string> arguments_of(const std::string& command) {
  std::vector<std::string> list(1);
  bool quoted = false;
  for (const char c : command) {
    if (c == '\'') quoted = !quoted;
    if (c == ' ' && !quoted)
      list.emplace_back();
    else
      list.back().push_back(c);
  }
  std::erase(list, "");
  return list;
}

// One side of a range, taken off the front of `text`.
int take_number(std::string* text) {
  if ((*text)[0] == '\'') {
    static const std::map<char, char> kNamed = {{'n', '\n'}, {'t', '\t'}, {'r', '\r'}, {'f', '\f'},
                                                {'b', '\b'}, {'v', '\v'}, {'\\', '\\'}};
    const bool named = (*text)[1] == '\\';
    const char c = named ? kNamed.at((*text)[2]) : (*text)[1];
    text->erase(0, named ? 4 : 3);
    return static_cast<unsigned char>(c);
  }
  char* end = nullptr;
  const long value = std::strtol(text->c_str(), &end, 0);
  text->erase(0, static_cast<std::size_t>(end - text->c_str()));
  return static_cast<int>(value);
}

Span span_of(std::string text) {
  Span span{kOpen, kOpen};
  if (text[0] != '-') span.first = take_number(&text);
  if (text.empty()) return {span.first, span.first};
  text.erase(0, 1);
  if (!text.empty()) span.last = take_number(&text);
  return span;
}

class Reader {
 public:
  explicit Reader(const std::string& command) : list_(arguments_of(command)) {}

  SortSpec spec() {
    SortSpec spec;
    for (bool global = true; global;) {
      if (take("-u"))
        spec.unique = true;
      else if (take("-i"))
        spec.invert = true;
      else if (take("-mfr"))
        spec.missing_fields = true;
      else if (take("-mcf"))
        spec.clamp_to_field = true;
      else if (take("-mcr"))
        spec.clamp_to_record = true;
      else if (take("-t"))
        spec.delimiters = spans();
      else if (take("-b"))
        spec.blanks = spans();
      else if (take("-q") || take("-rt") || take("-rv"))
        while (operand()) ++at_;
      else if (take("-l") || take("-m") || take("-fs") || take("-rs") || take("-rf"))
        ++at_;
      else
        global = false;
    }
    spec.keys = keys();
    return spec;
  }

 private:
  [[nodiscard]] bool at(const std::string& text) const { return at_ < list_.size() && list_[at_] == text; }
  bool take(const std::string& text) {
    if (!at(text)) return false;
    ++at_;
    return true;
  }
  [[nodiscard]] bool operand() const {
    return at_ < list_.size() &&
           (list_[at_][0] == '\'' || std::isdigit(static_cast<unsigned char>(list_[at_][0])));
  }
  [[nodiscard]] bool open_column() const {
    return at_ < list_.size() && list_[at_][0] == '-' && list_[at_].size() > 1 &&
           std::isdigit(static_cast<unsigned char>(list_[at_][1]));
  }
  std::vector<Span> spans() {
    std::vector<Span> result;
    for (; operand() || open_column(); ++at_) result.push_back(span_of(list_[at_]));
    return result;
  }

  std::vector<KeySpec> keys() {
    std::vector<KeySpec> result;
    while (at_ < list_.size() && !at(")")) result.push_back(key());
    return result;
  }

  KeySpec key() {
    KeySpec key;
    if (take("(")) {
      key.kind = KeyKind::group;
      key.inner = keys();
      ++at_;
    } else if (take("-k")) {
      key.kind = KeyKind::character;
    } else if (take("-n")) {
      key.kind = KeyKind::numeric;
    } else if (take("-s")) {
      key.kind = KeyKind::sign;
    }
    const bool ranked = key.kind != KeyKind::group && key.kind != KeyKind::plain;
    for (; ranked && (operand() || at("-r")); ++at_) {
      key.sequence.push_back(at("-r") ? SequencePart{true, {}} : SequencePart{false, span_of(list_[at_])});
    }
    while (at("-i") || at("-b") || at("-d") || at("-f") || at("-c")) key.lists.push_back(field_list());
    return key;
  }

  FieldList field_list() {
    FieldList list;
    for (bool option = true; option;) {
      if (take("-i"))
        list.invert = true;
      else if (take("-b"))
        list.blanks = spans();
      else if (take("-d"))
        list.decimals = spans().at(0).first;
      else
        option = false;
    }
    if (take("-f")) list.fields = spans();
    if (take("-c")) list.columns = spans();
    return list;
  }

  std::vector<std::string> list_;
  std::size_t at_ = 0;
};

}  // namespace

SortSpec read_spec(const std::string& command) { return Reader(command).spec(); }

}  // namespace fsort_test
