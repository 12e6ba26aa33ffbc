// The product of the scenarios. See the header.
//
// A record is three fields between tabs and a filler: a word of few letters, a number, a sign with a letter.
// Sorts that are to spill have few long records, because what is tortured are the calls of the system: a
// thousand short records make no more of them than a hundred long ones and take ten times as long. Records
// through the pipe are fewer still, because each of them changes threads twice.
#include "torture/scenarios.h"

#include "support/key_gen.h"
#include "support/oracle_parse.h"

namespace fsort_test {
namespace {

struct KeyKindRow {
  const char* name;
  const char* keys;
};

// Field 0 of a variable record begins with its two length bytes; keys of columns start behind them.
constexpr KeyKindRow kKeys[] = {
    {"the whole record", ""},
    {"columns", "-k -c 2-9"},
    {"letters of a field", "-mcf -k 'a'-'z' -f 2"},
    {"numbers", "-mcf -n -f 1"},
    {"signs and numbers", "-mcf -s '-' '+' -f 2 -c 0 -n -f 1"},
    {"one of each word, descending", "-u -i -mcf ( -k -c 0-1 -k -c 2-4 ) -f 2"},
};

struct TypeRow {
  RecordType type;
  const char* name;
  const char* title;
};

constexpr TypeRow kTypes[] = {
    {RecordType::text, "text records", "Error detected reading text record"},
    {RecordType::fixed, "fixed records", "Error detected reading fixed length record"},
    {RecordType::variable, "variable records", "Error detected reading variable record"},
};

struct Size {
  std::size_t count;
  std::size_t bytes;  // of a record
};

Size size_of(Memory memory, Passage passage) {
  const bool pipe = passage == Passage::pipe;
  if (memory == Memory::roomy) return pipe ? Size{16, 40} : Size{60, 60};
  return pipe ? Size{24, 7000} : Size{330, 480};
}

std::string body(Random* random, std::size_t bytes) {
  std::string text;
  for (int i = random->between(8, 11); i > 0; --i) text += random->pick<char>({'a', 'b', 'c'});
  text += "\t" + std::to_string(random->between(-60, 900)) + "\t";
  text += random->pick<char>({'-', '+'});
  for (int i = random->between(2, 5); i > 0; --i) text += random->pick<char>({'x', 'y', 'z'});
  text += "\t";
  while (text.size() < bytes) text += static_cast<char>('A' + text.size() % 26);
  return text;
}

// What is to come out of letters of a field: its sign would end them at once.
void unsign(std::string* text) { (*text)[text->find('\t', text->find('\t') + 1) + 1] = 'w'; }

RecordSet make_records(Random* random, RecordType type, const Size& size, bool signs) {
  RecordSet set;
  set.type = type;
  for (std::size_t i = 0; i < size.count; ++i) {
    std::string text = body(random, size.bytes + static_cast<std::size_t>(random->below(4)));
    if (!signs) unsign(&text);
    if (type == RecordType::text) text += '\n';
    if (type == RecordType::fixed) text.resize(size.bytes);
    if (type == RecordType::variable) {
      const char length[] = {static_cast<char>(text.size() & 255), static_cast<char>(text.size() >> 8)};
      text.insert(0, length, sizeof length);
    }
    set.records.push_back(text);
  }
  const std::string most = std::to_string(size.bytes + 8);
  if (type == RecordType::text) set.options = {"-rt", most};
  if (type == RecordType::fixed) set.size = size.bytes, set.options = {"-rf", std::to_string(size.bytes)};
  if (type == RecordType::variable) set.options = {"-rv", "1-0", most};
  return set;
}

const char* memory_options(Memory memory) {
  switch (memory) {
    case Memory::roomy:
      return "-l 20 -m 400";
    case Memory::spilling:
      return "-l 17 -m 1";
    case Memory::starved:
      return "-l 17 -m 1 -wb 2 -rb 2 -ibs 1 -obs 1";
  }
  return "";
}

const char* memory_name(Memory memory) {
  return memory == Memory::roomy ? "in memory" : memory == Memory::spilling ? "spilling" : "starved";
}

// Which sides a passage uses; callbacks and pipes come in three forms, chosen by `variant`.
void choose_sides(Scenario* s, std::size_t variant) {
  const bool only_in = variant % 3 == 1;
  const bool only_out = variant % 3 == 2;
  switch (s->passage) {
    case Passage::files:
    case Passage::included:
      break;
    case Passage::standard:
      s->input = s->output = Side::standard;
      break;
    case Passage::callbacks:
      s->input = only_out ? Side::file : Side::function;
      s->output = only_in ? Side::file : Side::function;
      break;
    case Passage::pipe:
      s->input = only_out ? Side::function : Side::pipe;
      s->output = only_in ? Side::function : Side::pipe;
      break;
  }
}

const char* passage_name(const Scenario& s) {
  switch (s.passage) {
    case Passage::files:
      return "by files";
    case Passage::included:
      return "two files and an include file";
    case Passage::standard:
      return "standard input and output";
    case Passage::callbacks:
      return s.input == Side::file    ? "from a file to a function"
             : s.output == Side::file ? "from a function to a file"
                                      : "by functions";
    case Passage::pipe:
      return s.input != Side::pipe    ? "from a function to the pipe"
             : s.output != Side::pipe ? "from the pipe to a function"
                                      : "by the pipe";
  }
  return "";
}

Scenario make_scenario(Memory memory, Passage passage, std::size_t type, std::size_t key) {
  Scenario s;
  const TypeRow& t = kTypes[type];
  s.memory = memory;
  s.passage = passage;
  choose_sides(&s, key);
  s.deferred = (type + key) % 2 == 1;
  s.keys = kKeys[key].keys;
  s.spec = read_spec(s.keys);
  Random random(1000 + type * 10 + key);
  const bool signs = s.keys.find("'a'-'z'") == std::string::npos;
  s.set = make_records(&random, t.type, size_of(memory, passage), signs);
  s.first_file = s.set.records.size() / 3;
  s.title = t.title;
  s.options = join(s.set.options) + " " + memory_options(memory);
  s.name = std::string(t.name) + ", key " + kKeys[key].name + ", " + memory_name(memory) + ", " +
           passage_name(s) + (s.deferred ? ", transfers put off" : "");
  return s;
}

}  // namespace

std::vector<Scenario> scenarios(Memory memory, Passage passage) {
  std::vector<Scenario> all;
  for (std::size_t type = 0; type < std::size(kTypes); ++type) {
    for (std::size_t key = 0; key < std::size(kKeys); ++key) {
      all.push_back(make_scenario(memory, passage, type, key));
    }
  }
  return all;
}

}  // namespace fsort_test
