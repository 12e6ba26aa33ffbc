// Writes a corpus of sorts as files, so that the tool of every system can make the same sorts.
//
//   make_corpus <seed> <count> <folder>
//
// Sort number i follows from seed + i alone. Its folder <folder>/<seed + i> holds
//
//   arguments   the tool's arguments, a zero byte behind each
//   plan        lines of name=value: stdin and stdout (none, file or pipe), regime (memory, starved or fault)
//   stdin       what goes into standard input
//   files/      what lies in the folder where the tool runs, folders included
//
// All names in arguments are relative to that folder, so no argument depends on the system. The keys, records
// and regimes are those of the random sorts of the library. One sort in five has something wrong with it: a
// stray or missing argument, a file or folder that is not there, damaged records.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>

#include "support/key_gen.h"
#include "support/record_gen.h"
#include "support/spill_plan.h"

namespace fsort_test {
namespace {

namespace fs = std::filesystem;
using Texts = std::vector<std::string>;

struct Sort {
  std::string regime;
  Texts options, keys, names;  // the arguments: options and keys first, or the names of the files
  bool names_first = false;
  std::map<std::string, std::string> files;
  Texts folders;
  std::string standard_input, stdin_kind = "none", stdout_kind = "pipe";
};

void append(Texts* texts, const Texts& more) { texts->insert(texts->end(), more.begin(), more.end()); }

// Arguments written as one text, with blanks in between.
Texts words(const std::string& text) {
  Texts list;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find(' ', at), text.size());
    if (end > at) list.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  return list;
}

// --- resources -------------------------------------------------------------------------------------------

void choose_resources(Random* random, const SortSpec& spec, Sort* sort) {
  if (random->chance(60)) sort->options.push_back(random->pick<std::string>({"-q", "-Q"}));
  if (random->chance(12)) sort->options.push_back("-v");
  if (sort->regime == "starved") {
    append(&sort->options, spilling_regime(random, spec));
    if (random->chance(80)) {
      append(&sort->options, {"-w", random->pick<std::string>({"work", ".\\work", "work\\", "./work"})});
      sort->folders.push_back("work");
    }
    return;
  }
  const auto sometimes = [&](int percent, const char* option, const Texts& values) {
    if (random->chance(percent)) append(&sort->options, {option, random->pick(values)});
  };
  sometimes(15, "-l", {"10", "20", "129", "256", "600"});
  sometimes(20, "-fs", {"1", "5", "100", "20000", "2m"});
  sometimes(10, "-rs", {"1", "8", "100"});
  sometimes(40, "-m", {"2000", "20000", "64k"});
  sometimes(15, "-ibs", {"1", "2", "1000"});
  sometimes(15, "-obs", {"1", "2", "1000"});
}

// --- files -----------------------------------------------------------------------------------------------

// A name in the folder of the run; now and then one that asks something of the system.
std::string file_name(Random* random, const std::string& plain, Sort* sort) {
  const int draw = random->below(100);
  if (draw < 60) return plain;
  if (draw < 75) return "./" + plain;
  if (draw < 80) return "gr\xC3\xBC\xC3\x9F-\xE6\x97\xA5 " + plain;  // letters of several alphabets, a blank
  if (draw < 85) return std::string(100, 'n') + plain;
  sort->folders.push_back("sub/Deep er");
  return draw < 92 ? "sub\\Deep er\\" + plain : "sub/Deep er/" + plain;
}

// Where a file of that name lies: slashes between folders.
std::string place_of(std::string name) {
  for (char& c : name) c = c == '\\' ? '/' : c;
  return name;
}

// The records as one file, two files or standard input, and the arguments that name them.
void choose_input(Random* random, const RecordSet& set, Sort* sort) {
  const std::string bytes = concatenate(set.records);
  const int draw = random->below(100);
  if (draw < 25) {
    sort->standard_input = bytes;
    sort->stdin_kind = random->chance(50) ? "file" : "pipe";
    return;
  }
  if (draw < 40) {
    const std::size_t half = set.records.size() / 2;
    const auto middle = set.records.begin() + static_cast<std::ptrdiff_t>(half);
    const std::string first = file_name(random, "a.dat", sort), second = file_name(random, "b.dat", sort);
    sort->files[place_of(first)] = concatenate({set.records.begin(), middle});
    sort->files[place_of(second)] = concatenate({middle, set.records.end()});
    append(&sort->names, random->chance(50) ? Texts{"-in", first, second} : Texts{"<" + first, "<" + second});
    return;
  }
  const std::string name = file_name(random, "in.dat", sort);
  sort->files[place_of(name)] = bytes;
  append(&sort->names, random->chance(50) ? Texts{"-in", name} : Texts{"<" + name});
}

void choose_output(Random* random, Sort* sort) {
  const int draw = random->below(100);
  if (draw < 25) {
    sort->stdout_kind = random->chance(50) ? "file" : "pipe";
    return;
  }
  std::string name = file_name(random, "Out.dat", sort);
  if (draw < 35 && sort->files.size() == 1) {
    name = sort->files.begin()->first;  // the input itself
  } else if (draw < 50) {
    sort->files[place_of(name)] = std::string(random->chance(50) ? 100000 : 5, 'o');  // longer or shorter
  }
  const int form = random->below(3);
  append(&sort->names, form == 0 ? Texts{"-out", name} : form == 1 ? Texts{">" + name} : Texts{">", name});
}

// Keys by way of an include file or a macro.
void choose_detours(Random* random, Sort* sort) {
  if (sort->keys.empty()) return;
  const int draw = random->below(100);
  if (draw < 12) {
    const std::string name = random->pick<std::string>({"keys.txt", "lib\\keys.txt", "lib/Keys.Inc"});
    sort->folders.push_back("lib");
    const std::string end = random->pick<std::string>({"\n", "\r\n", " \n", ""});
    sort->files[place_of(name)] = join(sort->keys) + end;
    sort->keys = {"-#include", name};
  } else if (draw < 20) {
    Texts keys = {"-#define", "M", "-#end", "M"};
    keys.insert(keys.begin() + 2, sort->keys.begin(), sort->keys.end());
    sort->keys = keys;
  }
}

// --- faults ----------------------------------------------------------------------------------------------

const Texts& stray_arguments() {
  static const Texts kAll = {"-zz",
                             "stray",
                             "a b c d",
                             "-c",
                             "-f 1-",
                             "-f -1",
                             "-c -5",
                             "-d x",
                             "-n -d 1-2",
                             "-k 'a'",
                             "-k 300",
                             "-k '\\q'",
                             "-k '",
                             "-s 'a' 'b' 'c'",
                             "(",
                             ")",
                             "( -f 1 )",
                             "( -c 3-0 ) -c 0-9",
                             "-l 1",
                             "-l 4194304",
                             "-l 2 -m 1",
                             "-m x",
                             "-rs 70000",
                             "-wb",
                             "-rb x",
                             "-obs 65536",
                             "-ibs 65536",
                             "-rf",
                             "-rf 0",
                             "-rf 1-2",
                             "-rt 1-2",
                             "-rt -rf 5",
                             "-rv 5-",
                             "-rv 700-701 600",
                             "-h",
                             "-H",
                             "-out",
                             "-out second.dat",
                             "-in",
                             "-in none.dat",
                             "<none.dat",
                             "-in gone/none.dat",
                             "-#define x",
                             "-#end",
                             "-#include",
                             "-#include none.txt",
                             "-#include gone\\none.txt",
                             "-#define x x -#end x",
                             "-#define",
                             "-c 65536",
                             "-rs 5 -rs 5",
                             "-u -u",
                             "--version",
                             "--help",
                             "\"",
                             "'\"' \\",
                             "a\\\" \\\\\"",
                             "-t",
                             "-b",
                             "-k -r"};
  return kAll;
}

void change_arguments(Random* random, Sort* sort) {
  Texts* list = random->chance(60) || sort->options.empty() ? &sort->keys : &sort->options;
  const auto place = [&] { return list->begin() + random->below(static_cast<int>(list->size())); };
  const int draw = random->below(100);
  if (list->empty() || draw < 55) {
    const Texts stray = words(random->pick(stray_arguments()));
    list->insert(list->begin() + random->below(static_cast<int>(list->size()) + 1), stray.begin(),
                 stray.end());
  } else if (draw < 75) {
    list->erase(place());
  } else if (draw < 85) {
    const std::string twice = *place();
    list->insert(place(), twice);
  } else if (draw < 95) {
    std::swap(*place(), *place());
  } else {
    list->insert(place(), "");
  }
}

void damage_input(Random* random, Sort* sort) {
  std::string* bytes = sort->files.empty() ? &sort->standard_input : &sort->files.begin()->second;
  const int draw = random->below(4);
  if (draw == 0) bytes->clear();
  if (draw == 1 && !bytes->empty()) bytes->pop_back();
  if (draw == 2)
    bytes->insert(bytes->size() / 2, std::string(static_cast<std::size_t>(random->between(500, 3000)), 'x'));
  if (draw == 3) bytes->insert(bytes->size() / 2, std::string(3, '\xFF'));
}

void lose_a_file(Random* random, Sort* sort) {
  const int draw = random->below(5);
  if (draw == 0 && !sort->files.empty()) {
    sort->files.erase(sort->files.begin());
  } else if (draw == 1) {
    append(&sort->options, {"-w", "gone\\work"});
  } else if (draw == 2) {
    append(&sort->names, {"-out", std::string(static_cast<std::size_t>(random->between(125, 135)), 'o')});
  } else if (draw == 3) {
    append(&sort->names, {"<gone\\in.dat"});
  } else {
    append(&sort->names, {">gone\\out.dat"});
  }
}

void add_fault(Random* random, Sort* sort) {
  const int draw = random->below(100);
  if (draw < 60) {
    change_arguments(random, sort);
  } else if (draw < 80) {
    damage_input(random, sort);
  } else {
    lose_a_file(random, sort);
  }
}

// --- a sort ----------------------------------------------------------------------------------------------

Sort make_sort(std::uint64_t seed) {
  Random random(seed);
  Sort sort;
  sort.regime = random.pick<std::string>({"memory", "memory", "starved", "starved", "fault"});
  if (sort.regime == "fault" && random.chance(2)) {
    sort.options = {random.pick<std::string>({"--help", "--version", "-h"})};
    return sort;
  }
  const Shape shape = random_shape(&random);
  const SortSpec spec = random_spec(&random, shape);
  const auto type =
      random.pick<RecordType>({RecordType::text, RecordType::text, RecordType::fixed, RecordType::variable});
  int count = random.below(random.chance(70) ? 60 : 2000);
  if (sort.regime == "starved") count = random.between(800, 2500);
  const RecordSet set = random_records(&random, shape, type, static_cast<std::size_t>(count), 10);
  choose_resources(&random, spec, &sort);
  append(&sort.options, set.options);
  sort.keys = render(spec, &random);
  choose_input(&random, set, &sort);
  choose_output(&random, &sort);
  choose_detours(&random, &sort);
  // A changed list of arguments could make file names out of what follows the names.
  sort.names_first = sort.regime != "fault" && random.chance(50);
  if (sort.regime == "fault") add_fault(&random, &sort);
  return sort;
}

void write_file(const fs::path& name, const std::string& bytes) {
  fs::create_directories(name.parent_path());
  std::ofstream file(name, std::ios::binary);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!file.flush()) throw fs::filesystem_error("cannot write", name, std::error_code());
}

