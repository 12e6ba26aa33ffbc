// Options, buffers and clean-up of the sublist module.
#include <fstream>
#include <string>

#include "platform/os.h"
#include "stream/stream.h"
#include "sublist/sublist.h"
#include "sublist/work_name.h"
#include "support/exit.h"
#include "support/instance_fixture.h"
#include "support/temp_folder.h"

namespace fsort {
namespace {

using test::ArgVector;
using test::Raised;
using test::raised;
using test::Texts;

constexpr std::size_t kSmallestBlock = 60u * 1024u;

int g_blocks_until_failure;  // the n-th large block fails; 0: none
int g_large_blocks;          // large blocks allocated and not freed

void* failing_alloc(std::size_t size) {
  if (size < kSmallestBlock) return kSystemOs.heap_alloc(size);
  if (g_blocks_until_failure > 0 && --g_blocks_until_failure == 0) return nullptr;
  ++g_large_blocks;
  return kSystemOs.heap_alloc(size);
}

const char* no_env(const char* /*name*/) { return nullptr; }

class SublistInit : public test::InstanceFixture {
 protected:
  void SetUp() override {
    g_blocks_until_failure = 0;
    g_large_blocks = 0;
    table_ = kSystemOs;
    table_.heap_alloc = failing_alloc;
    table_.get_env = no_env;
    os = &table_;
    InstanceFixture::SetUp();
  }
  void TearDown() override {
    InstanceFixture::TearDown();
    os = &kSystemOs;
  }
  static Raised init(ArgVector& args) {
    return raised([&] { sublist_init(args.argc(), args.argv()); });
  }
  SublistState& state() { return instance().sublist; }
  std::string directory() const {
    const std::string path = instance_path();
    return path.substr(0, path.find("wk"));
  }
  [[nodiscard]] std::string instance_path() const { return current_instance->sublist.path; }

