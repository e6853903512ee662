// SPDX-License-Identifier: MIT
// Where a program looks that belongs to no tree of the product, like this one.
#include "SchemaLibrary/InstalledPlaces.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

namespace fs = std::filesystem;

TEST(InstalledPlacesTest, AreThoseThatTheProductWasBuiltFor) {
  fs::path const Program = Property::FindTrialProgram();
  EXPECT_TRUE(Program.is_absolute());
  EXPECT_EQ(Program.filename(), "property-schema-trial");
  EXPECT_EQ(Program.parent_path().filename(), "property");
  fs::path const Folder = Property::FindSchemaFolder();
  EXPECT_TRUE(Folder.is_absolute());
  EXPECT_EQ(Folder.parent_path().filename(), "property");
  EXPECT_EQ(Folder.filename(), "schema");
}

}  // namespace
