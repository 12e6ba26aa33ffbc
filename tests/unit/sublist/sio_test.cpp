// Stream calls on work files: every failure and its message.
#include "sublist/sio.h"

#include "platform/heap.h"
#include "unit/sublist/work_file_fixture.h"

namespace fsort::test {
namespace {

class Sio : public WorkFiles {
 protected:
  // A stream with a pair of 1 KB buffers; finish() gives both back.
  Stream* open(const std::string& name, const char* mode) {
    stream_ = sio_open(name.c_str(), mode);
    fattachbuf(stream_, fmakebuf(1024, 2));
    return stream_;
  }
  void finish() {
    ffreebuf(fdetachbuf(stream_));
    static_cast<void>(fstdio_fclose(stream_));
  }

 private:
  Stream* stream_ = nullptr;
};

TEST_F(Sio, OpenFailureNamesTheDirectionAndTheSystemsReason) {
  const std::string name = folder_.path("missing/file");
  const auto opening = [&](const char* mode) { return raised([&] { (void)sio_open(name.c_str(), mode); }); };
  EXPECT_EQ(opening("rbrua").texts,
            Texts{with_system_text("Couldn't open working file for reading", kErrorPathNotFound)});
  EXPECT_EQ(opening("wbtua").texts,
            Texts{with_system_text("Couldn't open working file for writing", kErrorPathNotFound)});
  EXPECT_EQ(opening("abua").texts,
            Texts{with_system_text("Couldn't open working file for appending", kErrorPathNotFound)});
  EXPECT_EQ(opening("q").texts,
            Texts{with_system_text("Programming error found in sio_open", kErrorInvalidParameter)});
}

TEST_F(Sio, CreateAnswersNullForANameThatIsTakenAndRaisesForEverythingElse) {
  const std::string taken = folder_.make("taken", "theirs");
  EXPECT_EQ(sio_create(taken.c_str(), "wbtuax"), nullptr);
  EXPECT_EQ(folder_.content("taken"), "theirs");
  const std::string name = folder_.path("missing/file");
  EXPECT_EQ(raised([&] { (void)sio_create(name.c_str(), "wbtuax"); }).texts,
            Texts{with_system_text("Couldn't open working file for writing", kErrorPathNotFound)});
}

TEST_F(Sio, WriteOnAFullDiskSaysThatSpaceIsExhausted) {
  Stream* stream = open(folder_.path("f"), "wbtua");
  const std::string block(1024, 'x');
  faults().limit_disk(1024);
  const Raised r = raised([&] {
    for (int i = 0; i < 10; ++i) sio_write(block.data(), block.size(), stream);
  });
  EXPECT_EQ(r.texts, Texts{with_system_text("Space exhausted while writing work file", kErrorDiskFull)});
  finish();
}

TEST_F(Sio, WriteWithoutBuffersToBeHadIsAProgrammingError) {
  Stream* stream = sio_open(folder_.path("f").c_str(), "wbtua");
  faults().fail(OsCall::kHeapAlloc, 1, kErrorNotEnoughMemory);
  EXPECT_EQ(raised([&] { sio_write("x", 1, stream); }).texts, Texts{"Programming error in sio_write\n"});
  faults().clear();
  sio_close(stream);
}

TEST_F(Sio, ItemsPutAndTakenOneByOneMeetTheBordersOfBuffers) {
  const std::string content = pattern_bytes(3 * 1024 + 7);
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(content.data());
  for (const std::uint32_t size : {1u, 2u, 7u, 341u, 512u, 1023u, 1024u, 1500u}) {
    const std::string name = folder_.path("f" + std::to_string(size));
    Stream* stream = open(name, "wbua");
    const std::uint32_t items = static_cast<std::uint32_t>(content.size()) / size;
    for (std::uint32_t i = 0; i < items; ++i) {
      sio_put(bytes + std::size_t{i} * size, size, stream);
      ASSERT_EQ(stream->pos, std::uint64_t{i + 1} * size);
    }
    finish();
    stream = open(name, "rbrua");
    std::string back(std::size_t{items} * size, '\0');
    for (std::uint32_t i = 0; i < items; ++i) {
      sio_get(reinterpret_cast<std::uint8_t*>(back.data()) + std::size_t{i} * size, size, stream);
      ASSERT_EQ(stream->pos, std::uint64_t{i + 1} * size);
    }
    finish();
    EXPECT_EQ(back, content.substr(0, back.size())) << size;
  }
}

TEST_F(Sio, ReadReturnsWholeItemsInOrder) {
  const std::string content = pattern_bytes(5000);
  Stream* stream = open(folder_.make("f", content), "rbrua");
  std::string first(3000, '\0');
  std::string second(2000, '\0');
  sio_read(first.data(), first.size(), stream);
  sio_read(second.data(), second.size(), stream);
  EXPECT_EQ(first + second, content);
  finish();
}

TEST_F(Sio, ReadBeyondTheEndIsAnUnexpectedEnd) {
  Stream* stream = open(folder_.make("f", "abc"), "rbrua");
  char item[4];
  EXPECT_EQ(raised([&] { sio_read(item, sizeof item, stream); }).texts,
            Texts{"Unexpected end of file on sio_read\n"});
  finish();
}

TEST_F(Sio, ReadOnAStreamWithTheErrorFlagIsAnErrorInFileRead) {
  Stream* stream = open(folder_.make("f", ""), "rbrua");
  stream->flags |= kStreamError;
  fs_errno = kErrorIoDevice;
  char item[4];
  EXPECT_EQ(raised([&] { sio_read(item, sizeof item, stream); }).texts,
            Texts{with_system_text("Error in file read", kErrorIoDevice)});
  finish();
}

// Kept on purpose: a refill whose transfer failed sets neither flag.
TEST_F(Sio, ReadThatTheDeviceRefusesLeavesNoFlagAndIsAProgrammingError) {
  faults().fail(OsCall::kRead, 1, kErrorIoDevice, Lasting::kForGood);
  Stream* stream = open(folder_.make("f", "abcdef"), "rbrua");
  char item[4];
  EXPECT_EQ(raised([&] { sio_read(item, sizeof item, stream); }).texts,
            Texts{"Programming error in sio_read\n"});
  faults().clear();
  finish();
}

TEST_F(Sio, CloseThatTheSystemRefusesAsksToCheckTheDiskSpace) {
  Stream* stream = sio_open(folder_.make("f", "").c_str(), "rbrua");
  faults().fail(OsCall::kClose, 1, kErrorIoDevice);
  EXPECT_EQ(raised([&] { sio_close(stream); }).texts,
            Texts{with_system_text("Error attempting to close file:Check disk space", kErrorIoDevice)});
}

TEST_F(Sio, WritesThatFailBehindAreReportedOnceTheBuffersAreBack) {
  Stream* stream = open(folder_.path("f"), "wbtua");
  faults().limit_disk(0);
  sio_write("abc", 3, stream);  // fits the buffer: nothing has failed yet
  ffreebuf(fdetachbuf(stream));
  fs_errno = kErrorDiskFull;
  EXPECT_EQ(raised([&] { sio_check_written(stream); }).texts,
            Texts{with_system_text("Space exhausted while writing work file", kErrorDiskFull)});
  EXPECT_EQ(faults().open_files(), 0u) << "the stream is closed";
}

TEST_F(Sio, NothingIsReportedWhenAllWritesWentWell) {
  Stream* stream = open(folder_.path("f"), "wbtua");
  sio_write("abc", 3, stream);
  ffreebuf(fdetachbuf(stream));
  EXPECT_FALSE(raised([&] { sio_check_written(stream); }).caught);
  sio_close(stream);
  EXPECT_EQ(folder_.content("f").substr(0, 3), "abc");
}

}  // namespace
}  // namespace fsort::test
