// What a test puts in the place of standard input, output and error, by the system's own means and past the
// engine: files, devices and pipes.
//
// The system's handles are replaced, not the streams of the C library; what the engine asks the system for is
// what a test has put there. Implemented once a system (posix/, win32/).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace fsort::test {

// The device that swallows everything and has nothing to read.
extern const char* const kNullDevice;

// An open file, device or end of a pipe; closed with the object. A reader of a pipe whose writer has gone, or
// a write that does not go through whole, fails the test.
class OpenFile {
 public:
  OpenFile() = default;  // nothing
  explicit OpenFile(std::intptr_t native) : native_(native) {}
  ~OpenFile() { close(); }
  OpenFile(OpenFile&& other) noexcept : native_(other.native_) { other.native_ = kNone; }
  OpenFile& operator=(OpenFile&& other) noexcept;
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  // An existing file, from its start.
  [[nodiscard]] static OpenFile to_read(const std::string& name);
  // A file that is made when it is missing and keeps what it holds, from its start.
  [[nodiscard]] static OpenFile to_write(const std::string& name);

  [[nodiscard]] bool is_open() const { return native_ != kNone; }
  [[nodiscard]] std::intptr_t native() const { return native_; }
  OpenFile& move_to(std::int64_t position);
  [[nodiscard]] std::int64_t position() const;
  // Up to `most` bytes; of a pipe what is there.
  [[nodiscard]] std::string read(std::size_t most) const;
  void write(const std::string& bytes) const;
  void close();

 private:
  static constexpr std::intptr_t kNone = -1;
  std::intptr_t native_ = kNone;
};

// A pipe. A program that is to see its end needs the other end closed.
struct Pipe {
  Pipe();
  OpenFile reader;
  OpenFile writer;
};

// A pipe's end to read from, with this content behind it and nobody who writes more.
[[nodiscard]] OpenFile pipe_with(const std::string& content);

enum class Standard { kInput, kOutput, kError };

// Puts a duplicate of `target` (or nothing) in the place of a standard handle while it lives.
class StdRedirect {
 public:
  StdRedirect(Standard which, const OpenFile& target);
  ~StdRedirect();
  StdRedirect(const StdRedirect&) = delete;
  StdRedirect& operator=(const StdRedirect&) = delete;

 private:
  Standard which_;
  std::intptr_t saved_;
};

// True when what stands in this place can be used.
[[nodiscard]] bool is_std_open(Standard which);
// Writes through a standard handle as another part of the program would.
void write_std(Standard which, const std::string& bytes);

// Sets a variable of this process's environment, as a program's own environment would have it; null removes
// it.
void set_environment(const char* name, const char* value);

}  // namespace fsort::test
