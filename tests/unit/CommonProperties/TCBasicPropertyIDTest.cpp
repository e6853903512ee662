// SPDX-License-Identifier: MIT
// Nodes, their registry and the pass that completes the schema.
#include "CommonProperties/TCBasicPropertyID.h"

#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <stdexcept>
#include <thread>
#include <type_traits>
#include <vector>

#include "CapturedLog.h"
#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyDBLookup.h"
#include "CommonProperties/TCPropertyGroup.h"
#include "CommonProperties/TCPropertyID.h"
#include "CommonProperties/TCPropertyInitOverride.h"
#include "CommonProperties/TCPropertyLink.h"
#include "SchemaException.h"
#include "SchemaLock.h"

using Accessories::TCNullTypes;
using Property::TCBasicPropertyID;
using Property::TCPropertyChoice;
using Property::TCPropertyContainer;
using Property::TCPropertyDBLookup;
using Property::TCPropertyGroup;
using Property::TCPropertyID;
using Property::TCPropertyInitOverride;
using Property::TCPropertyLink;
using ::testing::ElementsAre;

namespace {

TCNullTypes<int> const kNoNumber;

/// A node that tells when it is initialised.
class TTellingNode : public TCBasicPropertyID {
 public:
  TTellingNode(int Number, std::function<void()> OnInitialize)
      : TCBasicPropertyID("Telling", Number, Property::eGroup, "", kNoNumber),
        m_OnInitialize(std::move(OnInitialize)) {}

  void DoInitialize() override {
    m_OnInitialize();
    TCBasicPropertyID::DoInitialize();
  }

 private:
  std::function<void()> m_OnInitialize;
};

/// An override that calls a function.
class TOverride : public TCPropertyInitOverride {
 public:
  TOverride(TCBasicPropertyID* Node, std::function<void()> OnInitialize)
      : TCPropertyInitOverride(Node), m_OnInitialize(std::move(OnInitialize)) {}

  void DoInitialize() override { m_OnInitialize(); }

 private:
  std::function<void()> m_OnInitialize;
};

TCBasicPropertyID& NewNode(int Number, Property::TEPropertyType Type,
                           TCNullTypes<int> const& Parent = kNoNumber) {
  return *new TCBasicPropertyID("Node", Number, Type, "", Parent);
}

TCPropertyID& NewField(int Number, TCNullTypes<int> const& Parent = kNoNumber) {
  return *new TCPropertyID("Field", Number, "", Parent, 0x10);
}

int OrderOf(TCBasicPropertyID const& Node) {
  return Node.GetOrder();
}

}  // namespace

static_assert(std::is_same_v<std::underlying_type_t<Property::TEPropertyType>, int>);
static_assert(!std::is_copy_constructible_v<TCBasicPropertyID>);
static_assert(!std::is_copy_assignable_v<TCBasicPropertyID>);

// ---- nodes ----

TEST(TCBasicPropertyIDTest, KeepsWhatItWasBuiltFrom) {
  TCBasicPropertyID const& Node =
      *new TCBasicPropertyID("Alpha", 12, Property::eStringField, "First letter", 7);

  EXPECT_EQ(Node.get_Name(), "Alpha");
  EXPECT_EQ(Node.get_Number(), 12);
  EXPECT_EQ(Node.get_Type(), Property::eStringField);
  EXPECT_EQ(Node.get_Description(), "First letter");
  EXPECT_EQ(Node.get_Parent(), TCNullTypes<int>(7));
  EXPECT_EQ(Node.get_ClassID(), kNoNumber);
  EXPECT_EQ(Node.GetOrder(), 0);
}

TEST(TCBasicPropertyIDTest, TakesItsNameForAnEmptyDescription) {
  EXPECT_EQ((new TCBasicPropertyID("Alpha", 12, "", kNoNumber))->get_Description(), "Alpha");
}

TEST(TCBasicPropertyIDTest, IsUndefinedWithoutAType) {
  EXPECT_EQ((new TCBasicPropertyID("Alpha", 12, "", kNoNumber))->get_Type(),
            Property::eUndefinedField);
}

