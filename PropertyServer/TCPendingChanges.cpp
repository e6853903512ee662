// SPDX-License-Identifier: MIT
// Keeps account of changes to be confirmed, and of their time.
#include "PropertyServer/TCPendingChanges.h"

#include <algorithm>
#include <ctime>

#include "Platform/Utility/TCException.h"
#include "PropertyServer/TCChangeRules.h"

namespace Property {
namespace {

constexpr char kSource[] = "../PropertyServer/TCPendingChanges";
constexpr std::uint64_t kDeadlineAccuracy = 1000;  // microseconds
constexpr std::int64_t kTryAgain = 1000000;        // microseconds

}  // namespace

TCPendingChanges::TCPendingChanges(TCPropertyDatabase& Database, sd_event* Event, TCOnDue OnDue)
    : m_Database(Database), m_OnDue(std::move(OnDue)) {
  sd_event_source* Source = nullptr;
  if (sd_event_add_time(Event, &Source, CLOCK_BOOTTIME, 0, kDeadlineAccuracy, OnTime, this) < 0) {
    throw TCException(kSource, __LINE__).Format("cannot prepare the time of pending changes");
  }
  m_Timer.reset(Source);
  sd_event_source_set_enabled(Source, SD_EVENT_OFF);
  Load();
  Wake();
}

// What has passed since the last note is taken off for good, so that the next start goes on from
// there, whatever the clock says then.
void TCPendingChanges::Load() {
  std::vector<TSPendingChange> const Changes = m_Database.ReadPending();
  if (Changes.empty()) {
    return;
  }
  TSClockReading const Now = TSClockReading::Now();
  TCPropertyDatabase::TCTransaction Transaction(m_Database);
  for (TSPendingChange Change : Changes) {
    Change.Left = Change.LeftAt(Now);
    Change.Noted = Now;
    Transaction.NotePending(Change);
    Add(Change, m_Database.ReadFormer(Change.Transaction));
  }
  Transaction.Commit();
}

std::string TCPendingChanges::ReasonAgainst(uid_t User, int Seconds,
                                            std::vector<TSPropertyRecord> const& Changes) const {
  if (Seconds < 1 || Seconds > kMostSeconds) {
    return "a change may wait 1 to " + std::to_string(kMostSeconds) +
           " seconds for its confirmation, not " + std::to_string(Seconds);
  }
  auto const OfUser = std::count_if(m_Changes.begin(), m_Changes.end(), [User](auto const& Each) {
    return Each.second.Origin.User == User;
  });
  if (static_cast<std::size_t>(OfUser) >= kMostOfUser || m_Changes.size() >= kMost) {
    return "too many changes wait for their confirmation already, at most " +
           std::to_string(kMostOfUser) + " of a user and " + std::to_string(kMost) +
           " in all may; confirm some or undo them";
  }
  for (TSPropertyRecord const& Change : Changes) {
    if (FindOf(PlaceOf(Change)) != nullptr) {
      return Describe(PlaceOf(Change)) +
             " waits for the confirmation of an earlier change; confirm that one or undo it first";
    }
  }
  return std::string();
}

void TCPendingChanges::Add(TSPendingChange const& Change,
                           std::vector<TSPropertyRecord> const& Values) {
  for (TSPropertyRecord const& Value : Values) {
    m_Places[PlaceOf(Value)] = Change.Transaction;
  }
  m_Changes[Change.Transaction] = Change;
  Wake();
}

void TCPendingChanges::Settle(std::uint64_t Transaction) {
  if (m_Changes.erase(Transaction) == 0) {
    return;
  }
  for (auto Place = m_Places.begin(); Place != m_Places.end();) {
    Place = Place->second == Transaction ? m_Places.erase(Place) : std::next(Place);
  }
  Wake();
}

TSPendingChange const* TCPendingChanges::Find(std::uint64_t Transaction) const {
  auto const Change = m_Changes.find(Transaction);
  return Change != m_Changes.end() ? &Change->second : nullptr;
}

TSPendingChange const* TCPendingChanges::FindOf(TCPropertyPlace const& Place) const {
  auto const Known = m_Places.find(Place);
  return Known != m_Places.end() ? Find(Known->second) : nullptr;
}

int TCPendingChanges::OnTime(sd_event_source* /*Source*/, std::uint64_t /*Time*/, void* Changes) {
  static_cast<TCPendingChanges*>(Changes)->TakeBackDue();
  return 0;
}

void TCPendingChanges::TakeBackDue() {
  TSClockReading const Now = TSClockReading::Now();
  std::vector<TSPendingChange> Due;
  for (auto const& [Transaction, Change] : m_Changes) {
    if (Change.LeftAt(Now) == 0) {
      Due.push_back(Change);
    }
  }
  m_TryLater = false;
  for (TSPendingChange const& Change : Due) {
    if (m_OnDue(Change)) {
      Settle(Change.Transaction);
    } else {
      m_TryLater = true;
    }
  }
  Wake();
}

void TCPendingChanges::Wake() {
  if (m_Changes.empty()) {
    sd_event_source_set_enabled(m_Timer.get(), SD_EVENT_OFF);
    return;
  }
  TSClockReading const Now = TSClockReading::Now();
  std::int64_t Left = std::int64_t{kMostSeconds} * 1000000;
  for (auto const& [Transaction, Change] : m_Changes) {
    Left = std::min(Left, Change.LeftAt(Now));
  }
  Left = m_TryLater ? std::max(Left, kTryAgain) : Left;
  sd_event_source_set_time(m_Timer.get(), static_cast<std::uint64_t>(Now.Moment + Left));
  sd_event_source_set_enabled(m_Timer.get(), SD_EVENT_ONESHOT);
}

}  // namespace Property
