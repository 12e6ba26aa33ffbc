// Random sort descriptions and their command lines. See the header.
#include "support/key_gen.h"

#include <algorithm>
#include <cstdio>

namespace fsort_test {
namespace {

constexpr int kMostTableRows = 32;

SequencePart bytes(int first, int last) { return {false, {first, last}}; }
SequencePart back() { return {true, {}}; }

const std::vector<std::vector<SequencePart>>& character_sequences() {
  static const std::vector<std::vector<SequencePart>> kAll = {
      {bytes('a', 'b')},
      {bytes('a', 'c')},
      {bytes('c', 'a')},
      {bytes('z', 'a')},
      {bytes('a', 'z'), back(), bytes('A', 'Z')},
      {bytes('a', 'a'), bytes('C', 'A'), back(), bytes('b', 'c')},
      {bytes(0, 255)},
      {bytes(255, 0)},
      {bytes(32, 126)},
      {bytes(0, 127)},
      {bytes(' ', ' '), bytes('0', '9'), bytes('a', 'z')},
      {bytes('a', 'j'), bytes('0', '9')},
      {bytes('b', 'b'), bytes('a', 'c')},
      {bytes(48, 122)},
      {bytes(70, 100)},  // as many classes as the list sort's thresholds turn at, and one more
      {bytes(70, 101)},
      {bytes(40, 112)},
      {bytes(40, 113)},
      {bytes(32, 122)},
      {bytes(32, 123)},
      {bytes(0, 128)},
      {bytes(0, 129)},
      {bytes(10, 100)}};
  return kAll;
}

const std::vector<std::vector<SequencePart>>& sign_sequences() {
  static const std::vector<std::vector<SequencePart>> kAll = {
      {bytes('-', '-'), bytes('+', '+')},
      {bytes('b', 'b'), bytes('a', 'a')},
      {bytes('a', 'd')},
      {bytes('c', 'b'), bytes('+', '+'), bytes('a', 'a')},
      {bytes('a', 'a'), back(), bytes('b', 'c')},
      {bytes(0, 255)},
      {bytes('0', '9')}};
  return kAll;
}

const std::vector<std::vector<SequencePart>>& digit_sequences() {
  static const std::vector<std::vector<SequencePart>> kAll = {{bytes('0', '9')},
                                                              {bytes('9', '0')},
                                                              {bytes('a', 'j')},
                                                              {bytes('0', '9'), bytes('a', 'f')},
                                                              {bytes('0', '4'), back(), bytes('5', '9')}};
  return kAll;
}

// Where keys may lie: the whole record or a field, or the region of a group.
struct Place {
  bool nested = false;
  int length = kOpen;       // bytes of the region
  bool all_closed = false;  // every region of the group has an end
  bool all_whole = false;   // every region is a whole field
  bool numbers = true;      // it runs from left to right
};

class Generator {
 public:
  Generator(Random* random, const Shape& shape)
      : r_(random), shape_(shape), local_blanks_(random->chance(40)) {}

  std::vector<KeySpec> keys(const Place& place, int most, int depth) {
    std::vector<KeySpec> list;
    const int count = r_->between(1, most);
    for (int i = 0; i < count; ++i) list.push_back(key(place, depth, i == 0));
    return list;
  }

 private:
  KeySpec key(const Place& place, int depth, bool first) {
    KeySpec key;
    const int draw = r_->below(100);
    if (draw < 28 && place.numbers)
      key.kind = KeyKind::numeric;
    else if (draw < 40)
      key.kind = KeyKind::sign;
    else if (draw < 52 && depth > 0)
      key.kind = KeyKind::group;
    else if (draw < 60 && first)
      key.kind = KeyKind::plain;
    else
      key.kind = KeyKind::character;
    if (key.kind == KeyKind::sign) key.sequence = r_->pick(sign_sequences());
    if (key.kind == KeyKind::character && r_->chance(45)) key.sequence = r_->pick(character_sequences());
    if (key.kind == KeyKind::numeric && r_->chance(25)) key.sequence = r_->pick(digit_sequences());
    const int lists = r_->chance(15) ? 2 : 1;
    for (int i = 0; i < lists; ++i) key.lists.push_back(field_list(key.kind, place, lists > 1));
    if (key.kind == KeyKind::plain && key.lists[0].columns.empty() && key.lists[0].fields.empty()) {
      key.lists[0].columns = {column(key.kind, place)};
    }
    if (key.kind == KeyKind::group) finish_group(&key, place, depth);
    return key;
  }