TEST(TCBasicPropertyIDTest, NumbersItsTypesFromMinusOneToSeven) {
  EXPECT_THAT(
      (std::vector<int>{Property::eUndefinedField, Property::eContainer, Property::eGroup,
                        Property::eComboField, Property::eComboChoice, Property::eIntegerField,
                        Property::eStringField, Property::eBooleanField, Property::eDBLookupField}),
      ElementsAre(-1, 0, 1, 2, 3, 4, 5, 6, 7));
}

TEST(TCBasicPropertyIDTest, NamesItsType) {
  TCBasicPropertyID& Node = NewNode(12, Property::eGroup);
  std::vector<std::string> Names;
  for (int Type = -2; Type <= 8; ++Type) {
    Node.set_Type(static_cast<Property::TEPropertyType>(Type));
    Names.push_back(Node.get_Typename());
  }
  EXPECT_THAT(Names,
              ElementsAre("Unknown", "Field", "Container", "Group", "Choice Field", "Choice",
                          "Integer Field", "String Field", "Boolean Field", "Unknown", "Unknown"));
}

TEST(TCBasicPropertyIDTest, IsAFieldWhenItsTypeCarriesAValue) {
  TCBasicPropertyID& Node = NewNode(12, Property::eGroup);
  std::vector<int> Fields;
  for (int Type = -2; Type <= 8; ++Type) {
    Node.set_Type(static_cast<Property::TEPropertyType>(Type));
    if (Node.IsPropertyField()) {
      Fields.push_back(Type);
    }
  }
  EXPECT_THAT(Fields, ElementsAre(2, 4, 5, 6, 7));
}

TEST(TCBasicPropertyIDTest, IsViewedByNameNumberAndTypeWhateverTheFlag) {
  TCBasicPropertyID const& Node =
      *new TCBasicPropertyID("Alpha", -12, Property::eContainer, "", kNoNumber);

  EXPECT_EQ(Node.Viewname(false), "Alpha(-12) Container");
  EXPECT_EQ(Node.Viewname(true), "Alpha(-12) Container");
}

TEST(TCBasicPropertyIDTest, OrdersNodesByNumberWithItsSign) {
  TCBasicPropertyID const& Low = NewNode(-5, Property::eGroup);
  TCBasicPropertyID const& High = NewNode(3, Property::eGroup);

  EXPECT_TRUE(Low < High);
  EXPECT_FALSE(High < Low);
  EXPECT_FALSE(Low < Low);
}

TEST(TCBasicPropertyIDTest, AnswersTheNumberAsAChoicesDefaultValue) {
  EXPECT_EQ(NewNode(42, Property::eComboChoice).GetDefaultValue(), TCNullTypes<std::string>("42"));
}

TEST(TCBasicPropertyIDTest, AnswersNullAsTheDefaultValueOfEveryOtherNode) {
  TCBasicPropertyID& Node = NewNode(42, Property::eGroup);
  for (int Type = -2; Type <= 8; ++Type) {
    Node.set_Type(static_cast<Property::TEPropertyType>(Type));
    EXPECT_EQ(Node.GetDefaultValue().IsNull(), Type != Property::eComboChoice) << Type;
  }
}

TEST(TCBasicPropertyIDTest, AnswersNullAsTheDefaultValueOfAFieldSeenAsANode) {
  TCBasicPropertyID& Node = *new TCPropertyID("Count", 42, "", kNoNumber, 0x10, 5);
  EXPECT_TRUE(Node.GetDefaultValue().IsNull());
}

TEST(TCBasicPropertyIDTest, IsShownWhateverItIsToldWhenItHasNoVisibilityOfItsOwn) {
  TCBasicPropertyID& Node = NewNode(12, Property::eContainer);
  Node.SetShow(false);
  EXPECT_TRUE(Node.GetShow());
}

// ---- registry ----

TEST(TCBasicPropertyIDTest, IsFoundByItsNumber) {
  TCBasicPropertyID& Node = NewNode(12, Property::eGroup);
  EXPECT_EQ(TCBasicPropertyID::Find(12), &Node);
  EXPECT_EQ(TCBasicPropertyID::m_List->at(12), &Node);
}

TEST(TCBasicPropertyIDTest, FindsNullForAnUnknownNumber) {
  EXPECT_EQ(TCBasicPropertyID::Find(99), nullptr);
}

