// SPDX-License-Identifier: MIT
// Groups mails into transactions.
#include "PropertyServer/TCCommitQueue.h"

#include <algorithm>
#include <ctime>
#include <exception>
#include <limits>
#include <numeric>
#include <utility>

#include "Platform/Utility/SystemLog.h"

namespace Property {
namespace {

constexpr std::size_t kGroupLimit = 1000;  // mails
constexpr std::size_t kGroupByteLimit = std::size_t{4} << 20;
constexpr std::chrono::milliseconds kFullWait{2};      // while other things are to do
constexpr std::chrono::milliseconds kRelaxedWait{10};  // leaves time for the commit itself
constexpr std::chrono::milliseconds kTryAgain{500};
constexpr std::size_t kSlice = 500;  // records that are stored without serving anything else

// As little as a record has, it is kept as a change, an entry of the history and a part of a map.
std::size_t MemoryOf(TSTakenMail const& Mail) {
  constexpr std::size_t kRecord = 512;
  std::size_t Memory = Mail.Mail.Content.Body->get_Size() + kRecord * Mail.Changes.size();
  if (Mail.Effects) {  // the body may say little of what is changed
    std::vector<TSPropertyRecord> const& Former = Mail.Effects->Former;
    for (auto const* Records : {&Mail.Changes, &Former}) {
      for (TSPropertyRecord const& Record : *Records) {
        Memory += kRecord + Record.Data.size();
      }
    }
  }
  return Memory;
}

// Moves the entries of `New` into `Map`, where they replace those of the same keys.
template <class TMap>
void TakeOver(TMap& Map, TMap& New) {
  while (!New.empty()) {
    auto Result = Map.insert(New.extract(New.begin()));
    if (!Result.inserted) {
      std::swap(Result.position->second, Result.node.mapped());
    }
  }
}

}  // namespace

std::int64_t CurrentTime() {
  return std::chrono::duration_cast<std::chrono::microseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

TCCommitQueue::TCCommitQueue(TCPropertyDatabase& Database, TCTakenMails& Taken,
                             TCNorvEventLoop& Loop, TEDurability Durability, TCOnStored OnStored,
                             TCOnTrouble OnTrouble)
    : m_Database(Database),
      m_Taken(Taken),
      m_History(Database),
      m_Durability(Durability),
      m_OnStored(std::move(OnStored)),
      m_OnTrouble(std::move(OnTrouble)),
      m_Idle(Loop, TCNorvLoopWork::TEWhen::eIdle, [this] { StoreSlices(); }),
      m_Slices(Loop, CLOCK_MONOTONIC, [this] { StoreSlices(); }),
      m_Timer(
          Loop, CLOCK_MONOTONIC, [this] { StoreSlices(); }, TCNorvLoopTimer::TEOrder::eImportant) {}

TSPropertyRecord const* TCCommitQueue::Find(TCPropertyPlace const& Place) const {
  for (auto const* Values : {&m_Values, &m_GroupValues}) {
    auto const Value = Values->find(Place);
    if (Value != Values->end()) {
      return Value->second;
    }
  }
  return nullptr;
}

void TCCommitQueue::HideTexts(std::function<bool(int Number)> const& IsSecret) {
  for (TSTakenMail& Mail : m_Waiting) {
    for (TSHistoryEntry& Entry : Mail.History) {
      if (IsSecret(Entry.Number)) {
        Entry.Secret = true;
        Entry.From.reset();
        Entry.To.clear();
      }
    }
  }
}

bool TCCommitQueue::IsAnyWithoutEffect() const {
  auto const HasNone = [](TSTakenMail const& Mail) { return !Mail.InEffect; };
  return std::any_of(m_Group.begin(), m_Group.end(), HasNone) ||
         std::any_of(m_Waiting.begin(), m_Waiting.end(), HasNone);
}

TSTakenMail& TCCommitQueue::Add(TSTakenMail&& Mail) {
  std::list<TSTakenMail> Added;
  TSTakenMail const& Taken = Added.emplace_back(std::move(Mail));
  TCValues Values;
  if (!Taken.Refused) {
    for (TSPropertyRecord const& Change : Taken.Changes) {
      Values[PlaceOf(Change)] = &Change;
    }
  }
  if (Taken.HasSender()) {
    m_Taken.Wait(Taken.Mail.Sender, Taken.Mail.Number);
  }
  // Nothing below needs memory.
  m_WaitingBytes += Taken.Mail.Content.Body->get_Size();
  m_WaitingMemory += MemoryOf(Taken);
  m_Waiting.splice(m_Waiting.end(), Added);
  TakeOver(m_Values, Values);
  if (m_Waiting.size() == 1) {
    WakeForWaiting();
  }
  return m_Waiting.back();
}

// While it fails, the timer tries again; while a group is stored, the next one follows it.
void TCCommitQueue::WakeForWaiting() {
  if (!m_Failing && !m_Storing) {
    bool const Full = m_Durability == TEDurability::eFull;
    m_Timer.SetAfter(Full ? kFullWait : kRelaxedWait);
    if (Full) {
      m_Idle.Schedule();
    } else {
      m_Idle.Cancel();
    }
  }
}

void TCCommitQueue::CommitIfMuch() {
  if (!m_Failing && !m_Storing &&
      (m_Waiting.size() >= kGroupLimit || m_WaitingBytes >= kGroupByteLimit)) {
    StoreSlices();
  }
}

void TCCommitQueue::CommitWhenIdle() {
  if (!m_Failing && !m_Storing) {
    m_Idle.Schedule();
  }
}

// Stores the next slice, which for nearly every group is all of it.
void TCCommitQueue::StoreSlices() {
  Try([this] { Store(kSlice); });
  if (m_Storing) {
    m_Slices.SetAfter(std::chrono::microseconds::zero());
  } else if (!m_Waiting.empty()) {
    WakeForWaiting();
  }
}

bool TCCommitQueue::Commit() {
  return Try([this] {
    do {
      Store(std::numeric_limits<std::size_t>::max());
    } while (!m_Waiting.empty());
  });
}

template <class TStore>
bool TCCommitQueue::Try(TStore const& Store) {
  m_Idle.Cancel();
  m_Timer.SwitchOff();
  m_Slices.SwitchOff();
  try {
    Store();
    m_OnStored(m_Stored);
  } catch (std::exception const& Failure) {
    PutBack();
    TryLater(Failure.what());
    return false;
  }
  if (!m_Storing && std::exchange(m_Failing, false)) {
    m_OnTrouble(false, "");
  }
  return true;
}

// What waits becomes the group that is stored.
void TCCommitQueue::Begin() {
  m_Group.splice(m_Group.end(), m_Waiting);
  m_GroupValues.swap(m_Values);
  m_WaitingBytes = 0;
}

// Where the disk has no room, the group is stored in one go, with less history. Without a group
// there is still what was stored.
void TCCommitQueue::Store(std::size_t Records) {
  if (!m_Storing && m_Group.empty()) {
    Begin();
  }
  if (m_Group.empty()) {
    m_Database.KeepInPlace();
    return;
  }
  if (!m_Storing) {
    BeginStoring(Records);
  }
  if (m_Storing && !StoreSlice(Records)) {
    return;
  }
  m_Storing.reset();
  m_LastCommit = CurrentTime();
  ++m_Commits;
  m_GroupValues.clear();
  for (TSTakenMail const& Mail : m_Group) {
    m_WaitingMemory -= MemoryOf(Mail);
  }
  m_Stored.splice(m_Stored.end(), m_Group);
}

void TCCommitQueue::BeginStoring(std::size_t Records) {
  std::size_t const Changes = std::accumulate(
      m_Group.begin(), m_Group.end(), std::size_t{0},
      [](std::size_t Count, TSTakenMail const& Mail) { return Count + Mail.Changes.size(); });
  if (Changes <= Records) {
    StoreWhole();
    return;
  }
  try {
    m_Storing =
        std::make_unique<TCGroupStoring>(m_Database, m_Taken, m_Group, m_History.get_Limits());
  } catch (TCDatabaseFull const&) {
    StoreWhole();
  }
}

// False while there is more to store.
bool TCCommitQueue::StoreSlice(std::size_t Records) {
  try {
    return m_Storing->Store(Records);
  } catch (TCDatabaseFull const&) {
    m_Storing.reset();
    StoreWhole();
    return true;
  }
}

void TCCommitQueue::StoreWhole() {
  m_History.Store([this](std::optional<TSHistoryLimits> const& Limits) {
    TCGroupStoring(m_Database, m_Taken, m_Group, Limits)
        .Store(std::numeric_limits<std::size_t>::max());
  });
}

// Before the mails that came since, whose values are newer.
void TCCommitQueue::PutBack() {
  m_Storing.reset();
  for (TSTakenMail const& Mail : m_Group) {
    m_WaitingBytes += Mail.Mail.Content.Body->get_Size();
  }
  m_Waiting.splice(m_Waiting.begin(), m_Group);
  m_Values.merge(m_GroupValues);
  m_GroupValues.clear();
}

void TCCommitQueue::TryLater(char const* Reason) {
  m_Timer.SetAfter(kTryAgain);
  if (!std::exchange(m_Failing, true)) {
    m_OnTrouble(true, Reason);
  }
}

}  // namespace Property
