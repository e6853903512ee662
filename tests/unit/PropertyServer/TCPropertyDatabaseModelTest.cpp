// SPDX-License-Identifier: MIT
// Whatever is stored, removed, undone and forgotten, the values are those of a plain map.
#include <gtest/gtest.h>

#include <chrono>
#include <deque>
#include <list>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "PropertyServer/TCPropertyDatabase.h"
#include "tests/unit/PropertyServer/DatabaseFixture.h"

using Property::TCPropertyDatabase;
using Property::TSChangeToStore;
using Property::TSHistoryEntry;
using Property::TSPropertyRecord;
using Property::TSProvenance;

namespace {

constexpr Property::TSUnmovedLimits kLittleRoom{1500, 5000};
constexpr std::uint64_t kEntries = 12;
constexpr Property::TSHistoryLimits kFewEntries{kEntries, 100000, std::chrono::hours(24)};
constexpr int kNumbers = 14;
constexpr int kTurns = 400;

}  // namespace

class PropertyDatabaseModel : public DatabaseFixture,
                              public ::testing::WithParamInterface<unsigned> {
 protected:
  /// Values by their numbers, and the texts that the history shows, oldest first.
  struct TSContent {
    std::map<int, std::string> Values;
    std::deque<std::string> History;
  };

  int Draw(int Count) { return static_cast<int>(m_Random() % static_cast<unsigned>(Count)); }

  void Turn() {
    switch (Draw(12)) {
      case 0:
        m_Database.emplace(Moved(), kLittleRoom);
        break;
      case 1:
        GiveUp();
        break;
      case 2:
      case 3:
        Put();
        break;
      default:
        Store();
    }
  }

  void ExpectContent(TCPropertyDatabase const& Database) const {
    std::vector<std::string> Values;
    for (auto const& [Number, Data] : m_Content.Values) {
      Values.push_back(std::to_string(Number) + "/-/=" + Data);
    }
    EXPECT_EQ(DatabaseFixture::Values(Database), Values);
    std::deque<std::string> History;
    for (TSHistoryEntry const& Entry : Database.ReadHistory(1000)) {
      History.push_front(Entry.Removed ? "removed" : Entry.Secret ? "secret" : Entry.To);
    }
    EXPECT_EQ(History, m_Content.History);
  }

  std::optional<TCPropertyDatabase> m_Database;

 private:
  /// What a kill would leave, at a path of its own.
  std::string Moved() {
    std::string const Left = CopyOf("turn " + std::to_string(++m_Copies));
    m_Database.reset();
    m_File = Left;
    return Left;
  }
  std::string CopyOf(std::string const& Name) const {
    std::filesystem::path const Folder = m_Folder / Name;
    std::filesystem::create_directory(Folder);
    for (char const* Suffix : {"", "-wal"}) {
      std::filesystem::copy_file(m_File + Suffix, (Folder / "values.db").string() + Suffix);
    }
    return Folder / "values.db";
  }

  // Half of the history goes.
  void GiveUp() {
    std::size_t const Count = m_Content.History.size();
    EXPECT_EQ(m_Database->GiveUpHistory(), Count > 0);
    for (std::size_t Left = Count; Left > Count / 2; --Left) {
      m_Content.History.pop_front();
    }
  }

  TSPropertyRecord DrawRecord() {
    TSPropertyRecord Record;
    Record.Number = Draw(Draw(2) == 0 ? 3 : kNumbers);
    Record.Removed = Draw(6) == 0;
    if (!Record.Removed) {
      Record.Data = std::to_string(++m_Texts) + std::string(Draw(20) == 0 ? 2000 : 0, 'x');
    }
    return Record;
  }

  static void Change(TSContent& Content, TSPropertyRecord const& Record) {
    if (Record.Removed) {
      Content.Values.erase(Record.Number);
    } else {
      Content.Values[Record.Number] = Record.Data;
    }
  }

  // One in five is undone.
  void End(TCPropertyDatabase::TCTransaction& Transaction, TSContent const& Content) {
    if (Draw(5) != 0) {
      Transaction.Commit();
      m_Content = Content;
    }
  }

  void Put() {
    TSContent Content = m_Content;
    TCPropertyDatabase::TCTransaction Transaction(*m_Database);
    for (int Count = Draw(3); Count >= 0; --Count) {
      TSPropertyRecord const Record = DrawRecord();
      Transaction.Put(Record, TSProvenance());
      Change(Content, Record);
    }
    End(Transaction, Content);
  }

  void Store() {
    TSContent Content = m_Content;
    std::list<TSPropertyRecord> Records;
    std::list<TSHistoryEntry> Entries;
    std::vector<TSChangeToStore> Changes;
    TSProvenance const Origin;
    for (int Count = Draw(4); Count >= 0; --Count) {
      TSPropertyRecord const& Record = Records.emplace_back(DrawRecord());
      TSHistoryEntry& Entry = Entries.emplace_back();
      Entry.Number = Record.Number;
      Entry.Transaction = ++m_Transaction;
      Entry.Removed = Record.Removed;
      Entry.Secret = !Record.Removed && Draw(6) == 0;
      Entry.To = Entry.Secret ? "" : Record.Data;
      if (Record.Removed) {
        Entry.From = "something";
      }
      Entry.Undoes = Draw(8) == 0 ? 1 : 0;
      Changes.push_back({&Record, &Origin, &Entry});
      Change(Content, Record);
      Content.History.push_back(Entry.Removed ? "removed" : Entry.Secret ? "secret" : Entry.To);
    }
    while (Content.History.size() > kEntries) {
      Content.History.pop_front();
    }
    TCPropertyDatabase::TCTransaction Transaction(*m_Database);
    Transaction.Store(Changes, kFewEntries, 0);
    End(Transaction, Content);
  }

  std::mt19937 m_Random{GetParam()};
  TSContent m_Content;
  std::string m_File = m_Path;
  int m_Copies = 0;
  int m_Texts = 0;
  std::uint64_t m_Transaction = 0;
};

TEST_P(PropertyDatabaseModel, HoldsWhatAPlainMapWouldHold) {
  m_Database.emplace(m_Path, kLittleRoom);

  for (int Number = 0; Number < kTurns && !HasFailure(); ++Number) {
    SCOPED_TRACE("turn " + std::to_string(Number));
    Turn();
    ExpectContent(*m_Database);
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, PropertyDatabaseModel, ::testing::Range(1U, 7U));
