// Standard handles on Windows: replaced by SetStdHandle. The C library keeps its own, so that what a test
// itself prints goes where it went before.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstdlib>
#include <utility>

#include "support/std_handles.h"

namespace fsort::test {

namespace {

constexpr DWORD kPipeBytes = 1 << 20;  // as much as a test writes before anybody reads
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

HANDLE handle_of(std::intptr_t native) { return reinterpret_cast<HANDLE>(native); }

DWORD number_of(Standard which) {
  constexpr DWORD kNumbers[] = {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE};
  return kNumbers[static_cast<int>(which)];
}

OpenFile opened(const std::string& name, DWORD access, DWORD disposition) {
  HANDLE file = CreateFileA(name.c_str(), access, kShareAll, nullptr, disposition, 0, nullptr);
  EXPECT_NE(file, INVALID_HANDLE_VALUE) << name << ": " << GetLastError();
  return OpenFile(reinterpret_cast<std::intptr_t>(file));
}

void write_all(HANDLE file, const std::string& bytes) {
  DWORD done = 0;
  EXPECT_NE(WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &done, nullptr), 0);
  EXPECT_EQ(done, bytes.size());
}

}  // namespace

const char* const kNullDevice = "NUL";

OpenFile& OpenFile::operator=(OpenFile&& other) noexcept {
  std::swap(native_, other.native_);
  return *this;
}

OpenFile OpenFile::to_read(const std::string& name) { return opened(name, GENERIC_READ, OPEN_EXISTING); }
OpenFile OpenFile::to_write(const std::string& name) { return opened(name, GENERIC_WRITE, OPEN_ALWAYS); }

OpenFile& OpenFile::move_to(std::int64_t position) {
  LARGE_INTEGER distance;
  distance.QuadPart = position;
  EXPECT_NE(SetFilePointerEx(handle_of(native_), distance, nullptr, FILE_BEGIN), 0);
  return *this;
}

std::int64_t OpenFile::position() const {
  LARGE_INTEGER now;
  EXPECT_NE(SetFilePointerEx(handle_of(native_), LARGE_INTEGER{}, &now, FILE_CURRENT), 0);
  return now.QuadPart;
}

std::string OpenFile::read(std::size_t most) const {
  std::string bytes(most, '\0');
  DWORD done = 0;
  const BOOL ok = ReadFile(handle_of(native_), bytes.data(), static_cast<DWORD>(most), &done, nullptr);
  EXPECT_TRUE(ok != 0 || GetLastError() == ERROR_BROKEN_PIPE) << GetLastError();
  bytes.resize(done);
  return bytes;
}

void OpenFile::write(const std::string& bytes) const { write_all(handle_of(native_), bytes); }

void OpenFile::close() {
  if (is_open()) CloseHandle(handle_of(native_));
  native_ = kNone;
}

Pipe::Pipe() {
  HANDLE read_end = nullptr;
  HANDLE write_end = nullptr;
  EXPECT_NE(CreatePipe(&read_end, &write_end, nullptr, kPipeBytes), 0);
  reader = OpenFile(reinterpret_cast<std::intptr_t>(read_end));
  writer = OpenFile(reinterpret_cast<std::intptr_t>(write_end));
}

StdRedirect::StdRedirect(Standard which, const OpenFile& target)
    : which_(which), saved_(reinterpret_cast<std::intptr_t>(GetStdHandle(number_of(which)))) {
  HANDLE copy = nullptr;
  if (target.is_open()) {
    HANDLE self = GetCurrentProcess();
    EXPECT_NE(DuplicateHandle(self, handle_of(target.native()), self, &copy, 0, FALSE, DUPLICATE_SAME_ACCESS),
              0);
  }
  SetStdHandle(number_of(which), copy);
}

StdRedirect::~StdRedirect() {
  HANDLE copy = GetStdHandle(number_of(which_));
  if (copy != nullptr) CloseHandle(copy);
  SetStdHandle(number_of(which_), handle_of(saved_));
}

bool is_std_open(Standard which) {
  DWORD flags = 0;
  return GetHandleInformation(GetStdHandle(number_of(which)), &flags) != 0;
}

void write_std(Standard which, const std::string& bytes) { write_all(GetStdHandle(number_of(which)), bytes); }

void set_environment(const char* name, const char* value) {
  _putenv_s(name, value != nullptr ? value : "");
  SetEnvironmentVariableA(name, value);
}

}  // namespace fsort::test
