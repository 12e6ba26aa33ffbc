// The record type's options.
#include "recio_fixture.h"

namespace fsort::test {
namespace {

class ReadInit : public RecioTest {
 protected:
  ReadState& state() { return instance().read; }
};

TEST_F(ReadInit, TakesTextRecordsUpTo511BytesWithoutARecordOption) {
  set_up({});
  EXPECT_EQ(description().reader, read_text);
  EXPECT_EQ(description().record_length, 10u);
  EXPECT_EQ(state().max_record, 511u);
}

TEST_F(ReadInit, TakesTheSizeOfTextRecords) {
  set_up({"-rt", "1000"});
  EXPECT_EQ(description().reader, read_text);
  EXPECT_EQ(description().record_length, 10u);
  EXPECT_EQ(state().max_record, 1000u);
}

TEST_F(ReadInit, TakesTheSizeOfFixedRecordsAsTheirPlanningLength) {
  set_up({"-rf", "80"});
  EXPECT_EQ(description().reader, read_fixed);
  EXPECT_EQ(description().record_length, 80u);
  EXPECT_EQ(state().max_record, 80u);
}

TEST_F(ReadInit, AcceptsTheLargestFixedRecordThatANumberCanSay) {
  set_up({"-rf", "65535"});
  EXPECT_EQ(state().max_record, 65535u);
}

struct PositionCase {
  const char* name;
  const char* range;  // null: -rv alone
  std::uint32_t width;
  std::uint16_t high;
  std::uint16_t low;
  std::uint64_t header;
};

class ReadInitPosition : public RecioTest, public ::testing::WithParamInterface<PositionCase> {};

TEST_P(ReadInitPosition, PlacesTheLengthField) {
  const PositionCase& c = GetParam();
  Texts arguments{"-rv"};
  if (c.range != nullptr) arguments.emplace_back(c.range);
  set_up(arguments);
  const ReadState& state = instance().read;
  EXPECT_EQ(description().reader, read_variable);
  EXPECT_EQ(description().record_length, 12u);
  EXPECT_EQ(state.max_record, 511u);
  EXPECT_EQ(state.length_width, c.width);
  EXPECT_EQ(state.length_low, c.low);
  EXPECT_EQ(state.length_high, c.high);
  EXPECT_EQ(state.header_length, c.header);
}

INSTANTIATE_TEST_SUITE_P(Ranges, ReadInitPosition,
                         ::testing::Values(PositionCase{"None", nullptr, 2, 1, 0, 2},
                                           PositionCase{"LowByteFirst", "1-0", 2, 1, 0, 2},
                                           PositionCase{"HighByteFirst", "0-1", 2, 0, 1, 2},
                                           PositionCase{"LastTwoOfALongerRange", "2-5", 2, 4, 5, 6},
                                           PositionCase{"LastTwoOfALongerFallingRange", "5-2", 2, 5, 4, 6},
                                           PositionCase{"OneByte", "3", 1, 3, 3, 4},
                                           PositionCase{"OneByteAsRange", "3-3", 1, 3, 3, 4},
                                           PositionCase{"LastPositionInsideTheRecord", "510", 1, 510, 510,
                                                        511}),
                         [](const auto& p) { return std::string(p.param.name); });

TEST_F(ReadInit, TakesTheUpperEndOfAVariableSizeGivenAsRange) {
  set_up({"-rv", "0-1", "100-4096"});
  EXPECT_EQ(state().max_record, 4096u);
}

TEST_F(ReadInit, LeavesAnOperandBehindVariableThatIsNoRangeAndTakesTheDefault) {
  ArgVector args{"-rv", "abc", "4096"};
  ASSERT_EQ(init(args), 0);
  EXPECT_EQ(args.left(), (Texts{"abc", "4096"}));
  EXPECT_EQ(state().header_length, 2u);
  EXPECT_EQ(state().max_record, 511u);
}

TEST_F(ReadInit, LeavesASizeBehindThePositionThatIsNoRange) {
  ArgVector args{"-rv", "0-1", "big"};
  ASSERT_EQ(init(args), 0);
  EXPECT_EQ(args.left(), Texts{"big"});
  EXPECT_EQ(state().max_record, 511u);
}

TEST_F(ReadInit, TakesALoneNumberBehindVariableAsPosition) {
  EXPECT_EQ(refused({"-rv", "4096"}), init_error("Record size field must be within the record length"));
  set_up({"-rv", "4096", "5000"});
  EXPECT_EQ(state().header_length, 4097u);
  EXPECT_EQ(state().max_record, 5000u);
}

TEST_F(ReadInit, DoesNotTakeAFileNameThatSaysSoAsSizeOfTextRecords) {
  set_up({"-rt", input("in", "a\n"), ">" + folder().path("out")});
  EXPECT_EQ(state().max_record, 511u);
  EXPECT_EQ(read_records(), Texts{"a\n"});
}

TEST_F(ReadInit, AcceptsZeroAsSizeOfTextRecordsThatNeedNoAssembly) {
  set_up({"-rt", "0", input("in", "a\nb")});
  EXPECT_EQ(read_records(), Texts{"a\n"});
  EXPECT_EQ(status(), 1);
  EXPECT_EQ(shown_texts(), (Texts{"Text record too long\n", "Error detected reading text record\n"}));
}

struct ErrorCase {
  const char* name;
  Texts arguments;
  const char* message;
};

class ReadInitErrors : public RecioTest, public ::testing::WithParamInterface<ErrorCase> {};

TEST_P(ReadInitErrors, AreShownWithTheInitialisationTitle) {
  EXPECT_EQ(refused(GetParam().arguments), init_error(GetParam().message));
  EXPECT_EQ(instance().read.record_buffer, nullptr);
}

INSTANTIATE_TEST_SUITE_P(
    Table, ReadInitErrors,
    ::testing::Values(
        ErrorCase{"TextTwice", {"-rt", "-rt"}, "Only one record type permitted"},
        ErrorCase{"TextAndVariable", {"-rt", "-rv"}, "Only one record type permitted"},
        ErrorCase{"FixedBeforeText", {"-rf", "4", "-rt"}, "Only one record type permitted"},
        ErrorCase{"VariableTwice", {"-rv", "0-1", "-rv"}, "Only one record type permitted"},
        ErrorCase{"FixedTwice", {"-rf", "4", "-rf", "0"}, "Only one record type permitted"},
        ErrorCase{"TextSizeNoNumber", {"-rt", "abc"}, "Invalid value for text record size"},
        ErrorCase{"TextSizeRange", {"-rt", "5-9"}, "-rt record size cannot be a range"},
        ErrorCase{"TextSizeOpenRange", {"-rt", "5-"}, "-rt record size cannot be a range"},
        ErrorCase{"TextSizeTooLarge", {"-rt", "70000"}, "Argument \"70000\" too large"},
        ErrorCase{"FixedWithoutSize", {"-rf"}, "-rf switch must specify record size"},
        ErrorCase{"FixedFollowedByOption", {"-rf", "-q"}, "-rf switch must specify record size"},
        ErrorCase{"FixedSizeNoNumber", {"-rf", "x"}, "Invalid value for -rf switch"},
        ErrorCase{"FixedSizeInputName", {"-rf", "<a"}, "Invalid value for -rf switch"},
        ErrorCase{"FixedSizeRange", {"-rf", "5-9"}, "-rf record size cannot be a range"},
        ErrorCase{"FixedSizeZero", {"-rf", "0"}, "Illegal record size"},
        ErrorCase{"FixedSizeTooLarge", {"-rf", "64k"}, "Argument \"64k\" too large"},
        ErrorCase{"PositionWithOpenEnd", {"-rv", "3-"}, "Position of record length not defined"},
        ErrorCase{
            "PositionBeyondTheRecord", {"-rv", "511"}, "Record size field must be within the record length"},
        ErrorCase{"PositionBeyondTheGivenSize",
                  {"-rv", "0-5", "5"},
                  "Record size field must be within the record length"}),
    [](const auto& p) { return std::string(p.param.name); });

TEST_F(ReadInit, ReportsThatTheRecordBufferCannotBeHad) {
  faults().fail(OsCall::kHeapAlloc, 1, kErrorNotEnoughMemory);
  EXPECT_EQ(refused({}), init_error("Couldn't allocate memory for a record buffer"));
}

void other_windup(Instance* /*instance*/) {}

TEST_F(ReadInit, ReportsThatItsWindupCannotBeRegistered) {
  while (ExitRegister(other_windup) == 0) continue;
  EXPECT_EQ(refused({}), init_error("Couldn't register function read_windup"));
}

TEST_F(ReadInit, ReleasesTheBufferOfAnEarlierStart) {
  set_up({"-rt", "1000"});
  const std::size_t blocks = faults().heap_blocks();
  set_up({"-rt", "2000"});
  EXPECT_EQ(faults().heap_blocks(), blocks);
}

TEST_F(ReadInit, WindupMayRunTwice) {
  set_up({});
  read_windup(&instance());
  read_windup(&instance());
  EXPECT_EQ(state().record_buffer, nullptr);
}

}  // namespace
}  // namespace fsort::test
