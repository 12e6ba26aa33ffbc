// The notes about the process's own files: a list under a lock of its own; see own_files.h.
//
// A process has few work files at a time, so the list is searched from its front, where the newest stand. A
// name is kept as a 64-bit number made of its characters: a note stays small, and two names that made the
// same number would at worst have a sort refused.
#include "platform/posix/own_files.h"

#include <pthread.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>

namespace fsort::posix {

struct OwnFile {
  OwnFile* next;
  std::uint64_t name;
  dev_t device;
  ino_t number;
  uid_t owner;
  bool numbered;  // the file system keeps `number`
};

namespace {

constexpr long kFatType = 0x4d44;
constexpr long kExfatType = 0x2011BAB0;
constexpr long kFuseType = 0x65735546;

constinit OwnFile* notes = nullptr;
constinit pthread_mutex_t notes_lock = PTHREAD_MUTEX_INITIALIZER;

// FNV-1a.
std::uint64_t number_of_name(const char* path) {
  std::uint64_t number = 0xcbf29ce484222325;
  for (; *path != 0; ++path) number = (number ^ static_cast<unsigned char>(*path)) * 0x100000001b3;
  return number;
}

// The link that leads to the note of a name; to null when there is none. Under the lock.
OwnFile** find(std::uint64_t name) {
  OwnFile** at = &notes;
  while (*at != nullptr && (*at)->name != name) at = &(*at)->next;
  return at;
}

bool same_file(const OwnFile& note, const struct stat& info) {
  return S_ISREG(info.st_mode) && info.st_dev == note.device && info.st_uid == note.owner &&
         (!note.numbered || info.st_ino == note.number);
}

}  // namespace

bool keeps_file_numbers(long type) { return type != kFatType && type != kExfatType && type != kFuseType; }

OwnFile* own_file_place() { return static_cast<OwnFile*>(std::malloc(sizeof(OwnFile))); }

void own_file_release(OwnFile* place) { std::free(place); }

void own_file_note(OwnFile* place, const char* path, int fd, const struct stat& info) {
  struct statfs system {};
  const bool numbered = fstatfs(fd, &system) == 0 && keeps_file_numbers(static_cast<long>(system.f_type));
  own_file_forget(path);
  pthread_mutex_lock(&notes_lock);
  *place = OwnFile{notes, number_of_name(path), info.st_dev, info.st_ino, info.st_uid, numbered};
  notes = place;
  pthread_mutex_unlock(&notes_lock);
}

bool own_file_matches(const char* path, const struct stat& info) {
  pthread_mutex_lock(&notes_lock);
  const OwnFile* note = *find(number_of_name(path));
  const bool matches =
      note != nullptr ? same_file(*note, info) : S_ISREG(info.st_mode) && info.st_uid == geteuid();
  pthread_mutex_unlock(&notes_lock);
  return matches;
}

bool own_file_in_place(const char* path) {
  pthread_mutex_lock(&notes_lock);
  const OwnFile* note = *find(number_of_name(path));
  struct stat info {};
  const bool in_place = note == nullptr || lstat(path, &info) != 0 || same_file(*note, info);
  pthread_mutex_unlock(&notes_lock);
  return in_place;
}

void own_file_forget(const char* path) {
  pthread_mutex_lock(&notes_lock);
  OwnFile** at = find(number_of_name(path));
  OwnFile* note = *at;
  if (note != nullptr) *at = note->next;
  pthread_mutex_unlock(&notes_lock);
  std::free(note);
}

}  // namespace fsort::posix
