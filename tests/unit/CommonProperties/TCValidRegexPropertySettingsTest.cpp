// SPDX-License-Identifier: MIT
// Validation patterns that are declared beside their fields.
#include "CommonProperties/TCValidRegexPropertySettings.h"

#include <gtest/gtest.h>

#include "CommonProperties/TCPropertyID.h"

using Accessories::TCNullTypes;
using Property::TCPropertyID;
using Property::TCValidRegexPropertySettings;

TEST(TCValidRegexPropertySettingsTest, GivesAFieldItsPattern) {
  TCPropertyID& Field = *new TCPropertyID("Name", 10, "", TCNullTypes<int>(), 0x20);
  { TCValidRegexPropertySettings const Settings(&Field, "^[a-z]+$"); }
  EXPECT_EQ(Field.get_Regex(), "^[a-z]+$");
}

TEST(TCValidRegexPropertySettingsTest, ReplacesThePatternOfAnIntegerField) {
  TCPropertyID& Field = *new TCPropertyID("Count", 10, "", TCNullTypes<int>(), 0x10);
  TCValidRegexPropertySettings const Settings(&Field, "");
  EXPECT_EQ(Field.get_Regex(), "");
}
