// The start of a program on Windows: see program.h.
//
// The wide arguments are the C runtime's (__wgetmainargs), split by the same rules as those of main;
// wildcards are left as they are, since a name in a sort command line may well hold a star.
#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <cstdlib>

#include "platform/program.h"
#include "platform/win32/win32_internal.h"

// The runtime's own declaration of this differs between its versions.
extern "C" int __cdecl __wgetmainargs(int* argc, wchar_t*** argv, wchar_t*** environment, int wildcards,
                                      int* start_info);

namespace fsort {

namespace {

// The text in UTF-8; null when there is no memory for it.
char* utf8_copy(const wchar_t* wide) {
  const int size = WideCharToMultiByte(CP_UTF8, 0, wide, -1, nullptr, 0, nullptr, nullptr);
  auto* text = static_cast<char*>(std::malloc(static_cast<std::size_t>(size) + 1));
  if (text == nullptr) return nullptr;
  text[0] = 0;
  WideCharToMultiByte(CP_UTF8, 0, wide, -1, text, size, nullptr, nullptr);
  return text;
}

}  // namespace

ProgramArguments program_begin(int argc, char** argv) {
  constexpr int kStandardStreams = 3;
  for (int stream = 0; stream < kStandardStreams; ++stream) _setmode(stream, _O_BINARY);
  win32::use_utf8_texts();
  int count = 0;
  wchar_t** wide = nullptr;
  wchar_t** environment = nullptr;
  int start_info = 0;
  if (__wgetmainargs(&count, &wide, &environment, 0, &start_info) != 0 || count < 0) return {argc, argv};
  auto** values = static_cast<char**>(std::calloc(static_cast<std::size_t>(count) + 1, sizeof(char*)));
  if (values == nullptr) return {argc, argv};
  for (int i = 0; i < count; ++i) {
    values[i] = utf8_copy(wide[i]);
    if (values[i] == nullptr) return {argc, argv};
  }
  return {count, values};
}

}  // namespace fsort