TEST(TCBasicPropertyIDTest, RefusesASecondNodeOfANumber) {
  new TCPropertyID("Alpha", 12, "", kNoNumber, 0x10);

  TCException const Exception =
      CaughtException([] { new TCPropertyID("Beta", 12, "", kNoNumber, 0x20); });

  ExpectException(Exception, "TCBasicPropertyID", "Itr == m_List->end()",
                  "Property Beta(12) is already defined as Alpha(12) Integer Field");
}

TEST(TCBasicPropertyIDTest, KeepsTheFirstOfTwoNodesOfANumber) {
  TCBasicPropertyID& Alpha = NewNode(12, Property::eGroup, 77);
  std::size_t const Nodes = TCBasicPropertyID::m_List->size();

  CaughtException([] { NewNode(12, Property::eContainer); });

  EXPECT_EQ(TCBasicPropertyID::Find(12), &Alpha);
  EXPECT_EQ(TCBasicPropertyID::m_List->size(), Nodes);
}

TEST(TCBasicPropertyIDTest, InitialisesNothingOfARefusedNode) {
  TCBasicPropertyID& Alpha = NewNode(12, Property::eGroup, 77);
  CaughtException([] { NewNode(12, Property::eGroup, 77); });
  TCBasicPropertyID& Next = NewNode(13, Property::eGroup, 77);

  TCBasicPropertyID::Initialize();

  EXPECT_EQ(OrderOf(Alpha), 0);
  EXPECT_EQ(OrderOf(Next), 1);
}

TEST(TCBasicPropertyIDTest, LeavesTheLockWhenItRefusesANode) {
  NewNode(12, Property::eGroup);
  CaughtException([] { NewNode(12, Property::eGroup); });
  EXPECT_TRUE(IsSchemaLockFree());
}

TEST(TCBasicPropertyIDTest, NamesAChoiceByItsDescriptionWhenItsNumberIsTaken) {
  TCPropertyID& Mode = NewField(10);
  new TCPropertyChoice("On", "Switched on", 11, false, &Mode, 1);

  TCException const Exception = CaughtException([] { NewField(11); });

  EXPECT_EQ(Exception.get_Message(),
            "Property Field(11) is already defined as On(Switched on) Choice");
}

TEST(TCBasicPropertyIDTest, StaysRegisteredWhenItIsDestroyed) {
  { TCBasicPropertyID const Node("Node", 12, Property::eGroup, "", kNoNumber); }
  EXPECT_EQ(TCBasicPropertyID::m_List->count(12), 1U);
}

TEST(TCBasicPropertyIDTest, TakesTheLockToFindANode) {
  EXPECT_TRUE(TakesSchemaLock([] { TCBasicPropertyID::Find(12); }));
}

TEST(TCBasicPropertyIDTest, TakesTheLockToRegisterANode) {
  EXPECT_TRUE(TakesSchemaLock([] { NewNode(12, Property::eGroup); }));
}

TEST(TCBasicPropertyIDTest, FindsNodesOnManyThreadsWhileOthersAreRegistered) {
  constexpr int kNodes = 200;
  std::atomic<int> Wrong{0};
  std::vector<std::thread> Threads;
  for (int Thread = 0; Thread < 4; ++Thread) {
    Threads.emplace_back([&Wrong, Thread] {
      for (int Node = 0; Node < kNodes; ++Node) {
        int const Number = 1000 * (Thread + 1) + Node;
        TCBasicPropertyID const& New = NewNode(Number, Property::eGroup);
        if (TCBasicPropertyID::Find(Number) != &New || TCBasicPropertyID::Find(999999) != nullptr) {
          ++Wrong;
        }
      }
    });
  }
  for (std::thread& Thread : Threads) {
    Thread.join();
  }

  EXPECT_EQ(Wrong, 0);
  EXPECT_GE(TCBasicPropertyID::m_List->size(), 4U * kNodes);
}

TEST(TCBasicPropertyIDTest, FindsNodesOnManyThreadsWhileTheSchemaIsInitialised) {
  TCPropertyContainer& Container = *new TCPropertyContainer("Device", 100, "", 5);
  TCBasicPropertyID const& Field = NewField(101, 100);
  std::atomic<int> Wrong{0};
  std::vector<std::thread> Threads;
  for (int Thread = 0; Thread < 4; ++Thread) {
    Threads.emplace_back([&] {
      TCBasicPropertyID::Initialize();
      for (int Read = 0; Read < 100; ++Read) {
        if (TCBasicPropertyID::Find(100) != &Container ||
            Field.get_classid() != TCNullTypes<int>(5)) {
          ++Wrong;
        }
      }
    });
  }
  for (std::thread& Thread : Threads) {
    Thread.join();
  }

  EXPECT_EQ(Wrong, 0);
}

