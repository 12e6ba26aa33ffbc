// Which files this process created as new and has not deleted: the work files, in practice.
//
// A work file is closed and opened again by its name, many times. In between, whoever may write to its folder
// can put something else in its place: a link to another file, a pipe, another file. So what a new file is
// (its file system, number and owner) is noted under its name, and asked for before the name is written to,
// read or deleted again. Names are compared as they are given, without a look at the file system.
//
// Some file systems number a file anew each time they meet it; there only the file system and the owner are
// compared.
#pragma once

#include <sys/stat.h>

namespace fsort::posix {

struct OwnFile;

// A place for one more file; null when memory is short. To be given to own_file_note or own_file_release.
[[nodiscard]] OwnFile* own_file_place();
void own_file_release(OwnFile* place);
// Notes that `path` names the new file open as `fd`, instead of what was noted under that name before.
void own_file_note(OwnFile* place, const char* path, int fd, const struct stat& info);
// False when `info` is not of the file noted under `path`. A name under which nothing is noted: when it is no
// regular file of the process's own user.
[[nodiscard]] bool own_file_matches(const char* path, const struct stat& info);
// False when something is noted under `path` and now something else has that name.
[[nodiscard]] bool own_file_in_place(const char* path);
// Drops the note of `path`, if there is one.
void own_file_forget(const char* path);

// Whether a file system of this type (as statfs names it) gives a file the same number each time.
[[nodiscard]] bool keeps_file_numbers(long type);

}  // namespace fsort::posix
