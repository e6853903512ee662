// SPDX-License-Identifier: MIT
// Groups mails into transactions.
#include "PropertyServer/TCCommitQueue.h"

#include <ctime>
#include <exception>
#include <utility>
#include <vector>

#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCException.h"

namespace Property {
namespace {

constexpr char kSource[] = "../PropertyServer/TCCommitQueue";
constexpr std::size_t kGroupLimit = 1000;  // mails
constexpr std::size_t kGroupByteLimit = std::size_t{4} << 20;
constexpr std::chrono::milliseconds kFullWait{2};      // while other things are to do
constexpr std::chrono::milliseconds kRelaxedWait{10};  // leaves time for the commit itself
constexpr std::chrono::milliseconds kTryAgain{500};
constexpr std::size_t kRememberedSenders = 10000;
constexpr std::uint64_t kAccuracy = 100;  // microseconds

void RequireSource(int Result) {
  if (Result < 0) {
    throw TCException(kSource, __LINE__).Format("cannot prepare the storing of changes");
  }
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

TCCommitQueue::TCCommitQueue(TCPropertyDatabase& Database, sd_event* Event, TEDurability Durability,
                             TCOnStored OnStored, TCOnTrouble OnTrouble)
    : m_Database(Database),
      m_Durability(Durability),
      m_OnStored(std::move(OnStored)),
      m_OnTrouble(std::move(OnTrouble)) {
  sd_event_source* Source = nullptr;
  RequireSource(sd_event_add_defer(Event, &Source, OnIdle, this));
  m_Idle.reset(Source);
  RequireSource(sd_event_source_set_priority(Source, SD_EVENT_PRIORITY_IDLE));
  RequireSource(sd_event_source_set_enabled(Source, SD_EVENT_OFF));
  RequireSource(sd_event_add_time(Event, &Source, CLOCK_MONOTONIC, 0, kAccuracy, OnTime, this));
  m_Timer.reset(Source);
  RequireSource(sd_event_source_set_priority(Source, SD_EVENT_PRIORITY_IMPORTANT));
  RequireSource(sd_event_source_set_enabled(Source, SD_EVENT_OFF));
  TCPropertyDatabase::TCTransaction Transaction(m_Database);
  Transaction.ForgetSenders(kRememberedSenders);
  Transaction.Commit();
}

std::string const* TCCommitQueue::Find(TCPropertyPlace const& Place) const {
  auto const Value = m_Values.find(Place);
  return Value != m_Values.end() ? &Value->second.Record->Data : nullptr;
}

std::uint64_t TCCommitQueue::get_LastMail(std::string const& Identity) {
  auto const Waiting = m_LastNumbers.find(Identity);
  if (Waiting != m_LastNumbers.end()) {
    return Waiting->second;
  }
  auto const [Known, IsNew] = m_KnownSenders.try_emplace(Identity, 0);
  if (IsNew) {
    try {
      Known->second = m_Database.LastMail(Identity);
    } catch (...) {
      m_KnownSenders.erase(Known);
      throw;
    }
    m_NewSenders += Known->second == 0 ? 1U : 0U;
  }
  return Known->second;
}

TSTakenMail& TCCommitQueue::Add(TSTakenMail Mail) {
  std::list<TSTakenMail> Added;
  TSTakenMail const& Taken = Added.emplace_back(std::move(Mail));
  std::map<TCPropertyPlace, TSValueToStore> Values;
  if (!Taken.Refused) {
    for (TSPropertyRecord const& Change : Taken.Changes) {
      Values[PlaceOf(Change)] = {&Change, &Taken.Origin};
    }
  }
  std::map<std::string, std::uint64_t> LastNumber{{Taken.Mail.Sender.Identity, Taken.Mail.Number}};
  // Nothing below needs memory.
  m_WaitingBytes += Taken.Mail.Content.Body->get_Size();
  m_Waiting.splice(m_Waiting.end(), Added);
  TakeOver(m_Values, Values);
  TakeOver(m_LastNumbers, LastNumber);
  if (!m_Failing && m_Waiting.size() == 1) {
    bool const Full = m_Durability == TEDurability::eFull;
    WakeAfter(Full ? kFullWait : kRelaxedWait);
    sd_event_source_set_enabled(m_Idle.get(), Full ? SD_EVENT_ONESHOT : SD_EVENT_OFF);
  }
  return m_Waiting.back();
}

// While it fails, the timer tries again.
void TCCommitQueue::CommitIfMuch() {
  if (!m_Failing && (m_Waiting.size() >= kGroupLimit || m_WaitingBytes >= kGroupByteLimit)) {
    Commit();
  }
}

void TCCommitQueue::CommitWhenIdle() {
  if (!m_Failing) {
    sd_event_source_set_enabled(m_Idle.get(), SD_EVENT_ONESHOT);
  }
}

int TCCommitQueue::OnIdle(sd_event_source* /*Source*/, void* Queue) {
  static_cast<TCCommitQueue*>(Queue)->Commit();
  return 0;
}

int TCCommitQueue::OnTime(sd_event_source* /*Source*/, std::uint64_t /*Time*/, void* Queue) {
  static_cast<TCCommitQueue*>(Queue)->Commit();
  return 0;
}

bool TCCommitQueue::Commit() {
  sd_event_source_set_enabled(m_Idle.get(), SD_EVENT_OFF);
  sd_event_source_set_enabled(m_Timer.get(), SD_EVENT_OFF);
  try {
    if (!m_Waiting.empty()) {
      Store();
    }
    m_OnStored(m_Stored);
  } catch (std::exception const& Failure) {
    TryLater(Failure.what());
    return false;
  }
  if (std::exchange(m_Failing, false)) {
    m_OnTrouble(false, "");
  }
  return true;
}

void TCCommitQueue::Store() {
  TCPropertyDatabase::TCTransaction Transaction(m_Database);
  std::vector<TSValueToStore> Values;
  Values.reserve(m_Values.size());
  for (auto const& [Place, Value] : m_Values) {
    Values.push_back(Value);
  }
  Transaction.Put(Values);
  std::vector<TSHistoryEntry const*> History;
  if (m_HistoryLimits.Entries > 0) {
    for (TSTakenMail const& Mail : m_Waiting) {
      for (TSHistoryEntry const& Entry : Mail.History) {
        History.push_back(&Entry);
      }
    }
  }
  Transaction.AppendHistory(History);
  std::int64_t const Now = CurrentTime();
  Transaction.TrimHistory(m_HistoryLimits.Entries,
                          Now - std::chrono::microseconds(m_HistoryLimits.Age).count());
  for (auto const& [Identity, Number] : m_LastNumbers) {
    Transaction.RememberMail(Identity, Number);
  }
  ForgetOldSenders(Transaction);
  for (auto const& [Identity, Number] : m_LastNumbers) {
    m_KnownSenders[Identity] = Number;  // while it waits, m_LastNumbers is asked first
  }
  Transaction.Commit();
  m_LastCommit = Now;
  ++m_Commits;
  m_LastNumbers.clear();
  m_Values.clear();
  m_WaitingBytes = 0;
  m_Stored.splice(m_Stored.end(), m_Waiting);
}

// Each process that ever sent a mail is a sender; the oldest are forgotten from time to time.
void TCCommitQueue::ForgetOldSenders(TCPropertyDatabase::TCTransaction& Transaction) {
  if (m_NewSenders < kRememberedSenders) {
    return;
  }
  Transaction.ForgetSenders(kRememberedSenders);
  m_KnownSenders.clear();
  m_NewSenders = 0;
}

void TCCommitQueue::TryLater(char const* Reason) {
  WakeAfter(kTryAgain);
  if (!std::exchange(m_Failing, true)) {
    m_OnTrouble(true, Reason);
  }
}

void TCCommitQueue::WakeAfter(std::chrono::microseconds Delay) {
  sd_event_source_set_time_relative(m_Timer.get(), static_cast<std::uint64_t>(Delay.count()));
  sd_event_source_set_enabled(m_Timer.get(), SD_EVENT_ONESHOT);
}

}  // namespace Property
