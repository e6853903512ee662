// SPDX-License-Identifier: MIT
// What the transactions change, and what is left of it.
#include "tests/fault/power/Workload.h"

#include <chrono>
#include <cstddef>
#include <limits>
#include <list>
#include <vector>

using Accessories::TCRecordID;
using Property::TCPropertyDatabase;
using Property::TSChangeToStore;
using Property::TSHistoryEntry;
using Property::TSPendingChange;
using Property::TSPropertyRecord;
using Property::TSProvenance;

namespace {

constexpr int kSenders = 5;
constexpr int kWithoutEntries = 5;  // of a large transaction

// For some time fewer entries are kept than have values that are not moved.
Property::TSHistoryLimits LimitsOf(int Turn) {
  constexpr std::chrono::hours kAge(30);
  return Turn / 20 % 3 == 1 ? Property::TSHistoryLimits{4, 10000, kAge}
                            : Property::TSHistoryLimits{60, 10000, kAge};
}

// An hour passes from each turn to the next.
std::int64_t TimeOf(int Turn) {
  constexpr std::int64_t kHour = std::int64_t{3600} * 1000000;
  return Property::TCHistoryClock::kEarliestSet + Turn * kHour;
}

std::string NameOf(int Turn) {
  return "sender " + std::to_string(Turn % kSenders);
}

TSNorvSenderKey SenderOf(int Turn) {
  return {static_cast<uid_t>(Turn % kSenders % 2), NameOf(Turn)};
}

TSProvenance OriginOf(int Turn) {
  return {TimeOf(Turn), static_cast<uid_t>(Turn % 3), 100 + Turn % 7, NameOf(Turn)};
}

int CountOf(int Turn) {
  return Turn % 9 == 0 ? 25 : 1 + Turn % 3;
}

TSPropertyRecord RecordOf(int Turn, int Index) {
  int const Number = (Turn * 7 + Index) % 50;
  std::size_t const Length = (Turn + Index) % 40 == 0 ? 3000 : static_cast<std::size_t>(Turn % 60);
  return {Number, Number % 2 == 0 ? TCRecordID() : TCRecordID(Turn % 4),
          Number % 5 == 0 ? TCMACAddress("00:11:22:AA:BB:CC") : TCMACAddress(),
          std::to_string(Turn) + std::string(Length, 'x'), Turn % 10 == 3 && Index == 0};
}

TSPendingChange PendingOf(int Turn) {
  TSPendingChange Change;
  Change.Transaction = static_cast<std::uint64_t>(Turn);
  Change.Origin = OriginOf(Turn);
  Change.Granted = Change.Left = 1000 + Turn;
  Change.Noted = {"run " + std::to_string(Turn), Turn, TimeOf(Turn)};
  return Change;
}

// A change waits for two turns, is noted again, and is settled after two more.
void FillPending(TCPropertyDatabase::TCTransaction& Transaction, int Turn) {
  if (Turn % 8 == 1) {
    Transaction.AddPending(PendingOf(Turn));
    Transaction.AddFormer(static_cast<std::uint64_t>(Turn),
                          {RecordOf(Turn + 3, 0), RecordOf(Turn + 2, 1)});
  } else if (Turn % 8 == 3) {
    TSPendingChange Change = PendingOf(Turn - 2);
    Change.Left = 500;
    Transaction.NotePending(Change);
  } else if (Turn % 8 == 5) {
    Transaction.SettlePending(static_cast<std::uint64_t>(Turn - 4));
  }
}

void PutWithoutHistory(TCPropertyDatabase::TCTransaction& Transaction,
                       std::vector<TSChangeToStore> const& Changes) {
  std::vector<Property::TSValueToStore> Values;
  for (TSChangeToStore const& Change : Changes) {
    Values.push_back({Change.Record, Change.Origin});
  }
  Transaction.Put(Values);
}

Property::TSMailOutcome OutcomeOf(int Turn) {
  Property::TSMailOutcome Outcome;
  Outcome.Transaction = static_cast<std::uint64_t>(Turn);
  if (Turn % 4 == 0) {
    Outcome.Refusal = "reason " + std::to_string(Turn);
  }
  return Outcome;
}

void Append(std::string& Text, TSProvenance const& Origin) {
  Text += " " + std::to_string(Origin.Time) + " " + std::to_string(Origin.User) + " " +
          std::to_string(Origin.Process) + " " + Origin.ProcessName + "\n";
}

}  // namespace