// ---- class ids ----

TEST(TCBasicPropertyIDTest, InheritsTheClassIdOfItsNearestAncestorThatHasOne) {
  TCPropertyContainer& Outer = *new TCPropertyContainer("Outer", 1, "", 5);
  TCPropertyGroup& Group = *new TCPropertyGroup("Group", 2, "", false);
  TCPropertyLink const Link(Group, Outer);
  TCPropertyID const& Field = NewField(3, 2);

  EXPECT_EQ(Field.get_classid(), TCNullTypes<int>(5));
  EXPECT_TRUE(Field.get_ClassID().IsNull());
}

TEST(TCBasicPropertyIDTest, KeepsTheInheritedClassIdOnceInitialised) {
  new TCPropertyContainer("Container", 1, "", 5);
  TCBasicPropertyID& Group = NewNode(2, Property::eGroup, 1);
  TCPropertyID const& Field = NewField(3, 2);

  TCBasicPropertyID::Initialize();

  EXPECT_EQ(Group.get_ClassID(), TCNullTypes<int>(5));
  EXPECT_EQ(Field.get_ClassID(), TCNullTypes<int>(5));
}

TEST(TCBasicPropertyIDTest, InheritsAClassIdFromAParentThatIsConstructedLater) {
  TCPropertyID const& Field = NewField(3, 1);
  new TCPropertyContainer("Container", 1, "", 5);

  TCBasicPropertyID::Initialize();

  EXPECT_EQ(Field.get_ClassID(), TCNullTypes<int>(5));
}

TEST(TCBasicPropertyIDTest, HasNoClassIdWithoutAnAncestorThatHasOne) {
  NewNode(2, Property::eGroup);
  TCPropertyID const& Field = NewField(3, 2);

  TCBasicPropertyID::Initialize();

  EXPECT_TRUE(Field.get_classid().IsNull());
  EXPECT_TRUE(Field.get_ClassID().IsNull());
}

TEST(TCBasicPropertyIDTest, HasNoClassIdUnderAParentThatIsNowhere) {
  EXPECT_TRUE(NewField(3, 77).get_classid().IsNull());
}

TEST(TCBasicPropertyIDTest, HasNoClassIdInARingOfParents) {
  TCBasicPropertyID& First = NewNode(1, Property::eGroup);
  TCBasicPropertyID& Second = NewNode(2, Property::eGroup, 1);
  TCPropertyLink const Link(First, Second);

  TCBasicPropertyID::Initialize();

  EXPECT_TRUE(First.get_classid().IsNull());
  EXPECT_TRUE(Second.get_classid().IsNull());
}

TEST(TCBasicPropertyIDTest, TakesTheLockToLookUpAParent) {
  TCPropertyID const& Field = NewField(3, 77);
  EXPECT_TRUE(TakesSchemaLock([&] { Field.get_classid(); }));
}

TEST(TCBasicPropertyIDTest, TakesNoLockToAnswerItsOwnClassId) {
  TCPropertyContainer const& Container = *new TCPropertyContainer("Container", 1, "", 5);
  EXPECT_TRUE(TakesNoSchemaLock([&] { Container.get_classid(); }));
}

TEST(TCBasicPropertyIDTest, TakesNoLockToAnswerPlainMembers) {
  TCPropertyID const& Field = NewField(3, 77);
  EXPECT_TRUE(TakesNoSchemaLock([&] {
    Field.get_ClassID();
    Field.get_Parent();
    Field.get_Type();
    Field.GetOrder();
    Field.Viewname(true);
  }));
}

TEST(TCBasicPropertyIDTest, CollectsEachClassIdOnceWithNullFirst) {
  new TCPropertyContainer("A", 1, "", 9);
  new TCPropertyContainer("B", 2, "", 5);
  NewField(3, 2);
  NewField(4);

  TCBasicPropertyID::Initialize();

  EXPECT_THAT(TCBasicPropertyID::m_Classlist,
              ElementsAre(kNoNumber, TCNullTypes<int>(5), TCNullTypes<int>(9)));
}

