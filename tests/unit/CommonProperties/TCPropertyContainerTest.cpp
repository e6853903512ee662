// SPDX-License-Identifier: MIT
// Containers and the fixed relations of the classes of objects.
#include "CommonProperties/TCPropertyContainer.h"

#include <gmock/gmock.h>

#include <atomic>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "CommonProperties/TCPropertyID.h"
#include "SchemaException.h"
#include "SchemaLock.h"

using Accessories::TCNullTypes;
using Property::TCBasicPropertyID;
using Property::TCPropertyContainer;
using Property::TCPropertyID;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr int kNoTable = -1;

/// Class ids by table.
std::map<int, std::vector<int>> const kTables = {
    {4001, {1, 29, 30}},
    {6000, {2, 11, 13, 31, 58}},
    {2000, {3, 4, 10, 18, 19, 36, 39, 55, 100, 101, 102, 103, 104, 106}},
    {kNoTable, {5,  8,  9,  12, 14, 15, 16, 17, 21, 22, 25, 26, 27,
                28, 33, 37, 38, 40, 41, 42, 43, 46, 49, 51, 52, 99}},
    {4002, {7}},
    {5004, {20}},
    {8000, {23, 34, 35}},
    {110, {24}},
    {1001, {44, 47, 107, 108, 109, 110}},
    {7004, {45}},
    {7001, {48}},
    {5030, {50}},
    {4004, {53}},
    {4006, {54}},
    {13000, {57, 111}},
    {6009, {59}},
    {1000, {105}},
    {13001, {112}}};

std::set<int> const kLinked = {1,  3,  4,  7,  9,   10,  18,  19,  23,  24,  34,
                               35, 36, 39, 55, 100, 101, 102, 104, 106, 111, 112};

std::map<int, TCNullTypes<int>> TablesByClass() {
  std::map<int, TCNullTypes<int>> Result;
  for (auto const& [Table, Classes] : kTables) {
    for (int Class : Classes) {
      Result[Class] = Table == kNoTable ? TCNullTypes<int>() : TCNullTypes<int>(Table);
    }
  }
  return Result;
}

/// Class ids around and between the known ones that have no table.
std::vector<int> ClassesWithoutRelation() {
  std::map<int, TCNullTypes<int>> const Tables = TablesByClass();
  std::vector<int> Result;
  for (int Class = -3; Class < 120; ++Class) {
    if (Tables.count(Class) == 0) {
      Result.push_back(Class);
    }
  }
  return Result;
}

void NewContainers(std::vector<int> const& ClassIDs) {
  int Number = 1;
  for (int ClassID : ClassIDs) {
    new TCPropertyContainer("Container", Number++, "", ClassID);
  }
}

std::set<TCNullTypes<int>> const& ClassesOf(TCNullTypes<int> const& TableID) {
  return TCPropertyContainer::GetClassListForTableID(TableID);
}

}  // namespace

TEST(TCPropertyContainerTest, KeepsWhatItWasBuiltFrom) {
  TCPropertyContainer const& Container = *new TCPropertyContainer("Device", 10, "This device", 5);

  EXPECT_EQ(Container.get_Name(), "Device");
  EXPECT_EQ(Container.get_Number(), 10);
  EXPECT_EQ(Container.get_Description(), "This device");
  EXPECT_EQ(Container.get_Type(), Property::eContainer);
  EXPECT_TRUE(Container.get_Parent().IsNull());
  EXPECT_EQ(Container.get_ClassID(), TCNullTypes<int>(5));
  EXPECT_EQ(Container.get_classid(), TCNullTypes<int>(5));
}

TEST(TCPropertyContainerTest, TakesClassZeroForAClassId) {
  EXPECT_EQ((new TCPropertyContainer("Device", 10, "", 0))->get_ClassID(), TCNullTypes<int>(0));
}

TEST(TCPropertyContainerTest, BehavesAsAPlainNode) {
  TCPropertyContainer& Container = *new TCPropertyContainer("Device", 10, "", 5);
  Container.SetShow(false);

  EXPECT_TRUE(Container.GetShow());
  EXPECT_EQ(Container.Viewname(true), "Device(10) Container");
  EXPECT_TRUE(Container.GetDefaultValue().IsNull());
}

