// SPDX-License-Identifier: MIT
// Parents that are given by a link.
#include "CommonProperties/TCPropertyLink.h"

#include <gtest/gtest.h>

#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyGroup.h"
#include "CommonProperties/TCPropertyID.h"
#include "SchemaException.h"

using Accessories::TCNullTypes;
using Property::TCPropertyContainer;
using Property::TCPropertyGroup;
using Property::TCPropertyID;
using Property::TCPropertyLink;

TEST(TCPropertyLinkTest, SetsTheParentAtOnce) {
  TCPropertyContainer const& Device = *new TCPropertyContainer("Device", 1, "", 5);
  TCPropertyGroup& Group = *new TCPropertyGroup("Network", 2, "", false);

  TCPropertyLink const Link(Group, Device);

  EXPECT_EQ(Group.get_Parent(), TCNullTypes<int>(1));
  EXPECT_EQ(Group.get_classid(), TCNullTypes<int>(5));
}

TEST(TCPropertyLinkTest, KeepsTheParentAfterTheLinkHasGone) {
  TCPropertyContainer const& Device = *new TCPropertyContainer("Device", 1, "", 5);
  TCPropertyGroup& Group = *new TCPropertyGroup("Network", 2, "", false);
  { TCPropertyLink const Link(Group, Device); }
  EXPECT_EQ(Group.get_Parent(), TCNullTypes<int>(1));
}

TEST(TCPropertyLinkTest, RefusesASecondParentAndKeepsTheFirst) {
  TCPropertyContainer const& Device = *new TCPropertyContainer("Device", 1, "", 5);
  TCPropertyContainer const& Site = *new TCPropertyContainer("Site", 3, "", 2);
  TCPropertyGroup& Group = *new TCPropertyGroup("Network", 2, "", false);
  TCPropertyLink const Link(Group, Device);

  ExpectException(CaughtException([&] { TCPropertyLink Second(Group, Site); }), "TCPropertyLink",
                  "From.m_Parent.IsNull()==true",
                  "Property Network(2) Group do allready have a parent");

  EXPECT_EQ(Group.get_Parent(), TCNullTypes<int>(1));
}

TEST(TCPropertyLinkTest, RefusesASecondLinkToTheSameParent) {
  TCPropertyContainer const& Device = *new TCPropertyContainer("Device", 1, "", 5);
  TCPropertyGroup& Group = *new TCPropertyGroup("Network", 2, "", false);
  TCPropertyLink const Link(Group, Device);

  EXPECT_EQ(CaughtException([&] { TCPropertyLink Second(Group, Device); }).get_Message(),
            "Property Network(2) Group do allready have a parent");
}

TEST(TCPropertyLinkTest, RefusesAParentForANodeThatWasBuiltWithOne) {
  TCPropertyContainer const& Device = *new TCPropertyContainer("Device", 1, "", 5);
  TCPropertyID& Field = *new TCPropertyID("Field", 2, "", 7, 0x10);

  EXPECT_EQ(CaughtException([&] { TCPropertyLink Link(Field, Device); }).get_Message(),
            "Property Field(2) Integer Field do allready have a parent");

  EXPECT_EQ(Field.get_Parent(), TCNullTypes<int>(7));
}
