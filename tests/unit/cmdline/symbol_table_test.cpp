// Lookup and capacity of the macro table.
#include "cmdline/symbol_table.h"

#include "support/instance_fixture.h"

namespace fsort {
namespace {

class SymbolTableTest : public test::InstanceFixture {
 protected:
  void SetUp() override {
    InstanceFixture::SetUp();
    sym_init(table_);
  }
  SymbolTable table_;
};

TEST_F(SymbolTableTest, BuiltInEntriesComeFirstInFixedOrder) {
  EXPECT_EQ(table_.count, 4u);
  EXPECT_EQ(sym_lookup(table_, "-#define"), 1u);
  EXPECT_EQ(sym_lookup(table_, "-#end"), 2u);
  EXPECT_EQ(sym_lookup(table_, "-#include"), 3u);
  EXPECT_EQ(table_.symbols[3].type, SymbolType::kInclude);
}

TEST_F(SymbolTableTest, UnknownAndEmptyNamesAreOrdinaryArguments) {
  EXPECT_EQ(sym_lookup(table_, ""), 0u);
  EXPECT_EQ(sym_lookup(table_, "-#defin"), 0u);
  EXPECT_EQ(sym_lookup(table_, "-#Define"), 0u) << "names are matched with their case";
  EXPECT_EQ(table_.symbols[0].type, SymbolType::kOrdinary);
}

TEST_F(SymbolTableTest, LaterDefinitionHidesTheEarlierOne) {
  const char* first[] = {"X", "a"};
  const char* second[] = {"X", "b", "c"};
  sym_install(table_, SymbolType::kMacro, first, 2);
  EXPECT_EQ(sym_lookup(table_, "X"), 4u);
  sym_install(table_, SymbolType::kMacro, second, 3);
  EXPECT_EQ(sym_lookup(table_, "X"), 5u);
  EXPECT_EQ(table_.symbols[5].token_count, 3);
  EXPECT_EQ(table_.symbols[5].active, 0u);
}

TEST_F(SymbolTableTest, TakesSixtyMacrosAndRefusesTheNext) {
  static const char* const tokens[] = {"X"};
  for (int i = 0; i < 60; ++i) sym_install(table_, SymbolType::kMacro, tokens, 1);
  EXPECT_EQ(table_.count, kMaxSymbols);
  const test::Raised r = test::raised([&] { sym_install(table_, SymbolType::kMacro, tokens, 1); });
  EXPECT_EQ(r.texts, test::Texts{"Too many macros defined\n"});
  EXPECT_EQ(table_.count, kMaxSymbols);
}

}  // namespace
}  // namespace fsort
