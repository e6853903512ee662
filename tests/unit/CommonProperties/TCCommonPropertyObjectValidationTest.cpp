// SPDX-License-Identifier: MIT
// How a value takes stored text in, is validated and is traced.
#include <gmock/gmock.h>

#include <stdexcept>
#include <string>

#include "CaughtException.h"
#include "CommonProperties/TCCommonPropertyObject.h"
#include "TestStore.h"
#include "ValidationFixture.h"

using Accessories::TCNullTypes;
using Accessories::TCRecordID;
using Property::TCCommonPropertyObject;
using Property::TCPropertyID;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

char const* const kSource = "../CommonProperties/TCCommonPropertyObject";

struct TCCommonPropertyObjectCheckData : TCCommonPropertyObjectValidation {
  TCCommonPropertyObjectCheckData() { TCCommonPropertyObject::m_CheckData = true; }
  ~TCCommonPropertyObjectCheckData() override { TCCommonPropertyObject::m_CheckData = false; }
};

struct TCCommonPropertyObjectValidate : TCCommonPropertyObjectValidation {
  TTestStore m_Store;
};

void AppendX(TCCommonPropertyObject& Object) {
  Object.set_Data(Object.GetRealValue() + "x");
}

void ChangeNothing(TCCommonPropertyObject& Object) {
  Object.SetRealValue(Object.GetRealValue());
}

void ChangeAndThrow(TCCommonPropertyObject& Object) {
  Object.SetRealValue("half done");
  throw std::runtime_error("no good");
}

}  // namespace

// ---- taking stored text in ----

TEST_F(TCCommonPropertyObjectValidation, TakesAnyTextIntoAFieldThatIsNoChoiceField) {
  TCCommonPropertyObject Boolean(m_Schema.m_Boolean, 3, kMAC);
  m_Log.EnableTraces();

  EXPECT_TRUE(Boolean.SetRealValue("yes"));

  EXPECT_EQ(Boolean.GetRealValue(), "yes");
  EXPECT_TRUE(Boolean.get_Loaded());
  EXPECT_THAT(m_Log.get_Traces(), IsEmpty());
}

TEST_F(TCCommonPropertyObjectValidation, SaysThatEqualTextDoesNotDifferAndIsLoadedAnyway) {
  TCCommonPropertyObject Text(m_Schema.m_String, 3, kMAC);
  Text.set_Data("x");
  TCCommonPropertyObject Choice = NewChoice();
  Choice.set_Data("off");

  EXPECT_FALSE(Text.SetRealValue("x"));
  EXPECT_FALSE(Choice.SetRealValue("101"));

  EXPECT_TRUE(Text.get_Loaded());
  EXPECT_TRUE(Choice.get_Loaded());
}

TEST_F(TCCommonPropertyObjectValidation, SaysThatTextOfAnotherLengthDiffers) {
  TCCommonPropertyObject Text = NewText("x");

  EXPECT_TRUE(Text.SetRealValue("xx"));
  EXPECT_TRUE(Text.SetRealValue(""));
  EXPECT_FALSE(Text.SetRealValue(""));
}

TEST_F(TCCommonPropertyObjectValidation, StoresTheTextOfAKnownChoiceAsItIsAndTracesAlways) {
  TCCommonPropertyObject Value = NewChoice();
  m_Log.EnableTraces();

  EXPECT_TRUE(Value.SetRealValue("0101"));
  EXPECT_FALSE(Value.SetRealValue("0101"));

  EXPECT_EQ(Value.GetRealValue(), "0101");
  EXPECT_TRUE(Value.get_Loaded());
  EXPECT_THAT(m_Log.get_Warnings(), IsEmpty());
  EXPECT_THAT(m_Log.get_Traces(),
              ElementsAre("Mode(100) Choice Field link(3) is changed from [] to [0101]*",
                          "Mode(100) Choice Field link(3) is changed from [0101] to [0101]*"));
}

