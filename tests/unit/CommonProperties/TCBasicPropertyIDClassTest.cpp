// SPDX-License-Identifier: MIT
// The classes of nodes, and their order among siblings.
#include "CommonProperties/TCBasicPropertyID.h"

#include <gmock/gmock.h>

#include <functional>
#include <vector>

#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyDBLookup.h"
#include "CommonProperties/TCPropertyGroup.h"
#include "CommonProperties/TCPropertyID.h"
#include "CommonProperties/TCPropertyInitOverride.h"
#include "CommonProperties/TCPropertyLink.h"
#include "RegistryNodes.h"
#include "SchemaLock.h"

using Accessories::TCNullTypes;
using Property::TCBasicPropertyID;
using Property::TCPropertyContainer;
using Property::TCPropertyDBLookup;
using Property::TCPropertyGroup;
using Property::TCPropertyID;
using Property::TCPropertyLink;
using ::testing::ElementsAre;

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
  new TCallingOverride(&Second, [&] { Second.set_Type(Property::eContainer); });

  TCBasicPropertyID::Initialize();

  EXPECT_EQ(OrderOf(First), 0);
  EXPECT_EQ(OrderOf(Second), 0);
  EXPECT_EQ(OrderOf(Third), 1);
}
