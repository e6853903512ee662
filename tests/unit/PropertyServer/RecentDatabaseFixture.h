// SPDX-License-Identifier: MIT
// Values that stand in the history alone until they are moved to their places.
#pragma once

#include <gmock/gmock.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "PropertyServer/TCPropertyDatabase.h"
#include "tests/unit/PropertyServer/DatabaseFixture.h"

class PropertyDatabaseRecent : public DatabaseFixture {
 protected:
  using TCTransaction = Property::TCPropertyDatabase::TCTransaction;

  static constexpr Property::TSUnmovedLimits kRoomForTwo{540, 540};  // short values
  static constexpr std::chrono::hours kOneDay{24};
  static constexpr Property::TSHistoryLimits kKeepMany{1000, 1000000, kOneDay};
  static constexpr Property::TSHistoryLimits kKeepOne{1, 1000000, kOneDay};
  static constexpr Property::TSHistoryLimits kKeepNone{0, 1000000, kOneDay};

  static Property::TSPropertyRecord Value(int Number, std::string const& Data) {
    return {Number, Accessories::TCRecordID(), TCMACAddress(), Data};
  }
  static Property::TSProvenance By(std::string const& Name) { return {1, 2, 3, Name}; }
  static Property::TSHistoryEntry Entry(std::uint64_t Transaction, int Number,
                                        std::string const& To) {
    Property::TSHistoryEntry Entry;
    Entry.Transaction = Transaction;
    Entry.Origin = By("writer");
    Entry.Number = Number;
    Entry.To = To;
    return Entry;
  }

  static std::string WriterOf(Property::TCPropertyDatabase const& Database, int Number) {
    auto const Origin = Database.Provenance(Number, Accessories::TCRecordID(), TCMACAddress());
    return Origin ? Origin->ProcessName : "nobody";
  }

  static void Change(Property::TCPropertyDatabase& Database,
                     std::vector<Property::TSHistoryEntry> const& Entries,
                     Property::TSHistoryLimits const& Limits = kKeepMany) {
    TCTransaction Transaction(Database);
    Note(Transaction, Entries, Limits, 0);
    Transaction.Commit();
  }

  /// What the history shows, newest first.
  static std::vector<std::string> Shown(Property::TCPropertyDatabase const& Database) {
    std::vector<std::string> Texts;
    for (Property::TSHistoryEntry const& Each : Database.ReadHistory(1000)) {
      Texts.push_back(std::to_string(Each.Number) + (Each.Removed  ? " removed"
                                                     : Each.Secret ? " secret"
                                                                   : "=" + Each.To));
    }
    return Texts;
  }

  std::string Recent() const { return Unmoved(m_Path); }
};
