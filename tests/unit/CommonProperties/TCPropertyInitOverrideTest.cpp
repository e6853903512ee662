// SPDX-License-Identifier: MIT
// Adjustments of nodes while the schema is initialised.
#include "CommonProperties/TCPropertyInitOverride.h"

#include <gmock/gmock.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <utility>

#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyGroup.h"
#include "CommonProperties/TCPropertyID.h"
#include "SchemaException.h"
#include "SchemaLock.h"

using Accessories::TCNullTypes;
using Property::TCBasicPropertyID;
using Property::TCPropertyChoice;
using Property::TCPropertyContainer;
using Property::TCPropertyGroup;
using Property::TCPropertyID;
using Property::TCPropertyInitOverride;

namespace {

using TText = TCNullTypes<std::string>;

/// Counts its runs and does in them what it was given.
class TTestOverride : public TCPropertyInitOverride {
 public:
  using TAction = std::function<void(TCPropertyInitOverride&)>;

  explicit TTestOverride(TCBasicPropertyID* Node, TAction Action = TAction())
      : TCPropertyInitOverride(Node), m_Action(std::move(Action)) {}

  void DoInitialize() override {
    ++m_Runs;
    if (m_Action) {
      m_Action(*this);
    }
  }

  int m_Runs = 0;

 private:
  TAction m_Action;
};

TCPropertyID& NewField(int Flags, int Number = 10) {
  return *new TCPropertyID("Field", Number, "", TCNullTypes<int>(), Flags);
}

void ExpectOverrideException(TCException const& Exception, std::string const& Condition,
                             std::string const& Message) {
  ExpectException(Exception, "TCPropertyInitOverride", Condition, Message);
}

/// Choices 11, 12 and 13, of which 12 is the default.
struct TChoiceField {
  TCPropertyID& m_Field = NewField(0x10);
  TCPropertyChoice& m_A = *new TCPropertyChoice("A", "", 11, false, &m_Field, "a");
  TCPropertyChoice& m_B = *new TCPropertyChoice("B", "", 12, true, &m_Field, "b");
  TCPropertyChoice& m_C = *new TCPropertyChoice("C", "", 13, false, &m_Field, "c");
};

}  // namespace

// ---- attaching and applying ----

TEST(TCPropertyInitOverrideTest, RefusesANullNode) {
  ExpectOverrideException(CaughtException([] { TTestOverride Override(nullptr); }),
                          "BasicProperty != __null", "");
}

TEST(TCPropertyInitOverrideTest, RunsOnceWhenTheSchemaIsInitialised) {
  TTestOverride const Override(&NewField(0x10));
  EXPECT_EQ(Override.m_Runs, 0);

  TCBasicPropertyID::Initialize();
  TCBasicPropertyID::Initialize();

  EXPECT_EQ(Override.m_Runs, 1);
}

TEST(TCPropertyInitOverrideTest, IsReplacedByALaterOverrideOfItsNode) {
  TCPropertyID& Field = NewField(0x10);
  TTestOverride const First(&Field);
  TTestOverride const Second(&Field);

  TCBasicPropertyID::Initialize();

  EXPECT_EQ(First.m_Runs, 0);
  EXPECT_EQ(Second.m_Runs, 1);
}

TEST(TCPropertyInitOverrideTest, DoesNothingWhenItIsAppliedAgain) {
  TCPropertyID& Field = NewField(0x10);
  TTestOverride Override(&Field);

  Override.Initialize(&Field);
  Override.Initialize(&Field);
  Override.Initialize(nullptr);  // not even a check of the node

  EXPECT_EQ(Override.m_Runs, 1);
}

TEST(TCPropertyInitOverrideTest, RefusesAnotherNode) {
  TCPropertyID& Field = NewField(0x10, 10);
  TCPropertyID& Other = NewField(0x10, 11);
  TTestOverride Override(&Field);

  ExpectOverrideException(CaughtException([&] { Override.Initialize(&Other); }),
                          "BasicProperty == m_Property", "");
  EXPECT_EQ(Override.m_Runs, 0);

  Override.Initialize(&Field);
  EXPECT_EQ(Override.m_Runs, 1);
}

