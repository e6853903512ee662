// SPDX-License-Identifier: MIT
// The choices of a choice field.
#include "CommonProperties/TCPropertyChoice.h"

#include <gmock/gmock.h>

#include <string>

#include "CommonProperties/TCPropertyID.h"
#include "SchemaException.h"

using Accessories::TCNullTypes;
using Property::TCBasicPropertyID;
using Property::TCPropertyChoice;
using Property::TCPropertyID;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

TCPropertyID& NewField(int Number = 10, int Flags = 0x20) {
  return *new TCPropertyID("Mode", Number, "", TCNullTypes<int>(), Flags);
}

}  // namespace

TEST(TCPropertyChoiceTest, KeepsWhatItWasBuiltFrom) {
  TCPropertyID& Mode = NewField();
  TCPropertyChoice const& Choice =
      *new TCPropertyChoice("On", "Switched on", 11, true, &Mode, "on");

  EXPECT_EQ(Choice.get_Name(), "On");
  EXPECT_EQ(Choice.get_Description(), "Switched on");
  EXPECT_EQ(Choice.get_Number(), 11);
  EXPECT_EQ(Choice.get_Type(), Property::eComboChoice);
  EXPECT_EQ(Choice.get_Parent(), TCNullTypes<int>(10));
  EXPECT_TRUE(Choice.get_Default());
  EXPECT_EQ(Choice.get_Value(), "on");
}

TEST(TCPropertyChoiceTest, IsFoundByItsNumberAndInItsField) {
  TCPropertyID& Mode = NewField();
  TCPropertyChoice& Choice = *new TCPropertyChoice("On", "", 11, false, &Mode, "on");

  EXPECT_EQ(TCBasicPropertyID::Find(11), &Choice);
  EXPECT_THAT(Mode.get_Choices(), ElementsAre(&Choice));
}

TEST(TCPropertyChoiceTest, KeepsAnIntegerValueInDecimal) {
  TCPropertyID& Mode = NewField();
  EXPECT_EQ((new TCPropertyChoice("Five", "", 11, false, &Mode, 5))->get_Value(), "5");
  EXPECT_EQ((new TCPropertyChoice("Less", "", 12, false, &Mode, -5))->get_Value(), "-5");
  EXPECT_EQ((new TCPropertyChoice("None", "", 13, false, &Mode, 0))->get_Value(), "0");
}

TEST(TCPropertyChoiceTest, IsViewedByNameDescriptionAndTypeWhateverTheFlag) {
  TCPropertyChoice const& Choice =
      *new TCPropertyChoice("On", "Switched on", 11, false, &NewField(), "on");
  EXPECT_EQ(Choice.Viewname(false), "On(Switched on) Choice");
  EXPECT_EQ(Choice.Viewname(true), "On(Switched on) Choice");
}

TEST(TCPropertyChoiceTest, HasItsNumberAsDefaultValue) {
  TCPropertyChoice& Choice = *new TCPropertyChoice("On", "", 42, false, &NewField(), "on");
  EXPECT_EQ(Choice.GetDefaultValue(), TCNullTypes<std::string>("42"));
}

TEST(TCPropertyChoiceTest, IsShownUntilItIsHidden) {
  TCPropertyChoice& Choice = *new TCPropertyChoice("On", "", 11, false, &NewField(), "on");
  EXPECT_TRUE(Choice.GetShow());

  Choice.SetShow(false);
  EXPECT_FALSE(Choice.GetShow());

  Choice.SetShow(true);
  EXPECT_TRUE(Choice.GetShow());
}

TEST(TCPropertyChoiceTest, HasAPlaceInItsFieldApartFromItsOrderAsANode) {
  TCPropertyID& Mode = NewField();
  TCPropertyChoice& First = *new TCPropertyChoice("Off", "", 12, false, &Mode, "off");
  TCPropertyChoice& Second = *new TCPropertyChoice("On", "", 11, false, &Mode, "on");
  TCPropertyChoice const& SecondNode = Second;

  TCBasicPropertyID::Initialize();

  EXPECT_EQ(First.GetOrder(), 0);
  EXPECT_EQ(Second.GetOrder(), 1);
  EXPECT_EQ(SecondNode.GetOrder(), 0);
}

TEST(TCPropertyChoiceTest, InheritsTheClassIdOfItsField) {
  class TContainer : public TCBasicPropertyID {
   public:
    TContainer() : TCBasicPropertyID("Device", 1, Property::eContainer, "", TCNullTypes<int>()) {
      set_ClassID(5);
    }
  };
  new TContainer;
  TCPropertyID& Mode = *new TCPropertyID("Mode", 10, "", 1, 0x10);
  TCPropertyChoice const& Choice = *new TCPropertyChoice("On", "", 11, false, &Mode, "on");

  TCBasicPropertyID::Initialize();

  EXPECT_EQ(Choice.get_ClassID(), TCNullTypes<int>(5));
}

TEST(TCPropertyChoiceTest, LeavesItsFieldAloneWhenItsNumberIsTaken) {
  TCPropertyID& Mode = NewField();

  TCException const Exception =
      CaughtException([&] { new TCPropertyChoice("On", "", 10, true, &Mode, "on"); });

  ExpectException(Exception, "TCBasicPropertyID", "Itr == m_List->end()",
                  "Property On(10) is already defined as Mode(10) String Field");
  EXPECT_EQ(Mode.get_Type(), Property::eStringField);
  EXPECT_EQ(Mode.get_Flags(), 0x20);
  EXPECT_THAT(Mode.get_Choices(), IsEmpty());
}
