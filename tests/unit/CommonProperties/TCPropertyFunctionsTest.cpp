// SPDX-License-Identifier: MIT
// The client's functions, and the validators that correct what clients read.
#include <stdexcept>

#include "CommonProperties/TCPropertyCollection.h"
#include "CommonProperties/TCPropertyTransaction.h"
#include "StoreFixture.h"

using Accessories::TCNullTypes;
using Accessories::TCRecordID;
using Property::eNotifyChanged;
using Property::TCCommonPropertyObject;
using Property::TCPropertyChoiceID;
using Property::TCPropertyCollection;
using Property::TCPropertyID;
using Property::TCPropertyTransaction;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

struct TPropertyFunctions : TStoreFixture {};
struct TPropertyFunctionsWithoutStore : TSchemaFixture {};
struct TPropertyValidators : TStoreFixture {};

int ValidatorRuns = 0;
bool LockFreeInValidator = false;

void Shorten(TCCommonPropertyObject& Object) {
  ++ValidatorRuns;
  LockFreeInValidator = IsStoreFree();
  Object.set_Data(Object.GetRealValue().substr(0, 3));
}

void Accept(TCCommonPropertyObject&) {
  ++ValidatorRuns;
}

void Refuse(TCCommonPropertyObject&) {
  throw std::runtime_error("refused");
}

void ExpectNoStore(TCException const& Exception) {
  ExpectStoreException(Exception, "m_Instance!=__null", "Property collection has not been created");
}

}  // namespace

// ---- without a store ----

TEST_F(TPropertyFunctionsWithoutStore, ReadsThrow) {
  ExpectNoStore(CaughtException([this] { GetProperty(m_Schema.m_Name); }));
  ExpectNoStore(CaughtException([this] { GetPropertyNoException(m_Schema.m_Name); }));
}

TEST_F(TPropertyFunctionsWithoutStore, SetsThrow) {
  TCCommonPropertyObject const Object(m_Schema.m_Mode, 5, "");

  ExpectNoStore(CaughtException([this] { SetProperty(m_Schema.m_Name, "x"); }));
  ExpectNoStore(CaughtException([this] { SetProperty(m_Schema.m_Name, 5); }));
  ExpectNoStore(CaughtException([this] { SetProperty(m_Schema.m_Mode, m_Schema.m_OffID); }));
  ExpectNoStore(CaughtException([&] { SetProperty(Object, "x"); }));
  ExpectNoStore(CaughtException([&] { SetProperty(Object, 5); }));
  ExpectNoStore(CaughtException([&] { SetProperty(Object, m_Schema.m_OffID); }));
}

TEST_F(TPropertyFunctionsWithoutStore, InstallingAValidatorThrows) {
  ExpectNoStore(CaughtException([this] { SetPropertyValidation(m_Schema.m_Name, &Accept); }));
}

TEST_F(TPropertyFunctionsWithoutStore, SettingAKnownChoiceNumberThrows) {
  ExpectNoStore(CaughtException([this] { SetPropertyChoiceID(m_Schema.m_Mode, 1011); }));
}

TEST_F(TPropertyFunctionsWithoutStore,
       SettingAnUnknownChoiceNumberWarnsAndAnswersAnUndefinedValue) {
  TCCommonPropertyObject const& Answer = SetPropertyChoiceID(m_Schema.m_Mode, 99);

  EXPECT_FALSE(Answer.get_Defined());
  EXPECT_THAT(m_Log.get_Warnings(),
              ElementsAre("Invalid Property choice [99] assigned to Mode(1010) Choice Field"));
}

// ---- reads and sets ----

TEST_F(TPropertyFunctions, ReadAStoredValue) {
  Store(m_Schema.m_Name, 5, "own", kOwnMAC);
  Store(m_Schema.m_Name, 5, "other", kOtherMAC);
  Store(m_Schema.m_Name, TCRecordID(), "null", kOwnMAC);

  EXPECT_EQ(GetProperty(m_Schema.m_Name, 5, kOtherMAC).GetRealValue(), "other");
  EXPECT_EQ(GetProperty(m_Schema.m_Name, 5).GetRealValue(), "own");
  EXPECT_EQ(GetProperty(m_Schema.m_Name).GetRealValue(), "null");
}

