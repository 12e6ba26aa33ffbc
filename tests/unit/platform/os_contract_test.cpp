// What os.h promises, asked of every table there is: the system's own and the simulated one.
//
// Nothing here knows which system it runs on. Files are named inside a folder that the table at hand takes,
// and everything is done through the table. An overlapped transfer may be complete on return or not; the
// helpers wait when it is not.
#include <gtest/gtest.h>
#include <atomic>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/os.h"
#include "support/sim_os.h"
#include "support/temp_folder.h"

namespace fsort::test {
namespace {

enum class Table { kSystem, kSimulatedAtOnce, kSimulatedLate };

constexpr std::uint32_t kFailedSeek = 0xFFFFFFFF;

class OsContract : public testing::TestWithParam<Table> {
 protected:
  OsContract() {
    if (GetParam() == Table::kSystem) return;
    sim_ = std::make_unique<SimOs>(4711);
    sim_->set_lateness(GetParam() == Table::kSimulatedLate ? 100 : 0, 20);
    sim_->make_folder("folder");
  }
  ~OsContract() override {
    if (sim_ == nullptr) return;
    EXPECT_EQ(sim_->violations(), std::vector<std::string>{});
    EXPECT_TRUE(sim_->clean()) << sim_->alive();
  }

  [[nodiscard]] std::string path(const std::string& name) const {
    return sim_ != nullptr ? "folder/" + name : folder_.path(name);
  }
  [[nodiscard]] std::string folder() const { return sim_ != nullptr ? "folder" : folder_.path("."); }

  static Handle open(const std::string& name, std::uint32_t access, std::uint32_t disposition,
                     std::uint32_t flags = 0) {
    const std::uint32_t share = access == kGenericRead ? kShareRead : 0;
    return os->create_file(name.c_str(), access, share, nullptr, disposition, flags, nullptr);
  }
  // The code with which an open fails; 0 when it does not (the file is then closed again).
  static std::uint32_t open_code(const std::string& name, std::uint32_t access, std::uint32_t disposition) {
    Handle file = open(name, access, disposition);
    if (file == kInvalidHandle) return os->get_last_error();
    EXPECT_TRUE(os->close_handle(file));
    return 0;
  }
  void make(const std::string& name, const std::string& content) const {
    Handle file = open(path(name), kGenericWrite, kCreateAlways);
    ASSERT_NE(file, kInvalidHandle);
    std::uint32_t done = 0;
    EXPECT_TRUE(
        os->write_file(file, content.data(), static_cast<std::uint32_t>(content.size()), &done, nullptr));
    EXPECT_EQ(done, content.size());
    EXPECT_TRUE(os->close_handle(file));
  }
  [[nodiscard]] std::string content(const std::string& name) const {
    Handle file = open(path(name), kGenericRead, kOpenExisting);
    if (file == kInvalidHandle) return "<missing>";
    std::string text(100000, '?');
    std::uint32_t done = 0;
    EXPECT_TRUE(os->read_file(file, text.data(), 100000, &done, nullptr));
    EXPECT_TRUE(os->close_handle(file));
    return text.substr(0, done);
  }
  static std::uint32_t seek(Handle file, std::int64_t distance, std::uint32_t origin) {
    auto high = static_cast<std::int32_t>(distance >> 32);
    return os->set_file_pointer(file, static_cast<std::int32_t>(distance), &high, origin);
  }

  // One overlapped transfer at a time, each with an event of its own.
  struct Transfer {
    Overlapped record{};
    std::uint32_t done = 99;
    bool at_once = false;
    std::uint32_t code = 0;