TEST_F(TCCommonPropertyObjectValidation, TakesTheDefaultChoiceForAnEmptyTextSilently) {
  TCCommonPropertyObject Value = NewChoice();
  m_Log.EnableTraces();

  EXPECT_FALSE(Value.SetRealValue(""));

  EXPECT_EQ(Value.GetRealValue(), "102");
  EXPECT_TRUE(Value.get_Loaded());
  EXPECT_THAT(m_Log.get_Warnings(), IsEmpty());
  EXPECT_THAT(m_Log.get_Traces(), IsEmpty());
}

TEST_F(TCCommonPropertyObjectValidation, TakesTheDefaultChoiceForAnUnknownNumberAndWarns) {
  TCCommonPropertyObject Value = NewChoice();
  m_Log.EnableTraces();

  EXPECT_TRUE(Value.SetRealValue("99"));

  EXPECT_EQ(Value.GetRealValue(), "102");
  EXPECT_TRUE(Value.get_Loaded());
  EXPECT_THAT(m_Log.get_Warnings(),
              ElementsAre("Invalid Value [99] assigned to Mode(100) Choice Field. Default is "
                          "chosen [Switched on]"));
  EXPECT_THAT(m_Log.get_Traces(), IsEmpty());
}

TEST_F(TCCommonPropertyObjectValidation, DoesNotTakeAChoicesValueTextForItsNumber) {
  TCCommonPropertyObject Value = NewChoice();

  Value.SetRealValue("off");

  EXPECT_EQ(Value.GetRealValue(), "102");
}

TEST_F(TCCommonPropertyObjectValidation, ComparesTheGivenTextNotTheStoredDefaultForItsAnswer) {
  TCCommonPropertyObject Value = NewChoice("102");

  EXPECT_TRUE(Value.SetRealValue("99"));
  EXPECT_EQ(Value.GetRealValue(), "102");
}

TEST_F(TCCommonPropertyObjectValidation, DoesNotCheckDataAtStart) {
  EXPECT_FALSE(TCCommonPropertyObject::m_CheckData);
}

TEST_F(TCCommonPropertyObjectCheckData, RefusesAnUnknownChoiceAfterStoringTheDefault) {
  TCCommonPropertyObject Value = NewChoice();

  TCException const Exception = CaughtException([&] { Value.SetRealValue("99"); });

  EXPECT_EQ(Exception.get_Source(), kSource);
  EXPECT_EQ(Exception.get_Condition(), "");
  EXPECT_EQ(Exception.get_Message(),
            "Invalid Value [99] assigned to Mode(100) Choice Field. Default is chosen [Switched "
            "on]");
  EXPECT_EQ(Value.GetRealValue(), "102");
  EXPECT_FALSE(Value.get_Loaded());
  EXPECT_THAT(m_Log.get_Warnings(),
              ElementsAre("Invalid Value [99] assigned to Mode(100) Choice Field. Default is "
                          "chosen [Switched on]"));
}

TEST_F(TCCommonPropertyObjectCheckData, KeepsTheLoadedMarkWhenItRefuses) {
  TCCommonPropertyObject Value = NewChoice("101");

  EXPECT_THROW(Value.SetRealValue("99"), TCException);

  EXPECT_EQ(Value.GetRealValue(), "102");
  EXPECT_TRUE(Value.get_Loaded());
}

TEST_F(TCCommonPropertyObjectCheckData, RefusesTheEmptyTextWithoutAWarning) {
  TCCommonPropertyObject Value = NewChoice();

  TCException const Exception = CaughtException([&] { Value.SetRealValue(""); });

  EXPECT_EQ(Exception.get_Message(),
            "Invalid Value [] assigned to Mode(100) Choice Field. Default is chosen [Switched on]");
  EXPECT_THAT(m_Log.get_Warnings(), IsEmpty());
  EXPECT_EQ(Value.GetRealValue(), "102");
}

