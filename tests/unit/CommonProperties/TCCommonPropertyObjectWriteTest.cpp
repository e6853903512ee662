// SPDX-License-Identifier: MIT
// How a value is written, whole and by the bit.
#include "CommonProperties/TCCommonPropertyObject.h"

#include <gmock/gmock.h>

#include <string>

#include "CaughtException.h"
#include "ValueFixture.h"

using Accessories::TCNullTypes;
using Accessories::TCRecordID;
using Property::TCCommonPropertyObject;
using Property::TCPropertyID;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

char const* const kSource = "../CommonProperties/TCCommonPropertyObject";

}  // namespace

// ---- bits ----

TEST_F(TCCommonPropertyObjectTest, ReadsTheBitsOfTheStoredText) {
  TCCommonPropertyObject const Value = NewValue(m_Schema.m_String, "01");

  EXPECT_FALSE(Value.GetStringBit(0));
  EXPECT_TRUE(Value.GetStringBit(1));
  EXPECT_FALSE(Value.GetStringBit(2));
  EXPECT_FALSE(Value.GetStringBit(-1));
}

TEST_F(TCCommonPropertyObjectTest, WritesOneBitWithoutTraceAndLoadedMark) {
  TCCommonPropertyObject Value(m_Schema.m_String, 3, kMAC);
  m_Log.EnableTraces();

  Value.SetStringBit(2, true);
  EXPECT_EQ(Value.GetRealValue(), "001");
  Value.SetStringBit(2, false);
  EXPECT_EQ(Value.GetRealValue(), "000");

  EXPECT_FALSE(Value.get_Loaded());
  EXPECT_THAT(m_Log.get_Traces(), IsEmpty());
}

TEST_F(TCCommonPropertyObjectTest, WritesABitOfABooleanFieldWithoutNormalisingIt) {
  TCCommonPropertyObject Value(m_Schema.m_Boolean, 3, kMAC);

  Value.SetStringBit(1, true);

  EXPECT_EQ(Value.GetRealValue(), "01");
}

TEST_F(TCCommonPropertyObjectTest, RefusesToReadABitOfAChoice) {
  TCCommonPropertyObject const Value = NewValue(m_Schema.m_Choice, "101");

  TCException const Exception = CaughtException([&] { (void)Value.GetStringBit(0); });

  EXPECT_EQ(Exception.get_Source(), kSource);
  EXPECT_EQ(Exception.get_Condition(), "m_ID->get_Type() != eComboField");
  EXPECT_EQ(Exception.get_Message(), "");
}

TEST_F(TCCommonPropertyObjectTest, RefusesToWriteABitOfAChoiceAndStaysUnchanged) {
  TCCommonPropertyObject Value = NewValue(m_Schema.m_Choice, "101");

  TCException const Exception = CaughtException([&] { Value.SetStringBit(0, false); });

  EXPECT_EQ(Exception.get_Source(), kSource);
  EXPECT_EQ(Exception.get_Condition(), "m_ID->get_Type() != eComboField");
  EXPECT_EQ(Exception.get_Message(), "");
  EXPECT_EQ(Value.GetRealValue(), "101");
}

// ---- writing ----

TEST_F(TCCommonPropertyObjectTest, StoresTextOfStringIntegerAndLookupFieldsUnchanged) {
  TCCommonPropertyObject Text(m_Schema.m_String, 3, kMAC);
  TCCommonPropertyObject Number(m_Schema.m_Integer, 3, kMAC);
  TCCommonPropertyObject Lookup(m_Schema.m_Lookup, 3, kMAC);

  Text.set_Data(" x ");
  Number.set_Data("abc");
  Lookup.set_Data("y");

  EXPECT_EQ(Text.GetRealValue(), " x ");
  EXPECT_EQ(Number.GetRealValue(), "abc");
  EXPECT_EQ(Lookup.GetRealValue(), "y");
}

TEST_F(TCCommonPropertyObjectTest, StoresOnlyOneAndZeroInABooleanField) {
  TCCommonPropertyObject Value(m_Schema.m_Boolean, 3, kMAC);

  EXPECT_EQ((Value = true).GetRealValue(), "1");
  EXPECT_EQ((Value = false).GetRealValue(), "0");
  EXPECT_EQ((Value = std::string("5")).GetRealValue(), "1");
  EXPECT_EQ((Value = std::string("abc")).GetRealValue(), "0");
  EXPECT_EQ((Value = -1).GetRealValue(), "1");
  EXPECT_EQ((Value = std::string()).GetRealValue(), "0");
}

TEST_F(TCCommonPropertyObjectTest, StoresAnIntAsSignedDecimal) {
  TCCommonPropertyObject Value(m_Schema.m_Integer, 3, kMAC);

  Value = -1;

  EXPECT_EQ(Value.GetRealValue(), "-1");
}

TEST_F(TCCommonPropertyObjectTest, StoresALongLongAsUnsignedDecimal) {
  TCCommonPropertyObject Value(m_Schema.m_Integer, 3, kMAC);

  EXPECT_EQ((Value = 5000000000LL).GetRealValue(), "5000000000");
  EXPECT_EQ((Value = -1LL).GetRealValue(), "18446744073709551615");
}

TEST_F(TCCommonPropertyObjectTest, StoresABoolInAnIntegerFieldAsOneOrZero) {
  TCCommonPropertyObject Value(m_Schema.m_Integer, 3, kMAC);

  EXPECT_EQ((Value = true).GetRealValue(), "1");
  EXPECT_EQ((Value = false).GetRealValue(), "0");
}