TEST(TCPropertyInitOverrideTest, CountsAsAppliedWhenItThrew) {
  TCPropertyID& Field = NewField(0x10);
  TTestOverride Override(&Field,
                         [](TCPropertyInitOverride&) { throw std::runtime_error("refused"); });
  EXPECT_THROW(Override.Initialize(&Field), std::runtime_error);

  Override.Initialize(&Field);

  EXPECT_EQ(Override.m_Runs, 1);
}

TEST(TCPropertyInitOverrideTest, RunsUnderTheSchemasLock) {
  bool Free = true;
  TTestOverride const Override(&NewField(0x10),
                               [&](TCPropertyInitOverride&) { Free = IsSchemaLockFree(); });

  TCBasicPropertyID::Initialize();

  EXPECT_FALSE(Free);
}

TEST(TCPropertyInitOverrideTest, AbortsTheInitialisationWhenItThrows) {
  TTestOverride const Override(&NewField(0x20),
                               [](TCPropertyInitOverride& Self) { Self.SetDefaultValue(5); });

  ExpectOverrideException(CaughtException([] { TCBasicPropertyID::Initialize(); }),
                          "(property->m_Flags & 0x10) == 0x10",
                          "Property Field(10) String Field is not integer type");

  EXPECT_FALSE(TCBasicPropertyID::m_Initialized);
  EXPECT_TRUE(IsSchemaLockFree());
}

// ---- the node as a field ----

TEST(TCPropertyInitOverrideTest, AnswersItsNodeAsAField) {
  TCPropertyID& Field = NewField(0x10);
  EXPECT_EQ(TTestOverride(&Field).AsProperty(), &Field);
}

TEST(TCPropertyInitOverrideTest, RefusesANodeThatIsNoFieldWhereAFieldIsNeeded) {
  TCPropertyID& Field = NewField(0x10, 10);
  for (TCBasicPropertyID* Node : {
           static_cast<TCBasicPropertyID*>(new TCPropertyContainer("Device", 1, "", 5)),
           static_cast<TCBasicPropertyID*>(new TCPropertyGroup("Group", 2, "", false)),
           static_cast<TCBasicPropertyID*>(new TCPropertyChoice("On", "", 3, false, &Field, 1)),
       }) {
    TTestOverride Override(Node);
    std::function<void()> const Operations[] = {
        [&] { Override.AsProperty(); },
        [&] { Override.GetDefaultValueRef(); },
        [&] { Override.GetDefaultValue(); },
        [&] { Override.GetFlagsRef(); },
        [&] { Override.GetFlags(); },
        [&] { Override.SetFlags(0x10); },
        [&] { Override.SetDefaultValue(true); },
        [&] { Override.SetDefaultValue(5); },
        [&] { Override.SetDefaultValue("text"); },
        [&] { Override.SetDefaultValue(std::string("text")); },
        [&] { Override.SetDefaultChoice(11); },
    };
    for (auto const& Operation : Operations) {
      ExpectOverrideException(CaughtException(Operation), "propertyID != __null", "");
    }
  }
}

// ---- flags and visibility ----

TEST(TCPropertyInitOverrideTest, SetsFlagsAndLeavesTheTypeAlone) {
  TCPropertyID& Field = NewField(0x10);
  TTestOverride Override(&Field);

  Override.SetFlags(0x20);

  EXPECT_EQ(Field.get_Flags(), 0x20);
  EXPECT_EQ(Override.GetFlags(), 0x20);
  EXPECT_EQ(Field.get_Type(), Property::eIntegerField);
}

TEST(TCPropertyInitOverrideTest, HandsOutTheFlagsThemselves) {
  TCPropertyID& Field = NewField(0x10);
  TTestOverride Override(&Field);

  Override.GetFlagsRef() |= 0x04;

  EXPECT_EQ(Field.get_Flags(), 0x14);
}

