// Fuzzes the record readers: text, fixed and variable records from any bytes, in buffers of any size, from
// files or from standard input of any kind.
//
//   byte 0   seed of the simulated system
//   byte 1   where the input comes from: files, or standard input as a disk file, a pipe, a terminal
//   byte 2   how often the bytes of each file are repeated, so that a short input fills many buffers
//   then     a line of options; then the bytes, behind lines "%%" those of the next file
//
// Claims: what is read is what a plain reading of the bytes gives, byte for byte; a fault is reported where
// that reading has one, and nowhere else. Only whether a line is too long depends on buffers; there what was
// read before must be right.
#include "fuzz/fuzz_world.h"
#include "recio/readers.h"
#include "recio/rio.h"
#include "support/reference_arguments.h"

namespace fsort::fuzz {
namespace {

constexpr std::size_t kMostFileBytes = 12000;
constexpr std::size_t kMostRecords = 100000;

struct Reading {
  Texts records;
  bool fault = false;
};

Reading plain_text(const Texts& files) {
  Reading reading;
  std::string line;
  for (const std::string& file : files) {
    for (const char c : file) {
      line.push_back(c);
      if (c != '\n') continue;
      reading.records.push_back(line);
      line.clear();
    }
  }
  return reading;
}

Reading plain_fixed(const Texts& files, std::size_t size) {
  Reading reading;
  for (const std::string& file : files) {
    for (std::size_t at = 0; at + size <= file.size(); at += size) {
      reading.records.push_back(file.substr(at, size));
    }
  }
  return reading;
}

// Of a header that a file ends in the middle of nothing is kept; a body that does is a fault, and so is a
// header that no file has the rest of.
Reading plain_variable(const Texts& files, const ReadState& options) {
  Reading reading{{}, true};
  const std::size_t header = static_cast<std::size_t>(options.header_length);
  bool cut = false;
  for (const std::string& file : files) {
    for (std::size_t at = 0; at < file.size();) {
      cut = file.size() - at < header;
      if (cut) break;
      const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(file[at + i]); };
      std::size_t length = byte(options.length_low);
      if (options.length_width == 2) length += std::size_t{byte(options.length_high)} << 8;
      const bool negative = options.length_width == 2 && length >= 0x8000;
      length += header;
      if (negative || length > options.max_record || length > file.size() - at) return reading;
      reading.records.push_back(file.substr(at, length));
      at += length;
    }
  }
  reading.fault = cut;
  return reading;
}

Texts repeated(const Texts& contents, std::size_t times) {
  Texts files;
  for (const std::string& content : contents) {
    files.emplace_back();
    for (std::size_t i = 0; i <= times && files.back().size() + content.size() <= kMostFileBytes; ++i) {
      files.back() += content;
    }
  }
  return files;
}

Reading read_all(const RecordDescription& description) {
  Reading reading;
  while (reading.records.size() < kMostRecords) {
    std::uint64_t length = 1;
    const std::uint8_t* record = nullptr;
    const std::int32_t status = description.reader(&length, &record);
    if (length == 0) {
      claim(record == nullptr, "there is no record at the end");
      reading.fault = status != 0;
      return reading;
    }
    claim(status == 0, "a record comes with status 0");
    reading.records.emplace_back(reinterpret_cast<const char*>(record), static_cast<std::size_t>(length));
  }
  claim(false, "the input ends");
  return reading;
}

void compare(const Reading& read, const Reading& right, bool exactly) {
  claim(read.records.size() <= right.records.size(), "no record too many");
  for (std::size_t i = 0; i < read.records.size(); ++i) {
    claim(read.records[i] == right.records[i], [&] { return "record " + std::to_string(i) + " is right"; });
  }
  if (read.fault && !exactly) return;
  claim(read.records.size() == right.records.size(), "no record is missing");
  claim(read.fault == right.fault, "a fault is reported where there is one");
}

// Makes the input; result: the arguments that name it.
Texts place_input(World* world, std::uint8_t way, const Texts& files) {
  static const std::vector<std::uint32_t> kTypes = {kFileTypeDisk, kFileTypePipe, kFileTypeChar};
  const bool standard = way % 4 != 0 && files.size() == 1;
  world->sim().set_standard(kStdInput, kTypes[(way + 2u) % 3], standard ? files[0] : "");
  world->sim().set_standard(kStdOutput, kFileTypePipe, "");
  Texts names;
  for (std::size_t i = 0; i < files.size() && !standard; ++i) {
    const std::string name = "f" + std::to_string(i);
    world->make_file(name, files[i]);
    names.push_back("<" + name);
  }
  return names;
}

void run(FuzzBytes in) {
  World world(in.byte());
  const std::uint8_t way = in.byte();
  const std::size_t times = in.byte();
  const std::string options = in.line();
  Texts sections = in.sections();
  if (sections.size() > 8) sections.resize(8);
  const Texts files = repeated(sections, times);
  Texts arguments = fsort_test::split_command(options.substr(0, options.find('\0')));
  for (const std::string& name : place_input(&world, way, files)) arguments.push_back(name);
  // A name in the options would add a file that the plain reading does not know of.
  const bool known = options.find('<') == std::string::npos && options.find("-in") == std::string::npos &&
                     options.find("-IN") == std::string::npos;
  world.allow_any_file();
  LiveInstance instance;
  ArgVector args(arguments);
  RecordDescription description{};
  if (rio_init(&description, args.argc(), args.argv()) != 0) {
    claim(!displayed().empty(), "a refusal has a message");
    return;
  }
  if (description.output_named != 0) return;  // it may be one of the input files
  const Reading read = read_all(description);
  claim(read.fault == !displayed().empty(), "a fault has a message, and only a fault has");
  const ReadState& st = instance.record().read;
  if (!known) return;
  if (description.reader == read_text) compare(read, plain_text(files), false);
  if (description.reader == read_fixed)
    compare(read, plain_fixed(files, static_cast<std::size_t>(st.max_record)), true);
  if (description.reader == read_variable) compare(read, plain_variable(files, st), true);
}

}  // namespace
}  // namespace fsort::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fsort::fuzz::run({data, size});
  return 0;
}