TEST_F(TCCommonPropertyObjectTest, StoresTheNumberOfTheChoiceWithTheGivenValueText) {
  TCCommonPropertyObject Value(m_Schema.m_Choice, 3, kMAC);

  EXPECT_EQ((Value = std::string("off")).GetRealValue(), "101");
  EXPECT_EQ((Value = 5).GetRealValue(), "103");
  EXPECT_THAT(m_Log.get_Warnings(), IsEmpty());
}

TEST_F(TCCommonPropertyObjectTest, StoresTheDefaultChoiceForAnUnknownValueTextAndWarns) {
  TCCommonPropertyObject Value(m_Schema.m_Choice, 3, kMAC);
  m_Log.EnableTraces();

  Value = std::string("101");

  EXPECT_EQ(Value.GetRealValue(), "102");
  EXPECT_FALSE(Value.get_Loaded());
  EXPECT_THAT(m_Log.get_Warnings(),
              ElementsAre("Invalid Property Value [101] assigned to Mode(100) Choice Field"));
  EXPECT_THAT(m_Log.get_Traces(),
              ElementsAre("Mode(100) Choice Field link(3) is set to default because of invalid "
                          "choice [101].",
                          "Mode(100) Choice Field link(3) is changed from [] to [102]"));
}

TEST_F(TCCommonPropertyObjectTest, LeavesTheLoadedMarkAloneWhenWriting) {
  TCCommonPropertyObject Loaded = NewValue(m_Schema.m_Choice, "101");
  TCCommonPropertyObject Fresh(m_Schema.m_String, 3, kMAC);

  Loaded = std::string("unknown");
  Fresh = std::string("x");

  EXPECT_TRUE(Loaded.get_Loaded());
  EXPECT_FALSE(Fresh.get_Loaded());
}

TEST_F(TCCommonPropertyObjectTest, TracesAWriteOfAChoiceOnlyWhenItChanges) {
  TCCommonPropertyObject Value(m_Schema.m_Choice, TCRecordID(), kMAC);
  m_Log.EnableTraces();

  Value.set_Data("off");
  Value.set_Data("off");

  EXPECT_THAT(m_Log.get_Traces(),
              ElementsAre("Mode(100) Choice Field link() is changed from [] to [101]"));
}

TEST_F(TCCommonPropertyObjectTest, TracesEveryWriteOfAnyOtherFieldWithTheGivenText) {
  TCCommonPropertyObject Value(m_Schema.m_Boolean, 3, kMAC);
  m_Log.EnableTraces();

  Value.set_Data("yes");
  Value.set_Data("0");

  EXPECT_THAT(m_Log.get_Traces(),
              ElementsAre("Flag(10) Boolean Field link(3) is changed from [] to [yes]",
                          "Flag(10) Boolean Field link(3) is changed from [0] to [0]"));
}

TEST_F(TCCommonPropertyObjectTest, TracesNothingWhileTheChannelIsOff) {
  TCCommonPropertyObject Value(m_Schema.m_String, 3, kMAC);

  Value.set_Data("x");
  Value.Trace("Get");

  EXPECT_THAT(m_Log.get_Traces(), IsEmpty());
}

TEST_F(TCCommonPropertyObjectTest, KeepsItsTextWhenWrittenFromItself) {
  TCCommonPropertyObject Value = NewValue(m_Schema.m_String, "a text that is not short");

  Value.set_Data(Value.GetRealValue());
  Value.SetRealValue(Value.GetRealValue());

  EXPECT_EQ(Value.GetRealValue(), "a text that is not short");
}

TEST_F(TCCommonPropertyObjectTest, ClearsAValueToTheEmptyLoadedText) {
  TCCommonPropertyObject Value(m_Schema.m_String, 3, kMAC);
  Value.set_Data("x");

  Value.Clear();

  EXPECT_TRUE(Value.IsEmpty());
  EXPECT_TRUE(Value.get_Loaded());
}

TEST_F(TCCommonPropertyObjectTest, ClearsAChoiceToItsDefaultWithoutTheLoadedMark) {
  TCCommonPropertyObject Value(m_Schema.m_Choice, 3, kMAC);
  Value.set_Data("off");

  Value.Clear();

  EXPECT_EQ(Value.GetRealValue(), "102");
  EXPECT_FALSE(Value.get_Loaded());
}

// ---- a choice field without choices ----

TEST_F(TCCommonPropertyObjectTest, KeepsTheTextOfAFieldWithoutChoicesWhenWritten) {
  TCPropertyID& Field = *new TCPropertyID("Late", 600, "", TCNullTypes<int>(), 0x10);
  TCCommonPropertyObject Value = NewValue(Field, "7");
  Field.set_Type(Property::eComboField);

  Value.set_Data("x");
  Value.SetDefaultChoice();
  Value.Clear();
  bool const Differed = Value.SetRealValue("8");

  EXPECT_EQ(Value.GetRealValue(), "7");
  EXPECT_TRUE(Differed);
}

TEST_F(TCCommonPropertyObjectTest, MarksAValueWithoutChoicesAsLoaded) {
  TCCommonPropertyObject Value(m_Schema.m_NoChoices, 3, kMAC);

  Value.SetRealValue("8");

  EXPECT_TRUE(Value.IsEmpty());
  EXPECT_TRUE(Value.get_Loaded());
  EXPECT_THAT(m_Log.get_Warnings(),
              ElementsAre("Invalid Value [8] assigned to NoChoices(400) Choice Field. Default is "
                          "chosen []"));
}