void Workload::Fill(TCPropertyDatabase::TCTransaction& Transaction, int Turn) {
  TSProvenance const Origin = OriginOf(Turn);
  std::list<TSPropertyRecord> Records;
  std::list<TSHistoryEntry> Entries;
  std::vector<TSChangeToStore> Changes;
  for (int Index = 0; Index < CountOf(Turn); ++Index) {
    TSPropertyRecord const& Record = Records.emplace_back(RecordOf(Turn, Index));
    TSHistoryEntry const& Entry = Entries.emplace_back(
        TSHistoryEntry{static_cast<std::uint64_t>(Turn), Origin, Record.Number, Record.Link,
                       Record.MAC, Record.Number == 3, std::nullopt, Record.Data, Record.Removed,
                       static_cast<std::uint64_t>(Turn / 7 % 3), Records.size()});
    bool const HasEntry = Turn % 9 != 0 || Index >= kWithoutEntries;
    Changes.push_back({&Record, &Origin, HasEntry ? &Entry : nullptr});
  }
  if (Turn % 13 == 6) {
    PutWithoutHistory(Transaction, Changes);
  } else {
    Transaction.Store(Changes, LimitsOf(Turn), TimeOf(Turn));
  }
  Transaction.RememberMail(SenderOf(Turn), static_cast<std::uint64_t>(Turn), OutcomeOf(Turn));
  FillPending(Transaction, Turn);
  if (Turn % 20 == 0) {
    Transaction.ForgetSenders(kSenders - 2, {});
  }
}

std::string Workload::Dump(TCPropertyDatabase const& Database) {
  std::string Text;
  Database.LoadAll([&](TSPropertyRecord const& Record) {
    Text += std::to_string(Record.Number) + "/" + Record.Link.get_AsString() + "/" +
            Record.MAC.get_AsString(':') + "=" + Record.Data;
    auto const Origin = Database.Provenance(Record.Number, Record.Link, Record.MAC);
    Append(Text, Origin.value_or(TSProvenance()));
  });
  for (TSHistoryEntry const& Entry :
       Database.ReadHistory(std::numeric_limits<std::size_t>::max())) {
    Text += std::to_string(Entry.Transaction) + ": " + std::to_string(Entry.Number) + "=" +
            (Entry.Secret ? "(secret)" : Entry.To) + (Entry.Removed ? " removed " : " ") +
            std::to_string(Entry.Undoes) + " " + std::to_string(Entry.Parts);
    Append(Text, Entry.Origin);
  }
  for (int Sender = 0; Sender < kSenders; ++Sender) {
    Property::TSLastMail const Last = Database.FindLastMail(SenderOf(Sender));
    Text += std::to_string(Last.Number) + " " + std::to_string(Last.Outcome.Transaction) + " " +
            Last.Outcome.Refusal.value_or("taken") + " ";
  }
  for (TSPendingChange const& Change : Database.ReadPending()) {
    Text += "pending " + std::to_string(Change.Transaction) + " " + std::to_string(Change.Left) +
            " " + Change.Noted.Boot;
    Append(Text, Change.Origin);
    for (TSPropertyRecord const& Former : Database.ReadFormer(Change.Transaction)) {
      Text +=
          std::to_string(Former.Number) + (Former.Removed ? " none\n" : "=" + Former.Data + "\n");
    }
  }
  return Text + std::to_string(Database.get_LastTransaction());
}
