// SPDX-License-Identifier: MIT
// Brings mails to the disk in groups: one transaction and one sync for all that wait.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <string>

#include "Platform/Messaging/BusHandles.h"
#include "PropertyServer/TCPropertyDatabase.h"
#include "PropertyServer/TCServerConfiguration.h"
#include "PropertyServer/TEDurability.h"
#include "PropertyServer/TSTakenMail.h"

namespace Property {

/// Collects mails and stores all that wait in one transaction: when nothing else is to do or the
/// oldest has waited for its time, as the durability says, and at once when many wait. While the
/// database can not be written they keep waiting, in order, and storing is tried again twice a
/// second.
///
/// Lives on the loop's thread. Refers to the database, which must outlive it.
class TCCommitQueue {
 public:
  /// `OnStored` takes over the mails of a group that is on the disk. What it throws is logged, and
  /// it is called again with the mails that it has left.
  using TCOnStored = std::function<void(std::list<TSTakenMail>&)>;
  /// `OnTrouble` hears whether storing has begun to fail, with the reason, or works again. It
  /// throws nothing.
  using TCOnTrouble = std::function<void(bool Failing, char const* Reason)>;

  TCCommitQueue(TCPropertyDatabase& Database, sd_event* Event, TEDurability Durability,
                TCOnStored OnStored, TCOnTrouble OnTrouble);
  TCCommitQueue(TCCommitQueue const&) = delete;
  TCCommitQueue& operator=(TCCommitQueue const&) = delete;

  void SetHistoryLimits(TSHistoryLimits const& Limits) { m_HistoryLimits = Limits; }

  /// The mail as it waits, valid until the next commit. Throws, with nothing added, only for lack
  /// of memory.
  TSTakenMail& Add(TSTakenMail Mail);
  /// Commits when enough has been added.
  void CommitIfMuch();
  /// What waits is stored as soon as nothing else is to do, whatever the durability.
  void CommitWhenIdle();
  /// Stores what waits now; false when that fails and is tried again later.
  bool Commit();

  /// The value that a waiting mail gives to `Place`; null when none does.
  std::string const* Find(TCPropertyPlace const& Place) const;
  /// The number of the last mail of `Identity` that is stored or waits.
  std::uint64_t get_LastMail(std::string const& Identity);
  /// Whether that mail still waits.
  bool IsWaiting(std::string const& Identity) const { return m_LastNumbers.count(Identity) != 0; }

  std::size_t get_WaitingCount() const { return m_Waiting.size(); }
  std::uint64_t get_CommitCount() const { return m_Commits; }
  /// When the last group was stored, in microseconds since 1970; 0 for never.
  std::int64_t get_LastCommit() const { return m_LastCommit; }

 private:
  static int OnIdle(sd_event_source* Source, void* Queue);
  static int OnTime(sd_event_source* Source, std::uint64_t Time, void* Queue);
  void Store();
  void ForgetOldSenders(TCPropertyDatabase::TCTransaction& Transaction);
  void TryLater(char const* Reason);
  void WakeAfter(std::chrono::microseconds Delay);

  TCPropertyDatabase& m_Database;
  TEDurability const m_Durability;
  TCOnStored const m_OnStored;
  TCOnTrouble const m_OnTrouble;
  TSHistoryLimits m_HistoryLimits;
  TCEventSource m_Idle;
  TCEventSource m_Timer;
  std::list<TSTakenMail> m_Waiting;
  std::list<TSTakenMail> m_Stored;                      // not yet taken over
  std::map<TCPropertyPlace, TSValueToStore> m_Values;   // parts of m_Waiting
  std::map<std::string, std::uint64_t> m_LastNumbers;   // of m_Waiting, by sender
  std::map<std::string, std::uint64_t> m_KnownSenders;  // their last stored mails
  std::size_t m_WaitingBytes = 0;
  std::size_t m_NewSenders = 0;
  bool m_Failing = false;
  std::uint64_t m_Commits = 0;
  std::int64_t m_LastCommit = 0;
};

/// Microseconds since 1970, UTC.
std::int64_t CurrentTime();

}  // namespace Property