TEST(TCBasicPropertyIDTest, HasNoClassIdsBeforeItIsInitialised) {
  new TCPropertyContainer("A", 1, "", 9);
  EXPECT_TRUE(TCBasicPropertyID::m_Classlist.empty());
}

// ---- order among siblings ----

TEST(TCBasicPropertyIDTest, NumbersSiblingsInTheOrderOfTheirConstruction) {
  new TCPropertyContainer("Container", 1, "", 5);
  TCPropertyID const& First = NewField(30, 1);
  TCPropertyID const& Second = NewField(10, 1);
  TCPropertyID const& Third = NewField(20, 1);

  TCBasicPropertyID::Initialize();

  EXPECT_EQ(OrderOf(First), 0);
  EXPECT_EQ(OrderOf(Second), 1);
  EXPECT_EQ(OrderOf(Third), 2);
}

TEST(TCBasicPropertyIDTest, NumbersTheChildrenOfEachParentFromZero) {
  new TCPropertyContainer("Container", 1, "", 5);
  TCBasicPropertyID const& Group = NewNode(2, Property::eGroup, 1);
  TCPropertyID const& InContainer = NewField(3, 1);
  TCPropertyID const& InGroup = NewField(4, 2);

  TCBasicPropertyID::Initialize();

  EXPECT_EQ(OrderOf(Group), 0);
  EXPECT_EQ(OrderOf(InContainer), 1);
  EXPECT_EQ(OrderOf(InGroup), 0);
}

TEST(TCBasicPropertyIDTest, NumbersNodesWithoutClassIdAmongThemselves) {
  TCPropertyID const& First = NewField(3, 77);
  TCPropertyID const& Second = NewField(4, 77);

  TCBasicPropertyID::Initialize();

  EXPECT_EQ(OrderOf(First), 0);
  EXPECT_EQ(OrderOf(Second), 1);
}

TEST(TCBasicPropertyIDTest, NumbersChildrenOfOneParentByTheirClassIds) {
  class TFieldOfClass : public TCBasicPropertyID {
   public:
    TFieldOfClass(int Number, int ClassID)
        : TCBasicPropertyID("Field", Number, Property::eIntegerField, "", 77) {
      set_ClassID(ClassID);
    }
  };
  TCBasicPropertyID const& OfFive = *new TFieldOfClass(3, 5);
  TCBasicPropertyID const& OfSeven = *new TFieldOfClass(4, 7);
  TCBasicPropertyID const& OfFiveToo = *new TFieldOfClass(6, 5);

  TCBasicPropertyID::Initialize();

  EXPECT_EQ(OrderOf(OfFive), 0);
  EXPECT_EQ(OrderOf(OfSeven), 0);
  EXPECT_EQ(OrderOf(OfFiveToo), 1);
}

TEST(TCBasicPropertyIDTest, GivesGroupsFieldsAndLookupsAnOrder) {
  new TCPropertyContainer("Container", 1, "", 5);
  TCBasicPropertyID const& Group = NewNode(2, Property::eGroup, 1);
  TCBasicPropertyID const& Field = NewField(3, 1);
  TCBasicPropertyID const& Lookup = *new TCPropertyDBLookup("Lookup", 4, "", 1, 0x10, 1, "", true);
  TCBasicPropertyID const& Unknown = NewNode(5, static_cast<Property::TEPropertyType>(8), 1);

  TCBasicPropertyID::Initialize();

  EXPECT_EQ(OrderOf(Group), 0);
  EXPECT_EQ(OrderOf(Field), 1);
  EXPECT_EQ(OrderOf(Lookup), 2);
  EXPECT_EQ(OrderOf(Unknown), 3);
}

