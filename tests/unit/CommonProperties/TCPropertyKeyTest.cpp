// SPDX-License-Identifier: MIT
// The order of the store's keys, and what a key is made of.
#include "CommonProperties/TCPropertyKey.h"

#include <gtest/gtest.h>

#include <map>
#include <type_traits>

#include "CommonProperties/TCPropertyID.h"

using Accessories::TCNullTypes;
using Accessories::TCRecordID;
using Property::TCPropertyID;
using Property::TCPropertyKey;

namespace {

char const* const kFirstMAC = "00:11:22:33:44:55";
char const* const kSecondMAC = "00:11:22:33:44:56";

bool IsOneEntry(TCPropertyKey const& Left, TCPropertyKey const& Right) {
  return !(Left < Right) && !(Right < Left);
}

struct TCPropertyKeyTest : ::testing::Test {
  TCPropertyID& m_Low = *new TCPropertyID("Low", -7, "", TCNullTypes<int>(), 0x10);
  TCPropertyID& m_High = *new TCPropertyID("High", 7, "", TCNullTypes<int>(), 0x10);
};

static_assert(std::has_virtual_destructor_v<TCPropertyKey>);
static_assert(std::is_copy_constructible_v<TCPropertyKey>);
static_assert(std::is_copy_assignable_v<TCPropertyKey>);

}  // namespace

TEST_F(TCPropertyKeyTest, HoldsDefinitionLinkAndMACText) {
  TCPropertyKey const Key(m_High, 5, kFirstMAC);

  EXPECT_EQ(&Key.get_ID(), &m_High);
  EXPECT_EQ(Key.get_Link(), TCRecordID(5));
  EXPECT_EQ(Key.get_MAC(), TCMACAddress(kFirstMAC));
}

TEST_F(TCPropertyKeyTest, IsOneEntryWhetherBuiltFromMACTextOrAddress) {
  EXPECT_TRUE(IsOneEntry(TCPropertyKey(m_High, 5, kFirstMAC),
                         TCPropertyKey(m_High, 5, TCMACAddress(kFirstMAC))));
}

TEST_F(TCPropertyKeyTest, TakesTheEmptyTextAsNoDevice) {
  EXPECT_TRUE(TCPropertyKey(m_High, 5, "").get_MAC().Empty());
}

TEST_F(TCPropertyKeyTest, OrdersByPropertyNumberAsASignedNumberFirst) {
  TCPropertyKey const Low(m_Low, 9, kSecondMAC);
  TCPropertyKey const High(m_High, 1, kFirstMAC);

  EXPECT_TRUE(Low < High);
  EXPECT_FALSE(High < Low);
}

TEST_F(TCPropertyKeyTest, OrdersByLinkWithinOneProperty) {
  TCPropertyKey const Low(m_High, 1, kSecondMAC);
  TCPropertyKey const High(m_High, 2, kFirstMAC);

  EXPECT_TRUE(Low < High);
  EXPECT_FALSE(High < Low);
}

TEST_F(TCPropertyKeyTest, OrdersTheNullLinkFirst) {
  TCPropertyKey const Null(m_High, TCRecordID(), kSecondMAC);
  TCPropertyKey const Negative(m_High, -1, kFirstMAC);

  EXPECT_TRUE(Null < Negative);
  EXPECT_FALSE(Negative < Null);
}

TEST_F(TCPropertyKeyTest, OrdersByMACLast) {
  TCPropertyKey const Low(m_High, 1, kFirstMAC);
  TCPropertyKey const High(m_High, 1, kSecondMAC);

  EXPECT_TRUE(Low < High);
  EXPECT_FALSE(High < Low);
}

TEST_F(TCPropertyKeyTest, TellsAnEmptyMACFromAnAddress) {
  TCPropertyKey const Systemwide(m_High, 1, "");
  TCPropertyKey const Device(m_High, 1, kFirstMAC);

  EXPECT_TRUE(Systemwide < Device);
  EXPECT_FALSE(Device < Systemwide);
}

TEST_F(TCPropertyKeyTest, IsNotBelowItself) {
  TCPropertyKey const Key(m_High, 1, kFirstMAC);

  EXPECT_FALSE(Key < Key);
}

TEST_F(TCPropertyKeyTest, IsOneEntryForTwoDefinitionsWithOneNumber) {
  TCPropertyID::m_List->erase(m_High.get_Number());
  TCPropertyID& Twin = *new TCPropertyID("Twin", m_High.get_Number(), "", TCNullTypes<int>(), 0x20);

  EXPECT_TRUE(IsOneEntry(TCPropertyKey(m_High, 5, kFirstMAC), TCPropertyKey(Twin, 5, kFirstMAC)));
}

TEST_F(TCPropertyKeyTest, IsEqualToAKeyOfTheSameEntryOnly) {
  TCPropertyKey const Key(m_High, 5, kFirstMAC);
  TCPropertyID::m_List->erase(m_High.get_Number());
  TCPropertyID& Twin = *new TCPropertyID("Twin", m_High.get_Number(), "", TCNullTypes<int>(), 0x20);

  EXPECT_EQ(Key, TCPropertyKey(Twin, 5, kFirstMAC));
  EXPECT_NE(Key, TCPropertyKey(m_Low, 5, kFirstMAC));
  EXPECT_NE(Key, TCPropertyKey(m_High, 6, kFirstMAC));
  EXPECT_NE(Key, TCPropertyKey(m_High, TCRecordID(), kFirstMAC));
  EXPECT_NE(Key, TCPropertyKey(m_High, 5, kSecondMAC));
}

TEST_F(TCPropertyKeyTest, FindsTheEntryOfItsPartsInAMap) {
  std::map<TCPropertyKey, int> Map;
  Map.emplace(TCPropertyKey(m_High, 1, ""), 1);
  Map.emplace(TCPropertyKey(m_High, 1, kFirstMAC), 2);
  Map.emplace(TCPropertyKey(m_High, 2, ""), 3);
  Map.emplace(TCPropertyKey(m_Low, 1, ""), 4);

  EXPECT_EQ(Map.at(TCPropertyKey(m_High, 1, kFirstMAC)), 2);
  EXPECT_EQ(Map.at(TCPropertyKey(m_Low, 1, "")), 4);
  EXPECT_EQ(Map.count(TCPropertyKey(m_Low, 2, "")), 0u);
}

TEST_F(TCPropertyKeyTest, CopiesAndAssignsAllParts) {
  TCPropertyKey const Original(m_High, 5, kFirstMAC);
  TCPropertyKey Assigned(m_Low, 1, "");

  Assigned = Original;
  TCPropertyKey const Copy(Original);

  EXPECT_TRUE(IsOneEntry(Assigned, Original));
  EXPECT_EQ(&Assigned.get_ID(), &m_High);
  EXPECT_TRUE(IsOneEntry(Copy, Original));
}