    explicit Transfer(std::uint64_t offset) {
      record.offset_low = static_cast<std::uint32_t>(offset);
      record.offset_high = static_cast<std::uint32_t>(offset >> 32);
      record.event = os->create_event(nullptr, false, false, nullptr);
      EXPECT_NE(record.event, nullptr);
    }
    ~Transfer() { EXPECT_TRUE(os->close_handle(record.event)); }
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    void read(Handle file, void* data, std::uint32_t count) {
      at_once = os->read_file(file, data, count, &done, &record);
      code = at_once ? 0 : os->get_last_error();
    }
    void write(Handle file, const void* data, std::uint32_t count) {
      at_once = os->write_file(file, data, count, &done, &record);
      code = at_once ? 0 : os->get_last_error();
    }
    // Bytes moved; `code` then says how it ended.
    std::uint32_t finish(Handle file) {
      if (code != kErrorIoPending) return done;
      code = os->get_overlapped_result(file, &record, &done, true) ? 0 : os->get_last_error();
      return done;
    }
  };

  SimOs* sim() { return sim_.get(); }

 private:
  TempFolder folder_;
  std::unique_ptr<SimOs> sim_;
};

INSTANTIATE_TEST_SUITE_P(Of, OsContract,
                         testing::Values(Table::kSystem, Table::kSimulatedAtOnce, Table::kSimulatedLate),
                         [](const auto& table) {
                           if (table.param == Table::kSystem) return "TheSystem";
                           return table.param == Table::kSimulatedLate ? "LateSimulation"
                                                                       : "PromptSimulation";
                         });

// --- names and opening -----------------------------------------------------------------------------------

TEST_P(OsContract, BothSeparatorsNameTheSameFile) {
  make("f", "abc");
  std::string other = path("f");
  for (char& c : other) c = c == '/' ? '\\' : c == '\\' ? '/' : c;
  EXPECT_EQ(open_code(other, kGenericRead, kOpenExisting), 0u);
  EXPECT_TRUE(os->delete_file(other.c_str()));
  EXPECT_EQ(content("f"), "<missing>");
}

TEST_P(OsContract, NamesThatCannotBeOpenedHaveTheirCodes) {
  EXPECT_EQ(open_code("", kGenericRead, kOpenExisting), kErrorPathNotFound);
  EXPECT_EQ(open_code(folder(), kGenericRead, kOpenExisting), kErrorAccessDenied);
  EXPECT_EQ(open_code(path("none"), kGenericRead, kOpenExisting), kErrorFileNotFound);
  EXPECT_EQ(open_code(path("none/f"), kGenericRead, kOpenExisting), kErrorPathNotFound);
  EXPECT_EQ(open_code(path("none/f"), kGenericWrite, kCreateAlways), kErrorPathNotFound);
}

TEST_P(OsContract, CreateNewRefusesAnExistingFileAndKeepsItsContent) {
  EXPECT_EQ(open_code(path("f"), kGenericWrite, kCreateNew), 0u);
  make("f", "abc");
  EXPECT_EQ(open_code(path("f"), kGenericWrite, kCreateNew), kErrorFileExists);
  EXPECT_EQ(content("f"), "abc");
}

TEST_P(OsContract, CreateAlwaysEmptiesAFileAndOpenExistingKeepsIt) {
  make("f", "abc");
  EXPECT_EQ(open_code(path("f"), kGenericWrite, kOpenExisting), 0u);
  EXPECT_EQ(content("f"), "abc");
  EXPECT_EQ(open_code(path("f"), kGenericWrite, kCreateAlways), 0u);
  EXPECT_EQ(content("f"), "");
}

TEST_P(OsContract, ReadersShareAndWritersAreAlone) {
  make("f", "abc");
  Handle reader = open(path("f"), kGenericRead, kOpenExisting);
  EXPECT_EQ(open_code(path("f"), kGenericRead, kOpenExisting), 0u);
  EXPECT_EQ(open_code(path("f"), kGenericWrite, kOpenExisting), kErrorSharingViolation);
  EXPECT_EQ(open_code(path("f"), kGenericWrite, kCreateAlways), kErrorSharingViolation);
  EXPECT_TRUE(os->close_handle(reader));
  EXPECT_EQ(content("f"), "abc") << "a refused open leaves the content alone";
  Handle writer = open(path("f"), kGenericWrite, kOpenExisting);
  EXPECT_EQ(open_code(path("f"), kGenericRead, kOpenExisting), kErrorSharingViolation);
  EXPECT_EQ(open_code(path("f"), kGenericWrite, kOpenExisting), kErrorSharingViolation);
  EXPECT_TRUE(os->close_handle(writer));
  EXPECT_EQ(open_code(path("f"), kGenericWrite, kOpenExisting), 0u);
}

TEST_P(OsContract, DeletedFilesAreGoneAndMissingOnesHaveTheirCodes) {
  make("f", "abc");
  EXPECT_TRUE(os->delete_file(path("f").c_str()));
  EXPECT_EQ(open_code(path("f"), kGenericRead, kOpenExisting), kErrorFileNotFound);
  EXPECT_FALSE(os->delete_file(path("f").c_str()));
  EXPECT_EQ(os->get_last_error(), kErrorFileNotFound);
  EXPECT_FALSE(os->delete_file(path("none/f").c_str()));
  EXPECT_EQ(os->get_last_error(), kErrorPathNotFound);
}

TEST_P(OsContract, InvalidHandlesAreRefused) {
  for (Handle none : {static_cast<Handle>(nullptr), kInvalidHandle}) {
    std::uint32_t done = 99;
    char byte = 0;
    EXPECT_FALSE(os->read_file(none, &byte, 1, &done, nullptr));
    EXPECT_EQ(os->get_last_error(), kErrorInvalidHandle);
    EXPECT_EQ(done, 0u);
    EXPECT_EQ(os->get_file_type(none), kFileTypeUnknown);
  }
  EXPECT_EQ(os->get_std_handle(5), kInvalidHandle);
}

// --- transfers at the file pointer -----------------------------------------------------------------------

TEST_P(OsContract, TransfersAtTheFilePointerMoveIt) {
  Handle file = open(path("f"), kGenericRead | kGenericWrite, kCreateAlways);
  std::uint32_t done = 0;
  EXPECT_TRUE(os->write_file(file, "abcdef", 6, &done, nullptr));
  EXPECT_EQ(done, 6u);
  EXPECT_EQ(seek(file, 0, kSeekCurrent), 6u);
  EXPECT_EQ(seek(file, 1, kSeekBegin), 1u);
  char bytes[10] = {};
  EXPECT_TRUE(os->read_file(file, bytes, 2, &done, nullptr));
  EXPECT_EQ(std::string(bytes, done), "bc");
  EXPECT_TRUE(os->read_file(file, bytes, 10, &done, nullptr)) << "less than asked for, at the end";
  EXPECT_EQ(std::string(bytes, done), "def");
  EXPECT_TRUE(os->read_file(file, bytes, 10, &done, nullptr)) << "nothing, at the end";
  EXPECT_EQ(done, 0u);
  EXPECT_EQ(os->get_file_type(file), kFileTypeDisk);
  EXPECT_TRUE(os->flush_file_buffers(file));
  EXPECT_TRUE(os->close_handle(file));
}

TEST_P(OsContract, TransfersAgainstTheAccessAreRefused) {
  make("f", "abc");
  std::uint32_t done = 99;
  char byte = 'x';
  Handle reader = open(path("f"), kGenericRead, kOpenExisting);
  EXPECT_FALSE(os->write_file(reader, &byte, 1, &done, nullptr));
  EXPECT_NE(os->get_last_error(), 0u);
  EXPECT_EQ(done, 0u);
  EXPECT_FALSE(os->set_end_of_file(reader));
  EXPECT_NE(os->get_last_error(), 0u);
  EXPECT_TRUE(os->close_handle(reader));
  Handle writer = open(path("f"), kGenericWrite, kOpenExisting);
  done = 99;
  EXPECT_FALSE(os->read_file(writer, &byte, 1, &done, nullptr));
  EXPECT_NE(os->get_last_error(), 0u);
  EXPECT_EQ(done, 0u);
  EXPECT_TRUE(os->close_handle(writer));
  EXPECT_EQ(content("f"), "abc");
}

TEST_P(OsContract, TheFilePointerIsSetFromAllOriginsInTwoHalves) {
  make("f", "abcdef");
  Handle file = open(path("f"), kGenericRead, kOpenExisting);
  EXPECT_EQ(seek(file, 4, kSeekBegin), 4u);
  EXPECT_EQ(seek(file, -1, kSeekCurrent), 3u);
  EXPECT_EQ(seek(file, -2, kSeekEnd), 4u);
  std::int32_t high = 0x12;
  EXPECT_EQ(os->set_file_pointer(file, 0x34567890, &high, kSeekBegin), 0x34567890u);
  EXPECT_EQ(high, 0x12);
  high = 0;
  EXPECT_EQ(os->set_file_pointer(file, 0, &high, kSeekCurrent), 0x34567890u);
  EXPECT_EQ(high, 0x12);
  high = 0;
  EXPECT_EQ(os->set_file_pointer(file, -1, &high, kSeekBegin), kFailedSeek) << "4 GiB less one";
  EXPECT_EQ(os->get_last_error(), 0u) << "is a position like any other";
  EXPECT_TRUE(os->close_handle(file));
}

TEST_P(OsContract, APositionBeforeTheBeginningIsRefusedAndMovesNothing) {
  make("f", "abcdef");
  Handle file = open(path("f"), kGenericRead, kOpenExisting);
  EXPECT_EQ(seek(file, 2, kSeekBegin), 2u);
  std::int32_t high = -1;
  EXPECT_EQ(os->set_file_pointer(file, -3, &high, kSeekCurrent), kFailedSeek);
  EXPECT_EQ(os->get_last_error(), kErrorNegativeSeek);
  EXPECT_EQ(high, -1) << "unchanged";
  EXPECT_EQ(seek(file, 0, kSeekCurrent), 2u);
  EXPECT_TRUE(os->close_handle(file));
}

TEST_P(OsContract, TheEndOfAFileIsCutAndExtendedWithZerosAtThePointer) {
  make("f", "abcdef");
  Handle file = open(path("f"), kGenericWrite, kOpenExisting);
  seek(file, 3, kSeekBegin);
  EXPECT_TRUE(os->set_end_of_file(file));
  seek(file, 6, kSeekBegin);
  EXPECT_TRUE(os->set_end_of_file(file));
  EXPECT_EQ(seek(file, 0, kSeekCurrent), 6u) << "the pointer stays";
  EXPECT_TRUE(os->close_handle(file));
  EXPECT_EQ(content("f"), std::string("abc\0\0\0", 6));
}

// --- overlapped transfers --------------------------------------------------------------------------------

TEST_P(OsContract, OverlappedTransfersGoToTheirOffsetAndLeaveThePointerAlone) {
  make("f", "abcdefgh");
  Handle file = open(path("f"), kGenericRead | kGenericWrite, kOpenExisting, kFlagOverlapped);
  EXPECT_EQ(seek(file, 2, kSeekBegin), 2u);
  char bytes[8] = {};
  {
    Transfer read(4);
    read.read(file, bytes, 3);
    EXPECT_EQ(read.finish(file), 3u);
    EXPECT_EQ(read.code, 0u);
    EXPECT_EQ(std::string(bytes, 3), "efg");
    Transfer write(6);
    write.write(file, "XYZ", 3);
    EXPECT_EQ(write.finish(file), 3u);
    EXPECT_EQ(write.code, 0u);
  }
  EXPECT_EQ(seek(file, 0, kSeekCurrent), 2u);
  EXPECT_TRUE(os->close_handle(file));
  EXPECT_EQ(content("f"), "abcdefXYZ");
}

// The stream layer does this with the files that it creates.
TEST_P(OsContract, ARequestRecordIsTakenByAPlainHandleAsWell) {
  make("f", "abcdefgh");
  Handle file = open(path("f"), kGenericRead | kGenericWrite, kOpenExisting);
  {
    Transfer write(2);
    write.write(file, "XY", 2);
    EXPECT_EQ(write.finish(file), 2u);
    EXPECT_EQ(write.code, 0u);
    char bytes[8] = {};
    Transfer read(1);
    read.read(file, bytes, 4);
    EXPECT_EQ(read.finish(file), 4u);
    EXPECT_EQ(std::string(bytes, 4), "bXYe");
    Transfer beyond(8);
    beyond.read(file, bytes, 4);
    EXPECT_EQ(beyond.finish(file), 0u);
    EXPECT_EQ(beyond.code, kErrorHandleEof);
  }
  EXPECT_TRUE(os->close_handle(file));
}

TEST_P(OsContract, AnOverlappedReadAtOrBehindTheEndIsTheEndOfTheFile) {
  make("f", "abcdef");
  Handle file = open(path("f"), kGenericRead, kOpenExisting, kFlagOverlapped);
  char bytes[8] = {};
  for (const std::uint64_t offset : {std::uint64_t{6}, std::uint64_t{7}, std::uint64_t{0x500000000}}) {
    Transfer read(offset);
    read.read(file, bytes, 8);
    EXPECT_FALSE(read.at_once);
    EXPECT_EQ(read.finish(file), 0u);
    EXPECT_EQ(read.code, kErrorHandleEof) << offset;
  }
  Transfer last(4);
  last.read(file, bytes, 8);
  EXPECT_EQ(last.finish(file), 2u) << "less than asked for is no error";
  EXPECT_EQ(last.code, 0u);
  EXPECT_TRUE(os->close_handle(file));
}

TEST_P(OsContract, AnOffsetHasSixtyFourBits) {
  Handle file = open(path("f"), kGenericRead | kGenericWrite, kCreateAlways, kFlagOverlapped);
  {
    Transfer write(0x100000003);
    write.write(file, "far", 3);
    EXPECT_EQ(write.finish(file), 3u);
    char bytes[6] = {};
    Transfer read(0x100000000);
    read.read(file, bytes, 6);
    EXPECT_EQ(read.finish(file), 6u);
    EXPECT_EQ(std::string(bytes, 6), std::string("\0\0\0far", 6));
  }
  std::int32_t high = 0;
  EXPECT_EQ(os->set_file_pointer(file, 0, &high, kSeekEnd), 6u);
  EXPECT_EQ(high, 1);
  EXPECT_TRUE(os->close_handle(file));
  EXPECT_TRUE(os->delete_file(path("f").c_str()));
}

TEST_P(OsContract, SeveralRequestsAreInFlightAtOnceAndWaitedForInAnyOrder) {
  const std::string text = pattern_bytes(16 * 512);
  make("f", text);
  Handle file = open(path("f"), kGenericRead, kOpenExisting, kFlagOverlapped);
  std::vector<std::unique_ptr<Transfer>> reads;
  std::vector<std::string> buffers(16, std::string(512, '?'));
  for (std::size_t i = 0; i < 16; ++i) {
    reads.push_back(std::make_unique<Transfer>(i * 512));
    reads.back()->read(file, buffers[i].data(), 512);
  }
  if (GetParam() == Table::kSimulatedLate) {
    EXPECT_EQ(sim()->in_flight(), 16u);
  }
  for (std::size_t i = 0; i < 16; ++i) {
    const std::size_t k = i * 7 % 16;
    EXPECT_EQ(reads[k]->finish(file), 512u);
    EXPECT_TRUE(buffers[k] == text.substr(k * 512, 512)) << k;
  }
  reads.clear();
  EXPECT_TRUE(os->close_handle(file));
}

TEST_P(OsContract, UnbufferedHandlesTransferWholeSectors) {
  const std::string text = pattern_bytes(1000);
  make("f", text);
  Handle file = open(path("f"), kGenericRead, kOpenExisting, kFlagOverlapped | kFlagNoBuffering);
  ASSERT_NE(file, kInvalidHandle);
  alignas(4096) static char sectors[4096];
  {
    Transfer read(512);
    read.read(file, sectors, 512);
    EXPECT_EQ(read.finish(file), 488u);
    EXPECT_EQ(read.code, 0u);
    EXPECT_TRUE(std::string(sectors, 488) == text.substr(512));
    Transfer all(0);
    all.read(file, sectors, 4096);
    EXPECT_EQ(all.finish(file), 1000u);
    EXPECT_TRUE(std::string(sectors, 1000) == text);
  }
  EXPECT_TRUE(os->close_handle(file));
}

// --- the rest of the table -------------------------------------------------------------------------------

TEST_P(OsContract, ErrorTextsEndInALineEndAndFitOrAreNotWritten) {
  char text[200] = "before";
  const std::uint32_t length = os->format_message(0x1200, nullptr, 2, 0x400, text, sizeof text, nullptr);
  ASSERT_GT(length, 10u);
  EXPECT_EQ(std::strlen(text), length);
  EXPECT_EQ(std::string(text).substr(length - 2), "\r\n");
  std::strcpy(text, "before");
  EXPECT_EQ(os->format_message(0x1200, nullptr, 2, 0x400, text, 8, nullptr), 0u);
  EXPECT_STREQ(text, "before");
  EXPECT_EQ(os->format_message(0x1200, nullptr, 0x2FFFFFFF, 0x400, text, sizeof text, nullptr), 0u);
  EXPECT_STREQ(text, "before");
}

TEST_P(OsContract, TheLastErrorIsTheThreadsOwn) {
  // Starting and joining a thread may change the code, so the threads take turns between two calls.
  std::atomic<int> turn{0};
  std::uint32_t other_code = 0;
  std::thread other([&] {
    while (turn != 1) std::this_thread::yield();
    other_code = open_code("", kGenericRead, kOpenExisting);
    turn = 2;
  });
  EXPECT_EQ(open_code(path("none"), kGenericRead, kOpenExisting), kErrorFileNotFound);
  turn = 1;
  while (turn != 2) {
  }
  const std::uint32_t own_code = os->get_last_error();
  other.join();
  EXPECT_EQ(own_code, kErrorFileNotFound);
  EXPECT_EQ(other_code, kErrorPathNotFound);
}

TEST_P(OsContract, TheSystemTellsAboutItself) {
  EXPECT_GE(os->get_version() & 0xFF, 4u);
  VersionInfo info{};
  info.size = sizeof info;
  EXPECT_TRUE(os->get_version_ex(&info));
  EXPECT_EQ(info.platform_id, 2u);
  MemoryStatus memory{};
  memory.length = sizeof memory;
  os->global_memory_status(&memory);
  EXPECT_GT(memory.total_phys, 1u << 20);
  const std::int64_t clock = os->clock();
  const std::int64_t time = os->time();
  EXPECT_GT(time, 1700000000);
  EXPECT_GE(os->clock(), clock);
  EXPECT_GE(os->time(), time);
  EXPECT_EQ(os->get_env("FSORT_A_NAME_THAT_NOBODY_SETS"), nullptr);
  ASSERT_NE(os->get_env("PATH"), nullptr);
  EXPECT_STREQ(os->get_env("PATH"), std::getenv("PATH"));
}

TEST_P(OsContract, TheLockLetsItsHolderInAgainAndNobodyElse) {
  CriticalSection lock{};
  os->initialize_critical_section(&lock);
  const std::uint32_t own = os->get_current_thread_id();
  os->enter_critical_section(&lock);
  os->enter_critical_section(&lock);
  bool entered = false;
  std::thread other([&] {
    EXPECT_NE(os->get_current_thread_id(), own);
    os->enter_critical_section(&lock);
    entered = true;
    os->leave_critical_section(&lock);
  });
  os->leave_critical_section(&lock);
  for (int i = 0; i < 100; ++i) os->yield_thread();
  EXPECT_FALSE(entered) << "held once still";
  os->leave_critical_section(&lock);
  other.join();
  EXPECT_TRUE(entered);
  os->delete_critical_section(&lock);
}

TEST_P(OsContract, MemoryIsAligned) {
  for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{100}, std::size_t{100000}}) {
    void* block = os->heap_alloc(size);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 16, 0u);
    std::memset(block, 1, size);
    os->heap_free(block);
  }
  os->heap_free(nullptr);
  for (const std::size_t size : {std::size_t{1} << 16, std::size_t{5} << 20}) {
    void* region = os->region_alloc(size);
    ASSERT_NE(region, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(region) % 4096, 0u);
    std::memset(region, 1, size);
    os->region_free(region, size);
  }
}

}  // namespace
}  // namespace fsort::test