TEST(TCBasicPropertyIDTest, GivesContainersChoicesAndUndefinedNodesNoOrder) {
  std::vector<TCBasicPropertyID*> Nodes;
  int Number = 1;
  for (auto const Type :
       {Property::eContainer, Property::eComboChoice, Property::eUndefinedField}) {
    for (int Sibling = 0; Sibling < 2; ++Sibling) {
      Nodes.push_back(&NewNode(Number++, Type, 77));
    }
  }
  TCBasicPropertyID const& Group = NewNode(Number, Property::eGroup, 77);

  TCBasicPropertyID::Initialize();

  for (TCBasicPropertyID const* Node : Nodes) {
    EXPECT_EQ(OrderOf(*Node), 0) << Node->Viewname(false);
  }
  EXPECT_EQ(OrderOf(Group), 0);  // nor do they count
}

TEST(TCBasicPropertyIDTest, ReadsTheTypeAfterANodeHasInitialisedItself) {
  TCBasicPropertyID& First = NewNode(1, Property::eGroup, 77);
  TCBasicPropertyID& Second = NewNode(2, Property::eGroup, 77);
  TCBasicPropertyID const& Third = NewNode(3, Property::eGroup, 77);
  new TOverride(&Second, [&] { Second.set_Type(Property::eContainer); });

  TCBasicPropertyID::Initialize();

  EXPECT_EQ(OrderOf(First), 0);
  EXPECT_EQ(OrderOf(Second), 0);
  EXPECT_EQ(OrderOf(Third), 1);
}

// ---- initialisation ----

TEST(TCBasicPropertyIDTest, InitialisesNodesInTheOrderOfTheirConstruction) {
  std::vector<int> Order;
  for (int Number : {30, 10, 20}) {
    new TTellingNode(Number, [&Order, Number] { Order.push_back(Number); });
  }

  TCBasicPropertyID::Initialize();

  EXPECT_THAT(Order, ElementsAre(30, 10, 20));
}

TEST(TCBasicPropertyIDTest, IsInitialisedOnce) {
  int Calls = 0;
  new TTellingNode(1, [&] { ++Calls; });
  EXPECT_FALSE(TCBasicPropertyID::m_Initialized);

  TCBasicPropertyID::Initialize();
  EXPECT_TRUE(TCBasicPropertyID::m_Initialized);
  TCBasicPropertyID::Initialize();

  EXPECT_EQ(Calls, 1);
}

TEST(TCBasicPropertyIDTest, ChangesNothingWhenInitialisedAgain) {
  new TCPropertyContainer("Container", 1, "", 5);
  TCPropertyID const& Field = NewField(3, 1);
  TCBasicPropertyID::Initialize();
  auto const Classlist = TCBasicPropertyID::m_Classlist;
  TCBasicPropertyID& Late = *new TCPropertyContainer("Late", 2, "", 9);
  TCPropertyID const& LateField = NewField(4, 1);

  TCBasicPropertyID::Initialize();

  EXPECT_EQ(OrderOf(Field), 0);
  EXPECT_EQ(OrderOf(LateField), 0);
  EXPECT_TRUE(LateField.get_ClassID().IsNull());
  EXPECT_EQ(TCBasicPropertyID::m_Classlist, Classlist);
  EXPECT_EQ(TCBasicPropertyID::Find(2), &Late);
}

TEST(TCBasicPropertyIDTest, HoldsTheLockWhileNodesInitialiseThemselves) {
  bool Free = true;
  new TTellingNode(1, [&] { Free = IsSchemaLockFree(); });

  TCBasicPropertyID::Initialize();

  EXPECT_FALSE(Free);
  EXPECT_TRUE(IsSchemaLockFree());
}

TEST(TCBasicPropertyIDTest, ResolvesTheClassIdBeforeTheOverrideRuns) {
  new TCPropertyContainer("Container", 1, "", 5);
  TCBasicPropertyID& Group = NewNode(2, Property::eGroup, 1);
  TCNullTypes<int> Seen;
  new TOverride(&Group, [&] { Seen = Group.get_ClassID(); });

  TCBasicPropertyID::Initialize();

  EXPECT_EQ(Seen, TCNullTypes<int>(5));
}

TEST(TCBasicPropertyIDTest, RunsTheLastOfTwoOverrides) {
  TCBasicPropertyID& Group = NewNode(2, Property::eGroup);
  std::vector<int> Runs;
  TOverride First(&Group, [&] { Runs.push_back(1); });
  TOverride Second(&Group, [&] { Runs.push_back(2); });

  TCBasicPropertyID::Initialize();

  EXPECT_THAT(Runs, ElementsAre(2));
}

