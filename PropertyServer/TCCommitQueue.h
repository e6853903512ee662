// SPDX-License-Identifier: MIT
// Brings mails to the disk in groups: one transaction and one sync for all that wait.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>

#include "Platform/Events/TCNorvLoopTimer.h"
#include "Platform/Events/TCNorvLoopWork.h"
#include "PropertyServer/TCGroupStoring.h"
#include "PropertyServer/TCHistoryKeeper.h"
#include "PropertyServer/TCPropertyDatabase.h"
#include "PropertyServer/TCServerConfiguration.h"
#include "PropertyServer/TCTakenMails.h"
#include "PropertyServer/TEDurability.h"
#include "PropertyServer/TSTakenMail.h"

namespace Property {

/// Collects mails and stores all that wait in one transaction: when nothing else is to do or the
/// oldest has waited for its time, as the durability says, and at once when many wait. One that
/// has many records is stored in slices, between which the loop serves everything else; mails that
/// come meanwhile wait for the next transaction. While the database can not be written they keep
/// waiting, in order, and storing is tried again twice a second.
///
/// Lives on the loop's thread. Refers to the database and to what is known of senders, which must
/// outlive it.
class TCCommitQueue {
 public:
  /// `OnStored` takes over the mails of a group that is on the disk. What it throws is logged, and
  /// it is called again with the mails that it has left.
  using TCOnStored = std::function<void(std::list<TSTakenMail>&)>;
  /// `OnTrouble` hears whether storing has begun to fail, with the reason, or works again. It
  /// throws nothing.
  using TCOnTrouble = std::function<void(bool Failing, char const* Reason)>;

  TCCommitQueue(TCPropertyDatabase& Database, TCTakenMails& Taken, TCNorvEventLoop& Loop,
                TEDurability Durability, TCOnStored OnStored, TCOnTrouble OnTrouble);
  TCCommitQueue(TCCommitQueue const&) = delete;
  TCCommitQueue& operator=(TCCommitQueue const&) = delete;

  void SetHistoryLimits(TSHistoryLimits const& Limits) { m_History.SetLimits(Limits); }

  /// The mail as it waits, valid until the next commit. Throws, with nothing added, only for lack
  /// of memory.
  TSTakenMail& Add(TSTakenMail&& Mail);
  /// Commits when enough has been added.
  void CommitIfMuch();
  /// What waits is stored as soon as nothing else is to do, whatever the durability.
  void CommitWhenIdle();
  /// Stores all that waits now, and sees to it that the next start finds all that was; false when
  /// that fails and is tried again later.
  bool Commit();

  /// What the last of the waiting mails makes of the value at `Place`; null when none changes it.
  TSPropertyRecord const* Find(TCPropertyPlace const& Place) const;

  /// Nothing that waits has a text in its history any more where `IsSecret`. Not while a
  /// transaction is under way.
  void HideTexts(std::function<bool(int Number)> const& IsSecret);

  /// Whether a transaction is under way whose last slice is still to come.
  bool IsStoring() const { return m_Storing != nullptr; }
  /// Whether a mail that waits has not taken effect.
  bool IsAnyWithoutEffect() const;

  std::size_t get_WaitingCount() const { return m_Waiting.size() + m_Group.size(); }
  /// About how much memory all that waits, or is being stored, takes.
  std::size_t get_WaitingMemory() const { return m_WaitingMemory; }
  std::uint64_t get_CommitCount() const { return m_Commits; }
  /// When the last group was stored, in microseconds since 1970; 0 for never.
  std::int64_t get_LastCommit() const { return m_LastCommit; }

 private:
  using TCValues = std::map<TCPropertyPlace, TSPropertyRecord const*>;

  void Begin();
  void WakeForWaiting();
  void StoreSlices();
  template <class TStore>
  bool Try(TStore const& Store);
  void Store(std::size_t Records);
  void BeginStoring(std::size_t Records);
  bool StoreSlice(std::size_t Records);
  void StoreWhole();
  void PutBack();
  void TryLater(char const* Reason);

  TCPropertyDatabase& m_Database;
  TCTakenMails& m_Taken;
  TCHistoryKeeper m_History;
  TEDurability const m_Durability;
  TCOnStored const m_OnStored;
  TCOnTrouble const m_OnTrouble;
  TCNorvLoopWork m_Idle;
  // Takes its turn among all that is ready; work for the next turn would always come first.
  TCNorvLoopTimer m_Slices;
  TCNorvLoopTimer m_Timer;
  std::list<TSTakenMail> m_Waiting;
  TCValues m_Values;                          // parts of m_Waiting
  std::list<TSTakenMail> m_Group;             // being stored
  TCValues m_GroupValues;                     // parts of m_Group
  std::unique_ptr<TCGroupStoring> m_Storing;  // of m_Group
  std::list<TSTakenMail> m_Stored;            // not yet taken over
  std::size_t m_WaitingBytes = 0;             // of the mails in m_Waiting
  std::size_t m_WaitingMemory = 0;            // of those in m_Waiting and m_Group
  bool m_Failing = false;
  std::uint64_t m_Commits = 0;
  std::int64_t m_LastCommit = 0;
};

/// Microseconds since 1970, UTC.
std::int64_t CurrentTime();

}  // namespace Property
