// Temporary include files for tests, and a system table that counts open files and can fail reads.
#pragma once

#include <cstdio>
#include <fstream>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "platform/os.h"
#include "support/instance_fixture.h"

namespace fsort::test {

inline std::set<Handle> g_files;  // handles of open files; events are handles too and are not counted
inline bool g_fail_reads = false;

inline Handle counting_create(const char* name, std::uint32_t access, std::uint32_t share, void* security,
                              std::uint32_t disposition, std::uint32_t attributes, Handle template_file) {
  const Handle handle =
      kSystemOs.create_file(name, access, share, security, disposition, attributes, template_file);
  if (handle != kInvalidHandle) g_files.insert(handle);
  return handle;
}

inline bool counting_close(Handle handle) {
  g_files.erase(handle);
  return kSystemOs.close_handle(handle);
}

inline bool failing_read(Handle file, void* data, std::uint32_t count, std::uint32_t* done,
                         Overlapped* overlapped) {
  return kSystemOs.read_file(g_fail_reads ? kInvalidHandle : file, data, count, done, overlapped);
}

inline int open_files() { return static_cast<int>(g_files.size()); }

// An instance whose open files are counted; include files are removed at the end.
class IncludeFixture : public InstanceFixture {
 protected:
  void SetUp() override {
    g_files.clear();
    g_fail_reads = false;
    table_ = kSystemOs;
    table_.create_file = counting_create;
    table_.close_handle = counting_close;
    table_.read_file = failing_read;
    os = &table_;
    InstanceFixture::SetUp();
  }
  void TearDown() override {
    InstanceFixture::TearDown();
    os = &kSystemOs;
    for (const std::string& name : files_) std::remove(name.c_str());
  }

  // Writes a file of this content and returns its name.
  std::string file(const std::string& content) {
    // Short: a line of an include file must hold the name of another one.
    const std::string name = testing::TempDir() + "fsi" + std::to_string(random_() % 1000000000) + "_" +
                             std::to_string(files_.size());
    write(name, content);
    files_.push_back(name);
    return name;
  }
  static void write(const std::string& name, const std::string& content) {
    std::ofstream(name, std::ios::binary | std::ios::trunc) << content;
  }

 private:
  OsTable table_{};
  std::random_device random_;  // tests run side by side in processes of their own
  std::vector<std::string> files_;
};

}  // namespace fsort::test