  // A plain key at the front must not begin with an option, which would be taken as a global one. Of two
  // lists of one key the first must end, and the second be told, by columns.
  FieldList field_list(KeyKind kind, const Place& place, bool columns_needed) {
    FieldList list;
    const bool options = kind != KeyKind::plain;
    list.invert = options && r_->chance(25);
    if (options && local_blanks_ && kind != KeyKind::group && r_->chance(30)) {
      list.blanks = {r_->chance(70) ? Span{' ', ' '} : Span{'a', 'a'}};
      if (r_->chance(20)) list.blanks.push_back({'+', '+'});
    }
    if (kind == KeyKind::numeric && r_->chance(40)) {
      list.decimals = r_->chance(15) ? 0 : r_->pick<int>({1, 2, 3, 5, 255});
    }
    if (!place.nested && shape_.fields > 0 && r_->chance(80)) {
      const int fields = r_->chance(20) ? 2 : 1;
      for (int i = 0; i < fields; ++i) list.fields.push_back(field());
    }
    const bool needed =
        columns_needed || shape_.crowded || (kind == KeyKind::sign && r_->chance(85)) || r_->chance(55);
    const int columns = needed ? r_->between(1, r_->chance(20) ? 3 : 1) : 0;
    for (int i = 0; i < columns; ++i) list.columns.push_back(column(kind, place));
    return list;
  }

  Span field() {
    const int first = r_->below(shape_.fields);
    return {first, r_->chance(75) ? first : r_->below(shape_.fields)};
  }

  Span column(KeyKind kind, const Place& place) {
    const int most = place.length == kOpen ? shape_.columns : std::min(place.length, shape_.columns);
    const int first = r_->below(most);
    if (kind == KeyKind::character && place.all_whole && !local_blanks_ && r_->chance(20)) {
      return {kOpen, r_->below(3)};
    }
    if (kind == KeyKind::character && place.all_closed && r_->chance(10)) {
      return {kOpen, r_->below(place.length)};
    }
    if (kind == KeyKind::sign && r_->chance(80)) return {first, first};
    if (shape_.crowded && r_->chance(85)) return {first, first};
    if (r_->chance(25)) return {first, kOpen};
    int last = r_->below(most);
    if (last < first && (kind == KeyKind::numeric || r_->chance(60))) return {last, first};
    return {first, last};
  }

  // The columns of a group select regions; its keys must lie inside the smallest of them.
  void finish_group(KeySpec* key, const Place& place, int depth) {
    const bool with_fields = std::any_of(key->lists.begin(), key->lists.end(),
                                         [](const FieldList& list) { return !list.fields.empty(); });
    Place inside{true, kOpen, true, !place.nested, place.numbers};
    for (FieldList& list : key->lists) {
      if (list.fields.size() > 1) list.fields.resize(1);
      if (with_fields && list.fields.empty()) list.fields = {field()};
      const std::vector<Span> columns = list.columns.empty() ? std::vector<Span>{{0, kOpen}} : list.columns;
      for (const Span& c : columns) {
        int length = std::max(c.first, c.last) - std::min(c.first, c.last) + 1;
        if (c.last == kOpen) length = place.length == kOpen ? kOpen : place.length - c.first;
        const bool closed = c.last != kOpen || place.all_closed;
        if (length != kOpen)
          inside.length = inside.length == kOpen ? length : std::min(inside.length, length);
        inside.all_closed = inside.all_closed && closed;
        inside.all_whole = inside.all_whole && !closed && c.first == 0;
        inside.numbers = inside.numbers && (c.last == kOpen || c.last >= c.first);
      }
    }
    key->inner = keys(inside, 3, depth - 1);
  }

  Random* r_;
  Shape shape_;
  bool local_blanks_;
};

// A field list that runs downward names its highest field first; the field count follows the range ends only.
void keep_fields_counted(std::vector<KeySpec>* keys, int count) {
  for (KeySpec& key : *keys) {
    for (FieldList& list : key.lists) {
      for (Span& span : list.fields) {
        if (span.first >= count) std::swap(span.first, span.last);
      }
    }
  }
}

int highest_field_end(const std::vector<KeySpec>& keys) {
  int highest = 0;
  for (const KeySpec& key : keys) {
    for (const FieldList& list : key.lists) {
      for (const Span& span : list.fields) highest = std::max(highest, span.last + 1);
    }
  }
  return highest;
}

std::string number_text(int value, Random* random) {
  char text[24];
  const unsigned number = static_cast<unsigned>(value);
  if (random->chance(90)) return std::to_string(value);
  if (random->chance(50))
    std::snprintf(text, sizeof text, "0x%X", number);
  else
    std::snprintf(text, sizeof text, "0%o", number);
  return text;
}

std::string byte_text(int value, Random* random) {
  static const std::string kNamed = "\b\f\n\r\t\v\\", kLetters = "bfnrtv\\";
  const std::size_t named = kNamed.find(static_cast<char>(value));
  if (value > 0 && named != std::string::npos && random->chance(50))
    return std::string("'\\") + kLetters[named] + "'";
  const bool plain = value >= 32 && value < 127 && value != '\'' && value != '\\';
  if (plain && random->chance(85)) return std::string("'") + static_cast<char>(value) + "'";
  return number_text(value, random);
}

using Speller = std::string (*)(int, Random*);

std::string span_text(const Span& span, Speller spell, Random* random) {
  if (span.first == span.last) return spell(span.first, random);
  std::string text = span.first == kOpen ? "" : spell(span.first, random);
  text += "-";
  return span.last == kOpen ? text : text + spell(span.last, random);
}

class Renderer {
 public:
  explicit Renderer(Random* random) : r_(random) {}