void write_sort(const Sort& sort, const fs::path& folder) {
  fs::create_directories(folder / "files");
  for (const std::string& name : sort.folders) fs::create_directories(folder / "files" / name);
  for (const auto& [name, bytes] : sort.files) write_file(folder / "files" / name, bytes);
  Texts arguments = sort.names_first ? sort.names : Texts{};
  append(&arguments, sort.options);
  append(&arguments, sort.keys);
  if (!sort.names_first) append(&arguments, sort.names);
  std::string text;
  for (const std::string& argument : arguments) text += argument + '\0';
  write_file(folder / "arguments", text);
  write_file(folder / "stdin", sort.standard_input);
  write_file(folder / "plan",
             "stdin=" + sort.stdin_kind + "\nstdout=" + sort.stdout_kind + "\nregime=" + sort.regime + "\n");
}

}  // namespace
}  // namespace fsort_test

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "make_corpus <seed> <count> <folder>\n");
    return 2;
  }
  const std::uint64_t first = std::strtoull(argv[1], nullptr, 10),
                      count = std::strtoull(argv[2], nullptr, 10);
  try {
    for (std::uint64_t seed = first; seed < first + count; ++seed) {
      fsort_test::write_sort(fsort_test::make_sort(seed),
                             std::filesystem::path(argv[3]) / std::to_string(seed));
    }
  } catch (const std::filesystem::filesystem_error& error) {
    std::fprintf(stderr, "make_corpus: %s\n", error.what());
    return 1;
  }
  return 0;
}
