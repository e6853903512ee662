// SPDX-License-Identifier: MIT
// A private folder with copies of the libraries that a test wants.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "SchemaLibrary/TCSchemaLibraries.h"

/// Everything is in m_Folder, which is removed with the fixture.
class LibraryFixture : public ::testing::Test {
 protected:
  LibraryFixture();
  ~LibraryFixture() override;

  /// The built program, with less patience than users have.
  static Property::TSSchemaTrialSettings Settings();
  /// Copies the library `Name` into the folder, there with the name `As`. Returns where it lies.
  std::string Copy(std::string const& Name, std::string const& As) const;
  std::string Copy(std::string const& Name) const { return Copy(Name, Name); }
  /// Writes a file into the folder and returns its path.
  std::string Write(std::string const& Name, std::string const& Content) const;

  /// Each library of the list as "Name: loaded" or "Name: why not", without its folder.
  std::vector<std::string> Told(Property::TCSchemaLibraries const& Libraries) const;
  /// What becomes of the library `Name` alone.
  std::string Outcome(std::string const& Name) const;
  /// `Text` without the folder's path.
  std::string WithoutFolder(std::string Text) const;

  std::filesystem::path const m_Folder;
};