  void spans(const std::string& option, const std::vector<Span>& list, Speller spell) {
    if (list.empty()) return;
    add(option);
    for (const Span& span : list) add(span_text(span, spell, r_));
  }

  void keys(const std::vector<KeySpec>& list) {
    for (const KeySpec& key : list) this->key(key);
  }

  void add(const std::string& argument) { arguments.push_back(argument); }

  std::vector<std::string> arguments;

 private:
  void key(const KeySpec& key) {
    if (key.kind == KeyKind::group) {
      add("(");
      keys(key.inner);
      add(")");
    } else if (key.kind != KeyKind::plain) {
      const char* letter = key.kind == KeyKind::numeric ? "-n" : key.kind == KeyKind::sign ? "-s" : "-k";
      add(r_->chance(95) ? letter : key.kind == KeyKind::numeric ? "-N" : letter);
    }
    for (const SequencePart& part : key.sequence)
      add(part.back ? "-r" : span_text(part.bytes, byte_text, r_));
    for (const FieldList& list : key.lists) field_list(list);
  }

  void field_list(const FieldList& list) {
    if (list.invert) add("-i");
    spans("-b", list.blanks, byte_text);
    if (list.decimals != kOpen) {
      add("-d");
      add(number_text(list.decimals, r_));
    }
    spans("-f", list.fields, number_text);
    spans("-c", list.columns, number_text);
  }

  Random* r_;
};

}  // namespace

Shape random_shape(Random* random) {
  Shape shape;
  if (random->chance(55)) shape.fields = random->between(1, 4);
  shape.delimiter = random->pick<char>({'\t', '\t', ',', ';', '.', ' '});
  shape.columns = shape.fields > 0 ? random->between(2, 5) : random->between(2, 10);
  shape.forgiving = random->chance(93);
  shape.crowded = shape.fields == 0 && random->chance(40);
  if (shape.crowded) shape.columns = 5;
  return shape;
}

SortSpec random_spec(Random* random, const Shape& shape) {
  SortSpec spec;
  do {
    spec = SortSpec{};
    spec.unique = random->chance(25);
    spec.invert = random->chance(25);
    if (shape.delimiter != '\t' || random->chance(20)) {
      spec.delimiters = {{shape.delimiter, shape.delimiter}};
      if (random->chance(15)) spec.delimiters.push_back({'|', '|'});
    }
    if (shape.fields > 0 && random->chance(25))
      spec.blanks = {random->chance(80) ? Span{' ', ' '} : Span{'b', 'a'}};
    if (shape.forgiving) {
      spec.missing_fields = shape.fields > 0 || random->chance(20);
      spec.clamp_to_field = random->chance(60);
      spec.clamp_to_record = !spec.clamp_to_field || random->chance(15);
    } else {
      spec.missing_fields = random->chance(30);
      spec.clamp_to_field = random->chance(10);
      spec.clamp_to_record = random->chance(10);
    }
    if (random->chance(4)) continue;  // no key at all: the whole record
    Generator generator(random, shape);
    spec.keys = generator.keys(Place{}, shape.crowded ? 6 : 4, 2);
    keep_fields_counted(&spec.keys, highest_field_end(spec.keys));
  } while (Oracle(spec).table_rows() > kMostTableRows);
  return spec;
}

std::vector<std::string> render(const SortSpec& spec, Random* random) {
  Renderer renderer(random);
  if (spec.unique) renderer.add(random->chance(90) ? "-u" : "-U");
  if (spec.missing_fields) renderer.add("-mfr");
  if (spec.clamp_to_field) renderer.add("-mcf");
  if (spec.clamp_to_record) renderer.add("-mcr");
  renderer.spans("-t", spec.delimiters, byte_text);
  if (spec.invert) renderer.add("-i");
  renderer.spans("-b", spec.blanks, byte_text);
  renderer.keys(spec.keys);
  return renderer.arguments;
}

std::string join(const std::vector<std::string>& arguments) {
  std::string text;
  for (const std::string& argument : arguments) text += (text.empty() ? "" : " ") + argument;
  return text;
}

}  // namespace fsort_test