TEST_F(TPropertyFunctions, ThrowForAValueThatCanNotBeFetched) {
  TCException const Exception = CaughtException([this] { GetProperty(m_Schema.m_Name, 5); });

  ExpectStoreException(Exception, "", "Unable to load Property Name(1001) String Field");
}

TEST_F(TPropertyFunctions, AnswerAnUndefinedValueWithoutException) {
  TCCommonPropertyObject const Answer = GetPropertyNoException(m_Schema.m_Name, 5);

  EXPECT_FALSE(Answer.get_Defined());
  EXPECT_EQ(Answer.GetRealValue(), "");
  EXPECT_THAT(m_Log.get_Warnings(),
              ElementsAre("Timeout. Cannot fetch property Name(1001) String Field"));
}

TEST_F(TPropertyFunctions, ReadAStoredValueWithoutException) {
  Store(m_Schema.m_Name, 5, "own", kOwnMAC);

  EXPECT_EQ(GetPropertyNoException(m_Schema.m_Name, 5).GetRealValue(), "own");
}

TEST_F(TPropertyFunctions, SetAText) {
  TCCommonPropertyObject const& Answer = SetProperty(m_Schema.m_Name, "text", 5, kOtherMAC);

  EXPECT_EQ(&Answer, Stored(m_Schema.m_Name, 5, kOtherMAC));
  EXPECT_EQ(Answer.GetRealValue(), "text");
}

TEST_F(TPropertyFunctions, SetANumber) {
  TCCommonPropertyObject const& Answer = SetProperty(m_Schema.m_Count, 42, 5, kOtherMAC);

  EXPECT_EQ(&Answer, Stored(m_Schema.m_Count, 5, kOtherMAC));
  EXPECT_EQ(Answer.GetRealValue(), "42");
}

TEST_F(TPropertyFunctions, SetAChoice) {
  Store(m_Schema.m_Mode, 5, "1012", kOtherMAC);

  TCCommonPropertyObject const& Answer =
      SetProperty(m_Schema.m_Mode, m_Schema.m_OffID, 5, kOtherMAC);

  EXPECT_EQ(&Answer, Stored(m_Schema.m_Mode, 5, kOtherMAC));
  EXPECT_EQ(Answer.GetRealValue(), "1011");
}

TEST_F(TPropertyFunctions, SetUnderTheNullLinkAndTheCurrentMACByDefault) {
  SetProperty(m_Schema.m_Name, "text");
  SetProperty(m_Schema.m_Count, 42);
  SetProperty(m_Schema.m_Mode, m_Schema.m_OffID);

  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_Name, TCRecordID(), kOwnMAC), "text");
  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_Count, TCRecordID(), kOwnMAC), "42");
  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_Mode, TCRecordID(), kOwnMAC), "1011");
}

TEST_F(TPropertyFunctions, SetByAnObjectsDefinitionAndLinkButNotItsMAC) {
  SetProperty(TCCommonPropertyObject(m_Schema.m_Name, 5, kOtherMAC), "x", "");
  SetProperty(TCCommonPropertyObject(m_Schema.m_Count, 5, kOtherMAC), 7, "");
  SetProperty(TCCommonPropertyObject(m_Schema.m_Mode, 5, kOtherMAC), m_Schema.m_OffID, "");

  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_Name, 5, kOwnMAC), "x");
  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_Count, 5, kOwnMAC), "7");
  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_Mode, 5, kOwnMAC), "1011");
  EXPECT_THAT(m_Store.m_Properties, SizeIs(3));
}

TEST_F(TPropertyFunctions, SetByAnObjectUnderAnExplicitMAC) {
  Store(m_Schema.m_Mode, 5, "1012", kThirdMAC);

  SetProperty(TCCommonPropertyObject(m_Schema.m_Name, 5, kOtherMAC), "x", kThirdMAC);
  SetProperty(TCCommonPropertyObject(m_Schema.m_Count, 5, kOtherMAC), 7, kThirdMAC);
  SetProperty(TCCommonPropertyObject(m_Schema.m_Mode, 5, kOtherMAC), m_Schema.m_OffID, kThirdMAC);

  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_Name, 5, kThirdMAC), "x");
  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_Count, 5, kThirdMAC), "7");
  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_Mode, 5, kThirdMAC), "1011");
}

TEST_F(TPropertyFunctions, TakeABooleanAsANumber) {
  EXPECT_EQ(SetProperty(m_Schema.m_Flag, true, 5).GetRealValue(), "1");
}

// ---- choices by number ----

