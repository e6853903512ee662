// SPDX-License-Identifier: MIT
// A private folder for each database test, and short ways to write, read and damage a database.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "PropertyServer/TCPropertyDatabase.h"

/// The database under test is `m_Path` in the folder `m_Folder`, which is removed with the fixture.
class DatabaseFixture : public ::testing::Test {
 protected:
  DatabaseFixture();
  ~DatabaseFixture() override;

  /// The message of the TCException that `Action` throws; a text saying so when it throws none.
  static std::string MessageOf(std::function<void()> const& Action);
  static std::string OpeningMessage(std::string const& Path);

  /// Stores one value in a transaction of its own, of which the history keeps nothing.
  static void Store(Property::TCPropertyDatabase& Database,
                    Property::TSPropertyRecord const& Record);
  /// Stores the values that the entries tell of, and the entries.
  static void Note(Property::TCPropertyDatabase::TCTransaction& Transaction,
                   std::vector<Property::TSHistoryEntry> const& Entries,
                   Property::TSHistoryLimits const& Limits, std::int64_t Now);
  /// How many values of a file that is closed stand in its history alone.
  static std::string Unmoved(std::string const& Path);
  /// Every value as "number/link/MAC=data", a null link as "-", in the order of loading.
  static std::vector<std::string> Values(Property::TCPropertyDatabase const& Database);

  /// Runs statements on a database file behind the class's back; it is closed again afterwards.
  static void RunSQL(std::string const& Path, char const* SQL);
  /// A closed database without values, whose log is full after few changes.
  static void MakeWithSmallPages(std::string const& Path);
  /// The first column of the first row.
  static std::string QuerySQL(std::string const& Path, char const* SQL);

  static std::string ReadFile(std::string const& Path);
  static void WriteFile(std::string const& Path, std::string const& Content);

  /// What a power cut would leave: copies file and log as they are into a folder of their own.
  std::string CopyAsLeft(std::string const& Name) const;

  std::filesystem::path const m_Folder;
  std::string const m_Path;
};
