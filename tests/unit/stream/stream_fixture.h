// A live instance, a folder of its own and the fault-injecting table, for the tests of the streams.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "stream/buffer_lists.h"
#include "stream/nt_error.h"
#include "stream/stream.h"
#include "support/fault_os.h"
#include "support/instance_fixture.h"
#include "support/temp_folder.h"

namespace fsort::test {

class StreamFixture : public InstanceFixture {
 protected:
  void SetUp() override {
    faults_ = std::make_unique<FaultOs>();
    InstanceFixture::SetUp();
    fs_errno = 0;
  }
  void TearDown() override {
    faults_->clear();
    InstanceFixture::TearDown();
    EXPECT_TRUE(faults_->clean()) << faults_->alive();
    faults_.reset();
  }

  // Opens with a chain of `n` buffers of `size` bytes attached.
  Stream* open_with(const std::string& name, const char* mode, std::uint32_t size = 4096, int n = 2) {
    Stream* s = fstdio_fopen(name.c_str(), mode);
    if (s != nullptr) fattachbuf(s, fmakebuf(size, n));
    return s;
  }
  // Takes the buffers back, frees them, closes; result: that of the close.
  int finish(Stream* s) {
    ffreebuf(fdetachbuf(s));
    return fstdio_fclose(s);
  }
  // Everything that is left to read, in pieces of `piece` bytes.
  std::string read_all(Stream* s, std::uint64_t piece = 1000) {
    std::string all;
    std::string part(piece, '\0');
    for (;;) {
      const std::uint64_t there = fcnt(s);
      const std::uint64_t n = fstdio_fread(part.data(), 1, std::min(there, piece), s);
      if (n == 0) return all;
      all.append(part, 0, n);
    }
  }
  static std::size_t chain_length(IoBuffer* chain) {
    std::size_t n = 0;
    for (; chain != nullptr; chain = buffer_link(chain)) ++n;
    return n;
  }

  FaultOs& faults() { return *faults_; }
  TempFolder folder_;

 private:
  std::unique_ptr<FaultOs> faults_;
};

}  // namespace fsort::test