TEST_F(TPropertyFunctions, SetAChoiceByItsNumber) {
  TCCommonPropertyObject const& Answer = SetPropertyChoiceID(m_Schema.m_Mode, 1011, 5);

  EXPECT_EQ(&Answer, Stored(m_Schema.m_Mode, 5, kOwnMAC));
  EXPECT_EQ(Answer.GetRealValue(), "1011");
  EXPECT_THAT(m_Log.get_Warnings(), IsEmpty());
}

TEST_F(TPropertyFunctions, WarnOfAnUnknownChoiceNumberAndStoreNothing) {
  TCCommonPropertyObject const& Answer = SetPropertyChoiceID(m_Schema.m_Mode, 99, 5);

  EXPECT_FALSE(Answer.get_Defined());
  EXPECT_EQ(Answer.GetRealValue(), "");
  EXPECT_EQ(Answer.get_ID().get_Number(), 0);
  EXPECT_THAT(m_Log.get_Warnings(),
              ElementsAre("Invalid Property choice [99] assigned to Mode(1010) Choice Field"));
  EXPECT_THAT(m_Store.m_Properties, IsEmpty());
  EXPECT_THAT(m_Store.get_Calls(), IsEmpty());
}

TEST_F(TPropertyFunctions, AnswerOneObjectForEveryUnknownChoiceNumber) {
  EXPECT_EQ(&SetPropertyChoiceID(m_Schema.m_Mode, 99), &SetPropertyChoiceID(m_Schema.m_Mode, 98));
}

// ---- validators ----

TEST_F(TPropertyValidators, CorrectEveryRead) {
  Store(m_Schema.m_SiteName, 5, "abcdef", "");
  SetPropertyValidation(m_Schema.m_SiteName, &Shorten);

  EXPECT_EQ(GetProperty(m_Schema.m_SiteName, 5).GetRealValue(), "abc");
  EXPECT_EQ(GetPropertyNoException(m_Schema.m_SiteName, 5).GetRealValue(), "abc");
  EXPECT_EQ(ValidatorRuns, 2);
}

TEST_F(TPropertyValidators, DoNotTouchTheStoredTextBeforeTheFirstRead) {
  Store(m_Schema.m_SiteName, 5, "abcdef", "");
  SetPropertyValidation(m_Schema.m_SiteName, &Shorten);

  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_SiteName, 5, ""), "abcdef");
}

TEST_F(TPropertyValidators, WriteTheirCorrectionBackOnARead) {
  Store(m_Schema.m_SiteName, 5, "abcdef", "");
  SetPropertyValidation(m_Schema.m_SiteName, &Shorten);

  GetProperty(m_Schema.m_SiteName, 5);

  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_SiteName, 5, ""), "abc");
  EXPECT_THAT(m_Store.get_Calls(), ElementsAre("Notify"));
  EXPECT_EQ(m_Store.get_Notified().front().first, eNotifyChanged);
  EXPECT_EQ(m_Store.get_Notified().front().second.GetRealValue(), "abc");
}

TEST_F(TPropertyValidators, CanNotCorrectAValueThatIsNotStored) {
  m_Store.m_FetchResult = [](TCCommonPropertyObject& Object) {
    Object.SetRealValue("abcdef");
    return true;
  };
  SetPropertyValidation(m_Schema.m_SiteName, &Shorten);

  TCException const Exception = CaughtException([this] { GetProperty(m_Schema.m_SiteName, 5); });

  ExpectStoreException(Exception, "",
                       "Updating a non existing Property SiteName(2001) String Field");
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TPropertyValidators, RunOnAValueThatCouldNotBeFetched) {
  SetPropertyValidation(m_Schema.m_SiteName, &Accept);

  GetPropertyNoException(m_Schema.m_SiteName, 5);

  EXPECT_EQ(ValidatorRuns, 1);
}

TEST_F(TPropertyValidators, DoNotRunOnWrites) {
  SetPropertyValidation(m_Schema.m_SiteName, &Shorten);

  SetProperty(m_Schema.m_SiteName, "abcdef", 5);
  m_Store.UpdateProperty(m_Schema.m_SiteName, 5, "ghijkl", true, "");
  m_Store.LoadProperty(m_Schema.m_SiteName, "mnopqr", 5, "");

  EXPECT_EQ(ValidatorRuns, 0);
  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_SiteName, 5, ""), "mnopqr");
}