TEST_F(TCCommonPropertyObjectCheckData, NamesItsOwnUnknownTextWhenGivenThatAgain) {
  TCPropertyID& Field = *new TCPropertyID("Late", 600, "", TCNullTypes<int>(), 0x10);
  TCCommonPropertyObject Value(Field, 3, kMAC);
  Value.SetRealValue("99");
  new Property::TCPropertyChoice("One", "The one", 601, true, &Field, "one");

  TCException const Exception = CaughtException([&] { Value.SetRealValue(Value.GetRealValue()); });

  EXPECT_EQ(Exception.get_Message(),
            "Invalid Value [99] assigned to Late(600) Choice Field. Default is chosen [The one]");
}

TEST_F(TCCommonPropertyObjectCheckData, AcceptsKnownChoicesAndOtherFields) {
  TCCommonPropertyObject Text = NewText("anything");
  TCCommonPropertyObject Choice = NewChoice("101");

  EXPECT_EQ(Text.GetRealValue(), "anything");
  EXPECT_EQ(Choice.GetRealValue(), "101");
}

// ---- validation ----

TEST_F(TCCommonPropertyObjectValidation, RefusesANullFunction) {
  TCCommonPropertyObject Value = NewText("x");

  TCException const Exception = CaughtException([&] { (void)Value.Validate(nullptr); });

  EXPECT_EQ(Exception.get_Source(), kSource);
  EXPECT_EQ(Exception.get_Condition(), "Function!=__null");
  EXPECT_EQ(Exception.get_Message(),
            "Validation function is NULL for property Name(30) String Field");
  EXPECT_EQ(Value.GetRealValue(), "x");
}

TEST_F(TCCommonPropertyObjectValidation, NeedsNoStoreWhenTheFunctionChangesNothing) {
  TCCommonPropertyObject Value = NewText("x");
  m_Log.EnableTraces();

  TCCommonPropertyObject const Result = Value.Validate(&ChangeNothing);

  EXPECT_EQ(Value.GetRealValue(), "x");
  EXPECT_EQ(Result.GetRealValue(), "x");
  EXPECT_EQ(&Result.get_ID(), &m_Schema.m_String);
  EXPECT_THAT(m_Log.get_Traces(),
              ElementsAre("Name(30) String Field link(3) validation with not change [x]"));
}

TEST_F(TCCommonPropertyObjectValidation, DoesNotTakeTheLoadedMarkOfTheFunctionsCopy) {
  TCCommonPropertyObject Value(m_Schema.m_String, 3, kMAC);

  (void)Value.Validate(&ChangeNothing);

  EXPECT_FALSE(Value.get_Loaded());
}

TEST_F(TCCommonPropertyObjectValidation, PassesTheFunctionsExceptionOnAndStaysUnchanged) {
  TCCommonPropertyObject Value = NewText("x");

  EXPECT_THROW((void)Value.Validate(&ChangeAndThrow), std::runtime_error);

  EXPECT_EQ(Value.GetRealValue(), "x");
}

TEST_F(TCCommonPropertyObjectValidation, KeepsTheChangeWhenThereIsNoStoreToWriteItTo) {
  TCCommonPropertyObject Value = NewText("x");

  TCException const Exception = CaughtException([&] { (void)Value.Validate(&AppendX); });

  EXPECT_EQ(Exception.get_Message(), "Property collection has not been created");
  EXPECT_EQ(Value.GetRealValue(), "xx");
}

TEST_F(TCCommonPropertyObjectValidate, MakesNoStoreUpdateWhenTheFunctionChangesNothing) {
  m_Store.LoadProperty(NewText("stored"));
  TCCommonPropertyObject Value = NewText("x");

  (void)Value.Validate(&ChangeNothing);

  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_String, 3, kMAC), "stored");
  EXPECT_THAT(m_Store.get_Calls(), IsEmpty());
}

