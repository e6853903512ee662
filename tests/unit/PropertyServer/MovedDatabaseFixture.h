// SPDX-License-Identifier: MIT
// A database whose files are removed, moved or replaced while it is open.
#pragma once

#include <gmock/gmock.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "PropertyServer/TCPropertyDatabase.h"
#include "tests/unit/PropertyServer/DatabaseFixture.h"
#include "tests/unit/PropertyServer/DiskFaults.h"

class PropertyDatabaseMoved : public DatabaseFixture {
 protected:
  PropertyDatabaseMoved() {
    DiskFaults::Install();
    std::filesystem::create_directory(m_Home);
    m_Database.emplace(m_File);
    Store(1, "a");
  }

  void Store(int Number, std::string const& Data) {
    DatabaseFixture::Store(*m_Database, {Number, {}, {}, Data});
  }
  std::string StoringMessage() {
    return MessageOf([this] { Store(2, "b"); });
  }
  void StoreEntry(std::uint64_t Turn) {
    Property::TSHistoryEntry Entry;
    Entry.Transaction = Turn;
    Entry.Number = 2;
    Entry.To = "b";
    Property::TCPropertyDatabase::TCTransaction Transaction(*m_Database);
    Note(Transaction, {Entry}, {}, 0);
    if (m_BeforeCommit) {
      m_BeforeCommit();
    }
    Transaction.Commit();
  }

  /// What the server would find at its next start if it were killed now.
  std::string CopyOfNow(std::string const& Name = "left") const {
    std::filesystem::path const Folder = m_Folder / Name;
    std::filesystem::create_directory(Folder);
    for (char const* Suffix : {"", "-wal", "-journal"}) {
      if (std::filesystem::exists(m_File + Suffix)) {
        std::filesystem::copy_file(m_File + Suffix, (Folder / "values.db").string() + Suffix);
      }
    }
    return Folder / "values.db";
  }
  std::vector<std::string> ValuesAfterKill() const {
    return Values(Property::TCPropertyDatabase(CopyOfNow()));
  }

  /// A database that is somebody else's takes the place of the file.
  void Replace() const {
    {
      Property::TCPropertyDatabase Other(m_Other);
      DatabaseFixture::Store(Other, {7, {}, {}, "other"});
    }
    std::filesystem::copy_file(m_Other, m_Folder / "replacing.db");
    std::filesystem::rename(m_Folder / "replacing.db", m_File);
  }
  std::string ReplacedMessage() const {
    return "cannot store in " + m_File +
           ": another file is in its place; take that away, or bring the former one back, and "
           "storing goes on; property-server --backup saves what is held";
  }
  void ExpectOtherUntouched() const { EXPECT_TRUE(ReadFile(m_File) == ReadFile(m_Other)); }

  std::filesystem::path const m_Home = m_Folder / "home";
  std::string const m_File = m_Home / "values.db";
  std::string const m_Log = m_File + "-wal";
  std::string const m_Other = m_Folder / "other.db";
  std::optional<Property::TCPropertyDatabase> m_Database;
  std::function<void()> m_BeforeCommit;
};