// ---- tables and device links ----

TEST(TCPropertyContainerTest, KnowsTheTableOfEachClass) {
  for (auto const& [Class, Table] : TablesByClass()) {
    EXPECT_EQ(TCPropertyContainer::GetTableID(Class), Table) << Class;
  }
}

TEST(TCPropertyContainerTest, RefusesTheTableOfAClassWithoutRelation) {
  std::vector<int> const Classes = ClassesWithoutRelation();
  ASSERT_EQ(Classes.size(), 3U + 1 + 3 + 1 + 39 - 1 + 7);  // below 0; 0; 6, 32, 56; 60 to 98; above

  for (int Class : Classes) {
    ExpectException(CaughtException([Class] { TCPropertyContainer::GetTableID(Class); }),
                    "TCPropertyContainer", "",
                    "Property Container " + std::to_string(Class) + " have no TableID relation");
  }
}

TEST(TCPropertyContainerTest, KnowsWhetherAClassIsLinkedToTheDevice) {
  for (auto const& [Class, Table] : TablesByClass()) {
    EXPECT_EQ(TCPropertyContainer::IsOrvaneLinked(Class), kLinked.count(Class) != 0) << Class;
  }
}

TEST(TCPropertyContainerTest, AnswersThatClassZeroIsNotLinkedAlthoughItHasNoTable) {
  EXPECT_FALSE(TCPropertyContainer::IsOrvaneLinked(0));
}

TEST(TCPropertyContainerTest, RefusesTheLinkOfAClassWithoutEntry) {
  for (int Class : ClassesWithoutRelation()) {
    if (Class == 0) {
      continue;
    }
    ExpectException(
        CaughtException([Class] { TCPropertyContainer::IsOrvaneLinked(Class); }),
        "TCPropertyContainer", "",
        "Property Container " + std::to_string(Class) + " have no Orvane link specification");
  }
}

TEST(TCPropertyContainerTest, AnswersTheTableOfANodesInheritedClass) {
  new TCPropertyContainer("Device", 1, "", 7);
  TCPropertyID const& Field = *new TCPropertyID("Field", 2, "", 1, 0x10);

  EXPECT_EQ(TCPropertyContainer::GetTableIDForObject(Field), TCNullTypes<int>(4002));
}

TEST(TCPropertyContainerTest, AnswersNoTableForANodeWhoseClassIsNotStored) {
  EXPECT_TRUE(TCPropertyContainer::GetTableIDForObject(*new TCPropertyContainer("Device", 1, "", 5))
                  .IsNull());
}

TEST(TCPropertyContainerTest, RefusesTheTableOfANodeWithoutClassIdAsThatOfClassZero) {
  EXPECT_EQ(CaughtException([] {
              TCPropertyContainer::GetTableIDForObject(Property::Prop_Unassigned);
            }).get_Message(),
            "Property Container 0 have no TableID relation");
}

// ---- classes by table ----

TEST(TCPropertyContainerTest, ListsTheRegisteredClassesOfATable) {
  NewContainers({10, 3, 4, 7});
  TCBasicPropertyID::Initialize();

  EXPECT_THAT(ClassesOf(2000),
              ElementsAre(TCNullTypes<int>(3), TCNullTypes<int>(4), TCNullTypes<int>(10)));
  EXPECT_THAT(ClassesOf(4002), ElementsAre(TCNullTypes<int>(7)));
}

TEST(TCPropertyContainerTest, ListsTheClassesThatNoTableStores) {
  NewContainers({8, 3, 5});
  TCBasicPropertyID::Initialize();

  EXPECT_THAT(ClassesOf(TCNullTypes<int>()), ElementsAre(TCNullTypes<int>(5), TCNullTypes<int>(8)));
}

TEST(TCPropertyContainerTest, ListsNothingForATableWithoutRegisteredClasses) {
  NewContainers({3});
  TCBasicPropertyID::Initialize();

  EXPECT_THAT(ClassesOf(4001), IsEmpty());
  EXPECT_THAT(ClassesOf(12345), IsEmpty());
  EXPECT_THAT(ClassesOf(TCNullTypes<int>()), IsEmpty());
}