TEST_F(TCCommonPropertyObjectValidate, TakesTheChangeOverAndWritesItToTheStore) {
  m_Store.LoadProperty(NewText("x"));
  TCCommonPropertyObject Value = NewText("x");
  m_Log.EnableTraces();

  TCCommonPropertyObject const Result = Value.Validate(&AppendX);

  EXPECT_EQ(Value.GetRealValue(), "xx");
  EXPECT_EQ(Result.GetRealValue(), "xx");
  EXPECT_EQ(Result.get_Link(), TCRecordID(3));
  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_String, 3, kMAC), "xx");
  EXPECT_THAT(m_Log.get_Traces(),
              ElementsAre("Name(30) String Field link(3) is changed from [x] to [xx]",
                          "Name(30) String Field link(3) validation change from [x] to [xx]"));
}

TEST_F(TCCommonPropertyObjectValidate, TakesOnlyTheTextOverFromTheFunctionsCopy) {
  m_Store.LoadProperty(NewText("x"));
  TCCommonPropertyObject Value(m_Schema.m_String, 3, kMAC);

  (void)Value.Validate([](TCCommonPropertyObject& Object) {
    Object = TCCommonPropertyObject();
    Object.SetRealValue("changed");
  });

  EXPECT_EQ(Value.GetRealValue(), "changed");
  EXPECT_TRUE(Value.get_Defined());
  EXPECT_FALSE(Value.get_Loaded());
  EXPECT_EQ(&Value.get_ID(), &m_Schema.m_String);
  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_String, 3, kMAC), "changed");
}

TEST_F(TCCommonPropertyObjectValidate, NotifiesTheChangeOnceAndCallsNoOtherHook) {
  m_Store.LoadProperty(NewText("x"));
  TCCommonPropertyObject Value = NewText("x");

  (void)Value.Validate(&AppendX);

  EXPECT_THAT(m_Store.get_Calls(), ElementsAre("Notify"));
  ASSERT_EQ(m_Store.get_Notified().size(), 1u);
  EXPECT_EQ(m_Store.get_Notified()[0].first, Property::eNotifyChanged);
  EXPECT_EQ(m_Store.get_Notified()[0].second.GetRealValue(), "xx");
}

TEST_F(TCCommonPropertyObjectValidate, WritesAValueOfNoDeviceUnderTheEmptyMAC) {
  TCCommonPropertyObject Value(m_Schema.m_String, TCRecordID(), "");
  Value.SetRealValue("x");
  m_Store.LoadProperty(Value);

  (void)Value.Validate(&AppendX);

  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_String, TCRecordID(), ""), "xx");
}

TEST_F(TCCommonPropertyObjectValidate, FailsAfterTheChangeWhenTheStoreLacksTheValue) {
  TCCommonPropertyObject Value = NewText("x");

  TCException const Exception = CaughtException([&] { (void)Value.Validate(&AppendX); });

  EXPECT_EQ(Exception.get_Message(), "Updating a non existing Property Name(30) String Field");
  EXPECT_EQ(Value.GetRealValue(), "xx");
  EXPECT_TRUE(m_Store.m_Properties.empty());
}

TEST_F(TCCommonPropertyObjectValidate, TakesAChoicesRawTextOver) {
  TCCommonPropertyObject Value = NewChoice("101");
  m_Store.LoadProperty(Value);

  (void)Value.Validate([](TCCommonPropertyObject& Object) { Object = std::string("on"); });

  EXPECT_EQ(Value.GetRealValue(), "102");
  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_Choice, 3, kMAC), "102");
}

// ---- tracing ----

TEST_F(TCCommonPropertyObjectValidation, TracesTextPropertyLinkAndStoredText) {
  TCCommonPropertyObject const Value = NewChoice("101");
  m_Log.EnableTraces();

  Value.Trace("Get");

  EXPECT_THAT(m_Log.get_Traces(), ElementsAre("Get Mode(100) Choice Field link(3). Data [101]"));
}