TEST_F(TPropertyValidators, DoNotRunInTheReadCore) {
  Store(m_Schema.m_SiteName, 5, "abcdef", "");
  SetPropertyValidation(m_Schema.m_SiteName, &Shorten);
  TCCommonPropertyObject Object(m_Schema.m_SiteName, 5, "");

  m_Store.getProperty(Object, false, "");

  EXPECT_EQ(Object.GetRealValue(), "abcdef");
}

TEST_F(TPropertyValidators, RunWithTheLockFree) {
  Store(m_Schema.m_SiteName, 5, "abcdef", "");
  SetPropertyValidation(m_Schema.m_SiteName, &Shorten);

  GetProperty(m_Schema.m_SiteName, 5);

  EXPECT_TRUE(LockFreeInValidator);
}

TEST_F(TPropertyValidators, RunWithTheLockFreeOnAPendingValue) {
  Store(m_Schema.m_SiteName, 5, "stored", "");
  SetPropertyValidation(m_Schema.m_SiteName, &Shorten);
  TCPropertyTransaction Transaction;
  Transaction.Begin();
  SetProperty(m_Schema.m_SiteName, "pending", 5);

  GetProperty(m_Schema.m_SiteName, 5);

  EXPECT_TRUE(LockFreeInValidator);
}

TEST_F(TPropertyValidators, BelongToOneProperty) {
  Store(m_Schema.m_SiteName, 5, "abcdef", "");
  SetPropertyValidation(m_Schema.m_PlantName, &Shorten);

  EXPECT_EQ(GetProperty(m_Schema.m_SiteName, 5).GetRealValue(), "abcdef");
}

TEST_F(TPropertyValidators, AreInstalledForSeveralProperties) {
  SetPropertyValidation(m_Schema.m_SiteName, &Shorten);
  SetPropertyValidation(m_Schema.m_PlantName, &Shorten);

  EXPECT_THAT(m_Store.m_Validators, SizeIs(2));
}

TEST_F(TPropertyValidators, AreNotReplaced) {
  Store(m_Schema.m_SiteName, 5, "abcdef", "");
  SetPropertyValidation(m_Schema.m_SiteName, &Shorten);

  TCException const Exception =
      CaughtException([this] { SetPropertyValidation(m_Schema.m_SiteName, &Accept); });

  ExpectStoreException(
      Exception, "Itr == m_Validators.end()",
      "There are already installed a Validation method for property SiteName(2001) String Field");
  EXPECT_EQ(GetProperty(m_Schema.m_SiteName, 5).GetRealValue(), "abc");
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TPropertyValidators, AreAcceptedAsNullAndFailOnUse) {
  Store(m_Schema.m_SiteName, 5, "abcdef", "");
  SetPropertyValidation(m_Schema.m_SiteName, nullptr);

  TCException const Exception = CaughtException([this] { GetProperty(m_Schema.m_SiteName, 5); });

  EXPECT_EQ(Exception.get_Source(), "../CommonProperties/TCCommonPropertyObject");
  EXPECT_EQ(Exception.get_Condition(), "Function!=__null");
  EXPECT_EQ(Exception.get_Message(),
            "Validation function is NULL for property SiteName(2001) String Field");
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TPropertyValidators, PassTheirExceptionsOn) {
  Store(m_Schema.m_SiteName, 5, "abcdef", "");
  SetPropertyValidation(m_Schema.m_SiteName, &Refuse);

  EXPECT_THROW(GetProperty(m_Schema.m_SiteName, 5), std::runtime_error);
  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_SiteName, 5, ""), "abcdef");
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TPropertyValidators, RunOnAnObjectAtHand) {
  Store(m_Schema.m_SiteName, 5, "abcdef", "");
  SetPropertyValidation(m_Schema.m_SiteName, &Shorten);
  TCCommonPropertyObject Object(m_Schema.m_SiteName, 5, "");
  Object.SetRealValue("uvwxyz");

  m_Store.Validation(Object);

  EXPECT_EQ(Object.GetRealValue(), "uvw");
}

TEST_F(TPropertyValidators, LeaveAnObjectWithoutOneAlone) {
  TCCommonPropertyObject Object(m_Schema.m_SiteName, 5, "");
  Object.SetRealValue("uvwxyz");

  m_Store.Validation(Object);

  EXPECT_EQ(Object.GetRealValue(), "uvwxyz");
}
