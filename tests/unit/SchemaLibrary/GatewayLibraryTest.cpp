// SPDX-License-Identifier: MIT
// The example's schema, from the library to names, rules, check and export.
#include <gtest/gtest.h>

#include <string>

#include "SchemaLibrary/SchemaCheck.h"
#include "SchemaLibrary/SchemaComparison.h"
#include "SchemaLibrary/SchemaExport.h"
#include "SchemaLibrary/TCPropertyNames.h"
#include "SchemaLibrary/TCValueRules.h"
#include "tests/unit/SchemaLibrary/LibraryFixture.h"

namespace {

using Property::TCPropertyNames;
using Property::TCValueRules;
using Property::TSNamedProperty;

class GatewayLibraryTest : public LibraryFixture {
 protected:
  GatewayLibraryTest() { m_Libraries.Load(); }

  Property::TCSchemaLibraries m_Libraries{{Copy("gateway")}, Settings()};
};

TEST_F(GatewayLibraryTest, GivesNamesAndRules) {
  ASSERT_EQ(Told(m_Libraries), (std::vector<std::string>{"gateway.so: loaded"}));
  TCPropertyNames const Names;
  TSNamedProperty const Level = Names.Resolve("log/loglevel");
  ASSERT_NE(Level.Field, nullptr);
  EXPECT_EQ(Names.Path(*Level.Field), "Device/Log/LogLevel");
  EXPECT_EQ(TCValueRules().Read(*Level.Field, "debug").Data, "12415");
  EXPECT_EQ(Names.Resolve("DisplayBrighness").Error,
            "no property 'DisplayBrighness'; did you mean Device/Identity/DisplayBrightness?");
}

TEST_F(GatewayLibraryTest, PassesTheCheckAndTheComparisonWithItsOwnExport) {
  EXPECT_EQ(Property::CheckSchema().size(), 0U);
  EXPECT_EQ(Property::CompareSchema(Property::ExportSchemaAsJSON()).size(), 0U);
  EXPECT_EQ(TCPropertyNames().get_Fields().size(), 63U);
}

}  // namespace
