// Texts between the engine and a Windows system: file names, environment, messages.
//
// The engine knows texts as bytes. In a program that loads the library they are in the process's code page,
// as all narrow texts of that program are, and the narrow functions of the system take them. The tool wants
// every name that a file can have, so it declares its texts to be UTF-8 (use_utf8_texts), and they go to the
// wide functions.
//
// A name of 248 characters and more, or one in UTF-8, takes the wide way: it is made absolute, which also
// turns slashes into backslashes, and, when it is long, gets the prefix \\?\ (\\?\UNC\ for a share), with
// which the system takes it however long it is. 248 and not 260: the limit of a folder's name.
#include <windows.h>

#include <cstring>
#include <cwchar>

#include "platform/win32/win32_internal.h"

namespace fsort::win32 {

namespace {

constexpr std::size_t kLongNameUnits = 248;
constexpr std::size_t kPrefixUnits = 8;  // room for the longest prefix
constexpr std::size_t kValueBytes = kNameUnits;
constexpr std::size_t kMessageUnits = 512;
constexpr wchar_t kLongPrefix[] = L"\\\\?\\";
constexpr wchar_t kSharePrefix[] = L"\\\\?\\UNC";

constinit bool texts_are_utf8 = false;

UINT code_page() { return texts_are_utf8 ? CP_UTF8 : CP_ACP; }

int as_int(std::size_t size) { return static_cast<int>(size); }

// UTF-16 units written, terminator included; 0 with the last error set when the text is too long or not text.
std::size_t widen(const char* text, wchar_t* wide, std::size_t units) {
  const int n = MultiByteToWideChar(code_page(), MB_ERR_INVALID_CHARS, text, -1, wide, as_int(units));
  if (n > 0) return static_cast<std::size_t>(n);
  if (GetLastError() == ERROR_INSUFFICIENT_BUFFER) {
    SetLastError(ERROR_FILENAME_EXCED_RANGE);
  } else {
    SetLastError(ERROR_INVALID_NAME);
  }
  return 0;
}

// Writes the prefix that an absolute name needs in front of it; result: how much of the name itself the
// prefix replaces. A name that has a prefix of its own keeps it.
std::size_t put_prefix(const wchar_t* absolute, wchar_t* target) {
  target[0] = 0;
  const bool starts_with_two = absolute[0] == L'\\' && absolute[1] == L'\\';
  if (!starts_with_two) {
    std::wcscpy(target, kLongPrefix);
    return 0;
  }
  if (absolute[2] == L'?' || absolute[2] == L'.') return 0;
  std::wcscpy(target, kSharePrefix);
  return 1;  // one of the two backslashes of the share
}

}  // namespace

void use_utf8_texts() { texts_are_utf8 = true; }

bool utf8_texts() { return texts_are_utf8; }

bool is_narrow_name(const char* name) { return !texts_are_utf8 && std::strlen(name) < kLongNameUnits; }

bool wide_name(const char* name, WideName* wide) {
  if (name[0] == 0) {
    SetLastError(ERROR_PATH_NOT_FOUND);
    return false;
  }
  WideName given;
  const std::size_t units = widen(name, given.text, kNameUnits);
  if (units == 0) return false;
  constexpr auto kRoom = static_cast<DWORD>(kNameUnits - kPrefixUnits);
  wchar_t* absolute = wide->text + kPrefixUnits;
  const DWORD length = GetFullPathNameW(given.text, kRoom, absolute, nullptr);
  if (length == 0) return false;
  if (length >= kRoom) {
    SetLastError(ERROR_FILENAME_EXCED_RANGE);
    return false;
  }
  wchar_t prefix[kPrefixUnits] = {};
  std::size_t replaced = 0;
  if (length >= kLongNameUnits) replaced = put_prefix(absolute, prefix);
  const std::size_t prefix_units = std::wcslen(prefix);
  std::wmemmove(wide->text + prefix_units, absolute + replaced, length - replaced + 1);
  std::wmemcpy(wide->text, prefix, prefix_units);
  return true;
}

std::size_t narrow_text(const wchar_t* wide, char* text, std::size_t size) {
  const int n = WideCharToMultiByte(code_page(), 0, wide, -1, text, as_int(size), nullptr, nullptr);
  return n > 0 ? static_cast<std::size_t>(n - 1) : 0;
}

const char* get_env(const char* name) {
  // Asked for by one thread at a time, under the entry lock.
  static char value[kValueBytes];
  WideName wide;
  WideName text;
  if (widen(name, wide.text, kNameUnits) == 0) return nullptr;
  const DWORD length = GetEnvironmentVariableW(wide.text, text.text, static_cast<DWORD>(kNameUnits));
  // An empty value is a value; a longer one than any name can be is none that the engine could use.
  if (length >= kNameUnits || (length == 0 && GetLastError() == ERROR_ENVVAR_NOT_FOUND)) return nullptr;
  text.text[length] = 0;
  if (length != 0 && narrow_text(text.text, value, sizeof value) == 0) return nullptr;
  if (length == 0) value[0] = 0;
  return value;
}

std::uint32_t format_message(std::uint32_t flags, const void* source, std::uint32_t code,
                             std::uint32_t language, char* text, std::uint32_t size, void* arguments) {
  auto* list = static_cast<va_list*>(arguments);
  char narrow[kMessageUnits];
  std::size_t length = 0;
  if (texts_are_utf8) {
    wchar_t wide[kMessageUnits];
    const auto units = static_cast<DWORD>(kMessageUnits);
    if (FormatMessageW(flags, source, code, language, wide, units, list) == 0) return 0;
    length = narrow_text(wide, narrow, sizeof narrow);
  } else {
    length = FormatMessageA(flags, source, code, language, narrow, sizeof narrow, list);
  }
  // By way of an area of our own: whether a text that is too long leaves a part of itself behind is not the
  // same on all systems.
  if (length == 0 || length >= size) return 0;
  std::memcpy(text, narrow, length + 1);
  return static_cast<std::uint32_t>(length);
}

}  // namespace fsort::win32
