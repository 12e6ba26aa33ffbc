// What names lead to, and putting a new file in the place of an old one, on Windows: see program.h.
//
// ReplaceFile does what is asked for: the new file gets the name, the access rights and the attributes of the
// old one in one step. Where there is no old file, or the file system does not know that call, the new one is
// moved, through to the disk. A file that anybody has open cannot be replaced; the old one stays.
#include <windows.h>

#include "platform/program.h"
#include "platform/win32/win32_internal.h"

namespace fsort {

namespace {

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// A handle for looking at what the name leads to; no access, so that it is had while others have the file.
HANDLE open_to_look(const char* name) {
  win32::WideName wide;
  if (!win32::wide_name(name, &wide)) return INVALID_HANDLE_VALUE;
  return CreateFileW(wide.text, 0, kShareAll, nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
}

std::uint64_t joined(DWORD high, DWORD low) { return static_cast<std::uint64_t>(high) << 32 | low; }

NamedFile named(HANDLE file) {
  BY_HANDLE_FILE_INFORMATION info{};
  if (GetFileType(file) != FILE_TYPE_DISK || GetFileInformationByHandle(file, &info) == 0) {
    return {NamedKind::other, 0, 0, 0};
  }
  const bool folder = (info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
  return {folder ? NamedKind::other : NamedKind::regular, info.dwVolumeSerialNumber,
          joined(info.nFileIndexHigh, info.nFileIndexLow), joined(info.nFileSizeHigh, info.nFileSizeLow)};
}

bool is_link(const wchar_t* name) {
  const DWORD attributes = GetFileAttributesW(name);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

bool copy_name(const char* name, char* real, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) {
    real[i] = name[i];
    if (name[i] == 0) return true;
  }
  SetLastError(ERROR_FILENAME_EXCED_RANGE);
  return false;
}

// Sends what was written to `name` to the disk.
bool sync_file(const wchar_t* name) {
  const HANDLE file = CreateFileW(name, GENERIC_WRITE, kShareAll, nullptr, OPEN_EXISTING, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  const bool done = FlushFileBuffers(file) != 0;
  const DWORD code = GetLastError();
  CloseHandle(file);
  SetLastError(code);
  return done;
}

}  // namespace

const char kFolderSeparator = '\\';

NamedFile program_file(const char* name) {
  const HANDLE file = open_to_look(name);
  if (file == INVALID_HANDLE_VALUE) return {NamedKind::none, 0, 0, 0};
  const NamedFile found = named(file);
  CloseHandle(file);
  return found;
}

NamedFile program_standard_file(std::int32_t which) {
  const HANDLE file = GetStdHandle(static_cast<DWORD>(which));
  if (file == nullptr || file == INVALID_HANDLE_VALUE) return {NamedKind::none, 0, 0, 0};
  return named(file);
}

bool program_real_name(const char* name, char* real, std::size_t size) {
  win32::WideName wide;
  if (!win32::wide_name(name, &wide)) return false;
  if (!is_link(wide.text)) return copy_name(name, real, size);
  const HANDLE file = open_to_look(name);
  if (file == INVALID_HANDLE_VALUE) return false;
  constexpr auto kRoom = static_cast<DWORD>(win32::kNameUnits);
  const DWORD units = GetFinalPathNameByHandleW(file, wide.text, kRoom, FILE_NAME_NORMALIZED);
  CloseHandle(file);
  return units != 0 && units < kRoom && win32::narrow_text(wide.text, real, size) != 0;
}

bool program_make_new(const char* name, bool /*is_private*/) {
  win32::WideName wide;
  if (!win32::wide_name(name, &wide)) return false;
  const HANDLE file = CreateFileW(wide.text, GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  CloseHandle(file);
  return true;
}

bool program_make_ready(const char* made, const char* /*target*/) {
  win32::WideName name;
  return win32::wide_name(made, &name) && sync_file(name.text);
}

bool program_replace(const char* made, const char* target) {
  win32::WideName from;
  win32::WideName to;
  if (!win32::wide_name(made, &from) || !win32::wide_name(target, &to)) return false;
  if (ReplaceFileW(to.text, from.text, nullptr, REPLACEFILE_IGNORE_MERGE_ERRORS, nullptr, nullptr) != 0) {
    return true;
  }
  const DWORD code = GetLastError();
  const bool movable = code == ERROR_FILE_NOT_FOUND || code == ERROR_NOT_SUPPORTED ||
                       code == ERROR_INVALID_FUNCTION || code == ERROR_CALL_NOT_IMPLEMENTED;
  if (movable)
    return MoveFileExW(from.text, to.text, MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0;
  SetLastError(code);
  return false;
}

void program_abandon(Handle handle) {
  CancelIoEx(handle, nullptr);
  CloseHandle(handle);
}

}  // namespace fsort
