// SPDX-License-Identifier: MIT
// A schema that is completed before the library's own static initialisers have run.
#include <gmock/gmock.h>

#include <set>

#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyID.h"

using Accessories::TCNullTypes;
using Property::TCBasicPropertyID;
using Property::TCPropertyContainer;
using Property::TCPropertyID;
using ::testing::ElementsAre;

namespace {

/// What a client may do in a static object of its own.
struct TEarlyClient {
  TEarlyClient() {
    m_NoClasses = TCPropertyContainer::GetClassListForTableID(2000).empty();
    auto& Device = *new TCPropertyContainer("Device", 1, "", 3);
    m_Field = new TCPropertyID("Field", 2, "", Device.get_Number(), 0x10);
    TCBasicPropertyID::Initialize();
    m_Classes = TCBasicPropertyID::m_Classlist;
    m_OfTable = TCPropertyContainer::GetClassListForTableID(2000);
  }
  TEarlyClient(TEarlyClient const&) = delete;
  TEarlyClient& operator=(TEarlyClient const&) = delete;

  bool m_NoClasses;
  TCPropertyID* m_Field;
  std::set<TCNullTypes<int>> m_Classes;
  std::set<TCNullTypes<int>> m_OfTable;
};

__attribute__((init_priority(101))) TEarlyClient EarlyClient;

}  // namespace

TEST(EarlyInitialisationTest, CompletesTheSchema) {
  EXPECT_TRUE(TCBasicPropertyID::m_Initialized);
  EXPECT_EQ(EarlyClient.m_Field->get_ClassID(), TCNullTypes<int>(3));
}

TEST(EarlyInitialisationTest, KnowsTheClassesAtOnce) {
  EXPECT_THAT(EarlyClient.m_Classes, ElementsAre(TCNullTypes<int>(), TCNullTypes<int>(3)));
}

TEST(EarlyInitialisationTest, StillKnowsTheClassesWhenTheProgramRuns) {
  EXPECT_EQ(TCBasicPropertyID::m_Classlist, EarlyClient.m_Classes);
}

TEST(EarlyInitialisationTest, ListsTheClassesOfATable) {
  EXPECT_TRUE(EarlyClient.m_NoClasses);
  EXPECT_THAT(EarlyClient.m_OfTable, ElementsAre(TCNullTypes<int>(3)));
}

TEST(EarlyInitialisationTest, StillListsTheClassesOfATableWhenTheProgramRuns) {
  EXPECT_EQ(TCPropertyContainer::m_TableIDClassList.at(2000), EarlyClient.m_OfTable);
  EXPECT_EQ(TCPropertyContainer::GetClassListForTableID(2000), EarlyClient.m_OfTable);
}

TEST(EarlyInitialisationTest, RegistersTheUnassignedPropertyOnce) {
  TCBasicPropertyID const& Unassigned = Property::Prop_Unassigned;
  EXPECT_EQ(TCBasicPropertyID::m_List->size(), 3U);
  EXPECT_EQ(TCPropertyID::Find(0), &Unassigned);
}