 private:
  OsTable table_{};
};

TEST_F(SublistInit, DefaultsAreSixtyKilobytesAndTheCurrentDirectory) {
  ArgVector args{};
  EXPECT_FALSE(init(args).caught);
  EXPECT_EQ(state().read_block_kb, 60);
  EXPECT_EQ(state().write_block_kb, 60);
  EXPECT_EQ(directory(), "");
  EXPECT_NE(state().input_buffer, nullptr);
  EXPECT_NE(state().output_buffer, nullptr);
  EXPECT_EQ(state().file_counter, 0);
}

TEST_F(SublistInit, EmptyBinHasNothingButTheMarkOfNoRun) {
  ArgVector args{};
  EXPECT_FALSE(init(args).caught);
  const Sublist& empty = sublist_empty();
  EXPECT_EQ(empty.run_pos, 0xFFFFFFFFFFFFFFFFu);
  EXPECT_EQ(empty.head, nullptr);
  EXPECT_EQ(empty.child, nullptr);
  EXPECT_EQ(empty.mem_count + empty.file_count + empty.file_bytes + empty.mem_bytes + empty.run_len, 0u);
  EXPECT_EQ(empty.key + empty.position + empty.order, 0);
}

TEST_F(SublistInit, OptionsAndTheirOperandsAreConsumed) {
  ArgVector args{"-w", "spool", "-wb", "100", "-rb", "2m"};
  EXPECT_FALSE(init(args).caught);
  EXPECT_EQ(args.left(), Texts{});
  EXPECT_EQ(directory(), "spool\\");
  EXPECT_EQ(state().write_block_kb, 100);
  EXPECT_EQ(state().read_block_kb, 1024);
}

TEST_F(SublistInit, BlockSizesAreBroughtIntoTheirLimits) {
  ArgVector args{"-wb", "0", "-rb", "5000"};
  EXPECT_FALSE(init(args).caught);
  EXPECT_EQ(state().write_block_kb, 2);
  EXPECT_EQ(state().read_block_kb, 1024);
}

TEST_F(SublistInit, SmallestAndLargestBlockSizesStand) {
  ArgVector args{"-wb", "2", "-rb", "1024"};
  EXPECT_FALSE(init(args).caught);
  EXPECT_EQ(state().write_block_kb, 2);
  EXPECT_EQ(state().read_block_kb, 1024);
}

TEST_F(SublistInit, DirectoryOptionWithoutOperandIsTheCurrentDirectory) {
  ArgVector args{"-w", "-wb", "10"};
  EXPECT_FALSE(init(args).caught);
  EXPECT_EQ(directory(), "");
  EXPECT_EQ(args.left(), Texts{});
}

TEST_F(SublistInit, LongDirectoryIsRefusedAtItsLimit) {
  ArgVector longest{"-w", std::string(130, 'd')};
  EXPECT_FALSE(init(longest).caught);
  EXPECT_EQ(directory(), std::string(130, 'd') + "\\");
  run_windups();
  ArgVector too_long{"-w", std::string(131, 'd')};
  EXPECT_EQ(init(too_long).texts, Texts{"Temporary directory name too long\n"});
}

TEST_F(SublistInit, BlockSizeOptionsNeedAnOperand) {
  ArgVector write{"-wb"};
  EXPECT_EQ(init(write).texts, Texts{"-wb switch must specify block size in K\n"});
  ArgVector read{"-rb", "-u"};
  EXPECT_EQ(init(read).texts, Texts{"-rb switch must specify block size in K\n"});
}

TEST_F(SublistInit, BlockSizeBeyondSixteenBitsIsRefused) {
  ArgVector args{"-wb", "65536"};
  EXPECT_EQ(init(args).texts, Texts{"Argument \"65536\" too large\n"});
}

void other_windup(Instance* /*instance*/) {}

TEST_F(SublistInit, FullWindupListIsReported) {
  for (int i = 0; i < kMaxWindups; ++i) ASSERT_EQ(ExitRegister(other_windup), 0);
  ArgVector args{};
  EXPECT_EQ(init(args).texts, Texts{"Couldn't register sublist_windup\n"});
}

TEST_F(SublistInit, InputBufferThatCannotBeHadIsReported) {
  g_blocks_until_failure = 1;
  ArgVector args{};
  EXPECT_EQ(init(args).texts, Texts{"Couldn't get memory for workfile input buffer\n"});
}

TEST_F(SublistInit, OutputBufferThatCannotBeHadIsReported) {
  ArgVector args{"-rb", "2"};  // the input buffers are too small to be counted
  g_blocks_until_failure = 1;
  EXPECT_EQ(init(args).texts, Texts{"Couldn't get memory for workfile output buffer\n"});
}

TEST_F(SublistInit, WindupFreesTheBuffersAndMayRunTwice) {
  ArgVector args{};
  EXPECT_FALSE(init(args).caught);
  EXPECT_GT(g_large_blocks, 0);
  sublist_windup(&instance());
  EXPECT_EQ(state().input_buffer, nullptr);
  EXPECT_EQ(state().output_buffer, nullptr);
  sublist_windup(&instance());
}

TEST_F(SublistInit, SecondInitGivesBackWhatTheFirstLeft) {
  ArgVector first{"-wb", "0"};
  EXPECT_FALSE(init(first).caught);
  state().file_counter = 9;
  state().preload_done = 1;
  ArgVector second{"-w", "other"};
  EXPECT_FALSE(init(second).caught);  // a leak sanitizer sees buffers that were not given back
  EXPECT_EQ(state().write_block_kb, 60);
  EXPECT_EQ(state().file_counter, 0);
  EXPECT_FALSE(sublist_preload_done());
  EXPECT_EQ(directory(), "other\\");
}

// A work file as an array would own it. In a folder of the test's own: names come from the address of the
// instance, which may be the same in the processes of two tests side by side.
class SublistFiles : public SublistInit {
 protected:
  void SetUp() override {
    SublistInit::SetUp();
    ArgVector args{"-w", folder_.path("")};
    ASSERT_FALSE(init(args).caught);
    sublist_array_init(0, &array_);
    array_.file_number = 7;
    array_.file_exists = 1;
    name_ = mk_name(state(), 7);
    for (char& c : name_) c = c == '\\' ? '/' : c;
    std::ofstream(name_, std::ios::binary) << "content";
  }
  void open_output() {
    array_.file = fstdio_fopen(mk_name(state(), 7), "w");
    ASSERT_NE(array_.file, nullptr);
    array_.file_state = 2;
    state().open_output = &array_;
    output_buffer_ = state().output_buffer;
    fattachbuf(array_.file, output_buffer_);
    state().output_buffer = nullptr;
  }
  [[nodiscard]] bool exists() const { return std::ifstream(name_).good(); }

  test::TempFolder folder_;
  SublistArray array_{};
  std::string name_;
  BufferChain output_buffer_ = nullptr;
};

TEST_F(SublistFiles, DeletingAnArrayRemovesItsClosedFile) {
  ASSERT_TRUE(exists());
  sublist_array_delete(&array_);
  EXPECT_FALSE(exists());
  EXPECT_EQ(array_.file_exists, 0);
  std::ofstream(name_) << "somebody else's";
  sublist_array_delete(&array_);
  EXPECT_TRUE(exists()) << "without a file of its own nothing is deleted";
}

TEST_F(SublistFiles, DeletingAnArrayClosesItsFileAndTakesTheBufferBack) {
  open_output();
  sublist_array_delete(&array_);
  EXPECT_FALSE(exists());
  EXPECT_EQ(array_.file, nullptr);
  EXPECT_EQ(array_.file_state, 0u);
  EXPECT_EQ(state().open_output, nullptr);
  EXPECT_EQ(state().output_buffer, output_buffer_);
}

TEST_F(SublistFiles, WindupClosesOpenFilesAndMarksTheirArraysClosed) {
  open_output();
  sublist_windup(&instance());
  EXPECT_EQ(array_.file, nullptr);
  EXPECT_EQ(array_.file_state, 0u);
  EXPECT_EQ(state().open_output, nullptr);
  EXPECT_EQ(state().output_buffer, nullptr);
  EXPECT_TRUE(exists()) << "the windup deletes no file";
  sublist_array_delete(&array_);
  EXPECT_FALSE(exists()) << "the levels do, afterwards";
}

}  // namespace
}  // namespace fsort