TEST(TCBasicPropertyIDTest, PassesOnWhatANodeThrowsAndIsNotInitialised) {
  new TTellingNode(1, [] { throw std::runtime_error("broken node"); });

  try {
    TCBasicPropertyID::Initialize();
    ADD_FAILURE() << "nothing was thrown";
  } catch (std::runtime_error const& Error) {
    EXPECT_STREQ(Error.what(), "broken node");
  }

  EXPECT_FALSE(TCBasicPropertyID::m_Initialized);
  EXPECT_TRUE(IsSchemaLockFree());
}

TEST(TCBasicPropertyIDTest, KeepsWhatWasSetBeforeANodeThrew) {
  new TCPropertyContainer("Container", 1, "", 5);
  NewField(2, 1);
  TCPropertyID const& Passed = NewField(3, 1);
  new TTellingNode(4, [] { throw std::runtime_error("broken node"); });
  TCPropertyID const& NotReached = NewField(5, 1);

  EXPECT_THROW(TCBasicPropertyID::Initialize(), std::runtime_error);

  EXPECT_EQ(Passed.get_ClassID(), TCNullTypes<int>(5));
  EXPECT_EQ(OrderOf(Passed), 1);
  EXPECT_THAT(TCBasicPropertyID::m_Classlist, ElementsAre(kNoNumber, TCNullTypes<int>(5)));
  EXPECT_TRUE(NotReached.get_ClassID().IsNull());
}

TEST(TCBasicPropertyIDTest, CanBeInitialisedAfterAFailureThatHasGone) {
  bool Broken = true;
  NewField(3, 77);
  TCPropertyID const& Second = NewField(4, 77);
  new TTellingNode(5, [&] {
    if (Broken) {
      throw std::runtime_error("broken node");
    }
  });
  EXPECT_THROW(TCBasicPropertyID::Initialize(), std::runtime_error);
  Broken = false;

  TCBasicPropertyID::Initialize();

  EXPECT_TRUE(TCBasicPropertyID::m_Initialized);
  EXPECT_EQ(OrderOf(Second), 1);
}

TEST(TCBasicPropertyIDTest, FailsAgainUntilTheFailureHasGone) {
  TCapturedLog const Log;
  bool Broken = true;
  int Overrides = 0;
  TCBasicPropertyID& Group = *new TCPropertyGroup("Group", 2, "", false);
  new TOverride(&Group, [&] { ++Overrides; });
  new TTellingNode(5, [&] {
    if (Broken) {
      throw std::runtime_error("broken node");
    }
  });

  EXPECT_THROW(TCBasicPropertyID::Initialize(), std::runtime_error);
  EXPECT_THROW(TCBasicPropertyID::Initialize(), std::runtime_error);
  EXPECT_FALSE(TCBasicPropertyID::m_Initialized);
  Broken = false;
  TCBasicPropertyID::Initialize();

  EXPECT_TRUE(TCBasicPropertyID::m_Initialized);
  EXPECT_EQ(Overrides, 1);                   // an override runs once
  EXPECT_EQ(Log.get_Warnings().size(), 3U);  // the group is in no container, at each pass
}

TEST(TCBasicPropertyIDTest, InitialisesNodesThatAnOverrideConstructs) {
  new TCPropertyContainer("Container", 1, "", 5);
  TCBasicPropertyID& Group = NewNode(2, Property::eGroup, 1);
  TCPropertyID* Made = nullptr;
  new TOverride(&Group, [&] { Made = &NewField(3, 1); });

  TCBasicPropertyID::Initialize();

  EXPECT_EQ(Made->get_ClassID(), TCNullTypes<int>(5));
  EXPECT_EQ(OrderOf(*Made), 1);
}

TEST(TCBasicPropertyIDTest, DoesNothingWhenANodeAsksForTheInitialisationThatIsUnderWay) {
  int Calls = 0;
  new TTellingNode(1, [&] {
    ++Calls;
    TCBasicPropertyID::Initialize();
    EXPECT_FALSE(TCBasicPropertyID::m_Initialized);
  });
  new TTellingNode(2, [&] { ++Calls; });

  TCBasicPropertyID::Initialize();

  EXPECT_EQ(Calls, 2);
  EXPECT_TRUE(TCBasicPropertyID::m_Initialized);
}
