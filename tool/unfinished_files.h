// The files that must go when the sort is ended from outside: its work files, and an output that is not
// complete.
//
// The list is kept by the layer in front of the system's table (os_layer.h), on the sort's thread; a signal
// is answered on another one. One lock serves both: whoever creates, renames or gives up such a file holds it
// from before the system is asked until the list says so. So there is no instant at which a file exists that
// the list does not know, or at which a file is named that is none of ours any more.
//
// The end takes the lock and never gives it back, deletes what is listed, and lets the process end. The
// sort's thread goes on meanwhile until it comes to the layer again, and stays there: it creates nothing
// more, and no failure that the end has caused is ever shown.
#pragma once

#include <string>

#include "platform/os.h"

namespace fsort_tool {

// Held while a file that is listed, or is to be, changes.
class FilesLock {
 public:
  FilesLock();
  ~FilesLock();
  FilesLock(const FilesLock&) = delete;
  FilesLock& operator=(const FilesLock&) = delete;
};

// A file that is written once is complete, and no longer listed, when it is closed.
enum class Until { deleted, closed };

// These require the lock.
void unfinished_add(const std::string& name, fsort::Handle handle, Until until);
void unfinished_open_again(const std::string& name, fsort::Handle handle);  // if it is listed
void unfinished_closed(fsort::Handle handle);
void unfinished_forget(const std::string& name);

// Deletes every file that is listed. The lock is taken for good.
void unfinished_remove_all();
// Does not return when the end has begun. Called behind every call of the system on a listed file.
void wait_if_ending();

}  // namespace fsort_tool
