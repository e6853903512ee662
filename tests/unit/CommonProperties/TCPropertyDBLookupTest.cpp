// SPDX-License-Identifier: MIT
// Fields whose values come from a database table.
#include "CommonProperties/TCPropertyDBLookup.h"

#include <gtest/gtest.h>

#include <string>

#include "SchemaException.h"

using Accessories::TCNullTypes;
using Property::TCBasicPropertyID;
using Property::TCPropertyDBLookup;

namespace {

TCPropertyDBLookup& NewLookup(int Flags = 0x14) {
  return *new TCPropertyDBLookup("Users", 10, "All users", 7, Flags, 3, "users", true);
}

}  // namespace

TEST(TCPropertyDBLookupTest, KeepsWhatItWasBuiltFrom) {
  TCPropertyDBLookup const& Lookup = NewLookup();

  EXPECT_EQ(Lookup.get_Name(), "Users");
  EXPECT_EQ(Lookup.get_Number(), 10);
  EXPECT_EQ(Lookup.get_Description(), "All users");
  EXPECT_EQ(Lookup.get_Parent(), TCNullTypes<int>(7));
  EXPECT_EQ(Lookup.get_Flags(), 0x14);
  EXPECT_EQ(Lookup.get_LookupNumber(), 3);
  EXPECT_EQ(Lookup.get_LookupText(), "users");
  EXPECT_TRUE(Lookup.get_LookupFlag());
}

TEST(TCPropertyDBLookupTest, IsALookupWhateverItsFlags) {
  EXPECT_EQ(NewLookup(0x20).get_Type(), Property::eDBLookupField);
}

TEST(TCPropertyDBLookupTest, HasNoTypeNameOfItsOwn) {
  EXPECT_EQ(NewLookup().Viewname(true), "Users(10) Unknown");
}

TEST(TCPropertyDBLookupTest, HasTheEmptyTextAsDefault) {
  EXPECT_EQ(NewLookup().GetDefaultValue(), TCNullTypes<std::string>(""));
}

TEST(TCPropertyDBLookupTest, HasTheVisibilityOfAField) {
  TCPropertyDBLookup& Lookup = NewLookup();
  EXPECT_EQ(Lookup.GetShow(), 2);
  Lookup.SetShow(false);
  EXPECT_EQ(Lookup.GetShow(), 0);
}

TEST(TCPropertyDBLookupTest, FailsTheInitialisationWithoutAFieldType) {
  new TCPropertyDBLookup("Users", 10, "", TCNullTypes<int>(), 0x02, 1, "users", true);

  ExpectException(CaughtException([] { TCBasicPropertyID::Initialize(); }), "TCPropertyID",
                  "(m_Flags & (0x08|0x10|0x20)) != 0",
                  "Property Users(10) Unknown does not specify Field Type");
  EXPECT_FALSE(TCBasicPropertyID::m_Initialized);
}