TEST(TCPropertyInitOverrideTest, SetsTheVisibilityOfEveryKindOfNode) {
  TCPropertyID& Field = NewField(0x10, 10);
  TCPropertyGroup& Group = *new TCPropertyGroup("Group", 2, "", false);
  TCPropertyChoice& Choice = *new TCPropertyChoice("On", "", 3, false, &NewField(0x10, 11), 1);

  TTestOverride(&Field).SetShow(false);
  TTestOverride(&Group).SetShow(false);
  TTestOverride(&Choice).SetShow(false);

  EXPECT_EQ(Field.GetShow(), 0);
  EXPECT_FALSE(Group.GetShow());
  EXPECT_FALSE(Choice.GetShow());

  // The nodes go on living after their overrides.
  for (TCBasicPropertyID* Node :
       {static_cast<TCBasicPropertyID*>(&Field), static_cast<TCBasicPropertyID*>(&Group),
        static_cast<TCBasicPropertyID*>(&Choice)}) {
    Node->SetInitOverride(nullptr);
  }
}

// ---- default values ----

TEST(TCPropertyInitOverrideTest, SetsABooleanDefault) {
  TCPropertyID& Field = NewField(0x08);
  TTestOverride Override(&Field);

  Override.SetDefaultValue(true);
  EXPECT_EQ(Field.GetDefaultValue(), TText("1"));

  Override.SetDefaultValue(false);
  EXPECT_EQ(Field.GetDefaultValue(), TText("0"));
}

TEST(TCPropertyInitOverrideTest, SetsAnIntegerDefault) {
  TCPropertyID& Field = NewField(0x10);
  TTestOverride(&Field).SetDefaultValue(-5);
  EXPECT_EQ(Field.GetDefaultValue(), TText("-5"));
}

TEST(TCPropertyInitOverrideTest, SetsATextDefault) {
  TCPropertyID& Field = NewField(0x20);
  TTestOverride Override(&Field);

  Override.SetDefaultValue("pointer");
  EXPECT_EQ(Field.GetDefaultValue(), TText("pointer"));

  Override.SetDefaultValue(std::string("string"));
  EXPECT_EQ(Field.GetDefaultValue(), TText("string"));
}

TEST(TCPropertyInitOverrideTest, SetsAnEmptyDefaultThatIsNotNull) {
  TCPropertyID& Field = NewField(0x20);
  TTestOverride(&Field).SetDefaultValue("");
  EXPECT_EQ(Field.GetDefaultValue(), TText(""));
}

TEST(TCPropertyInitOverrideTest, RefusesADefaultThatIsNotOfTheFieldsType) {
  TCPropertyID& Field = *new TCPropertyID("Untyped", 10, "", TCNullTypes<int>(), 0x07, "old");
  TTestOverride Override(&Field);

  ExpectOverrideException(CaughtException([&] { Override.SetDefaultValue(true); }),
                          "(property->m_Flags & 0x08) == 0x08",
                          "Property Untyped(10) Field is not boolean type");
  ExpectOverrideException(CaughtException([&] { Override.SetDefaultValue(5); }),
                          "(property->m_Flags & 0x10) == 0x10",
                          "Property Untyped(10) Field is not integer type");
  ExpectOverrideException(CaughtException([&] { Override.SetDefaultValue(std::string("new")); }),
                          "(property->m_Flags & 0x20) == 0x20",
                          "Property Untyped(10) Field is not string type");
  ExpectOverrideException(CaughtException([&] { Override.SetDefaultValue("new"); }),
                          "(property->m_Flags & 0x20) == 0x20",
                          "Property Untyped(10) Field is not string type");

  EXPECT_EQ(Field.GetDefaultValue(), TText("old"));
}