TEST(TCPropertyContainerTest, ListsNothingBeforeTheInitialisationAndEverythingAfterIt) {
  NewContainers({3});
  EXPECT_THAT(ClassesOf(2000), IsEmpty());
  EXPECT_THAT(TCPropertyContainer::m_TableIDClassList, IsEmpty());

  TCBasicPropertyID::Initialize();

  EXPECT_THAT(ClassesOf(2000), ElementsAre(TCNullTypes<int>(3)));
}

TEST(TCPropertyContainerTest, AnswersOneSetForATableEveryTime) {
  NewContainers({3});
  TCBasicPropertyID::Initialize();

  EXPECT_EQ(&ClassesOf(2000), &ClassesOf(2000));
  EXPECT_EQ(&ClassesOf(2000), &TCPropertyContainer::m_TableIDClassList.at(2000));
  EXPECT_EQ(&ClassesOf(4001), &ClassesOf(4002));  // the empty one
}

TEST(TCPropertyContainerTest, AddsNothingForATableThatWasAskedForInVain) {
  NewContainers({3});
  TCBasicPropertyID::Initialize();

  ClassesOf(4001);

  EXPECT_EQ(TCPropertyContainer::m_TableIDClassList.size(), 1U);
}

TEST(TCPropertyContainerTest, RefusesToListClassesWhenOneHasNoTable) {
  NewContainers({6, 3, 7});
  TCBasicPropertyID::Initialize();

  ExpectException(CaughtException([] { ClassesOf(4002); }), "TCPropertyContainer", "",
                  "Property Container 6 have no TableID relation");
}

TEST(TCPropertyContainerTest, ListsTheClassesBelowTheOneThatHasNoTableFromThenOn) {
  NewContainers({6, 3, 7});
  TCBasicPropertyID::Initialize();
  CaughtException([] { ClassesOf(4002); });

  EXPECT_THAT(ClassesOf(2000), ElementsAre(TCNullTypes<int>(3)));
  EXPECT_THAT(ClassesOf(4002), IsEmpty());
}

TEST(TCPropertyContainerTest, RefusesToListClassesAgainWhenTheLowestHasNoTable) {
  NewContainers({6, 7});
  TCBasicPropertyID::Initialize();

  for (int Call = 0; Call < 2; ++Call) {
    EXPECT_EQ(CaughtException([] { ClassesOf(4002); }).get_Message(),
              "Property Container 6 have no TableID relation");
  }
}

TEST(TCPropertyContainerTest, LeavesItsOwnLockWhenItRefusesToListClasses) {
  NewContainers({6});
  TCBasicPropertyID::Initialize();
  CaughtException([] { ClassesOf(4002); });

  // On another thread, which would wait for ever.
  std::thread([] { CaughtException([] { ClassesOf(4002); }); }).join();
}

TEST(TCPropertyContainerTest, TakesNoSchemaLockForItsAnswers) {
  NewContainers({3});
  TCBasicPropertyID::Initialize();

  EXPECT_TRUE(TakesNoSchemaLock([] {
    TCPropertyContainer::GetTableID(3);
    TCPropertyContainer::IsOrvaneLinked(3);
    ClassesOf(2000);
  }));
}

TEST(TCPropertyContainerTest, ListsClassesOnManyThreadsAtOnce) {
  NewContainers({10, 3, 4, 7});
  TCBasicPropertyID::Initialize();
  std::atomic<int> Wrong{0};
  std::vector<std::thread> Threads;
  for (int Thread = 0; Thread < 4; ++Thread) {
    Threads.emplace_back([&Wrong] {
      if (ClassesOf(2000).size() != 3 || ClassesOf(4002).size() != 1 || !ClassesOf(1).empty()) {
        ++Wrong;
      }
    });
  }
  for (std::thread& Thread : Threads) {
    Thread.join();
  }

  EXPECT_EQ(Wrong, 0);
}
