// SPDX-License-Identifier: MIT
// Columns that stand below each other.
#include "PropertyTool/TCTextTable.h"

#include <gtest/gtest.h>

#include "tests/unit/PropertyTool/WrittenText.h"

namespace {

using Property::TCOutput;
using Property::TCTextTable;
using Property::TEForm;

std::string Written(TCTextTable const& Table) {
  TWrittenText Text;
  TCOutput Output(Text.get_File(), TEForm::ePeople);
  Table.Write(Output);
  return Text.get_Text();
}

TEST(TCTextTable, MakesEachColumnAsWideAsItsWidestText) {
  TCTextTable Table({"NAME", "VALUE"});
  Table.Add({"a", "1"});
  Table.Add({"longer", ""});
  EXPECT_EQ(Written(Table), "NAME    VALUE\na       1\nlonger\n");
}

TEST(TCTextTable, CountsCharactersAndNotBytes) {
  TCTextTable Table({"", ""});
  Table.Add({"K\xc3\xbc", "1"});
  Table.Add({"abc", "2"});
  EXPECT_EQ(Written(Table), "K\xc3\xbc   1\nabc  2\n");
}

TEST(TCTextTable, KeepsEachRowOnItsLine) {
  TCTextTable Table({"", ""});
  Table.Add({"a\nb", "\x1b[0m"});
  EXPECT_EQ(Written(Table), "a\\nb  \\x1b[0m\n");
}

TEST(TCTextTable, CutsVeryWideTextsButTheLast) {
  TCTextTable Table({"", ""});
  Table.Add({std::string(100, 'w'), std::string(100, 'v')});
  EXPECT_EQ(Written(Table), std::string(57, 'w') + "...  " + std::string(100, 'v') + "\n");
}

}  // namespace
