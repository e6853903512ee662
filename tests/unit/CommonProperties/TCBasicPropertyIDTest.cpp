// SPDX-License-Identifier: MIT
// Nodes and their registry.
#include "CommonProperties/TCBasicPropertyID.h"

#include <gmock/gmock.h>

#include <atomic>
#include <thread>
#include <type_traits>
#include <vector>

#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyID.h"
#include "RegistryNodes.h"
#include "SchemaException.h"
#include "SchemaLock.h"

using Accessories::TCNullTypes;
using Property::TCBasicPropertyID;
using Property::TCPropertyChoice;
using Property::TCPropertyContainer;
using Property::TCPropertyID;
using ::testing::ElementsAre;

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

TEST(TCBasicPropertyIDTest, IsFoundInWhateverOrderNodesAreAskedFor) {
  std::vector<TCBasicPropertyID*> Nodes;
  for (int const Number : {-5, 1, 2, 3, 10, 20, 30}) {
    Nodes.push_back(&NewNode(Number, Property::eStringField));
  }
  for (TCBasicPropertyID const* const First : Nodes) {
    for (TCBasicPropertyID* const Second : Nodes) {
      EXPECT_EQ(TCBasicPropertyID::Find(First->get_Number()), First);
      EXPECT_EQ(TCBasicPropertyID::Find(Second->get_Number()), Second);
      EXPECT_EQ(TCBasicPropertyID::Find(Second->get_Number() + 4), nullptr);
    }
  }
}

TEST(TCBasicPropertyIDTest, IsFoundWhenTheNodeFoundLastHasGone) {
  for (int const Number : {1, 2, 3}) {
    NewNode(Number, Property::eStringField);
  }
  ASSERT_NE(TCBasicPropertyID::Find(2), nullptr);
  TCBasicPropertyID::m_List->erase(2);

  EXPECT_EQ(TCBasicPropertyID::Find(2), nullptr);
  EXPECT_EQ(TCBasicPropertyID::Find(3)->get_Number(), 3);
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