TEST(TCPropertyInitOverrideTest, ChecksTheFlagsAsTheyStand) {
  TCPropertyID& Field = NewField(0x10);
  TTestOverride Override(&Field);
  Override.SetFlags(0x20);

  Override.SetDefaultValue("text");

  EXPECT_EQ(Field.GetDefaultValue(), TText("text"));
}

TEST(TCPropertyInitOverrideTest, RefusesANullTextDefaultBeforeItLooksAtTheFlags) {
  TTestOverride Override(&NewField(0x10));
  char const* const Null = nullptr;
  EXPECT_THROW(Override.SetDefaultValue(Null), std::logic_error);
}

TEST(TCPropertyInitOverrideTest, HandsOutTheDefaultItself) {
  TCPropertyID& Field = *new TCPropertyID("Field", 10, "", TCNullTypes<int>(), 0x20, "old");
  TTestOverride Override(&Field);

  EXPECT_EQ(Override.GetDefaultValue(), TText("old"));
  Override.GetDefaultValueRef().SetNull();

  EXPECT_TRUE(Field.GetDefaultValue().IsNull());
}

TEST(TCPropertyInitOverrideTest, AnswersTheStoredDefaultOfAChoiceField) {
  TCPropertyID& Field = *new TCPropertyID("Field", 10, "", TCNullTypes<int>(), 0x10, "stored");
  new TCPropertyChoice("On", "", 11, false, &Field, 1);
  EXPECT_EQ(TTestOverride(&Field).GetDefaultValue(), TText("stored"));
}

// ---- default choice ----

TEST(TCPropertyInitOverrideTest, MarksOneChoiceAsDefaultByItsNumber) {
  TChoiceField const Mode;

  TTestOverride(&Mode.m_Field).SetDefaultChoice(13);

  EXPECT_FALSE(Mode.m_A.get_Default());
  EXPECT_FALSE(Mode.m_B.get_Default());
  EXPECT_TRUE(Mode.m_C.get_Default());
}

TEST(TCPropertyInitOverrideTest, MarksOneChoiceAsDefaultByTheChoice) {
  TChoiceField const Mode;

  TTestOverride(&Mode.m_Field).SetDefaultChoice(&Mode.m_A);

  EXPECT_EQ(Mode.m_Field.GetDefaultChoice(false), &Mode.m_A);
  EXPECT_FALSE(Mode.m_B.get_Default());
}

TEST(TCPropertyInitOverrideTest, MarksNoChoiceWhenTheDefaultIsNoneOfTheFields) {
  TChoiceField const Mode;

  ExpectOverrideException(
      CaughtException([&] { TTestOverride(&Mode.m_Field).SetDefaultChoice(99); }),
      "defaultPropertyChoiceFound",
      "Property Field(10) Choice Field, failed to set property choice default, property choice 99 "
      "not found");

  EXPECT_FALSE(Mode.m_A.get_Default());
  EXPECT_FALSE(Mode.m_B.get_Default());
  EXPECT_FALSE(Mode.m_C.get_Default());
}

TEST(TCPropertyInitOverrideTest, LeavesTheLockWhenTheDefaultIsNoneOfTheFields) {
  TChoiceField const Mode;
  CaughtException([&] { TTestOverride(&Mode.m_Field).SetDefaultChoice(99); });
  EXPECT_TRUE(IsSchemaLockFree());
}

TEST(TCPropertyInitOverrideTest, RefusesADefaultChoiceOfAFieldWithoutChoices) {
  EXPECT_EQ(
      CaughtException([] { TTestOverride(&NewField(0x10)).SetDefaultChoice(0); }).get_Message(),
      "Property Field(10) Integer Field, failed to set property choice default, property "
      "choice 0 not found");
}

TEST(TCPropertyInitOverrideTest, MovesTheDefaultOfChoicesThatAreConstants) {
  TCPropertyID& Field = NewField(0x10);
  TCPropertyChoice const& Constant = *new TCPropertyChoice const("On", "", 11, false, &Field, 1);

  TTestOverride(&Field).SetDefaultChoice(11);

  EXPECT_TRUE(Constant.get_Default());
}
